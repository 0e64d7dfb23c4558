#include "util/serializer/PayloadError.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "json/JsonScan.h"
#include "support/Payloads.h"
#include "support/Reports.h"
#include "zel/ErrorStorage.h"

// Tests the reasons why a payload could not be read or written. They are stored as the thread's
// latest error.
namespace {

using namespace util::serializer;
using payloads::BinaryPull;
using payloads::JsonPull;
using zel::ErrorStorage;

std::string reason() {
    return ErrorStorage::current().reason();
}

class PayloadErrorTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(reports_.take().empty()) << "the sink was called"; }

    kova::test::Reports reports_;
};

struct Row {
    char const* payload;
    char const* reason;
    int number = MalformedPayload;
};

// ---- malformed payloads

constexpr Row JSON_ROWS[] = {
    {"", "expected a value, found the end of the text (byte 0)"},
    {"  ", "expected a value, found the end of the text (byte 2)"},
    {"x", "expected a value, found 'x' (byte 0)"},
    {"[1, 2, 3, 4, 5, 6x]", "expected ',' or ']', found 'x' (byte 17)"},
    {"[1,2", "expected ',' or ']', found the end of the text (byte 4)"},
    {"[,1]", "expected a value or ']', found ',' (byte 1)"},
    {"[1,]", "[1]: expected a value, found ']' (byte 3)"},
    {"[1]]", "expected the end of the text, found ']' (byte 3)"},
    {"{\"a\" 1}", "expected ':', found '1' (byte 5)"},
    {"{\"a\":1 \"b\":2}", "expected ',' or '}', found '\"' (byte 7)"},
    {"{\"a\":1,}", "expected a field, found '}' (byte 7)"},
    {"{1:2}", "expected a field or '}', found '1' (byte 1)"},
    {"{\"a\":{\"b\":[0,{\"c\":nul}]}}", "a.b[1].c: expected a value, found 'n' (byte 18)"},
    {"[01]", "expected ',' or ']', found '1' (byte 2)"},
    {"[-]", "[0]: expected a digit, found ']' (byte 2)"},
    {"[1.e5]", "[0]: expected a digit, found 'e' (byte 3)"},
    {"1e999", "expected a number within the range of a double, found one out of range (byte 0)"},
    {"0.01e400", "expected a number within the range of a double, found one out of range (byte 0)"},
    {"0.01e+400",
     "expected a number within the range of a double, found one out of range (byte 0)"},
    {"18446744073709551616", "expected an integer of 64 bits, found one out of range (byte 0)"},
    {"-9223372036854775809", "expected an integer of 64 bits, found one out of range (byte 0)"},
    {"\"abc", "expected a string, found one without an end (byte 0)"},
    {"\"a\\x\"", "expected an escape sequence, found 'x' (byte 3)"},
    {"\"\\u12x4\"", "expected four hexadecimal digits, found 'x' (byte 5)"},
    {"\"\\ud800\"", "expected a character, found half of a surrogate pair (byte 1)"},
    {"\"a\nb\"", "expected a character or an escape sequence, found the byte 0x0a (byte 2)"},
    {"\"a\xFF\"", "expected UTF-8, found the byte 0xff (byte 2)"},
};

constexpr Row BINARY_ROWS[] = {
    {"", "expected a value, found the end of the payload (byte 0)"},
    {"1c", "expected a value, found the byte 0x1c (byte 0)"},
    {"f8", "expected a value, found the byte 0xf8 (byte 0)"},
    {"6361", "expected a value, found too few bytes behind 0x63 (byte 0)"},
    {"0102", "expected the end of the payload, found 2 (byte 1)"},
    {"62c328", "expected UTF-8, found other bytes (byte 1)"},
    {"8301", "expected a length within the payload, found a longer array (byte 0)"},
    {"a2616101", "expected a length within the payload, found a longer map (byte 0)"},
    {"ff", "expected a value, found a break (byte 0)"},
    {"81ff", "[0]: expected a value, found a break (byte 1)"},
    {"bf01ff", "expected a field name, found 1 (byte 1)"},
    {"bf6161ff", "a: expected a value, found a break (byte 3)"},
    {"3bffffffffffffffff", "expected an integer of 64 bits, found one below -2^63 (byte 0)"},
    {"c001", "expected the tag of a typed array, found the tag 0 (byte 0)"},
    {"c601", "expected the tag of a typed array, found the tag 6 (byte 0)"},
    {"d84943010203", "expected a whole number of items, found a part of one (byte 2)"},
    {"5f6161ff", "expected a chunk of the string or its end, found a string (byte 1)"},
    {"a2616101616282f6c1", "b[1]: expected the tag of a typed array, found the tag 1 (byte 8)"},
    {"a1616181a161621c", "a[0].b: expected a value, found the byte 0x1c (byte 7)"},
};

template <class Pull>
void expectReason(const Row& row) {
    ErrorStorage::current().acknowledge();
    EXPECT_FALSE(Pull(row.payload).begun) << row.payload;
    EXPECT_EQ(ErrorStorage::current().type(), &PayloadError) << row.payload;
    EXPECT_EQ(ErrorStorage::current().number(), row.number) << row.payload;
    EXPECT_EQ(reason(), row.reason) << row.payload;
}

TEST_F(PayloadErrorTest, ReasonForMalformedJsonNamesFieldAndByte) {
    for (const Row& row : JSON_ROWS) {
        expectReason<JsonPull>(row);
    }
}

TEST_F(PayloadErrorTest, ReasonForAMalformedBinaryPayloadNamesFieldAndByte) {
    for (const Row& row : BINARY_ROWS) {
        expectReason<BinaryPull>(row);
    }
}

TEST_F(PayloadErrorTest, ReasonForTooDeepNestingNamesTheLimit) {
    const std::string json(300, '[');
    EXPECT_FALSE(JsonPull(json).begun);
    EXPECT_NE(reason().find("expected no more levels than 256, found an array (byte 256)"),
              std::string::npos)
        << reason();
    std::string hex;
    for (int i = 0; i < 300; ++i) {
        hex += "81";
    }
    EXPECT_FALSE(BinaryPull(hex + "00").begun);
    EXPECT_EQ(ErrorStorage::current().number(), NestingTooDeep);
    EXPECT_NE(reason().find("expected no more levels than 256, found an array (byte 256)"),
              std::string::npos)
        << reason();
}

// If the parser rejects a text, an error is stored, and the second pass finds the position of the
// mistake. If the parser accepts a text, no error is stored.
TEST_F(PayloadErrorTest, ErrorIsStoredForEveryRejectedTextAndForNoOther) {
    const std::string text = R"({"a":[1,-2.5e3,"x\u00e4\n"],"b":{"c":true,"d":null},"e":[]})";
    ASSERT_TRUE(JsonPull(text).begun);
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (const char byte : std::string_view("x\"\\[]{},:0-.eu \xC3", 17)) {
            std::string changed = text;
            changed[at] = byte;
            ErrorStorage::current().acknowledge();
            const bool begun = JsonPull(changed).begun;
            EXPECT_EQ(ErrorStorage::current().hasError(), !begun) << changed;
            EXPECT_EQ(begun, reason().find("(byte ") == std::string::npos) << changed << reason();
        }
        ErrorStorage::current().acknowledge();
        EXPECT_FALSE(JsonPull(text.substr(0, at)).begun);
        EXPECT_NE(reason().find("(byte "), std::string::npos) << reason();
    }
}

// ---- typed reads

constexpr char const* STATIONS_JSON =
    R"({"stations":[{"name":"a"},{"name":"b"},{"id":1,"name":17}]})";
// The same stations in the binary format.
constexpr char const* STATIONS_HEX =
    "a16873746174696f6e7383a1646e616d656161a1646e616d656162a262696401646e616d6511";

// Moves to a field of the third station.
bool goTo(IStructuredPullDeserializer& from, char const* field) {
    std::string name;
    bool failed = from.beginStruct(nullptr) || from.beginField(name) || from.beginArray();
    for (int i = 0; i < 2; ++i) {
        failed = failed || from.beginElement() || from.beginStruct(nullptr) ||
                 from.beginMandatoryField("name", -1) || from.getString(name) ||
                 from.endMandatoryField() || from.endStruct() || from.endElement();
    }
    return failed || from.beginElement() || from.beginStruct(nullptr) ||
           from.beginMandatoryField(field, -1);
}

TEST_F(PayloadErrorTest, ReasonForAnUnexpectedTypeNamesFieldAndByte) {
    std::string text;
    JsonPull json(STATIONS_JSON);
    EXPECT_TRUE(goTo(json, "name") || json.getString(text));
    EXPECT_EQ(reason(), "stations[2].name: expected a string, found 17 (byte 54)");
    EXPECT_EQ(ErrorStorage::current().number(), UnexpectedValue);
    BinaryPull binary(STATIONS_HEX);
    EXPECT_TRUE(goTo(binary, "name") || binary.getString(text));
    EXPECT_EQ(reason(), "stations[2].name: expected a string, found 17 (byte 37)");
}

TEST_F(PayloadErrorTest, ReasonForAMissingFieldNamesTheField) {
    JsonPull json(STATIONS_JSON);
    EXPECT_TRUE(goTo(json, "height"));
    EXPECT_EQ(reason(),
              "stations[2]: expected the field \"height\", found a struct without it (byte 39)");
}

struct ReadRow {
    char const* json;
    bool (*read)(IStructuredPullDeserializer&);
    char const* reason;
};

const ReadRow READ_ROWS[] = {
    {"300",
     [](auto& from) {
         std::int8_t out = 0;
         return from.getInt8(out);
     },
     "expected an integer of 8 bits, found 300 (byte 0)"},
    {"-1",
     [](auto& from) {
         std::uint64_t out = 0;
         return from.getUInt64(out);
     },
     "expected an unsigned integer of 64 bits, found -1 (byte 0)"},
    {" 1e39",
     [](auto& from) {
         float out = 0;
         return from.getFloat(out);
     },
     "expected a number within the range of a float, found 1e+39 (byte 1)"},
    {"\"a text that is longer than what is shown\"",
     [](auto& from) {
         bool out = false;
         return from.getBoolean(out);
     },
     "expected a boolean, found \"a text that is longer th...\" (byte 0)"},
    {"3",
     [](auto& from) {
         int out = 0;
         return from.getEnum(out, 3, true);
     },
     "expected an enumerator from 0 to below 3, found 3 (byte 0)"},
    {"[1,null,2]",
     [](auto& from) {
         std::vector<std::uint16_t> out;
         return from.getUInt16Array(out);
     },
     "[1]: expected an unsigned integer of 16 bits, found null (byte 3)"},
    {"{}", [](auto& from) { return from.beginArray(); },
     "expected an array, found a struct (byte 0)"},
    {"[]", [](auto& from) { return from.beginArray() || from.beginElement(); },
     "expected an element, found the end of the array (byte 0)"},
    {"[1]", [](auto& from) { return from.beginArray() || from.endArray(); },
     "expected the end of an array, found an element (byte 1)"},
    {"{\"a\":1}", [](auto& from) { return from.beginStruct(nullptr) || from.endStruct(); },
     "expected the end of a struct, found the field \"a\" (byte 1)"},
    {"{\"a\":1}",
     [](auto& from) {
         std::string name;
         return from.beginStruct(nullptr) || from.beginField(name) || from.endField();
     },
     "a: expected the end of a field, found 1 (byte 5)"},
    {"1",
     [](auto& from) {
         std::string name;
         return from.beginField(name);
     },
     "expected a field, found 1 (byte 0)"},
    {"[1]", [](auto& from) { return from.beginArray() || from.endDeserialize(); },
     "expected the end of the payload, found an element (byte 1)"},
};

TEST_F(PayloadErrorTest, FailedReadsNameTheExpectedValue) {
    for (const ReadRow& row : READ_ROWS) {
        JsonPull pull(row.json);
        EXPECT_TRUE(row.read(pull)) << row.json;
        EXPECT_EQ(reason(), row.reason);
    }
}

TEST_F(PayloadErrorTest, ReasonForAReadWithoutAPayloadSaysSo) {
    JSONStructuredPushDeserializerOld source;
    PullFromPushDeserializer pull(&source);
    EXPECT_TRUE(pull.getNull());
    EXPECT_EQ(reason(), "expected null, found no payload");
    EXPECT_EQ(ErrorStorage::current().number(), CallOutOfPlace);
}

TEST_F(PayloadErrorTest, ReasonForAWrongByteOrderNamesBothByteOrders) {
    AXOBinStructuredPushDeserializer source(7);
    util::ByteBufferReader reader = payloads::readerOf("a");
    JSONStructuredSerializerOld target(true);
    EXPECT_TRUE(source.beginDeserialize(&reader, &target));
    EXPECT_EQ(reason(), "expected the byte order 1 (big-endian), found 7");
}

// ---- writing

bool begin(IStructuredSerializer& to) {
    return to.beginStruct(nullptr) || to.beginField("stations", -1, false) || to.beginArray() ||
           to.beginElement() || to.serializeInt32(1) || to.endElement() || to.beginElement() ||
           to.beginStruct(nullptr) || to.beginField("height", -1, false);
}

struct WriteRow {
    bool (*write)(IStructuredSerializer&);
    char const* json;
    char const* binary;
};

const WriteRow WRITE_ROWS[] = {
    {[](auto& to) { return to.serializeDouble(std::numeric_limits<double>::infinity()); },
     "stations[1].height: expected a finite number, found inf (byte 25)", nullptr},
    {[](auto& to) { return to.serializeString(std::string_view("\xFF")); },
     "stations[1].height: expected UTF-8, found other bytes (byte 25)", nullptr},
    {[](auto& to) { return to.serializeString(util::UnicodeString8{"\xFF"}); },
     "stations[1].height: expected a well-formed unicode text, found another one (byte 25)",
     "stations[1].height: expected a well-formed unicode text, found another one (byte 20)"},
    {[](auto& to) { return to.serializeEnum(3, 3, true); },
     "stations[1].height: expected an enumerator within its count, found 3 (byte 25)",
     "stations[1].height: expected an enumerator within its count, found 3 (byte 20)"},
    {[](auto& to) { return to.endField(); },
     "stations[1].height: expected a value, found the end of a field (byte 25)",
     "stations[1].height: expected a value, found the end of a field (byte 20)"},
};

void expectWriteReason(IStructuredSerializer& to, const WriteRow& row, char const* expected) {
    util::ByteBufferWriter writer(0);
    EXPECT_FALSE(to.beginSerialize(&writer, nullptr) || begin(to));
    EXPECT_EQ(row.write(to), expected != nullptr);
    EXPECT_EQ(reason(), expected == nullptr ? "" : expected);
    ErrorStorage::current().acknowledge();
}

TEST_F(PayloadErrorTest, ReasonForAFailedWriteNamesFieldAndByte) {
    JSONStructuredSerializerOld json(true);
    AXOBinStructuredSerializerBE binary;
    for (const WriteRow& row : WRITE_ROWS) {
        expectWriteReason(json, row, row.json);
        expectWriteReason(binary, row, row.binary);
    }
}

TEST_F(PayloadErrorTest, ReplayFailsWithTheReasonOfItsTarget) {
    JSONStructuredSerializerOld json(true);
    util::ByteBufferWriter writer(0);
    EXPECT_FALSE(json.beginSerialize(&writer, nullptr));
    AXOBinStructuredPushDeserializer source(1);
    EXPECT_FALSE(payloads::replayed(source, payloads::fromHex("a16178fb7ff0000000000000"), json));
    EXPECT_EQ(reason(), "x: expected a finite number, found inf (byte 5)");
}

// ---- which failure counts

TEST_F(PayloadErrorTest, OnlyTheFirstFailureOfAPayloadIsStored) {
    JsonPull pull("[1]");
    std::string text;
    EXPECT_TRUE(pull.getString(text));
    const std::string first = reason();
    EXPECT_TRUE(pull.getNull() || pull.beginStruct(nullptr));
    EXPECT_TRUE(pull.endDeserialize());
    EXPECT_EQ(reason(), first);
    ErrorStorage::current().acknowledge();
    EXPECT_TRUE(pull.getNull());
    EXPECT_FALSE(ErrorStorage::current().hasError()) << "another one came";
    util::ByteBufferReader reader = payloads::readerOf("1");
    EXPECT_FALSE(pull.beginDeserialize(&reader, nullptr));
    EXPECT_TRUE(pull.getNull());
    EXPECT_EQ(reason(), "expected null, found 1 (byte 0)");
}

TEST_F(PayloadErrorTest, SecondReplayKeepsTheFirstFailure) {
    AXOBinStructuredPushDeserializer from(Endianess::Big);
    JSONStructuredSerializerOld to(true);
    util::ByteBufferWriter writer(0);
    const std::string payload = payloads::fromHex("81ff");
    util::ByteBufferReader reader = payloads::readerOf(payload);
    EXPECT_FALSE(to.beginSerialize(&writer, nullptr));
    EXPECT_FALSE(from.beginDeserialize(&reader, &to));
    EXPECT_EQ(from.deserialize(), IStructuredPushDeserializer::FAILED);
    EXPECT_EQ(reason(), "expected a value, found a break (byte 1)");
    ErrorStorage::current().acknowledge();
    EXPECT_FALSE(to.beginSerialize(&writer, nullptr));
    EXPECT_EQ(from.deserialize(), IStructuredPushDeserializer::FAILED);
    EXPECT_FALSE(ErrorStorage::current().hasError());
}

TEST_F(PayloadErrorTest, OnlyTheFirstFailureOfAWriteIsStored) {
    AXOBinStructuredSerializerBE to;
    util::ByteBufferWriter writer(0);
    unsigned long size = 0;
    EXPECT_FALSE(to.beginSerialize(&writer, nullptr));
    EXPECT_TRUE(to.endArray());
    EXPECT_EQ(reason(), "expected a value, found the end of an array (byte 0)");
    ErrorStorage::current().acknowledge();
    EXPECT_TRUE(to.serializeNull() || to.endSerialize(size));
    EXPECT_FALSE(ErrorStorage::current().hasError());
    EXPECT_FALSE(to.beginSerialize(&writer, nullptr));
    EXPECT_TRUE(to.endStruct());
    EXPECT_TRUE(ErrorStorage::current().hasError());
}

TEST_F(PayloadErrorTest, SuccessKeepsAnOlderError) {
    static constexpr zel::ErrorID TABLE[] = {{0, "older", 0}};
    static constexpr zel::ErrorType TYPE("Test", TABLE);
    zel::ErrorOutput("src/Test", 1, true)(TYPE, 0);
    reports_.take();
    const unsigned long before = ErrorStorage::current().count();
    JsonPull pull(STATIONS_JSON);
    EXPECT_FALSE(goTo(pull, "name"));
    EXPECT_EQ(ErrorStorage::current().count(), before);
    EXPECT_EQ(reason(), "older");
}

TEST_F(PayloadErrorTest, ReasonOutlivesReaderAndPayload) {
    {
        std::string text(5000, ' ');
        text += "[1 2]";
        JsonPull pull(text);
        EXPECT_FALSE(pull.begun);
    }
    EXPECT_EQ(reason(), "expected ',' or ']', found '2' (byte 5003)");
}

// Returns a text of `size` bytes that ends with a mistake.
std::string malformedText(std::size_t size) {
    std::string text(size, ' ');
    text.replace(size - 5, 5, "[1 2]");
    return text;
}

TEST_F(PayloadErrorTest, ReasonStatesThePositionUpToTheSizeLimit) {
    const std::string text = malformedText(JsonFailure::MAX_KEPT);
    EXPECT_FALSE(JsonPull(text).begun);
    EXPECT_EQ(reason(),
              "expected ',' or ']', found '2' (byte " + std::to_string(text.size() - 2) + ")");
}

TEST_F(PayloadErrorTest, ReasonAboveTheSizeLimitHasNoPosition) {
    EXPECT_FALSE(JsonPull(malformedText(JsonFailure::MAX_KEPT + 1)).begun);
    EXPECT_EQ(ErrorStorage::current().number(), MalformedPayload);
    EXPECT_EQ(reason(),
              "The JSON document has an improper structure: missing or superfluous commas, "
              "braces, missing keys, etc.");
    const std::string deep(1001, '[');
    EXPECT_FALSE(JsonPull(deep + std::string(JsonFailure::MAX_KEPT, ' ')).begun);
    EXPECT_THAT(reason(), testing::Not(testing::HasSubstr("byte")));
}

}  // namespace
