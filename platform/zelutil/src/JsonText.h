#pragma once

#include <cstdint>
#include <string_view>

#include "util/ByteBufferWriter.h"

// The pieces of JSON text (RFC 8259) that both the printer of trees and the JSON serializer write.
// Each function appends one token: false on success; true when memory is exhausted, and then
// nothing was appended. None of them looks at the process locale.
namespace util::json {

/// The text between quotation marks, with what must be escaped escaped: `"`, `\` and the control
/// characters. The bytes must be UTF-8 and are not checked.
[[nodiscard]] bool appendString(ByteBufferWriter& writer, std::string_view utf8) noexcept;

/// As `appendString` for any bytes: each maximal ill-formed part becomes U+FFFD.
[[nodiscard]] bool appendRepairedString(ByteBufferWriter& writer, std::string_view bytes) noexcept;

[[nodiscard]] bool appendInteger(ByteBufferWriter& writer, std::int64_t value) noexcept;
[[nodiscard]] bool appendInteger(ByteBufferWriter& writer, std::uint64_t value) noexcept;

/// The shortest text that reads back as the same double (float). It always has a point or an
/// exponent, so it never reads back as an integer. The value must be finite.
[[nodiscard]] bool appendDouble(ByteBufferWriter& writer, double value) noexcept;
[[nodiscard]] bool appendFloat(ByteBufferWriter& writer, float value) noexcept;

}  // namespace util::json
