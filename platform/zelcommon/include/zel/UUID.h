#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "zel/Export.h"

namespace zel {

/// A universally unique identifier: 16 bytes, in the network byte order of RFC 4122.
///
/// The class stores an identifier; it does not generate identifiers. Plain value type. Not
/// synchronized.
///
/// Text form: 8-4-4-4-12 hexadecimal digits joined with "-", 36 characters, for example
/// "123e4567-e89b-12d3-a456-426614174000". Parsing accepts both cases; output is in lower case.
///
///     zel::UUID id;
///     if (!zel::UUID::tryParse(id, "123E4567-E89B-12D3-A456-426614174000")) {
///         id.toString();  // "123e4567-e89b-12d3-a456-426614174000"
///     }
class ZEL_API UUID {
public:
    /// Length of the text form.
    static constexpr std::size_t TEXT_LENGTH = 36;
    /// The 16 bytes in the order of the text form.
    using Bytes = std::array<unsigned char, 16>;

    /// Constructs the nil identifier: all bytes are zero.
    constexpr UUID() noexcept : bytes_{} {}
    /// Constructs an identifier from 16 bytes, which are stored verbatim.
    explicit constexpr UUID(const Bytes& bytes) noexcept : bytes_(bytes) {}
    /// Constructs an identifier from 16 bytes. Overwrites the high four bits of byte 6 with
    /// `version` (1 to 15) and the high two bits of byte 8 with the variant of RFC 4122.
    UUID(const Bytes& bytes, int version) noexcept;

    /// Parses the text form. Returns false on success, true if `text` is not a UUID; `out` is then
    /// unchanged.
    [[nodiscard]] static bool tryParse(UUID& out, std::string_view text) noexcept;

    /// Returns the text form, in lower case.
    std::string toString() const;
    /// Writes the `TEXT_LENGTH` characters of the text form to `out`, without a terminating zero.
    void print(char* out) const noexcept;

    /// Returns the bytes. The reference is valid as long as the object.
    const Bytes& bytes() const noexcept { return bytes_; }
    /// Returns the version number, 0 to 15.
    int version() const noexcept { return bytes_[6] >> 4; }
    /// Returns whether all bytes are zero.
    bool isNil() const noexcept { return bytes_ == Bytes{}; }

    /// Returns whether all bytes are equal.
    friend bool operator==(const UUID& a, const UUID& b) noexcept { return a.bytes_ == b.bytes_; }
    friend bool operator!=(const UUID& a, const UUID& b) noexcept { return a.bytes_ != b.bytes_; }
    /// Compares the bytes. The order is the same as that of the lower-case texts.
    friend bool operator<(const UUID& a, const UUID& b) noexcept { return a.bytes_ < b.bytes_; }

private:
    Bytes bytes_;
};

}  // namespace zel

namespace std {

/// Hash function of UUIDs, for unordered containers.
template <>
struct hash<zel::UUID> {
    /// Returns the hash of the bytes.
    size_t operator()(const zel::UUID& uuid) const noexcept {
        const auto& bytes = uuid.bytes();
        return hash<string_view>{}({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
};

}  // namespace std
