#include "datatypes/GlobProgram.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "datatypes/NfaSimulation.h"

namespace {

using kova::detail::CharacterSet;
using kova::detail::GlobProgram;
using kova::detail::GlobStep;
using kova::detail::NfaSimulation;
using Kind = GlobStep::Kind;

CharacterSet setOf(std::string_view characters) {
    CharacterSet set;
    for (const char c : characters) {
        set.set(static_cast<unsigned char>(c));
    }
    return set;
}

const GlobStep ACCEPT{Kind::Accept, 0, 0};

TEST(GlobProgramTest, ProgramWithoutStepsMatchesOnlyTheEmptyText) {
    const GlobProgram program({ACCEPT}, {});
    EXPECT_TRUE(program.matches(""));
    EXPECT_FALSE(program.matches("a"));
}

TEST(GlobProgramTest, LiteralMatchesItsCharacter) {
    const GlobProgram program({{Kind::Literal, 'a', 0}, {Kind::Literal, 0xFF, 0}, ACCEPT}, {});
    EXPECT_TRUE(program.matches("a\xFF"));
    EXPECT_FALSE(program.matches("a"));
    EXPECT_FALSE(program.matches("a\xFE"));
    EXPECT_FALSE(program.matches("a\xFFz"));
    EXPECT_FALSE(program.matches(""));
}

TEST(GlobProgramTest, SetMatchesOneOfItsCharacters) {
    const GlobProgram program({{Kind::Set, 0, 1}, ACCEPT}, {setOf(""), setOf("ab\x80")});
    EXPECT_TRUE(program.matches("a"));
    EXPECT_TRUE(program.matches("\x80"));
    EXPECT_FALSE(program.matches("c"));
    EXPECT_FALSE(program.matches("ab"));
}

TEST(GlobProgramTest, RepeatMatchesAnyNumberOfCharacters) {
    const GlobProgram program({{Kind::Repeat, 0, 0}, {Kind::Literal, 'b', 0}, ACCEPT},
                              {setOf("ab")});
    EXPECT_TRUE(program.matches("b"));
    EXPECT_TRUE(program.matches("abab"));
    EXPECT_FALSE(program.matches("aba"));
    EXPECT_FALSE(program.matches(""));
}

TEST(GlobProgramTest, ForkMatchesEitherBranch) {
    const GlobProgram program({{Kind::Fork, 0, 3},
                               {Kind::Literal, 'a', 0},
                               {Kind::Jump, 0, 4},
                               {Kind::Literal, 'b', 0},
                               ACCEPT},
                              {});
    EXPECT_TRUE(program.matches("a"));
    EXPECT_TRUE(program.matches("b"));
    EXPECT_FALSE(program.matches("ab"));
    EXPECT_FALSE(program.matches(""));
}

// The sets of active steps have words of 64 bits, so their size changes with the length.
TEST(GlobProgramTest, ProgramsOfAllLengthsMatchTheWholeText) {
    for (std::size_t length = 0; length < 600; ++length) {
        std::vector<GlobStep> steps(length, GlobStep{Kind::Literal, 'x', 0});
        steps.push_back({Kind::Repeat, 0, 0});
        steps.push_back(ACCEPT);
        const GlobProgram program(std::move(steps), {setOf("x")});
        ASSERT_TRUE(program.matches(std::string(length, 'x'))) << length;
        ASSERT_TRUE(program.matches(std::string(length + 70, 'x'))) << length;
        ASSERT_FALSE(program.matches(std::string(length, 'x') + 'y')) << length;
        ASSERT_EQ(program.matches(std::string(length / 2, 'x')), length == 0) << length;
    }
}

TEST(GlobProgramTest, ProgramMatchesWithAllStepsActiveAtOnce) {
    std::vector<GlobStep> steps(1000, GlobStep{Kind::Repeat, 0, 0});
    steps.push_back({Kind::Literal, 'y', 0});
    steps.push_back(ACCEPT);
    const GlobProgram program(std::move(steps), {setOf("x")});
    EXPECT_TRUE(program.matches(std::string(5000, 'x') + 'y'));
    EXPECT_FALSE(program.matches(std::string(5000, 'x')));
}

TEST(GlobProgramTest, PrefixAndSuffixDoNotOverlap) {
    const GlobProgram program({{Kind::Literal, 'a', 0},
                               {Kind::Literal, 'b', 0},
                               {Kind::Repeat, 0, 0},
                               {Kind::Literal, 'b', 0},
                               {Kind::Literal, 'a', 0},
                               ACCEPT},
                              {setOf("a")});
    EXPECT_TRUE(program.matches("abba"));
    EXPECT_TRUE(program.matches("abaaba"));
    for (char const* const text : {"", "a", "ab", "ba", "aba", "abbba", "bbba", "abbb"}) {
        EXPECT_FALSE(program.matches(text)) << text;
    }
}

TEST(GlobProgramTest, JumpTargetsAreNotPartOfTheLiteralSuffix) {
    // "a", then nothing or "bc", then "cd": the target of the jump is among the literals at the
    // end.
    const GlobProgram program({{Kind::Literal, 'a', 0},
                               {Kind::Fork, 0, 4},
                               {Kind::Literal, 'b', 0},
                               {Kind::Literal, 'c', 0},
                               {Kind::Literal, 'c', 0},
                               {Kind::Literal, 'd', 0},
                               ACCEPT},
                              {});
    EXPECT_TRUE(program.matches("acd"));
    EXPECT_TRUE(program.matches("abccd"));
    for (char const* const text : {"", "a", "cd", "ad", "abcd", "accd", "acdd"}) {
        EXPECT_FALSE(program.matches(text)) << text;
    }
}

// The longer middles exceed the limits of GlobAutomaton.
TEST(GlobProgramTest, ProgramsWithALongMiddleMatchLikeThoseWithAShortOne) {
    for (std::size_t count = 1; count < 300; ++count) {
        std::vector<GlobStep> steps = {{Kind::Literal, 'a', 0}};
        for (std::size_t i = 0; i < count; ++i) {
            const auto here = static_cast<std::uint32_t>(steps.size());
            steps.push_back({Kind::Fork, 0, here + 2});  // "x" or nothing
            steps.push_back({Kind::Literal, 'x', 0});
        }
        steps.push_back({Kind::Set, 0, 0});
        steps.push_back({Kind::Literal, 'z', 0});
        steps.push_back(ACCEPT);
        const GlobProgram program(steps, {setOf("y")});
        ASSERT_TRUE(program.matches("ayz")) << count;
        ASSERT_TRUE(program.matches("a" + std::string(count, 'x') + "yz")) << count;
        ASSERT_FALSE(program.matches("a" + std::string(count + 1, 'x') + "yz")) << count;
        ASSERT_FALSE(program.matches("a" + std::string(count, 'x') + "z")) << count;
    }
}

TEST(GlobProgramTest, MiddleAboveTheMaximumOfStepsThrows) {
    std::vector<GlobStep> steps(NfaSimulation::MAX_STEPS - 1, GlobStep{Kind::Set, 0, 0});
    steps.insert(steps.begin(), GlobStep{Kind::Literal, 'a', 0});
    steps.push_back({Kind::Literal, 'z', 0});
    steps.push_back(ACCEPT);
    const std::vector<CharacterSet> sets = {setOf("x")};
    EXPECT_TRUE(GlobProgram(steps, sets)
                    .matches("a" + std::string(NfaSimulation::MAX_STEPS - 1, 'x') + "z"));
    steps.insert(steps.begin() + 1, GlobStep{Kind::Set, 0, 0});
    EXPECT_THROW(GlobProgram(steps, sets), std::length_error);
}

}  // namespace
