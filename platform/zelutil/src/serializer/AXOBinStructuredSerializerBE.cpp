#include "util/serializer/AXOBinStructuredSerializerBE.h"

#include <cbor/encoding.h>

#include <cstring>

#include "BigEndian.h"
#include "CborBytes.h"
#include "TextCheck.h"
#include "TypedArrays.h"

namespace util::serializer {

namespace {

// The tag (RFC 8746) and item size of each type, in the order of NumberType.
struct PackedType {
    std::uint64_t tag;
    std::size_t size;
};
constexpr PackedType PACKED_TYPES[] = {{64, 1}, {65, 2}, {66, 4}, {67, 8}, {72, 1},
                                       {73, 2}, {74, 4}, {75, 8}, {81, 4}, {82, 8}};

// Writes a head to `target`, which has room for the longest. Gives its length. It is too little to
// call a library for: a tenth of the time of a payload.
template <unsigned char KIND>
std::size_t encodeHead(std::uint64_t argument, unsigned char* target) noexcept {
    if (argument <= MAX_SHORT) {
        *target = static_cast<unsigned char>(KIND + argument);
        return 1;
    }
    if (argument <= 0xFF) {
        target[0] = KIND + FIRST_LONG;
        target[1] = static_cast<unsigned char>(argument);
        return 2;
    }
    if (argument <= 0xFFFF) {
        target[0] = KIND + FIRST_LONG + 1;
        storeTwo(argument, target + 1);
        return 3;
    }
    if (argument <= 0xFFFFFFFF) {
        target[0] = KIND + FIRST_LONG + 2;
        storeFour(argument, target + 1);
        return 5;
    }
    target[0] = KIND + FIRST_LONG + 3;
    storeEight(argument, target + 1);
    return MAX_HEAD;
}

// Appends the bytes that `encode(target)` makes, at most `room`, and gives the number of.
template <class Encode>
bool put(ByteBufferWriter& writer, std::size_t room, Encode encode) {
    unsigned char* const target = writer.extend(room);
    if (target == nullptr) {
        return true;
    }
    writer.truncate(writer.size() - room + encode(target));
    return false;
}

template <unsigned char KIND>
bool putHead(ByteBufferWriter& writer, std::uint64_t argument) {
    return put(writer, MAX_HEAD,
               [=](unsigned char* target) { return encodeHead<KIND>(argument, target); });
}

template <auto ENCODE, class Value>
bool putWith(ByteBufferWriter& writer, Value value) {
    return put(writer, MAX_HEAD,
               [=](unsigned char* target) { return ENCODE(value, target, MAX_HEAD); });
}

template <unsigned char KIND>
bool putBytes(ByteBufferWriter& writer, std::string_view bytes) {
    return put(writer, MAX_HEAD + bytes.size(), [=](unsigned char* target) {
        const std::size_t head = encodeHead<KIND>(bytes.size(), target);
        if (!bytes.empty()) {
            std::memcpy(target + head, bytes.data(), bytes.size());
        }
        return head + bytes.size();
    });
}

// Strings and field names alike. Most are short and plain: these are judged while they are copied.
bool putAny(ByteBufferWriter& writer, std::string_view bytes) {
    if (bytes.size() > MAX_SHORT) {
        return isUtf8(bytes) ? putBytes<TEXT>(writer, bytes) : putBytes<BYTES>(writer, bytes);
    }
    unsigned char* const target = writer.extend(1 + bytes.size());
    if (target == nullptr) {
        return true;
    }
    const bool isText = copyShortText(bytes, target + 1) || zel::unicode::isUtf8(bytes);
    *target = static_cast<unsigned char>((isText ? TEXT : BYTES) + bytes.size());
    return false;
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
    return value >= 0 ? putHead<UNSIGNED>(writer(), bits)
                      : putHead<NEGATIVE>(writer(), ~bits);  // the number -1 - ~bits
}

bool AXOBinStructuredSerializerBE::putUnsigned(std::uint64_t value) {
    return putHead<UNSIGNED>(writer(), value);
}

bool AXOBinStructuredSerializerBE::putFloat(float value) {
    return putWith<cbor_encode_single>(writer(), value);
}

bool AXOBinStructuredSerializerBE::putDouble(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    unsigned char* const target = writer().extend(MAX_HEAD);
    if (target == nullptr) {
        return true;
    }
    target[0] = DOUBLE_BYTE;
    storeEight(bits, target + 1);
    return false;
}

bool AXOBinStructuredSerializerBE::putString(std::string_view bytes) {
    return putAny(writer(), bytes);
}

bool AXOBinStructuredSerializerBE::putText(std::string_view utf8) {
    return putBytes<TEXT>(writer(), utf8);
}

bool AXOBinStructuredSerializerBE::putPacked(NumberType type, void const* items,
                                             std::size_t count) {
    const PackedType& packed = PACKED_TYPES[static_cast<std::size_t>(type)];
    const std::size_t length = count * packed.size;
    if (putWith<cbor_encode_tag>(writer(), packed.tag) || putHead<BYTES>(writer(), length)) {
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
    return putAny(writer(), name);
}

}  // namespace util::serializer
