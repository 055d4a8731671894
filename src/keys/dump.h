/// Showing the secrets of a key.
#pragma once

#include "sealkit/bignum.h"

#include "base/secret_bytes.h"

#include <ostream>
#include <string_view>

namespace detail {

/// Writes a name and a secret number, whose text is wiped here. What `out` keeps of it is its owner's.
inline void dumpSecret(std::ostream& out, std::string_view name, BigNum const& number) {
    std::string text = number.str();
    out << '\n' << name << ": " << text;
    wipe(text);
}

} // namespace detail
