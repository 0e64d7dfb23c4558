#include "SchemaText.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "kova/kit/Schema.h"

namespace kova::tool {
namespace {

struct Volume {
    int level = 0;
    bool muted = false;
};
KOVA_FIELDS(Volume, level, muted)

enum class Power { on, off };
KOVA_ENUM(Power, on, off)

template <typename T>
std::string textOf() {
    return typeText(kit::schemaOf<T>());
}

TEST(SchemaTextTest, TypesAreWrittenInAShortNotation) {
    EXPECT_EQ(textOf<int>(), "integer");
    EXPECT_EQ(textOf<bool>(), "boolean");
    EXPECT_EQ(textOf<std::string>(), "string");
    EXPECT_EQ(textOf<std::vector<double>>(), "number[]");
    EXPECT_EQ(textOf<std::optional<int>>(), "integer | null");
    EXPECT_EQ((textOf<std::map<std::string, int>>()), "{*: integer}");
    EXPECT_EQ(textOf<Power>(), "on | off");
    EXPECT_EQ(textOf<Volume>(), "{level, muted}");
    EXPECT_EQ(textOf<std::vector<Volume>>(), "{level, muted}[]");
}

TEST(SchemaTextTest, TypesBelowTheThirdLevelAreWrittenAsAny) {
    using Two = std::vector<std::vector<int>>;
    EXPECT_EQ(textOf<Two>(), "integer[][]");
    EXPECT_EQ((textOf<std::vector<Two>>()), "any[][][]");
}

TEST(SchemaTextTest, UnsupportedSchemasAreWrittenAsAny) {
    for (char const* schema : {"true", "{}", "[", "{\"$ref\":\"#/$defs/none\"}",
                               "{\"$ref\":\"http://none\"}", "{\"type\":[\"integer\"]}"}) {
        EXPECT_EQ(typeText(Payload::createFromJSON(schema)), "any") << schema;
    }
}

TEST(SchemaTextTest, RecursiveTypeHasAFiniteText) {
    EXPECT_EQ(typeText(Payload::createFromJSON(
                  R"({"$ref":"#/$defs/A","$defs":{"A":{"$ref":"#/$defs/A"}}})")),
              "any");
}

}  // namespace
}  // namespace kova::tool
