// Every source has a test file at the same place below tests/unit, or CONTRIBUTING.md names its
// tests.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <regex>
#include <string>
#include <utility>

#include "support/Documents.h"

namespace kova::test {
namespace {

// Returns the test file of a source. Returns nothing for a source that is not part of a library or
// of the larger example.
std::optional<std::string> testFileOf(const std::string& source) {
    static const std::pair<std::regex, char const*> PLACES[] = {
        {std::regex("src/(.*)\\.cpp"), "tests/unit/$1Test.cpp"},
        {std::regex("platform/([a-z]+)/src/(.*)\\.cpp"), "tests/unit/platform/$1/$2Test.cpp"},
        {std::regex("examples/(device_service/.*)\\.cpp"), "tests/integration/$1Test.cpp"}};
    for (const auto& [pattern, place] : PLACES) {
        if (std::regex_match(source, pattern)) {
            return std::regex_replace(source, pattern, place);
        }
    }
    return std::nullopt;
}

bool exists(const std::string& file) {
    return std::filesystem::exists(std::filesystem::path(KOVA_SOURCE_DIR) / file);
}

// Returns the sources that CONTRIBUTING.md lists, with the files that test them.
std::map<std::string, std::string> listedSources() {
    std::map<std::string, std::string> sources;
    for (const auto& row :
         rowsOf(read("CONTRIBUTING.md"), "### Sources without a test file of their own")) {
        EXPECT_EQ(row.size(), 2U) << row[0];
        sources[row[0].substr(1, row[0].size() - 2)] = row[1];
    }
    return sources;
}

TEST(TestFilesTest, EverySourceHasATestFileOrIsListedInContributing) {
    const auto listed = listedSources();
    std::size_t found = 0;
    for (char const* const folder : {"src", "platform", "examples/device_service"}) {
        for (const std::string& source : filesBelow(folder, ".cpp")) {
            const auto test = testFileOf(source);
            if (test && exists(*test)) {
                ++found;
                EXPECT_EQ(listed.count(source), 0U) << source << " has the test file " << *test;
            } else if (test) {
                EXPECT_EQ(listed.count(source), 1U) << source << " has neither the test file "
                                                    << *test << " nor a row in CONTRIBUTING.md";
            }
        }
    }
    EXPECT_GT(found, 80U);
}

TEST(TestFilesTest, ListedSourcesAndTestFilesExist) {
    const std::regex name("`([^`]+)`");
    for (const auto& [source, tests] : listedSources()) {
        EXPECT_TRUE(exists(source)) << source;
        EXPECT_TRUE(std::regex_search(tests, name)) << source;
        for (std::sregex_iterator at(tests.begin(), tests.end(), name), end; at != end; ++at) {
            EXPECT_TRUE(exists("tests/" + (*at)[1].str())) << source << ": " << (*at)[1];
        }
    }
}

}  // namespace
}  // namespace kova::test
