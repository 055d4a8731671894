/// Verifying signatures, with the reason where one does not verify.
#pragma once

#include "sealkit/keys.h"

#include "base/reading.h"

namespace detail {

/// What the members of the same name say. `reading` is one of the signature.
bool verifyHashed(Reading& reading, RsaPublicKey const& key, HashID hashId, asn1::blob digest,
                  asn1::blob sig);
bool verifyHashed(Reading& reading, EcPublicKey const& key, HashID hashId, asn1::blob digest, asn1::blob sig);

/// `verifyHashed` and `verifyMessage` of signature.h.
bool verifyHashed(Reading& reading, PublicKey const& key, HashID hash, asn1::blob digest,
                  asn1::blob signature);
bool verifyMessage(Reading& reading, PublicKey const& key, HashID hash, asn1::blob message,
                   asn1::blob signature);

/// RSASSA-PSS-params (RFC 8017, appendix A.2.3) as it stands; what is left out is empty.
struct PssFields {
    asn1::blob hash; ///< Content octets of an object identifier.
    asn1::blob hashParameters;
    asn1::blob mask; ///< Likewise.
    asn1::blob maskParameters;
    asn1::blob saltLength; ///< A whole INTEGER.
    asn1::blob trailerField;
};
/// Whether the algorithms may be left out, for which SHA-1 stands.
enum class PssDefaults : bool { refused, taken };
bool readPssFields(Reading& reading, asn1::blob parameters, PssDefaults defaults, PssFields* to);

/// The parameters of an RSASSA-PSS signature with which it is verified: MGF1 over the same hash, and a
/// trailer of 1.
struct PssParameters {
    HashID hash = HashID::none; ///< SHA-256, SHA-384 or SHA-512.
    size_t saltLength = 0;
};

/// Reads RSASSA-PSS-params (RFC 8017, appendix A.2.3), a whole SEQUENCE. Refuses other hashes, masks and
/// trailers.
bool readPssParameters(Reading& reading, asn1::blob parameters, PssParameters* to);

/// Whether `signature` is the RSASSA-PSS signature of `digest`, which was made with the hash of `parameters`
/// (RFC 8017, section 8.1.2).
bool verifyPss(Reading& reading, RsaPublicKey const& key, PssParameters const& parameters, asn1::blob digest,
               asn1::blob signature);

} // namespace detail
