#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "support/FailingAllocations.h"
#include "support/Payloads.h"
#include "util/serializer/JSONStructuredSerializerOld.h"

namespace {

using namespace util::serializer;
using payloads::writtenAsJson;

struct Row {
    std::function<bool(IStructuredSerializer&)> write;
    char const* json;
};

template <class T>
using Numbers = std::numeric_limits<T>;

const Row VALUES[] = {
    {[](auto& s) { return s.serializeNull(); }, "null"},
    {[](auto& s) { return s.serializeBoolean(true); }, "true"},
    {[](auto& s) { return s.serializeBoolean(false); }, "false"},
    {[](auto& s) { return s.serializeInt8(Numbers<std::int8_t>::min()); }, "-128"},
    {[](auto& s) { return s.serializeUInt8(Numbers<std::uint8_t>::max()); }, "255"},
    {[](auto& s) { return s.serializeInt16(Numbers<std::int16_t>::min()); }, "-32768"},
    {[](auto& s) { return s.serializeUInt16(Numbers<std::uint16_t>::max()); }, "65535"},
    {[](auto& s) { return s.serializeInt32(Numbers<std::int32_t>::min()); }, "-2147483648"},
    {[](auto& s) { return s.serializeUInt32(Numbers<std::uint32_t>::max()); }, "4294967295"},
    {[](auto& s) { return s.serializeInt64(Numbers<std::int64_t>::min()); },
     "-9223372036854775808"},
    {[](auto& s) { return s.serializeUInt64(Numbers<std::uint64_t>::max()); },
     "18446744073709551615"},
    {[](auto& s) { return s.serializeFloat(0.1F); }, "0.1"},
    {[](auto& s) { return s.serializeDouble(0.1); }, "0.1"},
    {[](auto& s) { return s.serializeDouble(static_cast<double>(0.1F)); }, "0.10000000149011612"},
    {[](auto& s) { return s.serializeFloat(1.0F); }, "1.0"},
    {[](auto& s) { return s.serializeDouble(-0.0); }, "-0.0"},
    {[](auto& s) { return s.serializeString("a\"\\\n\x01\xC3\xA4/"); },
     "\"a\\\"\\\\\\n\\u0001\xC3\xA4/\""},
    {[](auto& s) { return s.serializeString(std::string_view("a\0b", 3)); }, "\"a\\u0000b\""},
    {[](auto& s) { return s.serializeEnum(2, 3, true); }, "2"},
    {[](auto& s) {
         return s.serializeArray(std::vector<bool>{true, false});
     },
     "[true,false]"},
    {[](auto& s) {
         return s.serializeArray(std::vector<std::int8_t>{-1, 2});
     },
     "[-1,2]"},
    {[](auto& s) {
         return s.serializeArray(std::vector<std::uint64_t>{1, 2});
     },
     "[1,2]"},
    {[](auto& s) {
         return s.serializeArray(std::vector<float>{0.1F, 2.5F});
     },
     "[0.1,2.5]"},
    {[](auto& s) { return s.serializeArray(std::vector<double>{0.1}); }, "[0.1]"},
    {[](auto& s) {
         return s.serializeArray(std::vector<std::string>{"", "b"});
     },
     "[\"\",\"b\"]"},
    {[](auto& s) { return s.serializeNullArray(2); }, "[null,null]"},
};

TEST(JSONStructuredSerializerOldTest, ValuesAreWrittenAsExpectedText) {
    for (const Row& row : VALUES) {
        EXPECT_EQ(writtenAsJson(row.write), row.json);
    }
}

const std::function<bool(IStructuredSerializer&)> UNREPRESENTABLE[] = {
    [](auto& s) { return s.serializeFloat(std::numeric_limits<float>::quiet_NaN()); },
    [](auto& s) { return s.serializeFloat(-std::numeric_limits<float>::infinity()); },
    [](auto& s) { return s.serializeDouble(std::numeric_limits<double>::quiet_NaN()); },
    [](auto& s) { return s.serializeDouble(std::numeric_limits<double>::infinity()); },
    [](auto& s) {
        return s.serializeArray(std::vector<float>{0.0F, HUGE_VALF});
    },
    [](auto& s) { return s.serializeArray(std::vector<double>{HUGE_VAL}); },
    [](auto& s) { return s.serializeString("\xFF"); },
    [](auto& s) { return s.serializeString("\xED\xA0\x80"); },
    [](auto& s) {
        return s.serializeArray(std::vector<std::string>{"a", "\x80"});
    },
    [](auto& s) { return s.beginStruct(nullptr) || s.beginField("\xC3", -1, false); },
};

TEST(JSONStructuredSerializerOldTest, ValuesWithoutAJsonFormFail) {
    for (const auto& write : UNREPRESENTABLE) {
        JSONStructuredSerializerOld serializer(true);
        util::ByteBufferWriter writer(0);
        unsigned long written = 0;
        ASSERT_FALSE(serializer.beginSerialize(&writer, nullptr));
        EXPECT_TRUE(write(serializer)) << payloads::textOf(writer);
        EXPECT_TRUE(serializer.endSerialize(written));
    }
}

// {"a": [1, [], {}, null], "b": [1, 2]}
bool writeSample(IStructuredSerializer& s) {
    return s.beginStruct(nullptr) || s.beginField("a", -1, false) || s.beginArray() ||
           s.beginElement() || s.serializeInt32(1) || s.endElement() || s.beginElement() ||
           s.beginArray() || s.endArray() || s.endElement() || s.beginElement() ||
           s.beginStruct(nullptr) || s.endStruct() || s.endElement() || s.serializeEmptyElement() ||
           s.endArray() || s.endField() || s.beginField("b", -1, false) ||
           s.serializeArray(std::vector<std::int32_t>{1, 2}) || s.endField() || s.endStruct();
}

constexpr char const* COMPACT = R"({"a":[1,[],{},null],"b":[1,2]})";
constexpr char const* INDENTED = R"({
  "a": [
    1,
    [],
    {},
    null
  ],
  "b": [
    1,
    2
  ]
})";

TEST(JSONStructuredSerializerOldTest, ConstructorSelectsTheLayout) {
    JSONStructuredSerializerOld compact(true);
    JSONStructuredSerializerOld indented(false);
    EXPECT_EQ(payloads::written(compact, writeSample), COMPACT);
    EXPECT_EQ(payloads::written(indented, writeSample), INDENTED);
}

TEST(JSONStructuredSerializerOldTest, OptionOverridesTheConstructorForOnePayload) {
    JSONStructuredSerializerOld serializer(true);
    const Options indented{{OptionTag::Compact, 0}};
    EXPECT_EQ(payloads::written(serializer, writeSample, &indented), INDENTED);
    EXPECT_EQ(payloads::written(serializer, writeSample), COMPACT);
    const Options others{{OptionTag::PlainArrays, 0}, {OptionTag::NestingLimit, 1}};
    EXPECT_EQ(payloads::written(serializer, writeSample, &others), COMPACT);
}

TEST(JSONStructuredSerializerOldTest, OptionAppliesOnlyWithinItsScopeOrStruct) {
    const Options compact{{OptionTag::Compact, 1}};
    JSONStructuredSerializerOld serializer(false);
    const auto text = payloads::written(serializer, [&](IStructuredSerializer& s) {
        return s.beginArray() || s.beginElement() || s.beginOption(&compact) ||
               s.serializeArray(std::vector<std::int32_t>{1, 2}) || s.endOption() ||
               s.endElement() || s.beginElement() || s.beginStruct(&compact) ||
               s.beginField("a", -1, false) || s.serializeArray(std::vector<bool>{true}) ||
               s.endField() || s.endStruct() || s.endElement() || s.beginElement() ||
               s.serializeArray(std::vector<bool>{true}) || s.endElement() || s.endArray();
    });
    EXPECT_EQ(text, "[\n  [1,2],\n  {\"a\":[true]},\n  [\n    true\n  ]\n]");
}

TEST(JSONStructuredSerializerOldTest, PayloadIsAppendedToTheContentOfTheWriter) {
    util::ByteBufferWriter writer(0);
    ASSERT_FALSE(writer.append("before", 6));
    JSONStructuredSerializerOld serializer(true);
    unsigned long written = 0;
    EXPECT_FALSE(serializer.beginSerialize(&writer, nullptr) || serializer.serializeNull() ||
                 serializer.endSerialize(written));
    EXPECT_EQ(written, 4U);
    EXPECT_EQ(payloads::textOf(writer), "beforenull");
}

TEST(JSONStructuredSerializerOldTest, EachWriteOfAnIndentedTextFailsWithoutMemory) {
    const std::vector<std::int32_t> ones(3, 1);
    const std::string indented = "[\n  1,\n  1,\n  1\n]";
    // The writer has to grow at each of the places in turn.
    constexpr std::size_t CAPACITY = 256;
    for (std::size_t left = 0; left < indented.size(); ++left) {
        const std::string before(CAPACITY - left, ' ');
        std::string text;
        text.reserve(2 * CAPACITY);
        const auto write = [&] {
            util::ByteBufferWriter writer(CAPACITY);
            JSONStructuredSerializerOld serializer(false);
            unsigned long written = 0;
            const bool failed = serializer.beginSerialize(&writer, nullptr) ||
                                writer.append(before.data(), before.size()) ||
                                serializer.serializeArray(ones) || serializer.endSerialize(written);
            if (!failed) {
                text.assign(reinterpret_cast<char const*>(writer.data()), writer.size());
            }
            return !failed;
        };
        EXPECT_EQ(kova::test::failEveryAllocation(write), 2) << left;
        EXPECT_EQ(text, before + indented);
    }
}

TEST(JSONStructuredSerializerOldTest, CapabilitiesAreTextAndNamedFields) {
    EXPECT_EQ(
        JSONStructuredSerializerOld(true).getApiCapibilites(),
        IStructuredSerializer::CAPABILITY_TEXT | IStructuredSerializer::CAPABILITY_NAMED_FIELDS);
}

}  // namespace
