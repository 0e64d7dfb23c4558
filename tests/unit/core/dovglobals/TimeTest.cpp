#include "kova/core/dovglobals/Time.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>

#include "Engine.h"
#include "Outcome.h"

namespace kova::dovglobals {
namespace {

using test::mismatch;
using test::outcomeOf;
using test::refusal;

constexpr std::nullopt_t NONE = std::nullopt;

const std::string BAD_HOUR = refusal("struct Time", "the Hour value not being between 0 and 23");
const std::string BAD_MINUTE =
    refusal("struct Time", "the Minute value not being between 0 and 59");
const std::string BAD_SECOND =
    refusal("struct Time", "the Second value not being between 0 and 59");
const std::string BAD_ZONE_HOUR =
    refusal("struct Time", "the Time Zone Hour value not being between -23 and 23");
const std::string BAD_ZONE_MINUTE_OF_0 = refusal(
    "struct Time", "the Time Zone Minute value not being between -59 and 59 when hour is 0");
const std::string BAD_ZONE_MINUTE = refusal(
    "struct Time", "the Time Zone Minute value not being between 0 and 59 when hour is not 0");

struct Fields {
    unsigned char hour;
    unsigned char minute;
    unsigned char second;
    std::optional<unsigned short> millisecond;
    std::optional<TimeZone> timeZone;
    std::string made;     // result of the constructor
    std::string created;  // result of the factory
};

void PrintTo(const Fields& row, std::ostream* out) {
    *out << int{row.hour} << ' ' << int{row.minute} << ' ' << int{row.second} << ' '
         << row.millisecond.value_or(0) << ' ' << (row.timeZone ? int{row.timeZone->hours} : 999)
         << ' ' << (row.timeZone ? int{row.timeZone->minutes} : 999);
}

class TimeFieldsTest : public testing::TestWithParam<Fields> {};

TEST_P(TimeFieldsTest, ConstructorClampsAndFactoryValidates) {
    const Fields& row = GetParam();
    const Time made(row.hour, row.minute, row.second, row.millisecond, row.timeZone);
    EXPECT_EQ(made.toString(), row.made);
    EXPECT_EQ(outcomeOf([&row] {
                  return createTime(row.hour, row.minute, row.second, row.millisecond,
                                    row.timeZone);
              }),
              row.created);
}

INSTANTIATE_TEST_SUITE_P(
    Clock, TimeFieldsTest,
    testing::Values(Fields{8, 5, 9, 42, TimeZone{2, 0}, "08:05:09.042+02:00", "08:05:09.042+02:00"},
                    Fields{23, 59, 59, NONE, NONE, "23:59:59Z", "23:59:59Z"},
                    Fields{0, 0, 0, 0, NONE, "00:00:00.000Z", "00:00:00.000Z"},
                    Fields{1, 2, 3, 1500, NONE, "01:02:03.999Z", "01:02:03.999Z"},
                    Fields{1, 2, 3, 65535, NONE, "01:02:03.999Z", "01:02:03.999Z"},
                    Fields{24, 0, 0, NONE, NONE, "23:00:00Z", BAD_HOUR},
                    Fields{255, 255, 255, NONE, TimeZone{24, 60}, "23:59:59+23:59", BAD_HOUR},
                    Fields{0, 60, 60, NONE, TimeZone{24, 60}, "00:59:59+23:59", BAD_MINUTE},
                    Fields{0, 0, 60, NONE, TimeZone{24, 60}, "00:00:59+23:59", BAD_SECOND}));

INSTANTIATE_TEST_SUITE_P(
    Zone, TimeFieldsTest,
    testing::Values(Fields{0, 0, 0, NONE, TimeZone{0, 0}, "00:00:00+00:00", "00:00:00+00:00"},
                    Fields{0, 0, 0, NONE, TimeZone{23, 59}, "00:00:00+23:59", "00:00:00+23:59"},
                    Fields{0, 0, 0, NONE, TimeZone{-23, 59}, "00:00:00-23:59", "00:00:00-23:59"},
                    Fields{0, 0, 0, NONE, TimeZone{0, -59}, "00:00:00-00:59", "00:00:00-00:59"},
                    Fields{0, 0, 0, NONE, TimeZone{24, 0}, "00:00:00+23:00", BAD_ZONE_HOUR},
                    Fields{0, 0, 0, NONE, TimeZone{-24, 0}, "00:00:00-24:00", BAD_ZONE_HOUR},
                    Fields{0, 0, 0, NONE, TimeZone{-128, -128}, "00:00:00-128:128", BAD_ZONE_HOUR},
                    Fields{0, 0, 0, NONE, TimeZone{0, 60}, "00:00:00+00:59", BAD_ZONE_MINUTE_OF_0},
                    Fields{0, 0, 0, NONE, TimeZone{0, -60}, "00:00:00-00:60", BAD_ZONE_MINUTE_OF_0},
                    Fields{0, 0, 0, NONE, TimeZone{0, -128}, "00:00:00-00:128",
                           BAD_ZONE_MINUTE_OF_0},
                    Fields{0, 0, 0, NONE, TimeZone{1, 60}, "00:00:00+01:59", BAD_ZONE_MINUTE},
                    Fields{0, 0, 0, NONE, TimeZone{1, -1}, "00:00:00+01:01", BAD_ZONE_MINUTE},
                    Fields{0, 0, 0, NONE, TimeZone{-1, -1}, "00:00:00-01:01", BAD_ZONE_MINUTE}));

struct Text {
    std::string text;
    std::string outcome;
};

void PrintTo(const Text& row, std::ostream* out) {
    *out << testing::PrintToString(row.text);
}

class TimeTextTest : public testing::TestWithParam<Text> {};

TEST_P(TimeTextTest, IsParsedOrRejectedWithOneReport) {
    EXPECT_EQ(outcomeOf([] { return parseTime(GetParam().text); }), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    , TimeTextTest,
    testing::Values(
        Text{"12:00:00Z", "12:00:00Z"}, Text{"12:00:00+00:00", "12:00:00+00:00"},
        Text{"12:00:00-00:00", "12:00:00+00:00"}, Text{"12:00:00-00:30", "12:00:00-00:30"},
        Text{"12:00:00-05:30", "12:00:00-05:30"}, Text{"23:59:59.999+23:59", "23:59:59.999+23:59"},
        Text{"24:00:00Z", BAD_HOUR}, Text{"99:99:99.999+99:99", BAD_HOUR},
        Text{"23:60:00Z", BAD_MINUTE}, Text{"23:59:60Z", BAD_SECOND},
        Text{"12:00:00+24:00", BAD_ZONE_HOUR}, Text{"12:00:00-24:00", BAD_ZONE_HOUR},
        Text{"12:00:00+00:60", BAD_ZONE_MINUTE_OF_0}, Text{"12:00:00-00:99", BAD_ZONE_MINUTE_OF_0},
        Text{"12:00:00+01:60", BAD_ZONE_MINUTE}, Text{"12:00:00-01:99", BAD_ZONE_MINUTE},
        Text{"", mismatch("struct Time")}, Text{"12:00:00", mismatch("struct Time")},
        Text{"12:00:00z", mismatch("struct Time")}, Text{"12:00:00.5Z", mismatch("struct Time")},
        Text{"12:00:00.Z", mismatch("struct Time")},
        Text{"12:00:00.1234Z", mismatch("struct Time")},
        Text{"12:00:00+0000", mismatch("struct Time")},
        Text{"12:00:00Z\n", mismatch("struct Time")}));

/// Returns the expected outcome for the groups of a match, using the standard conversions.
std::string reference(const test::Groups& groups) {
    const bool zone = groups[5] != "Z";
    const int zoneHours = zone ? std::stoi(groups[6]) : 0;
    const int zoneMinutes = zone ? std::stoi(groups[7]) : 0;
    if (std::stoi(groups[1]) > 23) {
        return BAD_HOUR;
    }
    if (std::stoi(groups[2]) > 59) {
        return BAD_MINUTE;
    }
    if (std::stoi(groups[3]) > 59) {
        return BAD_SECOND;
    }
    if (zoneHours < -23 || zoneHours > 23) {
        return BAD_ZONE_HOUR;
    }
    if (zoneMinutes > 59) {
        return zoneHours == 0 ? BAD_ZONE_MINUTE_OF_0 : BAD_ZONE_MINUTE;
    }
    // The only form whose printed text differs from the parsed text.
    std::string text = groups[0];
    return groups[5] == "-00:00" ? text.replace(text.size() - 6, 1, "+") : text;
}

TEST(TimeTest, ParserAgreesWithStdRegex) {
    test::expectAsEngine(
        "struct Time", R"(^(\d{2}):(\d{2}):(\d{2})(\.\d{3})?(Z|((?:\+|\-)\d{2}):(\d{2}))$)",
        {"12:34:56Z", "00:00:00.000Z", "23:59:59.999+00:00", "10:20:30-00:10", "01:02:03-10:00"},
        parseTime, reference);
}

TEST(TimeTest, MillisecondsAreSetIfTheTextHasThem) {
    EXPECT_EQ(parseTime("12:00:00Z")->millisecond, NONE);
    EXPECT_EQ(parseTime("12:00:00.000Z")->millisecond, std::optional<std::uint16_t>(0));
    EXPECT_EQ(parseTime("12:00:00.987Z")->millisecond, std::optional<std::uint16_t>(987));
}

TEST(TimeTest, ZoneMinutesHaveTheSignIfTheHoursAreZero) {
    EXPECT_EQ(parseTime("12:00:00Z")->timeZone, NONE);
    EXPECT_EQ(parseTime("12:00:00+00:00")->timeZone, (TimeZone{0, 0}));
    EXPECT_EQ(parseTime("12:00:00+00:30")->timeZone, (TimeZone{0, 30}));
    EXPECT_EQ(parseTime("12:00:00-00:30")->timeZone, (TimeZone{0, -30}));
    EXPECT_EQ(parseTime("12:00:00-05:30")->timeZone, (TimeZone{-5, 30}));
    EXPECT_EQ(parseTime("12:00:00+05:30")->timeZone, (TimeZone{5, 30}));
}

TEST(TimeTest, GetTimeZoneStringPrintsZOrTheOffset) {
    EXPECT_EQ(Time(0, 0, 0, NONE, NONE).getTimeZoneString(), "Z");
    EXPECT_EQ(Time(0, 0, 0, NONE, TimeZone{0, 0}).getTimeZoneString(), "+00:00");
    EXPECT_EQ(Time(0, 0, 0, NONE, TimeZone{0, -30}).getTimeZoneString(), "-00:30");
    EXPECT_EQ(Time(0, 0, 0, NONE, TimeZone{-5, 30}).getTimeZoneString(), "-05:30");
    EXPECT_EQ(Time(0, 0, 0, NONE, TimeZone{5, -30}).getTimeZoneString(), "+05:30");
}

TEST(TimeTest, DefaultIsMidnightWithoutMillisecondsAndZone) {
    const Time time;
    EXPECT_EQ(time.toString(), "00:00:00Z");
    EXPECT_EQ(time.millisecond, NONE);
    EXPECT_EQ(time.timeZone, NONE);
}

TEST(TimeTest, FieldsOutOfRangeArePrinted) {
    Time time;
    time.hour = time.minute = time.second = 255;
    time.millisecond = 65535;
    time.timeZone = TimeZone{-128, -128};
    EXPECT_EQ(time.toString(), "255:255:255.65535-128:128");
    EXPECT_EQ(time.getTimeZoneString(), "-128:128");
}

TEST(TimeTest, ZonesAreOrderedByHoursThenMinutes) {
    const TimeZone ascending[] = {{-5, 30}, {-5, 45}, {0, -30}, {0, 0}, {0, 30}, {1, 0}};
    for (const TimeZone& left : ascending) {
        for (const TimeZone& right : ascending) {
            EXPECT_EQ(left < right, &left < &right);
            EXPECT_EQ(left == right, &left == &right);
            EXPECT_EQ(left != right, &left != &right);
        }
    }
}

}  // namespace
}  // namespace kova::dovglobals
