/// DES and triple DES for large data.
#pragma once

#include "sealkit/block.h"

#include <memory>
#include <span>

namespace detail {

/// DES with a key of 8 bytes or triple DES with one of 24. The subkeys are arranged once instead of for each
/// block. Null for any other length.
std::unique_ptr<BlockCipher> makeDes(std::span<unsigned char const> key);

} // namespace detail
