#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace util::serializer {

/// One item of a CBOR payload: a scalar, a definite string, the head of a container or chunked
/// string, a tag, or a break.
struct CborItem {
    enum class Kind : std::uint8_t {
        Unsigned,     // number
        Negative,     // -1 - number
        Bytes,        // bytes
        Text,         // bytes, not checked
        BytesChunks,  // chunks up to a break
        TextChunks,
        Array,      // number of elements
        Map,        // number of pairs
        OpenArray,  // elements up to a break
        OpenMap,
        Tag,    // number
        Float,  // real
        Double,
        Boolean,  // number: 0 or 1
        Null,
        Undefined,
        Break
    };

    Kind kind;
    std::uint64_t number;
    double real;
    std::string_view bytes;
};

/// What a first byte says that is a whole head.
struct ShortCborHead {
    bool isWhole;
    CborItem::Kind kind;
    std::uint8_t number;
};

constexpr std::array<ShortCborHead, 256> makeShortCborHeads() noexcept {
    using Kind = CborItem::Kind;
    constexpr Kind MAJOR_KINDS[] = {Kind::Unsigned, Kind::Negative, Kind::Bytes,
                                    Kind::Text,     Kind::Array,    Kind::Map};
    std::array<ShortCborHead, 256> heads{};
    std::size_t first = 0;
    for (const Kind kind : MAJOR_KINDS) {
        for (std::uint8_t number = 0; number < 24; ++number) {
            heads[first + number] = {true, kind, number};
        }
        first += 32;
    }
    heads[0x9F] = {true, Kind::OpenArray, 0};
    heads[0xBF] = {true, Kind::OpenMap, 0};
    heads[0xF4] = {true, Kind::Boolean, 0};
    heads[0xF5] = {true, Kind::Boolean, 1};
    heads[0xF6] = {true, Kind::Null, 0};
    heads[0xF7] = {true, Kind::Undefined, 0};
    heads[0xFF] = {true, Kind::Break, 0};
    return heads;
}

inline constexpr std::array<ShortCborHead, 256> SHORT_CBOR_HEADS = makeShortCborHeads();
static_assert(SHORT_CBOR_HEADS[0x77].kind == CborItem::Kind::Text &&
              SHORT_CBOR_HEADS[0x77].number == 23);
static_assert(!SHORT_CBOR_HEADS[0x78].isWhole && !SHORT_CBOR_HEADS[0xC0].isWhole);

/// `decodeCborItem` for an item whose head is longer than its first byte; `size` is not 0.
std::size_t decodeLongCborItem(unsigned char const* bytes, std::size_t size,
                               CborItem& item) noexcept;

/// Decodes the item at the start of the `size` bytes at `bytes`. Gives the number of bytes that it
/// takes; 0 when it is malformed, reserved, an unassigned simple value, or cut off.
///
/// Most heads are one byte. They are taken from a table within the loop of the caller: a call for
/// each of them costs more than what it does.
inline std::size_t decodeCborItem(unsigned char const* bytes, std::size_t size,
                                  CborItem& item) noexcept {
    if (size == 0) {
        return 0;
    }
    const ShortCborHead head = SHORT_CBOR_HEADS[bytes[0]];
    if (!head.isWhole) {
        return decodeLongCborItem(bytes, size, item);
    }
    item.kind = head.kind;
    item.number = head.number;
    if (head.kind != CborItem::Kind::Bytes && head.kind != CborItem::Kind::Text) {
        return 1;
    }
    if (head.number > size - 1) {
        return 0;
    }
    item.bytes = {reinterpret_cast<char const*>(bytes + 1), head.number};
    return 1 + std::size_t{head.number};
}

}  // namespace util::serializer
