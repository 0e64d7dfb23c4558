#include "datatypes/PathReader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kova::detail {
namespace {

std::vector<std::string> partsOf(std::string_view text) {
    std::vector<std::string> parts;
    PathReader reader(text);
    for (std::string_view part; reader.next(part);) {
        parts.emplace_back(part);
    }
    return parts;
}

TEST(PathReaderTest, EmptyPiecesAreSkipped) {
    using Parts = std::vector<std::string>;
    EXPECT_EQ(partsOf("a"), Parts{"a"});
    EXPECT_EQ(partsOf("/a/b"), (Parts{"a", "b"}));
    EXPECT_EQ(partsOf("//a///b//"), (Parts{"a", "b"}));
    EXPECT_EQ(partsOf(""), Parts{});
    EXPECT_EQ(partsOf("///"), Parts{});
}

TEST(PathReaderTest, EachReadAfterTheLastPartYieldsAnEmptyPart) {
    PathReader reader("a/");
    std::string_view part;
    ASSERT_TRUE(reader.next(part));
    for (int i = 0; i < 2; ++i) {
        part = "former";
        EXPECT_FALSE(reader.next(part));
        EXPECT_EQ(part, "");
    }
}

TEST(PathReaderTest, PartsAreViewsOfTheText) {
    const std::string text = "/first/second";
    PathReader reader(text);
    std::string_view part;
    ASSERT_TRUE(reader.next(part));
    EXPECT_EQ(part.data(), text.data() + 1);
    ASSERT_TRUE(reader.next(part));
    EXPECT_EQ(part.data(), text.data() + 7);
}

}  // namespace
}  // namespace kova::detail
