#include "datatypes/NfaSimulation.h"

#include <gtest/gtest.h>

#include <string>

#include "support/SmallStack.h"

namespace {

using kova::detail::CharacterSet;
using kova::detail::GlobStep;
using kova::detail::NfaSimulation;
using kova::test::runOnSmallStack;
using Kind = GlobStep::Kind;
using Steps = std::vector<GlobStep>;

const GlobStep ACCEPT{Kind::Accept, 0, 0};

TEST(NfaSimulationTest, ProgramWithoutStepsMatchesOnlyTheEmptyText) {
    EXPECT_TRUE(NfaSimulation::matches({ACCEPT}, {}, ""));
    EXPECT_FALSE(NfaSimulation::matches({ACCEPT}, {}, "a"));
}

TEST(NfaSimulationTest, StepsMatchTheirCharacters) {
    const Steps steps = {{Kind::Literal, 0xFF, 0}, {Kind::Set, 0, 1}, {Kind::Repeat, 0, 0}, ACCEPT};
    const std::vector<CharacterSet> sets = {CharacterSet().set('a').set('b'),
                                            CharacterSet().set(0x80)};
    for (char const* const text : {"\xFF\x80",
                                   "\xFF\x80"
                                   "a",
                                   "\xFF\x80"
                                   "bab"}) {
        EXPECT_TRUE(NfaSimulation::matches(steps, sets, text)) << text;
    }
    for (char const* const text : {"", "\xFF", "\xFE\x80",
                                   "\xFF"
                                   "a",
                                   "\xFF\x80"
                                   "abc"}) {
        EXPECT_FALSE(NfaSimulation::matches(steps, sets, text)) << text;
    }
}

TEST(NfaSimulationTest, ForkMatchesEitherBranch) {
    const Steps steps = {{Kind::Fork, 0, 3},
                         {Kind::Literal, 'a', 0},
                         {Kind::Jump, 0, 4},
                         {Kind::Literal, 'b', 0},
                         ACCEPT};
    EXPECT_TRUE(NfaSimulation::matches(steps, {}, "a"));
    EXPECT_TRUE(NfaSimulation::matches(steps, {}, "b"));
    EXPECT_FALSE(NfaSimulation::matches(steps, {}, "ab"));
    EXPECT_FALSE(NfaSimulation::matches(steps, {}, ""));
}

// The sets of active steps have words of 64 bits, and a larger capacity above 256 steps.
TEST(NfaSimulationTest, ProgramsOfAllLengthsMatchTheWholeText) {
    const std::vector<CharacterSet> sets = {CharacterSet().set('x')};
    for (std::size_t length = 0; length < 600; ++length) {
        Steps steps(length, GlobStep{Kind::Literal, 'x', 0});
        steps.push_back({Kind::Repeat, 0, 0});
        steps.push_back(ACCEPT);
        const std::string text(length, 'x');
        ASSERT_TRUE(NfaSimulation::matches(steps, sets, text)) << length;
        ASSERT_TRUE(NfaSimulation::matches(steps, sets, text + std::string(70, 'x'))) << length;
        ASSERT_FALSE(NfaSimulation::matches(steps, sets, text + 'y')) << length;
        ASSERT_EQ(NfaSimulation::matches(steps, sets, text.substr(length - length / 2)),
                  length == 0)
            << length;
    }
}

TEST(NfaSimulationTest, LongestProgramNeedsLittleStack) {
    Steps steps(NfaSimulation::MAX_STEPS - 1, GlobStep{Kind::Literal, 'x', 0});
    steps.push_back(ACCEPT);
    const std::string text(steps.size() - 1, 'x');
    bool whole = false;
    bool part = true;
    runOnSmallStack([&] {
        whole = NfaSimulation::matches(steps, {}, text);
        part = NfaSimulation::matches(steps, {}, std::string_view(text).substr(1));
    });
    EXPECT_TRUE(whole);
    EXPECT_FALSE(part);
}

}  // namespace
