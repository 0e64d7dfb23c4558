#include "SchemaForm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tool/JsonTree.h"

namespace kova::tool {
namespace {

using test::messageOf;
using test::treeOf;
using testing::HasSubstr;
using testing::StartsWith;

std::string refusalOf(const std::string& schema) {
    return messageOf(validateSchema(*treeOf(schema), *treeOf("{'A': {}}"), "body"));
}

TEST(SchemaFormTest, SupportedKeywordsAreAccepted) {
    for (char const* const schema :
         {"true", "false", "{}", "{'$ref': '#/components/schemas/A'}",
          "{'additionalProperties': false}", "{'allOf': [{}, {}], 'anyOf': [{}], 'oneOf': [true]}",
          "{'const': null}", "{'enum': [1]}", "{'items': {'type': 'string'}}",
          "{'minItems': 0, 'maxItems': 2.0, 'minLength': 1, 'maxLength': 2}",
          "{'minimum': -1, 'maximum': 0.5}", "{'properties': {'a': {}}, 'required': ['a']}",
          "{'required': []}", "{'type': ['integer', 'null']}", "{'type': 'object'}",
          "{'title': 1, 'description': 2, 'format': 'date', 'x-unit': 'km', 'examples': []}"}) {
        EXPECT_EQ(refusalOf(schema), "") << schema;
    }
}

struct Row {
    char const* schema;
    char const* message;
};

TEST(SchemaFormTest, OtherSchemasAreRefusedWithTheirPlace) {
    for (const Row& row : {
             Row{"1", "body: expected a schema, found 1"},
             {"{'pattern': 'a'}", "body.pattern: the keyword is not supported"},
             {"{'not': {}}", "body.not: the keyword is not supported"},
             {"{'items': {'uniqueItems': true}}",
              "body.items.uniqueItems: the keyword is not supported"},
             {"{'additionalProperties': {'if': {}}}",
              "body.additionalProperties.if: the keyword is not supported"},
             {"{'anyOf': [{}, {'multipleOf': 2}]}",
              "body.anyOf[1].multipleOf: the keyword is not supported"},
             {"{'properties': {'a': {'exclusiveMinimum': 2}}}",
              "body.properties.a.exclusiveMinimum: the keyword is not supported"},
             {"{'properties': {'a': 1}}", "body.properties.a: expected a schema, found 1"},
             {"{'properties': []}", "body.properties: expected an object with schemas"},
             {"{'items': [{}]}", "body.items: expected a schema, found an array"},
             {"{'allOf': []}", "body.allOf: expected a list of schemas, found an array"},
             {"{'oneOf': [1]}", "body.oneOf: expected a list of schemas, found an array"},
             {"{'enum': []}", "body.enum: expected a list of values, found an array"},
             {"{'minLength': -1}", "body.minLength: expected an integer from 0, found -1"},
             {"{'maxLength': 0.5}", "body.maxLength: expected an integer from 0, found 0.5"},
             {"{'minItems': 'a'}", "body.minItems: expected an integer from 0, found \"a\""},
             {"{'minimum': '1'}", "body.minimum: expected a number, found \"1\""},
             {"{'required': 'a'}", "body.required: expected a list of names, found \"a\""},
             {"{'required': [1]}", "body.required: expected a list of names, found an array"},
             {"{'type': 'text'}", "body.type: expected a type or a list of types, found \"text\""},
             {"{'type': []}", "body.type: expected a type or a list of types, found an array"},
             {"{'type': ['null', 1]}", "body.type: expected a type or a list of types"},
             {"{'$ref': 1}", "body.$ref: expected a reference, found 1"},
             {"{'$ref': '#/components/schemas/B'}",
              "body.$ref: there is no schema '#/components/schemas/B'; a reference is "},
             {"{'$ref': '#/components/schemas/'}", "body.$ref: there is no schema"},
             {"{'$ref': 'http://example.com/a'}",
              "body.$ref: there is no schema 'http://example.com/a'"},
         }) {
        EXPECT_THAT(refusalOf(row.schema), StartsWith(row.message)) << row.schema;
    }
    EXPECT_THAT(refusalOf("{'$ref': '" + std::string(81, 'a') + "'}"),
                StartsWith("body.$ref: there is no schema '" + std::string(79, 'a') + "…'"));
}

std::string refusalOfComponents(const std::string& components) {
    return messageOf(validateComponents(*treeOf(components), "schemas"));
}

TEST(SchemaFormTest, CirclesWithAValueInBetweenAreAccepted) {
    EXPECT_EQ(refusalOfComponents("{'A': {'properties': {'next': {'$ref': "
                                  "'#/components/schemas/A'}}}, 'B': {'$ref': "
                                  "'#/components/schemas/A'}, 'C': {'allOf': [{'$ref': "
                                  "'#/components/schemas/A'}, {'$ref': "
                                  "'#/components/schemas/B'}]}}"),
              "");
}

TEST(SchemaFormTest, OtherCirclesAreRefused) {
    for (char const* const inner :
         {"{'$ref': '#/components/schemas/A'}", "{'allOf': [{'$ref': '#/components/schemas/A'}]}",
          "{'anyOf': [{}, {'oneOf': [{'$ref': '#/components/schemas/A'}]}]}"}) {
        EXPECT_EQ(refusalOfComponents(
                      "{'A': {'$ref': '#/components/schemas/B'}, 'B': " + std::string(inner) + "}"),
                  "schemas.A: the schema refers to itself without a value in between");
    }
}

std::string chainOf(std::size_t references) {
    std::string components = "{'N0': {}";
    for (std::size_t i = 1; i <= references; ++i) {
        // With the longest chain first in the order of the names.
        components += ", 'M" + std::to_string(1000 - i) + "': {'$ref': '#/components/schemas/" +
                      (i == 1 ? "N0" : "M" + std::to_string(1001 - i)) + "'}";
    }
    return components + "}";
}

TEST(SchemaFormTest, ChainsOfReferencesAreBounded) {
    EXPECT_EQ(refusalOfComponents(chainOf(LONGEST_CHAIN - 1)), "");
    EXPECT_EQ(refusalOfComponents(chainOf(LONGEST_CHAIN)),
              "schemas.M900: more than 100 references in a row");
}

TEST(SchemaFormTest, ComponentsAreValidated) {
    EXPECT_EQ(refusalOfComponents("{'A': {'not': {}}}"),
              "schemas.A.not: the keyword is not supported");
    EXPECT_THAT(refusalOfComponents("{'a b': {}}"), HasSubstr("a name has only letters"));
    EXPECT_EQ(refusalOfComponents("{}"), "");
}

TEST(SchemaFormTest, OnlySchemasWithoutRulesAcceptAll) {
    for (char const* const schema : {"true", "{}", "{'description': 'any'}", "{'x-unit': 1}"}) {
        EXPECT_TRUE(acceptsAll(*treeOf(schema))) << schema;
    }
    for (char const* const schema :
         {"false", "{'type': 'object'}", "{'title': 'a', 'items': {}}"}) {
        EXPECT_FALSE(acceptsAll(*treeOf(schema))) << schema;
    }
    EXPECT_TRUE(acceptsAll(util::config::Value::getUndefined()));
}

}  // namespace
}  // namespace kova::tool
