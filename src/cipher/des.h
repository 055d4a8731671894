/// DES and triple DES for many blocks.
#pragma once

#include "sealkit/block.h"

#include <memory>
#include <span>

namespace detail {

/// DES under a key of 8 bytes or triple DES under one of 24, with subkeys that are laid out once and not for
/// each block. Null for any other length.
std::unique_ptr<BlockCipher> makeDes(std::span<unsigned char const> key);

} // namespace detail
