/// Verifies signatures, with reasons for refusals.
#pragma once

#include "sealkit/keys.h"

#include "base/reading.h"

namespace detail {

/// Implements the members of the same name. `reading` is one of the signature.
bool verifyHashed(Reading& reading, RsaPublicKey const& key, HashID hashId, asn1::blob digest,
                  asn1::blob sig);
bool verifyHashed(Reading& reading, EcPublicKey const& key, HashID hashId, asn1::blob digest, asn1::blob sig);

/// Implements `verifyHashed` and `verifyMessage` of signature.h.
bool verifyHashed(Reading& reading, PublicKey const& key, HashID hash, asn1::blob digest,
                  asn1::blob signature);
bool verifyMessage(Reading& reading, PublicKey const& key, HashID hash, asn1::blob message,
                   asn1::blob signature);

/// The fields of RSASSA-PSS-params (RFC 8017, appendix A.2.3); empty if omitted.
struct PssFields {
    asn1::blob hash; ///< Content octets of an object identifier.
    asn1::blob hashParameters;
    asn1::blob mask; ///< Content octets of an object identifier.
    asn1::blob maskParameters;
    asn1::blob saltLength; ///< A whole INTEGER.
    asn1::blob trailerField;
};
/// Whether the algorithms may be omitted, which means SHA-1.
enum class PssDefaults : bool { refused, taken };
bool readPssFields(Reading& reading, asn1::blob parameters, PssDefaults defaults, PssFields* to);

/// The supported parameters of an RSASSA-PSS signature, with MGF1 over the same hash and a trailer of 1.
struct PssParameters {
    HashID hash = HashID::none; ///< SHA-256, SHA-384 or SHA-512.
    size_t saltLength = 0;
};

/// Reads RSASSA-PSS-params (RFC 8017, appendix A.2.3), a whole SEQUENCE. Refuses other parameters.
bool readPssParameters(Reading& reading, asn1::blob parameters, PssParameters* to);

/// Whether `signature` is the RSASSA-PSS signature of `digest`, computed with the hash of `parameters` (RFC
/// 8017, section 8.1.2).
bool verifyPss(Reading& reading, RsaPublicKey const& key, PssParameters const& parameters, asn1::blob digest,
               asn1::blob signature);

} // namespace detail
