/// A line that shows how far long work has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

/// Bytes or other things done, on standard error: shown once work takes its time, and only when that is a
/// terminal. The line is gone when the object is, or after `hide`: hide it before anything else is written.
class Progress {
public:
    /// `total` is the number of bytes to come, when it is known.
    explicit Progress(std::optional<uint64_t> total);
    /// Counts what `things` names, "chains". Shows nothing where standard output is a terminal: a line for
    /// each is there.
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

/// Does work of which nobody knows how long it takes, in a thread of its own, and shows for how long it has
/// been at it, under the same conditions: "generating a key: 3 s".
void workWithClock(std::string const& what, std::function<void()> const& work);
