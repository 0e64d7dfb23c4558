#include "datatypes/GlobAutomaton.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "datatypes/NfaSimulation.h"

namespace {

using kova::detail::CharacterSet;
using kova::detail::GlobAutomaton;
using kova::detail::GlobStep;
using kova::detail::NfaSimulation;
using Kind = GlobStep::Kind;
using Steps = std::vector<GlobStep>;
using Sets = std::vector<CharacterSet>;

const GlobStep ACCEPT{Kind::Accept, 0, 0};

/// Returns the automaton of a whole program.
GlobAutomaton automatonOf(const Steps& steps, const Sets& sets) {
    return {steps, 0, steps.size() - 1, sets};
}

char charOf(std::size_t byte) {
    return static_cast<char>(byte);
}

TEST(GlobAutomatonTest, SetsMatchExactlyTheirMembers) {
    for (std::size_t member = 0; member < 256; ++member) {
        const CharacterSet set = CharacterSet().set(member);
        const GlobAutomaton one = automatonOf({{Kind::Set, 0, 0}, ACCEPT}, {set});
        const GlobAutomaton others = automatonOf({{Kind::Set, 0, 0}, ACCEPT}, {~set});
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::string text(1, charOf(byte));
            ASSERT_EQ(one.matches(text), byte == member) << member << ' ' << byte;
            ASSERT_EQ(others.matches(text), byte != member) << member << ' ' << byte;
        }
    }
}

TEST(GlobAutomatonTest, SupportsUpTo256CharacterClasses) {
    for (std::size_t count : {254U, 255U, 256U}) {
        // Sets of almost all bytes, so that nearly every byte gets a class.
        for (std::size_t rest = 0; rest < 3; ++rest) {
            CharacterSet most;
            for (std::size_t byte = rest; byte < count; ++byte) {
                most.set(byte);
            }
            const Steps steps = {
                {Kind::Set, 0, 0}, {Kind::Set, 0, 1}, {Kind::Literal, 0xFF, 0}, ACCEPT};
            const GlobAutomaton automaton = automatonOf(steps, {most, CharacterSet().set(rest)});
            for (std::size_t first = 0; first < 256; ++first) {
                for (std::size_t second = 0; second < 256; ++second) {
                    const std::string text = {charOf(first), charOf(second), '\xFF'};
                    ASSERT_EQ(automaton.matches(text), most[first] && second == rest)
                        << count << ' ' << rest << ' ' << first << ' ' << second;
                }
            }
        }
    }
}

TEST(GlobAutomatonTest, MatchesOnlyTheGivenRangeOfSteps) {
    const Steps steps = {{Kind::Literal, 'x', 0},
                         {Kind::Fork, 0, 4},
                         {Kind::Literal, 'a', 0},
                         {Kind::Jump, 0, 5},
                         {Kind::Literal, 'b', 0},
                         {Kind::Literal, 'y', 0},
                         ACCEPT};
    const GlobAutomaton automaton(steps, 1, 5, {});
    ASSERT_TRUE(automaton.complete());
    EXPECT_TRUE(automaton.matches("a"));
    EXPECT_TRUE(automaton.matches("b"));
    for (char const* const text : {"", "x", "y", "ab", "ay", "xay"}) {
        EXPECT_FALSE(automaton.matches(text)) << text;
    }
    const GlobAutomaton none(steps, 1, 1, {});
    ASSERT_TRUE(none.complete());
    EXPECT_TRUE(none.matches(""));
    EXPECT_FALSE(none.matches("a"));
}

// In these texts only two characters change the state. They are tried at all pairs of positions.
TEST(GlobAutomatonTest, BlockSkippingStopsAtTheFirstStateChange) {
    const Sets sets = {~CharacterSet().set('\n'), ~CharacterSet().set('/')};
    const Steps steps = {
        {Kind::Repeat, 0, 0}, {Kind::Literal, 'b', 0}, {Kind::Repeat, 0, 1}, ACCEPT};
    const GlobAutomaton automaton = automatonOf(steps, sets);
    std::size_t matched = 0;
    for (const std::size_t size : {8U, 9U, 16U, 17U, 30U}) {
        for (std::size_t i = 0; i < size * size; ++i) {
            for (const std::string odd : {"bb", "b/", "/b", "b\n", "\nb", "//"}) {
                std::string text(size, 'x');
                text[i / size] = odd[0];
                text[i % size] = odd[1];
                ASSERT_EQ(automaton.matches(text), NfaSimulation::matches(steps, sets, text))
                    << text;
                matched += automaton.matches(text) ? 1 : 0;
            }
        }
    }
    EXPECT_GT(matched, 1000U);
}

TEST(GlobAutomatonTest, IsIncompleteAboveTheMaximumOfPositions) {
    const Sets sets = {CharacterSet().set('x')};
    Steps steps(GlobAutomaton::MAX_POSITIONS, {Kind::Repeat, 0, 0});
    steps.push_back(ACCEPT);
    const GlobAutomaton automaton = automatonOf(steps, sets);
    ASSERT_TRUE(automaton.complete());
    EXPECT_TRUE(automaton.matches(std::string(1000, 'x')));
    EXPECT_FALSE(automaton.matches(std::string(1000, 'x') + 'y'));
    steps.insert(steps.begin(), {Kind::Literal, 'x', 0});
    EXPECT_FALSE(automatonOf(steps, sets).complete());
    EXPECT_TRUE(GlobAutomaton(steps, 1, steps.size() - 1, sets).complete());
}

TEST(GlobAutomatonTest, IsIncompleteAboveTheMaximumOfSteps) {
    Steps steps;
    while (steps.size() < GlobAutomaton::MAX_STEPS) {
        const auto next = static_cast<std::uint32_t>(steps.size()) + 1;
        steps.push_back({Kind::Fork, 0, next});
    }
    steps.push_back(ACCEPT);
    const GlobAutomaton automaton = automatonOf(steps, {});
    ASSERT_TRUE(automaton.complete());
    EXPECT_TRUE(automaton.matches(""));
    EXPECT_FALSE(automaton.matches("x"));
    steps.insert(steps.end() - 1, {Kind::Literal, 'x', 0});
    EXPECT_FALSE(automatonOf(steps, {}).complete());
}

/// Returns a program of up to `length` steps, with forks and jumps to random later steps.
Steps randomSteps(std::mt19937& random, std::size_t length, std::size_t sets) {
    Steps steps;
    const auto count = static_cast<std::uint32_t>(random() % (length + 1));
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto kind = static_cast<Kind>(random() % 5);
        const auto target = static_cast<std::uint32_t>(i + 1 + random() % (count - i));
        const bool leads = kind == Kind::Fork || kind == Kind::Jump;
        const auto set = static_cast<std::uint32_t>(random() % sets);
        steps.push_back(
            {kind, static_cast<unsigned char>('a' + random() % 3), leads ? target : set});
    }
    steps.push_back(ACCEPT);
    return steps;
}

TEST(GlobAutomatonTest, AgreesWithNfaSimulationOnRandomPrograms) {
    const Sets sets = {CharacterSet().set('a').set('b'), ~CharacterSet().set('c'),
                       CharacterSet().set(), CharacterSet()};
    std::mt19937 random(11);
    int matched = 0;
    for (int i = 0; i < 20000; ++i) {
        const Steps steps = randomSteps(random, 24, sets.size());
        const GlobAutomaton automaton = automatonOf(steps, sets);
        ASSERT_TRUE(automaton.complete());
        for (int j = 0; j < 8; ++j) {
            std::string text(random() % 10, ' ');
            for (char& c : text) {
                c = static_cast<char>('a' + random() % 4);
            }
            const bool expected = NfaSimulation::matches(steps, sets, text);
            ASSERT_EQ(automaton.matches(text), expected) << i << ' ' << text;
            matched += expected ? 1 : 0;
        }
    }
    EXPECT_GT(matched, 10000);
    EXPECT_LT(matched, 150000);
}

}  // namespace
