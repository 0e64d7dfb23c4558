#include "kova/core/dovglobals/GeoPosition.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "Engine.h"
#include "Outcome.h"

namespace kova::dovglobals {
namespace {

using test::mismatch;
using test::outcomeOf;

constexpr double LARGEST = std::numeric_limits<double>::max();
constexpr double SMALLEST = std::numeric_limits<double>::denorm_min();
constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

const std::string MISMATCH = mismatch("struct Geoposition");

struct Text {
    std::string text;
    std::string outcome;
};

void PrintTo(const Text& row, std::ostream* out) {
    *out << testing::PrintToString(row.text);
}

class GeoPositionTextTest : public testing::TestWithParam<Text> {};

TEST_P(GeoPositionTextTest, IsParsedOrRejectedWithOneReport) {
    EXPECT_EQ(outcomeOf([] { return parseGeoPosition(GetParam().text); }), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    , GeoPositionTextTest,
    testing::Values(Text{"52.520000;13.405000;34.000000", "52.520000;13.405000;34.000000"},
                    Text{"1;2;3", "1.000000;2.000000;3.000000"},
                    Text{"+1;-2;+3.50", "1.000000;-2.000000;3.500000"},
                    Text{"-0;0007.50;-0.0", "-0.000000;7.500000;-0.000000"},
                    Text{"0.0000001;0.9999999;0.25", "0.000000;1.000000;0.250000"},
                    Text{"", MISMATCH}, Text{"1;2", MISMATCH}, Text{"1;2;", MISMATCH},
                    Text{"1;2;3;", MISMATCH}, Text{"1;2;3;4", MISMATCH}, Text{";;", MISMATCH},
                    Text{"1.5; 2;3", MISMATCH}, Text{"1e5;0;0", MISMATCH},
                    Text{"0x1;0;0", MISMATCH}, Text{"1.;2;3", MISMATCH}, Text{".5;2;3", MISMATCH},
                    Text{"+;2;3", MISMATCH}, Text{"+-1;2;3", MISMATCH}, Text{"1,5;2;3", MISMATCH},
                    Text{"nan;2;3", MISMATCH}, Text{"inf;2;3", MISMATCH},
                    Text{"1;2;3\n", MISMATCH}));

/// Prints the coordinates exactly.
std::string exact(const GeoPosition& position) {
    char text[128];
    std::snprintf(text, sizeof text, "%a;%a;%a", position.first, position.second, position.third);
    return text;
}

TEST(GeoPositionTest, ParserAgreesWithStdRegex) {
    test::expectAsEngine(
        "struct Geoposition", R"(^([+-]?\d+(?:\.\d+)?);([+-]?\d+(?:\.\d+)?);([+-]?\d+(?:\.\d+)?)$)",
        {"1;2;3", "+52.520008;-13.404954;0.1", "-0.0;00179.99999999999999;4503599627370497.5"},
        parseGeoPosition, exact, [](const test::Groups& groups) {
            return exact(
                GeoPosition(std::stod(groups[1]), std::stod(groups[2]), std::stod(groups[3])));
        });
}

std::string zeros(std::size_t count) {
    return std::string(count, '0');
}

TEST(GeoPositionTest, CoordinatesAreRoundedToTheNearestDouble) {
    // A half-way case that only the last digit decides, the largest double and the smallest double.
    const std::string half = "9007199254740993." + zeros(800);
    const std::vector<std::string> coordinates = {half + "0",
                                                  half + "1",
                                                  "0.1" + zeros(100000) + "1",
                                                  zeros(100000) + "123.25",
                                                  "17976931348623157" + zeros(292),
                                                  "17976931348623158" + zeros(292),
                                                  "0." + zeros(307) + "22250738585072011",
                                                  "0." + zeros(323) + "49406564584124654"};
    for (const std::string& coordinate : coordinates) {
        const auto position = parseGeoPosition("0;-" + coordinate + ";" + coordinate);
        ASSERT_TRUE(position) << coordinate.substr(0, 400);
        const double nearest = std::strtod(coordinate.c_str(), nullptr);
        EXPECT_EQ(exact(*position), exact({0.0, -nearest, nearest})) << coordinate.substr(0, 400);
    }
}

std::string outOfRange(const std::string& coordinate) {
    return test::refusal("struct Geoposition",
                         "the " + coordinate + " coordinate being out of the range of a double");
}

TEST(GeoPositionTest, TooLargeCoordinateIsReportedAsOutOfRange) {
    const std::string tooLarge[] = {"1" + zeros(309), "00002" + zeros(308) + ".0",
                                    "179769313486231580794" + zeros(288), std::string(100000, '9')};
    for (const std::string& coordinate : tooLarge) {
        for (char const* sign : {"", "+", "-"}) {
            const std::string number = sign + coordinate;
            SCOPED_TRACE(number.substr(0, 400));
            EXPECT_EQ(outcomeOf([&] { return parseGeoPosition(number + ";0;0"); }),
                      outOfRange("first"));
            EXPECT_EQ(outcomeOf([&] { return parseGeoPosition("0;" + number + ";0"); }),
                      outOfRange("second"));
            EXPECT_EQ(outcomeOf([&] { return parseGeoPosition("0;0;" + number); }),
                      outOfRange("third"));
        }
    }
}

TEST(GeoPositionTest, MalformedTextWithATooLargeNumberIsReportedAsMalformed) {
    const std::string tooLarge = "1" + zeros(309);
    EXPECT_EQ(outcomeOf([&] { return parseGeoPosition(tooLarge + ";0"); }), MISMATCH);
    EXPECT_EQ(outcomeOf([&] { return parseGeoPosition(tooLarge + ";0;0;"); }), MISMATCH);
    EXPECT_EQ(outcomeOf([&] { return parseGeoPosition("0;" + tooLarge + ';' + tooLarge); }),
              outOfRange("second"));
}

TEST(GeoPositionTest, TooSmallCoordinateBecomesSubnormalOrZero) {
    EXPECT_EQ(parseGeoPosition("0." + zeros(323) + "5;0;0")->first, SMALLEST);
    EXPECT_EQ(exact(*parseGeoPosition("0." + zeros(323) + "2;-000." + zeros(5000) + "1;+0." +
                                      zeros(400) + "9")),
              exact({0.0, -0.0, 0.0}));
}

TEST(GeoPositionTest, TextMatchesPrintf) {
    std::mt19937_64 random(52520);
    std::vector<double> coordinates = {0.0,     -0.0,      0.5,          1.0000005,     2.5e-7,
                                       LARGEST, -LARGEST,  SMALLEST,     INFINITE,      -INFINITE,
                                       1e22,    123456789, NOT_A_NUMBER, -NOT_A_NUMBER, 0.0000005};
    for (int exponent = -30; exponent < 300; ++exponent) {
        const double digits = static_cast<double>(random() >> 11) * 0x1p-53;
        coordinates.push_back(std::strtod(("-1e" + std::to_string(exponent)).c_str(), nullptr) *
                              digits);
    }
    for (const double coordinate : coordinates) {
        char text[1024];
        std::snprintf(text, sizeof text, "%f;%f;%f", coordinate, 1.0, -coordinate);
        EXPECT_EQ(GeoPosition(coordinate, 1.0, -coordinate).toString(), text);
    }
}

TEST(GeoPositionTest, LongestTextReadsBack) {
    const GeoPosition position(-LARGEST, -LARGEST, -LARGEST);
    EXPECT_EQ(position.toString().size(), 3 * 317U + 2);
    EXPECT_EQ(parseGeoPosition(position.toString()), position);
}

TEST(GeoPositionTest, DefaultIsAllZero) {
    EXPECT_EQ(GeoPosition().toString(), "0.000000;0.000000;0.000000");
}

TEST(GeoPositionTest, OrderIgnoresCoordinatesThatAreNan) {
    const GeoPosition left(NOT_A_NUMBER, 1.0, 0.0);
    const GeoPosition right(0.0, 2.0, 0.0);
    EXPECT_TRUE(left < right);
    EXPECT_FALSE(right < left);
    EXPECT_FALSE(left == left);
    EXPECT_TRUE(left != left);
    EXPECT_FALSE(left < left);
}

TEST(GeoPositionTest, ZerosOfBothSignsAreEqual) {
    EXPECT_EQ(GeoPosition(0.0, -0.0, 0.0), GeoPosition(-0.0, 0.0, 0.0));
    EXPECT_FALSE(GeoPosition(-0.0, 0.0, 0.0) < GeoPosition(0.0, 0.0, 0.0));
}

}  // namespace
}  // namespace kova::dovglobals
