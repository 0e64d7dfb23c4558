#include "util/serializer/AXOBinStructuredSerializerBE.h"

#include <cbor/encoding.h>

#include <array>

#include "TypedArrays.h"

namespace util::serializer {

namespace {

constexpr std::size_t MAX_HEAD = 9;  // the first byte and an argument of 64 bits

constexpr unsigned char NULL_BYTE = 0xF6;
constexpr unsigned char UNDEFINED_BYTE = 0xF7;
constexpr unsigned char FALSE_BYTE = 0xF4;
constexpr unsigned char TRUE_BYTE = 0xF5;
constexpr unsigned char ARRAY_BYTE = 0x9F;  // of indefinite length
constexpr unsigned char MAP_BYTE = 0xBF;    // of indefinite length
constexpr unsigned char BREAK_BYTE = 0xFF;

// The tag (RFC 8746) and item size of each type, in the order of NumberType.
struct PackedType {
    std::uint64_t tag;
    std::size_t size;
};
constexpr PackedType PACKED_TYPES[] = {{64, 1}, {65, 2}, {66, 4}, {67, 8}, {72, 1},
                                       {73, 2}, {74, 4}, {75, 8}, {81, 4}, {82, 8}};

// Appends what `encode(value, buffer, size)` makes of `value`.
template <class Value>
bool put(ByteBufferWriter& writer, std::size_t (*encode)(Value, unsigned char*, std::size_t),
         Value value) {
    std::array<unsigned char, MAX_HEAD> head;
    return writer.append(head.data(), encode(value, head.data(), head.size()));
}

bool putBytes(ByteBufferWriter& writer,
              std::size_t (*encode)(std::size_t, unsigned char*, std::size_t),
              std::string_view bytes) {
    return put(writer, encode, bytes.size()) || writer.append(bytes.data(), bytes.size());
}

}  // namespace

AXOBinStructuredSerializerBE::AXOBinStructuredSerializerBE() noexcept
    : SequencedSerializer(CAPABILITY_BYTE_STRINGS | CAPABILITY_PACKED_ARRAYS |
                              CAPABILITY_NON_FINITE | CAPABILITY_NAMED_FIELDS,
                          true) {}

AXOBinStructuredSerializerBE::~AXOBinStructuredSerializerBE() = default;

bool AXOBinStructuredSerializerBE::putNull() {
    return writer().appendByte(NULL_BYTE);
}

bool AXOBinStructuredSerializerBE::putBoolean(bool value) {
    return writer().appendByte(value ? TRUE_BYTE : FALSE_BYTE);
}

bool AXOBinStructuredSerializerBE::putSigned(std::int64_t value) {
    const auto bits = static_cast<std::uint64_t>(value);
    return value >= 0 ? put(writer(), cbor_encode_uint, bits)
                      : put(writer(), cbor_encode_negint, ~bits);  // the number -1 - ~bits
}

bool AXOBinStructuredSerializerBE::putUnsigned(std::uint64_t value) {
    return put(writer(), cbor_encode_uint, value);
}

bool AXOBinStructuredSerializerBE::putFloat(float value) {
    return put(writer(), cbor_encode_single, value);
}

bool AXOBinStructuredSerializerBE::putDouble(double value) {
    return put(writer(), cbor_encode_double, value);
}

bool AXOBinStructuredSerializerBE::putString(std::string_view bytes) {
    return zel::unicode::isUtf8(bytes) ? putText(bytes)
                                       : putBytes(writer(), cbor_encode_bytestring_start, bytes);
}

bool AXOBinStructuredSerializerBE::putText(std::string_view utf8) {
    return putBytes(writer(), cbor_encode_string_start, utf8);
}

bool AXOBinStructuredSerializerBE::putPacked(NumberType type, void const* items,
                                             std::size_t count) {
    const PackedType& packed = PACKED_TYPES[static_cast<std::size_t>(type)];
    const std::size_t length = count * packed.size;
    if (put(writer(), cbor_encode_tag, packed.tag) ||
        put(writer(), cbor_encode_bytestring_start, length)) {
        return true;
    }
    unsigned char* const bytes = writer().extend(length);
    if (bytes == nullptr) {
        return true;
    }
    storeBigEndian(items, packed.size, count, bytes);
    return false;
}

bool AXOBinStructuredSerializerBE::putArrayBegin() {
    return writer().appendByte(ARRAY_BYTE);
}

bool AXOBinStructuredSerializerBE::putArrayEnd(bool) {
    return writer().appendByte(BREAK_BYTE);
}

bool AXOBinStructuredSerializerBE::putStructBegin() {
    return writer().appendByte(MAP_BYTE);
}

bool AXOBinStructuredSerializerBE::putStructEnd(bool) {
    return writer().appendByte(BREAK_BYTE);
}

bool AXOBinStructuredSerializerBE::putElementBegin(bool) {
    return false;
}

bool AXOBinStructuredSerializerBE::putEmptyElement(bool) {
    return writer().appendByte(UNDEFINED_BYTE);
}

bool AXOBinStructuredSerializerBE::putFieldBegin(std::string_view name, bool) {
    return putString(name);
}

}  // namespace util::serializer
