#include "kova/core/dovglobals/DateTime.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <type_traits>

#include "Engine.h"
#include "Outcome.h"

namespace kova::dovglobals {
namespace {

using test::mismatch;
using test::outcomeOf;
using test::refusal;

static_assert(std::is_aggregate_v<DateTime>);

const std::string BAD_MONTH = refusal("struct Date", "the Month value not being between 1 and 12");
const std::string BAD_DAY = refusal("struct Date", "the Day value not being between 1 and 31");
const std::string BAD_HOUR = refusal("struct Time", "the Hour value not being between 0 and 23");
const std::string BAD_MINUTE =
    refusal("struct Time", "the Minute value not being between 0 and 59");
const std::string BAD_SECOND =
    refusal("struct Time", "the Second value not being between 0 and 59");
const std::string BAD_ZONE_HOUR =
    refusal("struct Time", "the Time Zone Hour value not being between -23 and 23");
const std::string BAD_ZONE_MINUTE = refusal(
    "struct Time", "the Time Zone Minute value not being between 0 and 59 when hour is not 0");

struct Text {
    std::string text;
    std::string outcome;
};

void PrintTo(const Text& row, std::ostream* out) {
    *out << testing::PrintToString(row.text);
}

class DateTimeTextTest : public testing::TestWithParam<Text> {};

TEST_P(DateTimeTextTest, IsParsedOrRejectedWithOneReport) {
    EXPECT_EQ(outcomeOf([] { return parseDateTime(GetParam().text); }), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    , DateTimeTextTest,
    testing::Values(
        Text{"2019-03-07T08:05:09Z", "2019-03-07T08:05:09Z"},
        Text{"2019-02-31T23:59:59.999-00:30", "2019-02-31T23:59:59.999-00:30"},
        Text{"2019-13-32T24:60:60+24:60", BAD_MONTH}, Text{"2019-12-32T24:60:60+24:60", BAD_DAY},
        Text{"2019-12-31T24:60:60+24:60", BAD_HOUR}, Text{"2019-12-31T23:60:60+24:60", BAD_MINUTE},
        Text{"2019-12-31T23:59:60+24:60", BAD_SECOND},
        Text{"2019-12-31T23:59:59+24:60", BAD_ZONE_HOUR},
        Text{"2019-12-31T23:59:59+23:60", BAD_ZONE_MINUTE}, Text{"", mismatch("struct DateTime")},
        Text{"2019-03-07", mismatch("struct DateTime")},
        Text{"08:05:09Z", mismatch("struct DateTime")},
        Text{"2019-03-07 08:05:09Z", mismatch("struct DateTime")},
        Text{"2019-03-07t08:05:09Z", mismatch("struct DateTime")},
        Text{"2019-13-07T08:05:09", mismatch("struct DateTime")},
        Text{"2019-03-07T08:05:09Z\n", mismatch("struct DateTime")}));

/// Returns the outcome of the first failed check. DateTest and TimeTest cover the details.
std::string reference(const test::Groups& groups) {
    const auto number = [&groups](std::size_t group) { return std::stoi(groups[group]); };
    const bool zone = groups[8] != "Z";
    const int zoneHours = zone ? number(9) : 0;
    if (number(2) < 1 || number(2) > 12) {
        return BAD_MONTH;
    }
    if (number(3) < 1 || number(3) > 31) {
        return BAD_DAY;
    }
    if (number(4) > 23) {
        return BAD_HOUR;
    }
    if (number(5) > 59) {
        return BAD_MINUTE;
    }
    if (number(6) > 59) {
        return BAD_SECOND;
    }
    if (zoneHours < -23 || zoneHours > 23) {
        return BAD_ZONE_HOUR;
    }
    if (zone && number(10) > 59) {
        return BAD_ZONE_MINUTE;
    }
    return groups[0];
}

TEST(DateTimeTest, ParserAgreesWithStdRegex) {
    test::expectAsEngine(
        "struct DateTime",
        R"(^(\d{4})-(\d{2})-(\d{2})T(\d{2}):(\d{2}):(\d{2})(\.\d{3})?(Z|((?:\+|\-)\d{2}):(\d{2}))$)",
        {"2019-03-07T08:05:09Z", "2019-12-31T23:59:59.999-11:30"}, parseDateTime, reference);
}

TEST(DateTimeTest, FactoryChecksAllNumbers) {
    const auto created = [](unsigned char month, unsigned char day, unsigned char hour,
                            unsigned char minute, unsigned char second,
                            std::optional<TimeZone> zone) {
        return outcomeOf([&] {
            return createDateTime(2019, month, day, hour, minute, second, std::nullopt, zone);
        });
    };
    EXPECT_EQ(created(3, 7, 8, 5, 9, std::nullopt), "2019-03-07T08:05:09Z");
    EXPECT_EQ(created(0, 0, 24, 60, 60, TimeZone{24, 60}), BAD_MONTH);
    EXPECT_EQ(created(1, 0, 24, 60, 60, TimeZone{24, 60}), BAD_DAY);
    EXPECT_EQ(created(1, 1, 24, 60, 60, TimeZone{24, 60}), BAD_HOUR);
    EXPECT_EQ(created(1, 1, 23, 60, 60, TimeZone{24, 60}), BAD_MINUTE);
    EXPECT_EQ(created(1, 1, 23, 59, 60, TimeZone{24, 60}), BAD_SECOND);
    EXPECT_EQ(created(1, 1, 23, 59, 59, TimeZone{24, 60}), BAD_ZONE_HOUR);
    EXPECT_EQ(created(1, 1, 23, 59, 59, TimeZone{23, 60}), BAD_ZONE_MINUTE);
}

TEST(DateTimeTest, FactoryClampsMilliseconds) {
    EXPECT_EQ(createDateTime(2019, 3, 7, 8, 5, 9, 1500, std::nullopt)->toString(),
              "2019-03-07T08:05:09.999Z");
}

TEST(DateTimeTest, FieldsOutOfRangeArePrinted) {
    DateTime dateTime;
    EXPECT_EQ(dateTime.toString(), "0000-00-00T00:00:00Z");
    dateTime.date.year = 65535;
    dateTime.date.month = dateTime.date.day = 255;
    dateTime.time.hour = dateTime.time.minute = dateTime.time.second = 255;
    dateTime.time.millisecond = 65535;
    dateTime.time.timeZone = TimeZone{-128, -128};
    EXPECT_EQ(dateTime.toString(), "65535-255-255T255:255:255.65535-128:128");
}

TEST(DateTimeTest, ReportNamesTheFileOfTheFailedCheck) {
    test::Reports reports;
    EXPECT_FALSE(parseDateTime("2019-13-07T08:05:09Z"));
    EXPECT_FALSE(parseDateTime("2019-03-07T24:05:09Z"));
    EXPECT_FALSE(parseDateTime("2019-03-07"));
    const auto taken = reports.take();
    ASSERT_EQ(taken.size(), 3U);
    EXPECT_EQ(taken[0].file, "src/core/dovglobals/Date");
    EXPECT_EQ(taken[1].file, "src/core/dovglobals/Time");
    EXPECT_EQ(taken[2].file, "src/core/dovglobals/DateTime");
}

}  // namespace
}  // namespace kova::dovglobals
