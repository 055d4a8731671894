// Runs operations once each between two marks, for the counting plugin of the emulator (counter.c), and
// prints their names and units in the same order, without operations that fail. Random bytes come from a
// fixed source, so that every run has the same count.
//
// Usage: bench_count NAME... or bench_count --list
#include "libraries.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sys/types.h>

namespace {

// Instructions without effect that no compiler emits; the plugin recognises them.
void beginMark() { asm volatile("xoris 11,11,0" ::: "memory"); }
void endMark() { asm volatile("xoris 12,12,0" ::: "memory"); }

/// Restarted before every operation: its random bytes do not depend on earlier operations.
std::uint64_t randomState;

/// Whether the operation works; it is counted only then.
bool count(bench::Row const& row) {
    randomState = 1;
    bench::Operation const operation = row.prepare();
    // The first run binds symbols and fills caches.
    if (!operation())
        return false;
    randomState = 2;
    beginMark();
    operation();
    endMark();
    return true;
}

} // namespace

/// The library draws its random bytes from this function instead of the kernel.
extern "C" ssize_t getrandom(void* to, size_t size, unsigned) {
    auto* const bytes = static_cast<unsigned char*>(to);
    for (size_t i = 0; i < size; i++) {
        randomState = randomState * 6364136223846793005u + 1442695040888963407u; // Knuth's MMIX generator
        bytes[i] = static_cast<unsigned char>(randomState >> 56);
    }
    return static_cast<ssize_t>(size);
}

int main(int argc, char** argv) {
    auto const rows = bench::allRows();
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (bench::Row const& row : rows)
            std::printf("%s/%s\n", row.name.c_str(), row.library.c_str());
        return 0;
    }
    for (int i = 1; i < argc; i++) {
        auto const row = std::find_if(rows.begin(), rows.end(), [&](bench::Row const& candidate) {
            return candidate.name + "/" + candidate.library == argv[i];
        });
        if (row == rows.end()) {
            std::fprintf(stderr, "bench_count: %s is unknown\n", argv[i]);
            return 1;
        }
        if (count(*row))
            std::printf("%s %zu\n", argv[i], row->units);
        else
            std::fprintf(stderr, "bench_count: %s fails here\n", argv[i]);
    }
    return 0;
}
