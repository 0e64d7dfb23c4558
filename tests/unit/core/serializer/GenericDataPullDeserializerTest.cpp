#include "kova/core/GenericDataPullDeserializer.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "support/FailingAllocations.h"
#include "support/Trees.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace {

using kova::serializer::GenericDataPullDeserializer;
using kova::test::parseTree;
using kova::test::Tree;
using util::config::Value;
using util::config::ValueFloat;
using util::config::ValueInt;
using util::config::ValueString;
using util::config::ValueUnicodeString;
using util::serializer::EntryType;

/// A deserializer that has begun to read the tree.
class Reading : public testing::Test {
protected:
    GenericDataPullDeserializer& begin(Value* tree) {
        tree_.reset(tree);
        deserializer_ = std::make_unique<GenericDataPullDeserializer>(*tree_);
        EXPECT_FALSE(deserializer_->beginDeserialize(nullptr, nullptr));
        return *deserializer_;
    }
    GenericDataPullDeserializer& begin(const std::string& json) {
        return begin(parseTree(json).release());
    }

private:
    Tree tree_;
    std::unique_ptr<GenericDataPullDeserializer> deserializer_;
};

EntryType peek(GenericDataPullDeserializer& deserializer) {
    return deserializer.peekNextEntry()->type;
}

// ---- Leaves ----

constexpr char const* GETTERS[] = {"int8",    "uint8",  "int16",  "uint16", "int32",
                                   "uint32",  "int64",  "uint64", "float",  "double",
                                   "boolean", "string", "null"};
constexpr std::size_t GETTER_COUNT = std::size(GETTERS);

std::string print(bool value) {
    return value ? "true" : "false";
}
std::string print(const std::string& value) {
    return value;
}
std::string print(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}
std::string print(float value) {
    return print(double{value});
}
template <typename Integer>
std::string print(Integer value) {
    return std::to_string(value);
}

/// The value that a getter gives, "-" when it fails; tells when it then changed its output.
template <typename T>
std::string outcome(GenericDataPullDeserializer& deserializer,
                    bool (GenericDataPullDeserializer::*getter)(T&), T former) {
    T out = former;
    if ((deserializer.*getter)(out)) {
        return out == former ? "-" : "failed, but gave " + print(out);
    }
    return print(out);
}

std::string get(GenericDataPullDeserializer& deserializer, std::size_t getter) {
    using D = GenericDataPullDeserializer;
    switch (getter) {
        case 0:
            return outcome<std::int8_t>(deserializer, &D::getInt8, 99);
        case 1:
            return outcome<std::uint8_t>(deserializer, &D::getUInt8, 99);
        case 2:
            return outcome<std::int16_t>(deserializer, &D::getInt16, 99);
        case 3:
            return outcome<std::uint16_t>(deserializer, &D::getUInt16, 99);
        case 4:
            return outcome<std::int32_t>(deserializer, &D::getInt32, 99);
        case 5:
            return outcome<std::uint32_t>(deserializer, &D::getUInt32, 99);
        case 6:
            return outcome<std::int64_t>(deserializer, &D::getInt64, 99);
        case 7:
            return outcome<std::uint64_t>(deserializer, &D::getUInt64, 99);
        case 8:
            return outcome<float>(deserializer, &D::getFloat, 99);
        case 9:
            return outcome<double>(deserializer, &D::getDouble, 99);
        case 10:
            return outcome<bool>(deserializer, &D::getBoolean, true);
        case 11:
            return outcome<std::string>(deserializer, &D::getString, "former");
        default:
            return deserializer.getNull() ? "-" : "null";
    }
}

struct LeafRow {
    char const* name;
    std::function<Value*()> make;
    std::array<char const*, GETTER_COUNT> expected;
};

void PrintTo(const LeafRow& row, std::ostream* out) {
    *out << row.name;
}

template <typename Node, typename T>
std::function<Value*()> node(T value) {
    return [value] { return new Node(value); };
}

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr char const* I32_MIN = "-2147483648";
constexpr char const* I32_MAX = "2147483647";
constexpr char const* U32_MAX = "4294967295";
constexpr char const* I64_MIN = "-9223372036854775808";
constexpr char const* I64_MAX = "9223372036854775807";
constexpr char const* U64_MAX = "18446744073709551615";

const LeafRow LEAF_ROWS[] = {
    // Integers: cut to 8 and 16 bits, refused when beyond 32, two's complement in 64.
    {"seven", node<ValueInt>(7), {"7", "7", "7", "7", "7", "7", "7", "7", "7", "7", "-", "-", "-"}},
    {"300",
     node<ValueInt>(300),
     {"44", "44", "300", "300", "300", "300", "300", "300", "300", "300", "-", "-", "-"}},
    {"minus one",
     node<ValueInt>(-1),
     {"-1", "255", "-1", "65535", "-1", "-", "-1", U64_MAX, "-1", "-1", "-", "-", "-"}},
    {"2^31",
     node<ValueInt>(2147483648L),
     {"0", "0", "0", "0", "-", "2147483648", "2147483648", "2147483648", "2.14748365e+09",
      "2.14748365e+09", "-", "-", "-"}},
    {"2^32 + 40000",
     node<ValueInt>(4295007296L),
     {"64", "64", "-25536", "40000", "-", "-", "4295007296", "4295007296", "4.29500723e+09",
      "4.2950073e+09", "-", "-", "-"}},
    {"smallest integer",
     node<ValueInt>(LONG_MIN),
     {"0", "0", "0", "0", "-", "-", I64_MIN, "9223372036854775808", "-9.22337204e+18",
      "-9.22337204e+18", "-", "-", "-"}},
    {"largest integer",
     node<ValueInt>(ULONG_MAX),
     {"-1", "255", "-1", "65535", "-", "-", "-1", U64_MAX, "-1", "-1", "-", "-", "-"}},
    // Floats: towards zero, at most the limits of 32 or 64 bits, then cut to 8 or 16 bits.
    {"1.9",
     node<ValueFloat>(1.9),
     {"1", "1", "1", "1", "1", "1", "1", "1", "1.89999998", "1.9", "-", "-", "-"}},
    {"-1.5",
     node<ValueFloat>(-1.5),
     {"-1", "0", "-1", "0", "-1", "0", "-1", "0", "-1.5", "-1.5", "-", "-", "-"}},
    {"-5.0",
     node<ValueFloat>(-5.0),
     {"-5", "0", "-5", "0", "-5", "0", "-5", "0", "-5", "-5", "-", "-", "-"}},
    {"70000.75",
     node<ValueFloat>(70000.75),
     {"112", "112", "4464", "4464", "70000", "70000", "70000", "70000", "70000.75", "70000.75", "-",
      "-", "-"}},
    {"-2^31 - 0.5",
     node<ValueFloat>(-2147483648.5),
     {"0", "0", "0", "0", I32_MIN, "0", "-2147483648", "0", "-2.14748365e+09", "-2.14748365e+09",
      "-", "-", "-"}},
    {"2^31 - 0.5",
     node<ValueFloat>(2147483647.5),
     {"-1", "255", "-1", "65535", I32_MAX, "2147483647", "2147483647", "2147483647",
      "2.14748365e+09", "2.14748365e+09", "-", "-", "-"}},
    {"2^32 - 0.5",
     node<ValueFloat>(4294967295.5),
     {"-1", "255", "-1", "65535", I32_MAX, U32_MAX, "4294967295", "4294967295", "4.2949673e+09",
      "4.2949673e+09", "-", "-", "-"}},
    {"2^63",
     node<ValueFloat>(9223372036854775808.0),
     {"-1", "255", "-1", "65535", I32_MAX, U32_MAX, I64_MAX, "9223372036854775808",
      "9.22337204e+18", "9.22337204e+18", "-", "-", "-"}},
    {"1e300",
     node<ValueFloat>(1e300),
     {"-1", "255", "-1", "65535", I32_MAX, U32_MAX, I64_MAX, U64_MAX, "inf", "1e+300", "-", "-",
      "-"}},
    {"-1e300",
     node<ValueFloat>(-1e300),
     {"0", "0", "0", "0", I32_MIN, "0", I64_MIN, "0", "-inf", "-1e+300", "-", "-", "-"}},
    {"infinity",
     node<ValueFloat>(INF),
     {"-1", "255", "-1", "65535", I32_MAX, U32_MAX, I64_MAX, U64_MAX, "inf", "inf", "-", "-", "-"}},
    {"minus infinity",
     node<ValueFloat>(-INF),
     {"0", "0", "0", "0", I32_MIN, "0", I64_MIN, "0", "-inf", "-inf", "-", "-", "-"}},
    {"not a number",
     node<ValueFloat>(NOT_A_NUMBER),
     {"0", "0", "0", "0", "0", "0", "0", "0", "nan", "nan", "-", "-", "-"}},
    // Booleans count as numbers; nothing else does.
    {"true",
     [] { return Value::getBool(true); },
     {"1", "1", "1", "1", "1", "1", "1", "1", "1", "1", "true", "-", "-"}},
    {"false",
     [] { return Value::getBool(false); },
     {"0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "false", "-", "-"}},
    {"null",
     [] { return Value::getNull(); },
     {"-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "null"}},
    {"string",
     node<ValueString>("12"),
     {"-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "12", "-"}},
    {"unicode string",
     node<ValueUnicodeString>(util::UnicodeString8{"12"}),
     {"-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-"}},
    {"undefined",
     [] { return &Value::getUndefined(); },
     {"-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-"}},
    {"array",
     [] { return new util::config::Array; },
     {"-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-"}},
    {"dictionary",
     [] { return new util::config::Dictionary; },
     {"-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-", "-"}},
};

class LeafTest : public testing::TestWithParam<LeafRow> {};

TEST_P(LeafTest, IsReadByEachGetterAndConsumedByIt) {
    const Tree leaf(GetParam().make());
    for (std::size_t getter = 0; getter < GETTER_COUNT; ++getter) {
        GenericDataPullDeserializer deserializer(*leaf);
        ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
        EXPECT_EQ(get(deserializer, getter), GetParam().expected[getter]) << GETTERS[getter];
        EXPECT_EQ(peek(deserializer), EntryType::End) << GETTERS[getter];
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, LeafTest, testing::ValuesIn(LEAF_ROWS));

TEST(GenericDataPullDeserializer, FailsOnEverythingBeforeItIsBegun) {
    const ValueInt root(7);
    GenericDataPullDeserializer deserializer(root);
    for (std::size_t getter = 0; getter < GETTER_COUNT; ++getter) {
        EXPECT_EQ(get(deserializer, getter), "-") << GETTERS[getter];
    }
    std::string name = "former";
    EXPECT_TRUE(deserializer.beginStruct(nullptr));
    EXPECT_TRUE(deserializer.isStructEnd());
    EXPECT_TRUE(deserializer.beginField(name));
    EXPECT_EQ(name, "former");
    EXPECT_TRUE(deserializer.endField());
    EXPECT_TRUE(deserializer.endStruct());
    EXPECT_TRUE(deserializer.beginArray());
    EXPECT_TRUE(deserializer.isArrayEnd());
    EXPECT_TRUE(deserializer.beginElement());
    EXPECT_TRUE(deserializer.endElement());
    EXPECT_TRUE(deserializer.endArray());
    EXPECT_EQ(peek(deserializer), EntryType::End);
    EXPECT_EQ(deserializer.getNextEntry()->type, EntryType::End);
    EXPECT_FALSE(deserializer.skipField());
    EXPECT_FALSE(deserializer.endDeserialize());
}

TEST_F(Reading, DoesNotReadWholeArrays) {
    auto& deserializer = begin("[1, 2]");
    unsigned long count = 9;
    std::vector<bool> booleans{true};
    std::vector<std::int32_t> integers{9};
    std::vector<std::string> strings{"former"};
    std::vector<std::int8_t> int8s;
    std::vector<std::uint8_t> uint8s;
    std::vector<std::int16_t> int16s;
    std::vector<std::uint16_t> uint16s;
    std::vector<std::uint32_t> uint32s;
    std::vector<std::int64_t> int64s;
    std::vector<std::uint64_t> uint64s;
    std::vector<float> floats;
    std::vector<double> doubles;
    EXPECT_TRUE(deserializer.getNullArray(count));
    EXPECT_TRUE(deserializer.getBooleanArray(booleans));
    EXPECT_TRUE(deserializer.getInt8Array(int8s));
    EXPECT_TRUE(deserializer.getUInt8Array(uint8s));
    EXPECT_TRUE(deserializer.getInt16Array(int16s));
    EXPECT_TRUE(deserializer.getUInt16Array(uint16s));
    EXPECT_TRUE(deserializer.getInt32Array(integers));
    EXPECT_TRUE(deserializer.getUInt32Array(uint32s));
    EXPECT_TRUE(deserializer.getInt64Array(int64s));
    EXPECT_TRUE(deserializer.getUInt64Array(uint64s));
    EXPECT_TRUE(deserializer.getFloatArray(floats));
    EXPECT_TRUE(deserializer.getDoubleArray(doubles));
    EXPECT_TRUE(deserializer.getStringArray(strings));
    EXPECT_EQ(count, 9U);
    EXPECT_EQ(booleans, std::vector<bool>{true});
    EXPECT_EQ(integers, std::vector<std::int32_t>{9});
    EXPECT_EQ(strings, std::vector<std::string>{"former"});
    EXPECT_EQ(peek(deserializer), EntryType::ArrayBegin);
}

TEST_F(Reading, KeepsTheDefaultsOfTheInterface) {
    auto& deserializer = begin("{\"a\": 3}");
    EXPECT_FALSE(deserializer.beginArrayOption());
    EXPECT_FALSE(deserializer.endArrayOption());
    EXPECT_FALSE(deserializer.beginOption(nullptr));
    EXPECT_FALSE(deserializer.endOption());
    bool flag = true;
    EXPECT_FALSE(deserializer.getEmptyElement(flag));
    EXPECT_FALSE(flag);
    EXPECT_TRUE(deserializer.beginMandatoryField("a", 1));
    EXPECT_TRUE(deserializer.endMandatoryField());
    EXPECT_TRUE(deserializer.beginOptionalField("a", 1, flag));
    EXPECT_TRUE(deserializer.endOptionalField());
    EXPECT_EQ(deserializer.getApiCapibilites(), 0U);
}

TEST_F(Reading, ReadsNoUnicodeStrings) {
    auto& deserializer = begin(new ValueString("text"));
    util::UnicodeString8 narrow;
    util::UnicodeString16 wide;
    zel::unicode::String text;
    EXPECT_TRUE(deserializer.getString(narrow));
    EXPECT_TRUE(deserializer.getString(wide));
    EXPECT_TRUE(deserializer.getString(text));
}

TEST_F(Reading, ReadsEnumeratorsAsIntegers) {
    int value = 0;
    EXPECT_FALSE(begin("2").getEnum(value, 3, true));
    EXPECT_EQ(value, 2);
    EXPECT_TRUE(begin("3").getEnum(value, 3, true));
    EXPECT_TRUE(begin("\"2\"").getEnum(value, 3, false));
    EXPECT_EQ(value, 2);
}

// ---- Structs and arrays ----

TEST_F(Reading, GivesARootLeafOnce) {
    auto& deserializer = begin("7");
    std::int32_t value = 0;
    EXPECT_FALSE(deserializer.getInt32(value));
    EXPECT_EQ(value, 7);
    EXPECT_EQ(peek(deserializer), EntryType::End);
    EXPECT_FALSE(deserializer.endDeserialize());
}

TEST_F(Reading, WalksTheFieldsOfAStructInKeyOrder) {
    auto& deserializer = begin(R"({"b": true, "a": 1.9})");
    std::string name;
    std::int32_t integer = 0;
    double number = 0.0;
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.isStructEnd());
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(name, "a");
    EXPECT_FALSE(deserializer.getInt32(integer));
    EXPECT_EQ(integer, 1);
    ASSERT_FALSE(deserializer.endField());
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(name, "b");
    EXPECT_FALSE(deserializer.getDouble(number));
    EXPECT_EQ(number, 1.0);
    ASSERT_FALSE(deserializer.endField());
    EXPECT_TRUE(deserializer.isStructEnd());
    EXPECT_FALSE(deserializer.endStruct());
    EXPECT_EQ(peek(deserializer), EntryType::End);
}

TEST_F(Reading, WalksTheElementsOfAnArray) {
    auto& deserializer = begin(R"([[], "x"])");
    ASSERT_FALSE(deserializer.beginArray());
    EXPECT_FALSE(deserializer.isArrayEnd());
    ASSERT_FALSE(deserializer.beginElement());
    ASSERT_FALSE(deserializer.beginArray());
    EXPECT_TRUE(deserializer.isArrayEnd());
    EXPECT_FALSE(deserializer.endArray());
    EXPECT_EQ(peek(deserializer), EntryType::ElementEnd);
    ASSERT_FALSE(deserializer.endElement());
    ASSERT_FALSE(deserializer.beginElement());
    std::string text;
    EXPECT_FALSE(deserializer.getString(text));
    EXPECT_EQ(text, "x");
    ASSERT_FALSE(deserializer.endElement());
    EXPECT_TRUE(deserializer.isArrayEnd());
    EXPECT_FALSE(deserializer.endArray());
    EXPECT_EQ(peek(deserializer), EntryType::End);
}

TEST_F(Reading, CountsALeafOfTheWrongKindAsRead) {
    auto& deserializer = begin(R"({"a": 1})");
    std::string name;
    std::string text = "former";
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_TRUE(deserializer.getString(text));
    EXPECT_EQ(text, "former");
    EXPECT_EQ(peek(deserializer), EntryType::FieldEnd);
}

TEST_F(Reading, RefusesStructOperationsOnAnArray) {
    auto& deserializer = begin("[1]");
    std::string name = "former";
    EXPECT_TRUE(deserializer.beginStruct(nullptr));
    EXPECT_EQ(peek(deserializer), EntryType::ArrayBegin);
    EXPECT_TRUE(deserializer.beginField(name));
    EXPECT_TRUE(deserializer.endStruct());
    EXPECT_EQ(name, "former");
    EXPECT_EQ(peek(deserializer), EntryType::ArrayBegin);
}

TEST_F(Reading, RefusesArrayOperationsOnAStructAndALeaf) {
    for (char const* json : {"{}", "1"}) {
        auto& deserializer = begin(json);
        const EntryType before = peek(deserializer);
        EXPECT_TRUE(deserializer.beginArray()) << json;
        EXPECT_TRUE(deserializer.beginElement()) << json;
        EXPECT_TRUE(deserializer.endArray()) << json;
        EXPECT_EQ(peek(deserializer), before) << json;
    }
}

TEST_F(Reading, DoesNotGoPastTheLastFieldOrElement) {
    std::string name = "former";
    auto* deserializer = &begin("{}");
    EXPECT_TRUE(deserializer->beginField(name)) << "not entered";
    ASSERT_FALSE(deserializer->beginStruct(nullptr));
    EXPECT_TRUE(deserializer->beginField(name));
    EXPECT_EQ(name, "former");
    ASSERT_FALSE(deserializer->endStruct());
    EXPECT_TRUE(deserializer->beginField(name));

    deserializer = &begin("[]");
    ASSERT_FALSE(deserializer->beginArray());
    EXPECT_TRUE(deserializer->beginElement());
    ASSERT_FALSE(deserializer->endArray());
    EXPECT_TRUE(deserializer->beginElement());
}

TEST_F(Reading, MayLeaveAFieldUnread) {
    auto& deserializer = begin(R"({"a": {"b": 1}, "c": 2})");
    std::string name;
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.beginField(name));
    ASSERT_FALSE(deserializer.endField());
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(name, "c");
}

TEST_F(Reading, FailsToEndAnElementAsAField) {
    auto& deserializer = begin("[1]");
    ASSERT_FALSE(deserializer.beginArray());
    ASSERT_FALSE(deserializer.beginElement());
    EXPECT_TRUE(deserializer.endField());
    EXPECT_EQ(peek(deserializer), EntryType::Element) << "the element was left, not stepped over";
}

TEST_F(Reading, FailsToEndTheRoot) {
    EXPECT_TRUE(begin("{}").endField());
    EXPECT_TRUE(begin("[]").endElement());
}

TEST_F(Reading, EndsTheProcessWhenAskedAboutAnEndOfNothing) {
    EXPECT_DEATH(begin("{}").isStructEnd(), "bad_variant_access");
    EXPECT_DEATH(begin("[]").isStructEnd(), "bad_variant_access");
    EXPECT_DEATH(begin("[]").isArrayEnd(), "bad_variant_access");
    EXPECT_DEATH(begin("1").isArrayEnd(), "bad_variant_access");
    EXPECT_DEATH(static_cast<void>(begin("[1]").beginElement()), "bad_variant_access");
}

// ---- The whole read ----

TEST_F(Reading, EndsAtEveryPlaceWithinOneRead) {
    auto& deserializer = begin(R"({"a": 1})");
    EXPECT_FALSE(deserializer.endDeserialize());
    std::string name;
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_FALSE(deserializer.endDeserialize());
}

TEST_F(Reading, NeedsAResetBeforeASecondRead) {
    auto& deserializer = begin("7");
    ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
    EXPECT_TRUE(deserializer.endDeserialize());

    deserializer.reset();
    ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
    std::int32_t value = 0;
    EXPECT_FALSE(deserializer.getInt32(value));
    EXPECT_EQ(value, 7);
    EXPECT_FALSE(deserializer.endDeserialize());
}

TEST_F(Reading, EndingTheRootOfASecondReadIsNoStepInTheFirst) {
    auto* deserializer = &begin("{}");
    ASSERT_FALSE(deserializer->beginStruct(nullptr));
    ASSERT_FALSE(deserializer->beginDeserialize(nullptr, nullptr));
    EXPECT_TRUE(deserializer->endField());
    EXPECT_TRUE(deserializer->isStructEnd());

    deserializer = &begin("[]");
    ASSERT_FALSE(deserializer->beginArray());
    ASSERT_FALSE(deserializer->beginDeserialize(nullptr, nullptr));
    EXPECT_TRUE(deserializer->endElement());
    EXPECT_TRUE(deserializer->isArrayEnd());
}

// ---- Entries ----

/// The entries up to the end as texts: code and, where there is one, the value.
std::string entries(GenericDataPullDeserializer& deserializer) {
    std::string all;
    for (;;) {
        const util::serializer::Entry entry = *deserializer.getNextEntry();
        all += (all.empty() ? "" : " ") + std::to_string(static_cast<int>(entry.type));
        switch (entry.type) {
            case EntryType::End:
                return all;
            case EntryType::Boolean:
                all += ":" + print(entry.scalar.boolean);
                break;
            case EntryType::Int32:
                all += ":" + print(entry.scalar.int32);
                break;
            case EntryType::Double:
                all += ":" + print(entry.scalar.number);
                break;
            case EntryType::String:
            case EntryType::Field:
                all += ":" + entry.text;
                break;
            default:
                break;
        }
    }
}

struct EntriesRow {
    char const* json;
    char const* entries;
};

void PrintTo(const EntriesRow& row, std::ostream* out) {
    *out << row.json;
}

class EntriesTest : public testing::TestWithParam<EntriesRow> {};

TEST_P(EntriesTest, AnnounceTheWholeTree) {
    const Tree tree = parseTree(GetParam().json);
    GenericDataPullDeserializer deserializer(*tree);
    ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
    EXPECT_EQ(entries(deserializer), GetParam().entries);
    EXPECT_EQ(peek(deserializer), EntryType::End);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, EntriesTest,
    testing::Values(EntriesRow{"null", "2 1"}, EntriesRow{"true", "3:true 1"},
                    EntriesRow{"-7", "8:-7 1"}, EntriesRow{"2.5", "13:2.5 1"},
                    EntriesRow{"\"x\"", "14:x 1"}, EntriesRow{"{}", "31 32 1"},
                    EntriesRow{"[]", "15 30 1"}, EntriesRow{"{\"a\":1}", "31 33:a 8:1 34 32 1"},
                    EntriesRow{"[1]", "15 35 8:1 36 30 1"},
                    EntriesRow{"{\"b\":[null,{}],\"a\":\"x\"}",
                               "31 33:a 14:x 34 33:b 15 35 2 36 35 31 32 36 30 34 32 1"},
                    // Beyond 32 bits the low ones are announced: 2^32 + 7, 2^31, -2^63, 2^64 - 1.
                    EntriesRow{"[4294967303,2147483648,-9223372036854775808,18446744073709551615]",
                               "15 35 8:7 36 35 8:-2147483648 36 35 8:0 36 35 8:-1 36 30 1"}));

TEST_F(Reading, PeeksWithoutAStep) {
    auto& deserializer = begin(R"({"a": 1})");
    while (peek(deserializer) != EntryType::End) {
        const EntryType first = peek(deserializer);
        const EntryType second = peek(deserializer);
        EXPECT_EQ(first, second);
        EXPECT_EQ(deserializer.getNextEntry()->type, first);
    }
}

TEST_F(Reading, KeepsTheEntryInOneRecord) {
    auto& deserializer = begin("[1]");
    util::serializer::Entry const* first = deserializer.peekNextEntry();
    EXPECT_EQ(deserializer.getNextEntry(), first);
    EXPECT_EQ(deserializer.getNextEntry(), first);
    EXPECT_EQ(first->type, EntryType::Element);
}

TEST_F(Reading, AnnouncesAUnicodeStringAsNothingAndStepsOverIt) {
    auto* array = new util::config::Array;
    array->add(new ValueUnicodeString(util::UnicodeString8{"x"}));
    array->add(&Value::getUndefined());
    EXPECT_EQ(entries(begin(array)), "15 35 0 36 35 0 36 30 1");
}

TEST_F(Reading, MixesEntriesAndTypedReads) {
    auto& deserializer = begin(R"({"a": [5]})");
    std::string name;
    std::int32_t value = 0;
    EXPECT_EQ(deserializer.getNextEntry()->type, EntryType::StructBegin);
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(deserializer.getNextEntry()->type, EntryType::ArrayBegin);
    EXPECT_EQ(deserializer.getNextEntry()->type, EntryType::Element);
    EXPECT_FALSE(deserializer.getInt32(value));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(deserializer.getNextEntry()->type, EntryType::ElementEnd);
    EXPECT_TRUE(deserializer.isArrayEnd());
}

// ---- Skipping ----

TEST_F(Reading, SkipsAFieldAndWhatIsNestedInIt) {
    auto& deserializer = begin(R"({"a": {"x": [{"y": 1}], "z": 2}, "b": 5})");
    std::string name;
    std::int32_t value = 0;
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_FALSE(deserializer.skipField());
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(name, "b");
    EXPECT_FALSE(deserializer.getInt32(value));
    EXPECT_EQ(value, 5);
    EXPECT_FALSE(deserializer.endField());
    EXPECT_TRUE(deserializer.isStructEnd());
}

TEST_F(Reading, SkipsAUnicodeString) {
    auto* dictionary = new util::config::Dictionary;
    dictionary->add("a", new ValueUnicodeString(util::UnicodeString8{"x"}));
    auto& deserializer = begin(dictionary);
    std::string name;
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_FALSE(deserializer.skipField());
    EXPECT_TRUE(deserializer.isStructEnd());
}

TEST_F(Reading, SkippingOutsideAFieldGoesToTheEnd) {
    for (char const* json : {"7", "[1, [2]]", "{\"a\": {\"b\": 1}, \"c\": 2}"}) {
        auto& deserializer = begin(json);
        EXPECT_FALSE(deserializer.skipField()) << json;
        EXPECT_EQ(peek(deserializer), EntryType::End) << json;
    }
}

// ---- Memory ----

TEST(GenericDataPullDeserializer, FailsWithoutMemoryAndLosesNothing) {
    const Tree tree = parseTree(
        R"({"a name that is too long for the string itself": "a text of which the same is true"})");
    GenericDataPullDeserializer deserializer(*tree);
    long failures = 0;
    failures += kova::test::failEveryAllocation([&] {
        deserializer.reset();
        std::string name;
        std::string text;
        return !deserializer.beginDeserialize(nullptr, nullptr) &&
               !deserializer.beginStruct(nullptr) && !deserializer.beginField(name) &&
               !deserializer.getString(text);
    });
    EXPECT_GE(failures, 2);

    GenericDataPullDeserializer entries(*tree);
    failures = kova::test::failEveryAllocation([&] {
        entries.reset();
        if (entries.beginDeserialize(nullptr, nullptr)) {
            return false;
        }
        EntryType type = EntryType::None;
        do {
            type = entries.getNextEntry()->type;
        } while (type != EntryType::End && type != EntryType::Failure);
        return type == EntryType::End;
    });
    EXPECT_GE(failures, 1);
}

}  // namespace
