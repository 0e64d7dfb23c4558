// Payloads: bytes of every mime type become texts and trees, and a tree that came out of one goes
// through all the others.
#include "kova/core/Payload.h"

#include "kova/core/Factory.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "kova/core/TypeSerializers.h"
#include "support/Fuzz.h"
#include "support/Trees.h"
#include "util/ByteBufferWriter.h"

using namespace fuzz;
using namespace kova;
using kova::test::Tree;
using util::config::Value;

namespace {

constexpr char const* TYPES[] = {mimetypes::JSON_TYPE,         mimetypes::AXOBIN_TYPE,
                                 mimetypes::PLAIN_TEXT_TYPE,   mimetypes::MSGPACK_TYPE,
                                 mimetypes::OCTET_STREAM_TYPE, "text/plain"};

bool write(util::serializer::IStructuredSerializer& serializer, Value& tree) {
    return tree.isArray() ? serializer::serialize(serializer, *tree.getEditableArray())
                          : serializer::serialize(serializer, *tree.getEditableDictionary());
}

/// The tree after it was written in a format and read from there.
Tree throughFormat(mimetypes::MimeTypeID id, char const* type, Value& tree) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
        serializer::Factory::createSerializer(id));
    util::ByteBufferWriter writer(64);
    unsigned long size = 0;
    require(!serializer->beginSerialize(&writer, nullptr) && !write(*serializer, tree) &&
                !serializer->endSerialize(size),
            "a tree that was read can be written");
    const Payload payload = Payload::createFromWriter(writer, type);
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> reader(
        serializer::Factory::createDeserializer(id));
    util::ByteBufferReader bytes(payload.data(), payload.size(), false);
    util::config::Dictionary dictionary;
    util::config::Array array;
    require(!reader->beginDeserialize(&bytes, nullptr) &&
                !(tree.isArray() ? serializer::deserialize(*reader, array)
                                 : serializer::deserialize(*reader, dictionary)) &&
                !reader->endDeserialize(),
            "what was written is read");
    Tree converted(Payload::createConfigFrom(payload));
    const Value& read = tree.isArray() ? static_cast<Value&>(array) : dictionary;
    require(converted && *converted == read, "both ways to read give the same tree");
    return converted;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const std::string type = TYPES[input.byte() % std::size(TYPES)];
    const std::string bytes = input.rest();
    const Payload payload = Payload::createFromRaw(
        reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size(), type);
    std::string text;
    const bool failed = Payload::createStringFrom(payload, text, true);
    require(failed == (text == "<failed>" && type == TYPES[1]), "a text, or <failed>");
    require(Request("update", "/a", payload).toString().find("payload='") != text.npos, "printed");
    require(Response(200, payload).toString().rfind("sc=200", 0) == 0, "printed");
    const Tree tree(Payload::createConfigFrom(payload));
    require(takeReports() <= 1, "a payload without a tree is reported once at most");
    if (tree) {
        const Tree again(Payload::createConfigFrom(Payload::createFromConfig(*tree)));
        require(again && *again == *tree, "a tree comes back from its print");
        // Integers above the signed range arrive as negative ones; a second time changes nothing.
        const Tree json = throughFormat(mimetypes::JSON, mimetypes::JSON_TYPE, *tree);
        const Tree binary = throughFormat(mimetypes::AXOBin, mimetypes::AXOBIN_TYPE, *tree);
        require(*json == *binary, "both formats carry the same tree");
        require(*throughFormat(mimetypes::JSON, mimetypes::JSON_TYPE, *json) == *json, "again");
    }
    return 0;
}
