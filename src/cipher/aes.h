/// What takes an AES key of any length.
#pragma once

#include "sealkit/block.h"

#include <memory>
#include <span>

namespace detail {

/// AES under a key of 16, 24 or 32 bytes. Null for any other length.
std::unique_ptr<BlockCipher> makeAes(std::span<unsigned char const> key);
/// The same with a second expanded key, for modes that decrypt blocks.
std::unique_ptr<BlockCipher> makeDecryptingAes(std::span<unsigned char const> key);

} // namespace detail
