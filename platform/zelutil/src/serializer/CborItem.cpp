#include "CborItem.h"

#include <cbor/streaming.h>

#include <cstring>
#include <iterator>

// The decoder calls one of 24 functions for each item; all of them only note what came, so that the
// work is done, and may fail or throw, outside of the C library.
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

// Heads with their number behind the first byte, and doubles, are decoded
// here, which needs a third of the instructions that the library takes for them.
constexpr unsigned char MAJOR_BITS = 5;
constexpr unsigned char FIRST_LONG = 24;  // the number is in the next byte, in 2, 4 or 8 bytes
constexpr unsigned char LAST_LONG = 27;
constexpr unsigned char DOUBLE = 0xFB;
constexpr Kind LONG_KINDS[] = {Kind::Unsigned, Kind::Negative, Kind::Bytes,
                               Kind::Text,     Kind::Array,    Kind::Map};

// Without a loop each of these becomes one load and a swap.
std::uint32_t twoAt(unsigned char const* bytes) noexcept {
    return std::uint32_t{bytes[0]} << 8U | bytes[1];
}

std::uint32_t fourAt(unsigned char const* bytes) noexcept {
    return std::uint32_t{bytes[0]} << 24U | std::uint32_t{bytes[1]} << 16U |
           std::uint32_t{bytes[2]} << 8U | bytes[3];
}

// The big-endian number of 1, 2, 4 or 8 bytes.
std::uint64_t numberOf(unsigned char const* bytes, std::size_t size) noexcept {
    switch (size) {
        case 1:
            return bytes[0];
        case 2:
            return twoAt(bytes);
        case 4:
            return fourAt(bytes);
        default:
            return std::uint64_t{fourAt(bytes)} << 32U | fourAt(bytes + 4);
    }
}

std::size_t decodeOther(unsigned char const* bytes, std::size_t size, CborItem& item) noexcept {
    const cbor_decoder_result result = cbor_stream_decode(bytes, size, &CALLBACKS, &item);
    return result.status == CBOR_DECODER_FINISHED ? result.read : 0;
}

}  // namespace

std::size_t decodeLongCborItem(unsigned char const* bytes, std::size_t size,
                               CborItem& item) noexcept {
    const unsigned char major = bytes[0] >> MAJOR_BITS;
    const unsigned char length = bytes[0] & ((1U << MAJOR_BITS) - 1);
    const bool isDouble = bytes[0] == DOUBLE;
    if (length < FIRST_LONG || length > LAST_LONG ||
        (major >= std::size(LONG_KINDS) && !isDouble)) {
        return decodeOther(bytes, size, item);
    }
    const std::size_t head = 1 + (std::size_t{1} << (length - FIRST_LONG));
    if (size < head) {
        return 0;
    }
    item.number = numberOf(bytes + 1, head - 1);
    if (isDouble) {
        item.kind = Kind::Double;
        std::memcpy(&item.real, &item.number, sizeof(item.real));
        return head;
    }
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

}  // namespace util::serializer
