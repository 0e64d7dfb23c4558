#include "CborItem.h"

#include <array>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>

#include "BigEndian.h"
#include "CborBytes.h"

namespace util::serializer {

namespace {

using Kind = CborItem::Kind;

// A head that consists of one byte. Most heads do, and are looked up in a table.
struct ShortHead {
    bool isWhole;
    Kind kind;
    std::uint8_t number;
};

constexpr std::array<ShortHead, 256> makeShortHeads() noexcept {
    constexpr Kind MAJOR_KINDS[] = {Kind::Unsigned, Kind::Negative, Kind::Bytes,
                                    Kind::Text,     Kind::Array,    Kind::Map};
    std::array<ShortHead, 256> heads{};
    std::size_t first = 0;
    for (const Kind kind : MAJOR_KINDS) {
        for (std::uint8_t number = 0; number < 24; ++number) {
            heads[first + number] = {true, kind, number};
        }
        first += 32;
    }
    heads[ARRAY_BYTE] = {true, Kind::OpenArray, 0};
    heads[MAP_BYTE] = {true, Kind::OpenMap, 0};
    heads[FALSE_BYTE] = {true, Kind::Boolean, 0};
    heads[TRUE_BYTE] = {true, Kind::Boolean, 1};
    heads[NULL_BYTE] = {true, Kind::Null, 0};
    heads[UNDEFINED_BYTE] = {true, Kind::Undefined, 0};
    heads[BREAK_BYTE] = {true, Kind::Break, 0};
    return heads;
}

constexpr std::array<ShortHead, 256> SHORT_HEADS = makeShortHeads();
static_assert(SHORT_HEADS[0x77].kind == Kind::Text && SHORT_HEADS[0x77].number == 23);
static_assert(!SHORT_HEADS[0x78].isWhole && !SHORT_HEADS[0xC0].isWhole);

constexpr unsigned char MAJOR_BITS = 5;
constexpr Kind LONG_KINDS[] = {Kind::Unsigned, Kind::Negative, Kind::Bytes, Kind::Text,
                               Kind::Array,    Kind::Map,      Kind::Tag};
static_assert(TAG >> MAJOR_BITS == std::size(LONG_KINDS) - 1);

// Decodes a half-precision float (RFC 8949, appendix D).
double halfOf(std::uint16_t bits) noexcept {
    const int exponent = bits >> 10 & 0x1F;
    const int mantissa = bits & 0x3FF;
    double value = 0;
    if (exponent == 0x1F) {
        value = mantissa == 0 ? std::numeric_limits<double>::infinity()
                              : std::numeric_limits<double>::quiet_NaN();
    } else if (exponent == 0) {
        value = std::ldexp(mantissa, -24);
    } else {
        value = std::ldexp(mantissa + 0x400, exponent - 25);
    }
    return (bits & 0x8000) != 0 ? -value : value;
}

double singleOf(std::uint32_t bits) noexcept {
    float value = 0;
    std::memcpy(&value, &bits, sizeof(value));
    return static_cast<double>(value);
}

double doubleOf(std::uint64_t bits) noexcept {
    double value = 0;
    std::memcpy(&value, &bits, sizeof(value));
    return value;
}

// Decodes an item without a place in the tables: a float, a short tag, or the head of a string in
// chunks.
std::size_t decodeOther(unsigned char const* bytes, std::size_t size, CborItem& item) noexcept {
    const unsigned char first = bytes[0];
    if (first == BYTES_CHUNKS_BYTE || first == TEXT_CHUNKS_BYTE) {
        item.kind = first == BYTES_CHUNKS_BYTE ? Kind::BytesChunks : Kind::TextChunks;
        return 1;
    }
    if (first >= TAG && first <= TAG + MAX_SHORT) {
        item.kind = Kind::Tag;
        item.number = first - TAG;
        return 1;
    }
    if (first < HALF_BYTE || first > DOUBLE_BYTE) {
        return 0;
    }
    const std::size_t width = std::size_t{2} << (first - HALF_BYTE);
    if (size < 1 + width) {
        return 0;
    }
    const std::uint64_t bits = loadNumber(bytes + 1, width);
    item.kind = first == DOUBLE_BYTE ? Kind::Double : Kind::Float;
    item.real = first == HALF_BYTE     ? halfOf(static_cast<std::uint16_t>(bits))
                : first == DOUBLE_BYTE ? doubleOf(bits)
                                       : singleOf(static_cast<std::uint32_t>(bits));
    return 1 + width;
}

std::size_t decodeLongHead(unsigned char const* bytes, std::size_t size, CborItem& item) noexcept {
    const unsigned char major = bytes[0] >> MAJOR_BITS;
    const unsigned char length = bytes[0] & LENGTH_BITS;
    if (length < FIRST_LONG || length > LAST_LONG || major >= std::size(LONG_KINDS)) {
        return decodeOther(bytes, size, item);
    }
    const std::size_t head = 1 + (std::size_t{1} << (length - FIRST_LONG));
    if (size < head) {
        return 0;
    }
    item.number = loadNumber(bytes + 1, head - 1);
    item.kind = LONG_KINDS[major];
    if (item.kind != Kind::Bytes && item.kind != Kind::Text) {
        return head;
    }
    if (item.number > size - head) {
        return 0;
    }
    item.bytes = {reinterpret_cast<char const*>(bytes + head), item.number};
    return head + item.number;
}

}  // namespace

std::size_t decodeCborItem(unsigned char const* bytes, std::size_t size, CborItem& item) noexcept {
    if (size == 0) {
        return 0;
    }
    const ShortHead& head = SHORT_HEADS[bytes[0]];
    if (!head.isWhole) {
        return decodeLongHead(bytes, size, item);
    }
    item.kind = head.kind;
    item.number = head.number;
    if (head.kind != Kind::Bytes && head.kind != Kind::Text) {
        return 1;
    }
    if (head.number > size - 1) {
        return 0;
    }
    item.bytes = {reinterpret_cast<char const*>(bytes + 1), head.number};
    return 1 + std::size_t{head.number};
}

}  // namespace util::serializer
