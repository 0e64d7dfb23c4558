#include "inspection/SchemaPool.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "kova/kit/Schema.h"

namespace kova::kit::detail {
namespace first {

struct Item {
    int size = 0;
};
KOVA_FIELDS(Item, size)
struct Holder {
    Item item;
};
KOVA_FIELDS(Holder, item)
struct Tree {
    std::vector<Tree> children;
};
KOVA_FIELDS(Tree, children)

}  // namespace first
namespace second {

struct Item {
    bool on = false;
};
KOVA_FIELDS(Item, on)
struct Holder {
    Item item;
};
KOVA_FIELDS(Holder, item)
struct Strange {
    int value = 0;
};
KOVA_FIELDS(Strange, named("a \"b\"<script>\xC3\xA4"), value)

}  // namespace second

namespace {

std::string textOf(const Payload& payload) {
    std::string text;
    EXPECT_FALSE(Payload::createStringFrom(payload, text, true));
    return text;
}

std::vector<std::string> namesOf(const SchemaPool& pool) {
    std::vector<std::string> names;
    for (const auto& component : pool.components()) {
        names.push_back(component.first);
    }
    return names;
}

using Names = std::vector<std::string>;

TEST(SchemaPoolTest, DialectIsRemovedFromASchemaWithoutDefinitions) {
    SchemaPool pool;
    EXPECT_EQ(textOf(pool.add(schemaOf<bool>())), R"({"type":"boolean"})");
    EXPECT_EQ(textOf(pool.add(schemaOf<Payload>())), "{}");
    EXPECT_TRUE(pool.components().empty());
}

TEST(SchemaPoolTest, DefinitionsBecomeComponents) {
    SchemaPool pool;
    EXPECT_EQ(textOf(pool.add(schemaOf<std::vector<first::Holder>>())),
              R"({"items":{"$ref":"#/components/schemas/Holder"},"type":"array"})");
    EXPECT_EQ(namesOf(pool), (Names{"Holder", "Item"}));
    EXPECT_NE(textOf(pool.components().at("Holder")).find(R"("#/components/schemas/Item")"),
              std::string::npos);
}

TEST(SchemaPoolTest, TypeUsedBySeveralSchemasIsCollectedOnce) {
    SchemaPool pool;
    pool.add(schemaOf<first::Holder>());
    pool.add(schemaOf<std::optional<first::Holder>>());
    EXPECT_EQ(textOf(pool.add(schemaOf<first::Item>())), R"({"$ref":"#/components/schemas/Item"})");
    EXPECT_EQ(namesOf(pool), (Names{"Holder", "Item"}));
}

TEST(SchemaPoolTest, DifferentTypesWithTheSameNameAreNumbered) {
    SchemaPool pool;
    pool.add(schemaOf<first::Holder>());
    // Both types named Holder have the same definition, but refer to different items.
    EXPECT_EQ(textOf(pool.add(schemaOf<second::Holder>())),
              R"({"$ref":"#/components/schemas/Holder2"})");
    EXPECT_EQ(namesOf(pool), (Names{"Holder", "Holder2", "Item", "Item2"}));
    EXPECT_NE(textOf(pool.components().at("Holder2")).find(R"("#/components/schemas/Item2")"),
              std::string::npos);
}

TEST(SchemaPoolTest, TypeMayContainItself) {
    SchemaPool pool;
    pool.add(schemaOf<first::Tree>());
    EXPECT_EQ(namesOf(pool), (Names{"Tree"}));
    EXPECT_NE(textOf(pool.components().at("Tree")).find(R"("#/components/schemas/Tree")"),
              std::string::npos);
}

TEST(SchemaPoolTest, ComponentNamesContainOnlyAllowedCharacters) {
    SchemaPool pool;
    EXPECT_EQ(textOf(pool.add(schemaOf<second::Strange>())),
              R"({"$ref":"#/components/schemas/a__b__script___"})");
    EXPECT_EQ(namesOf(pool), (Names{"a__b__script___"}));
}

}  // namespace
}  // namespace kova::kit::detail
