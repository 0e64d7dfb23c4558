#include "Sessions.h"

#include <utility>

#include "kova/core/Factory.h"

namespace kova::kit::detail {

namespace {

using kova::serializer::Factory;

/// The capacity that is reserved for a payload.
constexpr unsigned long FIRST_CAPACITY = 256;

}  // namespace

PayloadReader::PayloadReader(const Payload& payload, const Limits& limits)
    : in_(Factory::createDeserializer(mimetypes::typename2id(payload.getMimeType()))),
      bytes_(payload.data(), payload.size(), false),
      reader_(in_.get(), payload.getMimeType(), limits) {}

PayloadWriter::PayloadWriter(std::string mimeType, const Limits& limits)
    : mimeType_(std::move(mimeType)),
      out_(Factory::createSerializer(mimetypes::typename2id(mimeType_))),
      bytes_(FIRST_CAPACITY),
      writer_(out_.get(), limits) {
    if (isKnown()) {
        writer_.begin(bytes_);
    }
}

Error unknownFormat(unsigned short code, const std::string& mimeType) {
    return {code, "expected a payload of JSON or binary structured data, found " +
                      State::quoted(mimeType)};
}

}  // namespace kova::kit::detail
