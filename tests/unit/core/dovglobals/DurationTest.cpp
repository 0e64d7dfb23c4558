#include "kova/core/dovglobals/Duration.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "Engine.h"
#include "Outcome.h"

namespace kova::dovglobals {
namespace {

using test::mismatch;
using test::outcomeOf;
using test::refusal;

const std::string BAD_MONTH =
    refusal("struct Duration", "the Month value not being between 0 and 12");
const std::string BAD_DAY = refusal("struct Duration", "the Day value not being between 0 and 31");
const std::string BAD_HOUR =
    refusal("struct Duration", "the Hour value not being between 0 and 23");
const std::string BAD_MINUTE =
    refusal("struct Duration", "the Minute value not being between 0 and 59");
const std::string BAD_SECOND =
    refusal("struct Duration", "the Second value not being between 0 and 59");

struct Fields {
    unsigned short years;
    unsigned char months;
    unsigned char days;
    unsigned char hours;
    unsigned char minutes;
    unsigned char seconds;
    std::string made;     // result of the constructor
    std::string created;  // result of the factory
};

void PrintTo(const Fields& row, std::ostream* out) {
    *out << row.years << ' ' << int{row.months} << ' ' << int{row.days} << ' ' << int{row.hours}
         << ' ' << int{row.minutes} << ' ' << int{row.seconds};
}

class DurationFieldsTest : public testing::TestWithParam<Fields> {};

TEST_P(DurationFieldsTest, ConstructorClampsAndFactoryValidates) {
    const Fields& row = GetParam();
    const Duration made(row.years, row.months, row.days, row.hours, row.minutes, row.seconds);
    EXPECT_EQ(made.toString(), row.made);
    EXPECT_EQ(outcomeOf([&row] {
                  return createDuration(row.years, row.months, row.days, row.hours, row.minutes,
                                        row.seconds);
              }),
              row.created);
}

INSTANTIATE_TEST_SUITE_P(
    , DurationFieldsTest,
    testing::Values(Fields{1, 2, 3, 4, 5, 6, "P0001-02-03T04:05:06", "P0001-02-03T04:05:06"},
                    Fields{9999, 12, 31, 23, 59, 59, "P9999-12-31T23:59:59",
                           "P9999-12-31T23:59:59"},
                    // Both accept zeros and change them to 1.
                    Fields{0, 0, 0, 0, 0, 0, "P0000-01-01T00:00:00", "P0000-01-01T00:00:00"},
                    Fields{0, 13, 32, 24, 60, 60, "P0000-12-31T23:59:59", BAD_MONTH},
                    Fields{0, 255, 255, 255, 255, 255, "P0000-12-31T23:59:59", BAD_MONTH},
                    Fields{0, 12, 32, 24, 60, 60, "P0000-12-31T23:59:59", BAD_DAY},
                    Fields{0, 12, 31, 24, 60, 60, "P0000-12-31T23:59:59", BAD_HOUR},
                    Fields{0, 12, 31, 23, 60, 60, "P0000-12-31T23:59:59", BAD_MINUTE},
                    Fields{0, 12, 31, 23, 59, 60, "P0000-12-31T23:59:59", BAD_SECOND}));

struct Text {
    std::string text;
    std::string outcome;
};

void PrintTo(const Text& row, std::ostream* out) {
    *out << testing::PrintToString(row.text);
}

class DurationTextTest : public testing::TestWithParam<Text> {};

TEST_P(DurationTextTest, IsParsedOrRejectedWithOneReport) {
    EXPECT_EQ(outcomeOf([] { return parseDuration(GetParam().text); }), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    , DurationTextTest,
    testing::Values(Text{"P0001-02-03T04:05:06", "P0001-02-03T04:05:06"},
                    // The parser keeps zeros.
                    Text{"P0000-00-00T00:00:00", "P0000-00-00T00:00:00"},
                    Text{"P9999-12-31T23:59:59", "P9999-12-31T23:59:59"},
                    Text{"P0000-13-00T00:00:00", BAD_MONTH}, Text{"P0000-00-32T00:00:00", BAD_DAY},
                    Text{"P0000-00-00T24:00:00", BAD_HOUR},
                    Text{"P0000-00-00T00:60:00", BAD_MINUTE},
                    Text{"P0000-00-00T00:00:60", BAD_SECOND}, Text{"", mismatch("struct Duration")},
                    Text{"P1Y", mismatch("struct Duration")},
                    Text{"0001-02-03T04:05:06", mismatch("struct Duration")},
                    Text{"p0001-02-03T04:05:06", mismatch("struct Duration")},
                    Text{"P0001-02-03T04:05:06Z", mismatch("struct Duration")},
                    Text{"P0001-02-03T04:05:06\n", mismatch("struct Duration")}));

TEST(DurationTest, ParserAgreesWithStdRegex) {
    test::expectAsEngine("struct Duration", R"(^P(\d{4})-(\d{2})-(\d{2})T(\d{2}):(\d{2}):(\d{2})$)",
                         {"P0001-02-03T04:05:06", "P9999-12-31T23:59:59"}, parseDuration,
                         [](const test::Groups& groups) {
                             return std::stoi(groups[2]) > 12   ? BAD_MONTH
                                    : std::stoi(groups[3]) > 31 ? BAD_DAY
                                    : std::stoi(groups[4]) > 23 ? BAD_HOUR
                                    : std::stoi(groups[5]) > 59 ? BAD_MINUTE
                                    : std::stoi(groups[6]) > 59 ? BAD_SECOND
                                                                : groups[0];
                         });
}

TEST(DurationTest, DefaultIsAllZero) {
    EXPECT_EQ(Duration().toString(), "P0000-00-00T00:00:00");
    EXPECT_EQ(Duration(), *parseDuration("P0000-00-00T00:00:00"));
}

TEST(DurationTest, FieldsOutOfRangeArePrinted) {
    Duration duration;
    duration.years = 65535;
    duration.months = duration.days = duration.hours = duration.minutes = duration.seconds = 255;
    EXPECT_EQ(duration.toString(), "P65535-255-255T255:255:255");
}

}  // namespace
}  // namespace kova::dovglobals
