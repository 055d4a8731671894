/// A key from a password at the price of memory: scrypt (RFC 7914).
///
/// | member | what it is |
/// | --- | --- |
/// | `scrypt` | derives a key of any length |
/// | `ScryptParams` | what a derivation costs |
/// | `scryptMaxMemory`, `scryptMaxWork` | the limits of that, in files too |
///
/// Not here: making a salt, and any judgement of strength. The order of memory accesses depends on the
/// password, as the algorithm has it.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

#include <cstdint>
#include <span>

/// The maximum of 128 · (N + p) · r: the bytes that one derivation takes.
inline constexpr std::uint64_t scryptMaxMemory = std::uint64_t{129} << 20;

/// The maximum of N · r · p, which the time of one derivation grows with: some seconds on a desktop machine.
inline constexpr std::uint64_t scryptMaxWork = std::uint64_t{1} << 23;

/// The parameters of RFC 7914, section 2.
struct ScryptParams {
    std::uint64_t cost = 0;            ///< N, a power of two above 1.
    std::uint32_t blockSize = 0;       ///< r.
    std::uint32_t parallelization = 0; ///< p.
};

/// Whether the parameters are those of the standard: none is 0, N is a power of two from 2 to 2^(128 · r / 8)
/// less 1, and p is at most (2^32 - 1) · 32 / (128 · r). They may still be above the limits.
SEALKIT_API bool isScryptCost(ScryptParams const& params);

/// Whether the parameters are within `scryptMaxMemory` and `scryptMaxWork`.
SEALKIT_API bool isScryptWithinLimits(ScryptParams const& params);

/// Fills `key` from the password and the salt, whose bytes are taken as they are. Returns false and leaves
/// `key` unchanged if one of the two functions before rejects the parameters, if the memory is not available,
/// and for a key of more than 2^32 - 1 digests of 32 bytes.
SEALKIT_API bool scrypt(asn1::blob password, asn1::blob salt, ScryptParams const& params,
                        std::span<unsigned char> key);
