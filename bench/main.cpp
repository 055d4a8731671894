// Runs the rows of all libraries on Google Benchmark. Arguments are those of Google Benchmark, and
//
//     --rotate=N    rotates the order of the libraries of each operation by N, so that each can be first
//
// A row is named OPERATION/SIZE/LIBRARY; `--benchmark_filter='^sha256/16384/'` runs one operation of every
// library.
#include "libraries.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace {

/// The rows of each operation one after the other, with the libraries in their order, rotated by `shift`.
std::vector<bench::Row> sideBySide(std::vector<bench::Row> rows, size_t shift) {
    std::vector<bench::Row> sorted;
    while (!rows.empty()) {
        auto const others =
            std::stable_partition(rows.begin(), rows.end(),
                                  [name = rows.front().name](auto const& row) { return row.name == name; });
        auto const count = static_cast<size_t>(others - rows.begin());
        std::rotate(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(shift % count), others);
        sorted.insert(sorted.end(), rows.begin(), others);
        rows.erase(rows.begin(), others);
    }
    return sorted;
}

bool failed = false; ///< Whether any operation has failed.

void measure(benchmark::State& state, bench::Row const& row) {
    bench::Operation const operation = row.prepare();
    // The first run fills caches.
    bool works = operation();
    for (auto _ : state)
        works = works && operation();
    if (!works) {
        failed = true;
        state.SkipWithError("the operation failed");
    }
    if (row.units > 1)
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(row.units));
}

} // namespace

int main(int argc, char** argv) {
    size_t shift = 0;
    constexpr std::string_view rotate = "--rotate=";
    argc = static_cast<int>(std::remove_if(argv + 1, argv + argc,
                                           [&](std::string_view argument) {
                                               if (!argument.starts_with(rotate))
                                                   return false;
                                               shift =
                                                   std::strtoul(argument.data() + rotate.size(), nullptr, 10);
                                               return true;
                                           }) -
                            argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 3;
    std::vector<bench::Row> const rows = sideBySide(bench::allRows(), shift);
    for (bench::Row const& row : rows)
        benchmark::RegisterBenchmark((row.name + "/" + row.library).c_str(),
                                     [&row](benchmark::State& state) { measure(state, row); });
    return benchmark::RunSpecifiedBenchmarks() == 0 || failed;
}
