#include "io/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <future>
#include <string>
#include <string_view>

namespace {

auto const period = std::chrono::milliseconds(250);
size_t const width = 40;

/// "1.3 GiB".
std::string formatSize(uint64_t bytes) {
    static char const* const units[] = {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    auto value = static_cast<double>(bytes);
    unsigned unit = 0;
    for (; value >= 1024 && unit < std::size(units) - 1; ++unit)
        value /= 1024;
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", value, units[unit]);
    return text;
}

void writeLine(std::string_view line) {
    // A failure here has no consequence.
    [[maybe_unused]] ssize_t const written = write(STDERR_FILENO, line.data(), line.size());
}

} // namespace

Progress::Progress(std::optional<uint64_t> size)
    : total(size), wanted(isatty(STDERR_FILENO)), due(std::chrono::steady_clock::now() + 2 * period) {}

Progress::Progress(char const* counted)
    : things(counted),
      wanted(isatty(STDERR_FILENO) && !isatty(STDOUT_FILENO)),
      due(std::chrono::steady_clock::now() + 2 * period) {}

void Progress::advance(uint64_t amount) {
    done += amount;
    if (wanted && std::chrono::steady_clock::now() >= due)
        show();
}

namespace {

/// Replaces the line on the screen.
void showLine(std::string line) {
    line.resize(std::max(line.size(), width), ' ');
    writeLine('\r' + line);
}

void clearLine() {
    showLine("");
    writeLine("\r");
}

} // namespace

void Progress::show() {
    std::string line = things == nullptr ? formatSize(done) : std::to_string(done) + " " + things;
    if (total && *total > 0 && done <= *total) {
        auto const percent =
            static_cast<unsigned>(100 * static_cast<double>(done) / static_cast<double>(*total));
        line += " of " + formatSize(*total) + ", " + std::to_string(percent) + " %";
    }
    showLine(line);
    shown = true;
    due = std::chrono::steady_clock::now() + period;
}

void Progress::hide() {
    if (shown)
        clearLine();
    shown = false;
}

void workWithClock(std::string const& what, std::function<void()> const& work) {
    if (!isatty(STDERR_FILENO))
        return work();
    auto const start = std::chrono::steady_clock::now();
    std::future<void> result = std::async(std::launch::async, work);
    bool shown = false;
    for (auto next = 2 * period; result.wait_until(start + next) == std::future_status::timeout;
         next += period) {
        auto const elapsed = std::chrono::duration_cast<std::chrono::seconds>(next).count();
        showLine(what + ": " + std::to_string(elapsed) + " s");
        shown = true;
    }
    if (shown)
        clearLine();
    result.get();
}
