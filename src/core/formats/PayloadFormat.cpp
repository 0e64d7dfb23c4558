#include "formats/PayloadFormat.h"

#include <iterator>
#include <memory>
#include <new>
#include <utility>

#include "formats/Trees.h"
#include "kova/core/JSONStructuredPullDeserializerOld.h"
#include "kova/core/OwningPullFromPushDeserializer.h"
#include "util/serializer/AXOBinStructuredPushDeserializer.h"
#include "util/serializer/AXOBinStructuredSerializerBE.h"
#include "util/serializer/JSONStructuredSerializerOld.h"

namespace kova::detail {

namespace {

using util::serializer::AXOBinStructuredPushDeserializer;
using util::serializer::Endianess;
using util::serializer::IStructuredPullDeserializer;
using util::serializer::IStructuredSerializer;

IStructuredSerializer* createJsonSerializer() {
    constexpr bool COMPACT = true;
    return new (std::nothrow) util::serializer::JSONStructuredSerializerOld(COMPACT);
}

// Lets a new reader access its source directly, and returns the reader. A null `reader` means that
// memory was exhausted. The source must be a `Source`, not an object of a derived class.
template <typename Source, typename Reader>
IStructuredPullDeserializer* direct(Reader* reader) {
    if (reader != nullptr) {
        trees::readDirectly<Source>(*reader);
    }
    return reader;
}

IStructuredPullDeserializer* createJsonDeserializer() {
    return direct<util::serializer::JSONStructuredPushDeserializerOld>(
        new (std::nothrow) util::serializer::JSONStructuredPullDeserializerOld());
}

bool replayBinary(util::ByteBufferReader& reader, IStructuredSerializer& target) {
    AXOBinStructuredPushDeserializer deserializer(Endianess::Big);
    return !deserializer.beginDeserialize(&reader, &target) &&
           deserializer.deserialize() != AXOBinStructuredPushDeserializer::FAILED &&
           !deserializer.endDeserialize();
}

IStructuredSerializer* createBinarySerializer() {
    return new (std::nothrow) util::serializer::AXOBinStructuredSerializerBE();
}

IStructuredPullDeserializer* createBinaryDeserializer() {
    auto source = std::make_unique<AXOBinStructuredPushDeserializer>(Endianess::Big);
    // If memory for the deserializer is exhausted, its constructor does not run. This function then
    // still owns the source.
    return direct<AXOBinStructuredPushDeserializer>(
        new (std::nothrow) serializer::OwningPullFromPushDeserializer(std::move(source)));
}

constexpr PayloadFormat FORMATS[] = {
    {mimetypes::JSON, mimetypes::JSON_TYPE, true, true, nullptr, createJsonSerializer,
     createJsonDeserializer},
    {mimetypes::PlainText, mimetypes::PLAIN_TEXT_TYPE, true, true, nullptr, nullptr, nullptr},
    {mimetypes::OctetStream, mimetypes::OCTET_STREAM_TYPE, true, false, nullptr, nullptr, nullptr},
    {mimetypes::MsgPack, mimetypes::MSGPACK_TYPE, false, false, nullptr, nullptr, nullptr},
    {mimetypes::AXOBin, mimetypes::AXOBIN_TYPE, true, false, replayBinary, createBinarySerializer,
     createBinaryDeserializer}};

constexpr bool numbersAreSequential() {
    for (std::size_t i = 0; i < std::size(FORMATS); ++i) {
        if (FORMATS[i].id != static_cast<int>(i) + 1) {
            return false;
        }
    }
    return true;
}

static_assert(std::size(FORMATS) == mimetypes::AXOBin, "each number but that of no type has a row");
static_assert(numbersAreSequential(), "a row is at the place of its number");

}  // namespace

PayloadFormat const* PayloadFormat::find(mimetypes::MimeTypeID id) noexcept {
    for (const PayloadFormat& format : FORMATS) {
        if (format.id == id) {
            return &format;
        }
    }
    return nullptr;
}

PayloadFormat const* PayloadFormat::find(std::string_view name) noexcept {
    for (const PayloadFormat& format : FORMATS) {
        if (format.name == name) {
            return &format;
        }
    }
    return nullptr;
}

}  // namespace kova::detail
