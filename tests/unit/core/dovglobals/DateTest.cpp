#include "kova/core/dovglobals/Date.h"

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

const std::string BAD_MONTH = refusal("struct Date", "the Month value not being between 1 and 12");
const std::string BAD_DAY = refusal("struct Date", "the Day value not being between 1 and 31");

struct Fields {
    unsigned short year;
    unsigned char month;
    unsigned char day;
    std::string made;     // result of the constructor
    std::string created;  // result of the factory
};

void PrintTo(const Fields& row, std::ostream* out) {
    *out << row.year << ' ' << int{row.month} << ' ' << int{row.day};
}

class DateFieldsTest : public testing::TestWithParam<Fields> {};

TEST_P(DateFieldsTest, ConstructorClampsAndFactoryValidates) {
    const Fields& row = GetParam();
    EXPECT_EQ(Date(row.year, row.month, row.day).toString(), row.made);
    EXPECT_EQ(outcomeOf([&row] { return createDate(row.year, row.month, row.day); }), row.created);
}

INSTANTIATE_TEST_SUITE_P(, DateFieldsTest,
                         testing::Values(Fields{2019, 3, 7, "2019-03-07", "2019-03-07"},
                                         Fields{0, 1, 1, "0000-01-01", "0000-01-01"},
                                         Fields{9999, 12, 31, "9999-12-31", "9999-12-31"},
                                         Fields{65535, 12, 31, "65535-12-31", "65535-12-31"},
                                         Fields{2019, 2, 31, "2019-02-31", "2019-02-31"},
                                         Fields{2020, 0, 40, "2020-01-31", BAD_MONTH},
                                         Fields{2020, 0, 1, "2020-01-01", BAD_MONTH},
                                         Fields{2020, 13, 1, "2020-12-01", BAD_MONTH},
                                         Fields{2020, 255, 255, "2020-12-31", BAD_MONTH},
                                         Fields{2020, 1, 0, "2020-01-01", BAD_DAY},
                                         Fields{2020, 1, 32, "2020-01-31", BAD_DAY}));

struct Text {
    std::string text;
    std::string outcome;
};

void PrintTo(const Text& row, std::ostream* out) {
    *out << testing::PrintToString(row.text);
}

class DateTextTest : public testing::TestWithParam<Text> {};

TEST_P(DateTextTest, IsParsedOrRejectedWithOneReport) {
    EXPECT_EQ(outcomeOf([] { return parseDate(GetParam().text); }), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    , DateTextTest,
    testing::Values(Text{"2019-03-07", "2019-03-07"}, Text{"2019-02-31", "2019-02-31"},
                    Text{"0000-01-01", "0000-01-01"}, Text{"2019-13-01", BAD_MONTH},
                    Text{"2019-00-01", BAD_MONTH}, Text{"2019-00-00", BAD_MONTH},
                    Text{"2019-01-00", BAD_DAY}, Text{"2019-01-32", BAD_DAY},
                    Text{"", mismatch("struct Date")}, Text{"19-01-01", mismatch("struct Date")},
                    Text{"12019-01-01", mismatch("struct Date")},
                    Text{"2019-01-01\n", mismatch("struct Date")},
                    Text{"\n2019-01-01", mismatch("struct Date")},
                    Text{std::string("2019-01-01\0", 11), mismatch("struct Date")}));

TEST(DateTest, ParserAgreesWithStdRegex) {
    test::expectAsEngine(
        "struct Date", R"(^(\d{4})-(\d{2})-(\d{2})$)", {"2019-03-07", "0000-12-31", "9999-10-30"},
        parseDate, [](const test::Groups& groups) {
            const int month = std::stoi(groups[2]);
            const int day = std::stoi(groups[3]);
            return month < 1 || month > 12 ? BAD_MONTH : day < 1 || day > 31 ? BAD_DAY : groups[0];
        });
}

TEST(DateTest, TextOfTheDefaultZeroDateCannotBeParsed) {
    const Date date;
    EXPECT_EQ(date.year, 0);
    EXPECT_EQ(date.month, 0);
    EXPECT_EQ(date.day, 0);
    EXPECT_EQ(date.toString(), "0000-00-00");
    EXPECT_EQ(outcomeOf([&date] { return parseDate(date.toString()); }), BAD_MONTH);
}

TEST(DateTest, FieldsOutOfRangeArePrinted) {
    Date date;
    date.year = 65535;
    date.month = 255;
    date.day = 255;
    EXPECT_EQ(date.toString(), "65535-255-255");
}

}  // namespace
}  // namespace kova::dovglobals
