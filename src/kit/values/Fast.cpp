#include "kova/kit/values/Fast.h"

#if KOVA_KIT_HAS_FAST_PATH

#include <optional>

#include "SharedBytes.h"
#include "kova/core/MimeTypes.h"
#include "util/ByteBufferWriter.h"

namespace kova::kit::detail {

namespace {

using Format = util::serializer::FieldReader::Format;

/// The capacity that is reserved for a payload.
constexpr unsigned long FIRST_CAPACITY = 256;

std::optional<Format> formatOf(const std::string& mimeType) noexcept {
    switch (mimetypes::typename2id(mimeType)) {
        case mimetypes::JSON:
            return Format::Json;
        case mimetypes::AXOBin:
            return Format::Binary;
        default:
            return std::nullopt;
    }
}

}  // namespace

bool readFast(const Payload& payload, const Limits& limits, bool (*read)(FastReader&, void*),
              void* out) {
    const std::optional<Format> format = formatOf(payload.getMimeType());
    if (!format || payload.isEmpty()) {
        return false;
    }
    FastReader reader(
        *format,
        {reinterpret_cast<char const*>(payload.data()), static_cast<std::size_t>(payload.size())},
        limits);
    return reader.begin() && read(reader, out) && reader.end();
}

Payload writeFast(const std::string& mimeType, const Limits& limits,
                  bool (*write)(FastWriter&, const void*), const void* value) {
    const std::optional<Format> format = formatOf(mimeType);
    if (!format) {
        return {};
    }
    util::ByteBufferWriter bytes(FIRST_CAPACITY);
    FastWriter writer(*format, bytes, limits);
    return write(writer, value) ? Payload(shareBytes(bytes.data(), bytes.size()), mimeType)
                                : Payload();
}

}  // namespace kova::kit::detail

#endif
