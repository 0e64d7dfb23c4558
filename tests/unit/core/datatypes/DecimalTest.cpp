#include "datatypes/Decimal.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace kova::detail {
namespace {

constexpr unsigned long LARGEST = ~0UL;

struct Row {
    char const* text;
    bool negative;
    unsigned long magnitude;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << testing::PrintToString(row.text);
}

class DecimalText : public testing::TestWithParam<Row> {};

TEST_P(DecimalText, HasSignAndMagnitude) {
    const Decimal decimal = scanDecimal(GetParam().text);
    EXPECT_EQ(decimal.error, std::errc());
    EXPECT_EQ(decimal.negative, GetParam().negative);
    EXPECT_EQ(decimal.magnitude, GetParam().magnitude);
}

INSTANTIATE_TEST_SUITE_P(Rows, DecimalText,
                         testing::Values(Row{"0", false, 0}, Row{"-0", true, 0},
                                         Row{"42", false, 42}, Row{"+42", false, 42},
                                         Row{"-42", true, 42}, Row{"007", false, 7},
                                         Row{" \t\n\v\f\r7", false, 7}, Row{"7apples", false, 7},
                                         Row{"1.5", false, 1}, Row{"0x10", false, 0},
                                         Row{"18446744073709551615", false, LARGEST},
                                         Row{"-18446744073709551615", true, LARGEST}));

TEST(DecimalTest, TextWithoutDigitsIsInvalid) {
    for (char const* text : {"", " ", "+", "-", "+-1", "- 1", "x1", ".5"}) {
        EXPECT_EQ(scanDecimal(text).error, std::errc::invalid_argument) << text;
    }
}

TEST(DecimalTest, MagnitudeAbove64BitsIsOutOfRange) {
    for (char const* text : {"18446744073709551616", "-18446744073709551616"}) {
        EXPECT_EQ(scanDecimal(text).error, std::errc::result_out_of_range) << text;
    }
}

TEST(DecimalTest, ZeroByteEndsTheNumber) {
    EXPECT_EQ(scanDecimal(std::string("1\0002", 3)).magnitude, 1U);
}

}  // namespace
}  // namespace kova::detail
