#include "kova/kit/values/Fast.h"

#if KOVA_KIT_HAS_FAST_PATH

#include <optional>

#include "IdleBuffer.h"
#include "SharedBytes.h"
#include "kova/core/MimeTypes.h"

namespace kova::kit::detail {

namespace {

using Format = util::serializer::FieldReader::Format;

std::optional<Format> formatOf(std::string_view mimeType) noexcept {
    constexpr std::string_view JSON = mimetypes::JSON_TYPE;
    constexpr std::string_view BINARY = mimetypes::AXOBIN_TYPE;
    if (mimeType == BINARY) {
        return Format::Binary;
    }
    return mimeType == JSON ? std::optional(Format::Json) : std::nullopt;
}

}  // namespace

unsigned char* FastWriter::putRareName(std::string_view name, std::size_t further,
                                       unsigned char* at) noexcept {
    if (!isBinary_ && at[-1] != '{') {
        *at++ = ',';
    }
    commit(at);
    if (!out_.value(name) || !(isBinary_ || !bytes_.appendByte(':'))) {
        return nullptr;
    }
    return reserve(further);
}

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
    BufferLoan loan;
    FastWriter writer(*format, loan.bytes(), limits);
    return write(writer, value)
               ? Payload(shareBytes(loan.bytes().data(), loan.bytes().size()), mimeType)
               : Payload();
}

}  // namespace kova::kit::detail

#endif
