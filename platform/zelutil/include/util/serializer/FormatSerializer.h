#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "util/Export.h"
#include "util/serializer/IStructuredSerializer.h"

namespace util::serializer {

/// The common base of the serializers of the library. It implements `IStructuredSerializer` for one
/// format. Not part of the public interface.
///
/// The state is an object of the private class `Serializer::Format`. It is stored inline, so that
/// creating a serializer does not allocate memory. One source file of the library defines the class
/// and instantiates this template. Used by one thread at a time.
template <class Serializer>
class UTIL_API FormatSerializer : public IStructuredSerializer {
public:
    ~FormatSerializer() override;
    FormatSerializer(const FormatSerializer&) = delete;
    FormatSerializer& operator=(const FormatSerializer&) = delete;

    bool beginSerialize(ByteBufferWriter* writer, Options const* options) final;
    bool endSerialize(unsigned long& written) final;

    bool serializeNull() final;
    bool serializeBoolean(bool value) final;
    bool serializeInt8(std::int8_t value) final;
    bool serializeUInt8(std::uint8_t value) final;
    bool serializeInt16(std::int16_t value) final;
    bool serializeUInt16(std::uint16_t value) final;
    bool serializeInt32(std::int32_t value) final;
    bool serializeUInt32(std::uint32_t value) final;
    bool serializeInt64(std::int64_t value) final;
    bool serializeUInt64(std::uint64_t value) final;
    bool serializeFloat(float value) final;
    bool serializeDouble(double value) final;
    bool serializeEnum(int value, int count, bool checked) final;
    bool serializeString(std::string_view value) final;
    bool serializeString(const UnicodeString8& value) final;
    bool serializeString(const UnicodeString16& value) final;
    bool serializeString(const zel::unicode::String& value) final;

    bool serializeNullArray(unsigned long count) final;
    bool serializeArray(const std::vector<bool>& values) final;
    bool serializeArray(const std::vector<std::int8_t>& values) final;
    bool serializeArray(const std::vector<std::uint8_t>& values) final;
    bool serializeArray(const std::vector<std::int16_t>& values) final;
    bool serializeArray(const std::vector<std::uint16_t>& values) final;
    bool serializeArray(const std::vector<std::int32_t>& values) final;
    bool serializeArray(const std::vector<std::uint32_t>& values) final;
    bool serializeArray(const std::vector<std::int64_t>& values) final;
    bool serializeArray(const std::vector<std::uint64_t>& values) final;
    bool serializeArray(const std::vector<float>& values) final;
    bool serializeArray(const std::vector<double>& values) final;
    bool serializeArray(const std::vector<std::string>& values) final;

    bool beginArrayOption() final;
    bool endArrayOption() final;
    bool beginOption(Options const* options) final;
    bool endOption() final;

    bool beginArray() final;
    bool endArray() final;
    bool beginElement() final;
    bool endElement() final;
    bool serializeEmptyElement() final;
    bool beginStruct(Options const* options) final;
    bool endStruct() final;
    bool beginField(std::string_view name, int id, bool optional) final;
    bool endField() final;
    bool beginMandatoryField(std::string_view name, int id) final;
    bool endMandatoryField() final;
    bool beginOptionalField(std::string_view name, int id, bool present) final;
    bool endOptionalField() final;

    unsigned int getApiCapibilites() const noexcept final;

protected:
    /// Creates the state: passes the arguments to the constructor of `Serializer::Format`.
    template <class... Arguments>
    UTIL_LOCAL explicit FormatSerializer(Arguments&&... arguments) noexcept;

private:
    // Returns the state, a `Serializer::Format`.
    UTIL_LOCAL auto& format() noexcept;

    alignas(void*) std::array<unsigned char, 144> state_;  // size of the largest state
};

}  // namespace util::serializer
