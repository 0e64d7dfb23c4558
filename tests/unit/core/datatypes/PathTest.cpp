#include "kova/core/Path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <random>
#include <type_traits>

#include "kova/core/Errors.h"
#include "support/Reports.h"

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

std::vector<std::string> partsOf(const Path& path) {
    std::vector<std::string> parts;
    for (unsigned long i = 0; i < path.numparts(); ++i) {
        parts.push_back(path.at(i));
    }
    return parts;
}

struct TextRow {
    char const* text;
    char const* printed;
    std::vector<std::string> parts;
};

class PathTextForm : public testing::TestWithParam<TextRow> {};

TEST_P(PathTextForm, IsSplitAtSeparatorsIgnoringEmptyPieces) {
    const TextRow& row = GetParam();
    const Path path{std::string(row.text)};
    EXPECT_EQ(path.toString(), row.printed);
    EXPECT_EQ(partsOf(path), row.parts);
    EXPECT_EQ(path.numparts(), row.parts.size());
    EXPECT_EQ(Path(row.text).toString(), row.printed);
    EXPECT_EQ(Path::split(row.text), row.parts);
    EXPECT_EQ(Path::numparts(row.text), row.parts.size());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PathTextForm,
    testing::Values(TextRow{"", "", {}}, TextRow{"/", "/", {}}, TextRow{"///", "/", {}},
                    TextRow{"a", "a", {"a"}}, TextRow{"/a", "/a", {"a"}}, TextRow{"a/", "a", {"a"}},
                    TextRow{"a/b", "a/b", {"a", "b"}}, TextRow{"/a//b/", "/a/b", {"a", "b"}},
                    TextRow{"//a///b//", "/a/b", {"a", "b"}},
                    TextRow{"/./a/..", "/./a/..", {".", "a", ".."}},
                    TextRow{"/a b/\xC3\xA4", "/a b/\xC3\xA4", {"a b", "\xC3\xA4"}}));

TEST(PathTest, ConstantsHaveTheirDocumentedValues) {
    EXPECT_STREQ(Path::SEP, "/");
    EXPECT_EQ(Path::SEP_CHAR, '/');
    EXPECT_EQ(Path::NPOS, 18446744073709551615UL);
}

TEST(PathTest, FunctionsAreNoexcept) {
    static_assert(std::is_nothrow_default_constructible_v<Path>);
    static_assert(std::is_nothrow_copy_constructible_v<Path>);
    static_assert(std::is_nothrow_copy_assignable_v<Path>);
    static_assert(std::is_nothrow_move_constructible_v<Path>);
    const std::string text;
    Path path(text);
    EXPECT_TRUE(noexcept(path.init(text))&& noexcept(path.toString())&& noexcept(path.at(0)));
    EXPECT_TRUE(noexcept(path.insert(text, 0))&& noexcept(path.relativize(text)));
    EXPECT_TRUE(noexcept(path += path)&& noexcept(path.cut(0))&& noexcept(path.subpath(0, 0)));
    EXPECT_TRUE(noexcept(Path::matches(text, text))&& noexcept(Path::parent(text)));
    EXPECT_TRUE(noexcept(Path::join(text, text))&& noexcept(Path::replacePattern(text, text)));
}

TEST(PathTest, DefaultIsEmptyAndRelative) {
    EXPECT_EQ(Path().toString(), "");
    EXPECT_EQ(Path().numparts(), 0U);
    EXPECT_EQ(Path(), Path(""));
}

TEST(PathTest, NullPointerCountsAsEmptyText) {
    char const* const null = nullptr;
    EXPECT_EQ(Path(null).toString(), "");
    Path path("a");
    path.join(null);
    EXPECT_EQ(path.toString(), "a");
}

TEST(PathTest, InitAppendsPartsAndPreservesAbsoluteness) {
    Path path("a");
    path.init("/b//c/");
    EXPECT_EQ(path.toString(), "a/b/c");
    Path absolute("/");
    absolute.init("b");
    EXPECT_EQ(absolute.toString(), "/b");
    absolute.init("");
    EXPECT_EQ(absolute.toString(), "/b");
}

TEST(PathTest, CopiesAreIndependent) {
    const Path original("/a/b");
    Path copy(original);
    copy.join("c");
    EXPECT_EQ(copy.toString(), "/a/b/c");
    EXPECT_EQ(original.toString(), "/a/b");
    for (char const* former : {"", "x", "x/y", "x/y/z"}) {
        Path assigned(former);
        assigned = original;
        EXPECT_EQ(assigned.toString(), "/a/b") << former;
    }
    Path& self = copy;
    copy = self;
    EXPECT_EQ(copy.toString(), "/a/b/c");
    EXPECT_EQ(Path(std::move(copy)).toString(), "/a/b/c");
}

TEST(PathTest, PathsWithTheSameTextAreEqual) {
    EXPECT_EQ(Path("a/b"), Path("a//b/"));
    EXPECT_FALSE(Path("a/b") == Path("/a/b"));
    EXPECT_NE(Path("a/b"), Path("a"));
    EXPECT_NE(Path(""), Path("/"));
    Path inserted("a");
    ASSERT_FALSE(inserted.insert("b/c", LAST));
    EXPECT_EQ(inserted, Path("a/b/c"));
}

TEST(PathTest, MakeAbsoluteKeepsTheParts) {
    Path path("a/b");
    path.makeAbsolute();
    EXPECT_EQ(path.toString(), "/a/b");
    path.makeAbsolute();
    EXPECT_EQ(path.toString(), "/a/b");
}

struct PartRow {
    char const* path;
    unsigned long index;
    /// The expected part, or null if the part does not exist.
    char const* part;
};

class PathPart : public testing::TestWithParam<PartRow> {};

TEST_P(PathPart, IsReturnedIfItExists) {
    const PartRow& row = GetParam();
    SCOPED_TRACE(testing::Message() << '"' << row.path << "\" part " << row.index);
    const bool missing = row.part == nullptr;
    char const* expected = missing ? "untouched" : row.part;
    std::string out = "untouched";
    EXPECT_EQ(Path(row.path).part(row.index, out), missing);
    EXPECT_EQ(out, expected);
    std::string other = "untouched";
    EXPECT_EQ(Path::part(row.path, row.index, other), missing);
    EXPECT_EQ(other, expected);
    EXPECT_EQ(Path(row.path).at(row.index), missing ? "" : row.part);
}

INSTANTIATE_TEST_SUITE_P(Rows, PathPart,
                         testing::Values(PartRow{"", 0, nullptr}, PartRow{"", LAST, nullptr},
                                         PartRow{"/", 0, nullptr}, PartRow{"/", LAST, nullptr},
                                         PartRow{"/a/b", 0, "a"}, PartRow{"/a/b", 1, "b"},
                                         PartRow{"/a/b", LAST, "b"}, PartRow{"/a/b", 2, nullptr},
                                         PartRow{"/a/b", 5, nullptr},
                                         PartRow{"/a/b", LAST - 1, nullptr},
                                         PartRow{"//a//b/", 1, "b"}, PartRow{"a", LAST, "a"}));

TEST(PathTest, PartIsParsedAsUuid) {
    const Path path(std::string("/items/") + UUID_TEXT + "/state");
    zel::UUID uuid;
    EXPECT_FALSE(path.part(1, uuid));
    EXPECT_EQ(uuid, someUuid());
    EXPECT_TRUE(path.part(0, uuid));
    EXPECT_TRUE(path.part(3, uuid));
    EXPECT_EQ(uuid, someUuid());
}

struct SubpathRow {
    char const* path;
    unsigned long from;
    unsigned long to;
    char const* subpath;
};

class PathSubpath : public testing::TestWithParam<SubpathRow> {};

TEST_P(PathSubpath, IncludesBothEndsAndHasNoLeadingSeparator) {
    const SubpathRow& row = GetParam();
    EXPECT_EQ(Path(row.path).subpath(row.from, row.to), row.subpath)
        << row.path << ' ' << row.from << ' ' << row.to;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PathSubpath,
    testing::Values(SubpathRow{"/a/b/c", 0, 2, "a/b/c"}, SubpathRow{"/a/b/c", 0, LAST, "a/b/c"},
                    SubpathRow{"/a/b/c", 1, 1, "b"}, SubpathRow{"/a/b/c", 1, 0, ""},
                    SubpathRow{"/a/b/c", LAST, LAST, "c"}, SubpathRow{"/a/b/c", LAST, 2, "c"},
                    SubpathRow{"/a/b/c", LAST, 0, ""}, SubpathRow{"/a/b/c", 0, 3, ""},
                    SubpathRow{"/a/b/c", 3, LAST, ""}, SubpathRow{"a", LAST, 0, "a"},
                    SubpathRow{"", 0, 0, ""}, SubpathRow{"", LAST, LAST, ""},
                    SubpathRow{"", 0, LAST, ""}));

TEST(PathTest, JoinAppendsPartsAndPreservesAbsoluteness) {
    Path path("a");
    path.join("/b//c");
    path.join(std::string("d/"));
    path.join(someUuid());
    EXPECT_EQ(path.toString(), std::string("a/b/c/d/") + UUID_TEXT);
    EXPECT_EQ(path.numparts(), 5U);
    Path absolute("/");
    absolute.join("b");
    EXPECT_EQ(absolute.toString(), "/b");
}

TEST(PathTest, SumIsAbsoluteIfTheFirstPathIsAbsolute) {
    EXPECT_EQ((Path("a") + Path("/b/c")).toString(), "a/b/c");
    EXPECT_EQ((Path("/a") + Path("b")).toString(), "/a/b");
    EXPECT_EQ((Path("/") + Path("")).toString(), "/");
    Path path("/a/b");
    path += Path("/c");
    EXPECT_EQ(path.toString(), "/a/b/c");
    const Path& self = path;
    path += self;
    EXPECT_EQ(path.toString(), "/a/b/c/a/b/c");
}

struct InsertRow {
    char const* path;
    char const* part;
    unsigned long index;
    /// The expected result, or null if the call fails.
    char const* result;
};

class PathInsert : public testing::TestWithParam<InsertRow> {};

TEST_P(PathInsert, AddsOnePartBeforeTheIndex) {
    const InsertRow& row = GetParam();
    SCOPED_TRACE(testing::Message() << row.path << " + " << row.part << " at " << row.index);
    const bool fails = row.result == nullptr;
    const unsigned long former = Path(row.path).numparts();
    Path path(row.path);
    EXPECT_EQ(path.insert(row.part, row.index), fails);
    EXPECT_EQ(path.toString(), fails ? Path(row.path).toString() : row.result);
    EXPECT_EQ(path.numparts(), former + (fails ? 0 : 1));
    std::string out = "untouched";
    EXPECT_EQ(Path::insert(row.path, row.part, row.index, out), fails);
    EXPECT_EQ(out, fails ? "untouched" : row.result);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PathInsert,
    testing::Values(InsertRow{"a/b", "/x", 0, "/x/a/b"}, InsertRow{"a/b", "x", 0, "x/a/b"},
                    InsertRow{"/a/b", "x", 0, "x/a/b"}, InsertRow{"/a/b", "/x", 0, "/x/a/b"},
                    InsertRow{"a/b", "x", 1, "a/x/b"}, InsertRow{"a/b", "/x", 1, "a/x/b"},
                    InsertRow{"a/b", "/x/y", 1, "a/x/y/b"}, InsertRow{"a/b", "//x", 1, "a//x/b"},
                    InsertRow{"a/b", "x", 2, "a/b/x"}, InsertRow{"a/b", "/x", 2, "a/b//x"},
                    InsertRow{"a", "/x", LAST, "a//x"}, InsertRow{"/a", "x", LAST, "/a/x"},
                    InsertRow{"", "x", 0, "x"}, InsertRow{"", "/x", 0, "/x"},
                    InsertRow{"/", "x", 0, "/x"}, InsertRow{"a", "", 0, "/a"},
                    InsertRow{"a", "", LAST, "a/"}, InsertRow{"a/b", "x", 3, nullptr},
                    InsertRow{"", "x", 1, nullptr}, InsertRow{"a", "x", LAST - 1, nullptr}));

TEST(PathTest, PartAppendedByInsertIsStoredVerbatim) {
    Path path;
    ASSERT_FALSE(path.insert("/x/y", 0));
    EXPECT_THAT(partsOf(path), ElementsAre("/x/y"));
    ASSERT_FALSE(path.insert("/z/", 0));
    EXPECT_THAT(partsOf(path), ElementsAre("z/", "/x/y"));
    EXPECT_EQ(path.toString(), "/z///x/y");
}

struct CutRow {
    char const* path;
    unsigned long index;
    /// The expected result, or null if the call fails.
    char const* result;
};

class PathCut : public testing::TestWithParam<CutRow> {};

TEST_P(PathCut, RemovesOnePart) {
    const CutRow& row = GetParam();
    SCOPED_TRACE(testing::Message() << row.path << " at " << row.index);
    const bool fails = row.result == nullptr;
    Path path(row.path);
    EXPECT_EQ(path.cut(row.index), fails);
    EXPECT_EQ(path.toString(), fails ? Path(row.path).toString() : row.result);
    std::string out = "untouched";
    EXPECT_EQ(Path::cut(row.path, row.index, out), fails);
    EXPECT_EQ(out, fails ? "untouched" : row.result);
}

INSTANTIATE_TEST_SUITE_P(Rows, PathCut,
                         testing::Values(CutRow{"/a", 0, "/"}, CutRow{"a", 0, ""},
                                         CutRow{"/a/b/c", 0, "/b/c"}, CutRow{"a/b/c", 0, "b/c"},
                                         CutRow{"/a/b/c", 1, "/a/c"}, CutRow{"/a/b/c", 2, "/a/b"},
                                         CutRow{"/a/b/c", LAST, "/a/b"},
                                         CutRow{"//a//b/", LAST, "/a"},
                                         CutRow{"/a/b/c", 3, nullptr}, CutRow{"", LAST, nullptr},
                                         CutRow{"", 0, nullptr}, CutRow{"/", LAST, nullptr},
                                         CutRow{"/a", LAST - 1, nullptr}));

struct RelativizeRow {
    char const* from;
    char const* target;
    char const* result;
};

class PathRelativize : public testing::TestWithParam<RelativizeRow> {};

TEST_P(PathRelativize, LeadsFromTheFirstPathToTheSecond) {
    const RelativizeRow& row = GetParam();
    SCOPED_TRACE(testing::Message() << row.from << " to " << row.target);
    Path path(row.from);
    EXPECT_FALSE(path.relativize(row.target));
    EXPECT_EQ(path.toString(), row.result);
    std::string out = "former";
    EXPECT_FALSE(Path::relativize(row.from, row.target, out));
    EXPECT_EQ(out, row.result);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PathRelativize,
    testing::Values(RelativizeRow{"/a/b/c", "/a/d", "../../d"}, RelativizeRow{"/a", "/a/b", "b"},
                    RelativizeRow{"/a", "/a/b/c", "b/c"}, RelativizeRow{"/a/b", "/a", ".."},
                    RelativizeRow{"/a/b", "/a/b", ""}, RelativizeRow{"/a//b/", "/a/b", ""},
                    RelativizeRow{"/a/b", "a/b", ""}, RelativizeRow{"/a", "/b", "../b"},
                    RelativizeRow{"a", "/b", "../b"}, RelativizeRow{"/", "/a", "a"},
                    RelativizeRow{"", "", ""}, RelativizeRow{"/a", "", ".."},
                    RelativizeRow{"/a/b", "/ab", "../../ab"}, RelativizeRow{"/", "/", ""}));

TEST(PathTest, RelativizeComparesTheTextsFirst) {
    Path path("a");
    ASSERT_FALSE(path.insert("/x", LAST));
    Path same(path);
    EXPECT_FALSE(same.relativize("a//x"));
    EXPECT_EQ(same.toString(), "");
    EXPECT_FALSE(path.relativize("a/x"));
    EXPECT_EQ(path.toString(), "../x");
}

struct MatchRow {
    char const* path;
    char const* pattern;
    bool matches;
};

std::ostream& operator<<(std::ostream& out, const MatchRow& row) {
    return out << row.path << ' ' << row.pattern;
}

class PathMatches : public testing::TestWithParam<MatchRow> {};

TEST_P(PathMatches, IsTrueForEqualTextsAndMatchingGlobs) {
    const MatchRow& row = GetParam();
    kova::test::Reports reports;
    EXPECT_EQ(Path::matches(row.path, row.pattern), row.matches) << row.path << ' ' << row.pattern;
    EXPECT_TRUE(reports.take().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PathMatches,
    testing::Values(MatchRow{"/a/b", "**", true}, MatchRow{"a\nb", "**", true},
                    MatchRow{"[", "[", true}, MatchRow{"a\\", "a\\", true},
                    MatchRow{"/a/b", "/a/b", true}, MatchRow{"/a/b", "/a/*", true},
                    MatchRow{"/a/b/c", "/a/*", false}, MatchRow{"/a/b/c", "/a/**", true},
                    MatchRow{"/a/b", "/a", false}, MatchRow{"[a]", "[a]", true},
                    MatchRow{"", "", true}, MatchRow{"", "*", true}, MatchRow{"a", "", false}));

TEST(PathTest, MalformedPatternIsReportedAndMatchesOnlyItself) {
    kova::test::Reports reports;
    EXPECT_FALSE(Path::matches("/a", "["));
    const auto taken = reports.take();
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_EQ(taken[0].number, kova::errors::RequestFailed);
    EXPECT_EQ(taken[0].reason, "request failed, reason = Unclosed [");
    EXPECT_TRUE(Path::matches("[", "["));
    EXPECT_TRUE(reports.take().empty());
}

TEST(PathTest, NumbersArePrintedInDecimal) {
    EXPECT_EQ(Path::toString(0UL), "0");
    EXPECT_EQ(Path::toString(18446744073709551615UL), "18446744073709551615");
    EXPECT_EQ(Path::toString(-9223372036854775807L - 1), "-9223372036854775808");
    EXPECT_EQ(Path::toString(42L), "42");
}

TEST(PathTest, AbsoluteTextBeginsWithTheSeparator) {
    EXPECT_TRUE(Path::isAbsolute("/"));
    EXPECT_TRUE(Path::isAbsolute("//a"));
    EXPECT_FALSE(Path::isAbsolute(""));
    EXPECT_FALSE(Path::isAbsolute("a/"));
    EXPECT_EQ(Path::absolute(""), "/");
    EXPECT_EQ(Path::absolute("a/b"), "/a/b");
    EXPECT_EQ(Path::absolute("/a"), "/a");
    EXPECT_EQ(Path::absolute("//a/"), "//a/");
}

TEST(PathTest, PartOutputMayBeTheInputPath) {
    std::string path = "/first part/second part of some length/third";
    ASSERT_FALSE(Path::part(path, 1, path));
    EXPECT_EQ(path, "second part of some length");
}

struct SubpathOfTextRow {
    char const* path;
    unsigned long from;
    unsigned long to;
    /// The expected result, or null if the call fails.
    char const* result;
};

class PathSubpathOfText : public testing::TestWithParam<SubpathOfTextRow> {};

TEST_P(PathSubpathOfText, IsAppendedToTheOutputOnlyOnSuccess) {
    const SubpathOfTextRow& row = GetParam();
    std::string out = "former:";
    EXPECT_EQ(Path::subpath(row.path, row.from, row.to, out), row.result == nullptr);
    EXPECT_EQ(out, std::string("former:") + (row.result != nullptr ? row.result : ""));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PathSubpathOfText,
    testing::Values(
        SubpathOfTextRow{"/a/b/c", 0, LAST, "a/b/c"}, SubpathOfTextRow{"//a//b/c/", 1, 2, "b/c"},
        SubpathOfTextRow{"/a/b/c", LAST, LAST, "c"}, SubpathOfTextRow{"/a/b/c", 2, 2, "c"},
        SubpathOfTextRow{"/a/b/c", LAST, 0, nullptr}, SubpathOfTextRow{"/a/b/c", LAST, 2, nullptr},
        SubpathOfTextRow{"a", LAST, 0, nullptr}, SubpathOfTextRow{"/a/b/c", 1, 0, nullptr},
        SubpathOfTextRow{"/a/b/c", 0, 3, nullptr}, SubpathOfTextRow{"/a/b/c", 3, LAST, nullptr},
        SubpathOfTextRow{"/a/b/c", 3, 3, nullptr}, SubpathOfTextRow{"", 0, 0, nullptr},
        SubpathOfTextRow{"", 0, LAST, nullptr}, SubpathOfTextRow{"/", LAST, LAST, nullptr}));

TEST(PathTest, SplitReplacesTheOutput) {
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

class PathWildcard : public testing::TestWithParam<WildcardRow> {};

TEST_P(PathWildcard, HasTheIndexOfItsPart) {
    const WildcardRow& row = GetParam();
    EXPECT_EQ(Path::indexIntoPathFromPattern(row.pattern, row.n), row.index) << row.pattern;
    EXPECT_EQ(Path::indexIntoPathFromPattern(std::string(row.pattern), row.n), row.index)
        << row.pattern;
}

INSTANTIATE_TEST_SUITE_P(Rows, PathWildcard,
                         testing::Values(WildcardRow{"/a/*/b/**", 0, 1},
                                         WildcardRow{"/a/*/b/**", 1, 3},
                                         WildcardRow{"/a/*/b/**", 2, -1},
                                         WildcardRow{"/a/*/b/**", LAST, -1}, WildcardRow{"*", 0, 0},
                                         WildcardRow{"", 0, -1}, WildcardRow{"/a*/***/?", 0, -1},
                                         WildcardRow{"//a//*", 0, 1}));

TEST(PathTest, NullPatternHasNoWildcard) {
    char const* const null = nullptr;
    EXPECT_EQ(Path::indexIntoPathFromPattern(null, 0), -1);
}

struct JoinRow {
    char const* a;
    char const* b;
    char const* joined;
};

class PathJoin : public testing::TestWithParam<JoinRow> {};

TEST_P(PathJoin, HasOneSeparatorBetweenTheTexts) {
    const JoinRow& row = GetParam();
    EXPECT_EQ(Path::join(row.a, row.b), row.joined);
    EXPECT_EQ(Path::join(std::string(row.a), std::string(row.b)), row.joined);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PathJoin,
    testing::Values(JoinRow{"a", "b", "a/b"}, JoinRow{"a/", "b", "a/b"}, JoinRow{"a", "/b", "a/b"},
                    JoinRow{"a/", "/b", "a/b"}, JoinRow{"", "/b", "/b"}, JoinRow{"", "b", "b"},
                    JoinRow{"a", "", "a"}, JoinRow{"a/", "", "a/"}, JoinRow{"", "", ""},
                    JoinRow{"/", "/", "/"}, JoinRow{"/", "b", "/b"}, JoinRow{"a", "/", "a/"},
                    JoinRow{"a//", "//b", "a///b"}, JoinRow{"/a/b/", "c//d/", "/a/b/c//d/"}));

TEST(PathTest, UuidIsJoinedAsItsText) {
    EXPECT_EQ(Path::join("/items/", someUuid()), std::string("/items/") + UUID_TEXT);
    EXPECT_EQ(Path::join(std::string("/items"), someUuid()), std::string("/items/") + UUID_TEXT);
    EXPECT_EQ(Path::join("", someUuid()), UUID_TEXT);
}

TEST(PathTest, NullPointersJoinAsEmptyTexts) {
    char const* const null = nullptr;
    EXPECT_EQ(Path::join(null, "/b"), "/b");
    EXPECT_EQ(Path::join("a", null), "a");
    EXPECT_EQ(Path::join(null, someUuid()), UUID_TEXT);
}

struct ParentRow {
    char const* path;
    char const* parent;
};

class PathParent : public testing::TestWithParam<ParentRow> {};

TEST_P(PathParent, IsThePathWithoutItsLastPart) {
    EXPECT_EQ(Path::parent(GetParam().path), GetParam().parent) << GetParam().path;
}

INSTANTIATE_TEST_SUITE_P(Rows, PathParent,
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

class PathReplacePattern : public testing::TestWithParam<ReplaceRow> {};

TEST_P(PathReplacePattern, ReplacesTheFirstWildcard) {
    const ReplaceRow& row = GetParam();
    EXPECT_EQ(Path::replacePattern(row.pattern, row.replacement), row.result);
}

INSTANTIATE_TEST_SUITE_P(Rows, PathReplacePattern,
                         testing::Values(ReplaceRow{"/x/**/y/*", "v", "/x/v/y/*"},
                                         ReplaceRow{"/x/v/y/*", "w", "/x/v/y/w"},
                                         ReplaceRow{"/x/y", "v", "/x/y"},
                                         ReplaceRow{"***", "v", "v*"}, ReplaceRow{"a*", "", "a"},
                                         ReplaceRow{"*", "**", "**"}, ReplaceRow{"", "v", ""},
                                         ReplaceRow{"/a*b/*", "-", "/a-b/*"}));

TEST(PathTest, ReplacePatternAcceptsPathsAndUuids) {
    EXPECT_EQ(Path::replacePattern("/x/*", Path("a//b")), "/x/a/b");
    EXPECT_EQ(Path::replacePattern("/x/*", someUuid()), std::string("/x/") + UUID_TEXT);
}

// Checks laws with random texts. For example, a static function returns the same for a text as the
// member function for the path of this text.
class PathLaws : public testing::Test {
protected:
    std::string randomText(std::string_view alphabet = "//ab.*") {
        std::string text;
        for (std::size_t length = random_() % 12; text.size() < length;) {
            text += alphabet[random_() % alphabet.size()];
        }
        return text;
    }
    unsigned long randomIndex() { return random_() % 8 == 0 ? LAST : random_() % 6; }

    std::mt19937 random_{20240229};
};

TEST_F(PathLaws, PrintedPathReadsBackUnchanged) {
    for (int i = 0; i < 20000; ++i) {
        const std::string text = randomText();
        const std::string printed = Path(text).toString();
        ASSERT_EQ(Path(printed).toString(), printed) << text;
        ASSERT_EQ(Path::split(printed), Path::split(text)) << text;
        ASSERT_EQ(Path::isAbsolute(printed), Path::isAbsolute(text)) << text;
        ASSERT_EQ(printed.find("//"), std::string::npos) << text;
    }
}

TEST_F(PathLaws, StaticFunctionsAgreeWithMemberFunctions) {
    for (int i = 0; i < 20000; ++i) {
        const std::string text = randomText();
        const std::string other = randomText();
        const unsigned long index = randomIndex();
        SCOPED_TRACE(testing::Message() << text << " , " << other << " , " << index);

        std::string part;
        std::string memberPart;
        ASSERT_EQ(Path::part(text, index, part), Path(text).part(index, memberPart));
        ASSERT_EQ(part, memberPart);

        std::string cut = text;
        Path cutPath(text);
        ASSERT_EQ(Path::cut(cut, index, cut), cutPath.cut(index));
        ASSERT_EQ(Path(cut), cutPath);

        std::string inserted = text;
        Path insertedPath(text);
        ASSERT_EQ(Path::insert(inserted, other, index, inserted),
                  insertedPath.insert(other, index));
        ASSERT_EQ(Path(inserted), Path(insertedPath.toString()));

        std::string relative = text;
        Path relativePath(text);
        ASSERT_EQ(Path::relativize(relative, other, relative), relativePath.relativize(other));
        ASSERT_EQ(relative, relativePath.toString());

        Path lastCut(text);
        const bool hasParent = !lastCut.cut(LAST);
        ASSERT_EQ(Path::parent(text), hasParent ? lastCut.toString() : "");
    }
}

TEST_F(PathLaws, StaticSubpathAgreesWithTheMemberFunction) {
    for (int i = 0; i < 20000; ++i) {
        const std::string text = randomText();
        const unsigned long from = randomIndex();
        const unsigned long to = randomIndex();
        SCOPED_TRACE(testing::Message() << text << " , " << from << " , " << to);
        const std::string expected = to < from ? "" : Path(text).subpath(from, to);
        std::string out;
        ASSERT_EQ(Path::subpath(text, from, to, out), expected.empty());
        ASSERT_EQ(out, expected);
    }
}

TEST_F(PathLaws, JoinedTextHasThePartsOfBothTexts) {
    for (int i = 0; i < 20000; ++i) {
        const std::string a = randomText();
        const std::string b = randomText();
        std::vector<std::string> expected = Path::split(a);
        for (const std::string& part : Path::split(b)) {
            expected.push_back(part);
        }
        ASSERT_EQ(Path::split(Path::join(a, b)), expected) << a << " , " << b;
        ASSERT_EQ(partsOf(Path(a) + Path(b)), expected) << a << " , " << b;
    }
}

TEST_F(PathLaws, RelativePathLeadsToItsTarget) {
    for (int i = 0; i < 20000; ++i) {
        const std::string from = randomText("//ab*");
        const std::string target = randomText("//ab*");
        std::string relative;
        Path::relativize(from, target, relative);
        std::vector<std::string> walked = Path::split(from);
        for (const std::string& part : Path::split(relative)) {
            if (part == "..") {
                ASSERT_FALSE(walked.empty()) << from << " , " << target;
                walked.pop_back();
            } else {
                walked.push_back(part);
            }
        }
        ASSERT_EQ(walked, Path::split(target)) << from << " , " << target;
    }
}

}  // namespace
