/// Encryption under a password: PBES2 (RFC 8018, section 6.2), as encrypted keys, PKCS#7 and PKCS#12 use it.
///
/// | member | what it is |
/// | --- | --- |
/// | `PBES2Params` | the parameters, apart; `parse`, `save` and `encode` are their DER |
/// | `pbes2_crypt` | encrypts or decrypts as an AlgorithmIdentifier says |
/// | `pbes2_encrypt` | encrypts as a `PBES2Params` says |
/// | `KeyEncryption` | what keys, and contents of PKCS#12, are encrypted with, for people |
///
/// What is understood:
///
/// | part | algorithm | bytes |
/// | --- | --- | --- |
/// | key derivation | PBKDF2, salt and count of the parameters | |
/// | its pseudo-random function | hmacWithSHA1 (the default), hmacWithSHA256 | |
/// | cipher | des-EDE3-CBC | key 24, IV 8 |
/// | | aes128-CBC, aes192-CBC, aes256-CBC | key 16, 24, 32, IV 16 |
///
/// The scheme does not authenticate: a wrong password, or a changed ciphertext, shows in the padding or in
/// what comes out, or not at all. Encrypted keys are in pkcs8.h and pem.h. Not here: PBES1, scrypt.
#pragma once

#include "sealkit/der.h"
#include "sealkit/detail/export.h"
#include "sealkit/oid.h"
#include "sealkit/refusal.h"

#include <string>
#include <string_view>
#include <vector>

/// The most iterations that are done, and so taken from a file: a file must not keep its reader busy for
/// minutes.
inline constexpr unsigned pbes2MaxIterations = 10'000'000;

/// PBES2-params (RFC 8018, appendix A.4). Object identifiers are content octets. None of it is secret.
struct PBES2Params {
    std::vector<unsigned char> kdf;    ///< PBKDF2.
    std::vector<unsigned char> prf;    ///< Empty for the default, hmacWithSHA1, left out.
    std::vector<unsigned char> salt;   ///< Of any length.
    unsigned iterations = 0;           ///< 1 to `pbes2MaxIterations`.
    std::vector<unsigned char> cipher; ///< The encryption scheme.
    std::vector<unsigned char> iv;     ///< One block of the cipher.
};

/// Reads the whole encoding of PBES2-params, which is the `params` of an `AlgorithmIdentifier`:
///
///     PBES2-params ::= SEQUENCE { keyDerivationFunc SEQUENCE { OID, PBKDF2-params },
///         encryptionScheme SEQUENCE { OID, IV OCTET STRING } }
///     PBKDF2-params ::= SEQUENCE { salt OCTET STRING, iterationCount INTEGER,
///         keyLength INTEGER OPTIONAL, prf AlgorithmIdentifier OPTIONAL }
///
/// A keyLength is passed over, and so are parameters of the prf. False when the shape is another, something
/// follows, the function is not PBKDF2, or the count is 0, has more than four bytes or is above
/// `pbes2MaxIterations`. Prf, cipher and IV are not judged.
SEALKIT_API bool parse(PBES2Params& to, asn1::blob params);
SEALKIT_API bool parse(PBES2Params& to, asn1::blob params, Refusal* refusal);
/// Writes the SEQUENCE, the prf with NULL as parameters and without a keyLength.
SEALKIT_API void save(PBES2Params const& from, DerEncoder& to);
/// The SEQUENCE's encoding.
SEALKIT_API std::vector<unsigned char> encode(PBES2Params const& from);

/// Encrypts or decrypts `data` as `params.params`, PBES2-params, say. `params.oid` is not looked at: the
/// caller has found PBES2 there.
///
/// Encryption pads (RFC 8018, section 6.1.1, step 4), so that the result is 1 to b bytes longer, for a block
/// of b bytes. Decryption needs whole blocks, and one at least. Of the padding only the last byte is looked
/// at: it may be 0 to b, and as many bytes are taken off.
///
/// False when `params` cannot be parsed or have an IV of another length, when `data` cannot be decrypted,
/// and for 4 GiB and more. Another pseudo-random function writes "unsupported PBES2 KDF: <…>" on standard
/// output and another cipher "PBES2: unimplemented cipher: <…>", with the name or the number of the
/// algorithm between the brackets, and both give false. What `out` held is wiped in any case, and `out` is
/// empty when the result is false. `data` may be a view of it.
SEALKIT_API bool pbes2_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                             std::vector<unsigned char>& out, bool encrypt);
/// Offsets count in `params.params`. A padding that cannot be right is `RefusalId::wrongPassword`.
SEALKIT_API bool pbes2_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                             std::vector<unsigned char>& out, bool encrypt, Refusal* refusal);

/// Encrypts `data`, under the same conditions. Empty when that fails; what is encrypted is never empty.
SEALKIT_API std::vector<unsigned char> pbes2_encrypt(asn1::blob data, std::string_view password,
                                                     PBES2Params const& p);
SEALKIT_API std::vector<unsigned char> pbes2_encrypt(asn1::blob data, std::string_view password,
                                                     PBES2Params const& p, Refusal* refusal);

/// How a key is encrypted under its password, for people.
struct KeyEncryption {
    std::string scheme; ///< "PBES2", "traditional PEM", or another's name or number. Empty when malformed.
    std::string cipher; ///< "AES-256-CBC". Empty when the scheme or its parameters are not supported.
    std::string keyDerivation; ///< "PBKDF2 with HMAC-SHA256", on the same terms.
    unsigned iterations = 0;   ///< On the same terms.
    Refusal problem;           ///< Why no password decrypts it; nothing for most.
};
