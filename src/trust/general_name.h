// The types of general names that validation knows, and how it shows one.
#pragma once

#include "sealkit/name.h"

#include <string>

namespace detail {

/// The tags of GeneralName (RFC 5280, section 4.2.1.6), as `GeneralName::type` holds them.
enum : unsigned char { rfc822Name = 1, dnsName = 2, ipAddress = 7 };

inline std::string show(GeneralName const& name) { return name.typeStr() + ": " + name.dataStr(); }

} // namespace detail
