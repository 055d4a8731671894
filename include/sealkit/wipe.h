/// Wiping of secrets.
///
/// Every object of the library that holds key material overwrites it when it is destroyed. The call goes
/// through a function pointer, so that the compiler cannot remove it as a dead store.
#pragma once

#include "sealkit/detail/export.h"

#include <cstddef>

/// Points to `memset`. Fills `size` bytes with `value` and returns its first argument. A program may replace
/// it by its own function before it uses the library.
SEALKIT_API extern void* (*secureMemset)(void* data, int value, size_t size);
