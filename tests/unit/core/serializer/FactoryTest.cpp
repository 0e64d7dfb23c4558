#include "kova/core/Factory.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kova/core/GenericDataPullDeserializer.h"
#include "kova/core/JSONStructuredPullDeserializerOld.h"
#include "kova/core/OwningPullFromPushDeserializer.h"
#include "kova/core/TypeSerializers.h"
#include "support/Buffers.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/config/Scalars.h"
#include "util/serializer/AXOBinStructuredSerializerBE.h"
#include "util/serializer/JSONStructuredSerializerOld.h"

namespace {

using kova::serializer::Factory;
namespace mimetypes = kova::mimetypes;
namespace serializer = util::serializer;
using Serializer = std::unique_ptr<serializer::IStructuredSerializer>;
using Deserializer = std::unique_ptr<serializer::IStructuredPullDeserializer>;

TEST(Factory, CreatesTheJsonSerializerAndDeserializer) {
    const Serializer writer(Factory::createSerializer(mimetypes::JSON));
    EXPECT_NE(dynamic_cast<serializer::JSONStructuredSerializerOld*>(writer.get()), nullptr);
    const Deserializer reader(Factory::createDeserializer(mimetypes::JSON));
    EXPECT_NE(dynamic_cast<serializer::JSONStructuredPullDeserializerOld*>(reader.get()), nullptr);
}

TEST(Factory, CreatesTheBigEndianBinarySerializerAndDeserializer) {
    const Serializer writer(Factory::createSerializer(mimetypes::AXOBin));
    EXPECT_NE(dynamic_cast<serializer::AXOBinStructuredSerializerBE*>(writer.get()), nullptr);
    const Deserializer reader(Factory::createDeserializer(mimetypes::AXOBin));
    EXPECT_NE(dynamic_cast<kova::serializer::OwningPullFromPushDeserializer*>(reader.get()),
              nullptr);
}

TEST(Factory, ReturnsNullForOtherMimeTypes) {
    for (const int id : {0, 2, 3, 4, 6, -1, 1000}) {
        const auto mimeType = static_cast<mimetypes::MimeTypeID>(id);
        EXPECT_EQ(Serializer(Factory::createSerializer(mimeType)), nullptr) << id;
        EXPECT_EQ(Deserializer(Factory::createDeserializer(mimeType)), nullptr) << id;
    }
}

TEST(Factory, CreatesADeserializerOfAValueTree) {
    const util::config::ValueInt root(7);
    const Deserializer reader(Factory::createGenericDataDeserializer(root));
    EXPECT_NE(dynamic_cast<kova::serializer::GenericDataPullDeserializer*>(reader.get()), nullptr);
    ASSERT_FALSE(reader->beginDeserialize(nullptr, nullptr));
    std::int32_t value = 0;
    EXPECT_FALSE(reader->getInt32(value));
    EXPECT_EQ(value, 7);
}

/// Writes an array of two integers with the serializer of the mime type.
void write(mimetypes::MimeTypeID mimeType, util::ByteBufferWriter& writer) {
    const Serializer target(Factory::createSerializer(mimeType));
    ASSERT_FALSE(target->beginSerialize(&writer, nullptr));
    ASSERT_FALSE(target->beginArray());
    for (const int value : {1, 2}) {
        ASSERT_FALSE(target->beginElement());
        ASSERT_FALSE(kova::serializer::serialize(*target, value));
        ASSERT_FALSE(target->endElement());
    }
    ASSERT_FALSE(target->endArray());
    unsigned long written = 0;
    ASSERT_FALSE(target->endSerialize(written));
    EXPECT_EQ(written, writer.size());
}

TEST(Factory, JsonIsWrittenWithoutWhiteSpace) {
    util::ByteBufferWriter writer(16);
    write(mimetypes::JSON, writer);
    EXPECT_EQ(kova::test::bytesOf(writer), "[1,2]");
}

TEST(Factory, DeserializersReadWhatTheSerializersWrite) {
    for (const mimetypes::MimeTypeID mimeType : {mimetypes::JSON, mimetypes::AXOBin}) {
        util::ByteBufferWriter writer(16);
        write(mimeType, writer);
        const std::string written = kova::test::bytesOf(writer);
        util::ByteBufferReader bytes(reinterpret_cast<unsigned char const*>(written.data()),
                                     written.size(), false);
        const Deserializer source(Factory::createDeserializer(mimeType));
        ASSERT_FALSE(source->beginDeserialize(&bytes, nullptr)) << mimeType;
        ASSERT_FALSE(source->beginArray());
        int sum = 0;
        while (!source->isArrayEnd()) {
            int value = 0;
            ASSERT_FALSE(source->beginElement());
            ASSERT_FALSE(kova::serializer::deserialize(*source, value));
            ASSERT_FALSE(source->endElement());
            sum = 10 * sum + value;
        }
        EXPECT_EQ(sum, 12);
        EXPECT_FALSE(source->endArray());
        EXPECT_FALSE(source->endDeserialize());
    }
}

}  // namespace
