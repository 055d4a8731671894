#include "sealkit/timepoint.h"

#include "asn1/read.h"

#include <cstdio>

namespace {

using std::int64_t;

constexpr int64_t secondsPerDay = 86400;
constexpr int64_t daysPer400Years = 146097; ///< 400 · 365 + 97

struct Division {
    int64_t quotient;
    int64_t remainder; ///< Never negative.
};

constexpr Division floorDivide(int64_t dividend, int64_t divisor) {
    Division division{dividend / divisor, dividend % divisor};
    if (division.remainder < 0) {
        --division.quotient;
        division.remainder += divisor;
    }
    return division;
}

/// The start of a year, and whether it is a leap year.
struct Year {
    int64_t firstDay; ///< Since 1970-01-01.
    bool leap;
};

/// `year` counts from 1900, as `tm_year` does.
constexpr Year lookAtYear(int64_t year) {
    int64_t const ordinaryDays = 365 * (year - 70);
    if (year >= 2 && year <= 138) {
        // In this range every fourth year is a leap year.
        return {ordinaryDays + floorDivide(year - 69, 4).quotient, year % 4 == 0};
    }
    // Cycles of 400 years, each beginning with a leap year such as 2000.
    auto const [cycle, yearOfCycle] = floorDivide(year - 100, 400);
    int64_t const leapDaysBefore2000 = 7; // 1972 to 1996
    int64_t const leapDaysInCycle =
        (yearOfCycle + 3) / 4 - (yearOfCycle + 99) / 100 + (yearOfCycle + 399) / 400;
    bool const leap = yearOfCycle % 4 == 0 && (yearOfCycle % 100 != 0 || yearOfCycle == 0);
    return {ordinaryDays + leapDaysBefore2000 + 97 * cycle + leapDaysInCycle, leap};
}

/// A date and time of the Gregorian calendar, for any 64-bit number of seconds.
struct Calendar {
    int64_t year;
    int month; ///< 1 to 12
    int day;
    int hour;
    int minute;
    int second;
    int weekday; ///< 0 is Sunday.
};

Calendar breakDown(int64_t seconds) {
    auto const [days, secondOfDay] = floorDivide(seconds, secondsPerDay);

    // Years start in March, so the leap day is the last day of its year, century and cycle.
    constexpr int64_t firstOfMarch2000 = 11017;
    auto const [cycle, dayOfCycle] = floorDivide(days - firstOfMarch2000, daysPer400Years);
    // The day of the cycle, less the leap days before it: one after every 1460 days (four years less their
    // leap day), except after every 36524 (a century), except the last of the cycle.
    int64_t const yearOfCycle =
        (dayOfCycle - dayOfCycle / 1460 + dayOfCycle / 36524 - dayOfCycle / (daysPer400Years - 1)) / 365;
    int64_t const dayOfYear = dayOfCycle - (365 * yearOfCycle + yearOfCycle / 4 - yearOfCycle / 100);
    // Five months from March or August have 153 days: 31 30 31 30 31.
    int64_t const month = (5 * dayOfYear + 2) / 153;

    Calendar calendar;
    calendar.day = static_cast<int>(dayOfYear - (153 * month + 2) / 5 + 1);
    calendar.month = static_cast<int>(month < 10 ? month + 3 : month - 9);
    calendar.year = 2000 + 400 * cycle + yearOfCycle + (month < 10 ? 0 : 1);
    calendar.hour = static_cast<int>(secondOfDay / 3600);
    calendar.minute = static_cast<int>(secondOfDay / 60 % 60);
    calendar.second = static_cast<int>(secondOfDay % 60);
    calendar.weekday = static_cast<int>(floorDivide(days + 4, 7).remainder); // 1970-01-01 was a Thursday.
    return calendar;
}

Calendar breakDown(TimePoint point) {
    constexpr int64_t lastSecondOf9999 = 253402300799;
    return breakDown(point.seconds == TimePoint::noExpiration ? lastSecondOf9999 : point.seconds);
}

TimePoint fromClock(std::time_t t) {
    TimePoint point = TimePoint::fromSeconds(t);
    std::tm fields;
    tzset();
    if (localtime_r(&t, &fields))
        point.set(&fields);
    return point;
}

bool isDigit(unsigned char c) { return c >= '0' && c <= '9'; }

bool isTime(unsigned elementTag) {
    return elementTag == detail::tag::utcTime || elementTag == detail::tag::generalizedTime;
}

/// Reads the content of an element with the tag `form`.
bool readText(unsigned form, asn1::blob text, TimePoint* to) {
    bool const generalized = form == detail::tag::generalizedTime;
    if (generalized && text == "99991231235959Z") {
        to->seconds = TimePoint::noExpiration;
        return true;
    }

    // The century, for GeneralizedTime, then YY MM DD hh mm ss.
    int pairs[7];
    size_t const expected = generalized ? 7 : 6;
    size_t count = 0;
    while (text.size() >= 2 && isDigit(text[0]) && isDigit(text[1])) {
        if (count == expected)
            return false;
        pairs[count++] = (text[0] - '0') * 10 + (text[1] - '0');
        text.pop_front(2);
    }
    if (count != expected)
        return false;
    if (generalized && text.size() >= 2 && text[0] == '.' && isDigit(text[1])) {
        text.pop_front(2);
        while (!text.empty() && isDigit(text[0]))
            text.pop_front();
    }
    if (text != "Z")
        return false;

    int const* const pair = pairs + (generalized ? 1 : 0);
    int const century = generalized ? pairs[0] * 100 : pair[0] > 49 ? 1900 : 2000;
    std::tm fields{};
    fields.tm_year = century + pair[0] - 1900;
    fields.tm_mon = pair[1] - 1;
    fields.tm_mday = pair[2];
    fields.tm_hour = pair[3];
    fields.tm_min = pair[4];
    fields.tm_sec = pair[5];
    to->set(&fields);
    return true;
}

} // namespace

TimePoint::TimePoint(long t) : TimePoint(fromClock(t)) {}

TimePoint TimePoint::now() { return fromClock(std::time(nullptr)); }

TimePoint TimePoint::nowUtc() { return fromSeconds(std::time(nullptr)); }

void TimePoint::set(std::tm const* fields) {
    constexpr int daysBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    auto const [years, month] = floorDivide(fields->tm_mon, 12);
    Year const year = lookAtYear(fields->tm_year + years);
    int64_t const days = year.firstDay + daysBefore[month] + (year.leap && month > 1) + fields->tm_mday - 1;
    seconds = days * secondsPerDay + fields->tm_hour * int64_t{3600} + fields->tm_min * int64_t{60} +
              fields->tm_sec;
}

bool TimePoint::parse(asn1::parser& from) {
    unsigned const form = from.tag;
    return isTime(form) && readText(form, from.take(), this);
}

bool TimePoint::parse(asn1::blob time, Refusal* refusal) {
    detail::Reading reading(time, refusal);
    return detail::readTime(reading, time, this);
}

bool detail::readTime(Level& level, TimePoint* to, char const* field) {
    unsigned const form = level.tag;
    if (form == asn1::parser::endTag || form == asn1::parser::errorTag)
        return refuseElement(level, tag::utcTime, field);
    Reading& reading = level.reading;
    unsigned char const* const place = level.tlvStart;
    if (!isTime(form))
        return refuseField(reading, field, RefusalId::malformedTime, place, {{"found", tagText(form)}});
    asn1::blob text;
    if (!take(level, form, &text))
        return false;
    return readText(form, text, to) || refuseField(reading, field, RefusalId::malformedTime, place,
                                                   {{"found", {text.begin(), text.end()}}});
}

bool detail::readTime(Reading& reading, asn1::blob element, TimePoint* to) {
    Level level(reading, element);
    return readTime(level, to) && finish(level);
}

std::string TimePoint::toUTC() const {
    Calendar const time = breakDown(*this);
    char text[sizeof "YYMMDDhhmmssZ"];
    std::snprintf(text, sizeof text, "%02d%02d%02d%02d%02d%02dZ",
                  static_cast<int>(floorDivide(time.year, 100).remainder), time.month, time.day, time.hour,
                  time.minute, time.second);
    return text;
}

std::string TimePoint::toString() const {
    constexpr char const* weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr char const* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    Calendar const time = breakDown(*this);
    char text[64];
    std::snprintf(text, sizeof text, "%s %s %2d %02d:%02d:%02d %lld", weekdays[time.weekday],
                  months[time.month - 1], time.day, time.hour, time.minute, time.second,
                  static_cast<long long>(time.year));
    return text;
}

std::string isoTime(TimePoint point) {
    Calendar const time = breakDown(point);
    char text[64];
    std::snprintf(text, sizeof text, "%04lld-%02d-%02dT%02d:%02d:%02dZ", static_cast<long long>(time.year),
                  time.month, time.day, time.hour, time.minute, time.second);
    return text;
}
