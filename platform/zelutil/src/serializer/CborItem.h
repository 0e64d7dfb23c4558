#pragma once

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
        Text,         // bytes, not validated
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

/// Decodes the item at the start of the `size` bytes at `bytes`. Returns the number of its bytes,
/// or 0 if it is malformed, reserved, an unassigned simple value, or incomplete.
std::size_t decodeCborItem(unsigned char const* bytes, std::size_t size, CborItem& item) noexcept;

}  // namespace util::serializer
