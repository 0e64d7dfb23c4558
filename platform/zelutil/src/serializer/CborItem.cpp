#include "CborItem.h"

#include <cbor/streaming.h>

#include <array>
#include <iterator>

#include "BigEndian.h"
#include "CborBytes.h"

// The C library calls one of 24 functions for each item. They only store the item, so that all work
// that can fail or throw is done outside of the C library.
namespace util::serializer {

namespace {

using Kind = CborItem::Kind;

CborItem& item(void* context) noexcept {
    return *static_cast<CborItem*>(context);
}

template <Kind KIND>
void take(void* context) noexcept {
    item(context).kind = KIND;
}

template <Kind KIND, class Number>
void takeNumber(void* context, Number number) noexcept {
    item(context).kind = KIND;
    item(context).number = number;
}

template <Kind KIND, class Real>
void takeReal(void* context, Real real) noexcept {
    item(context).kind = KIND;
    item(context).real = real;
}

template <Kind KIND>
void takeBytes(void* context, cbor_data data, std::size_t size) noexcept {
    item(context).kind = KIND;
    item(context).bytes = {reinterpret_cast<char const*>(data), size};
}

constexpr cbor_callbacks makeCallbacks() noexcept {
    cbor_callbacks callbacks{};
    callbacks.uint8 = takeNumber<Kind::Unsigned, std::uint8_t>;
    callbacks.uint16 = takeNumber<Kind::Unsigned, std::uint16_t>;
    callbacks.uint32 = takeNumber<Kind::Unsigned, std::uint32_t>;
    callbacks.uint64 = takeNumber<Kind::Unsigned, std::uint64_t>;
    callbacks.negint8 = takeNumber<Kind::Negative, std::uint8_t>;
    callbacks.negint16 = takeNumber<Kind::Negative, std::uint16_t>;
    callbacks.negint32 = takeNumber<Kind::Negative, std::uint32_t>;
    callbacks.negint64 = takeNumber<Kind::Negative, std::uint64_t>;
    callbacks.byte_string = takeBytes<Kind::Bytes>;
    callbacks.byte_string_start = take<Kind::BytesChunks>;
    callbacks.string = takeBytes<Kind::Text>;
    callbacks.string_start = take<Kind::TextChunks>;
    callbacks.array_start = takeNumber<Kind::Array, std::size_t>;
    callbacks.indef_array_start = take<Kind::OpenArray>;
    callbacks.map_start = takeNumber<Kind::Map, std::size_t>;
    callbacks.indef_map_start = take<Kind::OpenMap>;
    callbacks.tag = takeNumber<Kind::Tag, std::uint64_t>;
    callbacks.float2 = takeReal<Kind::Float, float>;
    callbacks.float4 = takeReal<Kind::Float, float>;
    callbacks.float8 = takeReal<Kind::Double, double>;
    callbacks.boolean = takeNumber<Kind::Boolean, bool>;
    callbacks.null = take<Kind::Null>;
    callbacks.undefined = take<Kind::Undefined>;
    callbacks.indef_break = take<Kind::Break>;
    return callbacks;
}

constexpr cbor_callbacks CALLBACKS = makeCallbacks();

// A head that consists of one byte. Most heads do. They are decoded with a table, which needs a
// third of the instructions of the library.
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

// Heads with a number after the first byte are decoded here, too, except tags and floats. This
// needs a third of the instructions of the library, which decodes all other items.
constexpr unsigned char MAJOR_BITS = 5;
constexpr Kind LONG_KINDS[] = {Kind::Unsigned, Kind::Negative, Kind::Bytes,
                               Kind::Text,     Kind::Array,    Kind::Map};

std::size_t decodeOther(unsigned char const* bytes, std::size_t size, CborItem& item) noexcept {
    const cbor_decoder_result result = cbor_stream_decode(bytes, size, &CALLBACKS, &item);
    return result.status == CBOR_DECODER_FINISHED ? result.read : 0;
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
