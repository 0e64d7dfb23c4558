#include "datatypes/BracketExpression.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <regex>

namespace {

using kova::detail::BracketExpression;
using kova::detail::CharacterSet;

/// The characters of a bracket expression, or the reason why it is not valid.
struct Outcome {
    CharacterSet set;
    std::string error;

    friend bool operator==(const Outcome& a, const Outcome& b) {
        return a.set == b.set && a.error == b.error;
    }
    friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
        return out << outcome.set << ' ' << outcome.error;
    }
};

/// Reads the bracket at the start of `text`, and removes it from `text`.
Outcome read(std::string& text) {
    try {
        std::string_view rest = std::string_view(text).substr(1);
        const CharacterSet set = BracketExpression::read(rest);
        text.resize(text.size() - rest.size());
        return {set, ""};
    } catch (const std::regex_error& error) {
        return {{}, error.what()};
    }
}

// Reads the bracket with the standard library's engine as the reference. Wide characters have the
// order of the bytes on every processor. `char` has this order only where it is unsigned.
template <typename Character = wchar_t>
Outcome readByEngine(const std::string& bracket) {
    std::basic_string<Character> text;
    for (const char c : bracket) {
        text += static_cast<Character>(static_cast<unsigned char>(c));
    }
    try {
        const std::basic_regex<Character> engine(text);
        Outcome outcome;
        for (std::size_t i = 0; i < outcome.set.size(); ++i) {
            const auto c = static_cast<Character>(i);
            outcome.set.set(i, std::regex_match(&c, &c + 1, engine));
        }
        return outcome;
    } catch (const std::regex_error& error) {
        return {{}, error.what()};
    }
}

class BracketExpressionRows : public testing::TestWithParam<char const*> {};

TEST_P(BracketExpressionRows, MatchesStdRegex) {
    std::string bracket = GetParam();
    const Outcome outcome = read(bracket);
    EXPECT_EQ(bracket, GetParam());
    EXPECT_EQ(outcome, readByEngine(bracket)) << bracket;
    EXPECT_EQ(outcome, readByEngine<char>(bracket)) << bracket;
}

INSTANTIATE_TEST_SUITE_P(Plain, BracketExpressionRows,
                         testing::Values("[a]", "[^a]", "[]", "[^]", "[abc]", "[a-c]", "[^a-c]",
                                         "[a^]", "[^^]", "[*?{},|()]", "[[]", "[[a]", "[a[]",
                                         "[\\\\]", "[\\]]", "[\\^a]", "[\\\\-a]", "[\\.-\\]]"));

INSTANTIATE_TEST_SUITE_P(Dashes, BracketExpressionRows,
                         testing::Values("[-]", "[--]", "[---]", "[----]", "[-----]", "[-a]",
                                         "[a-]", "[^-]", "[^a-]", "[a-c-e]", "[a-c-]", "[a--]",
                                         "[!--]", "[--a]", "[+--]", "[a-a]", "[a-c-e-g]", "[-a-c]",
                                         "[a-\\]]"));

INSTANTIATE_TEST_SUITE_P(Names, BracketExpressionRows,
                         testing::Values("[[:alpha:]]", "[^[:alpha:]]", "[[:ALPHA:]_]", "[[:w:]]",
                                         "[[:d:]x]", "[[:s:][:punct:]]", "[[:xdigit:]-]", "[[.a.]]",
                                         "[[.a.]-c]", "[[.hyphen.]]", "[[.NUL.]]",
                                         "[[.space.][.tilde.]]", "[[=a=]]", "[^[=A=]]",
                                         "[[=slash=]]", "[x[:digit:]y]", "[[:blank:][=b=]-]"));

INSTANTIATE_TEST_SUITE_P(Errors, BracketExpressionRows,
                         testing::Values("[", "[^", "[a", "[a-", "[[", "[c-a]", "[a--]", "[z-\\]]",
                                         "[[:alpha:]", "[[:foo:]]", "[[::]]", "[[:alpha]",
                                         "[[:alpha:", "[[:a", "[[:alpha:]-z]", "[a-[:alpha:]]",
                                         "[a-[.b.]]", "[[.b.]-a]", "[[.foo.]]", "[[.a]",
                                         "[[=foo=]]", "[[=a", "[[==]]", "[[..]]", "[[=a=]-z]",
                                         "[c-a[:foo:]]", "[c-a[:foo", "[[:foo:]c-a]", "[a-c[=]"));

TEST(BracketExpressionTest, StopsAfterTheClosingBracket) {
    std::string text = "[a]b]c";
    EXPECT_EQ(read(text).set, CharacterSet().set('a'));
    EXPECT_EQ(text, "[a]");
}

// Returns the character with a backslash before it. Omits the backslash if it would change the
// meaning.
std::string escaped(int c) {
    const bool alphanumeric = (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z');
    return (alphanumeric ? "" : "\\") + std::string(1, static_cast<char>(c));
}

TEST(BracketExpressionTest, RangesMatchStdRegex) {
    for (int first = 0; first < 256; first += 5) {
        for (int last = first % 11; last < 256; last += 11) {
            std::string bracket = "[" + escaped(first) + "-" + escaped(last) + "]";
            const Outcome outcome = read(bracket);
            ASSERT_EQ(outcome, readByEngine(bracket)) << first << ' ' << last;
        }
    }
}

TEST(BracketExpressionTest, RangesAreOrderedByUnsignedBytes) {
    std::string bracket = "[y-\x81]";
    CharacterSet expected;
    for (std::size_t byte = 'y'; byte <= 0x81; ++byte) {
        expected.set(byte);
    }
    EXPECT_EQ(read(bracket), (Outcome{expected, ""}));
    bracket = "[\x80-\xFF]";
    EXPECT_EQ(read(bracket).set, CharacterSet().set() << 0x80U);
    bracket = "[\x80-a]";
    std::string reversed = "[b-a]";
    EXPECT_EQ(read(bracket).error, read(reversed).error);
    EXPECT_NE(read(bracket).error, "");
}

TEST(BracketExpressionTest, RandomBracketsMatchStdRegex) {
    constexpr std::array<std::string_view, 28> PIECES = {
        "a", "b",     "z",          "A",    "0",   "9",   "-",    "-",     "-",         "^",
        "!", ":",     "=",          ".",    "[",   "[:",  ":]",   "[:w:]", "[:alpha:]", "[=a=]",
        "/", "[.b.]", "[.hyphen.]", "\\\\", "\\]", "\\.", "\x80", "\xFF"};
    std::mt19937 random(1);
    int accepted = 0;
    for (int i = 0; i < 3000; ++i) {
        std::string bracket = "[";
        for (std::size_t count = random() % 8; count > 0; --count) {
            bracket += PIECES[random() % PIECES.size()];
        }
        bracket += random() % 16 == 0 ? "" : "]";
        const Outcome outcome = read(bracket);
        ASSERT_EQ(outcome, readByEngine(bracket)) << bracket;
        accepted += outcome.error.empty() ? 1 : 0;
    }
    EXPECT_GT(accepted, 750);
    EXPECT_LT(accepted, 2250);
}

}  // namespace
