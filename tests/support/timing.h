/// Measures time.
#pragma once

#include <ctime>
#include <functional>

namespace test {

/// Processor time, which other programs hardly affect.
inline double secondsOf(std::function<void()> const& body) {
    std::clock_t const start = std::clock();
    body();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

} // namespace test
