/// What a public key or a signature algorithm says of itself, for displays: also of those that the library
/// does not use.
///
/// | name               | what it is                                                                         |
/// | ------------------ | ---------------------------------------------------------------------------------- |
/// | `KeyOutline`       | algorithm, size and curve of a SubjectPublicKeyInfo, and the numbers of an RSA key |
/// | `PssOutline`       | the parameters of RSASSA-PSS (RFC 8017, appendix A.2.3) with their defaults        |
/// | `algorithmText`    | "SHA256+RSA", "RSASSA-PSS (SHA256, MGF1 with SHA256, salt of 32 bytes)"             |
///
/// No number is checked and no point is computed: `parsePkcs8PublicKey` (pkcs8.h) reads keys that are to be
/// used. Blobs are views of the input.
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
    /// Of the modulus, the prime or the curve's field; 0 if unknown.
    size_t bits = 0;
    /// The name of an EC key's curve, its dotted form, or "explicit parameters"; empty for other keys.
    std::string curve;
    asn1::blob modulus;  ///< Content octets of the INTEGER of an RSA key; empty otherwise.
    asn1::blob exponent; ///< Likewise.
};

/// Takes a SubjectPublicKeyInfo apart. Returns false, with a reason, if it is not a SEQUENCE of an
/// AlgorithmIdentifier and a BIT STRING; what stands before is set. A key that is malformed within has no
/// size.
SEALKIT_API bool parseKeyOutline(asn1::blob subjectPublicKeyInfo, KeyOutline* to, Refusal* refusal = nullptr);

/// The hashes by the content octets of their object identifiers.
struct PssOutline {
    asn1::blob hash;
    asn1::blob maskGeneration;
    asn1::blob maskHash;
    unsigned saltLength = 20;
    unsigned trailerField = 1;
};

/// Reads RSASSA-PSS-params, a whole SEQUENCE.
SEALKIT_API bool parsePssOutline(asn1::blob parameters, PssOutline* to, Refusal* refusal = nullptr);

/// The name of an AlgorithmIdentifier, given by its whole encoding, with the parameters of RSASSA-PSS.
/// "(malformed)" if it is malformed.
SEALKIT_API std::string algorithmText(asn1::blob algorithm);
