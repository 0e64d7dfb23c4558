#include <gtest/gtest.h>

#include "support/FailingAllocations.h"
#include "support/Payloads.h"
#include "util/serializer/JSONStructuredPushDeserializerOld.h"

namespace {

using namespace util::serializer;
using payloads::jsonToBinary;
using payloads::jsonToJson;
using util::MAX_NESTING_DEPTH;

struct Row {
    char const* json;
    char const* hex;
};

constexpr Row READ[] = {
    {"null", "f6"},
    {"true", "f5"},
    {" false\n", "f4"},
    {"0", "00"},
    {"-0", "00"},
    {"-1", "20"},
    {"9223372036854775807", "1b7fffffffffffffff"},
    {"9223372036854775808", "1b8000000000000000"},
    {"18446744073709551615", "1bffffffffffffffff"},
    {"-9223372036854775808", "3b7fffffffffffffff"},
    {"1.5", "fb3ff8000000000000"},
    {"1.0", "fb3ff0000000000000"},
    {"1e2", "fb4059000000000000"},
    {"-0.0", "fb8000000000000000"},
    {"1.7976931348623157e308", "fb7fefffffffffffff"},
    {"5e-324", "fb0000000000000001"},
    {"\"\"", "60"},
    {"\"a\\u00fc\\n\\\"\"", "6561c3bc0a22"},
    {"\"\\ud83d\\ude00\"", "64f09f9880"},
    {"\"\\u0000\"", "6100"},
    {"[]", "9fff"},
    {"{}", "bfff"},
    {"[1, [2, []], {}, null]", "9f019f029fffffbffff6ff"},
    {"{\"a\": {\"b\": [true]}, \"\": 2}", "bf6161bf61629ff5ffff6002ff"},
    {"{\"a\": 1, \"a\": 2}", "bf616101616102ff"},
};

TEST(JSONStructuredPushDeserializerOldTest, ValidTextIsReplayed) {
    for (const Row& row : READ) {
        EXPECT_EQ(jsonToBinary(row.json).value_or("refused"), row.hex) << row.json;
    }
}

constexpr char const* REFUSED[] = {"",
                                   " ",
                                   "nul",
                                   "nulll",
                                   "tru",
                                   "True",
                                   "01",
                                   "+1",
                                   "1.",
                                   ".5",
                                   "1e",
                                   "--1",
                                   "0x10",
                                   "NaN",
                                   "Infinity",
                                   "1 2",
                                   "18446744073709551616",
                                   "-9223372036854775809",
                                   "1e400",
                                   "-1e999",
                                   "\"",
                                   "\"a",
                                   "'a'",
                                   "\"\\x\"",
                                   "\"\\u12\"",
                                   "\"\\ud800\"",
                                   "\"\\udc00\"",
                                   "\"\\ud800\\u0041\"",
                                   "\"\t\"",
                                   "\"\xFF\"",
                                   "\"\xED\xA0\x80\"",
                                   "[",
                                   "]",
                                   "[1",
                                   "[1,]",
                                   "[,1]",
                                   "[1 2]",
                                   "[1}",
                                   "{",
                                   "{\"a\"}",
                                   "{\"a\":}",
                                   "{\"a\":1,}",
                                   "{a:1}",
                                   "{1:1}",
                                   "{\"a\":1",
                                   "{\"a\" 1}",
                                   "[1]]",
                                   "{}{}",
                                   "[1]//",
                                   "/**/1",
                                   "\xEF\xBB\xBF[1]"};

TEST(JSONStructuredPushDeserializerOldTest, InvalidJsonIsRejected) {
    for (char const* const json : REFUSED) {
        EXPECT_EQ(jsonToBinary(json), std::nullopt) << json;
    }
    EXPECT_EQ(jsonToBinary(std::string_view("1\0", 2)), std::nullopt);
}

TEST(JSONStructuredPushDeserializerOldTest, TruncatedTextIsRejected) {
    const std::string text = R"({"a": [1, -2.5, "x\u00e4", null], "b": {"c": true}})";
    ASSERT_TRUE(jsonToBinary(text).has_value());
    for (std::size_t length = 0; length < text.size(); ++length) {
        EXPECT_EQ(jsonToBinary(text.substr(0, length)), std::nullopt) << length;
    }
}

TEST(JSONStructuredPushDeserializerOldTest, CorruptedTextIsRejectedOrRoundTrips) {
    const std::string text = R"({"a":[1,-2.5,"x\u00e4",null],"b":{"c":true}})";
    std::size_t refused = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = text;
            changed[i] = static_cast<char>(byte);
            refused += jsonToBinary(changed).has_value() ? 0 : 1;
        }
    }
    EXPECT_GT(refused, text.size() * 100);
}

std::string nested(std::size_t depth, std::string_view open, std::string_view close) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) {
        text += open;
    }
    text += "1";
    for (std::size_t i = 0; i < depth; ++i) {
        text += close;
    }
    return text;
}

TEST(JSONStructuredPushDeserializerOldTest, NestingIsAcceptedUpToTheLimit) {
    const std::string arrays = nested(MAX_NESTING_DEPTH, "[", "]");
    const std::string objects = nested(MAX_NESTING_DEPTH, "{\"a\":", "}");
    EXPECT_EQ(jsonToJson(arrays), arrays);
    EXPECT_EQ(jsonToJson(objects), objects);
    EXPECT_EQ(jsonToJson('[' + arrays + ']'), std::nullopt);
    EXPECT_EQ(jsonToJson("{\"a\":" + objects + '}'), std::nullopt);
    EXPECT_EQ(jsonToJson(nested(100000, "[", "]")), std::nullopt);
}

bool isReadWithLimit(std::string_view json, unsigned int limit) {
    JSONStructuredPushDeserializerOld source;
    source.setNestingLimit(limit);
    return payloads::writtenAsJson([&](IStructuredSerializer& target) {
               return !payloads::replayed(source, json, target);
           })
        .has_value();
}

TEST(JSONStructuredPushDeserializerOldTest, NestingLimitCanBeLoweredButNotRaised) {
    EXPECT_TRUE(isReadWithLimit("1", 0));
    EXPECT_FALSE(isReadWithLimit("[]", 0));
    EXPECT_FALSE(isReadWithLimit("{}", 0));
    EXPECT_TRUE(isReadWithLimit("[{}]", 2));
    EXPECT_FALSE(isReadWithLimit("[{\"a\":[]}]", 2));
    EXPECT_FALSE(isReadWithLimit(nested(MAX_NESTING_DEPTH + 1, "[", "]"), 100000));
}

TEST(JSONStructuredPushDeserializerOldTest, DeserializerIsReusable) {
    JSONStructuredPushDeserializerOld source;
    for (char const* const json : {"[1]", "[", "{\"a\":[true]}", "", "2"}) {
        const auto text = payloads::writtenAsJson([&](IStructuredSerializer& target) {
            return !payloads::replayed(source, json, target);
        });
        EXPECT_EQ(text, jsonToJson(json)) << json;
    }
}

TEST(JSONStructuredPushDeserializerOldTest, EmptyBlockIsRejected) {
    JSONStructuredPushDeserializerOld source;
    util::ByteBufferReader nothing(nullptr, 0, false);
    util::ByteBufferWriter writer(0);
    JSONStructuredSerializerOld target(true);
    ASSERT_FALSE(target.beginSerialize(&writer, nullptr));
    ASSERT_FALSE(source.beginDeserialize(&nothing, &target));
    EXPECT_EQ(source.deserialize(), IStructuredPushDeserializer::FAILED);
}

TEST(JSONStructuredPushDeserializerOldTest, DeserializerIsReusableAfterAFailedAllocation) {
    const unsigned char json[] = {'[', '1', ',', '{', '}', ']'};
    util::ByteBufferWriter writer(1000);
    ASSERT_FALSE(writer.appendByte('>'));  // allocates the capacity
    JSONStructuredSerializerOld target(true);
    for (long successes = 0;; ++successes) {
        JSONStructuredPushDeserializerOld source;
        const auto replay = [&] {
            util::ByteBufferReader reader(json, sizeof json, false);
            const bool failed = target.beginSerialize(&writer, nullptr) ||
                                source.beginDeserialize(&reader, &target) ||
                                source.deserialize() != IStructuredPushDeserializer::DONE;
            return source.endDeserialize() || failed;
        };
        bool failed = false;
        {
            const kova::test::FailingAllocations failing(successes);
            failed = replay();
        }
        if (!failed) {
            EXPECT_GT(successes, 3);
            return;
        }
        ASSERT_FALSE(replay()) << "after " << successes;
    }
}

TEST(JSONStructuredPushDeserializerOldTest, CallsInTheWrongOrderFail) {
    JSONStructuredPushDeserializerOld source;
    util::ByteBufferReader reader = payloads::readerOf("1");
    util::ByteBufferWriter writer(0);
    JSONStructuredSerializerOld target(true);
    EXPECT_TRUE(source.endDeserialize());
    EXPECT_EQ(source.deserialize(), IStructuredPushDeserializer::FAILED);
    EXPECT_TRUE(source.beginDeserialize(nullptr, &target));
    EXPECT_TRUE(source.beginDeserialize(&reader, nullptr));
    EXPECT_EQ(source.deserialize(), IStructuredPushDeserializer::FAILED);
    ASSERT_FALSE(source.beginDeserialize(&reader, &target));
    EXPECT_TRUE(source.endDeserialize()) << "nothing was read";
    ASSERT_FALSE(target.beginSerialize(&writer, nullptr));
    ASSERT_FALSE(source.beginDeserialize(&reader, &target));
    EXPECT_EQ(source.deserialize(), IStructuredPushDeserializer::DONE);
    EXPECT_EQ(source.deserialize(), IStructuredPushDeserializer::FAILED) << "it was read already";
    EXPECT_FALSE(source.endDeserialize());
}

}  // namespace
