// The text of a general name in the results of validation.
#pragma once

#include "sealkit/name.h"

#include <string>

namespace detail {

inline std::string show(GeneralName const& name) { return name.typeStr() + ": " + name.dataStr(); }

} // namespace detail
