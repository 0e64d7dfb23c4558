#pragma once

#include <cstddef>

// Constants for the first byte of an item in the binary format (RFC 8949).
namespace util::serializer {

/// @{
/// The kinds of items. Each constant is the first byte of a head with the argument 0.
constexpr unsigned char UNSIGNED = 0x00;
constexpr unsigned char NEGATIVE = 0x20;
constexpr unsigned char BYTES = 0x40;
constexpr unsigned char TEXT = 0x60;
constexpr unsigned char ARRAY = 0x80;
constexpr unsigned char MAP = 0xA0;
constexpr unsigned char TAG = 0xC0;
constexpr unsigned char SIMPLE = 0xE0;
/// @}
/// The bits of the first byte that contain the kind.
constexpr unsigned char KIND_BITS = 0xE0;

/// The maximum argument that fits into the first byte.
constexpr unsigned char MAX_SHORT = 23;
/// The value of the argument bits if the argument is in the next byte. The following values stand
/// for arguments of 2, 4 and 8 bytes.
constexpr unsigned char FIRST_LONG = 24;
constexpr unsigned char LAST_LONG = FIRST_LONG + 3;
/// The bits of the first byte that contain the argument, or the number of its bytes.
constexpr unsigned char LENGTH_BITS = 0x1F;
/// The value of the argument bits for an item that ends with a break.
constexpr unsigned char OPEN = 0x1F;
/// The maximum size of a head: the first byte and an argument of 64 bits.
constexpr std::size_t MAX_HEAD = 9;

/// @{
/// The first bytes of items whose first byte is always the same. The bits of a double follow its
/// first byte. Strings in chunks, arrays and maps with these first bytes end with a break.
constexpr unsigned char BYTES_CHUNKS_BYTE = 0x5F;
constexpr unsigned char TEXT_CHUNKS_BYTE = 0x7F;
constexpr unsigned char ARRAY_BYTE = 0x9F;
constexpr unsigned char MAP_BYTE = 0xBF;
constexpr unsigned char FALSE_BYTE = 0xF4;
constexpr unsigned char TRUE_BYTE = 0xF5;
constexpr unsigned char NULL_BYTE = 0xF6;
constexpr unsigned char UNDEFINED_BYTE = 0xF7;
constexpr unsigned char HALF_BYTE = 0xF9;
constexpr unsigned char SINGLE_BYTE = 0xFA;
constexpr unsigned char DOUBLE_BYTE = 0xFB;
constexpr unsigned char BREAK_BYTE = 0xFF;
/// @}

}  // namespace util::serializer
