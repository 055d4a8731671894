/// The kernel's random bytes, known beforehand.
#pragma once

#include <cstddef>
#include <vector>

namespace test {

/// While one lives, the kernel's generator gives the bytes of `stream` in order, and begins again at its end.
/// One lives at a time.
class KernelBytes {
public:
    explicit KernelBytes(std::vector<unsigned char> stream);
    ~KernelBytes();
    KernelBytes(KernelBytes const&) = delete;
    KernelBytes& operator=(KernelBytes const&) = delete;

    /// The sizes of what was asked for so far, all of it with the flags 0.
    std::vector<size_t> const& asked() const { return sizes; }

    void give(unsigned char* buffer, size_t size, unsigned flags);

private:
    std::vector<unsigned char> bytes;
    size_t given = 0;
    std::vector<size_t> sizes;
};

} // namespace test
