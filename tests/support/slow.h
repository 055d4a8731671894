/// How much a test does where everything takes many times longer.
#pragma once

#include <cstdlib>

namespace test {

/// PowerPC is emulated when it is tested, and sanitizers are as slow. Tests that were built with sanitizers
/// and run with a library that was not do everything: SEALKIT_TEST_ALL in the environment says so.
inline bool isSlow() {
#if defined __powerpc__ || defined SEALKIT_SANITIZED
    static bool const isAll = std::getenv("SEALKIT_TEST_ALL") != nullptr;
    return !isAll;
#else
    return false;
#endif
}

/// `quick`, or `slow` where tests are slow.
template <typename T>
T lessWhenSlow(T quick, T slow) {
    return isSlow() ? slow : quick;
}

} // namespace test
