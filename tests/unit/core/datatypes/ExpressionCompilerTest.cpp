#include "datatypes/ExpressionCompiler.h"

#include <gtest/gtest.h>

#include <regex>

namespace {

using kova::detail::ExpressionCompiler;
using kova::detail::GlobProgram;

struct Row {
    char const* expression;
    std::vector<std::string> matched;
    std::vector<std::string> rejected;
};

class ExpressionCompilerAccepts : public testing::TestWithParam<Row> {};

TEST_P(ExpressionCompilerAccepts, MatchesStdRegex) {
    const Row& row = GetParam();
    const GlobProgram program = ExpressionCompiler::compile(row.expression);
    const std::regex engine(row.expression);
    for (const std::string& text : row.matched) {
        EXPECT_TRUE(program.matches(text)) << row.expression << ' ' << text;
        EXPECT_TRUE(std::regex_match(text, engine)) << row.expression << ' ' << text;
    }
    for (const std::string& text : row.rejected) {
        EXPECT_FALSE(program.matches(text)) << row.expression << ' ' << text;
        EXPECT_FALSE(std::regex_match(text, engine)) << row.expression << ' ' << text;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ExpressionCompilerAccepts,
    testing::Values(Row{"", {""}, {"a"}}, Row{"a", {"a"}, {"", "b", "aa"}},
                    Row{"a\\.\\\\", {"a.\\"}, {"ab\\"}}, Row{"(.*)", {"", "a/b"}, {"a\n", "\r"}},
                    Row{"([^/]*)", {"", "a\nb"}, {"/", "a/"}},
                    Row{"[^/]", {"a", "\n"}, {"", "/", "aa"}}, Row{"[a-c]", {"a", "c"}, {"d", ""}},
                    Row{"a|b|", {"a", "b", ""}, {"ab"}}, Row{"a|", {"a", ""}, {"b"}},
                    Row{"|", {""}, {"a"}}, Row{"()", {""}, {"a"}}, Row{"(|)x", {"x"}, {""}},
                    Row{"x(a|bc|)y", {"xay", "xbcy", "xy"}, {"xaby", "x", "xabcy"}},
                    Row{"(a|b)(c|d)", {"ac", "ad", "bc", "bd"}, {"a", "cd"}},
                    Row{"(([^/]*)|(.*)b)", {"", "a", "/b"}, {"/", "/a"}},
                    Row{"a|(b|c)d|e", {"a", "bd", "cd", "e"}, {"ad", "b", "be"}},
                    // Parentheses inside a bracket belong to the bracket, as in the engine.
                    Row{"([[:digit:]([^/]*)", {"", "12([^/"}, {"a", ")"}},
                    Row{"([[:digit:])([^/](a|b))", {")a", "7b"}, {"a", "()a"}}));

class ExpressionCompilerRejects : public testing::TestWithParam<char const*> {};

TEST_P(ExpressionCompilerRejects, ThrowsTheErrorOfStdRegex) {
    std::string expected;
    try {
        const std::regex engine(GetParam());
    } catch (const std::regex_error& error) {
        expected = error.what();
    }
    ASSERT_NE(expected, "") << GetParam();
    try {
        ExpressionCompiler::compile(GetParam());
        FAIL() << GetParam();
    } catch (const std::regex_error& error) {
        EXPECT_EQ(error.what(), expected) << GetParam();
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, ExpressionCompilerRejects,
                         testing::Values("(a([^/]*)", "(a", "(", "a)", ")", "(a))", ")[z-a]",
                                         "(a[z-a]", "[z-a])", "a[z-a]b", "[[:alpha:]\\]", "a[",
                                         "(a|[[.x.]-[=a=]])", "[[:foo:]](", "a|b)|c"));

TEST(ExpressionCompilerTest, DeeplyNestedGroupsCompile) {
    constexpr std::size_t DEPTH = 200000;
    const std::string open(DEPTH, '(');
    const std::string close(DEPTH, ')');
    const GlobProgram program = ExpressionCompiler::compile(open + "a|b" + close);
    EXPECT_TRUE(program.matches("a"));
    EXPECT_TRUE(program.matches("b"));
    EXPECT_FALSE(program.matches("ab"));
    EXPECT_THROW(ExpressionCompiler::compile(open + close + ")"), std::regex_error);
    EXPECT_THROW(ExpressionCompiler::compile("(" + open + close), std::regex_error);
}

}  // namespace
