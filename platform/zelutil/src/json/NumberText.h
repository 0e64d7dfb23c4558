#pragma once

#include <cstddef>
#include <cstdint>

// Functions that write numbers as JSON text (RFC 8259). Each writes at `out`, where the caller has
// reserved `MAX_NUMBER_SIZE` bytes, and returns the end of the text. None of them depends on the
// process locale. Bytes after the end, within the reserved ones, are unspecified.
namespace util::json {

/// The number of bytes to reserve. It is greater than the size of the longest text,
/// "-2.2250738585072014e-308", because the digits of a double are written in blocks.
constexpr std::size_t MAX_NUMBER_SIZE = 40;

/// Writes an integer in decimal digits.
char* writeInteger(char* out, std::int64_t value) noexcept;
char* writeInteger(char* out, std::uint64_t value) noexcept;

/// Writes the shortest text that reads back as the same double (float). The text always has a point
/// or an exponent, so it never reads back as an integer. The value must be finite. The rounding
/// mode must be to nearest, which is the default.
char* writeDouble(char* out, double value) noexcept;
char* writeFloat(char* out, float value) noexcept;

}  // namespace util::json
