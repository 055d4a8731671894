/// Times as people write and read them.
#pragma once

#include "sealkit/timepoint.h"

#include <cstdint>
#include <optional>
#include <string>

/// The current time, in UTC seconds.
TimePoint currentTime();

/// Reads "2026-11-21", "2026-11-21T08:30:00Z", "2026-11-21 08:30:00" or seconds since 1970. Times are UTC
/// unless an offset such as +01:00 follows; the zone "Z" may be omitted.
std::optional<TimePoint> parseTime(std::string const& text);

/// Reads a number of days, "30d" or "30", and returns seconds. The maximum is 100,000 days.
std::optional<std::int64_t> parseDays(std::string const& text);

/// "2026-11-21 08:30:00 UTC".
std::string formatTime(TimePoint time);
/// Formats the text that `isoTime` (timepoint.h) made as `formatTime` would.
std::string showTime(std::string const& iso);

/// Whether UTCTime, the only type of time that the library writes, can express it. Complains if not.
bool isWritableTime(TimePoint time);
