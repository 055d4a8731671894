/// Where a secret operation tells something on purpose.
///
/// Operations that `docs/timing.md` calls quiet take no branch and no address from a secret. What they do
/// tell goes through here, and nowhere else: `tests/quiet` runs them under memcheck with the secrets marked
/// as undefined, and fails where one is acted on that was not declassified.
#pragma once

#include <cstddef>

#ifdef SEALKIT_MEMCHECK
#include <valgrind/memcheck.h>
#endif

namespace detail {

/// Everything that a quiet operation may tell.
enum class Told {
    signature,     ///< What the caller publishes: r and s, R and S.
    publicKey,     ///< What belongs to the public half of a key.
    retry,         ///< Whether a candidate was in range: the next one is independent of it.
    keyInRange,    ///< Whether the secret of a key is one that signs at all.
    keyConsistent, ///< Whether the members of a key are consistent.
    keyLength,     ///< How many digits a number of a key has, and how many bits a prime.
    padding,       ///< Whether a decrypted block is padded as it must be, and where its message begins.
};

/// Says that the bytes at `memory` may be acted on. Costs nothing but in the build for memcheck.
inline void declassify([[maybe_unused]] Told what, [[maybe_unused]] void const* memory,
                       [[maybe_unused]] size_t size) {
#ifdef SEALKIT_MEMCHECK
    VALGRIND_MAKE_MEM_DEFINED(memory, size);
#endif
}

/// A value that may be acted on.
template <typename Value>
inline Value declassified(Told what, Value value) {
    declassify(what, &value, sizeof value);
    return value;
}

} // namespace detail
