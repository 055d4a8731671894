/// Time as certificates have it: whole seconds in UTC, in the Gregorian calendar without limits in both
/// directions.
///
/// | to make one from             | call                                                       |
/// | ---------------------------- | ---------------------------------------------------------- |
/// | seconds since 1970, UTC      | `TimePoint::fromSeconds`                                   |
/// | calendar fields in UTC       | `set`                                                      |
/// | a UTCTime or GeneralizedTime | `parse`                                                    |
/// | the system clock, UTC        | `nowUtc`                                                   |
/// | the system clock, local time | `TimePoint(long)` and `now`, which are shifted by its zone |
///
/// `toString`, `toUTC` and `isoTime` write one.
///
/// Not here: time zones, leap seconds, fractions of a second, and writing GeneralizedTime.
#pragma once

#include "sealkit/asn1.h"
#include "sealkit/detail/export.h"
#include "sealkit/refusal.h"

#include <compare>
#include <cstdint>
#include <ctime>
#include <limits>
#include <string>

/// A point in time. Compared as a number.
class SEALKIT_API TimePoint {
public:
    /// The seconds of "99991231235959Z", which stands for no expiration (RFC 5280 section 4.1.2.5).
    static constexpr std::int64_t noExpiration = std::numeric_limits<std::int64_t>::max();

    std::int64_t seconds = 0; ///< Since 1970-01-01 00:00:00 UTC.

    constexpr TimePoint() = default;

    /// Converts `t` to local time and reads the result as UTC: the value is `t` shifted by the offset of the
    /// local time zone. If local time is not defined for `t`, it is not shifted.
    TimePoint(long t);

    /// The current time, converted as by `TimePoint(long)`.
    static TimePoint now();

    /// The current time in UTC, in any time zone.
    static TimePoint nowUtc();

    /// The time with the given seconds in UTC, unchanged.
    static constexpr TimePoint fromSeconds(std::int64_t utcSeconds) {
        TimePoint point;
        point.seconds = utcSeconds;
        return point;
    }

    /// Sets the time from calendar fields in UTC. Fields outside their ranges carry over, as with `timegm`.
    /// Only the six fields from `tm_year` to `tm_sec` are used.
    void set(std::tm const* fields);

    /// Reads the current element of `from`: UTCTime "YYMMDDhhmmssZ", years 1950 to 2049, or GeneralizedTime
    /// "YYYYMMDDhhmmssZ", with or without a fraction, which is dropped. "99991231235959Z" becomes
    /// `noExpiration`. Returns false and leaves the value unchanged for anything else; the parser does not
    /// move past an element of another type. Fields carry over as with `set`: the 31st of a short month is in
    /// the next one.
    bool parse(asn1::parser& from);

    /// Reads `time`, the whole element without trailing bytes, in the same way, silently and with a reason
    /// (refusal.h).
    bool parse(asn1::blob time, Refusal* refusal);

    /// "YYMMDDhhmmssZ", the text of a UTCTime; the century is dropped.
    std::string toUTC() const;

    /// "Thu Jan 1 00:00:00 1970", the form of `asctime`, for any year. `noExpiration` gives the calendar time
    /// that it is read from.
    std::string toString() const;

    friend constexpr auto operator<=>(TimePoint const&, TimePoint const&) = default;
};

/// "1970-01-01T00:00:00Z" (ISO 8601), for any year. `noExpiration` is "9999-12-31T23:59:59Z".
SEALKIT_API std::string isoTime(TimePoint time);
