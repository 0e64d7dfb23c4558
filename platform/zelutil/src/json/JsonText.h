#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "json/NumberText.h"
#include "util/ByteBufferWriter.h"

// Functions that write the tokens of JSON text (RFC 8259), for the printer of trees and the JSON
// serializer. None of them depends on the process locale.
namespace util::json {

// The append functions append one token to a buffer. They return true on success. They return
// false, without appending anything, if memory is exhausted.

/// Appends the text between quotation marks. Quotation marks, backslashes and control characters in
/// it are escaped. The bytes must be UTF-8; this is not checked.
[[nodiscard]] bool appendString(ByteBufferWriter& writer, std::string_view utf8) noexcept;

/// Appends any bytes as `appendString` does, but replaces each maximal ill-formed part by U+FFFD.
[[nodiscard]] bool appendRepairedString(ByteBufferWriter& writer, std::string_view bytes) noexcept;

/// Appends a number. The text is that of the write function for this type in `NumberText.h`.
[[nodiscard]] bool appendInteger(ByteBufferWriter& writer, std::int64_t value) noexcept;
[[nodiscard]] bool appendInteger(ByteBufferWriter& writer, std::uint64_t value) noexcept;
[[nodiscard]] bool appendDouble(ByteBufferWriter& writer, double value) noexcept;
[[nodiscard]] bool appendFloat(ByteBufferWriter& writer, float value) noexcept;

// Unchecked variants: the caller has reserved the space. Each write function writes at `out` and
// returns the end of the written text.

/// Returns the maximum size of a string of `size` bytes after escaping, without the quotation
/// marks.
constexpr std::size_t maxEscapedSize(std::size_t size) noexcept {
    return 6 * size;  // "\u001f"
}

/// Writes the bytes as `appendRepairedString` does, without the quotation marks.
char* writeRepaired(char* out, std::string_view bytes) noexcept;
/// Returns the size of the longest prefix of `bytes` that has at most `size` bytes and does not
/// split a character. Therefore the prefix and the rest can be written one after the other. `size`
/// is at least 4.
std::size_t pieceSize(std::string_view bytes, std::size_t size) noexcept;

}  // namespace util::json
