/// Times as people write and read them.
#pragma once

#include "sealkit/timepoint.h"

#include <cstdint>
#include <optional>
#include <string>

/// The present, in UTC seconds.
TimePoint currentTime();

/// Reads "2026-11-21", "2026-11-21T08:30:00Z", "2026-11-21 08:30:00" (UTC, the zone "Z" may be left
/// out, an offset such as +01:00 is honoured), or seconds since 1970.
std::optional<TimePoint> parseTime(std::string const& text);

/// Reads a number of days, "30d" or "30", as seconds. At most 100,000 days.
std::optional<std::int64_t> parseDays(std::string const& text);

/// "2026-11-21 08:30:00 UTC".
std::string formatTime(TimePoint time);
/// What `formatTime` makes of the time that `isoTime` (timepoint.h) made the text of.
std::string showTime(std::string const& iso);

/// Whether a UTCTime can express it: the library writes no others. Complains.
bool isWritableTime(TimePoint time);
