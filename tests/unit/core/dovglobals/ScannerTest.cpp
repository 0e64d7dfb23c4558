#include "dovglobals/Scanner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace kova::detail {
namespace {

TEST(ScannerTest, SkipMatchesCharactersTextsAndSets) {
    Scanner scanner("a(bc+");
    EXPECT_FALSE(scanner.skip('b'));
    EXPECT_TRUE(scanner.skip('a'));
    EXPECT_FALSE(scanner.skip("(bd"));
    EXPECT_TRUE(scanner.skip("(bc"));
    EXPECT_FALSE(scanner.skipOneOf("/*"));
    EXPECT_FALSE(scanner.atEnd());
    EXPECT_TRUE(scanner.skipOneOf("-+"));
    EXPECT_TRUE(scanner.atEnd());
}

TEST(ScannerTest, NothingMatchesAtTheEndOfTheText) {
    Scanner scanner("");
    int number = 0;
    EXPECT_TRUE(scanner.atEnd());
    EXPECT_FALSE(scanner.skip('a'));
    EXPECT_FALSE(scanner.skip("a"));
    EXPECT_FALSE(scanner.skipOneOf("a"));
    EXPECT_FALSE(scanner.skipDigits());
    EXPECT_FALSE((scanner.number<1, 3>(number)));
    EXPECT_FALSE(scanner.read('a'));
}

TEST(ScannerTest, SkipDigitsRequiresADigit) {
    Scanner scanner("0129:/");
    EXPECT_TRUE(scanner.skipDigits());
    EXPECT_FALSE(scanner.skipDigits());
    EXPECT_TRUE(scanner.skip(':'));
    EXPECT_FALSE(scanner.skipDigits());
}

TEST(ScannerTest, NumberReadsAsManyDigitsAsPossible) {
    Scanner scanner("1234x");
    int number = 0;
    EXPECT_TRUE((scanner.number<1, 3>(number)));
    EXPECT_EQ(number, 123);
    EXPECT_FALSE((scanner.number<2, 3>(number)));
    EXPECT_TRUE(scanner.skip('x'));
}

TEST(ScannerTest, ReadRequiresAllDigitsAndCharacters) {
    int first = 0;
    int second = 0;
    for (char const* text : {"12:3", "12:", "1:234", "12-34", "a2:34", "12:3/", "12:3:"}) {
        EXPECT_FALSE(Scanner(text).read(digits<2>(first), ':', digits<2>(second))) << text;
    }
    Scanner scanner("12:345");
    EXPECT_TRUE(scanner.read(digits<2>(first), ':', digits<2>(second)));
    EXPECT_EQ(first, 12);
    EXPECT_EQ(second, 34);
    EXPECT_TRUE(scanner.skip('5'));
}

template <typename Real>
Real realOf(const std::string& text) {
    Scanner scanner(text);
    char const* const first = scanner.position();
    scanner.skipOneOf("+-");
    scanner.skipDigits();
    scanner.skip('.');
    scanner.skipDigits();
    return scanner.realSince<Real>(first);
}

TEST(ScannerTest, RealIsReadWithItsSign) {
    EXPECT_EQ(realOf<double>("1.5"), 1.5);
    EXPECT_EQ(realOf<double>("+0.25"), 0.25);
    EXPECT_EQ(realOf<double>("-3"), -3.0);
    EXPECT_EQ(realOf<double>(".5"), 0.5);
    EXPECT_TRUE(std::signbit(realOf<double>("-0.0")));
}

TEST(ScannerTest, TooLargeRealIsInfinite) {
    const std::string zeros(38, '0');
    constexpr float INFINITE = std::numeric_limits<float>::infinity();
    EXPECT_EQ(realOf<float>("4" + zeros), INFINITE);
    EXPECT_EQ(realOf<float>("-004" + zeros + ".5"), -INFINITE);
    EXPECT_EQ(realOf<float>("3" + zeros), 3e38F);
}

TEST(ScannerTest, TooSmallRealIsZero) {
    const std::string text = "00." + std::string(60, '0') + "1";
    EXPECT_EQ(realOf<float>(text), 0.0F);
    EXPECT_TRUE(std::signbit(realOf<float>("-" + text)));
}

}  // namespace
}  // namespace kova::detail
