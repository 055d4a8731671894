/// Dumps the secrets of a key.
#pragma once

#include "sealkit/bignum.h"

#include "base/secret_bytes.h"

#include <ostream>
#include <string_view>

namespace detail {

/// Writes a name and a secret number, and wipes the temporary text. The caller is responsible for the
/// contents of `out`.
inline void dumpSecret(std::ostream& out, std::string_view name, BigNum const& number) {
    std::string text = number.str();
    out << '\n' << name << ": " << text;
    wipe(text);
}

} // namespace detail
