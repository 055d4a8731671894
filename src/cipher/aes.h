/// AES with keys of any length.
#pragma once

#include "sealkit/block.h"

#include <memory>
#include <span>

namespace detail {

/// AES with a key of 16, 24 or 32 bytes; null for any other length.
std::unique_ptr<BlockCipher> makeAes(std::span<unsigned char const> key);
/// The same with cached decryption round keys, for modes that decrypt blocks.
std::unique_ptr<BlockCipher> makeDecryptingAes(std::span<unsigned char const> key);

} // namespace detail
