/// Deriving a key from a password at the cost of memory: scrypt (RFC 7914).
///
/// | member                             | what it is                                      |
/// | ---------------------------------- | ----------------------------------------------- |
/// | `scrypt`                           | derives a key of any length                     |
/// | `ScryptParams`                     | the cost parameters                             |
/// | `scryptMaxMemory`, `scryptMaxWork` | the limits of the cost, including that of files |
///
/// Not here: making a salt, and checking whether the parameters are strong. By design of the algorithm, the
/// order of memory accesses depends on the password.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

#include <cstdint>
#include <span>

/// The maximum of 128 · (N + p) · r: the bytes of memory that one derivation uses.
inline constexpr std::uint64_t scryptMaxMemory = std::uint64_t{129} << 20;

/// The maximum of N · r · p, which determines the time of one derivation: some seconds on a desktop machine.
inline constexpr std::uint64_t scryptMaxWork = std::uint64_t{1} << 23;

/// The parameters of RFC 7914, section 2.
struct ScryptParams {
    std::uint64_t cost = 0;            ///< N, a power of two above 1.
    std::uint32_t blockSize = 0;       ///< r.
    std::uint32_t parallelization = 0; ///< p.
};

/// Whether the standard allows the parameters: all are positive, N is a power of two, greater than 1 and less
/// than 2^(128 · r / 8), and p is at most (2^32 - 1) · 32 / (128 · r). They may still be above the limits.
SEALKIT_API bool isScryptCost(ScryptParams const& params);

/// Whether the parameters are within `scryptMaxMemory` and `scryptMaxWork`.
SEALKIT_API bool isScryptWithinLimits(ScryptParams const& params);

/// Fills `key` from the bytes of the password and the salt. Returns false and leaves `key` unchanged if
/// `isScryptCost` or `isScryptWithinLimits` rejects the parameters, if memory is not available, and for a key
/// of more than 2^32 - 1 digests of 32 bytes.
SEALKIT_API bool scrypt(asn1::blob password, asn1::blob salt, ScryptParams const& params,
                        std::span<unsigned char> key);
