#include "ShellLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kova::tool {
namespace {

using testing::ElementsAre;
using Strings = std::vector<std::string>;

struct LineRow {
    char const* line;
    Strings words;
};

TEST(WordsOfLineTest, SplitsAtBlanksOutsideOfQuotes) {
    const LineRow rows[] = {
        {"", {}},
        {" \t ", {}},
        {"get /level", {"get", "/level"}},
        {"  get\t/level \r\n", {"get", "/level"}},
        {"put /name '\"blue moon\"'", {"put", "/name", "\"blue moon\""}},
        {"put /name \"\\\"blue\\\"\"", {"put", "/name", "\"blue\""}},
        {"get kova:/player$/level", {"get", "kova:/player$/level"}},
        {"a\\ b '\\' \"'\"", {"a b", "\\", "'"}},
        {"a'b'c ''", {"abc", ""}},
        {"get a#b # comment", {"get", "a#b"}},
        {"end\\", {"end\\"}},
    };
    for (const LineRow& row : rows) {
        const auto words = wordsOfLine(row.line);
        ASSERT_TRUE(words.ok()) << row.line;
        EXPECT_EQ(*words, row.words) << row.line;
    }
}

TEST(WordsOfLineTest, OpenQuoteIsAnError) {
    for (char const* line : {"get 'a", "get \"a", "get \"a\\\"", "'"}) {
        const auto words = wordsOfLine(line);
        ASSERT_FALSE(words.ok()) << line;
        EXPECT_EQ(words.error().code, 400);
        EXPECT_THAT(words.error().message, testing::EndsWith("is not closed"));
    }
}

TEST(WordsToCompleteTest, LastWordIsTheOneAtTheCursor) {
    EXPECT_THAT(wordsToComplete(""), ElementsAre(""));
    EXPECT_THAT(wordsToComplete("ge"), ElementsAre("ge"));
    EXPECT_THAT(wordsToComplete("get "), ElementsAre("get", ""));
    EXPECT_THAT(wordsToComplete("get '/a b"), ElementsAre("get", "/a b"));
}

TEST(CompleteLineTest, InsertsTheCommonBeginningOfTheCandidates) {
    EXPECT_EQ(completeLine("de", {"delete", "describe"}).choices.size(), 2U);
    EXPECT_EQ(completeLine("d", {"delete", "describe"}).insertion, "e");
    EXPECT_EQ(completeLine("d", {"delete", "describe"}).choices, Strings());
    EXPECT_EQ(completeLine("x", {}).insertion, "");
}

TEST(CompleteLineTest, InsertsQuoteAndBlankAfterACompleteWord) {
    EXPECT_EQ(completeLine("wa", {"watch"}).insertion, "tch ");
    EXPECT_EQ(completeLine("get '/le", {"/level"}).insertion, "vel' ");
    EXPECT_EQ(completeLine("get /level", {"/level"}).insertion, " ");
    EXPECT_EQ(completeLine("get /tr", {"/tracks/"}).insertion, "acks/");
    EXPECT_EQ(completeLine("get ko", {"kova:/player$"}).insertion, "va:/player$");
}

}  // namespace
}  // namespace kova::tool
