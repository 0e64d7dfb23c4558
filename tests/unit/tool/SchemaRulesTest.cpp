#include "SchemaRules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tool/JsonTree.h"

namespace kova::tool {
namespace {

using test::messageOf;
using test::treeOf;
using testing::HasSubstr;

constexpr char const* COMPONENTS =
    "{'Level': {'type': 'integer', 'minimum': 0, 'maximum': 100},"
    " 'Node': {'properties': {'next': {'$ref': '#/components/schemas/Node'}}, "
    "'additionalProperties': false},"
    " 'Alias': {'$ref': '#/components/schemas/Level'}}";

std::string refusalOf(const std::string& schema, const std::string& value) {
    const kit::Tree components = treeOf(COMPONENTS);
    return messageOf(SchemaRules(*components).check(*treeOf(schema), *treeOf(value)));
}

struct Row {
    char const* schema;
    char const* valid;
    char const* other;
    char const* message;
};

TEST(SchemaRulesTest, RuleRefusesOtherValuesWithTheirPlace) {
    for (const Row& row : {
             Row{"{'type': 'integer'}", "1.0", "'loud'", "expected an integer, found \"loud\""},
             {"{'type': ['integer', 'null']}", "null", "true",
              "expected an integer or null, found true"},
             {"{'enum': ['on', 'off']}", "'off'", "'of'",
              "expected \"on\" or \"off\", found \"of\""},
             {"{'const': {'a': [1]}}", "{'a': [1]}", "{'a': [2]}",
              "expected an object, found an object"},
             {"{'minimum': 0.5}", "0.5", "0", "expected a number from 0.5, found 0"},
             {"{'minimum': 0.5}", "'a'", "-1", "expected a number from 0.5, found -1"},
             {"{'maximum': 18446744073709551614}", "18446744073709551614", "18446744073709551615",
              "expected a number up to 18446744073709551614, found 18446744073709551615"},
             {"{'minLength': 2}", "'äö'", "'ä'",
              "expected a string of at least 2 characters, found \"ä\""},
             {"{'maxLength': 2}", "'äö'", "'abc'",
              "expected a string of at most 2 characters, found \"abc\""},
             {"{'minItems': 1}", "[1]", "[]",
              "expected an array of at least 1 elements, found an array"},
             {"{'maxItems': 1}", "{}", "[1, 2]",
              "expected an array of at most 1 elements, found an array"},
             {"{'items': {'type': 'string'}}", "['a']", "['a', 17]",
              "[1]: expected a string, found 17"},
             {"{'required': ['level']}", "{'level': 1}", "{}",
              "level: expected a value, found nothing"},
             {"{'required': ['level']}", "[]", "{'other': 1}",
              "level: expected a value, found nothing"},
             {"{'properties': {'a': {'items': {'type': 'null'}}}}", "{'b': 1}", "{'a': [null, 1]}",
              "a[1]: expected null, found 1"},
             {"{'properties': {'a': {}}, 'additionalProperties': false}", "{'a': 1}",
              "{'a': 1, 'b': 2}", "b: expected no value, found 2"},
             {"{'additionalProperties': {'type': 'number'}}", "{'a': 1}", "{'a': '1'}",
              "a: expected a number, found \"1\""},
             {"{'$ref': '#/components/schemas/Alias'}", "100", "101",
              "expected a number up to 100, found 101"},
             {"{'$ref': '#/components/schemas/Node'}", "{'next': {'next': {}}}",
              "{'next': {'next': {'last': 1}}}", "next.next.last: expected no value, found 1"},
             {"{'allOf': [{'minimum': 1}, {'maximum': 2}]}", "2", "3",
              "expected a number up to 2, found 3"},
             {"{'properties': {'a': {'anyOf': [{'type': 'integer'}, {'type': 'null'}]}}}",
              "{'a': null}", "{'a': true}",
              "a: expected an integer, found true; or a: expected null, found true"},
             {"{'oneOf': [{'minimum': 5}, {'type': 'string'}]}", "5", "4",
              "expected a number from 5, found 4; or expected a string, found 4"},
             {"{'oneOf': [{'minimum': 5}, {'minimum': 7}]}", "5", "8",
              "expected a value that only one alternative of oneOf accepts, found 8"},
             {"true", "1", nullptr, ""},
         }) {
        EXPECT_EQ(refusalOf(row.schema, row.valid), "") << row.schema;
        if (row.other != nullptr) {
            EXPECT_EQ(refusalOf(row.schema, row.other), row.message) << row.schema;
        }
    }
    EXPECT_EQ(refusalOf("false", "[]"), "expected no value, found an array");
}

TEST(SchemaRulesTest, PlaceIsThatOfTheFirstFailureAfterManyValidParts) {
    EXPECT_EQ(refusalOf("{'items': {'anyOf': [{'properties': {'a': {'type': 'null'}}, "
                        "'required': ['a']}, {'type': 'integer'}]}}",
                        "[{'a': null}, 3, {'a': 4}]"),
              "[2].a: expected null, found 4; or [2]: expected an integer, found an object");
}

TEST(SchemaRulesTest, MessagesAboutManyAlternativesAreShort) {
    std::string names = "'name0'";
    std::string schemas = "{'type': 'null'}";
    for (int i = 1; i < 1000; ++i) {
        names += ", 'name" + std::to_string(i) + "'";
        schemas += ", {'type': 'null'}";
    }
    EXPECT_LT(refusalOf("{'enum': [" + names + "]}", "1").size(), 500U);
    EXPECT_LT(refusalOf("{'anyOf': [" + schemas + "]}", "1").size(), 500U);
}

TEST(SchemaRulesTest, StepsAreBounded) {
    const kit::Tree nothing = treeOf("{}");
    const SchemaRules rules(*nothing);
    std::size_t steps = SchemaRules::MOST_STEPS - 1;
    EXPECT_TRUE(rules.check(*nothing, *nothing, steps));
    EXPECT_THAT(messageOf(rules.check(*nothing, *nothing, steps)),
                HasSubstr("the check needs more than 1000000 steps"));
}

// Without these steps, 59 kB of a document kept the mock busy for more than a minute.
TEST(SchemaRulesTest, SixteenPartsThatAreComparedAreAStep) {
    const auto list = [](int count, const std::string& suffix) {
        std::string text = "'0'" + suffix;
        for (int i = 1; i < count; ++i) {
            text += ", '" + std::to_string(i) + "'" + suffix;
        }
        return text;
    };
    const auto stepsOf = [](const std::string& schema, const std::string& value) {
        const kit::Tree components = treeOf("{}");
        std::size_t steps = 0;
        EXPECT_TRUE(SchemaRules(*components).check(*treeOf(schema), *treeOf(value), steps));
        return steps;
    };
    for (const int count : {15, 16, 160}) {
        const auto parts = static_cast<std::size_t>(count) / 16;
        const std::string object = "{" + list(count, ": 0") + "}";
        const std::string last = "'" + std::to_string(count - 1) + "'";
        EXPECT_EQ(stepsOf("{'enum': [" + list(count, "") + "]}", last), 1 + parts);
        EXPECT_EQ(stepsOf("{'required': [" + list(count, "") + "]}", "1"), 1 + parts);
        EXPECT_EQ(stepsOf("{'properties': {}}", object), 1 + parts);
        EXPECT_EQ(stepsOf("{'additionalProperties': true}", object),
                  1 + parts + static_cast<std::size_t>(count));
    }
}

// Each schema applies the next one twice, so a check without a bound would not end.
TEST(SchemaRulesTest, AlternativesThatMultiplyEnd) {
    std::string components = "{'A0': {'type': 'null'}";
    for (int i = 1; i < 60; ++i) {
        const std::string next = "{'$ref': '#/components/schemas/A" + std::to_string(i - 1) + "'}";
        components += ", 'A" + std::to_string(i) + "': {'anyOf': [" + next + ", " + next + "]}";
    }
    const kit::Tree tree = treeOf(components + "}");
    EXPECT_THAT(messageOf(SchemaRules(*tree).check((*tree)["A59"], *treeOf("1"))),
                HasSubstr("expected null, found 1"));
}

TEST(SchemaRulesTest, NestingIsBounded) {
    std::string schema = "{}";
    std::string components = "{'A0': {}";
    for (int i = 1; i <= 99; ++i) {
        components += ", 'A" + std::to_string(i) +
                      "': {'allOf': [{'allOf': [{'allOf': [{'allOf': [{'allOf': [{'$ref': "
                      "'#/components/schemas/A" +
                      std::to_string(i - 1) + "'}]}]}]}]}]}";
    }
    const kit::Tree tree = treeOf(components + "}");
    const SchemaRules rules(*tree);
    // A component has six schemas, and A0 one.
    EXPECT_EQ(messageOf(rules.check((*tree)["A85"], *tree)), "");
    EXPECT_EQ(messageOf(rules.check((*tree)["A86"], *tree)),
              "the schemas are nested more than 512 deep");
}

TEST(SchemaRulesTest, ReferencesAreFollowedToASchema) {
    const kit::Tree components = treeOf(COMPONENTS);
    const SchemaRules rules(*components);
    EXPECT_EQ(&rules.followed((*components)["Alias"]), &(*components)["Level"]);
    EXPECT_EQ(&rules.followed((*components)["Level"]), &(*components)["Level"]);
    EXPECT_EQ(&rules.components(), components.get());
}

}  // namespace
}  // namespace kova::tool
