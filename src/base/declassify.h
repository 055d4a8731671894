/// Values that a secret operation reveals on purpose.
///
/// In operations that `docs/timing.md` calls quiet, neither branches nor addresses depend on secrets.
/// Everything that they reveal passes through these functions: `tests/quiet` runs them under memcheck with
/// the secrets marked as undefined, and fails if an undeclassified secret affects a branch or an address.
#pragma once

#include <cstddef>

#ifdef SEALKIT_MEMCHECK
#include <valgrind/memcheck.h>
#endif

namespace detail {

/// Everything that a quiet operation may reveal.
enum class Told {
    signature,     ///< A published result: r and s, R and S.
    publicKey,     ///< Part of the public half of a key.
    retry,         ///< Whether a candidate was in range; the next one is independent of it.
    keyInRange,    ///< Whether the secret of a key is usable.
    keyConsistent, ///< Whether the members of a key are consistent.
    keyLength,     ///< The number of digits of a key's members, and of bits of a prime.
    padding,       ///< Whether the padding of a decrypted block is well-formed, and where its message begins.
};

/// Declassifies the bytes at `memory`. Has no effect except in the build for memcheck.
inline void declassify([[maybe_unused]] Told what, [[maybe_unused]] void const* memory,
                       [[maybe_unused]] size_t size) {
#ifdef SEALKIT_MEMCHECK
    VALGRIND_MAKE_MEM_DEFINED(memory, size);
#endif
}

/// Returns a declassified copy.
template <typename Value>
inline Value declassified(Told what, Value value) {
    declassify(what, &value, sizeof value);
    return value;
}

} // namespace detail
