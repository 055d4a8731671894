/// How much a test does where everything takes many times longer.
#pragma once

namespace test {

/// PowerPC is emulated when it is tested, and sanitizers are as slow.
#if defined __powerpc__ || defined SEALKIT_SANITIZED
inline constexpr bool isSlow = true;
#else
inline constexpr bool isSlow = false;
#endif

/// `quick`, or `slow` in a slow build.
template <typename T>
constexpr T lessWhenSlow(T quick, T slow) {
    return isSlow ? slow : quick;
}

} // namespace test
