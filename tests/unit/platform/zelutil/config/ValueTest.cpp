#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/Trees.h"
#include "util/config/Value.h"

namespace {

using kova::test::Tree;
using namespace util::config;
using Kind = Value::Kind;

// One node of each kind, with the expected result of each typed read: nullopt if the read fails.
struct Row {
    std::string name;
    Tree node;
    Kind kind;
    std::optional<int> asInt;
    std::optional<unsigned int> asUnsigned;
    std::optional<long> asLong;
    std::optional<unsigned long> asUnsignedLong;
    std::optional<double> asDouble;
    std::optional<bool> asBool;
    std::optional<std::string> asString;
    std::optional<std::string> asUnicode;
};

Row scalarRow(std::string name, Value* node, Kind kind) {
    return {std::move(name), Tree(node), kind, {}, {}, {}, {}, {}, {}, {}, {}};
}

Row integerRow(ValueInt* node, std::optional<int> asInt, std::optional<unsigned int> asUnsigned,
               long asLong, double asDouble) {
    Row row = scalarRow(node->toJson(true), node, Kind::Integer);
    row.asInt = asInt;
    row.asUnsigned = asUnsigned;
    row.asLong = asLong;
    row.asUnsignedLong = static_cast<unsigned long>(asLong);
    row.asDouble = asDouble;
    return row;
}

Row stringRow(const std::string& name, const std::string& text, bool utf8) {
    Row row = scalarRow(name, new ValueString(text), Kind::String);
    row.asString = text;
    if (utf8) {
        row.asUnicode = text;
    }
    return row;
}

std::vector<Row> makeRows() {
    std::vector<Row> rows;
    rows.push_back(scalarRow("undefined", &Value::getUndefined(), Kind::Undefined));
    rows.push_back(scalarRow("null", Value::getNull(), Kind::Null));
    for (const bool truth : {false, true}) {
        rows.push_back(scalarRow(truth ? "true" : "false", Value::getBool(truth), Kind::Boolean));
        rows.back().asBool = truth;
    }
    const std::nullopt_t no = std::nullopt;
    rows.push_back(integerRow(new ValueInt(0), 0, 0U, 0, 0.0));
    rows.push_back(integerRow(new ValueInt(1), 1, 1U, 1, 1.0));
    rows.push_back(integerRow(new ValueInt(-1), -1, no, -1, -1.0));
    rows.push_back(
        integerRow(new ValueInt(4294967295U), no, 4294967295U, 4294967295L, 4294967295.0));
    rows.push_back(
        integerRow(new ValueInt(2147483647L), 2147483647, 2147483647U, 2147483647L, 2147483647.0));
    rows.push_back(
        integerRow(new ValueInt(2147483648L), no, 2147483648U, 2147483648L, 2147483648.0));
    rows.push_back(
        integerRow(new ValueInt(-2147483648L), INT_MIN, no, -2147483648L, -2147483648.0));
    rows.push_back(integerRow(new ValueInt(-2147483649L), no, no, -2147483649L, -2147483649.0));
    rows.push_back(integerRow(new ValueInt(4294967296L), no, no, 4294967296L, 4294967296.0));
    rows.push_back(integerRow(new ValueInt(INT64_MAX), no, no, INT64_MAX, 0x1p63));
    rows.push_back(integerRow(new ValueInt(INT64_MIN), no, no, INT64_MIN, -0x1p63));
    rows.push_back(integerRow(new ValueInt(1UL << 63U), no, no, INT64_MIN, 0x1p63));
    rows.push_back(integerRow(new ValueInt(UINT64_MAX), no, no, -1, 0x1p64));
    rows.push_back(scalarRow("float", new ValueFloat(2.5), Kind::Float));
    rows.back().asDouble = 2.5;
    rows.push_back(stringRow("string", "text", true));
    rows.push_back(stringRow("string with a zero", std::string("a\0b", 3), true));
    rows.push_back(stringRow("string of digits", "12", true));
    rows.push_back(stringRow("string that is not UTF-8", "\xFF", false));
    rows.push_back(scalarRow("unicode string", new ValueUnicodeString(util::UnicodeString8{"é"}),
                             Kind::UnicodeString));
    rows.back().asUnicode = "é";
    rows.push_back(scalarRow("array", new Array, Kind::Array));
    rows.push_back(scalarRow("dictionary", new Dictionary, Kind::Dictionary));
    return rows;
}

template <typename Target>
void expectGet(const Row& row, const std::optional<Target>& expected, const Target& before) {
    Target out = before;
    EXPECT_EQ(row.node->get(out), !expected.has_value()) << row.name;
    EXPECT_EQ(out, expected.value_or(before)) << row.name;
}

TEST(ValueTest, TypedReadsChangeTheOutputOnlyOnSuccess) {
    for (const Row& row : makeRows()) {
        expectGet(row, row.asInt, -77);
        expectGet(row, row.asUnsigned, 77U);
        expectGet(row, row.asLong, -77L);
        expectGet(row, row.asUnsignedLong, 77UL);
        expectGet(row, row.asDouble, -7.75);
        expectGet(row, row.asBool, false);
        expectGet(row, row.asBool, true);
        expectGet(row, row.asString, std::string("before"));
        util::UnicodeString8 text{"before"};
        EXPECT_EQ(row.node->get(text), !row.asUnicode.has_value()) << row.name;
        EXPECT_EQ(text.units, row.asUnicode.value_or("before")) << row.name;
    }
}

TEST(ValueTest, PredicatesMatchTheKind) {
    for (const Row& row : makeRows()) {
        const Value& node = *row.node;
        EXPECT_EQ(node.kind(), row.kind) << row.name;
        EXPECT_EQ(node.isUndefined(), row.kind == Kind::Undefined) << row.name;
        EXPECT_EQ(node.isNull(), row.kind == Kind::Null) << row.name;
        EXPECT_EQ(node.isBool(), row.kind == Kind::Boolean) << row.name;
        EXPECT_EQ(node.isInt(), row.kind == Kind::Integer) << row.name;
        EXPECT_EQ(node.isFloat(), row.kind == Kind::Float) << row.name;
        EXPECT_EQ(node.isString(), row.kind == Kind::String) << row.name;
        EXPECT_EQ(node.isUnicodeString(), row.kind == Kind::UnicodeString) << row.name;
        EXPECT_EQ(node.isArray(), row.kind == Kind::Array) << row.name;
        EXPECT_EQ(node.isDictionary(), row.kind == Kind::Dictionary) << row.name;
        EXPECT_EQ(node.isValue(), row.kind != Kind::Undefined && row.kind != Kind::Array &&
                                      row.kind != Kind::Dictionary)
            << row.name;
    }
}

TEST(ValueTest, LookupsInNodesWithoutChildrenReturnUndefinedOrNull) {
    for (const Row& row : makeRows()) {
        Value& node = *row.node;
        EXPECT_FALSE(node.hasKey("k")) << row.name;
        EXPECT_FALSE(node.hasKey(std::string("k"))) << row.name;
        EXPECT_EQ(&node["k"], &Value::getUndefined()) << row.name;
        EXPECT_EQ(&node[std::string("k")], &Value::getUndefined()) << row.name;
        EXPECT_EQ(&node[0], &Value::getUndefined()) << row.name;
        EXPECT_EQ(node.arraySize(), 0U) << row.name;
        EXPECT_TRUE(node.begin() == node.end()) << row.name;
        EXPECT_EQ(node.getEditableDictionary() != nullptr, row.kind == Kind::Dictionary);
        EXPECT_EQ(node.getEditableArray() != nullptr, row.kind == Kind::Array);
        EXPECT_EQ(node.getEditableDictionary("k"), nullptr) << row.name;
        EXPECT_EQ(node.getEditableArray(std::string("k")), nullptr) << row.name;
    }
}

TEST(ValueTest, NullKeyIsNotFound) {
    Dictionary dictionary;
    dictionary.add("", new ValueInt(1));
    char const* const none = nullptr;
    EXPECT_FALSE(dictionary.hasKey(nullptr));
    EXPECT_TRUE(dictionary.hasKey(""));
    EXPECT_TRUE(dictionary[none].isUndefined());
    EXPECT_EQ(dictionary.getEditableDictionary(none), nullptr);
    EXPECT_EQ(dictionary.getEditableArray(none), nullptr);
}

TEST(ValueTest, IndexOfAnyIntegerTypeSelectsAnElement) {
    Array array;
    array.add(new ValueInt(5));
    array.add(new ValueInt(6));
    for (const Value* element :
         {&array[1], &array[1U], &array[1L], &array[1UL], &array[short{1}]}) {
        EXPECT_EQ(*element, ValueInt(6));
    }
    EXPECT_EQ(array[0], ValueInt(5));
    for (const Value* element : {&array[2], &array[-1], &array[-1L], &array[~0UL]}) {
        EXPECT_TRUE(element->isUndefined());
    }
}

TEST(ValueTest, EditableAccessorsReturnChildrenForModification) {
    Dictionary root;
    root.add("d", new Dictionary);
    root.add("a", new Array);
    const std::string d = "d";
    const std::string a = "a";
    ASSERT_NE(root.getEditableDictionary("d"), nullptr);
    EXPECT_EQ(root.getEditableDictionary(d), root.getEditableDictionary("d"));
    EXPECT_EQ(root.getEditableDictionary("a"), nullptr);
    EXPECT_EQ(root.getEditableArray("d"), nullptr);
    ASSERT_NE(root.getEditableArray("a"), nullptr);
    EXPECT_EQ(root.getEditableArray(a), root.getEditableArray("a"));
    root.getEditableDictionary("d")->add("x", new ValueInt(1));
    root.getEditableArray("a")->add(new ValueInt(2));
    EXPECT_EQ(root["d"]["x"], ValueInt(1));
    EXPECT_EQ(root["a"][0], ValueInt(2));
}

TEST(ValueTest, SharedNodesAreSingletons) {
    EXPECT_EQ(Value::getNull(), Value::getNull());
    EXPECT_EQ(Value::getBool(true), Value::getBool(true));
    EXPECT_NE(Value::getBool(true), Value::getBool(false));
    EXPECT_EQ(&Value::getUndefined(), &Value::getUndefined());
    for (Value* node :
         {Value::getNull(), Value::getBool(true), Value::getBool(false), &Value::getUndefined()}) {
        EXPECT_TRUE(node->isShared());
        Value::destroy(node);
        EXPECT_TRUE(node->isShared());
    }
    EXPECT_FALSE(ValueInt(1).isShared());
    Value::destroy(nullptr);
}

TEST(ValueTest, IntegerReportsItsSignAndRange) {
    EXPECT_TRUE(ValueInt(INT64_MIN).isNegative());
    EXPECT_FALSE(ValueInt(INT64_MAX).isBeyondSigned());
    EXPECT_TRUE(ValueInt(1UL << 63U).isBeyondSigned());
    EXPECT_FALSE(ValueInt(UINT64_MAX).isNegative());
    EXPECT_EQ(ValueInt(-1).bits(), UINT64_MAX);
}

TEST(ValueTest, StringNodesAreConstructibleFromEveryTextType) {
    std::string text = "moved";
    EXPECT_EQ(ValueString(std::move(text)).text(), "moved");
    EXPECT_EQ(ValueString("literal").text(), "literal");
    EXPECT_EQ(ValueString(static_cast<char const*>(nullptr)).text(), "");
}

}  // namespace
