#include "kova/core/GenericDataPullDeserializer.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>
#include <vector>

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

/// Returns the value that a getter reads, or "-" if it fails. The text is different if a failed
/// getter changes its output.
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
    // Integers: truncated to 8 and 16 bits, rejected beyond 32 bits, two's complement in 64 bits.
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
    // Floats: truncated towards zero, limited to 32 or 64 bits, then truncated to 8 or 16 bits.
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
    // Only booleans are also read as numbers.
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

TEST_P(LeafTest, EachGetterReadsAndConsumesTheLeaf) {
    const Tree leaf(GetParam().make());
    for (std::size_t getter = 0; getter < GETTER_COUNT; ++getter) {
        GenericDataPullDeserializer deserializer(*leaf);
        ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
        EXPECT_EQ(get(deserializer, getter), GetParam().expected[getter]) << GETTERS[getter];
        EXPECT_EQ(deserializer.peekNextEntry()->type, EntryType::End) << GETTERS[getter];
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, LeafTest, testing::ValuesIn(LEAF_ROWS));

TEST(GenericDataGetters, FailBeforeBeginDeserialize) {
    const ValueInt root(7);
    GenericDataPullDeserializer deserializer(root);
    for (std::size_t getter = 0; getter < GETTER_COUNT; ++getter) {
        EXPECT_EQ(get(deserializer, getter), "-") << GETTERS[getter];
    }
}

TEST(GenericDataGetters, GettersOfWholeArraysFail) {
    const Tree tree = parseTree("[1, 2]");
    GenericDataPullDeserializer deserializer(*tree);
    ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
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
    EXPECT_EQ(deserializer.peekNextEntry()->type, EntryType::ArrayBegin) << "nothing is consumed";
}

}  // namespace
