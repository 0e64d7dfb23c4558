#include <gtest/gtest.h>

#include "util/serializer/IStructuredPullDeserializer.h"

namespace {

using namespace util::serializer;

// A reader that implements only the pure virtual functions and contains the integer 7.
class MinimalReader final : public IStructuredPullDeserializer {
public:
    bool beginDeserialize(util::ByteBufferReader*, Options const*) override { return false; }
    bool endDeserialize() override { return false; }
    void reset() override {}
    bool getNull() override { return true; }
    bool getBoolean(bool&) override { return true; }
    bool getInt8(std::int8_t&) override { return true; }
    bool getUInt8(std::uint8_t&) override { return true; }
    bool getInt16(std::int16_t&) override { return true; }
    bool getUInt16(std::uint16_t&) override { return true; }
    bool getInt32(std::int32_t& out) override {
        out = 7;
        return failing;
    }
    bool getUInt32(std::uint32_t&) override { return true; }
    bool getInt64(std::int64_t&) override { return true; }
    bool getUInt64(std::uint64_t&) override { return true; }
    bool getFloat(float&) override { return true; }
    bool getDouble(double&) override { return true; }
    using IStructuredPullDeserializer::getString;
    bool getString(std::string&) override { return true; }
    bool getNullArray(unsigned long&) override { return true; }
    bool getBooleanArray(std::vector<bool>&) override { return true; }
    bool getInt8Array(std::vector<std::int8_t>&) override { return true; }
    bool getUInt8Array(std::vector<std::uint8_t>&) override { return true; }
    bool getInt16Array(std::vector<std::int16_t>&) override { return true; }
    bool getUInt16Array(std::vector<std::uint16_t>&) override { return true; }
    bool getInt32Array(std::vector<std::int32_t>&) override { return true; }
    bool getUInt32Array(std::vector<std::uint32_t>&) override { return true; }
    bool getInt64Array(std::vector<std::int64_t>&) override { return true; }
    bool getUInt64Array(std::vector<std::uint64_t>&) override { return true; }
    bool getFloatArray(std::vector<float>&) override { return true; }
    bool getDoubleArray(std::vector<double>&) override { return true; }
    bool getStringArray(std::vector<std::string>&) override { return true; }
    bool beginArray() override { return true; }
    bool isArrayEnd() override { return true; }
    bool endArray() override { return true; }
    bool beginElement() override { return true; }
    bool endElement() override { return true; }
    bool beginStruct(Options const*) override { return true; }
    bool isStructEnd() override { return true; }
    bool endStruct() override { return true; }
    bool beginField(std::string&) override { return true; }
    bool skipField() override { return true; }
    bool endField() override { return true; }
    Entry const* getNextEntry() override { return nullptr; }
    Entry const* peekNextEntry() override { return nullptr; }

    bool failing = false;
};

TEST(IStructuredPullDeserializerTest, EnumIsReadAsA32BitInteger) {
    MinimalReader reader;
    int value = 0;
    EXPECT_FALSE(reader.getEnum(value, 8, true));
    EXPECT_EQ(value, 7);
    EXPECT_FALSE(reader.getEnum(value, 7, false));
    value = 1;
    EXPECT_TRUE(reader.getEnum(value, 7, true));
    reader.failing = true;
    EXPECT_TRUE(reader.getEnum(value, 8, true));
    EXPECT_EQ(value, 1);
}

TEST(IStructuredPullDeserializerTest, UnicodeStringsFailByDefault) {
    MinimalReader reader;
    util::UnicodeString8 text8;
    util::UnicodeString16 text16;
    zel::unicode::String text;
    EXPECT_TRUE(reader.getString(text8));
    EXPECT_TRUE(reader.getString(text16));
    EXPECT_TRUE(reader.getString(text));
}

TEST(IStructuredPullDeserializerTest, ScopesSucceedByDefault) {
    MinimalReader reader;
    EXPECT_FALSE(reader.beginArrayOption());
    EXPECT_FALSE(reader.endArrayOption());
    EXPECT_FALSE(reader.beginOption(nullptr));
    EXPECT_FALSE(reader.endOption());
}

TEST(IStructuredPullDeserializerTest, ElementsAreNotEmptyByDefault) {
    MinimalReader reader;
    bool empty = true;
    EXPECT_FALSE(reader.getEmptyElement(empty));
    EXPECT_FALSE(empty);
}

TEST(IStructuredPullDeserializerTest, FieldsAreNotFoundByNameByDefault) {
    MinimalReader reader;
    bool present = true;
    EXPECT_TRUE(reader.beginMandatoryField("a", -1));
    EXPECT_TRUE(reader.endMandatoryField());
    EXPECT_TRUE(reader.beginOptionalField("a", -1, present));
    EXPECT_TRUE(reader.endOptionalField());
    EXPECT_TRUE(present);
    EXPECT_EQ(reader.getApiCapibilites(), 0U);
}

}  // namespace
