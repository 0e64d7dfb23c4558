#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "util/ByteBufferWriter.h"

// The pieces of JSON text (RFC 8259) that both the printer of trees and the JSON serializer write.
// None of the functions looks at the process locale.
namespace util::json {

// Where each function appends one token to a buffer: false on success; true when memory is
// exhausted, and then nothing was appended.

/// The text between quotation marks, with what must be escaped escaped: `"`, `\` and the control
/// characters. The bytes must be UTF-8 and are not checked.
[[nodiscard]] bool appendString(ByteBufferWriter& writer, std::string_view utf8) noexcept;

/// As `appendString` for any bytes: each maximal ill-formed part becomes U+FFFD.
[[nodiscard]] bool appendRepairedString(ByteBufferWriter& writer, std::string_view bytes) noexcept;

[[nodiscard]] bool appendInteger(ByteBufferWriter& writer, std::int64_t value) noexcept;
[[nodiscard]] bool appendInteger(ByteBufferWriter& writer, std::uint64_t value) noexcept;

/// The shortest text that reads back as the same double (float). It always has a point or an
/// exponent, so it never reads back as an integer. The value must be finite, and arithmetic round
/// to nearest, as it does unless a program changes that.
[[nodiscard]] bool appendDouble(ByteBufferWriter& writer, double value) noexcept;
[[nodiscard]] bool appendFloat(ByteBufferWriter& writer, float value) noexcept;

// The same pieces for who has made room: each function writes at `out` and gives the end of what it
// wrote.

/// The room that a number takes at most: "-2.2250738585072014e-308" and a ".0".
constexpr std::size_t NUMBER_ROOM = 32;
/// The room that `size` bytes of a string take at most, without the quotation marks.
constexpr std::size_t escapedRoom(std::size_t size) noexcept {
    return 6 * size;  // "\u001f"
}

/// The bytes as `appendRepairedString` writes them, without the quotation marks.
char* writeRepaired(char* out, std::string_view bytes) noexcept;
/// The most bytes at the front of a long text that may be written on their own: at most `size`,
/// which is at least 4, and cut where no character is cut.
std::size_t pieceOf(std::string_view bytes, std::size_t size) noexcept;

char* writeInteger(char* out, std::int64_t value) noexcept;
char* writeInteger(char* out, std::uint64_t value) noexcept;
char* writeDouble(char* out, double value) noexcept;

}  // namespace util::json
