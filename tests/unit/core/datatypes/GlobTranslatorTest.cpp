#include "datatypes/GlobTranslator.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "kova/core/PathPatterns.h"

namespace {

using kova::detail::GlobTranslator;

struct Row {
    char const* glob;
    char const* expression;
};

class GlobTranslatorAccepts : public testing::TestWithParam<Row> {};

TEST_P(GlobTranslatorAccepts, ReturnsTheExpression) {
    EXPECT_EQ(GlobTranslator::translate(GetParam().glob), GetParam().expression) << GetParam().glob;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GlobTranslatorAccepts,
    testing::Values(Row{"", ""}, Row{"/a/*", "/a/([^/]*)"}, Row{"/a/**", "/a/(.*)"},
                    Row{"/a/?.txt", "/a/[^/]\\.txt"}, Row{"/{x,y}/[!0-9]", "/(x|y)/[^0-9]"},
                    Row{"***", "(.*)([^/]*)"}, Row{"****", "(.*)(.*)"}, Row{"*a", "([^/]*)a"},
                    Row{"*?", "([^/]*)[^/]"}, Row{"*\\*", "([^/]*)\\*"}, Row{"*[a]", "([^/]*)[a]"},
                    Row{"^$.+()", "\\^\\$\\.\\+\\(\\)"}, Row{"]},", "\\]\\},"}, Row{"a|b", "a|b"},
                    Row{"\\*\\?\\\\\\a\\|", "\\*\\?\\\\a|"}, Row{"\\{\\}\\[\\]", "\\{\\}\\[\\]"},
                    Row{"{\\,\\}}", "(,\\})"}, Row{"{,a|b}", "(|a|b)"},
                    Row{"{*,**}", "(([^/]*)|(.*))"}, Row{"{*}", "(([^/]*))"},
                    Row{"{a?[b]}", "(a[^/][b])"}, Row{"{}", "()"}, Row{"[a]", "[a]"},
                    Row{"[!a]", "[^a]"}, Row{"[^a]", "[^a]"}, Row{"[!]", "[^]"},
                    Row{"[-a]", "[-a]"}, Row{"[a!]", "[a!]"}, Row{"[[a]", "[[a]"},
                    Row{"[\\]", "[\\\\]"}, Row{"[a\\]", "[a\\\\]"}, Row{"[!!]", "[^!]"},
                    Row{"[*?{,}]", "[*?{,}]"}, Row{"[[:alpha:]]", "[[:alpha:]\\]"},
                    Row{"{a*", "(a([^/]*)"}, Row{"{a**}b", "(a(.*))b"}));

class GlobTranslatorRejects : public testing::TestWithParam<Row> {};

TEST_P(GlobTranslatorRejects, ThrowsWithTheReason) {
    try {
        FAIL() << GetParam().glob << " gave " << GlobTranslator::translate(GetParam().glob);
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), GetParam().expression) << GetParam().glob;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GlobTranslatorRejects,
    testing::Values(Row{"a\\", "Hanging escape (\\) at end of pattern"},
                    Row{"{a\\", "Hanging escape (\\) at end of pattern"}, Row{"[", "Unclosed ["},
                    Row{"[a", "Unclosed ["}, Row{"[!", "Unclosed ["}, Row{"{[a", "Unclosed ["},
                    Row{"{[", "Unclosed ["}, Row{"{a", "Unclosed {"}, Row{"{", "Unclosed {"},
                    Row{"{a**", "Unclosed {"}, Row{"{a,{b}}", "{ not allowed in subpattern group"},
                    Row{"{*{", "{ not allowed in subpattern group"}, Row{"[]", "Empty []"},
                    Row{"[]a]", "Empty []"}, Row{"{[]}", "Empty []"}));

TEST(GlobTranslatorTest, OrdinaryBytesAreCopiedUnchanged) {
    const std::string glob("\0\xFF\x80\n", 4);
    EXPECT_EQ(GlobTranslator::translate(glob), glob);
}

TEST(GlobTranslatorTest, GlobLongerThanTheLimitIsRejected) {
    const std::string longest(kova::PathPatterns::MAX_LENGTH, 'a');
    EXPECT_EQ(GlobTranslator::translate(longest), longest);
    EXPECT_THROW(GlobTranslator::translate(longest + 'a'), std::invalid_argument);
}

}  // namespace
