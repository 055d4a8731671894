/// How long something takes.
#pragma once

#include <ctime>
#include <functional>

namespace test {

/// In processor time, which other programs do not stretch much.
inline double secondsOf(std::function<void()> const& body) {
    std::clock_t const start = std::clock();
    body();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

} // namespace test
