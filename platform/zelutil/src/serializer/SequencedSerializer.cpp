#include "util/serializer/SequencedSerializer.h"

#include <new>
#include <optional>
#include <type_traits>

namespace util::serializer {

SequencedSerializer::SequencedSerializer(unsigned int capabilities, bool compact) noexcept
    : capabilities_(capabilities), compact_(compact) {}

SequencedSerializer::~SequencedSerializer() = default;

SequencedSerializer::LevelData SequencedSerializer::changed(LevelData data,
                                                            const Options& options) {
    if (const auto option = options.find(OptionTag::Compact); option != options.end()) {
        data.compact = option->second != 0;
    }
    if (const auto option = options.find(OptionTag::PlainArrays); option != options.end()) {
        data.plainArrays = option->second != 0;
    }
    return data;
}

bool SequencedSerializer::beginSerialize(ByteBufferWriter* writer, Options const* options) {
    stack_.clear();
    if (writer == nullptr) {
        return true;
    }
    writer_ = writer;
    start_ = writer->size();
    depth_ = 0;
    failed_ = false;
    stack_.top().data.compact = compact_;
    stack_.start(inner(options));
    return false;
}

bool SequencedSerializer::endSerialize(unsigned long& written) {
    const bool complete = !failed_ && stack_.mayClose(Bracket::Root);
    stack_.clear();
    if (!complete) {
        return true;
    }
    written = writer_->size() - start_;
    return false;
}

// ---- scalars

template <class Number>
bool SequencedSerializer::number(Number value) {
    if constexpr (std::is_same_v<Number, float>) {
        return putFloat(value);
    } else if constexpr (std::is_same_v<Number, double>) {
        return putDouble(value);
    } else if constexpr (std::is_signed_v<Number>) {
        return putSigned(value);
    } else {
        return putUnsigned(value);
    }
}

bool SequencedSerializer::serializeNull() {
    return value([&] { return putNull(); });
}

bool SequencedSerializer::serializeBoolean(bool flag) {
    return value([&] { return putBoolean(flag); });
}

bool SequencedSerializer::serializeInt8(std::int8_t item) {
    return value([&] { return number(item); });
}

bool SequencedSerializer::serializeUInt8(std::uint8_t item) {
    return value([&] { return number(item); });
}

bool SequencedSerializer::serializeInt16(std::int16_t item) {
    return value([&] { return number(item); });
}

bool SequencedSerializer::serializeUInt16(std::uint16_t item) {
    return value([&] { return number(item); });
}

bool SequencedSerializer::serializeInt32(std::int32_t item) {
    return value([&] { return number(item); });
}

bool SequencedSerializer::serializeUInt32(std::uint32_t item) {
    return value([&] { return number(item); });
}

bool SequencedSerializer::serializeInt64(std::int64_t item) {
    return value([&] { return number(item); });
}

bool SequencedSerializer::serializeUInt64(std::uint64_t item) {
    return value([&] { return number(item); });
}

bool SequencedSerializer::serializeFloat(float item) {
    return value([&] { return number(item); });
}

bool SequencedSerializer::serializeDouble(double item) {
    return value([&] { return number(item); });
}

bool SequencedSerializer::serializeEnum(int item, int count, bool checked) {
    if (checked && (item < 0 || item >= count)) {
        return fail();
    }
    return serializeInt32(item);
}

bool SequencedSerializer::serializeString(std::string_view bytes) {
    return value([&] { return putString(bytes); });
}

bool SequencedSerializer::serializeString(const UnicodeString8& text) {
    return value([&] { return !zel::unicode::isUtf8(text.units) || putText(text.units); });
}

bool SequencedSerializer::serializeString(const UnicodeString16& text) {
    return value([&] {
        try {
            const std::optional<std::string> utf8 = zel::unicode::utf16ToUtf8(text.units);
            return !utf8 || putText(*utf8);
        } catch (const std::bad_alloc&) {
            return true;
        }
    });
}

bool SequencedSerializer::serializeString(const zel::unicode::String& text) {
    return value([&] { return putText(text.utf8()); });
}

// ---- typed arrays

bool SequencedSerializer::putPacked(NumberType, void const*, std::size_t) {
    return true;
}

// An array of `count` elements, the i-th written by `put(i)`, without a level of its own.
template <class Put>
bool SequencedSerializer::plainArray(std::size_t count, Put put) {
    if (!mayNest() || putArrayBegin()) {
        return true;
    }
    ++depth_;
    for (std::size_t i = 0; i < count; ++i) {
        if (putElementBegin(i == 0) || put(i)) {
            return true;
        }
    }
    --depth_;
    return putArrayEnd(count == 0);
}

template <class Number>
bool SequencedSerializer::numbers(NumberType type, const std::vector<Number>& values) {
    return value([&] {
        if ((capabilities_ & CAPABILITY_PACKED_ARRAYS) != 0 && !stack_.top().data.plainArrays) {
            return !mayNest() || putPacked(type, values.data(), values.size());
        }
        return plainArray(values.size(), [&](std::size_t i) { return number(values[i]); });
    });
}

bool SequencedSerializer::serializeNullArray(unsigned long count) {
    return value([&] { return plainArray(count, [&](std::size_t) { return putNull(); }); });
}

bool SequencedSerializer::serializeArray(const std::vector<bool>& values) {
    return value([&] {
        return plainArray(values.size(), [&](std::size_t i) { return putBoolean(values[i]); });
    });
}

bool SequencedSerializer::serializeArray(const std::vector<std::int8_t>& values) {
    return numbers(NumberType::Int8, values);
}

bool SequencedSerializer::serializeArray(const std::vector<std::uint8_t>& values) {
    return numbers(NumberType::UInt8, values);
}

bool SequencedSerializer::serializeArray(const std::vector<std::int16_t>& values) {
    return numbers(NumberType::Int16, values);
}

bool SequencedSerializer::serializeArray(const std::vector<std::uint16_t>& values) {
    return numbers(NumberType::UInt16, values);
}

bool SequencedSerializer::serializeArray(const std::vector<std::int32_t>& values) {
    return numbers(NumberType::Int32, values);
}

bool SequencedSerializer::serializeArray(const std::vector<std::uint32_t>& values) {
    return numbers(NumberType::UInt32, values);
}

bool SequencedSerializer::serializeArray(const std::vector<std::int64_t>& values) {
    return numbers(NumberType::Int64, values);
}

bool SequencedSerializer::serializeArray(const std::vector<std::uint64_t>& values) {
    return numbers(NumberType::UInt64, values);
}

bool SequencedSerializer::serializeArray(const std::vector<float>& values) {
    return numbers(NumberType::Float, values);
}

bool SequencedSerializer::serializeArray(const std::vector<double>& values) {
    return numbers(NumberType::Double, values);
}

bool SequencedSerializer::serializeArray(const std::vector<std::string>& values) {
    return value([&] {
        return plainArray(values.size(), [&](std::size_t i) { return putString(values[i]); });
    });
}

}  // namespace util::serializer
