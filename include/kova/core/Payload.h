#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "kova/core/Export.h"

namespace util {
class ByteBufferWriter;
}
namespace util::config {
class Value;
}

namespace kova {

/// A block of bytes that its holders share read-only.
struct KOVA_API Blob {
    /// The bytes; null for an empty blob. Freed when the last holder lets go.
    std::shared_ptr<unsigned char[]> data;
    /// Number of bytes.
    std::uint64_t size = 0;

    /// No bytes.
    Blob() = default;
    /// @{
    /// Shares the `size` bytes at `bytes` with the other holders of the pointer. A pointer to a
    /// single byte must have a deleter that frees an array; both pointers count the same holders.
    Blob(std::shared_ptr<unsigned char[]> bytes, std::uint64_t size) noexcept
        : data(std::move(bytes)), size(size) {}
    // A template, so that `nullptr` selects the constructor above.
    template <typename Byte, typename = std::enable_if_t<std::is_same_v<Byte, unsigned char>>>
    Blob(const std::shared_ptr<Byte>& bytes, std::uint64_t size) noexcept
        : data(bytes, bytes.get()), size(size) {}
    /// @}

    /// Sets `out` to the bytes taken as text.
    void toString(std::string& out) const;
};

/// The body of a message: bytes and the mime type that says how to read them.
///
/// Copies share the bytes, which are never written after the payload was made, so copies may be
/// read by several threads at once. A payload is empty when it has no block of bytes; one made from
/// zero bytes is not empty.
///
/// Out of memory while one of the functions below makes a payload stops the process
/// (`zel::GlobalErrorHandler`).
///
///     const kova::Payload payload = kova::Payload::createFromJSON("{\"on\":true}");
///     payload.getMimeType();  // "application/json"
///     std::string text;
///     bool failed = kova::Payload::createStringFrom(payload, text, true);
class KOVA_API Payload {
public:
    /// The empty payload, with an empty mime type.
    Payload() = default;
    /// Takes the bytes over; the blob is left without them.
    Payload(Blob&& blob, std::string&& mimeType) noexcept;
    Payload(Blob&& blob, const std::string& mimeType);

    /// @{
    /// A copy shares the bytes. Assigning a payload to itself changes nothing.
    Payload(const Payload&) = default;
    Payload(Payload&&) noexcept = default;
    Payload& operator=(const Payload&) = default;
    Payload& operator=(Payload&& other) noexcept;
    ~Payload() = default;
    /// @}

    /// One empty payload for all; lives until the process ends.
    static const Payload& getEmpty();

    /// A payload with a copy of the `size` bytes.
    static Payload createFromRaw(unsigned char const* bytes, unsigned long size,
                                 const std::string& mimeType);
    /// A payload "application/json" of the text, which is not validated.
    static Payload createFromJSON(const std::string& json);
    /// A payload "plain/text" of the text.
    static Payload createFromString(const std::string& text);
    /// A payload "application/json" of the value's compact print.
    static Payload createFromConfig(const util::config::Value& value);
    /// A payload with a copy of what was written.
    static Payload createFromWriter(const util::ByteBufferWriter& writer,
                                    const std::string& mimeType);

    /// Whether there is no block of bytes.
    bool isEmpty() const noexcept { return blob_.data == nullptr; }
    /// The block of bytes; shared with all copies of the payload.
    const Blob& getBlob() const noexcept { return blob_; }
    /// The mime type as it was given; empty for the empty payload.
    const std::string& getMimeType() const noexcept { return mimeType_; }
    /// The bytes; null when empty. They live as long as some copy of the payload.
    unsigned char const* data() const noexcept { return blob_.data.get(); }
    /// The number of bytes; 0 when empty.
    std::uint64_t size() const noexcept { return blob_.data ? blob_.size : 0; }

    /// Sets `out` to printable text: the bytes of JSON and plain text; binary structured data
    /// converted to JSON (`compact` as `util::serializer::JSONStructuredSerializerOld` takes it);
    /// "<empty>", "<binary>" (octet streams, msgpack) or "<unknown>" (any other type) otherwise.
    /// True, with "<failed>", when binary data cannot be converted or memory is exhausted; false in
    /// every other case. No memory to take a converted text over stops the process.
    static bool createStringFrom(const Payload& payload, std::string& out, bool compact);
    /// The value tree that the payload holds (JSON, plain text that is JSON, binary structured
    /// data); the caller owns and deletes it. Null when there is none: another mime type, no data
    /// and a text without a tree are reported as `PayloadConversionFailed`, a text that is not JSON
    /// and exhausted memory are not. As above, a converted text may stop the process.
    [[nodiscard]] static util::config::Value* createConfigFrom(const Payload& payload);

private:
    Blob blob_;
    std::string mimeType_;
};

}  // namespace kova
