#include "SchemaValues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kova/core/Number.h"
#include "kova/core/Path.h"
#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Duration.h"
#include "kova/core/dovglobals/Formats.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/Language.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/dovglobals/Time.h"
#include "kova/core/dovglobals/Units.h"
#include "kova/core/url.h"
#include "kova/kit/Schema.h"
#include "tool/JsonTree.h"
#include "zel/UUID.h"

namespace kova::tool {
namespace {

using test::messageOf;
using test::treeOf;
using testing::HasSubstr;

constexpr char const* COMPONENTS =
    "{'Level': {'type': 'integer', 'minimum': 3},"
    " 'Named': {'properties': {'name': {'minLength': 1}}, 'required': ['name']},"
    " 'Endless': {'properties': {'next': {'$ref': '#/components/schemas/Endless'}}, "
    "'required': ['next']}}";

kit::Result<kit::Tree> make(const std::string& schema) {
    const kit::Tree components = treeOf(COMPONENTS);
    const SchemaRules rules(*components);
    return SchemaValues(rules).make(*treeOf(schema));
}

std::string made(const std::string& schema) {
    const auto value = make(schema);
    return value ? (*value)->toJson(true) : value.error().message;
}

struct Row {
    char const* schema;
    char const* value;
};

TEST(SchemaValuesTest, ValueIsTheSmallestThatTheSchemaAccepts) {
    for (const Row& row : {
             Row{"{}", "{}"},
             {"true", "{}"},
             {"{'type': 'null'}", "null"},
             {"{'type': 'boolean'}", "false"},
             {"{'type': 'integer'}", "0"},
             {"{'type': 'integer', 'minimum': 0.5}", "1"},
             {"{'type': 'integer', 'minimum': -5, 'maximum': -0.5}", "-1"},
             {"{'type': 'integer', 'minimum': -5, 'maximum': 5}", "0"},
             {"{'type': 'integer', 'minimum': 18446744073709551615}", "18446744073709551615"},
             {"{'type': 'integer', 'maximum': -9223372036854775808}", "-9223372036854775808"},
             {"{'type': 'integer', 'minimum': 1e300}", "1e+300"},
             {"{'type': 'number', 'minimum': 0.5}", "0.5"},
             {"{'minimum': 2}", "2"},
             {"{'minimum': 2.0}", "2"},
             {"{'maximum': -2.5}", "-2.5"},
             {"{'type': 'integer', 'maximum': -2.5}", "-3"},
             {"{'type': ['null', 'integer']}", "null"},
             {"{'type': 'string'}", "\"\""},
             {"{'minLength': 3}", "\"aaa\""},
             {"{'type': 'string', 'format': 'date'}", "\"1970-01-01\""},
             {"{'type': 'string', 'format': 'unknown'}", "\"\""},
             {"{'type': 'array'}", "[]"},
             {"{'items': {'type': 'integer'}, 'minItems': 2}", "[0,0]"},
             {"{'minItems': 1}", "[{}]"},
             {"{'properties': {'a': {}, 'b': {}}}", "{}"},
             {"{'properties': {'a': {'type': 'null'}}, 'required': ['a', 'b'], "
              "'additionalProperties': {'type': 'boolean'}}",
              "{\"a\":null,\"b\":false}"},
             {"{'default': 7, 'example': 8}", "7"},
             {"{'example': 8, 'enum': [1, 8]}", "8"},
             {"{'examples': ['one', 'two'], 'type': 'string'}", "\"one\""},
             {"{'examples': [], 'type': 'string'}", "\"\""},
             {"{'const': [1]}", "[1]"},
             {"{'enum': ['on', 'off']}", "\"on\""},
             {"{'$ref': '#/components/schemas/Level'}", "3"},
             {"{'allOf': [{'type': 'integer', 'minimum': 5}, {'maximum': 7}]}", "5"},
             {"{'allOf': [{'$ref': '#/components/schemas/Named'}, {'properties': {'b': {'type': "
              "'null'}}, 'required': ['b']}]}",
              "{\"b\":null,\"name\":\"a\"}"},
             {"{'anyOf': [{'type': 'integer'}, {'type': 'null'}]}", "0"},
             {"{'anyOf': [false, {'type': 'null'}]}", "null"},
             {"{'oneOf': [{'type': 'number'}, {'type': 'integer'}, {'type': 'null'}]}", "null"},
             {"{'required': ['a'], 'anyOf': [{'properties': {'b': {}}, 'required': ['b']}]}",
              "{\"a\":{},\"b\":{}}"},
         }) {
        EXPECT_EQ(made(row.schema), row.value) << row.schema;
    }
}

TEST(SchemaValuesTest, SchemaWithoutAKnownValueIsRefused) {
    for (const Row& row :
         {Row{"false", "no value fits: expected no value, found an object"},
          {"{'type': 'integer', 'minimum': 2, 'maximum': 1}",
           "no value fits: expected a number up to 1, found 2"},
          {"{'default': 'a', 'type': 'integer'}",
           "no value fits: expected an integer, found \"a\""},
          {"{'allOf': [{'type': 'integer'}, {'type': 'null'}]}",
           "no value fits: expected an integer, found null"},
          {"{'anyOf': [false]}", "no value fits: expected no value, found an object"},
          {"{'items': false, 'minItems': 1}", "no value fits: expected no value, found an object"},
          {"{'required': ['a'], 'additionalProperties': false}",
           "no value fits: expected no value, found an object"},
          {"{'format': 'date', 'type': 'string', 'maxLength': 3}",
           "no value fits: expected a string of at most 3 characters, found \"1970-01-01\""}}) {
        EXPECT_EQ(made(row.schema), row.value) << row.schema;
    }
}

TEST(SchemaValuesTest, EndlessValueIsRefused) {
    EXPECT_THAT(made("{'$ref': '#/components/schemas/Endless'}"),
                HasSubstr("the value is nested more than 128 deep"));
}

TEST(SchemaValuesTest, NestingIsBounded) {
    const auto nested = [](std::size_t depth) {
        std::string schema = "{'type': 'null'}";
        for (std::size_t i = 1; i < depth; ++i) {
            schema = "{'minItems': 1, 'items': " + schema + "}";
        }
        return schema;
    };
    EXPECT_TRUE(make(nested(SchemaValues::DEEPEST)));
    EXPECT_THAT(messageOf(make(nested(SchemaValues::DEEPEST + 1))), HasSubstr("nested more than"));
}

TEST(SchemaValuesTest, SizeIsBounded) {
    const std::string most = std::to_string(SchemaValues::MOST_STEPS);
    EXPECT_THAT(made("{'minLength': 1" + most + "}"), HasSubstr("characters is too long"));
    EXPECT_THAT(made("{'minItems': " + most + "}"), HasSubstr("needs more than 1000000 steps"));
    EXPECT_EQ(made("{'minLength': 500000}").size(), 500002U);
    const kit::Tree components = treeOf("{}");
    const SchemaRules rules(*components);
    SchemaValues values(rules);
    const kit::Tree large = treeOf("{'minLength': 500000}");
    EXPECT_TRUE(values.make(*large));
    EXPECT_TRUE(values.make(*treeOf("{}")));
    EXPECT_FALSE(values.make(*large));  // the limit is for all values together
}

// The text of each type that a service describes can be read as a value of the type.
template <typename T>
class SchemaValuesOfType : public testing::Test {};
using TextTypes =
    testing::Types<zel::UUID, Number, Path, url, dovglobals::Date, dovglobals::DateTime,
                   dovglobals::Duration, dovglobals::GeoPosition, dovglobals::RGBA,
                   dovglobals::Time, dovglobals::ConsumptionUnit, dovglobals::DateFormat,
                   dovglobals::DistanceUnit, dovglobals::Language, dovglobals::PressureUnit,
                   dovglobals::SpeedUnit, dovglobals::TemperatureUnit, dovglobals::TimeFormat,
                   dovglobals::VolumeUnit, dovglobals::WeightUnit,
                   std::chrono::system_clock::time_point, std::chrono::seconds>;
TYPED_TEST_SUITE(SchemaValuesOfType, TextTypes);

TYPED_TEST(SchemaValuesOfType, CanBeRead) {
    const auto schema = kit::fromPayload<kit::Tree>(kit::schemaOf<TypeParam>()).orThrow();
    const kit::Tree components = treeOf("{}");
    const SchemaRules rules(*components);
    const auto value = SchemaValues(rules).make(*schema);
    ASSERT_TRUE(value) << value.error().message;
    const auto read = kit::fromTree<TypeParam>(**value);
    EXPECT_TRUE(read.ok()) << schema->toJson(true) << messageOf(read);
}

}  // namespace
}  // namespace kova::tool
