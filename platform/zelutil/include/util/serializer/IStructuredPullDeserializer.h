#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "util/ByteBufferReader.h"
#include "util/Export.h"
#include "util/UnicodeString.h"
#include "util/serializer/Entry.h"
#include "util/serializer/Options.h"
#include "zel/unicode/String.h"

namespace util::serializer {

/// Reads typed data in the order in which it was written.
///
/// The mirror of `IStructuredSerializer`: the calls have the same order. Every operation returns
/// false on success and true on failure; a value that does not fit the asked type fails, it is
/// never cut, and outputs are untouched on failure. One thread at a time. The order of the virtual
/// operations is part of the contract.
class UTIL_API IStructuredPullDeserializer {
public:
    virtual ~IStructuredPullDeserializer();

    /// Starts reading the remaining bytes of `reader`, which must stay alive while reading.
    /// `options` may be null.
    [[nodiscard]] virtual bool beginDeserialize(ByteBufferReader* reader,
                                                Options const* options) = 0;
    /// Ends reading; fails when the value was not read to its end or a bracket is open.
    virtual bool endDeserialize() = 0;
    /// Forgets everything; ready for another `beginDeserialize`.
    virtual void reset() = 0;

    /// Reads null.
    [[nodiscard]] virtual bool getNull() = 0;
    /// Reads true or false.
    [[nodiscard]] virtual bool getBoolean(bool& out) = 0;
    /// @{
    /// Reads an integer that fits the type.
    [[nodiscard]] virtual bool getInt8(std::int8_t& out) = 0;
    [[nodiscard]] virtual bool getUInt8(std::uint8_t& out) = 0;
    [[nodiscard]] virtual bool getInt16(std::int16_t& out) = 0;
    [[nodiscard]] virtual bool getUInt16(std::uint16_t& out) = 0;
    [[nodiscard]] virtual bool getInt32(std::int32_t& out) = 0;
    [[nodiscard]] virtual bool getUInt32(std::uint32_t& out) = 0;
    [[nodiscard]] virtual bool getInt64(std::int64_t& out) = 0;
    [[nodiscard]] virtual bool getUInt64(std::uint64_t& out) = 0;
    /// @}

    /// @{
    /// Reads a number.
    [[nodiscard]] virtual bool getFloat(float& out) = 0;
    [[nodiscard]] virtual bool getDouble(double& out) = 0;
    /// @}

    /// Reads an enumerator as a 32-bit integer. With `checked`, a value outside 0..count-1 fails.
    [[nodiscard]] virtual bool getEnum(int& out, int count, bool checked);
    /// Reads a string of bytes.
    [[nodiscard]] virtual bool getString(std::string& out) = 0;
    /// By default these fail: not every reader offers unicode strings.
    [[nodiscard]] virtual bool getString(UnicodeString8& out);
    [[nodiscard]] virtual bool getString(UnicodeString16& out);
    [[nodiscard]] virtual bool getString(zel::unicode::String& out);

    /// @{
    /// Read a whole array of one type, packed or plain; the content of `out` is replaced.
    [[nodiscard]] virtual bool getNullArray(unsigned long& count) = 0;
    [[nodiscard]] virtual bool getBooleanArray(std::vector<bool>& out) = 0;
    [[nodiscard]] virtual bool getInt8Array(std::vector<std::int8_t>& out) = 0;
    [[nodiscard]] virtual bool getUInt8Array(std::vector<std::uint8_t>& out) = 0;
    [[nodiscard]] virtual bool getInt16Array(std::vector<std::int16_t>& out) = 0;
    [[nodiscard]] virtual bool getUInt16Array(std::vector<std::uint16_t>& out) = 0;
    [[nodiscard]] virtual bool getInt32Array(std::vector<std::int32_t>& out) = 0;
    [[nodiscard]] virtual bool getUInt32Array(std::vector<std::uint32_t>& out) = 0;
    [[nodiscard]] virtual bool getInt64Array(std::vector<std::int64_t>& out) = 0;
    [[nodiscard]] virtual bool getUInt64Array(std::vector<std::uint64_t>& out) = 0;
    [[nodiscard]] virtual bool getFloatArray(std::vector<float>& out) = 0;
    [[nodiscard]] virtual bool getDoubleArray(std::vector<double>& out) = 0;
    [[nodiscard]] virtual bool getStringArray(std::vector<std::string>& out) = 0;
    /// @}

    /// @{
    /// Scopes that mirror the writer's. Options do not travel, so a reader only checks that they
    /// are closed as they were opened. By default they succeed without a check.
    [[nodiscard]] virtual bool beginArrayOption();
    [[nodiscard]] virtual bool endArrayOption();
    [[nodiscard]] virtual bool beginOption(Options const* options);
    [[nodiscard]] virtual bool endOption();
    /// @}

    /// Begins an array; between it and its end come elements.
    [[nodiscard]] virtual bool beginArray() = 0;
    /// Whether no element is left in the array that is being read; true also when none is open.
    virtual bool isArrayEnd() = 0;
    /// Fails when an element is left or no array is open. The failure is returned, and nothing is
    /// ended.
    [[nodiscard]] virtual bool endArray() = 0;
    /// @{
    /// Begin and end an element; between them one value is read. Beginning one past the last, or
    /// outside an array, fails; it does not end the process.
    [[nodiscard]] virtual bool beginElement() = 0;
    [[nodiscard]] virtual bool endElement() = 0;
    /// @}

    /// In an array: when the next element is an empty one, steps over it and sets `empty`, else
    /// clears it. A null element counts as empty, because formats need not tell them apart. By
    /// default there are no empty elements: clears it.
    [[nodiscard]] virtual bool getEmptyElement(bool& empty);

    /// `options` may be null; a reader has no use for them.
    [[nodiscard]] virtual bool beginStruct(Options const* options) = 0;
    /// Whether no field is left in the struct that is being read; true also when none is open.
    virtual bool isStructEnd() = 0;
    /// Fails when a field is left, unless fields were read by name, or when no struct is open. The
    /// failure is returned, and nothing is ended.
    [[nodiscard]] virtual bool endStruct() = 0;
    /// Begins the next field and returns its name in `name`. Fails, and does not end the process,
    /// when no field is left or no struct is open.
    [[nodiscard]] virtual bool beginField(std::string& name) = 0;
    /// After `beginField`: steps over the field's value and ends the field.
    [[nodiscard]] virtual bool skipField() = 0;
    /// Ends the field; fails when its value was not read.
    [[nodiscard]] virtual bool endField() = 0;

    /// @{
    /// The next entry, consumed or only looked at. The pointer is valid until the next call.
    virtual Entry const* getNextEntry() = 0;
    virtual Entry const* peekNextEntry() = 0;
    /// @}

    /// @{
    /// Begins the field `name` of the open struct, wherever it stands; fails when it is missing. By
    /// default these four fail: not every reader can look ahead.
    [[nodiscard]] virtual bool beginMandatoryField(const std::string& name, int id);
    [[nodiscard]] virtual bool endMandatoryField();
    /// @}

    /// @{
    /// The same for a field that may be missing: `present` tells, and `endOptionalField` is called
    /// in both cases.
    [[nodiscard]] virtual bool beginOptionalField(const std::string& name, int id, bool& present);
    [[nodiscard]] virtual bool endOptionalField();
    /// @}

    /// The capability bits of `IStructuredSerializer` that hold for this reader; by default none.
    virtual unsigned int getApiCapibilites() const noexcept;
};

}  // namespace util::serializer
