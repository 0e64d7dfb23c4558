#include "util/serializer/FieldReader.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "support/BinaryPayloads.h"
#include "support/FieldWalk.h"

namespace {

using namespace util::serializer;
using payloads::Comparison;
using payloads::fromHex;
using Format = FieldReader::Format;

TEST(FieldReaderTest, ReadsBinaryPayloadsLikeAPullReader) {
    for (char const* const hex : payloads::COMMON_BINARY) {
        EXPECT_EQ(payloads::compareBinaryFields(fromHex(hex)), Comparison::Same) << hex;
    }
}

TEST(FieldReaderTest, FailsForChunkedStringsAndOtherRareForms) {
    for (char const* const hex : payloads::RARE_BINARY) {
        EXPECT_EQ(payloads::compareBinaryFields(fromHex(hex)), Comparison::Refused) << hex;
    }
}

TEST(FieldReaderTest, RejectsMalformedBinaryPayloads) {
    for (char const* const hex : payloads::MALFORMED_BINARY) {
        EXPECT_EQ(payloads::compareBinaryFields(fromHex(hex)), Comparison::Both) << hex;
    }
}

TEST(FieldReaderTest, ReadsJsonTextsLikeAPullReader) {
    for (char const* const text :
         {"null", "true", "false", "17", "-17", "18446744073709551615", "1.5", "1e300", R"("text")",
          R"("\u00e9\n")", "[]", "{}", "[1,[2,[3]],{}]", R"({"a":1,"b":[true,null],"c":{"d":"e"}})",
          " [ 1 , 2 ] "}) {
        EXPECT_EQ(payloads::compareJsonFields(text), Comparison::Same) << text;
    }
}

TEST(FieldReaderTest, RejectsMalformedJsonTexts) {
    for (char const* const text :
         {"", " ", "[", "[1", "[1,", "{", R"({"a")", R"({"a":)", "[1 2]", "nul", "1 2", "01",
          "1e999", R"("\ud800")", "\"\xc3\x28\"", "]", "{1:2}"}) {
        EXPECT_EQ(payloads::compareJsonFields(text), Comparison::Both) << text;
    }
}

TEST(FieldReaderTest, LimitsTheDepthLikeAPullReader) {
    for (const std::size_t depth : {255, 256, 257}) {
        const Comparison expected = depth <= 256 ? Comparison::Same : Comparison::Both;
        EXPECT_EQ(payloads::compareBinaryFields(std::string(depth, '\x81') + '\0'), expected);
        EXPECT_EQ(payloads::compareJsonFields(std::string(depth, '[') + std::string(depth, ']')),
                  expected);
    }
}

struct NumberRow {
    char const* hex;
    char const* json;
    bool fits;
};

template <class Number>
void expectReads(const NumberRow& row) {
    Number number{};
    FieldReader json(Format::Json, row.json);
    EXPECT_EQ(json.begin() && json.value(number) && json.end(), row.fits) << row.json;
    const std::string bytes = fromHex(row.hex);
    FieldReader binary(Format::Binary, bytes);
    EXPECT_EQ(binary.begin() && binary.value(number) && binary.end(), row.fits) << row.hex;
}

TEST(FieldReaderTest, IntegersAreReadOnlyFromIntegersInRange) {
    expectReads<std::int8_t>({"187f", "127", true});
    expectReads<std::int8_t>({"1880", "128", false});
    expectReads<std::int8_t>({"387f", "-128", true});
    expectReads<std::int8_t>({"3880", "-129", false});
    expectReads<std::uint8_t>({"18ff", "255", true});
    expectReads<std::uint8_t>({"190100", "256", false});
    expectReads<std::uint8_t>({"20", "-1", false});
    expectReads<std::uint32_t>({"1affffffff", "4294967295", true});
    expectReads<std::uint32_t>({"1b0000000100000000", "4294967296", false});
    expectReads<std::int64_t>({"1b7fffffffffffffff", "9223372036854775807", true});
    expectReads<std::int64_t>({"1b8000000000000000", "9223372036854775808", false});
    expectReads<std::uint64_t>({"1bffffffffffffffff", "18446744073709551615", true});
    expectReads<std::uint64_t>({"20", "-1", false});
    expectReads<std::int32_t>({"f93c00", "1.0", false});
    expectReads<std::int32_t>({"6131", "\"1\"", false});
    expectReads<std::int32_t>({"f5", "true", false});
}

TEST(FieldReaderTest, FloatingPointFunctionsAcceptAnyNumberInRange) {
    expectReads<double>({"17", "23", true});
    expectReads<double>({"1bffffffffffffffff", "18446744073709551615", true});
    expectReads<double>({"3863", "-100", true});
    expectReads<double>({"f6", "null", false});
    expectReads<float>({"fb47efffffe0000000", "3.4028234663852886e38", true});
    expectReads<float>({"fb47f0000000000000", "3.5e38", false});
    float number = 0;
    const std::string infinity = fromHex("f97c00");
    FieldReader reader(Format::Binary, infinity);
    EXPECT_TRUE(reader.begin() && reader.value(number) && reader.end());
    EXPECT_EQ(number, std::numeric_limits<float>::infinity());
}

TEST(FieldReaderTest, StringFunctionsReplaceTheContent) {
    for (const std::size_t size : {0, 1, 5, 15, 31, 32, 33, 200}) {
        const std::string text(size, 'x');
        std::string out = "a former content of some length";
        const std::string json = '"' + text + '"';
        FieldReader reader(Format::Json, json);
        EXPECT_TRUE(reader.begin() && reader.value(out) && reader.end());
        EXPECT_EQ(out, text);
    }
}

TEST(FieldReaderTest, ReadsPackedAndPlainArraysOfNumbers) {
    const std::vector<std::int16_t> expected{1, -2, 300};
    for (char const* const hex : {"83 01 21 19012c", "9f 01 21 19012cff", "d849 46 0001fffe012c"}) {
        std::vector<std::int16_t> out{7};
        const std::string bytes = fromHex(hex);
        FieldReader reader(Format::Binary, bytes);
        EXPECT_TRUE(reader.begin() && reader.values(out) && reader.end()) << hex;
        EXPECT_EQ(out, expected) << hex;
    }
    std::vector<std::int16_t> out;
    FieldReader reader(Format::Json, "[1,-2,300]");
    EXPECT_TRUE(reader.begin() && reader.values(out) && reader.end());
    EXPECT_EQ(out, expected);
}

TEST(FieldReaderTest, RejectsArraysWithItemsOfAnotherType) {
    std::vector<std::uint8_t> out;
    for (char const* const hex : {"8120", "8161 31", "d848 41 01", "d841 43 000102",
                                  "d840 5f4101ff", "d840 42 01", "01", "9f01"}) {
        const std::string bytes = fromHex(hex);
        FieldReader reader(Format::Binary, bytes);
        EXPECT_FALSE(reader.begin() && reader.values(out) && reader.end()) << hex;
    }
    for (char const* const text : {"[256]", "[-1]", "[1.5]", "[null]", "{}", "1"}) {
        FieldReader reader(Format::Json, text);
        EXPECT_FALSE(reader.begin() && reader.values(out) && reader.end()) << text;
    }
}

// Reads {"a": SKIPPED, "b": 1} and skips the first field.
bool skips(Format format, const std::string& payload) {
    FieldReader reader(format, payload);
    std::string_view name;
    int number = 0;
    return reader.begin() && reader.beginObject() && reader.beginField(name) && name == "a" &&
           reader.skipField() && reader.beginField(name) && name == "b" && reader.value(number) &&
           number == 1 && reader.endField() && reader.atObjectEnd() && reader.endObject() &&
           reader.end();
}

// Returns whether a pull reader accepts the payload.
bool isAccepted(const std::string& payload) {
    return payloads::Pull<AXOBinStructuredPushDeserializer>(payload, Endianess::Big).begun;
}

void expectChecked(std::string hex) {
    if (hex.compare(0, 6, "d9d9f7") == 0 || hex.compare(0, 6, "da0000") == 0) {
        return;  // this tag is allowed only before the whole payload
    }
    const std::string payload = fromHex("a26161" + hex + "616201");
    EXPECT_EQ(skips(Format::Binary, payload), isAccepted(payload)) << hex;
}

TEST(FieldReaderTest, SkippedBinaryValuesAreValidated) {
    for (char const* const hex : payloads::COMMON_BINARY) {
        expectChecked(hex);
    }
    for (char const* const hex : payloads::RARE_BINARY) {
        expectChecked(hex);
    }
    for (char const* const hex : payloads::MALFORMED_BINARY) {
        expectChecked(hex);
        const std::string payload = fromHex("a16161" + std::string(hex));  // ends in the value
        EXPECT_FALSE(skips(Format::Binary, payload)) << hex;
    }
}

TEST(FieldReaderTest, SkipsJsonValuesOfEveryKind) {
    for (char const* const value : {"1", "\"x\"", "[1,[2]]", R"({"c":{}})", "null"}) {
        EXPECT_TRUE(skips(Format::Json, "{\"a\":" + std::string(value) + ",\"b\":1}")) << value;
    }
}

TEST(FieldReaderTest, DepthLimitIncludesSkippedValues) {
    for (const std::size_t depth : {255, 256}) {
        const std::string binary =
            fromHex("a26161") + std::string(depth, '\x81') + '\0' + fromHex("616201");
        EXPECT_EQ(skips(Format::Binary, binary), depth == 255);
        const std::string json =
            "{\"a\":" + std::string(depth, '[') + std::string(depth, ']') + ",\"b\":1}";
        EXPECT_EQ(skips(Format::Json, json), depth == 255);
    }
}

TEST(FieldReaderTest, ReaderCanBeUsedWhileAnotherOneOfTheThreadIsOpen) {
    FieldReader outer(Format::Json, "[1,2]");
    ASSERT_TRUE(outer.begin() && outer.beginArray());
    for (int i = 0; i < 3; ++i) {
        bool boolean = false;
        FieldReader inner(Format::Json, "true");
        EXPECT_TRUE(inner.begin() && inner.value(boolean) && inner.end());
    }
    int first = 0;
    int second = 0;
    EXPECT_TRUE(outer.value(first) && outer.endElement() && outer.value(second) &&
                outer.endElement() && outer.atArrayEnd() && outer.endArray() && outer.end());
    EXPECT_EQ(first + second, 3);
}

// A call that reads one kind of value, and the kind that it accepts.
struct ReadCall {
    FieldReader::Kind accepts;
    bool (*read)(FieldReader& from);
};

template <class Item>
bool readOne(FieldReader& from) {
    Item item{};
    return from.value(item);
}

template <class Item>
bool readMany(FieldReader& from) {
    std::vector<Item> items;
    return from.values(items);
}

constexpr ReadCall READ_CALLS[] = {
    {FieldReader::Kind::Null, [](FieldReader& from) { return from.null(); }},
    {FieldReader::Kind::Boolean, readOne<bool>},
    {FieldReader::Kind::Number, readOne<std::int8_t>},
    {FieldReader::Kind::Number, readOne<std::int64_t>},
    {FieldReader::Kind::Number, readOne<std::uint64_t>},
    {FieldReader::Kind::Number, readOne<float>},
    {FieldReader::Kind::Number, readOne<double>},
    {FieldReader::Kind::Text, readOne<std::string>},
    {FieldReader::Kind::Text,
     [](FieldReader& from) {
         std::string_view text;
         return from.text(text);
     }},
    {FieldReader::Kind::Array, readMany<bool>},
    {FieldReader::Kind::Array, readMany<std::uint8_t>},
    {FieldReader::Kind::Array, readMany<double>},
    {FieldReader::Kind::Array, [](FieldReader& from) { return from.beginArray(); }},
    {FieldReader::Kind::Object, [](FieldReader& from) { return from.beginObject(); }}};

TEST(FieldReaderTest, EachFunctionAcceptsOnlyItsKindOfValue) {
    struct Row {
        FieldReader::Kind kind;
        char const* hex;
        char const* json;
    };
    constexpr Row ROWS[] = {
        {FieldReader::Kind::Null, "f6", "null"}, {FieldReader::Kind::Boolean, "f5", "true"},
        {FieldReader::Kind::Number, "01", "1"},  {FieldReader::Kind::Text, "6161", "\"a\""},
        {FieldReader::Kind::Array, "80", "[]"},  {FieldReader::Kind::Object, "a0", "{}"}};
    for (const Row& row : ROWS) {
        for (const ReadCall& call : READ_CALLS) {
            const std::string bytes = fromHex(row.hex);
            FieldReader binary(Format::Binary, bytes);
            ASSERT_TRUE(binary.begin());
            EXPECT_EQ(binary.kind(), row.kind);
            EXPECT_EQ(call.read(binary), call.accepts == row.kind) << row.hex;
            FieldReader json(Format::Json, row.json);
            ASSERT_TRUE(json.begin());
            EXPECT_EQ(json.kind(), row.kind);
            EXPECT_EQ(call.read(json), call.accepts == row.kind) << row.json;
        }
    }
}

TEST(FieldReaderTest, EveryFunctionFailsAtTheEndOfAPayload) {
    for (const ReadCall& call : READ_CALLS) {
        FieldReader binary(Format::Binary, "");
        ASSERT_TRUE(binary.begin());
        EXPECT_FALSE(call.read(binary));
        EXPECT_EQ(binary.kind(), FieldReader::Kind::None);
        FieldReader json(Format::Json, "[]");
        ASSERT_TRUE(json.begin() && json.beginArray());
        EXPECT_FALSE(call.read(json));
        EXPECT_EQ(json.kind(), FieldReader::Kind::None);
    }
    std::string_view name;
    FieldReader json(Format::Json, "{}");
    EXPECT_TRUE(json.begin() && json.beginObject());
    EXPECT_FALSE(json.beginField(name));
}

TEST(FieldReaderTest, UnsignedFunctionsAcceptSmallAndLargeJsonIntegers) {
    std::uint64_t number = 0;
    for (char const* const text : {"17", "18446744073709551615"}) {
        FieldReader json(Format::Json, text);
        EXPECT_TRUE(json.begin() && json.value(number));
        EXPECT_EQ(std::to_string(number), text);
    }
    FieldReader negative(Format::Json, "-1");
    EXPECT_TRUE(negative.begin());
    EXPECT_FALSE(negative.value(number));
}

}  // namespace
