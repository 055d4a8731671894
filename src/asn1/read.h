/// The readers of this layer's forms, with reasons for refusals. The public functions of the same forms call
/// them and return their results.
#pragma once

#include "asn1/element.h"
#include "sealkit/name.h"
#include "sealkit/oid.h"
#include "sealkit/timepoint.h"

namespace detail {

/// Clears a name.
void clear(DistinguishedName& name);

/// `DistinguishedName::parse`. Notes each unknown attribute.
bool readName(Reading& reading, asn1::blob name, DistinguishedName& to);

/// Sets `to` to the name in an element with that tag and content. Returns false if an address does not have 4
/// or 16 octets.
bool setGeneralName(unsigned tag, asn1::blob content, GeneralName& to);

/// `GeneralName::parse`.
bool readGeneralName(Reading& reading, asn1::blob name, GeneralName& to);

/// Takes a Time (RFC 5280, section 4.1.2.5) as `TimePoint::parse` does. `field` names it in refusals.
bool readTime(Level& level, TimePoint* to, char const* field = nullptr);

/// `TimePoint::parse` of a single element.
bool readTime(Reading& reading, asn1::blob element, TimePoint* to);

/// Reads the content of an AlgorithmIdentifier: the content octets of its object identifier, and the whole
/// encoding of its parameters, which is empty if they are absent.
bool readAlgorithm(Reading& reading, asn1::blob content, asn1::blob* oid, asn1::blob* params);

/// The same for the AlgorithmIdentifier at `level`. `field` is its name in refusals.
bool takeAlgorithm(Level& level, asn1::blob* oid, asn1::blob* params, char const* field = nullptr);

/// The value of `AlgorithmIdentifier::params`, which repeats the encoding of the object identifier if the
/// parameters are absent.
inline asn1::blob paramsOrOid(asn1::blob content, asn1::blob params) {
    return params.empty() ? content : params;
}

/// `parse(AlgorithmIdentifier&, content)`, with a copy of the identifier for absent parameters.
bool readAlgorithm(Reading& reading, asn1::blob content, AlgorithmIdentifier& to);

} // namespace detail
