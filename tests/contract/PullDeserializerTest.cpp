#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kova/core/Factory.h"
#include "kova/core/TypeSerializers.h"
#include "support/Buffers.h"
#include "support/Trees.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredSerializer.h"

// The same calls return the same values whether the data are read from a value tree, from JSON or
// from the binary format.

namespace {

using kova::serializer::deserialize;
using kova::serializer::Factory;
using kova::serializer::serialize;
using kova::test::parseTree;
using kova::test::Tree;
using util::config::Value;
using util::serializer::IStructuredPullDeserializer;

bool serializeRoot(util::serializer::IStructuredSerializer& serializer, Value& root) {
    if (auto* dictionary = root.getEditableDictionary()) {
        return serialize(serializer, *dictionary);
    }
    if (auto* array = root.getEditableArray()) {
        return serialize(serializer, *array);
    }
    return serialize(serializer, root);
}

/// A payload of the given mime type with the data of a value tree, and its deserializer.
template <kova::mimetypes::MimeTypeID MIME_TYPE>
class Payload {
public:
    explicit Payload(Value& tree) {
        util::ByteBufferWriter writer(256);
        const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
            Factory::createSerializer(MIME_TYPE));
        unsigned long written = 0;
        EXPECT_FALSE(serializer->beginSerialize(&writer, nullptr));
        EXPECT_FALSE(serializeRoot(*serializer, tree));
        EXPECT_FALSE(serializer->endSerialize(written));
        written_ = kova::test::bytesOf(writer);
        bytes_ = std::make_unique<util::ByteBufferReader>(
            reinterpret_cast<unsigned char const*>(written_.data()), written_.size(), false);
        reader_.reset(Factory::createDeserializer(MIME_TYPE));
        EXPECT_FALSE(reader_->beginDeserialize(bytes_.get(), nullptr));
    }
    IStructuredPullDeserializer& reader() { return *reader_; }

private:
    std::string written_;
    std::unique_ptr<util::ByteBufferReader> bytes_;
    std::unique_ptr<IStructuredPullDeserializer> reader_;
};

/// A deserializer that reads a value tree directly.
class Generic {
public:
    explicit Generic(Value& tree) : reader_(Factory::createGenericDataDeserializer(tree)) {
        EXPECT_FALSE(reader_->beginDeserialize(nullptr, nullptr));
    }
    IStructuredPullDeserializer& reader() { return *reader_; }

private:
    std::unique_ptr<IStructuredPullDeserializer> reader_;
};

template <typename Source>
class PullDeserializer : public testing::Test {
protected:
    IStructuredPullDeserializer& read(const std::string& json) {
        tree_ = parseTree(json);
        source_ = std::make_unique<Source>(*tree_);
        return source_->reader();
    }
    Value& tree() { return *tree_; }

private:
    Tree tree_;
    std::unique_ptr<Source> source_;
};

struct SourceNames {
    template <typename Source>
    static std::string GetName(int) {
        return std::is_same_v<Source, Generic>                          ? "Generic"
               : std::is_same_v<Source, Payload<kova::mimetypes::JSON>> ? "Json"
                                                                        : "Binary";
    }
};

using Sources =
    testing::Types<Generic, Payload<kova::mimetypes::JSON>, Payload<kova::mimetypes::AXOBin>>;
TYPED_TEST_SUITE(PullDeserializer, Sources, SourceNames);

template <typename T>
void expectLeaf(IStructuredPullDeserializer& reader, const T& expected) {
    T value{};
    EXPECT_FALSE(deserialize(reader, value)) << expected;
    EXPECT_EQ(value, expected);
    EXPECT_FALSE(reader.endDeserialize()) << expected;
}

TYPED_TEST(PullDeserializer, ReadsScalars) {
    expectLeaf(this->read("true"), true);
    expectLeaf<signed char>(this->read("-128"), -128);
    expectLeaf<unsigned char>(this->read("255"), 255);
    expectLeaf<short>(this->read("-32768"), -32768);
    expectLeaf<unsigned short>(this->read("65535"), 65535);
    expectLeaf(this->read("-2147483648"), -2147483647 - 1);
    expectLeaf(this->read("4294967295"), 4294967295U);
    expectLeaf(this->read("-9223372036854775808"), -9223372036854775807L - 1);
    expectLeaf(this->read("9223372036854775807"), 9223372036854775807UL);
    expectLeaf(this->read("0.5"), 0.5F);
    expectLeaf(this->read("0.1"), 0.1);
    expectLeaf(this->read("3"), 3.0);
    expectLeaf(this->read("\"t\\u0000x\""), std::string("t\0x", 3));
    EXPECT_FALSE(this->read("null").getNull());
}

TYPED_TEST(PullDeserializer, FailedGetterLeavesTheOutputUnchanged) {
    int integer = 5;
    EXPECT_TRUE(deserialize(this->read("\"1\""), integer));
    EXPECT_TRUE(deserialize(this->read("4294967296"), integer));
    EXPECT_TRUE(deserialize(this->read("[1]"), integer));
    EXPECT_EQ(integer, 5);
    bool flag = true;
    EXPECT_TRUE(deserialize(this->read("0"), flag));
    EXPECT_TRUE(flag);
    std::string text = "former";
    EXPECT_TRUE(deserialize(this->read("null"), text));
    EXPECT_EQ(text, "former");
    EXPECT_TRUE(this->read("false").getNull());
}

TYPED_TEST(PullDeserializer, ReadsStructsAndArrays) {
    auto& reader =
        this->read(R"({"list": [1, 2, 3], "name": "x", "skipped": {"a": [{}]}, "z": 9})");
    std::string name;
    std::string text;
    int value = 0;
    int sum = 0;
    ASSERT_FALSE(reader.beginStruct(nullptr));
    ASSERT_FALSE(reader.beginField(name));
    EXPECT_EQ(name, "list");
    ASSERT_FALSE(reader.beginArray());
    while (!reader.isArrayEnd()) {
        ASSERT_FALSE(reader.beginElement());
        ASSERT_FALSE(deserialize(reader, value));
        ASSERT_FALSE(reader.endElement());
        sum += value;
    }
    EXPECT_EQ(sum, 6);
    ASSERT_FALSE(reader.endArray());
    ASSERT_FALSE(reader.endField());
    ASSERT_FALSE(reader.beginField(name));
    EXPECT_FALSE(deserialize(reader, text));
    EXPECT_EQ(text, "x");
    ASSERT_FALSE(reader.endField());
    ASSERT_FALSE(reader.beginField(name));
    EXPECT_EQ(name, "skipped");
    ASSERT_FALSE(reader.skipField());
    ASSERT_FALSE(reader.beginField(name));
    EXPECT_FALSE(deserialize(reader, value));
    EXPECT_EQ(value, 9);
    ASSERT_FALSE(reader.endField());
    EXPECT_TRUE(reader.isStructEnd());
    EXPECT_FALSE(reader.endStruct());
    EXPECT_FALSE(reader.endDeserialize());
}

constexpr char const* TREES[] = {
    "{}",
    R"({"": {}, "a": [], "b": [[], {}, [[null]]]})",
    R"({"array": [true, false, null, 1, -1, 2147483647, -2147483648], "float": [0.1, -2.5, 1e300],
        "text": ["", "x", "\"\\\u0000\u20ac"]})",
    R"({"a": {"a": {"a": {"b": 1}, "c": 2}, "d": 3}, "e": 4})",
};

TYPED_TEST(PullDeserializer, RoundTripsATree) {
    for (char const* json : TREES) {
        util::config::Dictionary copy;
        auto& reader = this->read(json);
        EXPECT_FALSE(deserialize(reader, copy)) << json;
        EXPECT_EQ(copy, this->tree());
        EXPECT_FALSE(reader.endDeserialize()) << json;

        util::config::Array wrapped;
        auto& second = this->read(std::string("[") + json + ", 7]");
        EXPECT_FALSE(deserialize(second, wrapped)) << json;
        EXPECT_EQ(wrapped, this->tree());
        EXPECT_FALSE(second.endDeserialize()) << json;
    }
}

TYPED_TEST(PullDeserializer, ReadsATreeInAField) {
    auto& reader = this->read(R"({"a": {"x": [1]}, "b": [{"y": 2}], "c": 3})");
    std::string name;
    util::config::Dictionary dictionary;
    util::config::Array array;
    int value = 0;
    ASSERT_FALSE(reader.beginStruct(nullptr));
    ASSERT_FALSE(reader.beginField(name));
    ASSERT_FALSE(deserialize(reader, dictionary));
    ASSERT_FALSE(reader.endField());
    ASSERT_FALSE(reader.beginField(name));
    ASSERT_FALSE(deserialize(reader, array));
    ASSERT_FALSE(reader.endField());
    ASSERT_FALSE(reader.beginField(name));
    ASSERT_FALSE(deserialize(reader, value));
    EXPECT_EQ(dictionary, this->tree()["a"]);
    EXPECT_EQ(array, this->tree()["b"]);
    EXPECT_EQ(value, 3);
}

TYPED_TEST(PullDeserializer, StructsAndArraysAreNotInterchangeable) {
    util::config::Dictionary dictionary;
    util::config::Array array;
    EXPECT_TRUE(deserialize(this->read("[1]"), dictionary));
    EXPECT_TRUE(deserialize(this->read("{\"a\": 1}"), array));
    EXPECT_TRUE(deserialize(this->read("1"), dictionary));
    EXPECT_TRUE(deserialize(this->read("1"), array));
    EXPECT_EQ(kova::test::entryCount(dictionary), 0U);
    EXPECT_EQ(array.arraySize(), 0U);
}

}  // namespace
