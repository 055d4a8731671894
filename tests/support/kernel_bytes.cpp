#include "support/kernel_bytes.h"

#include <gtest/gtest.h>

#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

test::KernelBytes* current = nullptr;

} // namespace

/// Replaces the C library's function in the whole program, including the tested library.
extern "C" ssize_t getrandom(void* buffer, size_t length, unsigned flags) {
    if (!current)
        return syscall(SYS_getrandom, buffer, length, flags);
    current->give(static_cast<unsigned char*>(buffer), length, flags);
    return static_cast<ssize_t>(length);
}

namespace test {

KernelBytes::KernelBytes(std::vector<unsigned char> stream) : bytes(std::move(stream)) { current = this; }

KernelBytes::~KernelBytes() { current = nullptr; }

void KernelBytes::give(unsigned char* buffer, size_t size, unsigned flags) {
    EXPECT_EQ(flags, 0U);
    sizes.push_back(size);
    for (size_t i = 0; i < size; ++i)
        buffer[i] = bytes[given++ % bytes.size()];
}

} // namespace test
