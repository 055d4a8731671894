/// The key derivation of PKCS#12 and its older encryption under a password (RFC 7292, appendices B and C).
///
/// | member | what it is | RFC 7292 |
/// | --- | --- | --- |
/// | `pkcs12_kdf`, `PKCS12Purpose` | derives a key, an IV or a MAC key from a password | B.2, B.3 |
/// | `pkcs12_password` | a password in the form that the derivation takes | B.1 |
/// | `PBEParams` | the parameters of the schemes; `parse`, `save` and `encode` are their DER | C |
/// | `pbe1_crypt` | encrypts or decrypts with pbeWithSHAAnd3-KeyTripleDES-CBC | C |
///
/// The other schemes can only be decrypted: password_schemes.h lists them. pkcs12.h has the files themselves.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/der.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"
#include "sealkit/oid.h"
#include "sealkit/refusal.h"

#include <span>
#include <string_view>
#include <vector>

/// The largest number of iterations of one derivation, including those of files.
inline constexpr unsigned pkcs12MaxIterations = 10'000'000;

/// A password in the form that `pkcs12_kdf` takes: UTF-8 becomes UTF-16, big-endian, followed by two zero
/// bytes (RFC 7292, appendix B.1). Characters beyond the basic plane become surrogate pairs. If the bytes are
/// not UTF-8, each byte is one character, as in Latin-1. The caller wipes the result.
SEALKIT_API std::vector<unsigned char> pkcs12_password(std::string_view password);

/// What is derived: the octet that RFC 7292, appendix B.3, calls ID.
enum class PKCS12Purpose : unsigned char {
    key = 1, ///< The key of a cipher.
    iv = 2,  ///< The IV of a cipher.
    mac = 3, ///< The key of a MAC.
};

/// Fills `out` by the key derivation of RFC 7292, appendix B.2. `password` is as `pkcs12_password` gives it,
/// or has no bytes at all; `hash` is MD5 or one of SHA-1 to SHA-512. It takes `iterations` digests for each
/// digest that `out` needs, in whole or in part. Returns false and leaves `out` unchanged if the hash is
/// another, or the count is 0.
SEALKIT_API bool pkcs12_kdf(HashID hash, asn1::blob password, asn1::blob salt, unsigned iterations,
                            PKCS12Purpose purpose, std::span<unsigned char> out);
inline bool pkcs12_kdf(unsigned hash, asn1::blob password, asn1::blob salt, unsigned iterations,
                       PKCS12Purpose purpose, std::span<unsigned char> out) {
    return pkcs12_kdf(static_cast<HashID>(hash), password, salt, iterations, purpose, out);
}

/// pkcs-12PbeParams (RFC 7292, appendix C). None of it is secret.
struct PBEParams {
    std::vector<unsigned char> salt; ///< Of any length.
    unsigned iterations = 0;         ///< 1 to `pkcs12MaxIterations`.
};

/// Reads the whole encoding of the parameters, which is the `params` of an `AlgorithmIdentifier`: SEQUENCE {
/// salt OCTET STRING, iterations INTEGER }. Returns false if the encoding is malformed or has trailing bytes,
/// or if the count is 0, has more than four bytes or is above `pkcs12MaxIterations`.
SEALKIT_API bool parse(PBEParams& to, asn1::blob params);
SEALKIT_API bool parse(PBEParams& to, asn1::blob params, Refusal* refusal);
/// Writes the SEQUENCE.
SEALKIT_API void save(PBEParams const& from, DerEncoder& to);
/// The SEQUENCE's encoding.
SEALKIT_API std::vector<unsigned char> encode(PBEParams const& from);

/// Encrypts or decrypts `data` with triple DES in CBC mode; key and IV come from the password and
/// `params.params`, a `PBEParams`, over SHA-1. `params.oid` is ignored: the caller has checked that it is
/// pbeWithSHAAnd3-KeyTripleDES-CBC. An empty password consists of the terminator only.
///
/// Encryption pads, so that the result is 1 to 8 bytes longer. Decryption needs one or more whole blocks.
/// Only the last byte of the padding is checked: it may be 0 to 8, and that many bytes are removed. A wrong
/// password therefore shows in the padding or in the plaintext, or not at all.
///
/// Returns false if `params` are malformed, if `data` cannot be decrypted, or if it has 4 GiB or more. The
/// previous content of `out` is always wiped, and `out` is empty if the result is false. `data` may be a view
/// of it.
SEALKIT_API bool pbe1_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                            std::vector<unsigned char>& out, bool encrypt);
/// Offsets count in `params.params`. Invalid padding is `RefusalId::wrongPassword`.
SEALKIT_API bool pbe1_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                            std::vector<unsigned char>& out, bool encrypt, Refusal* refusal);
