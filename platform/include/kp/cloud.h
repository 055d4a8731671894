/// The cloud service of the platform's maker.
#pragma once

#include "kp/export.h"

#include <span>
#include <string_view>

namespace kp {

/// The two DNS suffixes of the cloud service, without a leading dot. They are valid as long as the program
/// runs.
KP_API std::span<std::string_view const, 2> cloudDnsSuffixes();

} // namespace kp
