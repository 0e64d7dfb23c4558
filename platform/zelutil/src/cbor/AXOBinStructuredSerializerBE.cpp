#include "util/serializer/AXOBinStructuredSerializerBE.h"

#include <cstring>

#include "bytes/BigEndian.h"
#include "bytes/TextCheck.h"
#include "cbor/CborBytes.h"
#include "cbor/CborEncoder.h"
#include "cbor/CborFailure.h"
#include "cbor/TypedArrays.h"
#include "serializer/FormatSerializerCalls.h"

namespace util::serializer {

namespace {

// The tag (RFC 8746) and item size of each type, in the order of NumberType.
struct PackedType {
    std::uint64_t tag;
    std::size_t size;
};
constexpr PackedType PACKED_TYPES[] = {{64, 1}, {65, 2}, {66, 4}, {67, 8}, {72, 1},
                                       {73, 2}, {74, 4}, {75, 8}, {81, 4}, {82, 8}};

// Appends the bytes that `encode(target)` writes. `encode` writes at most `maxSize` bytes and
// returns their end. Returns false if memory is exhausted, as all functions below do. Growing the
// buffer is a separate function, so that the callers need not save registers.
template <class Encode>
bool put(ByteBufferWriter& writer, std::size_t maxSize, Encode encode);

template <class Encode>
[[gnu::noinline]] bool putAfterGrowing(ByteBufferWriter& writer, std::size_t maxSize,
                                       Encode encode) {
    return !writer.reserve(maxSize) && put(writer, maxSize, encode);
}

template <class Encode>
inline bool put(ByteBufferWriter& writer, std::size_t maxSize, Encode encode) {
    if (writer.capacityLeft() < maxSize) {
        return putAfterGrowing(writer, maxSize, encode);
    }
    writer.commit(encode(writer.end()));
    return true;
}

inline bool putByte(ByteBufferWriter& writer, unsigned char byte) {
    return put(writer, 1, [=](unsigned char* target) {
        *target = byte;
        return target + 1;
    });
}

template <unsigned char KIND>
inline bool putHead(ByteBufferWriter& writer, std::uint64_t argument) {
    return put(writer, MAX_HEAD,
               [=](unsigned char* target) { return encodeHead<KIND>(argument, target); });
}

template <unsigned char KIND>
inline bool putBytes(ByteBufferWriter& writer, std::string_view bytes) {
    return put(writer, MAX_HEAD + bytes.size(), [=](unsigned char* target) {
        target = encodeHead<KIND>(bytes.size(), target);
        if (!bytes.empty()) {
            std::memcpy(target, bytes.data(), bytes.size());
        }
        return target + bytes.size();
    });
}

// Writes the bytes as a text string if they are UTF-8, otherwise as a byte string.
[[gnu::noinline]] bool putChecked(ByteBufferWriter& writer, std::string_view bytes) {
    return isUtf8(bytes) ? putBytes<TEXT>(writer, bytes) : putBytes<BYTES>(writer, bytes);
}

// Writes a string or field name. Most of them are short and ASCII; these are checked while they are
// copied. Inlining saves 7 % of the time for ten fields.
[[gnu::always_inline]] inline bool putAny(ByteBufferWriter& writer, std::string_view bytes) {
    const std::size_t size = bytes.size();
    if (size > MAX_SHORT || writer.capacityLeft() <= size ||
        !copyShortText(bytes, writer.end() + 1)) {
        return putChecked(writer, bytes);
    }
    unsigned char* const target = writer.end();
    *target = static_cast<unsigned char>(TEXT + size);
    writer.commit(target + 1 + size);
    return true;
}

}  // namespace

/// Writes the binary format: one head (RFC 8949) for each value, and one for the beginning of each
/// array or struct.
class AXOBinStructuredSerializerBE::Format
    : public SequencedFormat<AXOBinStructuredSerializerBE::Format> {
public:
    static constexpr unsigned int CAPABILITIES = CAPABILITY_BYTE_STRINGS |
                                                 CAPABILITY_PACKED_ARRAYS | CAPABILITY_NON_FINITE |
                                                 CAPABILITY_NAMED_FIELDS;

    Format() noexcept : SequencedFormat(true) {}

    bool putNull() { return putByte(writer(), NULL_BYTE); }
    bool putBoolean(bool value) { return putByte(writer(), value ? TRUE_BYTE : FALSE_BYTE); }
    bool putSigned(std::int64_t value) {
        const auto bits = static_cast<std::uint64_t>(value);
        return value >= 0 ? putHead<UNSIGNED>(writer(), bits)
                          : putHead<NEGATIVE>(writer(), ~bits);  // stands for -1 - ~bits
    }
    bool putUnsigned(std::uint64_t value) { return putHead<UNSIGNED>(writer(), value); }
    bool putFloat(float value) {
        return put(writer(), MAX_HEAD, [=](unsigned char* target) {
            std::uint32_t bits = 0;
            std::memcpy(&bits, &value, sizeof(bits));
            target[0] = SINGLE_BYTE;
            storeFour(bits, target + 1);
            return target + 1 + sizeof(bits);
        });
    }
    bool putDouble(double value) {
        return put(writer(), MAX_HEAD, [=](unsigned char* target) {
            std::uint64_t bits = 0;
            std::memcpy(&bits, &value, sizeof(bits));
            target[0] = DOUBLE_BYTE;
            storeEight(bits, target + 1);
            return target + MAX_HEAD;
        });
    }
    bool putString(std::string_view bytes) { return putAny(writer(), bytes); }
    bool putText(std::string_view utf8) { return putBytes<TEXT>(writer(), utf8); }
    bool putPacked(NumberType type, void const* items, std::size_t count) {
        const PackedType& packed = PACKED_TYPES[static_cast<std::size_t>(type)];
        const std::size_t length = count * packed.size;
        if (!putHead<TAG>(writer(), packed.tag) || !putHead<BYTES>(writer(), length)) {
            return false;
        }
        unsigned char* const bytes = writer().extend(length);
        if (bytes == nullptr) {
            return false;
        }
        storeBigEndian(items, packed.size, count, bytes);
        return true;
    }
    bool putArrayBegin() { return putByte(writer(), ARRAY_BYTE); }
    bool putArrayEnd(bool) { return putByte(writer(), BREAK_BYTE); }
    bool putStructBegin() { return putByte(writer(), MAP_BYTE); }
    bool putStructEnd(bool) { return putByte(writer(), BREAK_BYTE); }
    static bool putElementBegin(bool) { return true; }
    bool putEmptyElement(bool) { return putByte(writer(), UNDEFINED_BYTE); }
    bool putFieldBegin(std::string_view name, bool) { return putAny(writer(), name); }

    /// Finds the path of the current field by decoding the bytes that were written. These bytes are
    /// well-formed except that the end of the payload is missing.
    static void locate(std::string_view written, bool isInItem, FieldPath& path) noexcept {
        path = pathOfCborEnd(written, isInItem);
    }
};

AXOBinStructuredSerializerBE::AXOBinStructuredSerializerBE() noexcept = default;
AXOBinStructuredSerializerBE::~AXOBinStructuredSerializerBE() = default;

template class FormatSerializer<AXOBinStructuredSerializerBE>;

}  // namespace util::serializer
