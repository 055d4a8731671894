/// Random bytes.
///
/// | name            | what it is                                                           |
/// | --------------- | -------------------------------------------------------------------- |
/// | `Rng`           | the interface through which random bytes are drawn                   |
/// | `getDefaultRng` | the one process-wide instance, over the kernel's generator           |
/// | `kernelRand`    | the Linux `getrandom` system call, repeated until the buffer is full |
/// | `randombytes`   | the default source in the form that mlkem-native asks for            |
///
/// The library has no generator and no state of its own: every byte comes from the kernel. If the kernel's
/// generator fails, the process is aborted, since there is no safe way to continue.
#pragma once

#include "sealkit/detail/export.h"

#include <cstddef>
#include <cstdint>

/// A source of random bytes. A program may derive its own, for example to repeat a test.
class SEALKIT_API Rng {
public:
    virtual ~Rng() = default;

    /// Fills `buf` with `len` cryptographically strong bytes. Returns false if the source failed; the
    /// contents of `buf` are then not random.
    virtual bool fill(unsigned char* buf, unsigned len) const = 0;

    /// The same, but may return bytes before the kernel's generator is fully seeded: for things like hash
    /// table seeds, never for keys.
    virtual bool fillInsecure(unsigned char* buf, unsigned len) const = 0;
};

/// The source that uses the kernel; always the same object. It holds no state and may be used by any number
/// of threads at once.
SEALKIT_API Rng& getDefaultRng();

/// Fills `buf` with `len` bytes from `getrandom`: interrupted and partial calls are repeated. `insecure`
/// passes `GRND_INSECURE`, which Linux supports since 5.6. Returns true, also for a `len` of 0, which makes
/// no system call. Any other failure of the system call aborts the process.
SEALKIT_API bool kernelRand(unsigned char* buf, unsigned len, bool insecure);

/// The default source under the name and in the form that mlkem-native asks for: fills `out` with `len` bytes
/// and returns 0, or 1 on failure. The library itself never calls it by this name, which a program or another
/// library may define as well.
///
/// libsodium declares a `randombytes` of another type: this one is not declared if `sodium.h` was included
/// before, or if the program defines `SEALKIT_WITHOUT_RANDOMBYTES`.
#if !defined(randombytes_H) && !defined(SEALKIT_WITHOUT_RANDOMBYTES)
extern "C" SEALKIT_API int randombytes(uint8_t* out, size_t len);
#endif
