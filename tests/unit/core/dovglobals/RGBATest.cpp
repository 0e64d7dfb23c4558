#include "kova/core/dovglobals/RGBA.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "Engine.h"
#include "Outcome.h"

namespace kova::dovglobals {
namespace {

using test::mismatch;
using test::outcomeOf;
using test::refusal;

constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE = std::numeric_limits<float>::infinity();

const std::string MISMATCH = mismatch("struct RGBA");
const std::string BAD_RED = refusal("struct RGBA", "the Red value not being between 0 and 255");
const std::string BAD_GREEN = refusal("struct RGBA", "the Green value not being between 0 and 255");
const std::string BAD_BLUE = refusal("struct RGBA", "the Blue value not being between 0 and 255");
const std::string BAD_ALPHA =
    refusal("struct RGBA", "the Alpha value not being between 0.0 and 1.0");

struct Alpha {
    float alpha;
    std::string made;     // result of the constructor
    std::string created;  // result of the factory
};

void PrintTo(const Alpha& row, std::ostream* out) {
    *out << row.alpha;
}

class RGBAAlphaTest : public testing::TestWithParam<Alpha> {};

TEST_P(RGBAAlphaTest, ConstructorClampsAndFactoryValidates) {
    const Alpha& row = GetParam();
    EXPECT_EQ(RGBA(1, 2, 3, row.alpha).toString(), row.made);
    EXPECT_EQ(outcomeOf([&row] { return createRGBA(1, 2, 3, row.alpha); }), row.created);
}

INSTANTIATE_TEST_SUITE_P(, RGBAAlphaTest,
                         testing::Values(Alpha{0.0F, "rgba(1,2,3,0.0)", "rgba(1,2,3,0.0)"},
                                         Alpha{-0.0F, "rgba(1,2,3,0.0)", "rgba(1,2,3,0.0)"},
                                         Alpha{1.0F, "rgba(1,2,3,1.0)", "rgba(1,2,3,1.0)"},
                                         Alpha{0.5F, "rgba(1,2,3,0.5)", "rgba(1,2,3,0.5)"},
                                         Alpha{0.1F, "rgba(1,2,3,0.1)", "rgba(1,2,3,0.1)"},
                                         Alpha{0.0001F, "rgba(1,2,3,0.0001)", "rgba(1,2,3,0.0001)"},
                                         Alpha{0.99999994F, "rgba(1,2,3,0.99999994)",
                                               "rgba(1,2,3,0.99999994)"},
                                         Alpha{NOT_A_NUMBER, "rgba(1,2,3,0.0)", "rgba(1,2,3,0.0)"},
                                         Alpha{7.0F, "rgba(1,2,3,1.0)", BAD_ALPHA},
                                         Alpha{1.0000001F, "rgba(1,2,3,1.0)", BAD_ALPHA},
                                         Alpha{INFINITE, "rgba(1,2,3,1.0)", BAD_ALPHA},
                                         Alpha{-0.5F, "rgba(1,2,3,0.0)", BAD_ALPHA},
                                         Alpha{-INFINITE, "rgba(1,2,3,0.0)", BAD_ALPHA}));

struct Text {
    std::string text;
    std::string outcome;
};

void PrintTo(const Text& row, std::ostream* out) {
    *out << testing::PrintToString(row.text);
}

class RGBATextTest : public testing::TestWithParam<Text> {};

TEST_P(RGBATextTest, IsParsedOrRejectedWithOneReport) {
    EXPECT_EQ(outcomeOf([] { return parseRGBA(GetParam().text); }), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    , RGBATextTest,
    testing::Values(Text{"rgba(255,0,0,.5)", "rgba(255,0,0,0.5)"},
                    Text{"rgba(255, 0,\t007, 0.5)", "rgba(255,0,7,0.5)"},
                    Text{"rgba(1,2,3,1.0)", "rgba(1,2,3,1.0)"},
                    Text{"rgba(0,0,0,.0)", "rgba(0,0,0,0.0)"},
                    // The float nearest to the alpha is 1.
                    Text{"rgba(1,2,3,1.00000000001)", "rgba(1,2,3,1.0)"},
                    Text{"rgba(256,256,256,1.01)", BAD_RED}, Text{"rgba(999,0,0,0.5)", BAD_RED},
                    Text{"rgba(0,256,256,1.01)", BAD_GREEN}, Text{"rgba(0,0,256,1.01)", BAD_BLUE},
                    Text{"rgba(0,0,0,1.01)", BAD_ALPHA}, Text{"rgba(0,0,0,1.5)", BAD_ALPHA},
                    Text{"", MISMATCH}, Text{"rgba(1,2,3,1)", MISMATCH},
                    Text{"rgba(1,2,3)", MISMATCH}, Text{"rgba(1,2,3,1.)", MISMATCH},
                    Text{"rgba(1,2,3,00.5)", MISMATCH}, Text{"rgba(1,2,3,2.0)", MISMATCH},
                    Text{"rgba(1,2,3,-.5)", MISMATCH}, Text{"rgba(1,2,3,0.5e0)", MISMATCH},
                    Text{"rgba(1,2,3,  .5)", MISMATCH}, Text{"rgba(1,2,,.5)", MISMATCH},
                    Text{"rgba(1,2 ,3,.5)", MISMATCH}, Text{"rgba(-1,2,3,.5)", MISMATCH},
                    Text{"rgba(1000,2,3,.5)", MISMATCH}, Text{"rgb(1,2,3,.5)", MISMATCH},
                    Text{"RGBA(1,2,3,.5)", MISMATCH}, Text{"rgba(1,2,3,.5", MISMATCH},
                    Text{"rgba(1,2,3,.5)\n", MISMATCH}));

/// Prints the fields exactly.
std::string exact(const RGBA& colour) {
    char text[64];
    std::snprintf(text, sizeof text, "%d %d %d %a", int{colour.red}, int{colour.green},
                  int{colour.blue}, static_cast<double>(colour.alpha));
    return text;
}

/// Returns the expected outcome for the groups of a match, using the standard conversions.
std::string reference(const test::Groups& groups) {
    unsigned int channels[3] = {};
    char separator = '\0';
    std::istringstream stream(groups[1]);
    stream >> channels[0] >> separator >> channels[1] >> separator >> channels[2];
    const float alpha = std::stof(groups[2]);
    return channels[0] > 255   ? BAD_RED
           : channels[1] > 255 ? BAD_GREEN
           : channels[2] > 255 ? BAD_BLUE
           : alpha > 1.0F      ? BAD_ALPHA
                               : exact({static_cast<unsigned char>(channels[0]),
                                        static_cast<unsigned char>(channels[1]),
                                        static_cast<unsigned char>(channels[2]), alpha});
}

TEST(RGBATest, ParserAgreesWithStdRegex) {
    test::expectAsEngine("struct RGBA", R"(^rgba\(((?:\d{1,3},(?: |\t)?){3})((?:1|0)?\.\d+)\)$)",
                         {"rgba(1,22,255,.5)", "rgba(0, 128,\t255, 0.333333)", "rgba(9,8,7,1.0)"},
                         parseRGBA, exact, reference);
}

TEST(RGBATest, TooSmallAlphaBecomesSubnormalOrZero) {
    const std::string zeros(44, '0');
    EXPECT_EQ(parseRGBA("rgba(0,0,0,." + zeros + "1)")->alpha,
              std::numeric_limits<float>::denorm_min());
    EXPECT_EQ(parseRGBA("rgba(0,0,0,0." + zeros + zeros + "1)")->alpha, 0.0F);
}

TEST(RGBATest, DefaultIsTransparentBlack) {
    EXPECT_EQ(RGBA().toString(), "rgba(0,0,0,0.0)");
}

TEST(RGBATest, TextOfASmallAlphaCannotBeParsed) {
    const std::string text = RGBA(1, 2, 3, 0.00001F).toString();
    EXPECT_EQ(text, "rgba(1,2,3,1.e-05)");
    EXPECT_EQ(outcomeOf([&text] { return parseRGBA(text); }), MISMATCH);
}

TEST(RGBATest, AlphaHasTheSameTextAsWithFmt) {
    std::vector<float> values = {-0.0F,
                                 -0.5F,
                                 1e-4F,
                                 std::nextafterf(1e-4F, 0.0F),
                                 16777216.0F,
                                 1e7F,
                                 std::nextafterf(1e7F, 0.0F)};
    for (int i = 0; i <= 255; ++i) {
        values.insert(values.end(),
                      {static_cast<float>(i) / 255.0F, static_cast<float>(i) / 100.0F});
    }
    for (std::uint32_t bits = 0; bits < 0xFFFE'0000U; bits += 0x1'0003U) {
        values.emplace_back();
        std::memcpy(&values.back(), &bits, sizeof bits);
    }
    RGBA colour(1, 20, 255, 0.0F);
    for (const float value : values) {
        colour.alpha = value;
        EXPECT_EQ(colour.toString(), fmt::format("rgba(1,20,255,{:#})", value));
    }
}

TEST(RGBATest, AlphaOutOfRangeIsPrinted) {
    RGBA colour(255, 255, 255, 0.0F);
    colour.alpha = -std::numeric_limits<float>::min();
    EXPECT_EQ(colour.toString(), "rgba(255,255,255,-1.1754944e-38)");
    colour.alpha = std::numeric_limits<float>::lowest();
    EXPECT_EQ(colour.toString(), "rgba(255,255,255,-3.4028235e+38)");
    colour.alpha = -9007199254740992.0F;
    EXPECT_EQ(colour.toString(), "rgba(255,255,255,-9007199000000000.0)");
    colour.alpha = -INFINITE;
    EXPECT_EQ(colour.toString(), "rgba(255,255,255,-inf)");
}

}  // namespace
}  // namespace kova::dovglobals
