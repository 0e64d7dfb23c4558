#include "kova/core/Path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

namespace {

using kova::Path;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned long LAST = Path::NPOS;
constexpr char const* UUID_TEXT = "123e4567-e89b-12d3-a456-426614174000";

zel::UUID someUuid() {
    zel::UUID uuid;
    EXPECT_FALSE(zel::UUID::tryParse(uuid, UUID_TEXT));
    return uuid;
}

TEST(PathTextTest, NumbersArePrintedInDecimal) {
    EXPECT_EQ(Path::toString(0UL), "0");
    EXPECT_EQ(Path::toString(18446744073709551615UL), "18446744073709551615");
    EXPECT_EQ(Path::toString(-9223372036854775807L - 1), "-9223372036854775808");
    EXPECT_EQ(Path::toString(42L), "42");
}

TEST(PathTextTest, AbsoluteTextBeginsWithTheSeparator) {
    EXPECT_TRUE(Path::isAbsolute("/"));
    EXPECT_TRUE(Path::isAbsolute("//a"));
    EXPECT_FALSE(Path::isAbsolute(""));
    EXPECT_FALSE(Path::isAbsolute("a/"));
    EXPECT_EQ(Path::absolute(""), "/");
    EXPECT_EQ(Path::absolute("a/b"), "/a/b");
    EXPECT_EQ(Path::absolute("/a"), "/a");
    EXPECT_EQ(Path::absolute("//a/"), "//a/");
}

TEST(PathTextTest, PartMayBeWrittenOverItsPath) {
    std::string path = "/first part/second part of some length/third";
    ASSERT_FALSE(Path::part(path, 1, path));
    EXPECT_EQ(path, "second part of some length");
}

struct SubpathRow {
    char const* path;
    unsigned long from;
    unsigned long to;
    /// Null: it fails.
    char const* result;
};

class PathTextSubpath : public testing::TestWithParam<SubpathRow> {};

TEST_P(PathTextSubpath, IsAppendedOrFails) {
    const SubpathRow& row = GetParam();
    std::string out = "former:";
    EXPECT_EQ(Path::subpath(row.path, row.from, row.to, out), row.result == nullptr);
    EXPECT_EQ(out, std::string("former:") + (row.result != nullptr ? row.result : ""));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PathTextSubpath,
    testing::Values(SubpathRow{"/a/b/c", 0, LAST, "a/b/c"}, SubpathRow{"//a//b/c/", 1, 2, "b/c"},
                    SubpathRow{"/a/b/c", LAST, LAST, "c"}, SubpathRow{"/a/b/c", 2, 2, "c"},
                    SubpathRow{"/a/b/c", LAST, 0, nullptr}, SubpathRow{"/a/b/c", LAST, 2, nullptr},
                    SubpathRow{"a", LAST, 0, nullptr}, SubpathRow{"/a/b/c", 1, 0, nullptr},
                    SubpathRow{"/a/b/c", 0, 3, nullptr}, SubpathRow{"/a/b/c", 3, LAST, nullptr},
                    SubpathRow{"/a/b/c", 3, 3, nullptr}, SubpathRow{"", 0, 0, nullptr},
                    SubpathRow{"", 0, LAST, nullptr}, SubpathRow{"/", LAST, LAST, nullptr}));

TEST(PathTextTest, SplitReplacesTheContent) {
    std::vector<std::string> out = {"former"};
    Path::split("/a//b/", out);
    EXPECT_THAT(out, ElementsAre("a", "b"));
    Path::split(out[1], out);
    EXPECT_THAT(out, ElementsAre("b"));
    Path::split("/", out);
    EXPECT_THAT(out, IsEmpty());
}

struct WildcardRow {
    char const* pattern;
    unsigned long n;
    int index;
};

std::ostream& operator<<(std::ostream& out, const WildcardRow& row) {
    return out << row.pattern << ' ' << row.n;
}

class PathTextWildcard : public testing::TestWithParam<WildcardRow> {};

TEST_P(PathTextWildcard, IsFoundAmongTheParts) {
    const WildcardRow& row = GetParam();
    EXPECT_EQ(Path::indexIntoPathFromPattern(row.pattern, row.n), row.index) << row.pattern;
    EXPECT_EQ(Path::indexIntoPathFromPattern(std::string(row.pattern), row.n), row.index)
        << row.pattern;
}

INSTANTIATE_TEST_SUITE_P(Rows, PathTextWildcard,
                         testing::Values(WildcardRow{"/a/*/b/**", 0, 1},
                                         WildcardRow{"/a/*/b/**", 1, 3},
                                         WildcardRow{"/a/*/b/**", 2, -1},
                                         WildcardRow{"/a/*/b/**", LAST, -1}, WildcardRow{"*", 0, 0},
                                         WildcardRow{"", 0, -1}, WildcardRow{"/a*/***/?", 0, -1},
                                         WildcardRow{"//a//*", 0, 1}));

TEST(PathTextTest, NullPatternHasNoWildcard) {
    char const* const null = nullptr;
    EXPECT_EQ(Path::indexIntoPathFromPattern(null, 0), -1);
}

struct JoinRow {
    char const* a;
    char const* b;
    char const* joined;
};

class PathTextJoin : public testing::TestWithParam<JoinRow> {};

TEST_P(PathTextJoin, PutsOneSeparatorBetween) {
    const JoinRow& row = GetParam();
    EXPECT_EQ(Path::join(row.a, row.b), row.joined);
    EXPECT_EQ(Path::join(std::string(row.a), std::string(row.b)), row.joined);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PathTextJoin,
    testing::Values(JoinRow{"a", "b", "a/b"}, JoinRow{"a/", "b", "a/b"}, JoinRow{"a", "/b", "a/b"},
                    JoinRow{"a/", "/b", "a/b"}, JoinRow{"", "/b", "/b"}, JoinRow{"", "b", "b"},
                    JoinRow{"a", "", "a"}, JoinRow{"a/", "", "a/"}, JoinRow{"", "", ""},
                    JoinRow{"/", "/", "/"}, JoinRow{"/", "b", "/b"}, JoinRow{"a", "/", "a/"},
                    JoinRow{"a//", "//b", "a///b"}, JoinRow{"/a/b/", "c//d/", "/a/b/c//d/"}));

TEST(PathTextTest, UuidIsJoinedAsItsText) {
    EXPECT_EQ(Path::join("/items/", someUuid()), std::string("/items/") + UUID_TEXT);
    EXPECT_EQ(Path::join(std::string("/items"), someUuid()), std::string("/items/") + UUID_TEXT);
    EXPECT_EQ(Path::join("", someUuid()), UUID_TEXT);
}

TEST(PathTextTest, NullPointersAreJoinedAsEmptyTexts) {
    char const* const null = nullptr;
    EXPECT_EQ(Path::join(null, "/b"), "/b");
    EXPECT_EQ(Path::join("a", null), "a");
    EXPECT_EQ(Path::join(null, someUuid()), UUID_TEXT);
}

struct ParentRow {
    char const* path;
    char const* parent;
};

class PathTextParent : public testing::TestWithParam<ParentRow> {};

TEST_P(PathTextParent, IsThePathWithoutItsLastPart) {
    EXPECT_EQ(Path::parent(GetParam().path), GetParam().parent) << GetParam().path;
}

INSTANTIATE_TEST_SUITE_P(Rows, PathTextParent,
                         testing::Values(ParentRow{"/a/b", "/a"}, ParentRow{"/a", "/"},
                                         ParentRow{"a", ""}, ParentRow{"/", ""}, ParentRow{"", ""},
                                         ParentRow{"///", ""}, ParentRow{"/a//b", "/a"},
                                         ParentRow{"/a/b//", "/a"}, ParentRow{"//a", "/"},
                                         ParentRow{"//a//b//c//", "/a/b"}, ParentRow{"a/b", "a"},
                                         ParentRow{"a/", ""}, ParentRow{"/a/..", "/a"}));

struct ReplaceRow {
    char const* pattern;
    char const* replacement;
    char const* result;
};

class PathTextReplace : public testing::TestWithParam<ReplaceRow> {};

TEST_P(PathTextReplace, FillsTheFirstWildcard) {
    const ReplaceRow& row = GetParam();
    EXPECT_EQ(Path::replacePattern(row.pattern, row.replacement), row.result);
}

INSTANTIATE_TEST_SUITE_P(Rows, PathTextReplace,
                         testing::Values(ReplaceRow{"/x/**/y/*", "v", "/x/v/y/*"},
                                         ReplaceRow{"/x/v/y/*", "w", "/x/v/y/w"},
                                         ReplaceRow{"/x/y", "v", "/x/y"},
                                         ReplaceRow{"***", "v", "v*"}, ReplaceRow{"a*", "", "a"},
                                         ReplaceRow{"*", "**", "**"}, ReplaceRow{"", "v", ""},
                                         ReplaceRow{"/a*b/*", "-", "/a-b/*"}));

TEST(PathTextTest, WildcardIsFilledWithThePathsAndUuidsText) {
    EXPECT_EQ(Path::replacePattern("/x/*", Path("a//b")), "/x/a/b");
    EXPECT_EQ(Path::replacePattern("/x/*", someUuid()), std::string("/x/") + UUID_TEXT);
}

}  // namespace
