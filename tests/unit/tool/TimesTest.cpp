#include "Times.h"

#include <gmock/gmock.h>

#include <ostream>

namespace kova::tool {
namespace {

using std::chrono::milliseconds;

struct Row {
    char const* text;
    std::int64_t count;

    friend std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.text; }
};

class AcceptedTimes : public testing::TestWithParam<Row> {};

TEST_P(AcceptedTimes, AreParsed) {
    EXPECT_EQ(parseTime(GetParam().text).orThrow().count(), GetParam().count);
}

INSTANTIATE_TEST_SUITE_P(Forms, AcceptedTimes,
                         testing::Values(Row{"0", 0}, Row{"0s", 0}, Row{"250ms", 250},
                                         Row{"1s", 1000}, Row{"1.5s", 1500}, Row{"0.001s", 1},
                                         Row{"2m", 120000}, Row{"1h", 3600000},
                                         Row{"576h", 2073600000}, Row{"0.5ms", 1},
                                         Row{"0.001ms", 1}, Row{"1.001ms", 2}));

class RefusedTimes : public testing::TestWithParam<char const*> {};

TEST_P(RefusedTimes, AreNamedInTheReason) {
    const auto time = parseTime(GetParam());
    ASSERT_FALSE(time.ok());
    EXPECT_EQ(time.error().code, 400);
    EXPECT_THAT(time.error().message, testing::HasSubstr(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Forms, RefusedTimes,
                         testing::Values("", "5", "s", "-1s", "1.s", ".5s", "1.2345s", "1..2s",
                                         "1 s", "5d", "577h", "99999999999999999999s"));

TEST(TimesTest, TimesAreWrittenWithAtMostTwoUnits) {
    EXPECT_EQ(toText(milliseconds(0)), "0 ms");
    EXPECT_EQ(toText(milliseconds(999)), "999 ms");
    EXPECT_EQ(toText(milliseconds(1000)), "1 s");
    EXPECT_EQ(toText(milliseconds(59999)), "59.9 s");
    EXPECT_EQ(toText(std::chrono::seconds(60)), "1 m");
    EXPECT_EQ(toText(std::chrono::seconds(125)), "2 m 5 s");
    EXPECT_EQ(toText(std::chrono::minutes(187)), "3 h 7 m");
    EXPECT_EQ(toText(std::chrono::hours(98)), "4 d 2 h");
}

}  // namespace
}  // namespace kova::tool
