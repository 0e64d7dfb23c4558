#include "kova/core/PathPatterns.h"

#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <locale>
#include <ostream>
#include <regex>
#include <thread>
#include <vector>

#include "kova/core/Errors.h"
#include "support/Reports.h"
#include "support/SmallStack.h"

namespace {

using kova::PathPatterns;
using kova::test::Reports;
using kova::test::runOnSmallStack;

struct MatchRow {
    std::string glob;
    std::vector<std::string> matched;
    std::vector<std::string> others;
};

std::ostream& operator<<(std::ostream& out, const MatchRow& row) {
    return out << row.glob;
}

class PathPatternsMatch : public testing::TestWithParam<MatchRow> {};

TEST_P(PathPatternsMatch, MatchesWholePaths) {
    const MatchRow& row = GetParam();
    const auto patterns = PathPatterns::createFromGlob(row.glob);
    ASSERT_TRUE(patterns) << row.glob;
    for (const std::string& path : row.matched) {
        EXPECT_TRUE(patterns->match(path)) << row.glob << " , " << path;
    }
    for (const std::string& path : row.others) {
        EXPECT_FALSE(patterns->match(path)) << row.glob << " , " << path;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PathPatternsMatch,
    testing::Values(
        MatchRow{"", {""}, {"/", "a"}},
        MatchRow{"/a/*", {"/a/b", "/a/"}, {"/a/b/c", "/a", "x/a/b", "/a/b/"}},
        MatchRow{"/a/**", {"/a/b/c", "/a/"}, {"/a", "/b/", "/a/b\nc", "/a/\r"}},
        MatchRow{"/items/*/state", {"/items/3/state", "/items//state"}, {"/items/3/4/state"}},
        MatchRow{"/a/{b,c}/**", {"/a/b/", "/a/c/d/e"}, {"/a/d/", "/a/b,c/"}},
        MatchRow{"/{x,y}/[!0-9]", {"/x/a", "/y//"}, {"/x/5", "/z/a", "/x/ab"}},
        MatchRow{"/a/?.txt", {"/a/b.txt", "/a/\n.txt"}, {"/a//.txt", "/a/bxtxt", "/a/.txt"}},
        MatchRow{"***", {"", "a/b"}, {"a\n/"}}, MatchRow{"*", {"", "a", "a\nb"}, {"/"}},
        MatchRow{"a\\*", {"a*"}, {"a", "ab", "a\\*"}},
        MatchRow{"[!a]", {"b", "/", "\n"}, {"a", "", "bb"}}, MatchRow{"[^a]", {"b", "/"}, {"a"}},
        MatchRow{"[!]", {"a", "/", "\n"}, {"", "aa"}}, MatchRow{"[a^!]", {"a", "^", "!"}, {"b"}},
        MatchRow{"[-a]", {"-", "a"}, {"b"}}, MatchRow{"[a-]", {"-", "a"}, {"b"}},
        MatchRow{"[a-c-e]", {"b", "-", "e"}, {"d"}}, MatchRow{"[\\]", {"\\"}, {"]"}},
        MatchRow{"a|b/*", {"a", "b/c"}, {"a/c", "b"}}, MatchRow{"a\\|b", {"a", "b"}, {"a|b"}},
        MatchRow{"{,a}b", {"b", "ab"}, {"a", ",b"}}, MatchRow{"{a|b,c}", {"a", "b", "c"}, {"a|b"}},
        MatchRow{"{*,**}/x", {"a/x", "a/b/x", "/x"}, {"x"}},
        MatchRow{"{*.txt,?}", {"a.txt", "a", ".txt"}, {"/.txt", "ab"}},
        MatchRow{"a,b}", {"a,b}"}, {"a", "b"}}, MatchRow{".$^+()", {".$^+()"}, {"a$^+()"}},
        MatchRow{std::string("\0\xFF[\x80]", 5), {std::string("\0\xFF\x80", 3)}, {"", "\xFF\x80"}},
        MatchRow{"[a-\xFF]", {"a", "\x80", "\xFF"}, {"A", ""}},
        MatchRow{"[!\x80-\xFF]", {"a", "\x7F", "/"}, {"\x80", "\xFF"}},
        // The bracket of the expression continues to the next unescaped "]".
        MatchRow{"[[:digit:]?", {"7", "[", "^", "/"}, {"a", "", "77"}},
        MatchRow{"{[[:digit:]*", {"", "77", "7(", "[^/"}, {"a"}}));

struct ErrorRow {
    char const* glob;
    int line;
    /// Null if the reason is the engine's text for `expression`.
    char const* reason;
    char const* expression;
};

std::ostream& operator<<(std::ostream& out, const ErrorRow& row) {
    return out << row.glob;
}

std::string engineText(char const* expression) {
    try {
        const std::regex engine(expression);
    } catch (const std::regex_error& error) {
        return error.what();
    }
    return "no error";
}

class PathPatternsErrors : public testing::TestWithParam<ErrorRow> {};

TEST_P(PathPatternsErrors, CreateFromGlobReportsOneErrorAndReturnsNothing) {
    const ErrorRow& row = GetParam();
    const std::string reason = row.reason != nullptr ? row.reason : engineText(row.expression);
    Reports reports;
    EXPECT_FALSE(PathPatterns::createFromGlob(row.glob)) << row.glob;
    const auto taken = reports.take();
    ASSERT_EQ(taken.size(), 1U) << row.glob;
    EXPECT_EQ(taken[0].type, "kova::errors::Error");
    EXPECT_EQ(taken[0].number, kova::errors::RequestFailed);
    EXPECT_EQ(taken[0].file, "src/core/datatypes/PathPatterns");
    EXPECT_EQ(taken[0].line, row.line) << row.glob;
    EXPECT_EQ(taken[0].reason, "request failed, reason = " + reason) << row.glob;
    EXPECT_EQ(zel::ErrorStorage::current().number(), kova::errors::RequestFailed);
    if (row.line == 32) {
        EXPECT_THROW(PathPatterns patterns(row.glob), std::invalid_argument) << row.glob;
    } else {
        EXPECT_THROW(PathPatterns patterns(row.glob), std::regex_error) << row.glob;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PathPatternsErrors,
    testing::Values(
        ErrorRow{"a\\", 32, "Hanging escape (\\) at end of pattern", nullptr},
        ErrorRow{"[a", 32, "Unclosed [", nullptr}, ErrorRow{"{[", 32, "Unclosed [", nullptr},
        ErrorRow{"{a", 32, "Unclosed {", nullptr},
        ErrorRow{"{a,{b}}", 32, "{ not allowed in subpattern group", nullptr},
        ErrorRow{"[]a]", 32, "Empty []", nullptr}, ErrorRow{"{a*", 37, nullptr, "(a([^/]*)"},
        ErrorRow{"{*", 37, nullptr, "(([^/]*)"}, ErrorRow{"[z-a]", 37, nullptr, "[z-a]"},
        ErrorRow{"[\xFF-a]", 37, nullptr, "[z-a]"},
        ErrorRow{"[[:alpha:]]", 37, nullptr, "[[:alpha:]\\]"},
        ErrorRow{"[[:foo:]?", 37, nullptr, "[[:foo:][^/]"},
        ErrorRow{"[[:alpha:]*", 37, nullptr, "[[:alpha:]([^/]*)"}));

TEST(PathPatternsTest, ValidGlobReportsNothing) {
    Reports reports;
    EXPECT_TRUE(PathPatterns::createFromGlob("/a/{b,c}/[!d]*/**"));
    EXPECT_TRUE(reports.take().empty());
}

TEST(PathPatternsTest, CopiesAndMovedObjectsMatchLikeTheOriginal) {
    const PathPatterns original("/a/*");
    PathPatterns copy(original);
    PathPatterns moved(std::move(copy));
    PathPatterns assigned("x");
    assigned = moved;
    for (const PathPatterns* patterns : {&original, const_cast<const PathPatterns*>(&moved),
                                         const_cast<const PathPatterns*>(&assigned)}) {
        EXPECT_EQ(patterns->glob(), "/a/*");
        EXPECT_TRUE(patterns->match("/a/b"));
        EXPECT_FALSE(patterns->match("x"));
    }
}

TEST(PathPatternsTest, GlobLongerThanTheLimitIsRejected) {
    const std::string longest(65535, 'a');
    const auto patterns = PathPatterns::createFromGlob(longest);
    ASSERT_TRUE(patterns);
    EXPECT_TRUE(patterns->match(longest));
    EXPECT_FALSE(patterns->match(longest + 'a'));

    Reports reports;
    EXPECT_FALSE(PathPatterns::createFromGlob(longest + 'a'));
    const auto taken = reports.take();
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_EQ(taken[0].line, 32);
    EXPECT_EQ(taken[0].reason, "request failed, reason = Pattern longer than 65535 characters");
}

TEST(PathPatternsTest, MatchingAMillionCharactersNeedsLittleStack) {
    bool whole = false;
    bool part = true;
    runOnSmallStack([&] {
        const PathPatterns patterns("/{**,[a]}/?*");
        const std::string path = "/" + std::string(1000000, 'a') + "/bc";
        whole = patterns.match(path);
        part = patterns.match(path + '/');
    });
    EXPECT_TRUE(whole);
    EXPECT_FALSE(part);
}

TEST(PathPatternsTest, CompilingLongGlobsNeedsLittleStack) {
    bool matched = false;
    int rejected = 0;
    Reports reports;
    runOnSmallStack([&] {
        const std::string plain(65000, 'a');
        matched = PathPatterns(plain + "{b,[c]}").match(plain + "c");
        std::string open;
        for (int i = 0; i < 4000; ++i) {
            open += "{[[:digit:]}?";  // leaves a group open
        }
        for (const std::string& glob :
             {plain + "{b*", "[z-a]" + plain, plain + "[z-a]", "{" + plain + "[[:x:]*",
              "[[:alpha:]" + plain, std::string(65000, '|') + "{*", open}) {
            rejected += PathPatterns::createFromGlob(glob) ? 0 : 1;
        }
    });
    EXPECT_TRUE(matched);
    EXPECT_EQ(rejected, 7);
    EXPECT_EQ(reports.take().size(), 7U);
}

TEST(PathPatternsTest, ManyStarsCauseNoBacktracking) {
    const PathPatterns patterns("/*x*x*x*y");
    const PathPatterns deep("/**x**x**x**y");
    for (std::size_t length = 256; length <= 100000; length = length * 5 / 2) {
        const std::string path = "/" + std::string(length, 'x');
        EXPECT_FALSE(patterns.match(path)) << length;
        EXPECT_TRUE(patterns.match(path + 'y')) << length;
        EXPECT_FALSE(deep.match(path)) << length;
        EXPECT_TRUE(deep.match(path + 'y')) << length;
    }
}

TEST(PathPatternsTest, GlobOfOnlyStarsMatches) {
    const PathPatterns patterns(std::string(65535, '*'));
    EXPECT_TRUE(patterns.match("/a/b/c"));
    EXPECT_FALSE(patterns.match("/a\n/b"));
}

TEST(PathPatternsTest, OneObjectMatchesOnManyThreads) {
    const PathPatterns patterns("/items/{*,a/**}/state");
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) {
                const PathPatterns copy(patterns);
                wrong += patterns.match("/items/3/state") ? 0 : 1;
                wrong += copy.match("/items/b/c/state") ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

/// The characters of a process locale in which "e" is not a letter.
class OddCharacters : public std::ctype<char> {
public:
    OddCharacters() : std::ctype<char>(table()) {}

private:
    static const mask* table() {
        static const std::vector<mask> odd = [] {
            std::vector<mask> masks(classic_table(), classic_table() + table_size);
            masks['e'] = punct;
            return masks;
        }();
        return odd.data();
    }
};

TEST(PathPatternsTest, ProcessLocaleIsIgnored) {
    const std::locale former =
        std::locale::global(std::locale(std::locale::classic(), new OddCharacters));
    const auto patterns = PathPatterns::createFromGlob("[[:alpha:]?");
    std::locale::global(former);
    ASSERT_TRUE(patterns);
    EXPECT_TRUE(patterns->match("e"));
}

}  // namespace
