#include "kova/core/Payload.h"

#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "api/CompactPrint.h"
#include "api/Report.h"
#include "formats/PayloadFormat.h"
#include "formats/Trees.h"
#include "kova/core/MimeTypes.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/config/JSONParser.h"
#include "util/serializer/JSONStructuredSerializerOld.h"
#include "zel/GlobalErrorHandler.h"

namespace kova {

namespace {

using detail::PayloadFormat;

constexpr char const* FILE_NAME = "src/core/api/Payload";
constexpr char const* FAILED_TEXT = "<failed>";
constexpr unsigned long INITIAL_CAPACITY = 1024;

[[noreturn]] void outOfMemory(char const* function) {
    zel::GlobalErrorHandler::doAbort(FILE_NAME, function, "New call failed, OOM");
}

// Returns a blob of `size` uninitialized bytes. Aborts the process if memory is exhausted.
Blob allocate(unsigned long size, char const* function) {
    auto* const bytes = new (std::nothrow) unsigned char[size];
    if (bytes == nullptr) {
        outOfMemory(function);
    }
    Blob blob;
    try {
        blob.data.reset(bytes);  // if this throws, it frees the bytes
    } catch (const std::bad_alloc&) {
        outOfMemory(function);
    }
    blob.size = size;
    return blob;
}

// Returns a payload of the blob. Aborts the process if memory for the mime type is exhausted.
Payload make(Blob&& blob, std::string_view mimeType, char const* function) {
    try {
        return {std::move(blob), std::string(mimeType)};
    } catch (const std::bad_alloc&) {
        outOfMemory(function);
    }
}

Payload copyOf(void const* bytes, unsigned long size, std::string_view mimeType) {
    Blob blob = allocate(size, "createFromRaw");
    if (size > 0) {
        std::memcpy(blob.data.get(), bytes, size);
    }
    return make(std::move(blob), mimeType, "createFromRaw");
}

// Sets `out` to the bytes as text. If memory is exhausted, sets `out` to "<failed>" and returns
// false.
bool printBytes(const Payload& payload, std::string& out) {
    try {
        payload.getBlob().toString(out);
        return true;
    } catch (const std::bad_alloc&) {
        out = FAILED_TEXT;
        return false;
    }
}

// Sets `out` to the JSON text of a structured payload. If the payload is malformed, sets `out` to
// "<failed>" and returns false.
bool printStructured(const PayloadFormat& format, const Payload& payload, std::string& out,
                     bool compact) {
    util::serializer::JSONStructuredSerializerOld serializer(compact);
    util::ByteBufferReader reader(payload.data(), payload.size(), false);
    util::ByteBufferWriter writer(INITIAL_CAPACITY);
    unsigned long written = 0;
    if (serializer.beginSerialize(&writer, nullptr) || !format.replay(reader, serializer) ||
        serializer.endSerialize(written)) {
        out = FAILED_TEXT;
        return false;
    }
    try {
        out.resize(written);
        writer.retrieve(reinterpret_cast<unsigned char*>(out.data()), written);
    } catch (const std::bad_alloc&) {
        outOfMemory("binaryToString");
    }
    return true;
}

// Sets `out` to the text of a payload of a format that is not opaque. On failure, sets `out` to
// "<failed>" and returns false.
bool printContent(const PayloadFormat& format, const Payload& payload, std::string& out,
                  bool compact) {
    return format.isText ? printBytes(payload, out)
                         : printStructured(format, payload, out, compact);
}

bool isOpaque(const PayloadFormat& format) {
    return !format.isText && format.replay == nullptr;
}

util::config::Value* failConversion(int line, char const* reason) {
    detail::report({FILE_NAME, line}, errors::PayloadConversionFailed, reason);
    return nullptr;
}

util::config::Value* parse(const std::string& text) {
    util::config::JSONParser parser(false);
    util::config::Dictionary* dictionary = nullptr;
    util::config::Array* array = nullptr;
    if (detail::trees::parse(parser, text, &dictionary, &array)) {
        return nullptr;
    }
    if (dictionary != nullptr) {
        return dictionary;
    }
    return array != nullptr ? array : failConversion(__LINE__, " no data found json");
}

}  // namespace

void Blob::toString(std::string& out) const {
    if (data) {
        out.assign(reinterpret_cast<char const*>(data.get()), size);
    } else {
        out.clear();
    }
}

Payload::Payload(Blob&& blob, std::string&& mimeType) noexcept
    : blob_(std::move(blob)), mimeType_(std::move(mimeType)) {}

Payload::Payload(Blob&& blob, const std::string& mimeType)
    : blob_(std::move(blob)), mimeType_(mimeType) {}

Payload& Payload::operator=(Payload&& other) noexcept {
    if (this != &other) {
        blob_ = std::move(other.blob_);
        mimeType_ = std::move(other.mimeType_);
    }
    return *this;
}

const Payload& Payload::getEmpty() {
    static const auto* const empty = new Payload();
    return *empty;
}

Payload Payload::createFromRaw(unsigned char const* bytes, unsigned long size,
                               const std::string& mimeType) {
    return copyOf(bytes, size, mimeType);
}

Payload Payload::createFromJSON(const std::string& json) {
    return copyOf(json.data(), json.size(), mimetypes::JSON_TYPE);
}

Payload Payload::createFromString(const std::string& text) {
    return copyOf(text.data(), text.size(), mimetypes::PLAIN_TEXT_TYPE);
}

Payload Payload::createFromConfig(const util::config::Value& value) {
    try {
        return createFromJSON(detail::printCompact(value));
    } catch (const std::bad_alloc&) {
        outOfMemory("createFromConfig");
    }
}

Payload Payload::createFromWriter(const util::ByteBufferWriter& writer,
                                  const std::string& mimeType) {
    Blob blob = allocate(writer.size(), "createFromWriter");
    writer.retrieve(blob.data.get(), writer.size());
    return make(std::move(blob), mimeType, "createFromWriter");
}

bool Payload::createStringFrom(const Payload& payload, std::string& out, bool compact) {
    PayloadFormat const* const format = PayloadFormat::find(payload.mimeType_);
    if (payload.isEmpty()) {
        out = "<empty>";
    } else if (format == nullptr) {
        out = "<unknown>";
    } else if (isOpaque(*format)) {
        out = "<binary>";
    } else {
        return !printContent(*format, payload, out, compact);
    }
    return false;
}

util::config::Value* Payload::createConfigFrom(const Payload& payload) {
    constexpr bool COMPACT = true;
    PayloadFormat const* const format = PayloadFormat::find(payload.mimeType_);
    if (format == nullptr || isOpaque(*format)) {
        return failConversion(__LINE__, "not transformable to JSON");
    }
    if (payload.isEmpty()) {
        return failConversion(__LINE__, "no data for json");
    }
    std::string text;
    return printContent(*format, payload, text, COMPACT) ? parse(text) : nullptr;
}

}  // namespace kova
