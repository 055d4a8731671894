/// Wiping of secrets.
///
/// Every object of the library that holds key material overwrites it when it is destroyed. The
/// overwriting goes through a pointer that the compiler cannot see through, so that it cannot be
/// optimised away as a dead store.
#pragma once

#include "sealkit/detail/export.h"

#include <cstddef>

/// Points to `memset`. Fills `size` bytes with `value` and returns its first argument. A program
/// may point it at a routine of its own before it uses the library.
SEALKIT_API extern void* (*secureMemset)(void* data, int value, size_t size);
