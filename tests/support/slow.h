/// Reduces the work of tests where they run much more slowly.
#pragma once

#include <cstdlib>

namespace test {

/// Tests for PowerPC are emulated, and sanitizers are as slow. SEALKIT_TEST_ALL in the environment requests
/// all the work, for tests built with sanitizers that run with a library built without them.
inline bool isSlow() {
#if defined __powerpc__ || defined SEALKIT_SANITIZED
    static bool const isAll = std::getenv("SEALKIT_TEST_ALL") != nullptr;
    return !isAll;
#else
    return false;
#endif
}

/// Returns `slow` if tests are slow, and `quick` otherwise.
template <typename T>
T lessWhenSlow(T quick, T slow) {
    return isSlow() ? slow : quick;
}

} // namespace test
