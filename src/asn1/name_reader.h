/// Reading a name with its remarks sent elsewhere than to standard output.
#pragma once

#include "sealkit/name.h"

#include <iosfwd>

namespace detail {

/// `DistinguishedName::parse`, which reports unknown attributes on `notices`.
bool readName(asn1::blob name, DistinguishedName& to, std::ostream& notices);

} // namespace detail
