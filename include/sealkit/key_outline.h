/// Descriptions of public keys and signature algorithms for displays, including those that the library does
/// not support.
///
/// | name            | what it is                                                                         |
/// | --------------- | ---------------------------------------------------------------------------------- |
/// | `KeyOutline`    | algorithm, size and curve of a SubjectPublicKeyInfo, and the numbers of an RSA key |
/// | `PssOutline`    | the parameters of RSASSA-PSS (RFC 8017, appendix A.2.3) with their defaults        |
/// | `algorithmText` | "SHA256+RSA", "RSASSA-PSS (SHA256, MGF1 with SHA256, salt of 32 bytes)"            |
///
/// Numbers are not checked and points are not computed: to use a key, read it with `parsePkcs8PublicKey`
/// (pkcs8.h). Blobs are views of the input.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/refusal.h"

#include <string>

/// A public key as far as it can be read.
struct KeyOutline {
    asn1::blob algorithm;  ///< Content octets of the object identifier.
    asn1::blob parameters; ///< Whole encoding; empty if absent.
    asn1::blob key;        ///< The octets of the BIT STRING.
    /// The size of the modulus, the prime or the curve's field; 0 if unknown.
    size_t bits = 0;
    /// The name of an EC key's curve, its dotted form, or "explicit parameters"; empty for other keys.
    std::string curve;
    asn1::blob modulus;  ///< Content octets of the INTEGER of an RSA key; empty otherwise.
    asn1::blob exponent; ///< Likewise.
};

/// Reads a SubjectPublicKeyInfo. Returns false, with a reason, if it is not a SEQUENCE of an
/// AlgorithmIdentifier and a BIT STRING; the fields before the error are set. If the key in the BIT STRING is
/// malformed, `bits` is 0.
SEALKIT_API bool parseKeyOutline(asn1::blob subjectPublicKeyInfo, KeyOutline* to, Refusal* refusal = nullptr);

/// The parameters of RSASSA-PSS. The hashes are content octets of object identifiers.
struct PssOutline {
    asn1::blob hash;           ///< hashAlgorithm.
    asn1::blob maskGeneration; ///< maskGenAlgorithm.
    asn1::blob maskHash;       ///< The hash of the mask generation function.
    unsigned saltLength = 20;  ///< In bytes.
    unsigned trailerField = 1; ///< 1, which stands for the byte bc, or another number that stands there.
};

/// Reads RSASSA-PSS-params, a whole SEQUENCE.
SEALKIT_API bool parsePssOutline(asn1::blob parameters, PssOutline* to, Refusal* refusal = nullptr);

/// The name of an AlgorithmIdentifier, given by its whole encoding; that of RSASSA-PSS includes the
/// parameters. "(malformed)" if it is malformed.
SEALKIT_API std::string algorithmText(asn1::blob algorithm);
