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

/// An immutable block of bytes with shared ownership.
struct KOVA_API Blob {
    /// The bytes, or null for an empty blob. The last owner frees the bytes.
    std::shared_ptr<unsigned char[]> data;
    /// Number of bytes.
    std::uint64_t size = 0;

    /// Creates an empty blob.
    Blob() = default;
    /// @{
    /// Shares the `size` bytes at `bytes` with the other owners of the pointer. The deleter of a
    /// `std::shared_ptr<unsigned char>` must free an array.
    Blob(std::shared_ptr<unsigned char[]> bytes, std::uint64_t size) noexcept
        : data(std::move(bytes)), size(size) {}
    // This constructor is a template, so that `nullptr` selects the constructor above.
    template <typename Byte, typename = std::enable_if_t<std::is_same_v<Byte, unsigned char>>>
    Blob(const std::shared_ptr<Byte>& bytes, std::uint64_t size) noexcept
        : data(bytes, bytes.get()), size(size) {}
    /// @}

    /// Sets `out` to a text that consists of the bytes.
    void toString(std::string& out) const;
};

/// The body of a message: bytes, and the mime type that defines their format.
///
/// Copies share the bytes, which never change, so several threads may read copies at once. A
/// payload is empty if it has no block of bytes; a payload of zero bytes is not empty.
///
/// A function that creates a payload aborts the process if memory is exhausted
/// (`zel::GlobalErrorHandler`).
///
///     const kova::Payload payload = kova::Payload::createFromJSON("{\"on\":true}");
///     payload.getMimeType();  // "application/json"
///     std::string text;
///     bool failed = kova::Payload::createStringFrom(payload, text, true);
class KOVA_API Payload {
public:
    /// Creates the empty payload, with an empty mime type.
    Payload() = default;
    /// Takes ownership of the bytes of `blob`. The `data` of `blob` is then null; its `size` is
    /// unchanged.
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

    /// Returns an empty payload that lives until the process ends.
    static const Payload& getEmpty();

    /// Returns a payload with a copy of the `size` bytes.
    static Payload createFromRaw(unsigned char const* bytes, unsigned long size,
                                 const std::string& mimeType);
    /// Returns a payload of type "application/json" with the text, which is not validated.
    static Payload createFromJSON(const std::string& json);
    /// Returns a payload of type "plain/text" with the text.
    static Payload createFromString(const std::string& text);
    /// Returns a payload of type "application/json" with the compact JSON text of the value.
    static Payload createFromConfig(const util::config::Value& value);
    /// Returns a payload with a copy of the bytes that the writer holds.
    static Payload createFromWriter(const util::ByteBufferWriter& writer,
                                    const std::string& mimeType);

    /// Returns whether the payload has no block of bytes.
    bool isEmpty() const noexcept { return blob_.data == nullptr; }
    /// Returns the block of bytes, which all copies of the payload share.
    const Blob& getBlob() const noexcept { return blob_; }
    /// Returns the mime type; empty for the empty payload.
    const std::string& getMimeType() const noexcept { return mimeType_; }
    /// Returns the bytes, or null if the payload is empty. They live until the last copy of the
    /// payload is destroyed.
    unsigned char const* data() const noexcept { return blob_.data.get(); }
    /// Returns the number of bytes; 0 if the payload is empty.
    std::uint64_t size() const noexcept { return blob_.data ? blob_.size : 0; }

    /// Converts the payload to a human-readable text. Sets `out` to this text and returns false:
    ///
    /// - the bytes of JSON and plain text;
    /// - JSON text for binary structured data, without white space if `compact` is true;
    /// - "<empty>", "<binary>" (octet streams, msgpack) or "<unknown>" (any other type).
    ///
    /// Returns true, with the text "<failed>", if binary data cannot be converted or memory is
    /// exhausted. Aborts the process if memory for the copy of a converted text is exhausted.
    static bool createStringFrom(const Payload& payload, std::string& out, bool compact);
    /// Returns the value tree of a payload of JSON, of plain text that is JSON, or of binary
    /// structured data. The caller owns and deletes it. Returns null on failure. Reports
    /// `PayloadConversionFailed` for another mime type, an empty payload and a text without a tree.
    /// Does not report exhausted memory and a text that is not JSON. Aborts the process in the same
    /// case as `createStringFrom`.
    [[nodiscard]] static util::config::Value* createConfigFrom(const Payload& payload);

private:
    Blob blob_;
    std::string mimeType_;
};

}  // namespace kova
