#include "dovglobals/Digits.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "dovglobals/Scanner.h"

namespace kova::detail {
namespace {

template <int WIDTH, typename Field, typename = void>
constexpr bool COMPILES = false;
template <int WIDTH, typename Field>
constexpr bool
    COMPILES<WIDTH, Field, std::void_t<decltype(digits<WIDTH>(std::declval<Field&>()))>> = true;

TEST(DigitsTest, TooNarrowFieldDoesNotCompile) {
    static_assert(COMPILES<2, std::uint8_t> && !COMPILES<3, std::uint8_t>);
    static_assert(COMPILES<2, std::int8_t> && !COMPILES<3, std::int8_t>);
    static_assert(COMPILES<2, const std::uint8_t> && !COMPILES<3, const std::uint8_t>);
    static_assert(COMPILES<4, std::uint16_t> && !COMPILES<5, std::uint16_t>);
    static_assert(COMPILES<4, std::int16_t> && !COMPILES<5, std::int16_t>);
    static_assert(COMPILES<4, int>);
    static_assert(HOLDS_DIGITS<2, unsigned char> && !HOLDS_DIGITS<3, unsigned char>);
}

TEST(DigitsTest, LargestNumberOfEachFieldWidthIsReadAndWritten) {
    std::uint8_t two = 0;
    std::uint16_t four = 0;
    Scanner scanner("99-9999");
    ASSERT_TRUE(scanner.read(digits<2>(two), '-', digits<4>(four)));
    EXPECT_EQ(two, 99);
    EXPECT_EQ(four, 9999);
    char text[16];
    char const* const end = write(text, digits<2>(two), '-', digits<4>(four));
    EXPECT_EQ(std::string(text, static_cast<std::size_t>(end - text)), "99-9999");
}

TEST(DigitsTest, ShortNumbersAreWrittenWithLeadingZeros) {
    const int number = 7;
    char text[16];
    char const* const end =
        write(text, digits<2>(number), ' ', digits<3>(number), ' ', digits<4>(number));
    EXPECT_EQ(std::string(text, static_cast<std::size_t>(end - text)), "07 007 0007");
}

TEST(DigitsTest, NumberWiderThanItsFieldIsWrittenWithAllItsDigits) {
    const std::uint16_t number = 65535;
    char text[16];
    char const* const end = write(text, digits<2>(number), ' ', digits<4>(number));
    EXPECT_EQ(std::string(text, static_cast<std::size_t>(end - text)), "65535 65535");
}

}  // namespace
}  // namespace kova::detail
