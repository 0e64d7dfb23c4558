#include "CborItem.h"

#include <cbor/streaming.h>

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

}  // namespace

std::size_t decodeCborItem(unsigned char const* bytes, std::size_t size, CborItem& item) noexcept {
    const cbor_decoder_result result = cbor_stream_decode(bytes, size, &CALLBACKS, &item);
    return result.status == CBOR_DECODER_FINISHED ? result.read : 0;
}

}  // namespace util::serializer
