#include "JsonNode.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tool/JsonTree.h"

namespace kova::tool {
namespace {

using test::treeOf;

TEST(JsonNodeTest, ValueHasTheTypesThatMatchIt) {
    struct Row {
        char const* json;
        char const* types;
    };
    for (const Row& row : {Row{"null", "null "},
                           {"true", "boolean "},
                           {"3", "integer number "},
                           {"-3", "integer number "},
                           {"3.0", "integer number "},
                           {"3.5", "number "},
                           {"'a'", "string "},
                           {"[]", "array "},
                           {"{}", "object "}}) {
        std::string types;
        for (char const* const name :
             {"null", "boolean", "integer", "number", "string", "array", "object"}) {
            ASSERT_NE(jsonTypeNamed(name), nullptr) << name;
            types += jsonTypeNamed(name)->matches(*treeOf(row.json)) ? std::string(name) + " " : "";
        }
        EXPECT_EQ(types, row.types) << row.json;
    }
    EXPECT_EQ(jsonTypeNamed("text"), nullptr);
}

TEST(JsonNodeTest, OnlyNumbersHaveANumber) {
    EXPECT_EQ(numberOf(*treeOf("-3")), -3.0);
    EXPECT_EQ(numberOf(*treeOf("0.5")), 0.5);
    EXPECT_EQ(numberOf(*treeOf("'1'")), std::nullopt);
}

TEST(JsonNodeTest, IntegersAreComparedExactly) {
    for (const auto& [less, greater] : std::vector<std::pair<char const*, char const*>>{
             {"18446744073709551614", "18446744073709551615"},
             {"9223372036854775807", "9223372036854775808"},
             {"-9223372036854775808", "-9223372036854775807"},
             {"-1", "0"},
             {"-1", "18446744073709551615"},
             {"0.5", "1"},
             {"-1", "-0.5"},
             {"1e300", "1e301"}}) {
        EXPECT_TRUE(isLess(*treeOf(less), *treeOf(greater))) << less;
        EXPECT_FALSE(isLess(*treeOf(greater), *treeOf(less))) << less;
        EXPECT_FALSE(isLess(*treeOf(less), *treeOf(less))) << less;
    }
    EXPECT_FALSE(isLess(*treeOf("1"), *treeOf("'2'")));
    EXPECT_FALSE(isLess(*treeOf("'1'"), *treeOf("2")));
}

TEST(JsonNodeTest, OtherNodesHaveAnEmptyText) {
    EXPECT_EQ(textOf(*treeOf("'blue'")), "blue");
    EXPECT_EQ(textOf(*treeOf("1")), "");
}

TEST(JsonNodeTest, MessagesShowScalarsAndTheTypesOfContainers) {
    EXPECT_EQ(shown(*treeOf("'blue'")), "\"blue\"");
    EXPECT_EQ(shown(*treeOf("17")), "17");
    EXPECT_EQ(shown(*treeOf("[1]")), "an array");
    EXPECT_EQ(shown(*treeOf("{}")), "an object");
    EXPECT_EQ(shown(util::config::Value::getUndefined()), "nothing");
    EXPECT_EQ(shown(*treeOf("'" + std::string(100, 'a') + "'")), "\"" + std::string(58, 'a') + "…");
}

TEST(JsonNodeTest, IndexesAreDecimalDigits) {
    EXPECT_EQ(indexOf("12"), 12U);
    for (char const* const text : {"", "-1", "1a", "99999999999999999999"}) {
        EXPECT_EQ(indexOf(text), std::nullopt) << text;
    }
}

TEST(JsonNodeTest, PlacesHaveMembersAndElements) {
    EXPECT_EQ(placeOf("", "level"), "level");
    EXPECT_EQ(placeOf("volume", "level"), "volume.level");
    EXPECT_EQ(placeOf("", 2), "[2]");
    EXPECT_EQ(placeOf("tracks", 2), "tracks[2]");
}

}  // namespace
}  // namespace kova::tool
