#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "util/ByteBufferReader.h"
#include "util/UnicodeString.h"
#include "util/serializer/Entry.h"
#include "util/serializer/Options.h"
#include "zel/unicode/String.h"

namespace util::serializer {

/// Reads typed data in the order in which it was written. Every operation returns false on success
/// and true on failure.
class IStructuredPullDeserializer {
public:
    virtual ~IStructuredPullDeserializer() = default;

    virtual bool beginDeserialize(ByteBufferReader* reader, Options const* options) = 0;
    virtual bool endDeserialize() = 0;
    virtual void reset() = 0;

    virtual bool getNull() = 0;
    virtual bool getBoolean(bool& out) = 0;
    virtual bool getInt8(std::int8_t& out) = 0;
    virtual bool getUInt8(std::uint8_t& out) = 0;
    virtual bool getInt16(std::int16_t& out) = 0;
    virtual bool getUInt16(std::uint16_t& out) = 0;
    virtual bool getInt32(std::int32_t& out) = 0;
    virtual bool getUInt32(std::uint32_t& out) = 0;
    virtual bool getInt64(std::int64_t& out) = 0;
    virtual bool getUInt64(std::uint64_t& out) = 0;
    virtual bool getFloat(float& out) = 0;
    virtual bool getDouble(double& out) = 0;
    virtual bool getEnum(int& out, int count, bool checked);
    virtual bool getString(std::string& out) = 0;
    virtual bool getString(UnicodeString8& /*out*/) { return true; }
    virtual bool getString(UnicodeString16& /*out*/) { return true; }
    virtual bool getString(zel::unicode::String& /*out*/) { return true; }

    virtual bool getNullArray(unsigned long& count) = 0;
    virtual bool getBooleanArray(std::vector<bool>& out) = 0;
    virtual bool getInt8Array(std::vector<std::int8_t>& out) = 0;
    virtual bool getUInt8Array(std::vector<std::uint8_t>& out) = 0;
    virtual bool getInt16Array(std::vector<std::int16_t>& out) = 0;
    virtual bool getUInt16Array(std::vector<std::uint16_t>& out) = 0;
    virtual bool getInt32Array(std::vector<std::int32_t>& out) = 0;
    virtual bool getUInt32Array(std::vector<std::uint32_t>& out) = 0;
    virtual bool getInt64Array(std::vector<std::int64_t>& out) = 0;
    virtual bool getUInt64Array(std::vector<std::uint64_t>& out) = 0;
    virtual bool getFloatArray(std::vector<float>& out) = 0;
    virtual bool getDoubleArray(std::vector<double>& out) = 0;
    virtual bool getStringArray(std::vector<std::string>& out) = 0;

    virtual bool beginArrayOption() { return false; }
    virtual bool endArrayOption() { return false; }
    virtual bool beginOption(Options const* /*options*/) { return false; }
    virtual bool endOption() { return false; }

    virtual bool beginArray() = 0;
    virtual bool isArrayEnd() = 0;
    virtual bool endArray() = 0;
    virtual bool beginElement() = 0;
    virtual bool endElement() = 0;
    virtual bool getEmptyElement(bool& empty);

    virtual bool beginStruct(Options const* options) = 0;
    virtual bool isStructEnd() = 0;
    virtual bool endStruct() = 0;
    virtual bool beginField(std::string& name) = 0;
    virtual bool skipField() = 0;
    virtual bool endField() = 0;

    virtual Entry const* getNextEntry() = 0;
    virtual Entry const* peekNextEntry() = 0;

    virtual bool beginMandatoryField(const std::string& /*name*/, int /*id*/) { return true; }
    virtual bool endMandatoryField() { return true; }
    virtual bool beginOptionalField(const std::string& /*name*/, int /*id*/, bool& /*present*/) {
        return true;
    }
    virtual bool endOptionalField() { return true; }

    virtual unsigned int getApiCapibilites() const noexcept { return 0; }
};

inline bool IStructuredPullDeserializer::getEnum(int& out, int count, bool checked) {
    std::int32_t value = 0;
    if (getInt32(value) || (checked && (value < 0 || value >= count))) {
        return true;
    }
    out = value;
    return false;
}

inline bool IStructuredPullDeserializer::getEmptyElement(bool& empty) {
    empty = false;
    return false;
}

}  // namespace util::serializer
