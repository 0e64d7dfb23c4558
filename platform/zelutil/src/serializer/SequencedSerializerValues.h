#pragma once

#include <new>
#include <optional>
#include <type_traits>

#include "util/serializer/SequencedSerializer.h"

// The functions of `SequencedSerializer` for values, for the file that instantiates it for a
// format.
namespace util::serializer {

/// @cond

// ---- scalars

template <class Format>
template <class Number>
bool SequencedSerializer<Format>::number(Number value) {
    if constexpr (std::is_same_v<Number, float>) {
        return format().putFloat(value);
    } else if constexpr (std::is_same_v<Number, double>) {
        return format().putDouble(value);
    } else if constexpr (std::is_signed_v<Number>) {
        return format().putSigned(value);
    } else {
        return format().putUnsigned(value);
    }
}

template <class Format>
bool SequencedSerializer<Format>::serializeNull() {
    return value([&] { return format().putNull(); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeBoolean(bool flag) {
    return value([&] { return format().putBoolean(flag); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeInt8(std::int8_t item) {
    return value([&] { return number(item); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeUInt8(std::uint8_t item) {
    return value([&] { return number(item); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeInt16(std::int16_t item) {
    return value([&] { return number(item); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeUInt16(std::uint16_t item) {
    return value([&] { return number(item); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeInt32(std::int32_t item) {
    return value([&] { return number(item); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeUInt32(std::uint32_t item) {
    return value([&] { return number(item); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeInt64(std::int64_t item) {
    return value([&] { return number(item); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeUInt64(std::uint64_t item) {
    return value([&] { return number(item); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeFloat(float item) {
    return value([&] { return number(item); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeDouble(double item) {
    return value([&] { return number(item); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeEnum(int item, int count, bool checked) {
    return value([&] {
        if (checked && (item < 0 || item >= count)) {
            return refuse(Refusal::NotEnumerator, static_cast<double>(item));
        }
        return number(item);
    });
}

template <class Format>
bool SequencedSerializer<Format>::serializeString(std::string_view bytes) {
    return value([&] { return format().putString(bytes); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeString(const UnicodeString8& text) {
    return value([&] {
        return zel::unicode::isUtf8(text.units) ? format().putText(text.units)
                                                : refuse(Refusal::NotUnicode);
    });
}

template <class Format>
bool SequencedSerializer<Format>::serializeString(const UnicodeString16& text) {
    return value([&] {
        try {
            const std::optional<std::string> utf8 = zel::unicode::utf16ToUtf8(text.units);
            return utf8 ? format().putText(*utf8) : refuse(Refusal::NotUnicode);
        } catch (const std::bad_alloc&) {
            return true;
        }
    });
}

template <class Format>
bool SequencedSerializer<Format>::serializeString(const zel::unicode::String& text) {
    return value([&] { return format().putText(text.utf8()); });
}

// ---- typed arrays

// Writes an array of `count` elements without opening a level. `put(i)` writes element i.
template <class Format>
template <class Put>
bool SequencedSerializer<Format>::plainArray(std::size_t count, Put put) {
    if (isTooDeep() || format().putArrayBegin()) {
        return true;
    }
    ++depth_;
    for (std::size_t i = 0; i < count; ++i) {
        if (format().putElementBegin(i == 0) || put(i)) {
            return true;
        }
    }
    --depth_;
    return format().putArrayEnd(count == 0);
}

template <class Format>
template <class Number>
bool SequencedSerializer<Format>::numbers(NumberType type, const std::vector<Number>& values) {
    return value([&] {
        if ((capabilities_ & CAPABILITY_PACKED_ARRAYS) != 0 && !stack_.top().data.plainArrays) {
            return isTooDeep() || format().putPacked(type, values.data(), values.size());
        }
        return plainArray(values.size(), [&](std::size_t i) { return number(values[i]); });
    });
}

template <class Format>
bool SequencedSerializer<Format>::serializeNullArray(unsigned long count) {
    return value(
        [&] { return plainArray(count, [&](std::size_t) { return format().putNull(); }); });
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<bool>& values) {
    return value([&] {
        return plainArray(values.size(),
                          [&](std::size_t i) { return format().putBoolean(values[i]); });
    });
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<std::int8_t>& values) {
    return numbers(NumberType::Int8, values);
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<std::uint8_t>& values) {
    return numbers(NumberType::UInt8, values);
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<std::int16_t>& values) {
    return numbers(NumberType::Int16, values);
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<std::uint16_t>& values) {
    return numbers(NumberType::UInt16, values);
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<std::int32_t>& values) {
    return numbers(NumberType::Int32, values);
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<std::uint32_t>& values) {
    return numbers(NumberType::UInt32, values);
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<std::int64_t>& values) {
    return numbers(NumberType::Int64, values);
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<std::uint64_t>& values) {
    return numbers(NumberType::UInt64, values);
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<float>& values) {
    return numbers(NumberType::Float, values);
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<double>& values) {
    return numbers(NumberType::Double, values);
}

template <class Format>
bool SequencedSerializer<Format>::serializeArray(const std::vector<std::string>& values) {
    return value([&] {
        return plainArray(values.size(),
                          [&](std::size_t i) { return format().putString(values[i]); });
    });
}

/// @endcond

}  // namespace util::serializer
