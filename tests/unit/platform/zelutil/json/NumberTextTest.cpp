#include "json/NumberText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace {

namespace json = util::json;

// Returns the text that `write` writes. Checks that the bytes after the reserved ones are
// unchanged.
template <typename Write>
std::string written(Write write) {
    std::array<char, json::MAX_NUMBER_SIZE + 8> text;
    text.fill('#');
    char* const end = write(text.data());
    const std::string guard(text.begin() + json::MAX_NUMBER_SIZE, text.end());
    EXPECT_EQ(guard, std::string(8, '#'));
    return {text.data(), end};
}

template <typename Real>
std::string asText(Real value) {
    return written([=](char* out) {
        if constexpr (std::is_same_v<Real, float>) {
            return json::writeFloat(out, value);
        } else {
            return json::writeDouble(out, value);
        }
    });
}

// Returns a number without an exponent. `digits` are its significant digits, of which the first one
// has the decimal exponent `exponent`.
std::string fixed(std::string digits, int exponent) {
    if (exponent < 0) {
        return "0." + std::string(static_cast<std::size_t>(-1 - exponent), '0') + digits;
    }
    const auto whole = static_cast<std::size_t>(exponent) + 1;
    digits.resize(std::max(digits.size(), whole + 1), '0');
    return digits.substr(0, whole) + '.' + digits.substr(whole);
}

// Returns the shortest text of the standard library in the layout that `writeDouble` requires: the
// text has no exponent if the decimal exponent of the first digit is from -4 to 15.
template <typename Real>
std::string expected(Real value) {
    std::array<char, 64> text{};
    const auto result =
        std::to_chars(text.begin(), text.end(), std::fabs(value), std::chars_format::scientific);
    std::string scientific(text.data(), result.ptr);
    const std::size_t mark = scientific.find('e');
    const int exponent = std::atoi(scientific.c_str() + mark + 1);
    if (exponent >= -4 && exponent <= 15) {
        scientific.resize(mark);
        const std::size_t point = scientific.find('.');
        scientific = fixed(point == 1 ? scientific.erase(1, 1) : scientific, exponent);
    }
    return std::signbit(value) ? '-' + scientific : scientific;
}

template <typename Real>
bool isShortest(Real value) {
    return asText(value) == expected(value) && asText(-value) == expected(-value);
}

TEST(NumberTextTest, LayoutDependsOnTheExponentOfTheFirstDigit) {
    EXPECT_EQ(asText(0.0), "0.0");
    EXPECT_EQ(asText(-0.0), "-0.0");
    EXPECT_EQ(asText(0.0001), "0.0001");
    EXPECT_EQ(asText(0.00012345678901234567), "0.00012345678901234567");
    EXPECT_EQ(asText(0.00009), "9e-05");
    EXPECT_EQ(asText(1e15), "1000000000000000.0");
    EXPECT_EQ(asText(9007199254740993.0), "9007199254740992.0");
    EXPECT_EQ(asText(1e16), "1e+16");
    EXPECT_EQ(asText(1.5e100), "1.5e+100");
    EXPECT_EQ(asText(-1.7976931348623157e+308), "-1.7976931348623157e+308");
    EXPECT_EQ(asText(5e-324), "5e-324");
    EXPECT_EQ(asText(123456789012345.67), "123456789012345.67");
    EXPECT_EQ(asText(2.9999999999999996), "2.9999999999999996");
    EXPECT_EQ(asText(16777216.0F), "16777216.0");
    EXPECT_EQ(asText(108175216.0F), "108175220.0");
    EXPECT_EQ(asText(0.30000001F), "0.3");
}

TEST(NumberTextTest, DoublesOfRandomBitsHaveTheTextsOfTheStandardLibrary) {
    std::mt19937_64 random(5);
    for (int i = 0; i < 200000; ++i) {
        const std::uint64_t bits = random() & 0x7FFFFFFFFFFFFFFFU;
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isfinite(value)) {
            ASSERT_TRUE(isShortest(value)) << asText(value) << ", not " << expected(value);
        }
        const auto half = static_cast<std::uint32_t>(bits >> 32U);
        float single = 0;
        std::memcpy(&single, &half, sizeof single);
        if (std::isfinite(single)) {
            ASSERT_TRUE(isShortest(single)) << asText(single) << ", not " << expected(single);
        }
    }
}

// Returns a number with up to `decimals` decimals and any magnitude, or a double next to this
// number.
double nearDecimal(std::mt19937_64& random, int decimals) {
    const auto digits = static_cast<double>(random() >> (random() % 64));
    const double value = digits / std::pow(10, decimals);
    const auto direction = random() % 3;
    return direction == 0 ? value : std::nextafter(value, direction == 1 ? 0 : 1e300);
}

TEST(NumberTextTest, NumbersWithFewDecimalsHaveTheTextsOfTheStandardLibrary) {
    std::mt19937_64 random(6);
    for (int i = 0; i < 400000; ++i) {
        const double value = nearDecimal(random, i % 24);
        ASSERT_TRUE(isShortest(value)) << asText(value) << ", not " << expected(value);
        const auto single = static_cast<float>(value);
        ASSERT_TRUE(isShortest(single)) << asText(single) << ", not " << expected(single);
    }
}

TEST(NumberTextTest, PowersOfTenAndTheirNeighboursHaveTheTextsOfTheStandardLibrary) {
    for (int exponent = -323; exponent <= 308; ++exponent) {
        const double power = std::strtod(("1e" + std::to_string(exponent)).c_str(), nullptr);
        for (const double value : {std::nextafter(power, 0), power, std::nextafter(power, 1e308)}) {
            EXPECT_TRUE(isShortest(value)) << asText(value) << ", not " << expected(value);
        }
    }
}

TEST(NumberTextTest, IntegersOfTheFullRangeAreWritten) {
    const auto text = [](auto value) {
        return written([=](char* out) { return json::writeInteger(out, value); });
    };
    EXPECT_EQ(text(std::int64_t{0}), "0");
    EXPECT_EQ(text(INT64_MIN), "-9223372036854775808");
    EXPECT_EQ(text(INT64_MAX), "9223372036854775807");
    EXPECT_EQ(text(UINT64_MAX), "18446744073709551615");
}

}  // namespace
