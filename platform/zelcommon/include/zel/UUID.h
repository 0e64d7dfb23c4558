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
/// It does not make identifiers, it only holds them. A plain value: copies are independent, and
/// objects are not locked.
///
/// Text form: 8-4-4-4-12 hexadecimal digits joined with "-", 36 characters, for example
/// "123e4567-e89b-12d3-a456-426614174000". Both cases are read, lower case is written.
class ZEL_API UUID {
public:
    /// Length of the text form.
    static constexpr std::size_t TEXT_LENGTH = 36;
    /// The 16 bytes, in the order in which they are written.
    using Bytes = std::array<unsigned char, 16>;

    /// The nil identifier: all bytes zero.
    constexpr UUID() noexcept : bytes_{} {}
    /// The 16 bytes as given.
    explicit constexpr UUID(const Bytes& bytes) noexcept : bytes_(bytes) {}
    /// The 16 bytes with `version` (1 to 15) and the variant of RFC 4122 written over them: the
    /// high four bits of byte 6 and the high two bits of byte 8.
    UUID(const Bytes& bytes, int version) noexcept;

    /// Reads the text form. False on success; true when `text` is not a UUID, and then `out` is
    /// untouched.
    [[nodiscard]] static bool tryParse(UUID& out, std::string_view text) noexcept;

    /// The text form, in lower case.
    std::string toString() const;
    /// Writes the `TEXT_LENGTH` characters of the text form to `out`, without a terminating zero.
    void print(char* out) const noexcept;

    /// The bytes.
    const Bytes& bytes() const noexcept { return bytes_; }
    /// The version number, 0 to 15.
    int version() const noexcept { return bytes_[6] >> 4; }
    /// Whether all bytes are zero.
    bool isNil() const noexcept { return bytes_ == Bytes{}; }

    /// Whether all bytes are equal.
    friend bool operator==(const UUID& a, const UUID& b) noexcept { return a.bytes_ == b.bytes_; }
    friend bool operator!=(const UUID& a, const UUID& b) noexcept { return a.bytes_ != b.bytes_; }
    /// Byte-wise order, the same as that of the lower-case texts.
    friend bool operator<(const UUID& a, const UUID& b) noexcept { return a.bytes_ < b.bytes_; }

private:
    Bytes bytes_;
};

}  // namespace zel

namespace std {

/// For unordered containers.
template <>
struct hash<zel::UUID> {
    /// The hash of the bytes.
    size_t operator()(const zel::UUID& uuid) const noexcept {
        const auto& bytes = uuid.bytes();
        return hash<string_view>{}({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
};

}  // namespace std
