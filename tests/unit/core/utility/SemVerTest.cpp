#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "kova/core/SemVer.h"
#include "support/Traces.h"

namespace {

using kova::semver::getMostBackwardCompatible;
using kova::semver::getMostCompatible;
using kova::semver::getMostCompatibleVector;
using kova::semver::SemVer;
using kova::semver::toSemVer;
using kova::test::Traces;

using Texts = std::vector<std::string>;
using Result = std::optional<std::string>;
using TraceList = std::vector<Traces::Trace>;

constexpr char const* CHANNEL = "KOVA_SEMVERCHECKER";
constexpr std::uint32_t HIGHEST = 4294967295U;

// Returns the trace messages of a call up to the given level.
template <typename Call>
TraceList tracesOf(int level, const Call& call) {
    Traces traces(CHANNEL, level);
    call();
    return traces.take();
}

Traces::Trace converted(const std::string& text, const std::string& numbers,
                        const std::string& branch = "") {
    return {0, "[toSemVer] Converted " + text + " to SemVer: " + numbers + ", branch: " + branch};
}

// ---------------------------------------------------------------------------------- parsing

struct AcceptRow {
    std::string text;
    std::uint32_t major, minor, patch;
    std::string branch;
};

std::ostream& operator<<(std::ostream& out, const AcceptRow& row) {
    return out << "'" << row.text << "'";
}

class ToSemVerTest : public testing::TestWithParam<AcceptRow> {};

TEST_P(ToSemVerTest, ParsesEveryAcceptedForm) {
    const AcceptRow& row = GetParam();
    const auto version = toSemVer(row.text);
    ASSERT_TRUE(version.has_value());
    EXPECT_EQ(std::tie(version->major, version->minor, version->patch, version->branch),
              std::tie(row.major, row.minor, row.patch, row.branch));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ToSemVerTest,
    testing::Values(AcceptRow{"1.2.3", 1, 2, 3, ""}, AcceptRow{"1.2.3@", 1, 2, 3, ""},
                    AcceptRow{"1.2.3@dev", 1, 2, 3, "dev"}, AcceptRow{"0.4.2", 0, 4, 2, ""},
                    AcceptRow{"0.0.0", 0, 0, 0, ""}, AcceptRow{"1x.2y.3z@b", 1, 2, 3, "b"},
                    AcceptRow{" 1.\t2.\n3 @ b ", 1, 2, 3, " b "},
                    AcceptRow{"\v1.\f2.\r3", 1, 2, 3, ""}, AcceptRow{"+1.+2.+3", 1, 2, 3, ""},
                    AcceptRow{"-1.-2.-0", HIGHEST, HIGHEST - 1, 0, ""},
                    AcceptRow{"007.0x10.1e3", 7, 0, 1, ""}, AcceptRow{"1@a.2.3", 1, 2, 3, ""},
                    AcceptRow{"1.2@a.3", 1, 2, 3, ""}, AcceptRow{"1 2.3 4.5 6", 1, 3, 5, ""},
                    AcceptRow{"4294967295.4294967296.4294967297", HIGHEST, 0, 1, ""},
                    AcceptRow{"999999999.0999999999.1000000000", 999999999, 999999999, 1000000000,
                              ""},
                    AcceptRow{"18446744073709551615.-18446744073709551615.1", HIGHEST, 1, 1, ""},
                    AcceptRow{std::string("1\0.2.3@\0x", 9), 1, 2, 3, std::string("\0x", 2)}));

struct RejectRow {
    std::string text;
    std::string message;
};

std::ostream& operator<<(std::ostream& out, const RejectRow& row) {
    return out << "'" << row.text << "'";
}

class SemVerRejects : public testing::TestWithParam<RejectRow> {};

TEST_P(SemVerRejects, ReturnsNothingAndTracesTheReason) {
    const RejectRow& row = GetParam();
    std::optional<SemVer> version;
    const auto traces = tracesOf(0, [&] { version = toSemVer(row.text); });
    EXPECT_FALSE(version.has_value());
    EXPECT_EQ(traces, (TraceList{{3, "[toSemVer] " + row.message}}));
}

const std::string UNPARSABLE = "Tokenized string does not contain parsable numbers: stoul";

INSTANTIATE_TEST_SUITE_P(
    Rows, SemVerRejects,
    testing::Values(
        RejectRow{"", "Version string is empty"},
        RejectRow{"1", "Found 0 version separators '.' in input '1' but expected 2"},
        RejectRow{"1.2", "Found 1 version separators '.' in input '1.2' but expected 2"},
        RejectRow{"1.2.3.4", "Found 3 version separators '.' in input '1.2.3.4' but expected 2"},
        RejectRow{"1.2.3@a.b",
                  "Found 3 version separators '.' in input '1.2.3@a.b' but expected 2"},
        RejectRow{"1.2@a@b", "Found 1 version separators '.' in input '1.2@a@b' but expected 2"},
        RejectRow{"1.2.3@a@b",
                  "Found 2 branch separators '@' in input '1.2.3@a@b' but expected at most 1"},
        RejectRow{"@1.2.3@@",
                  "Found 3 branch separators '@' in input '@1.2.3@@' but expected at "
                  "most 1"},
        RejectRow{"..", UNPARSABLE}, RejectRow{".2.3", UNPARSABLE}, RejectRow{"1..3", UNPARSABLE},
        RejectRow{"1.2.", UNPARSABLE}, RejectRow{"1.2.@dev", UNPARSABLE},
        RejectRow{"a.2.3", UNPARSABLE}, RejectRow{"@1.2.3", UNPARSABLE},
        RejectRow{"- 1.2.3", UNPARSABLE}, RejectRow{"--1.2.3", UNPARSABLE},
        RejectRow{"+-1.2.3", UNPARSABLE}, RejectRow{"-.2.3", UNPARSABLE},
        RejectRow{"\xC2\xA0"
                  "1.2.3",
                  UNPARSABLE},
        RejectRow{std::string("\0001.2.3", 6), UNPARSABLE},
        RejectRow{"1.2.18446744073709551616", UNPARSABLE},
        RejectRow{"1.2.-18446744073709551616", UNPARSABLE},
        RejectRow{"1." + std::string(100000, '9') + ".3", UNPARSABLE}));

// Returns the low 32 bits of the number that strtoul reads from a token.
std::optional<std::uint32_t> standardNumber(const std::string& token) {
    try {
        return static_cast<std::uint32_t>(std::stoul(token));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

TEST(SemVerTest, NumbersAreParsedLikeStrtoul) {
    const std::string alphabet = " \t+-09x";
    Texts tokens = {""};
    for (std::size_t i = 0; tokens[i].size() < 5; ++i) {
        for (const char c : alphabet) {
            tokens.push_back(tokens[i] + c);
        }
    }
    for (const std::string& token : tokens) {
        const auto expected = standardNumber(token);
        const auto version = toSemVer("1.2." + token);
        ASSERT_EQ(version.has_value(), expected.has_value()) << "'" << token << "'";
        if (version) {
            ASSERT_EQ(version->patch, *expected) << "'" << token << "'";
        }
    }
}

TEST(SemVerTest, ParsedVersionIsTraced) {
    EXPECT_EQ(tracesOf(0, [] { (void)toSemVer("1.2.3@dev"); }),
              (TraceList{converted("1.2.3@dev", "major: 1, minor: 2, patch: 3", "dev")}));
}

TEST(SemVerTest, ComparisonsPromotePrereleasesAndTraceThePromotion) {
    const auto traces =
        tracesOf(0, [] { EXPECT_EQ(getMostCompatible("0.4.2", "4.2.0"), "0.4.2"); });
    EXPECT_EQ(traces, (TraceList{{2,
                                  "[toSemVer] Promoting prerelease version '0.4.2' to release "
                                  "version '4.2.0'"},
                                 converted("0.4.2", "major: 4, minor: 2, patch: 0"),
                                 converted("4.2.0", "major: 4, minor: 2, patch: 0"),
                                 {1, "[getMostCompatible] Found perfect version match: 0.4.2"}}));
}

TEST(SemVerTest, ToStringPrintsTheNumbersAndTheBranch) {
    EXPECT_EQ((SemVer{3, 1, 0, "x"}.toString()), "3.1.0@x");
    EXPECT_EQ((SemVer{3, 1, 0, ""}.toString()), "3.1.0");
    EXPECT_EQ((SemVer{HIGHEST, 0, HIGHEST, ""}.toString()), "4294967295.0.4294967295");
}

TEST(SemVerTest, OrderIgnoresTheBranch) {
    const std::vector<SemVer> ascending = {
        {1, 2, 3, ""}, {1, 2, 4, ""}, {1, 3, 0, ""}, {2, 0, 0, ""}};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << " and " << j;
        }
    }
    EXPECT_EQ((std::set<SemVer>{{1, 2, 3, "a"}, {1, 2, 3, "b"}}).size(), 1U);
}

// ----------------------------------------------------------------------- one offered version

struct PairRow {
    std::string wanted, offered;
    Result forward, backward;
};

std::ostream& operator<<(std::ostream& out, const PairRow& row) {
    return out << "'" << row.wanted << "' and '" << row.offered << "'";
}

class SemVerPairs : public testing::TestWithParam<PairRow> {};

TEST_P(SemVerPairs, ReturnTheOfferedVersionIfItIsCompatible) {
    const PairRow& row = GetParam();
    EXPECT_EQ(getMostCompatible(row.wanted, row.offered), row.forward);
    EXPECT_EQ(getMostBackwardCompatible(row.wanted, row.offered), row.backward);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SemVerPairs,
    testing::Values(
        PairRow{"2.3.0", "2.1.0", "2.1.0", {}}, PairRow{"2.3.0", "2.4.0", "2.4.0", "2.4.0"},
        PairRow{"2.3.0", "2.3.0", "2.3.0", "2.3.0"}, PairRow{"2.3.5", "2.3.1", "2.3.1", "2.3.1"},
        PairRow{" 2.3.0", "2.3.0x", " 2.3.0", " 2.3.0"},
        PairRow{"2.3.1", "2.3.0x", "2.3.0x", "2.3.0x"},
        PairRow{"2.3.0@a", "2.4.0@a", "2.4.0@a", "2.4.0@a"},
        PairRow{"2.3.0@", "2.3.0", "2.3.0@", "2.3.0@"}, PairRow{"0.4.2", "4.3.7", "4.3.7", "4.3.7"},
        PairRow{"0.4.2", "0.4.1", "0.4.1", {}}, PairRow{"0.0.5", "0.0.5", "0.0.5", "0.0.5"},
        PairRow{"2.3.0", "3.3.0", {}, {}}, PairRow{"2.3.0", "2.3.0@a", {}, {}},
        PairRow{"", "2.3.0", {}, {}}, PairRow{"2.3.0", "", {}, {}}, PairRow{"2.3", "2.3.0", {}, {}},
        PairRow{"2.3.0", "2.3", {}, {}}));

struct PairTraceRow {
    std::string wanted, offered;
    TraceList traces;
};

std::ostream& operator<<(std::ostream& out, const PairTraceRow& row) {
    return out << "'" << row.wanted << "' and '" << row.offered << "'";
}

class SemVerPairTraces : public testing::TestWithParam<PairTraceRow> {};

TEST_P(SemVerPairTraces, ExplainTheChoiceForAPairOfVersions) {
    const PairTraceRow& row = GetParam();
    EXPECT_EQ(tracesOf(1, [&] { (void)getMostBackwardCompatible(row.wanted, row.offered); }),
              row.traces);
}

const Traces::Trace TOO_SHORT = {
    3, "[toSemVer] Found 0 version separators '.' in input 'x' but expected 2"};

INSTANTIATE_TEST_SUITE_P(
    Rows, SemVerPairTraces,
    testing::Values(
        PairTraceRow{"",
                     "2.3.0",
                     {{2,
                       "[getMostCompatible] One or more of the inputs are empty. wantedVersion: , "
                       "inputVersion: 2.3.0"}}},
        PairTraceRow{"2.3.0",
                     "",
                     {{2,
                       "[getMostCompatible] One or more of the inputs are empty. wantedVersion: "
                       "2.3.0, inputVersion: "}}},
        PairTraceRow{"x",
                     "x",
                     {TOO_SHORT,
                      TOO_SHORT,
                      {2, "[getMostCompatible] Conversion to SemVer was unsuccessful"}}},
        PairTraceRow{"2.3.0",
                     "x",
                     {TOO_SHORT, {2, "[getMostCompatible] Conversion to SemVer was unsuccessful"}}},
        PairTraceRow{
            "2.3.0", "2.3.00", {{1, "[getMostCompatible] Found perfect version match: 2.3.0"}}},
        PairTraceRow{
            "2.3.0", "2.4.00", {{1, "[getMostCompatible] Found compatible version: 2.4.00"}}},
        PairTraceRow{"2.3.0",
                     "2.1.0",
                     {{2,
                       "[getMostCompatible Backward Only] Minor version incompatiblity. Wanted: 3 "
                       "> input 1"}}},
        PairTraceRow{
            "2.3.0@a",
            "4.3.0@b",
            {{2, "[getMostCompatible] Major or branch mismatch. Wanted: 2 a, input 4 b"}}}));

// ------------------------------------------------------------------ several offered versions

struct ListRow {
    std::string wanted;
    Texts offered;
    Result forward, backward;
};

std::ostream& operator<<(std::ostream& out, const ListRow& row) {
    return out << "'" << row.wanted << "' of " << testing::PrintToString(row.offered);
}

class SemVerLists : public testing::TestWithParam<ListRow> {};

TEST_P(SemVerLists, ReturnTheBestVersion) {
    const ListRow& row = GetParam();
    EXPECT_EQ(getMostCompatible(row.wanted, row.offered, false), row.forward);
    EXPECT_EQ(getMostCompatible(row.wanted, row.offered), row.forward);
    EXPECT_EQ(getMostCompatible(row.wanted, row.offered, true), row.backward);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SemVerLists,
    testing::Values(
        ListRow{"2.3.0", {"2.1.0", "2.4.1", "2.5.0"}, "2.4.1", "2.4.1"},
        ListRow{"2.3.0", {"2.5.0", "2.4.1", "2.1.0"}, "2.4.1", "2.4.1"},
        ListRow{"2.3.0", {"2.3.0"}, "2.3.0", "2.3.0"},
        ListRow{"2.3.0x", {"2.5.0", "2.3.0"}, "2.3.0x", "2.3.0x"},
        ListRow{"2.3.5", {"2.3.1", "2.3.4"}, "2.3.4", "2.3.4"},
        ListRow{"2.3.5", {"2.3.4", "2.3.6", "2.3.7"}, "2.3.6", "2.3.6"},
        ListRow{"2.3.0", {"2.1.0", "2.2.0"}, "2.2.0", {}}, ListRow{"2.3.0", {"3.3.0"}, {}, {}},
        ListRow{"2.3.0", {"2.3.0@a", "2.4.0@b"}, {}, {}},
        ListRow{"2.3.0@a", {"2.4.0@b", "2.5.0@a", "2.3.0"}, "2.5.0@a", "2.5.0@a"},
        // For a wanted minor number of 0 only the highest version is chosen.
        ListRow{"2.0.5", {"2.0.1"}, "2.0.1", {}}, ListRow{"2.0.5", {"2.0.6"}, "2.0.6", {}},
        ListRow{"2.0.5", {"2.1.0", "2.4294967295.4294967295"}, "2.4294967295.4294967295", {}},
        ListRow{"2.0.5", {"2.1.0", "2.0.5", "2.2.0"}, "2.0.5", "2.0.5"},
        // Prereleases are compared and returned promoted.
        ListRow{"5.0.0", {"0.5.1"}, "5.1.0", {}}, ListRow{"0.5.1", {"0.5.1"}, "0.5.1", "0.5.1"},
        ListRow{"0.5.1", {"0.5.2@", "0.5.0"}, "5.2.0", "5.2.0"},
        ListRow{"0.5.1@dev", {"0.5.2@dev"}, "5.2.0@dev", "5.2.0@dev"},
        // An offered version is returned as it was parsed.
        ListRow{"2.3.0", {" 2.4x.1y"}, "2.4.1", "2.4.1"},
        ListRow{"2.3.0", {"", "x", "2.4.0", "2.a.0"}, "2.4.0", "2.4.0"},
        ListRow{"2.3.0", {"2.4.0", "2.4.0", "2.4.0"}, "2.4.0", "2.4.0"},
        ListRow{"", {"2.3.0"}, {}, {}}, ListRow{"2.3.0", {}, {}, {}},
        ListRow{"x", {"2.3.0"}, {}, {}}));

struct ListTraceRow {
    std::string wanted;
    Texts offered;
    TraceList traces;
};

std::ostream& operator<<(std::ostream& out, const ListTraceRow& row) {
    return out << "'" << row.wanted << "' of " << testing::PrintToString(row.offered);
}

class SemVerListTraces : public testing::TestWithParam<ListTraceRow> {};

TEST_P(SemVerListTraces, ExplainTheChoiceFromAList) {
    const ListTraceRow& row = GetParam();
    EXPECT_EQ(tracesOf(1, [&] { (void)getMostCompatible(row.wanted, row.offered, true); }),
              row.traces);
}

const Traces::Trace NO_MATCH = {2, "[getMostCompatible] No matching version found"};

INSTANTIATE_TEST_SUITE_P(
    Rows, SemVerListTraces,
    testing::Values(
        ListTraceRow{"",
                     {"x", "y"},
                     {{2,
                       "[getMostCompatible] One or more of the inputs are empty. wantedVersion: , "
                       "inputVersion size: 2"}}},
        ListTraceRow{"x",
                     {},
                     {{2,
                       "[getMostCompatible] One or more of the inputs are empty. wantedVersion: x, "
                       "inputVersion size: 0"}}},
        ListTraceRow{"x",
                     {"2.3.0"},
                     {TOO_SHORT,
                      {2,
                       "[getMostCompatible] Conversion to SemVer was unsuccessful for the wanted "
                       "version x"}}},
        ListTraceRow{"2.3.0",
                     {"x", ""},
                     {TOO_SHORT,
                      {2,
                       "[getMostCompatible] Conversion to SemVer was unsuccessful for input "
                       "version entry x"},
                      {3, "[toSemVer] Version string is empty"},
                      {2,
                       "[getMostCompatible] Conversion to SemVer was unsuccessful for input "
                       "version entry "},
                      NO_MATCH}},
        ListTraceRow{"2.3.0", {"2.2.0"}, {NO_MATCH}},
        ListTraceRow{"2.3.0x",
                     {"2.4.0", "2.3.0"},
                     {{1, "[getMostCompatible] Found perfect version match: 2.3.0x"}}},
        ListTraceRow{"5.0.1",
                     {"5.0.1@dev", "0.5.2"},
                     {{2,
                       "[toSemVer] Promoting prerelease version '0.5.2' to release version "
                       "'5.2.0'"},
                      NO_MATCH}},
        ListTraceRow{
            "2.3.0", {"2.4.0x"}, {{1, "[getMostCompatible] Found compatible version: 2.4.0"}}}));

TEST(SemVerTest, FirstWantedVersionWithAMatchIsChosen) {
    EXPECT_EQ(getMostCompatible(Texts{"4.0.0", "3.1.0", "2.3.0"}, Texts{"2.4.0", "3.2.0"}),
              "3.2.0");
}

TEST(SemVerTest, MissingMatchForAllWantedVersionsIsTraced) {
    Result result;
    EXPECT_EQ(tracesOf(1,
                       [&] {
                           result = getMostCompatible(Texts{"4.0.0", "5.0.0"}, Texts{"2.4.0"});
                       }),
              (TraceList{NO_MATCH, NO_MATCH, NO_MATCH}));
    EXPECT_EQ(result, std::nullopt);
    EXPECT_EQ(tracesOf(1, [&] { result = getMostCompatible(Texts{}, Texts{"2.4.0"}); }),
              TraceList{NO_MATCH});
    EXPECT_EQ(result, std::nullopt);
}

TEST(SemVerTest, GetMostCompatibleVectorKeepsOrderAndDuplicates) {
    Texts matches;
    const auto traces = tracesOf(1, [&] {
        matches =
            getMostCompatibleVector({"3.1.0", "4.0.0", "2.3.0", "3.2.0x"}, {"2.4.0", "3.2.0"});
    });
    EXPECT_EQ(matches, (Texts{"3.2.0", "2.4.0", "3.2.0x"}));
    EXPECT_EQ(traces.back(),
              (Traces::Trace{1,
                             "[getMostCompatibleVector] Found compatible versions: 3.2.0, 2.4.0, "
                             "3.2.0x"}));
    EXPECT_EQ(getMostCompatibleVector({"2.3.0", "2.3.0"}, {"2.4.0"}), (Texts{"2.4.0", "2.4.0"}));
}

TEST(SemVerTest, EmptyResultOfGetMostCompatibleVectorIsTraced) {
    Texts matches{"untouched"};
    EXPECT_EQ(tracesOf(1, [&] { matches = getMostCompatibleVector({"3.1.0"}, {"2.4.0"}); }),
              (TraceList{NO_MATCH, {2, "[getMostCompatibleVector] No matching version found"}}));
    EXPECT_EQ(matches, Texts{});
}

TEST(SemVerTest, TraceChannelIsSharedAndInitiallySilent) {
    EXPECT_EQ(Traces(CHANNEL, 0).opened(), 1U);
    Traces traces("KOVA_OTHER*", 0);
    (void)toSemVer("x");
    EXPECT_EQ(traces.take(), TraceList{});
}

// ---------------------------------------------------------------- against a plain implementation

// Returns the best version of a list, computed with an ordered set.
Result chooseFromSet(const SemVer& wanted, const std::vector<SemVer>& offered, bool backwardOnly) {
    std::set<SemVer> candidates;
    for (const SemVer& version : offered) {
        if (version.major == wanted.major && version.branch == wanted.branch) {
            candidates.insert(version);
        }
    }
    if (candidates.empty()) {
        return std::nullopt;
    }
    if (candidates.count(wanted) > 0) {
        return wanted.toString();
    }
    const SemVer below{wanted.major, wanted.minor - 1, HIGHEST, ""};
    if (candidates.upper_bound(below) != candidates.end()) {
        const auto above = candidates.upper_bound(wanted);
        return above != candidates.end() ? above->toString() : candidates.rbegin()->toString();
    }
    return backwardOnly ? std::nullopt : Result(candidates.rbegin()->toString());
}

TEST(SemVerTest, GetMostCompatibleAgreesWithASearchInAnOrderedSet) {
    std::vector<SemVer> pool = {{2, 0, 0, "b"}};
    for (std::uint32_t minor = 0; minor < 3; ++minor) {
        for (std::uint32_t patch = 0; patch < 3; ++patch) {
            pool.push_back({1, minor, patch, ""});
        }
    }
    for (const SemVer& wanted : pool) {
        for (unsigned int subset = 1; subset < 1U << pool.size(); ++subset) {
            std::vector<SemVer> offered;
            Texts texts;
            for (std::size_t i = 0; i < pool.size(); ++i) {
                if ((subset >> i & 1U) != 0) {
                    offered.push_back(pool[i]);
                    texts.push_back(pool[i].toString());
                }
            }
            for (const bool backwardOnly : {false, true}) {
                ASSERT_EQ(getMostCompatible(wanted.toString(), texts, backwardOnly),
                          chooseFromSet(wanted, offered, backwardOnly))
                    << wanted.toString() << " of " << testing::PrintToString(texts);
            }
        }
    }
}

}  // namespace
