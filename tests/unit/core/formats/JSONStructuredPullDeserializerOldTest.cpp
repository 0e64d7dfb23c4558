#include "kova/core/JSONStructuredPullDeserializerOld.h"

#include <gtest/gtest.h>

#include <string>

#include "util/ByteBufferReader.h"

namespace {

using util::serializer::JSONStructuredPullDeserializerOld;

bool begin(JSONStructuredPullDeserializerOld& deserializer, const std::string& text) {
    util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(text.data()), text.size(),
                                  false);
    return deserializer.beginDeserialize(&reader, nullptr);
}

TEST(JSONStructuredPullDeserializerOld, ReadsAJsonText) {
    JSONStructuredPullDeserializerOld deserializer;
    ASSERT_FALSE(begin(deserializer, R"({"unit": "px", "width": 640})"));
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    std::string name;
    std::string unit;
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(name, "unit");
    EXPECT_FALSE(deserializer.getString(unit));
    EXPECT_EQ(unit, "px");
    ASSERT_FALSE(deserializer.endField());
    EXPECT_FALSE(deserializer.isStructEnd());
    std::int32_t width = 0;
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(name, "width");
    EXPECT_FALSE(deserializer.getInt32(width));
    EXPECT_EQ(width, 640);
    ASSERT_FALSE(deserializer.endField());
    EXPECT_TRUE(deserializer.isStructEnd());
    EXPECT_FALSE(deserializer.endStruct());
    EXPECT_FALSE(deserializer.endDeserialize());
}

TEST(JSONStructuredPullDeserializerOld, RejectsTextsThatAreNotJson) {
    for (char const* text : {"", "{", "[1,]", "nul", "1 2"}) {
        JSONStructuredPullDeserializerOld deserializer;
        EXPECT_TRUE(begin(deserializer, text)) << text;
    }
}

TEST(JSONStructuredPullDeserializerOld, ReadsAnotherTextAfterReset) {
    JSONStructuredPullDeserializerOld deserializer;
    for (const std::int64_t expected : {1L, 2L}) {
        ASSERT_FALSE(begin(deserializer, std::to_string(expected)));
        std::int64_t value = 0;
        EXPECT_FALSE(deserializer.getInt64(value));
        EXPECT_EQ(value, expected);
        deserializer.reset();
    }
}

}  // namespace
