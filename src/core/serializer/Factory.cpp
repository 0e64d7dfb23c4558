#include "kova/core/Factory.h"

#include <memory>
#include <new>

#include "kova/core/GenericDataPullDeserializer.h"
#include "kova/core/JSONStructuredPullDeserializerOld.h"
#include "kova/core/OwningPullFromPushDeserializer.h"
#include "util/serializer/AXOBinStructuredPushDeserializer.h"
#include "util/serializer/AXOBinStructuredSerializerBE.h"
#include "util/serializer/JSONStructuredSerializerOld.h"

namespace kova::serializer {

namespace {

constexpr bool COMPACT = true;

util::serializer::IStructuredPullDeserializer* createBinaryDeserializer() {
    auto source = std::make_unique<util::serializer::AXOBinStructuredPushDeserializer>(
        util::serializer::Endianess::Big);
    // Without memory for the object its constructor does not run, and the source stays here.
    return new (std::nothrow) OwningPullFromPushDeserializer(std::move(source));
}

}  // namespace

util::serializer::IStructuredSerializer* Factory::createSerializer(mimetypes::MimeTypeID mimeType) {
    switch (mimeType) {
        case mimetypes::JSON:
            return new (std::nothrow) util::serializer::JSONStructuredSerializerOld(COMPACT);
        case mimetypes::AXOBin:
            return new (std::nothrow) util::serializer::AXOBinStructuredSerializerBE();
        default:
            return nullptr;
    }
}

util::serializer::IStructuredPullDeserializer* Factory::createDeserializer(
    mimetypes::MimeTypeID mimeType) {
    switch (mimeType) {
        case mimetypes::JSON:
            return new (std::nothrow) util::serializer::JSONStructuredPullDeserializerOld();
        case mimetypes::AXOBin:
            return createBinaryDeserializer();
        default:
            return nullptr;
    }
}

util::serializer::IStructuredPullDeserializer* Factory::createGenericDataDeserializer(
    const util::config::Value& root) {
    return new (std::nothrow) GenericDataPullDeserializer(root);
}

}  // namespace kova::serializer
