/// Looking into memory that is freed.
#pragma once

#include <cstddef>
#include <vector>

namespace test {

/// Looks for secrets in every block of memory that goes back to the heap while the object lives. One
/// object lives at a time.
class FreedMemory {
public:
    /// `secrets` are the bytes to look for. A part of one counts, if it is of
    /// `shortestTrace` bytes and begins at a multiple of them.
    explicit FreedMemory(std::vector<std::vector<unsigned char>> secrets);
    ~FreedMemory();
    FreedMemory(FreedMemory const&) = delete;
    FreedMemory& operator=(FreedMemory const&) = delete;

    static constexpr size_t shortestTrace = 8;

    /// How many freed blocks held a secret so far.
    size_t traces() const;
};

} // namespace test
