#include "support/Formats.h"

#include "kova/core/Factory.h"
#include "kova/core/TypeSerializers.h"
#include "util/ByteBufferWriter.h"

namespace fuzz {

using kova::Payload;
using kova::mimetypes::MimeTypeID;
using kova::serializer::Factory;
using kova::test::Tree;
using util::config::Array;
using util::config::Dictionary;
using util::config::Value;

namespace {

bool write(util::serializer::IStructuredSerializer& serializer, Value& tree) {
    return tree.isArray() ? kova::serializer::serialize(serializer, *tree.getEditableArray())
                          : kova::serializer::serialize(serializer, *tree.getEditableDictionary());
}

bool read(util::serializer::IStructuredPullDeserializer& reader, Value& tree) {
    return tree.isArray() ? kova::serializer::deserialize(reader, *tree.getEditableArray())
                          : kova::serializer::deserialize(reader, *tree.getEditableDictionary());
}

Payload payloadOf(MimeTypeID id, char const* type, Value& tree) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
        Factory::createSerializer(id));
    util::ByteBufferWriter writer(64);
    unsigned long size = 0;
    require(!serializer->beginSerialize(&writer, nullptr) && !write(*serializer, tree) &&
                !serializer->endSerialize(size),
            "a tree that was read can be serialized");
    return Payload::createFromWriter(writer, type);
}

Tree treeOf(MimeTypeID id, const Payload& payload, bool isArray) {
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> reader(
        Factory::createDeserializer(id));
    util::ByteBufferReader bytes(payload.data(), payload.size(), false);
    Tree tree(isArray ? static_cast<Value*>(new Array) : new Dictionary);
    require(!reader->beginDeserialize(&bytes, nullptr) && !read(*reader, *tree) &&
                !reader->endDeserialize(),
            "a serialized tree can be deserialized");
    return tree;
}

}  // namespace

Payload anyPayload(Input& input) {
    using namespace kova::mimetypes;
    constexpr char const* TYPES[] = {JSON_TYPE,    AXOBIN_TYPE,       PLAIN_TEXT_TYPE,
                                     MSGPACK_TYPE, OCTET_STREAM_TYPE, "text/plain"};
    char const* const type = TYPES[input.byte() % std::size(TYPES)];
    const std::string bytes = input.rest();
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), type);
}

Tree throughFormat(MimeTypeID id, char const* type, Value& tree) {
    const Payload payload = payloadOf(id, type, tree);
    Tree converted(Payload::createConfigFrom(payload));
    require(converted && *converted == *treeOf(id, payload, tree.isArray()),
            "Payload and the deserializer read the same tree");
    return converted;
}

}  // namespace fuzz
