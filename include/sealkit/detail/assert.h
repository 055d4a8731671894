/// Assertions that guard against mistakes of callers. They abort in every build type, through the
/// C library's own assertion failure. No file or message from outside can reach one.
#pragma once

// As <assert.h> declares it: clang takes [[noreturn]] on no declaration but the first.
extern "C" __attribute__((__noreturn__)) void __assert_fail(char const* expression, char const* file,
                                                            unsigned int line, char const* function) noexcept;

/// Aborts with the text of `expression` unless it holds. For sources: the build maps `__FILE__` to
/// the bare file name.
#define SEALKIT_ASSERT(expression)                                                                           \
    ((expression) ? static_cast<void>(0) : __assert_fail(#expression, __FILE__, __LINE__, __func__))

/// The same with a fixed text and file name. For public headers, whose path differs from one
/// program to the next, and for conditions that are better tested in another form than is shown.
#define SEALKIT_ASSERT_AS(expression, text, file)                                                            \
    ((expression) ? static_cast<void>(0) : __assert_fail(text, file, __LINE__, __func__))
