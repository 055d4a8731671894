#include "support/freed_memory.h"

#include "support/heap.h"

#include <cstring>
#include <utility>

namespace {

size_t found = 0;
std::vector<std::vector<unsigned char>> lookedFor;

/// Whether the block holds any `shortestTrace` bytes of a secret that begin at a multiple of that size.
bool holdsSecret(unsigned char const* block, size_t size) {
    constexpr size_t part = test::FreedMemory::shortestTrace;
    for (auto const& secret : lookedFor)
        for (size_t at = 0; at + part <= secret.size(); at += part)
            if (memmem(block, size, secret.data() + at, part) != nullptr)
                return true;
    return false;
}

void inspect(unsigned char const* block, size_t size) { found += holdsSecret(block, size); }

} // namespace

test::FreedMemory::FreedMemory(std::vector<std::vector<unsigned char>> secrets) {
    lookedFor = std::move(secrets);
    found = 0;
    onRelease = inspect;
}

test::FreedMemory::~FreedMemory() {
    onRelease = nullptr;
    lookedFor.clear();
}

size_t test::FreedMemory::traces() const { return found; }
