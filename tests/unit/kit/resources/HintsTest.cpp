#include "resources/Hints.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace kova::kit::detail {
namespace {

using Texts = std::vector<std::string_view>;

TEST(HintsTest, MostSimilarTextHasTheSmallestDistance) {
    EXPECT_EQ(mostSimilar("stat", {"volume", "state", "status"}), "state");
    EXPECT_EQ(mostSimilar("voluem", {"volume", "state"}), "volume");
    EXPECT_EQ(mostSimilar("state", {"state"}), "state");
}

TEST(HintsTest, TextsThatDifferMuchAreNotSimilar) {
    EXPECT_EQ(mostSimilar("x", {"state", "volume"}), "");
    EXPECT_EQ(mostSimilar("xyz", {"abc"}), "");
    EXPECT_EQ(mostSimilar("", {"", "a"}), "") << "a text whose every character is new";
    EXPECT_EQ(mostSimilar("a", {}), "");
}

TEST(HintsTest, LongTextsAreNotCompared) {
    const std::string text(65, 'a');
    EXPECT_EQ(mostSimilar(text, {text}), "");
    const std::string longest(64, 'a');
    EXPECT_EQ(mostSimilar(longest, {longest, text}), longest);
}

TEST(HintsTest, EnumerateOmitsRepeatedTexts) {
    EXPECT_EQ(enumerate({}), "");
    EXPECT_EQ(enumerate({"b", "a", "b", "c", "a"}), "b, a, c");
}

}  // namespace
}  // namespace kova::kit::detail
