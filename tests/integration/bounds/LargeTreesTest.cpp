#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "Million.h"
#include "kova/core/Factory.h"
#include "kova/core/GenericObject.h"
#include "kova/core/Payload.h"
#include "kova/core/TypeSerializers.h"
#include "support/Trees.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"

// Builds containers with a million entries, looks up their entries, prints, parses, serializes,
// deserializes and destroys them.

namespace kova::test {
namespace {

using util::config::Array;
using util::config::Dictionary;
using util::config::Value;
using util::config::ValueInt;

const long MILLION = million();

std::string keyOf(long i) {
    return "key" + std::to_string(MILLION + i);
}

/// Adds the keys in steps of `step` modulo MILLION: in ascending order for 1, in a scattered order
/// for a prime that does not divide MILLION.
std::unique_ptr<Dictionary> largeDictionary(long step) {
    auto dictionary = std::make_unique<Dictionary>();
    for (long i = 0; i < MILLION; ++i) {
        const long number = i * step % MILLION;
        EXPECT_FALSE(dictionary->add(keyOf(number), new ValueInt(number)));
    }
    return dictionary;
}

std::unique_ptr<Array> largeArray() {
    auto array = std::make_unique<Array>();
    for (long i = 0; i < MILLION; ++i) {
        EXPECT_FALSE(array->add(new ValueInt(i)));
    }
    return array;
}

TEST(LargeTrees, DictionaryKeepsItsEntriesInOrder) {
    const std::unique_ptr<Dictionary> dictionary = largeDictionary(7919);
    EXPECT_EQ(dictionary->size(), static_cast<std::size_t>(MILLION));
    std::string last;
    long wrong = 0;
    for (const auto& [key, value] : *dictionary) {
        wrong += last < key ? 0 : 1;
        last = key;
    }
    for (long i = 0; i < MILLION; ++i) {
        wrong += (*dictionary)[keyOf(i)] == ValueInt(i) ? 0 : 1;
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_FALSE(dictionary->hasKey(keyOf(MILLION)));
    for (long i = 0; i < MILLION; i += 2) {
        wrong += dictionary->remove(keyOf(i), true) ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(dictionary->size(), static_cast<std::size_t>(MILLION) / 2);
    dictionary->clear();
    EXPECT_TRUE(dictionary->begin() == dictionary->end());
}

/// Checks that the tree survives printing and parsing in both layouts, copying, and a JSON payload.
void roundTrip(const Value& tree) {
    const std::string text = tree.toJson(true);
    const Tree parsed = parseTree(text);
    ASSERT_NE(parsed, nullptr);
    EXPECT_TRUE(*parsed == tree);
    EXPECT_TRUE(*parseTree(tree.toJson(false)) == tree);
    const Tree copy(tree.clone());
    EXPECT_TRUE(*copy == tree);
    const Tree fromPayload(Payload::createConfigFrom(Payload::createFromConfig(tree)));
    ASSERT_NE(fromPayload, nullptr);
    EXPECT_TRUE(*fromPayload == tree);
}

template <typename Container>
void writeAndRead(const Container& tree, mimetypes::MimeTypeID mimeType) {
    const std::unique_ptr<serializer::IStructuredSerializer> to(
        serializer::Factory::createSerializer(mimeType));
    const std::unique_ptr<serializer::IStructuredPullDeserializer> from(
        serializer::Factory::createDeserializer(mimeType));
    util::ByteBufferWriter writer(0);
    unsigned long size = 0;
    ASSERT_FALSE(to->beginSerialize(&writer, nullptr) || serializer::serialize(*to, tree) ||
                 to->endSerialize(size));
    util::ByteBufferReader reader(writer.data(), size, false);
    Container out;
    ASSERT_FALSE(from->beginDeserialize(&reader, nullptr) || serializer::deserialize(*from, out) ||
                 from->endDeserialize());
    EXPECT_TRUE(out == tree);
}

TEST(LargeTrees, DictionaryIsPrintedParsedCopiedAndSerialized) {
    const std::unique_ptr<Dictionary> dictionary = largeDictionary(1);
    roundTrip(*dictionary);
    writeAndRead(*dictionary, mimetypes::JSON);
    writeAndRead(*dictionary, mimetypes::AXOBin);
}

TEST(LargeTrees, ArrayIsPrintedParsedCopiedAndSerialized) {
    const std::unique_ptr<Array> array = largeArray();
    EXPECT_EQ(array->arraySize(), static_cast<std::size_t>(MILLION));
    EXPECT_TRUE((*array)[MILLION - 1] == ValueInt(MILLION - 1));
    EXPECT_TRUE((*array)[MILLION].isUndefined());
    roundTrip(*array);
    writeAndRead(*array, mimetypes::JSON);
    writeAndRead(*array, mimetypes::AXOBin);
}

TEST(LargeTrees, IntegerArrayRoundTripsThroughAVector) {
    const std::unique_ptr<Array> array = largeArray();
    const auto numbers = fromGenericArray<long>(*array);
    ASSERT_TRUE(numbers);
    EXPECT_EQ(numbers->size(), static_cast<std::size_t>(MILLION));
    const std::unique_ptr<Array> again(toGeneric(*numbers));
    EXPECT_TRUE(*again == *array);
}

}  // namespace
}  // namespace kova::test
