#include "kova/core/Factory.h"

#include <new>

#include "formats/PayloadFormat.h"
#include "kova/core/GenericDataPullDeserializer.h"

namespace kova::serializer {

util::serializer::IStructuredSerializer* Factory::createSerializer(mimetypes::MimeTypeID mimeType) {
    detail::PayloadFormat const* const format = detail::PayloadFormat::find(mimeType);
    return format != nullptr && format->createSerializer != nullptr ? format->createSerializer()
                                                                    : nullptr;
}

util::serializer::IStructuredPullDeserializer* Factory::createDeserializer(
    mimetypes::MimeTypeID mimeType) {
    detail::PayloadFormat const* const format = detail::PayloadFormat::find(mimeType);
    return format != nullptr && format->createDeserializer != nullptr ? format->createDeserializer()
                                                                      : nullptr;
}

util::serializer::IStructuredPullDeserializer* Factory::createGenericDataDeserializer(
    const util::config::Value& root) {
    return new (std::nothrow) GenericDataPullDeserializer(root);
}

}  // namespace kova::serializer
