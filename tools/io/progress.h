/// A line that shows the progress of long work.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

/// Shows the progress in bytes or other units on standard error, if that is a terminal and the work takes
/// long. The destructor and `hide` remove the line; call `hide` before any other output.
class Progress {
public:
    /// `total` is the number of bytes to come, if known.
    explicit Progress(std::optional<uint64_t> total);
    /// Counts units with the name `things`, such as "chains". Shows nothing if standard output is a terminal,
    /// which shows a line for each unit anyway.
    explicit Progress(char const* things);
    ~Progress() { hide(); }
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    void advance(uint64_t amount);
    void hide();

private:
    void show();

    std::optional<uint64_t> total;
    char const* things = nullptr;
    uint64_t done = 0;
    bool const wanted;
    bool shown = false;
    std::chrono::steady_clock::time_point due;
};

/// Does work of unknown duration in a thread of its own and shows the elapsed time under the same conditions:
/// "generating a key: 3 s".
void workWithClock(std::string const& what, std::function<void()> const& work);
