#include "clock.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <regex>

TimePoint currentTime() { return TimePoint::fromSeconds(std::time(nullptr)); }

std::optional<TimePoint> parseTime(std::string const& text) {
    static std::regex const seconds("-?[0-9]{1,11}");
    if (std::regex_match(text, seconds))
        return TimePoint::fromSeconds(std::stoll(text));

    static std::regex const iso8601("([0-9]{4})-([0-9]{2})-([0-9]{2})"
                                    "(?:[T ]([0-9]{2}):([0-9]{2})(?::([0-9]{2}))?"
                                    "(?:Z|([+-])([0-9]{2}):?([0-9]{2}))?)?");
    std::smatch field;
    if (!std::regex_match(text, field, iso8601))
        return std::nullopt;
    auto number = [&](size_t i) { return field[i].matched ? std::stoi(field[i].str()) : 0; };
    std::chrono::year_month_day const date(std::chrono::year(number(1)),
                                           std::chrono::month(static_cast<unsigned>(number(2))),
                                           std::chrono::day(static_cast<unsigned>(number(3))));
    int const hour = number(4), minute = number(5), second = number(6);
    if (!date.ok() || hour > 23 || minute > 59 || second > 60)
        return std::nullopt;
    int64_t const days = std::chrono::sys_days(date).time_since_epoch().count();
    int const offset = (number(8) * 60 + number(9)) * (field[7] == "-" ? -60 : 60);
    return TimePoint::fromSeconds(days * 86400 + hour * 3600 + minute * 60 + second - offset);
}

std::string formatTime(TimePoint time) {
    if (time.seconds == INT64_MAX)
        return "without end";
    std::chrono::sys_seconds const point{std::chrono::seconds(time.seconds)};
    auto const midnight = std::chrono::floor<std::chrono::days>(point);
    std::chrono::year_month_day const date(midnight);
    int const second = static_cast<int>((point - midnight).count());
    char text[64];
    std::snprintf(text, sizeof(text), "%04d-%02u-%02u %02d:%02d:%02d UTC", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), second / 3600,
                  second / 60 % 60, second % 60);
    return text;
}
