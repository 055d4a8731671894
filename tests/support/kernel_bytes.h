/// Predictable random bytes from the kernel.
#pragma once

#include <cstddef>
#include <vector>

namespace test {

/// During its lifetime, the kernel's generator returns the bytes of `stream` in order, and starts again at
/// their end. Only one may exist at a time.
class KernelBytes {
public:
    explicit KernelBytes(std::vector<unsigned char> stream);
    ~KernelBytes();
    KernelBytes(KernelBytes const&) = delete;
    KernelBytes& operator=(KernelBytes const&) = delete;

    /// The sizes of the requests so far. All must have the flags 0.
    std::vector<size_t> const& asked() const { return sizes; }

    void give(unsigned char* buffer, size_t size, unsigned flags);

private:
    std::vector<unsigned char> bytes;
    size_t given = 0;
    std::vector<size_t> sizes;
};

} // namespace test
