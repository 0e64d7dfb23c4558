#include <gtest/gtest.h>
#include <unistd.h>
#include <ostream>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "support/Allocations.h"
#include "tracing/SharedChannelMap.h"

namespace {

using tracing::Channel;
using tracing::SharedChannelMap;

// Levels stay set for the life of the process, so each test uses different names.
SharedChannelMap& channels() {
    return SharedChannelMap::instance();
}

TEST(SharedChannelMapTest, LevelsOfAllChannelsAreListedByName) {
    const auto isOfThisTest = [](const auto& entry) {
        return entry.first.compare(0, 7, "LISTED_") == 0;
    };
    const auto listed = [&] {
        std::vector<std::pair<std::string, int>> result;
        for (const auto& entry : channels().levels()) {
            if (isOfThisTest(entry)) {
                result.push_back(entry);
            }
        }
        return result;
    };
    using Levels = std::vector<std::pair<std::string, int>>;
    const Channel second("LISTED_B", 2, Channel::SHARED);
    {
        const Channel first("LISTED_A", 1, Channel::SHARED);
        const Channel twin("LISTED_B", 4, Channel::SHARED);
        const Channel hidden("LISTED_C", 3, 0);
        EXPECT_EQ(listed(), (Levels{{"LISTED_A", 1}, {"LISTED_B", 2}, {"LISTED_B", 4}}));
    }
    EXPECT_EQ(channels().setLevel("LISTED_*", 5), 1U);
    EXPECT_EQ(listed(), (Levels{{"LISTED_B", 5}}));
}

TEST(SharedChannelMapTest, ChannelLivesUntilItsLastReferenceIsReleased) {
    Channel* const first = channels().map("SHARE");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->name(), "SHARE");
    EXPECT_EQ(first->level(), Channel::SILENT);
    EXPECT_EQ(first->flags(), Channel::SHARED);
    EXPECT_EQ(channels().map("SHARE"), first);
    EXPECT_NE(channels().map("SHARED"), first);
    channels().unmap("SHARED");

    channels().unmap("SHARE");
    EXPECT_EQ(channels().setLevel("SHARE", 1), 1U);
    EXPECT_EQ(first->level(), 1);
    channels().unmap(first->name());
    EXPECT_EQ(channels().setLevel("SHARE", 1), 0U);
    channels().unmap("SHARE");
    EXPECT_EQ(channels().setLevel("SHARE", 1), 0U);
}

TEST(SharedChannelMapTest, RemappedChannelGetsTheLevelSetForItsName) {
    channels().setLevel("AGAIN", 2);
    EXPECT_EQ(channels().map("AGAIN")->level(), 2);
    channels().unmap("AGAIN");
    EXPECT_EQ(channels().map("AGAIN")->level(), 2);
    channels().unmap("AGAIN");
}

TEST(SharedChannelMapTest, UnmappingANameThatIsNotMappedDoesNothing) {
    channels().unmap("NEVER_MAPPED");
    const Channel own("NOT_OWNED", 3, Channel::SHARED);
    channels().unmap("NOT_OWNED");
    EXPECT_EQ(channels().setLevel("NOT_OWNED", 1), 1U);
    EXPECT_EQ(own.level(), 1);
}

TEST(SharedChannelMapTest, ChannelsOfTheSameNameAreSeparate) {
    const Channel one("TWICE", 3, Channel::SHARED);
    auto two = std::make_unique<Channel>("TWICE", 4, Channel::SHARED);
    Channel* const mapped = channels().map("TWICE");
    EXPECT_NE(mapped, &one);
    EXPECT_NE(mapped, two.get());
    EXPECT_EQ(channels().setLevel("TWICE", 2), 3U);
    EXPECT_EQ(one.level(), 2);
    EXPECT_EQ(two->level(), 2);
    EXPECT_EQ(mapped->level(), 2);
    two.reset();
    EXPECT_EQ(channels().setLevel("TWICE", 1), 2U);
    EXPECT_EQ(one.level(), 1);
    channels().unmap("TWICE");
    EXPECT_EQ(channels().setLevel("TWICE", 1), 1U);
}

TEST(SharedChannelMapTest, PatternLevelAppliesToExistingAndFutureChannels) {
    const Channel before("WHEN_A", 7, Channel::SHARED);
    EXPECT_EQ(channels().setLevel("WHEN_*", 2), 1U);
    const Channel after("WHEN_B", 7, Channel::SHARED);
    EXPECT_EQ(before.level(), 2);
    EXPECT_EQ(after.level(), 2);
}

TEST(SharedChannelMapTest, LaterPatternOverridesAnEarlierOne) {
    channels().setLevel("WINS_*", 1);
    channels().setLevel("WINS_A*", 2);
    EXPECT_EQ(Channel("WINS_AB", 7, Channel::SHARED).level(), 2);
    EXPECT_EQ(Channel("WINS_B", 7, Channel::SHARED).level(), 1);
    channels().setLevel("WINS_*", 3);
    EXPECT_EQ(Channel("WINS_AB", 7, Channel::SHARED).level(), 3);
}

struct PatternRow {
    char const* pattern;
    char const* name;
    bool matches;
};

std::ostream& operator<<(std::ostream& out, const PatternRow& row) {
    return out << row.pattern << ' ' << row.name;
}

class SharedChannelMapPatternTest : public testing::TestWithParam<PatternRow> {};

TEST_P(SharedChannelMapPatternTest, MatchesExactlyTheExpectedNames) {
    SCOPED_TRACE(std::string(GetParam().pattern) + " for " + GetParam().name);
    const Channel channel(GetParam().name, 7, Channel::SHARED);
    channels().setLevel(GetParam().pattern, 3);
    EXPECT_EQ(channel.level() == 3, GetParam().matches);
    channels().setLevel(GetParam().pattern, 7);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SharedChannelMapPatternTest,
    testing::Values(PatternRow{"abc", "abc", true}, PatternRow{"abc", "abcd", false},
                    PatternRow{"abc", "ab", false}, PatternRow{"abc", "ABC", false},
                    PatternRow{"", "abc", false}, PatternRow{"", "", true},
                    PatternRow{"*", "", true}, PatternRow{"*", "abc", true},
                    PatternRow{"**", "abc", true}, PatternRow{"a*", "abc", true},
                    PatternRow{"a*", "a", true}, PatternRow{"a*", "ba", false},
                    PatternRow{"*c", "abc", true}, PatternRow{"*c", "acb", false},
                    PatternRow{"*c", "ccc", true}, PatternRow{"a*c", "abc", true},
                    PatternRow{"a*c", "ac", true}, PatternRow{"a*c", "a", false},
                    PatternRow{"a*a", "a", false}, PatternRow{"a*a", "aa", true},
                    PatternRow{"*ab*", "aab", true}, PatternRow{"*ab*ab*", "abab", true},
                    PatternRow{"*ab*ab*", "aba", false}, PatternRow{"*aab", "aaaab", true},
                    PatternRow{"a**c", "abbc", true}, PatternRow{"*a*b*c*", "xaxbxcx", true},
                    PatternRow{"*a*b*c*", "xaxcxbx", false}, PatternRow{"a?c", "abc", false},
                    PatternRow{"a?c", "a?c", true}, PatternRow{"a.c", "abc", false},
                    PatternRow{"a*c", "a*c", true}, PatternRow{"[a]", "a", false},
                    PatternRow{"\\*", "\\x", true}),
    [](const auto& info) { return "Row" + std::to_string(info.index); });

// The recursive definition of matching, used as the reference.
bool matchesByDefinition(std::string_view pattern, std::string_view name) {
    if (pattern.empty()) {
        return name.empty();
    }
    if (pattern[0] == '*' && matchesByDefinition(pattern.substr(1), name)) {
        return true;
    }
    return !name.empty() && (pattern[0] == '*' || pattern[0] == name[0]) &&
           matchesByDefinition(pattern.substr(pattern[0] == '*' ? 0 : 1), name.substr(1));
}

std::vector<std::string> words(const std::string& alphabet, std::size_t length) {
    std::vector<std::string> all = {""};
    for (std::size_t i = 0; i < all.size() && all[i].size() < length; ++i) {
        for (const char c : alphabet) {
            all.push_back(all[i] + c);
        }
    }
    return all;
}

TEST(SharedChannelMapTest, MatchingAgreesWithItsRecursiveDefinition) {
    std::vector<std::unique_ptr<Channel>> all;
    for (const auto& name : words("ab", 5)) {
        all.push_back(std::make_unique<Channel>(name, 7, Channel::SHARED));
    }
    for (const auto& pattern : words("ab*", 5)) {
        channels().setLevel("*", 7);
        channels().setLevel(pattern, 3);
        for (const auto& channel : all) {
            ASSERT_EQ(channel->level() == 3, matchesByDefinition(pattern, channel->name()))
                << pattern << ' ' << channel->name();
        }
    }
    channels().setLevel("*", 7);
}

TEST(SharedChannelMapTest, ManyStarsDoNotTakeExponentialTime) {
    const Channel channel(std::string(2000, 'a'), 7, Channel::SHARED);
    std::string pattern;
    for (int i = 0; i < 1000; ++i) {
        pattern += "*a";
    }
    channels().setLevel(pattern + "*b", 3);
    EXPECT_EQ(channel.level(), 7);
    channels().setLevel(pattern + "*", 3);
    EXPECT_EQ(channel.level(), 3);
    EXPECT_EQ(channels().setLevel(std::string(100000, '*'), 7), channels().setLevel("*", 7));
}

struct List {
    char const* text;
    bool failed;
    int a;
    int b;
};

std::ostream& operator<<(std::ostream& out, const List& list) {
    return out << list.text;
}

class SharedChannelMapListTest : public testing::TestWithParam<List> {};

TEST_P(SharedChannelMapListTest, WellFormedItemsOfALevelListAreApplied) {
    const Channel a("LIST_A", 7, Channel::SHARED);
    const Channel b("LIST_B", 7, Channel::SHARED);
    channels().setLevel("LIST_*", 7);
    SCOPED_TRACE(GetParam().text);
    EXPECT_EQ(channels().configure(GetParam().text), GetParam().failed);
    EXPECT_EQ(a.level(), GetParam().a);
    EXPECT_EQ(b.level(), GetParam().b);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SharedChannelMapListTest,
    testing::Values(List{"", false, 7, 7}, List{"LIST_A=2", false, 2, 7},
                    List{"LIST_A=2,LIST_B=3", false, 2, 3}, List{"LIST_*=0", false, 0, 0},
                    List{"LIST_*=1,LIST_A=4", false, 4, 1}, List{"LIST_A=4,LIST_*=1", false, 1, 1},
                    List{"LIST_A=-1", false, -1, 7}, List{"LIST_A=007", false, 7, 7},
                    List{"LIST_A=2147483647", false, 2147483647, 7},
                    List{"LIST_A=2147483648", true, 7, 7}, List{"LIST_A=", true, 7, 7},
                    List{"LIST_A", true, 7, 7}, List{"=2", true, 7, 7}, List{"=", true, 7, 7},
                    List{"LIST_A=2x", true, 7, 7}, List{"LIST_A= 2", true, 7, 7},
                    List{"LIST_A=+2", true, 7, 7}, List{"LIST_A=0x2", true, 7, 7},
                    List{"LIST_A=2 ", true, 7, 7}, List{"LIST_A=1.5", true, 7, 7},
                    List{",", true, 7, 7}, List{"LIST_A=2,", true, 2, 7},
                    List{",LIST_A=2", true, 2, 7}, List{"LIST_A=2,,LIST_B=3", true, 2, 3},
                    List{"LIST_A=x,LIST_B=3", true, 7, 3}, List{"LIST_A=B=2", false, 7, 7}),
    [](const auto& info) { return "Row" + std::to_string(info.index); });

TEST(SharedChannelMapTest, FailureToCreateAChannelLeavesTheNameUnmapped) {
    const std::string name = "A_NAME_THAT_DOES_NOT_FIT_A_SMALL_STRING";
    bool failed = true;
    for (std::size_t served = 0; failed; ++served) {
        try {
            const kova::test::NoMemory noMemory(served);
            channels().map(name);
            failed = false;
        } catch (const std::bad_alloc&) {
        }
        channels().unmap(name);
        ASSERT_EQ(channels().setLevel(name, 1), 0U) << served;
        ASSERT_EQ(channels().map(name)->level(), 1) << served;
        channels().unmap(name);
        ASSERT_EQ(channels().setLevel(name, 1), 0U) << served;
    }
}

// ZEL_TRACE is read once per process, so each death test starts this program again in a child.
[[noreturn]] void printLevels() {
    for (char const* const name : {"KOVA_A", "KOVA_B", "OTHER"}) {
        const Channel channel(name, Channel::SILENT, Channel::SHARED);
        std::fprintf(stderr, "%s=%d\n", name, channel.level());
    }
    std::exit(0);
}

class SharedChannelMapDeathTest : public testing::Test {
protected:
    ~SharedChannelMapDeathTest() override { unsetenv("ZEL_TRACE"); }
};

TEST_F(SharedChannelMapDeathTest, EnvironmentVariableSetsLevelsAtStartUp) {
    setenv("ZEL_TRACE", "KOVA_*=2,KOVA_B=3", 1);
    EXPECT_EXIT(printLevels(), testing::ExitedWithCode(0), "^KOVA_A=2\nKOVA_B=3\nOTHER=7\n$");
}

TEST_F(SharedChannelMapDeathTest, ChannelsAreSilentWithoutTheEnvironmentVariable) {
    unsetenv("ZEL_TRACE");
    EXPECT_EXIT(printLevels(), testing::ExitedWithCode(0), "^KOVA_A=7\nKOVA_B=7\nOTHER=7\n$");
}

TEST_F(SharedChannelMapDeathTest, ValidItemsOfAMalformedEnvironmentVariableAreApplied) {
    setenv("ZEL_TRACE", "KOVA_A=1,KOVA_B", 1);
    EXPECT_EXIT(printLevels(), testing::ExitedWithCode(0),
                "^[^\n]* TRACING 4: ZEL_TRACE is malformed: [^\n]*\n"
                "KOVA_A=1\nKOVA_B=7\nOTHER=7\n$");
}

TEST_F(SharedChannelMapDeathTest, SinkCanUseTheRegistryDuringTheFirstReport) {
    setenv("ZEL_TRACE", "KOVA_A", 1);
    EXPECT_EXIT(
        {
            tracing::setSink([](const tracing::Message& message) {
                const Channel channel("SINK", 3, Channel::SHARED);
                std::fprintf(stderr, "%.*s %d\n", static_cast<int>(message.channel.size()),
                             message.channel.data(), channel.level());
            });
            printLevels();
        },
        testing::ExitedWithCode(0), "^TRACING 3\nKOVA_A=7\n");
}

}  // namespace
