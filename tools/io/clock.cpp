#include "io/clock.h"

#include "io/exit_status.h"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string_view>

TimePoint currentTime() { return TimePoint::nowUtc(); }

namespace {

/// Takes a number of exactly `digits` digits off the front.
bool takeNumber(std::string_view& rest, size_t digits, int* number) {
    if (rest.size() < digits || rest.front() == '-')
        return false;
    auto const [end, error] = std::from_chars(rest.data(), rest.data() + digits, *number);
    if (error != std::errc() || end != rest.data() + digits)
        return false;
    rest.remove_prefix(digits);
    return true;
}

/// Takes one of the characters off the front; returns 0 if the text begins with another one.
char takeOneOf(std::string_view& rest, std::string_view characters) {
    if (rest.empty() || characters.find(rest.front()) == characters.npos)
        return 0;
    char const taken = rest.front();
    rest.remove_prefix(1);
    return taken;
}

/// A whole number.
std::optional<int64_t> parseSeconds(std::string_view text) {
    int64_t seconds = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    constexpr int64_t limit = 100'000'000'000; // Beyond the year 9999.
    if (error != std::errc() || end != text.data() + text.size() || seconds >= limit || seconds <= -limit)
        return std::nullopt;
    return seconds;
}

} // namespace

std::optional<TimePoint> parseTime(std::string const& text) {
    if (auto const seconds = parseSeconds(text))
        return TimePoint::fromSeconds(*seconds);

    std::string_view rest = text;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, offset = 0;
    if (!takeNumber(rest, 4, &year) || !takeOneOf(rest, "-") || !takeNumber(rest, 2, &month) ||
        !takeOneOf(rest, "-") || !takeNumber(rest, 2, &day))
        return std::nullopt;
    if (takeOneOf(rest, "T ")) {
        if (!takeNumber(rest, 2, &hour) || !takeOneOf(rest, ":") || !takeNumber(rest, 2, &minute) ||
            (takeOneOf(rest, ":") && !takeNumber(rest, 2, &second)))
            return std::nullopt;
        if (char const sign = takeOneOf(rest, "Z+-"); sign == '+' || sign == '-') {
            int hours = 0, minutes = 0;
            bool const hasHours = takeNumber(rest, 2, &hours);
            takeOneOf(rest, ":");
            if (!hasHours || !takeNumber(rest, 2, &minutes))
                return std::nullopt;
            offset = (hours * 60 + minutes) * (sign == '-' ? -60 : 60);
        }
    }
    std::chrono::year_month_day const date(std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day)));
    if (!rest.empty() || !date.ok() || hour > 23 || minute > 59 || second > 60)
        return std::nullopt;
    int64_t const days = std::chrono::sys_days(date).time_since_epoch().count();
    return TimePoint::fromSeconds(days * 86400 + hour * 3600 + minute * 60 + second - offset);
}

std::optional<std::int64_t> parseDays(std::string const& text) {
    std::string_view rest = text;
    if (rest.ends_with('d'))
        rest.remove_suffix(1);
    constexpr int64_t maxDays = 100'000, secondsPerDay = 86'400;
    auto const days = parseSeconds(rest);
    if (!days || *days < 0 || *days > maxDays)
        return std::nullopt;
    return *days * secondsPerDay;
}

namespace {

/// The last second of the year 9999, which `noExpiration` stands for.
constexpr char lastTime[] = "9999-12-31T23:59:59Z";

} // namespace

std::string showTime(std::string const& iso) {
    if (iso == lastTime)
        return "without end";
    std::string text = iso;
    if (size_t const middle = text.find('T'); middle != text.npos && text.ends_with('Z')) {
        text[middle] = ' ';
        text.replace(text.size() - 1, 1, " UTC");
    }
    return text;
}

std::string formatTime(TimePoint time) { return showTime(isoTime(time)); }

bool isWritableTime(TimePoint time) {
    constexpr TimePoint first = TimePoint::fromSeconds(-631152000); // 1950-01-01
    constexpr TimePoint end = TimePoint::fromSeconds(2524608000);   // 2050-01-01
    if (time >= first && time < end)
        return true;
    wrongUsage("dates must lie in the years 1950 to 2049");
    return false;
}
