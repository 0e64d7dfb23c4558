#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "util/ByteBufferWriter.h"
#include "util/UnicodeString.h"
#include "util/serializer/Options.h"
#include "zel/unicode/String.h"

namespace util::serializer {

/// Writes typed data into a byte buffer. Every function returns false on success and true on
/// failure. The core does not require the functions with a body; by default they fail.
class IStructuredSerializer {
public:
    virtual ~IStructuredSerializer() = default;

    virtual bool beginSerialize(ByteBufferWriter* writer, Options const* options) = 0;
    virtual bool endSerialize(unsigned long& written) = 0;

    virtual bool serializeNull() = 0;
    virtual bool serializeBoolean(bool value) = 0;
    virtual bool serializeInt8(std::int8_t value) = 0;
    virtual bool serializeUInt8(std::uint8_t value) = 0;
    virtual bool serializeInt16(std::int16_t value) = 0;
    virtual bool serializeUInt16(std::uint16_t value) = 0;
    virtual bool serializeInt32(std::int32_t value) = 0;
    virtual bool serializeUInt32(std::uint32_t value) = 0;
    virtual bool serializeInt64(std::int64_t value) = 0;
    virtual bool serializeUInt64(std::uint64_t value) = 0;
    virtual bool serializeFloat(float value) = 0;
    virtual bool serializeDouble(double value) = 0;
    virtual bool serializeEnum(int /*value*/, int /*count*/, bool /*checked*/) { return true; }
    virtual bool serializeString(std::string_view value) = 0;
    virtual bool serializeString(const UnicodeString8& /*value*/) { return true; }
    virtual bool serializeString(const UnicodeString16& /*value*/) { return true; }
    virtual bool serializeString(const zel::unicode::String& /*value*/) { return true; }

    virtual bool serializeNullArray(unsigned long /*count*/) { return true; }
    virtual bool serializeArray(const std::vector<bool>& /*values*/) { return true; }
    virtual bool serializeArray(const std::vector<std::int8_t>& /*values*/) { return true; }
    virtual bool serializeArray(const std::vector<std::uint8_t>& /*values*/) { return true; }
    virtual bool serializeArray(const std::vector<std::int16_t>& /*values*/) { return true; }
    virtual bool serializeArray(const std::vector<std::uint16_t>& /*values*/) { return true; }
    virtual bool serializeArray(const std::vector<std::int32_t>& /*values*/) { return true; }
    virtual bool serializeArray(const std::vector<std::uint32_t>& /*values*/) { return true; }
    virtual bool serializeArray(const std::vector<std::int64_t>& /*values*/) { return true; }
    virtual bool serializeArray(const std::vector<std::uint64_t>& /*values*/) { return true; }
    virtual bool serializeArray(const std::vector<float>& /*values*/) { return true; }
    virtual bool serializeArray(const std::vector<double>& /*values*/) { return true; }
    virtual bool serializeArray(const std::vector<std::string>& /*values*/) { return true; }

    virtual bool beginArrayOption() { return true; }
    virtual bool endArrayOption() { return true; }
    virtual bool beginOption(Options const* /*options*/) { return true; }
    virtual bool endOption() { return true; }

    virtual bool beginArray() = 0;
    virtual bool endArray() = 0;
    virtual bool beginElement() = 0;
    virtual bool endElement() = 0;
    virtual bool serializeEmptyElement() { return true; }
    virtual bool beginStruct(Options const* options) = 0;
    virtual bool endStruct() = 0;
    virtual bool beginField(std::string_view name, int id, bool optional) = 0;
    virtual bool endField() = 0;
    virtual bool beginMandatoryField(std::string_view /*name*/, int /*id*/) { return true; }
    virtual bool endMandatoryField() { return true; }
    virtual bool beginOptionalField(std::string_view /*name*/, int /*id*/, bool /*present*/) {
        return true;
    }
    virtual bool endOptionalField() { return true; }

    virtual unsigned int getApiCapibilites() const noexcept { return 0; }
};

}  // namespace util::serializer
