/// What the platform knows of its maker's cloud service.
#pragma once

#include "kp/export.h"

#include <span>
#include <string_view>

namespace kp {

/// The two DNS suffixes of the cloud service, without a leading dot. They live as long as the program.
KP_API std::span<std::string_view const, 2> cloudDnsSuffixes();

} // namespace kp
