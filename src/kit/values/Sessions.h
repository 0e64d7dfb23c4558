#pragma once

#include <memory>
#include <string>

#include "PullReader.h"
#include "PushWriter.h"
#include "kova/core/Payload.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"

namespace kova::kit::detail {

/// Reads one payload with a deserializer of the platform.
class PayloadReader {
public:
    /// Creates a reader of `payload`, which must stay alive.
    PayloadReader(const Payload& payload, const Limits& limits);

    /// Returns whether the mime type has a deserializer. If not, no other function may be called.
    bool isKnown() const noexcept { return in_ != nullptr; }
    /// Begins the payload.
    [[nodiscard]] bool begin() { return reader_.begin(bytes_); }
    PullReader& reader() noexcept { return reader_; }

private:
    std::unique_ptr<util::serializer::IStructuredPullDeserializer> in_;
    util::ByteBufferReader bytes_;
    PullReader reader_;
};

/// Writes one payload with a serializer of the platform.
class PayloadWriter {
public:
    PayloadWriter(std::string mimeType, const Limits& limits);

    /// Returns whether the mime type has a serializer. If not, no other function may be called.
    bool isKnown() const noexcept { return out_ != nullptr; }
    /// Returns the writer of the payload. Its `begin` was already called.
    PushWriter& writer() noexcept { return writer_; }
    /// Returns the written payload. Call it after `end` of the writer.
    Payload payload() const { return Payload::createFromWriter(bytes_, mimeType_); }

private:
    std::string mimeType_;
    std::unique_ptr<util::serializer::IStructuredSerializer> out_;
    util::ByteBufferWriter bytes_;
    PushWriter writer_;
};

/// Returns the error for a mime type that has no serializer and deserializer.
Error unknownFormat(unsigned short code, const std::string& mimeType);

}  // namespace kova::kit::detail
