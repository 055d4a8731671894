/// The readers of this layer's forms, which tell why they refuse. The public functions of the same forms are
/// these readers, and return what they return.
#pragma once

#include "asn1/element.h"
#include "sealkit/name.h"
#include "sealkit/oid.h"
#include "sealkit/timepoint.h"

namespace detail {

/// Empties a name.
void clear(DistinguishedName& name);

/// `DistinguishedName::parse`. Notes each unknown attribute.
bool readName(Reading& reading, asn1::blob name, DistinguishedName& to);

/// Sets `to` to the name of an element with that tag and content. False for an address of other than 4 or 16
/// octets.
bool setGeneralName(unsigned tag, asn1::blob content, GeneralName& to);

/// `GeneralName::parse`.
bool readGeneralName(Reading& reading, asn1::blob name, GeneralName& to);

/// Takes a Time (RFC 5280, section 4.1.2.5) as `TimePoint::parse` does. `field` names it in refusals.
bool readTime(Level& level, TimePoint* to, char const* field = nullptr);

/// `TimePoint::parse` of an element with nothing after it.
bool readTime(Reading& reading, asn1::blob element, TimePoint* to);

/// The content of an AlgorithmIdentifier: the content octets of its object identifier and the whole encoding
/// of its parameters, which is empty where they are absent.
bool readAlgorithm(Reading& reading, asn1::blob content, asn1::blob* oid, asn1::blob* params);

/// The same for the AlgorithmIdentifier at `level`. `field` names it in refusals.
bool takeAlgorithm(Level& level, asn1::blob* oid, asn1::blob* params, char const* field = nullptr);

/// What `AlgorithmIdentifier::params` holds: where parameters are absent, the encoding of the object
/// identifier again.
inline asn1::blob paramsOrOid(asn1::blob content, asn1::blob params) {
    return params.empty() ? content : params;
}

/// `parse(AlgorithmIdentifier&, content)`, where absent parameters are a copy of the object identifier's
/// encoding.
bool readAlgorithm(Reading& reading, asn1::blob content, AlgorithmIdentifier& to);

} // namespace detail
