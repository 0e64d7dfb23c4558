#include "util/serializer/FieldWriter.h"

#include <cmath>
#include <cstring>

#include "bytes/BigEndian.h"
#include "bytes/TextCheck.h"
#include "cbor/CborBytes.h"
#include "cbor/CborEncoder.h"
#include "cbor/TypedArrays.h"
#include "json/JsonText.h"

namespace util::serializer {

namespace {

// Appends the bytes that `write(target)` writes. `write` writes at most `size` bytes and returns
// their end.
template <class Write>
inline bool put(ByteBufferWriter& bytes, std::size_t size, Write write) noexcept {
    if (bytes.reserve(size)) {
        return false;
    }
    bytes.commit(write(bytes.end()));
    return true;
}

inline bool putByte(ByteBufferWriter& bytes, unsigned char byte) noexcept {
    return put(bytes, 1, [=](unsigned char* out) {
        *out = byte;
        return out + 1;
    });
}

template <unsigned char KIND>
inline bool putHead(ByteBufferWriter& bytes, std::uint64_t argument) noexcept {
    return put(bytes, MAX_HEAD,
               [=](unsigned char* out) { return encodeHead<KIND>(argument, out); });
}

// Appends the text that `write(target)` writes.
template <class Write>
inline bool putText(ByteBufferWriter& bytes, std::size_t size, Write write) noexcept {
    return put(bytes, size, [&](unsigned char* out) {
        return reinterpret_cast<unsigned char*>(write(reinterpret_cast<char*>(out)));
    });
}

}  // namespace

bool FieldWriter::null() noexcept {
    return isBinary_ ? putByte(bytes_, NULL_BYTE) : !bytes_.append("null", 4);
}

bool FieldWriter::value(bool value) noexcept {
    if (isBinary_) {
        return putByte(bytes_, value ? TRUE_BYTE : FALSE_BYTE);
    }
    return !(value ? bytes_.append("true", 4) : bytes_.append("false", 5));
}

bool FieldWriter::value(std::int64_t value) noexcept {
    if (!isBinary_) {
        return putText(bytes_, json::MAX_NUMBER_SIZE,
                       [=](char* out) { return json::writeInteger(out, value); });
    }
    const auto bits = static_cast<std::uint64_t>(value);
    return value >= 0 ? putHead<UNSIGNED>(bytes_, bits)
                      : putHead<NEGATIVE>(bytes_, ~bits);  // stands for -1 - ~bits
}

bool FieldWriter::value(std::uint64_t value) noexcept {
    if (!isBinary_) {
        return putText(bytes_, json::MAX_NUMBER_SIZE,
                       [=](char* out) { return json::writeInteger(out, value); });
    }
    return putHead<UNSIGNED>(bytes_, value);
}

bool FieldWriter::value(float value) noexcept {
    if (!isBinary_) {
        return std::isfinite(value) && json::appendFloat(bytes_, value);
    }
    return put(bytes_, MAX_HEAD, [=](unsigned char* out) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        *out = SINGLE_BYTE;
        storeFour(bits, out + 1);
        return out + 1 + sizeof bits;
    });
}

bool FieldWriter::value(double value) noexcept {
    if (!isBinary_) {
        return std::isfinite(value) && putText(bytes_, json::MAX_NUMBER_SIZE, [=](char* out) {
                   return json::writeDouble(out, value);
               });
    }
    return put(bytes_, MAX_HEAD, [=](unsigned char* out) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        *out = DOUBLE_BYTE;
        storeEight(bits, out + 1);
        return out + 1 + sizeof bits;
    });
}

bool FieldWriter::value(std::string_view value) noexcept {
    return isBinary_ ? putBinaryText(value) : isUtf8(value) && json::appendString(bytes_, value);
}

// Writes a text string if the bytes are UTF-8, otherwise a byte string. Most strings are short and
// ASCII; these are checked while they are copied.
bool FieldWriter::putBinaryText(std::string_view text) noexcept {
    const std::size_t size = text.size();
    if (bytes_.reserve(MAX_HEAD + size)) {
        return false;
    }
    unsigned char* const out = bytes_.end();
    if (size <= MAX_SHORT && copyShortText(text, out + 1)) {
        *out = static_cast<unsigned char>(TEXT + size);
        bytes_.commit(out + 1 + size);
        return true;
    }
    unsigned char* const behind =
        isUtf8(text) ? encodeHead<TEXT>(size, out) : encodeHead<BYTES>(size, out);
    std::memcpy(behind, text.data(), size);
    bytes_.commit(behind + size);
    return true;
}

template <class Item>
bool FieldWriter::putValues(const std::vector<Item>& items) noexcept {
    constexpr bool IS_PACKED = !std::is_same_v<Item, bool>;
    if constexpr (IS_PACKED) {
        if (isBinary_) {
            const std::size_t size = items.size() * sizeof(Item);
            if (depth_ == MAX_NESTING_DEPTH || !putHead<TAG>(bytes_, typedArrayTag<Item>()) ||
                !putHead<BYTES>(bytes_, size) || bytes_.reserve(size)) {
                return false;
            }
            storeBigEndian(items.data(), sizeof(Item), items.size(), bytes_.end());
            bytes_.commit(bytes_.end() + size);
            return true;
        }
    }
    if (!beginArray()) {
        return false;
    }
    for (const Item item : items) {
        if (!beginElement() || !value(item)) {
            return false;
        }
    }
    return endArray();
}

bool FieldWriter::values(const std::vector<bool>& values) noexcept {
    return putValues(values);
}

bool FieldWriter::values(const std::vector<std::int8_t>& values) noexcept {
    return putValues(values);
}

bool FieldWriter::values(const std::vector<std::uint8_t>& values) noexcept {
    return putValues(values);
}

bool FieldWriter::values(const std::vector<std::int16_t>& values) noexcept {
    return putValues(values);
}

bool FieldWriter::values(const std::vector<std::uint16_t>& values) noexcept {
    return putValues(values);
}

bool FieldWriter::values(const std::vector<std::int32_t>& values) noexcept {
    return putValues(values);
}

bool FieldWriter::values(const std::vector<std::uint32_t>& values) noexcept {
    return putValues(values);
}

bool FieldWriter::values(const std::vector<std::int64_t>& values) noexcept {
    return putValues(values);
}

bool FieldWriter::values(const std::vector<std::uint64_t>& values) noexcept {
    return putValues(values);
}

bool FieldWriter::values(const std::vector<float>& values) noexcept {
    return putValues(values);
}

bool FieldWriter::values(const std::vector<double>& values) noexcept {
    return putValues(values);
}

bool FieldWriter::beginArray() noexcept {
    return begin(ARRAY_BYTE, '[');
}

bool FieldWriter::beginElement() noexcept {
    return isBinary_ || putSeparator();
}

bool FieldWriter::endArray() noexcept {
    return end(']');
}

bool FieldWriter::beginObject() noexcept {
    return begin(MAP_BYTE, '{');
}

bool FieldWriter::beginField(std::string_view name) noexcept {
    if (isBinary_) {
        return putBinaryText(name);
    }
    return isUtf8(name) && putSeparator() && json::appendString(bytes_, name) &&
           putByte(bytes_, ':');
}

bool FieldWriter::endObject() noexcept {
    return end('}');
}

bool FieldWriter::begin(unsigned char binary, char text) noexcept {
    isFirst_ = true;
    return depth_++ != MAX_NESTING_DEPTH &&
           putByte(bytes_, isBinary_ ? binary : static_cast<unsigned char>(text));
}

bool FieldWriter::end(char text) noexcept {
    --depth_;
    isFirst_ = false;
    return putByte(bytes_, isBinary_ ? BREAK_BYTE : static_cast<unsigned char>(text));
}

bool FieldWriter::putSeparator() noexcept {
    const bool isFirst = isFirst_;
    isFirst_ = false;
    return isFirst || putByte(bytes_, ',');
}

}  // namespace util::serializer
