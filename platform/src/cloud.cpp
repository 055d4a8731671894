#include "kp/cloud.h"

namespace kp {

std::span<std::string_view const, 2> cloudDnsSuffixes() {
    static constexpr std::string_view suffixes[] = {"cloud.kelp.example", "ddns.kelp.example"};
    return suffixes;
}

} // namespace kp
