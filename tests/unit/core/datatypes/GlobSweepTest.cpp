#include "datatypes/GlobSweep.h"

#include <gtest/gtest.h>

#include <string>

#include "support/SmallStack.h"

namespace {

using kova::CharacterSet;
using kova::GlobStep;
using kova::GlobSweep;
using kova::test::runOnSmallStack;
using Kind = GlobStep::Kind;
using Steps = std::vector<GlobStep>;

const GlobStep ACCEPT{Kind::Accept, 0, 0};

TEST(GlobSweepTest, ProgramWithoutStepsTakesTheEmptyText) {
    EXPECT_TRUE(GlobSweep::takes({ACCEPT}, {}, ""));
    EXPECT_FALSE(GlobSweep::takes({ACCEPT}, {}, "a"));
}

TEST(GlobSweepTest, StepsTakeTheirCharacters) {
    const Steps steps = {{Kind::Literal, 0xFF, 0}, {Kind::Set, 0, 1}, {Kind::Repeat, 0, 0}, ACCEPT};
    const std::vector<CharacterSet> sets = {CharacterSet().set('a').set('b'),
                                            CharacterSet().set(0x80)};
    for (char const* const text : {"\xFF\x80",
                                   "\xFF\x80"
                                   "a",
                                   "\xFF\x80"
                                   "bab"}) {
        EXPECT_TRUE(GlobSweep::takes(steps, sets, text)) << text;
    }
    for (char const* const text : {"", "\xFF", "\xFE\x80",
                                   "\xFF"
                                   "a",
                                   "\xFF\x80"
                                   "abc"}) {
        EXPECT_FALSE(GlobSweep::takes(steps, sets, text)) << text;
    }
}

TEST(GlobSweepTest, ForkTakesBothWays) {
    const Steps steps = {{Kind::Fork, 0, 3},
                         {Kind::Literal, 'a', 0},
                         {Kind::Jump, 0, 4},
                         {Kind::Literal, 'b', 0},
                         ACCEPT};
    EXPECT_TRUE(GlobSweep::takes(steps, {}, "a"));
    EXPECT_TRUE(GlobSweep::takes(steps, {}, "b"));
    EXPECT_FALSE(GlobSweep::takes(steps, {}, "ab"));
    EXPECT_FALSE(GlobSweep::takes(steps, {}, ""));
}

// The sets of active steps are words of 64 bits, and larger from 257 steps on.
TEST(GlobSweepTest, ProgramsOfEveryLengthAreFollowedToTheirEnd) {
    const std::vector<CharacterSet> sets = {CharacterSet().set('x')};
    for (std::size_t length = 0; length < 600; ++length) {
        Steps steps(length, GlobStep{Kind::Literal, 'x', 0});
        steps.push_back({Kind::Repeat, 0, 0});
        steps.push_back(ACCEPT);
        const std::string text(length, 'x');
        ASSERT_TRUE(GlobSweep::takes(steps, sets, text)) << length;
        ASSERT_TRUE(GlobSweep::takes(steps, sets, text + std::string(70, 'x'))) << length;
        ASSERT_FALSE(GlobSweep::takes(steps, sets, text + 'y')) << length;
        ASSERT_EQ(GlobSweep::takes(steps, sets, text.substr(length - length / 2)), length == 0)
            << length;
    }
}

TEST(GlobSweepTest, LongestProgramFitsASmallStack) {
    Steps steps(GlobSweep::MAX_STEPS - 1, GlobStep{Kind::Literal, 'x', 0});
    steps.push_back(ACCEPT);
    const std::string text(steps.size() - 1, 'x');
    bool whole = false;
    bool part = true;
    runOnSmallStack([&] {
        whole = GlobSweep::takes(steps, {}, text);
        part = GlobSweep::takes(steps, {}, std::string_view(text).substr(1));
    });
    EXPECT_TRUE(whole);
    EXPECT_FALSE(part);
}

}  // namespace
