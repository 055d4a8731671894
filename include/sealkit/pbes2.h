/// Encryption under a password: PBES2 (RFC 8018, section 6.2), as encrypted keys, PKCS#7 and PKCS#12 use it.
///
/// | member          | what it is                                                           |
/// | --------------- | -------------------------------------------------------------------- |
/// | `PBES2Params`   | the parameters as fields; `parse`, `save` and `encode` are their DER |
/// | `pbes2_crypt`   | encrypts or decrypts by an AlgorithmIdentifier                       |
/// | `pbes2_encrypt` | encrypts by a `PBES2Params`                                          |
/// | `KeyEncryption` | describes how a key, or a content of PKCS#12, is encrypted           |
///
/// Supported:
///
/// | part                       | algorithm                                  | bytes                 |
/// | -------------------------- | ------------------------------------------ | --------------------- |
/// | key derivation             | PBKDF2, salt and count of the parameters   |                       |
/// | its pseudo-random function | hmacWithSHA1 (the default), hmacWithSHA256 |                       |
/// | cipher                     | des-EDE3-CBC                               | key 24, IV 8          |
/// |                            | aes128-CBC, aes192-CBC, aes256-CBC         | key 16, 24, 32, IV 16 |
///
/// The scheme does not authenticate: a wrong password or a changed ciphertext shows in the padding or in the
/// plaintext, or not at all. Encrypted keys are in pkcs8.h and pem.h. password_schemes.h lists what their
/// readers also decrypt on request.
#pragma once

#include "sealkit/der.h"
#include "sealkit/detail/export.h"
#include "sealkit/oid.h"
#include "sealkit/refusal.h"

#include <string>
#include <string_view>
#include <vector>

/// The largest number of iterations, including those of files: a file must not keep its reader busy for
/// minutes.
inline constexpr unsigned pbes2MaxIterations = 10'000'000;

/// PBES2-params (RFC 8018, appendix A.4). Object identifiers are content octets. None of it is secret.
struct PBES2Params {
    std::vector<unsigned char> kdf;    ///< PBKDF2.
    std::vector<unsigned char> prf;    ///< Empty for the default, hmacWithSHA1, which is then absent.
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
/// keyLength and the parameters of the prf are ignored. Returns false if the encoding is malformed or has
/// trailing bytes, if the function is not PBKDF2, or if the count is 0, has more than four bytes or is above
/// `pbes2MaxIterations`. Prf, cipher and IV are not checked.
SEALKIT_API bool parse(PBES2Params& to, asn1::blob params);
SEALKIT_API bool parse(PBES2Params& to, asn1::blob params, Refusal* refusal);
/// Writes the SEQUENCE, the prf with NULL as parameters and without a keyLength.
SEALKIT_API void save(PBES2Params const& from, DerEncoder& to);
/// The SEQUENCE's encoding.
SEALKIT_API std::vector<unsigned char> encode(PBES2Params const& from);

/// Encrypts or decrypts `data` by `params.params`, which are PBES2-params. `params.oid` is ignored: the
/// caller has checked that it is PBES2.
///
/// Encryption pads (RFC 8018, section 6.1.1, step 4), so that the result is 1 to b bytes longer, for a block
/// of b bytes. Decryption needs one or more whole blocks. Only the last byte of the padding is checked: it
/// may be 0 to b, and that many bytes are removed.
///
/// Returns false if `params` are malformed or have an IV of another length, if `data` cannot be decrypted, or
/// if it has 4 GiB or more. For an unsupported pseudo-random function it writes "unsupported PBES2 KDF: <…>"
/// to standard output, for an unsupported cipher "PBES2: unimplemented cipher: <…>", with the name or the
/// dotted form of the algorithm between the brackets; both return false. The previous content of `out` is
/// always wiped, and `out` is empty if the result is false. `data` may be a view of it.
SEALKIT_API bool pbes2_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                             std::vector<unsigned char>& out, bool encrypt);
/// Offsets count in `params.params`. Invalid padding is `RefusalId::wrongPassword`.
SEALKIT_API bool pbes2_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                             std::vector<unsigned char>& out, bool encrypt, Refusal* refusal);

/// Encrypts `data` under the same conditions. Empty on failure; a ciphertext is never empty.
SEALKIT_API std::vector<unsigned char> pbes2_encrypt(asn1::blob data, std::string_view password,
                                                     PBES2Params const& p);
SEALKIT_API std::vector<unsigned char> pbes2_encrypt(asn1::blob data, std::string_view password,
                                                     PBES2Params const& p, Refusal* refusal);

/// A description of how a key is encrypted under its password.
struct KeyEncryption {
    std::string scheme;        ///< "PBES2", "traditional PEM", or another's name. Empty if malformed.
    std::string cipher;        ///< "AES-256-CBC". Empty if the scheme or its parameters are unsupported.
    std::string keyDerivation; ///< "PBKDF2 with HMAC-SHA256". Empty if `cipher` is.
    unsigned iterations = 0;   ///< 0 if `cipher` is empty, and for scrypt.
    bool isWeak = false;       ///< Keys of 64 bits or fewer: all can be tried at moderate cost.
    Refusal problem;           ///< Why no password can decrypt it; usually empty.
};
