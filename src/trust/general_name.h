// How validation shows a general name.
#pragma once

#include "sealkit/name.h"

#include <string>

namespace detail {

inline std::string show(GeneralName const& name) { return name.typeStr() + ": " + name.dataStr(); }

} // namespace detail
