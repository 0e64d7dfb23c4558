#include "Text.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>

namespace kova::tool {
namespace {

TEST(TextTest, ColoursAreWrittenOnlyToAScreenThatSupportsThem) {
    Screen screen{std::cout};
    EXPECT_EQ(coloured(screen, Colour::red, "no"), "no");
    screen.hasColours = true;
    EXPECT_EQ(coloured(screen, Colour::red, "no"), "\x1b[31mno\x1b[0m");
}

TEST(TextTest, ControlCharactersAreReplaced) {
    EXPECT_EQ(visible("a\x1b[2Jb"), "a\uFFFD[2Jb");
    EXPECT_EQ(visible("a\u0085\u202Eb"), "a\uFFFD\uFFFDb");
    EXPECT_EQ(visible("\u061C\u200E\u200F\u2028\u2029"), "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(visible("a\nb\tc\r"), "a\uFFFDb\uFFFDc\uFFFD");
    EXPECT_EQ(visible("a\nb\tc\r", true), "a\nb\tc\uFFFD");
}

TEST(TextTest, BytesThatAreNotUtf8AreReplaced) {
    EXPECT_EQ(visible("\xC3\xA4\xF0\x9F\x98\x80"), "ä😀");
    EXPECT_EQ(visible("\xFF\xC3"), "\uFFFD\uFFFD");
    EXPECT_EQ(visible("\xC0\x80\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(visible("\xE0\x80\x80"), "\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(visible("\uFFFD"), "\uFFFD");
}

TEST(TextTest, WideCharactersNeedTwoColumnsAndCombiningOnesNone) {
    EXPECT_EQ(columnsOf("abc"), 3U);
    EXPECT_EQ(columnsOf("ä"), 1U);
    EXPECT_EQ(columnsOf("a\u0308"), 1U);
    EXPECT_EQ(columnsOf("漢字"), 4U);
    EXPECT_EQ(columnsOf("😀"), 2U);
}

TEST(TextTest, CutTextsFitTheColumns) {
    EXPECT_EQ(cut("abcdef", 6), "abcdef");
    EXPECT_EQ(cut("abcdef", 5), "abcd…");
    EXPECT_EQ(cut("漢字漢", 5), "漢字…");
    EXPECT_EQ(cut("漢字漢", 4), "漢…");
    EXPECT_EQ(cut("abc", 1), "…");
    EXPECT_EQ(cut("abc", 0), "");
    EXPECT_EQ(cut("", 0), "");
}

TEST(TextTest, PaddingCountsColumns) {
    EXPECT_EQ(padded("ä", 3), "ä  ");
    EXPECT_EQ(padded("漢", 3), "漢 ");
    EXPECT_EQ(padded("abcd", 3), "abcd");
}

}  // namespace
}  // namespace kova::tool
