/// The readers of this layer's forms, which tell why they refuse. The public functions of the same forms are these
/// readers, and return what they return.
#pragma once

#include "asn1/element.h"
#include "sealkit/name.h"
#include "sealkit/oid.h"
#include "sealkit/timepoint.h"

namespace detail {

/// `DistinguishedName::parse`. Notes each unknown attribute.
bool readName(Reading& reading, asn1::blob name, DistinguishedName& to);

/// `GeneralName::parse`.
bool readGeneralName(Reading& reading, asn1::blob name, GeneralName& to);

/// Takes a Time (RFC 5280, section 4.1.2.5) as `TimePoint::parse` does. `field` names it in refusals.
bool readTime(Level& level, TimePoint* to, char const* field = nullptr);

/// `TimePoint::parse` of an element with nothing behind it.
bool readTime(Reading& reading, asn1::blob element, TimePoint* to);

/// `parse(AlgorithmIdentifier&, content)`.
bool readAlgorithm(Reading& reading, asn1::blob content, AlgorithmIdentifier& to);

} // namespace detail
