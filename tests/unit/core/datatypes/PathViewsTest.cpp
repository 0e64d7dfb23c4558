#include "datatypes/PathViews.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kova::detail {
namespace {

/// Returns every text of up to `longest` characters of an alphabet.
std::vector<std::string> textsOf(const std::string& alphabet, std::size_t longest) {
    std::vector<std::string> texts{""};
    for (std::size_t from = 0, size = 1; size <= longest; ++size) {
        for (const std::size_t to = texts.size(); from < to; ++from) {
            for (const char c : alphabet) {
                texts.push_back(texts[from] + c);
            }
        }
    }
    return texts;
}

TEST(PathViewsTest, TrailingSeparatorsAfterTheFirstCharacterAreRemoved) {
    const struct {
        char const* path;
        char const* expected;
    } rows[] = {{"/a/b//", "/a/b"}, {"/", "/"}, {"//", "//"},    {"a/", "a/"},
                {"/a", "/a"},       {"a", "a"}, {"//a/", "//a"}, {"", ""}};
    for (const auto& row : rows) {
        EXPECT_EQ(withoutTrailingSeparators(row.path), row.expected) << row.path;
    }
}

TEST(PathViewsTest, FirstCharacterIsNotATrailingSeparator) {
    for (char const* const path : {"a/", "//", "/a/"}) {
        EXPECT_TRUE(hasTrailingSeparator(path)) << path;
    }
    for (char const* const path : {"", "/", "a", "/a"}) {
        EXPECT_FALSE(hasTrailingSeparator(path)) << path;
    }
}

TEST(PathViewsTest, AdjacentSeparatorsFormAnEmptySegment) {
    for (char const* const path : {"//", "a//", "//a", "/a//b"}) {
        EXPECT_TRUE(hasEmptySegment(path)) << path;
    }
    for (char const* const path : {"", "/", "a/", "/a/b/"}) {
        EXPECT_FALSE(hasEmptySegment(path)) << path;
    }
}

TEST(PathViewsTest, EmptySegmentIsFoundAnywhereInAText) {
    // In ASCII, "." is the character before "/", and "0" is the one after it.
    const std::vector<std::string> parts = textsOf("./0", 4);
    for (const std::string& part : parts) {
        const bool isEmpty = part.find("//") != std::string::npos;
        for (std::size_t before = 0; before <= 16; ++before) {
            for (const std::size_t after : {0U, 1U, 7U, 8U}) {
                const std::string text = std::string(before, '.') + part + std::string(after, '.');
                ASSERT_EQ(hasEmptySegment(text), isEmpty) << text;
            }
        }
    }
}

TEST(PathViewsTest, ParentAgreesWithPath) {
    for (const std::string& text : textsOf("ab/", 5)) {
        const std::string path = Path(text).toString();
        EXPECT_EQ(parentPath(path), Path::parent(path)) << path;
    }
}

TEST(PathViewsTest, RelativePathAgreesWithPath) {
    const std::vector<std::string> texts = textsOf("ab/", 5);
    ASSERT_EQ(texts.size(), 364U);
    for (const std::string& from : texts) {
        for (const std::string& target : texts) {
            std::string expected;
            Path::relativize(from, target, expected);
            ASSERT_EQ(relativePath(from, target), expected)
                << "'" << from << "' '" << target << "'";
        }
    }
}

}  // namespace
}  // namespace kova::detail
