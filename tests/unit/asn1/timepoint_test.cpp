#include "sealkit/timepoint.h"

#include "sealkit/der.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <random>

namespace TEST_FILE {

using test::hex;
using Bytes = std::vector<unsigned char>;

constexpr unsigned utcTime = 23;
constexpr unsigned generalizedTime = 24;

std::optional<TimePoint> parse(unsigned tag, std::string_view text) {
    Bytes const bytes = DerEncoder().add(tag, asn1::blob(text)).take();
    asn1::parser cursor{asn1::blob(bytes)};
    TimePoint point = TimePoint::fromSeconds(-12345);
    if (point.parse(cursor))
        return point;
    EXPECT_EQ(point.seconds, -12345) << text;
    return std::nullopt;
}

std::tm fieldsOf(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    std::tm fields{};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    return fields;
}

TimePoint at(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    std::tm const fields = fieldsOf(year, month, day, hour, minute, second);
    TimePoint point;
    point.set(&fields);
    return point;
}

/// Local time is that of `zone` while this lives.
class LocalZone {
public:
    explicit LocalZone(char const* zone) {
        if (char const* const old = std::getenv("TZ"))
            before = old;
        setenv("TZ", zone, 1);
    }
    ~LocalZone() {
        if (before)
            setenv("TZ", before->c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    LocalZone(LocalZone const&) = delete;
    LocalZone& operator=(LocalZone const&) = delete;

private:
    std::optional<std::string> before;
};

TEST(TimePoint, IsA64BitCountOfSeconds) {
    TimePoint point;
    EXPECT_EQ(static_cast<void*>(&point.seconds), static_cast<void*>(&point));
    static_assert(sizeof(TimePoint) == 8 && std::is_signed_v<decltype(point.seconds)>);
    EXPECT_EQ(point.seconds, 0);
    EXPECT_EQ(TimePoint::fromSeconds(-7).seconds, -7);
    EXPECT_EQ(TimePoint::noExpiration, 0x7FFFFFFFFFFFFFFF);
}

TEST(TimePoint, IsComparedAsANumber) {
    TimePoint const early = TimePoint::fromSeconds(-1), late = TimePoint::fromSeconds(5000000000);
    EXPECT_TRUE(early < late);
    EXPECT_TRUE(late > early);
    EXPECT_TRUE(early <= early && early >= early && early == early);
    EXPECT_TRUE(early != late);
    EXPECT_TRUE(late < TimePoint::fromSeconds(TimePoint::noExpiration));
}

TEST_CASES(TimePoint, AgreesWithPython, "asn1/times.txt")(test::Case const& vector) {
    std::string const form = vector.text("form");
    auto const point = parse(form == "UTCTime" ? utcTime : generalizedTime, vector.text("text"));
    ASSERT_TRUE(point);
    EXPECT_EQ(point->seconds, std::stoll(vector.text("seconds")));
    EXPECT_EQ(point->toString(), vector.text("asctime"));
    EXPECT_EQ(point->toUTC(), vector.text("utc"));
}

TEST(TimePoint, UtcTimeIsOf1950To2049) {
    EXPECT_EQ(parse(utcTime, "491231235959Z"), at(2049, 12, 31, 23, 59, 59));
    EXPECT_EQ(parse(utcTime, "500101000000Z"), at(1950, 1, 1));
    for (int year = 1950; year < 2050; ++year) {
        char text[16];
        std::snprintf(text, sizeof text, "%02d0704112233Z", year % 100);
        EXPECT_EQ(parse(utcTime, text), at(year, 7, 4, 11, 22, 33)) << year;
        EXPECT_EQ(at(year, 7, 4, 11, 22, 33).toUTC(), text);
    }
}

TEST(TimePoint, RefusesOtherTexts) {
    for (char const* text :
         {"", "Z", "2001010000Z", "20010100000Z", "200101000000", "2001010000000Z", "20010100000000Z",
          "200101000000z", "200101000000Z ", "200101000000ZZ", "200101000000+0000", "200101000000.5Z",
          " 200101000000Z", "2001010000 0Z", "2001010000-1Z", "20O101000000Z", "99991231235959Z",
          "200101000000-0100", "2001010000000000000000000000000000Z"})
        EXPECT_FALSE(parse(utcTime, text)) << text;
    for (char const* text :
         {"", "Z", "205001010000Z", "2050010100000Z", "20500101000000", "205001010000000Z",
          "2050010100000000Z", "20500101000000+0100", "20500101000000.123", "20500101000000.Z",
          "20500101000000,5Z", "20500101000000.5.5Z", "20500101000000.5+0000", "20500101000000.-5Z",
          "500101000000Z", "99991231235959", "99991231235959Z ", "99991231235959+0000",
          "20500101000000000000000000000000000000Z"})
        EXPECT_FALSE(parse(generalizedTime, text)) << text;
    EXPECT_FALSE(parse(utcTime, std::string_view("200101000000\0Z", 14)));
    EXPECT_FALSE(parse(utcTime, std::string_view("200101000000Z\0", 14)));
}

TEST(TimePoint, DropsFractions) {
    for (char const* text : {"20500101000000.123Z", "20500101000000.0Z", "20500101000000.9Z",
                             "20500101000000.99999999999999999999999999999999Z"})
        EXPECT_EQ(parse(generalizedTime, text), at(2050, 1, 1)) << text;
}

TEST(TimePoint, TheLastSecondOf9999StandsForNoEnd) {
    EXPECT_EQ(parse(generalizedTime, "99991231235959Z")->seconds, TimePoint::noExpiration);
    EXPECT_EQ(parse(generalizedTime, "99991231235958Z")->seconds, 253402300798);
    EXPECT_EQ(parse(generalizedTime, "99991231235959.0Z")->seconds, 253402300799) << "only that text does";
    EXPECT_EQ(TimePoint::fromSeconds(TimePoint::noExpiration).toString(), "Fri Dec 31 23:59:59 9999");
    EXPECT_EQ(TimePoint::fromSeconds(TimePoint::noExpiration).toUTC(), "991231235959Z");
}

TEST(TimePoint, FieldsBeyondTheirRangeCarryOver) {
    EXPECT_EQ(parse(utcTime, "230229000000Z"), at(2023, 3, 1));
    EXPECT_EQ(parse(utcTime, "231301000000Z"), at(2024, 1, 1));
    EXPECT_EQ(parse(utcTime, "230001000000Z"), at(2022, 12, 1));
    EXPECT_EQ(parse(utcTime, "230100000000Z"), at(2022, 12, 31));
    EXPECT_EQ(parse(utcTime, "230101996099Z"), at(2023, 1, 5, 4, 1, 39));
    EXPECT_EQ(parse(generalizedTime, "99999999999999Z")->seconds, at(9999, 99, 99, 99, 99, 99).seconds);
    EXPECT_EQ(parse(generalizedTime, "00000000000000Z")->seconds, at(0, 0, 0).seconds);
}

TEST(TimePoint, ParsesNothingButTimesAndTakesNothingElse) {
    for (unsigned tag : {0x0Cu, 0x16u, 0x37u, 0x97u, 0x19u}) {
        Bytes const bytes = DerEncoder().add(tag, asn1::blob("200101000000Z")).addNull().take();
        asn1::parser cursor{asn1::blob(bytes)};
        TimePoint point;
        EXPECT_FALSE(point.parse(cursor)) << tag;
        EXPECT_EQ(cursor.tag, tag) << "is still there";
    }
    asn1::parser end{asn1::blob()};
    TimePoint point;
    EXPECT_FALSE(point.parse(end));
}

TEST(TimePoint, GoesOnToTheNextElement) {
    Bytes const bytes = DerEncoder()
                            .add(utcTime, asn1::blob("200101000000Z"))
                            .add(utcTime, asn1::blob("bad"))
                            .addNull()
                            .take();
    asn1::parser cursor{asn1::blob(bytes)};
    TimePoint point;
    EXPECT_TRUE(point.parse(cursor));
    EXPECT_EQ(cursor.tag, utcTime);
    EXPECT_FALSE(point.parse(cursor));
    EXPECT_EQ(cursor.tag, 5u);
    EXPECT_EQ(point, at(2020, 1, 1));
}

TEST(TimePoint, RefusesATimeBeforeSomethingMalformed) {
    Bytes const bytes = DerEncoder().add(utcTime, asn1::blob("200101000000Z")).addTag(0x30, 1).take();
    asn1::parser cursor{asn1::blob(bytes)};
    TimePoint point;
    EXPECT_FALSE(point.parse(cursor));
}

TEST(TimePoint, RefusesEveryTruncation) {
    for (std::string const text : {"200101000000Z", "20500101000000.123Z"}) {
        unsigned const tag = text.size() == 13 ? utcTime : generalizedTime;
        EXPECT_TRUE(parse(tag, text));
        for (size_t size = 0; size < text.size(); ++size)
            EXPECT_FALSE(parse(tag, text.substr(0, size))) << size;
    }
}

TEST(TimePoint, AcceptsOnlyDigitsAmongRandomTexts) {
    std::mt19937 random(99);
    std::string_view const letters = "0123456789Z.+- ";
    for (int round = 0; round < 50000; ++round) {
        std::string text;
        for (unsigned n = random() % 20; n > 0; --n)
            text += letters[random() % letters.size()];
        size_t const digits = text.find_first_not_of("0123456789");
        if (parse(utcTime, text)) {
            EXPECT_TRUE(digits == 12 && text.size() == 13 && text[12] == 'Z') << text;
        }
        if (parse(generalizedTime, text)) {
            EXPECT_TRUE(digits == 14 && text.back() == 'Z') << text;
        }
    }
}

TEST(TimePoint, SetAgreesWithTimegmOnEveryDayThatMatters) {
    // 1890 to 2110 holds both borders between the two ways of counting, and three century years.
    for (int year = 1890; year <= 2110; ++year) {
        for (int month = 1; month <= 12; ++month) {
            for (int day : {1, 2, 28, 29, 30, 31}) {
                std::tm fields = fieldsOf(year, month, day, 23, 59, 59);
                TimePoint point;
                point.set(&fields);
                ASSERT_EQ(point.seconds, timegm(&fields)) << year << "-" << month << "-" << day;
            }
        }
    }
}

TEST(TimePoint, SetAgreesWithTimegmOverTheMillennia) {
    for (int year = -4000; year <= 12000; year += 1) {
        for (int month : {1, 2, 3, 12}) {
            std::tm fields = fieldsOf(year, month, 1);
            TimePoint point;
            point.set(&fields);
            ASSERT_EQ(point.seconds, timegm(&fields)) << year << "-" << month;
        }
    }
}

TEST(TimePoint, SetAgreesWithTimegmOnFieldsBeyondTheirRanges) {
    std::mt19937 random(4);
    auto const any = [&](int range) { return static_cast<int>(random() % (2u * range + 1)) - range; };
    for (int round = 0; round < 20000; ++round) {
        std::tm fields{};
        fields.tm_year = any(3000);
        fields.tm_mon = any(5000);
        fields.tm_mday = any(100000);
        fields.tm_hour = any(100000);
        fields.tm_min = any(100000);
        fields.tm_sec = any(1000000);
        TimePoint point;
        point.set(&fields);
        std::tm copy = fields;
        ASSERT_EQ(point.seconds, timegm(&copy));
    }
}

TEST(TimePoint, SetTakesTheExtremesOfEveryField) {
    constexpr int low = std::numeric_limits<int>::min(), high = std::numeric_limits<int>::max();
    std::tm fields{};
    fields.tm_year = fields.tm_mon = fields.tm_mday = fields.tm_hour = fields.tm_min = fields.tm_sec = high;
    TimePoint point;
    point.set(&fields);
    EXPECT_GT(point.seconds, 67767976233521999); // the end of the last year that tm_year can hold
    fields.tm_year = fields.tm_mon = fields.tm_mday = fields.tm_hour = fields.tm_min = fields.tm_sec = low;
    point.set(&fields);
    EXPECT_LT(point.seconds, -67768040609740800); // the beginning of the first
}

TEST(TimePoint, SetIgnoresTheLocalZone) {
    LocalZone const zone("TEST-09:30");
    EXPECT_EQ(at(1970, 1, 1).seconds, 0);
    EXPECT_EQ(at(2024, 7, 1).seconds, 1719792000);
}

TEST(TimePoint, TextsAreTheInverseOfSet) {
    std::mt19937_64 random(8);
    for (int round = 0; round < 20000; ++round) {
        // Years -30000 to 34000, beyond all that asctime's buffer is made for.
        auto const seconds =
            static_cast<std::time_t>(static_cast<std::int64_t>(random() % 2000000000000) - 1000000000000);
        std::tm fields;
        ASSERT_TRUE(gmtime_r(&seconds, &fields));
        char text[64];
        std::strftime(text, sizeof text, "%a %b %e %H:%M:%S ", &fields);
        ASSERT_EQ(TimePoint::fromSeconds(seconds).toString(), text + std::to_string(fields.tm_year + 1900));
        std::strftime(text, sizeof text, "%m%d%H%M%SZ", &fields);
        std::string const utc = TimePoint::fromSeconds(seconds).toUTC();
        ASSERT_EQ(utc.substr(2), text);
        ASSERT_EQ(std::stoi(utc.substr(0, 2)), ((fields.tm_year + 1900) % 100 + 100) % 100);
    }
}

TEST(TimePoint, ShowsItselfAsAsctimeDoes) {
    EXPECT_EQ(TimePoint().toString(), "Thu Jan  1 00:00:00 1970");
    EXPECT_EQ(TimePoint::fromSeconds(-1).toString(), "Wed Dec 31 23:59:59 1969");
    for (std::time_t seconds : {0, 1, 86399, 951782400, 1000000000, 2000000000}) {
        std::tm fields;
        char text[26];
        std::string expected = asctime_r(gmtime_r(&seconds, &fields), text);
        expected.pop_back();
        EXPECT_EQ(TimePoint::fromSeconds(seconds).toString(), expected);
    }
}

TEST(TimePoint, AlwaysWritesUtcTime) {
    EXPECT_EQ(TimePoint().toUTC(), "700101000000Z");
    EXPECT_EQ(at(2050, 1, 1).toUTC(), "500101000000Z");
    EXPECT_EQ(at(1899, 12, 31, 1, 2, 3).toUTC(), "991231010203Z");
    EXPECT_EQ(at(12345, 6, 7).toUTC(), "450607000000Z");
    EXPECT_EQ(at(-1, 6, 7).toUTC(), "990607000000Z");
}

TEST(TimePoint, EveryValueHasATextAndAUtcTime) {
    constexpr std::int64_t low = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(TimePoint::fromSeconds(TimePoint::noExpiration - 1).toString(),
              "Sun Dec  4 15:30:06 292277026596");
    EXPECT_EQ(TimePoint::fromSeconds(TimePoint::noExpiration - 1).toUTC(), "961204153006Z");
    EXPECT_EQ(TimePoint::fromSeconds(low).toString(), "Sun Jan 27 08:29:52 -292277022657");
    EXPECT_EQ(TimePoint::fromSeconds(low).toUTC(), "430127082952Z");
    std::mt19937_64 random(3);
    for (int round = 0; round < 20000; ++round) {
        TimePoint const point =
            TimePoint::fromSeconds(static_cast<std::int64_t>(random() >> (random() % 64)));
        EXPECT_EQ(point.toUTC().size(), 13u);
        EXPECT_GE(point.toString().size(), 20u);
    }
}

TEST(TimePoint, OfTheClockCarriesTheLocalZone) {
    {
        LocalZone const zone("UTC0");
        EXPECT_EQ(TimePoint(1000000000L).seconds, 1000000000);
        EXPECT_EQ(TimePoint(-1L).seconds, -1);
    }
    {
        LocalZone const zone("EAST-5:30"); // five and a half hours ahead
        EXPECT_EQ(TimePoint(1000000000L).seconds, 1000000000 + 19800);
        EXPECT_EQ(TimePoint(0L).toString(), "Thu Jan  1 05:30:00 1970");
    }
    {
        LocalZone const zone("WEST3WEST,M3.5.0,M10.5.0");                 // three hours behind, two in summer
        EXPECT_EQ(TimePoint(1705276800L).seconds, 1705276800 - 3 * 3600); // 2024-01-15
        EXPECT_EQ(TimePoint(1721001600L).seconds, 1721001600 - 2 * 3600); // 2024-07-15
    }
}

TEST(TimePoint, NowCarriesTheLocalZone) {
    for (int hours : {0, 11}) {
        LocalZone const zone(hours ? "EAST-11" : "UTC0");
        std::int64_t const before = std::time(nullptr);
        std::int64_t const now = TimePoint::now().seconds;
        std::int64_t const after = std::time(nullptr);
        EXPECT_GE(now, before + hours * 3600);
        EXPECT_LE(now, after + hours * 3600);
    }
}

TEST(TimePoint, NowUtcIsTheSameInEveryZone) {
    for (char const* const name : {"UTC0", "EAST-11", "WEST3WEST,M3.5.0,M10.5.0", "no zone"}) {
        LocalZone const zone(name);
        std::int64_t const before = std::time(nullptr);
        std::int64_t const now = TimePoint::nowUtc().seconds;
        EXPECT_GE(now, before) << name;
        EXPECT_LE(now, std::time(nullptr)) << name;
    }
}

TEST(TimePoint, OfTheClockIsNotShiftedWhereLocalTimeHasNoAnswer) {
    LocalZone const zone("EAST-1");
    if constexpr (sizeof(long) == 8) {
        EXPECT_EQ(TimePoint(std::numeric_limits<long>::max()).seconds, std::numeric_limits<long>::max());
        EXPECT_EQ(TimePoint(std::numeric_limits<long>::min()).seconds, std::numeric_limits<long>::min());
    } else {
        EXPECT_EQ(TimePoint(std::numeric_limits<long>::max()).seconds, 2147483647LL + 3600);
        EXPECT_EQ(TimePoint(std::numeric_limits<long>::min()).seconds, -2147483648LL + 3600);
    }
}

TEST(TimePoint, IsoTimeOfAnyYear) {
    EXPECT_EQ(isoTime(TimePoint()), "1970-01-01T00:00:00Z");
    EXPECT_EQ(isoTime(TimePoint::fromSeconds(-1)), "1969-12-31T23:59:59Z");
    EXPECT_EQ(isoTime(TimePoint::fromSeconds(951782400)), "2000-02-29T00:00:00Z");
    EXPECT_EQ(isoTime(TimePoint::fromSeconds(253402300800)), "10000-01-01T00:00:00Z");
    EXPECT_EQ(isoTime(TimePoint::fromSeconds(TimePoint::noExpiration)), "9999-12-31T23:59:59Z");
    // The largest time of a signed certificate timestamp (RFC 6962, section 3.2).
    EXPECT_EQ(isoTime(TimePoint::fromSeconds(18446744073709551)), "584556019-04-03T14:25:51Z");
}

} // namespace TEST_FILE
