/// Signatures with keys of any kind that a file or certificate may hold.
///
/// | key     | signs                            | form of the signature                  |
/// | ------- | -------------------------------- | -------------------------------------- |
/// | RSA     | a digest, PKCS#1 v1.5 (RFC 8017) | as many bytes as the modulus has       |
/// | EC      | a digest, ECDSA (FIPS 186-5)     | DER of SEQUENCE { r, s } (RFC 5480, A) |
/// | Ed25519 | the whole message (RFC 8032)     | 64 bytes                               |
/// | X25519  | nothing                          |                                        |
///
/// `signMessage` and `verifyMessage`, which take the message and not its digest, work with all of them.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"
#include "sealkit/keys.h"

#include <vector>

/// The hash that matches the strength of a key: SHA-384 for P-384, SHA-512 for P-521, `HashID::none` for
/// Ed25519, which has its own hash, and for X25519; SHA-256 for all others.
SEALKIT_API HashID getMatchingHash(PublicKey const& key);

/// The signature of `digest`, which was made with `hash`, by an RSA or EC key. Empty for other keys, and if
/// the key's own `signHashed` fails.
SEALKIT_API std::vector<unsigned char> signHashed(PrivateKey const& key, HashID hash, asn1::blob digest);
inline std::vector<unsigned char> signHashed(PrivateKey const& key, unsigned hash, asn1::blob digest) {
    return signHashed(key, static_cast<HashID>(hash), digest);
}

/// Whether `signature` is that of `digest`, which was made with `hash`, under an RSA or EC key. Returns false
/// for other keys.
SEALKIT_API bool verifyHashed(PublicKey const& key, HashID hash, asn1::blob digest, asn1::blob signature);
inline bool verifyHashed(PublicKey const& key, unsigned hash, asn1::blob digest, asn1::blob signature) {
    return verifyHashed(key, static_cast<HashID>(hash), digest, signature);
}
/// The same, silently and with a reason (refusal.h).
SEALKIT_API bool verifyHashed(PublicKey const& key, HashID hash, asn1::blob digest, asn1::blob signature,
                              Refusal* refusal);
inline bool verifyHashed(PublicKey const& key, unsigned hash, asn1::blob digest, asn1::blob signature,
                         Refusal* refusal) {
    return verifyHashed(key, static_cast<HashID>(hash), digest, signature, refusal);
}

/// The signature of `message` by an RSA or EC key over its digest by `hash`, or by an Ed25519 key, which has
/// its own hash and ignores `hash`. Empty if the key cannot sign.
SEALKIT_API std::vector<unsigned char> signMessage(PrivateKey const& key, HashID hash, asn1::blob message);
inline std::vector<unsigned char> signMessage(PrivateKey const& key, unsigned hash, asn1::blob message) {
    return signMessage(key, static_cast<HashID>(hash), message);
}

/// Whether `signature` is that of `message`.
SEALKIT_API bool verifyMessage(PublicKey const& key, HashID hash, asn1::blob message, asn1::blob signature);
inline bool verifyMessage(PublicKey const& key, unsigned hash, asn1::blob message, asn1::blob signature) {
    return verifyMessage(key, static_cast<HashID>(hash), message, signature);
}
/// The same, silently and with a reason (refusal.h).
SEALKIT_API bool verifyMessage(PublicKey const& key, HashID hash, asn1::blob message, asn1::blob signature,
                               Refusal* refusal);
inline bool verifyMessage(PublicKey const& key, unsigned hash, asn1::blob message, asn1::blob signature,
                          Refusal* refusal) {
    return verifyMessage(key, static_cast<HashID>(hash), message, signature, refusal);
}
