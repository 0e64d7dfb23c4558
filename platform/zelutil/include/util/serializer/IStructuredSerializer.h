#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "util/ByteBufferWriter.h"
#include "util/Export.h"
#include "util/UnicodeString.h"
#include "util/serializer/Options.h"
#include "zel/unicode/String.h"

namespace util::serializer {

/// Writes typed data to a byte buffer in one format.
///
/// Exactly one value is written between `beginSerialize` and `endSerialize`: a scalar, a typed
/// array, a struct or an array. A struct consists of fields between `beginStruct` and `endStruct`.
/// A field consists of one value between its begin and end. An array consists of elements in the
/// same way.
///
/// Every function returns false on success and true on failure. A call that is not allowed at its
/// place fails and writes nothing. Examples are a value where none is expected, an end that does
/// not match its begin, and nesting deeper than `util::MAX_NESTING_DEPTH`. A typed array counts as
/// one level. After a failure the payload must be discarded: every later call also fails, until the
/// next `beginSerialize`. Used by one thread at a time.
class UTIL_API IStructuredSerializer {
public:
    virtual ~IStructuredSerializer();

    /// Starts a payload at the end of `writer`, which must exist until `endSerialize`. `options`
    /// may be null. A second call, after `endSerialize` or before it, starts a new payload.
    [[nodiscard]] virtual bool beginSerialize(ByteBufferWriter* writer, Options const* options) = 0;
    /// Ends the payload and stores its length in bytes in `written`. Fails if the payload is
    /// incomplete or an earlier call failed.
    [[nodiscard]] virtual bool endSerialize(unsigned long& written) = 0;

    /// Writes a null value.
    [[nodiscard]] virtual bool serializeNull() = 0;
    /// Writes a boolean.
    [[nodiscard]] virtual bool serializeBoolean(bool value) = 0;
    /// @{
    /// Writes an integer.
    [[nodiscard]] virtual bool serializeInt8(std::int8_t value) = 0;
    [[nodiscard]] virtual bool serializeUInt8(std::uint8_t value) = 0;
    [[nodiscard]] virtual bool serializeInt16(std::int16_t value) = 0;
    [[nodiscard]] virtual bool serializeUInt16(std::uint16_t value) = 0;
    [[nodiscard]] virtual bool serializeInt32(std::int32_t value) = 0;
    [[nodiscard]] virtual bool serializeUInt32(std::uint32_t value) = 0;
    [[nodiscard]] virtual bool serializeInt64(std::int64_t value) = 0;
    [[nodiscard]] virtual bool serializeUInt64(std::uint64_t value) = 0;
    /// @}

    /// @{
    /// Writes a number. Fails for NaN and infinities if the format cannot represent them.
    [[nodiscard]] virtual bool serializeFloat(float value) = 0;
    [[nodiscard]] virtual bool serializeDouble(double value) = 0;
    /// @}

    /// Writes an enumerator as a 32-bit integer. If `checked` is true, fails if the value is not in
    /// 0..count-1.
    [[nodiscard]] virtual bool serializeEnum(int value, int count, bool checked) = 0;
    /// Writes a string of bytes. A text format fails if the bytes are not UTF-8.
    [[nodiscard]] virtual bool serializeString(std::string_view value) = 0;
    /// Writes a unicode text. Fails if it is not well-formed.
    [[nodiscard]] virtual bool serializeString(const UnicodeString8& value) = 0;
    [[nodiscard]] virtual bool serializeString(const UnicodeString16& value) = 0;
    [[nodiscard]] virtual bool serializeString(const zel::unicode::String& value) = 0;

    /// Writes an array of `count` nulls.
    [[nodiscard]] virtual bool serializeNullArray(unsigned long count) = 0;
    /// Writes all items as one typed array, packed if the format supports that.
    [[nodiscard]] virtual bool serializeArray(const std::vector<bool>& values) = 0;
    [[nodiscard]] virtual bool serializeArray(const std::vector<std::int8_t>& values) = 0;
    [[nodiscard]] virtual bool serializeArray(const std::vector<std::uint8_t>& values) = 0;
    [[nodiscard]] virtual bool serializeArray(const std::vector<std::int16_t>& values) = 0;
    [[nodiscard]] virtual bool serializeArray(const std::vector<std::uint16_t>& values) = 0;
    [[nodiscard]] virtual bool serializeArray(const std::vector<std::int32_t>& values) = 0;
    [[nodiscard]] virtual bool serializeArray(const std::vector<std::uint32_t>& values) = 0;
    [[nodiscard]] virtual bool serializeArray(const std::vector<std::int64_t>& values) = 0;
    [[nodiscard]] virtual bool serializeArray(const std::vector<std::uint64_t>& values) = 0;
    [[nodiscard]] virtual bool serializeArray(const std::vector<float>& values) = 0;
    [[nodiscard]] virtual bool serializeArray(const std::vector<double>& values) = 0;
    [[nodiscard]] virtual bool serializeArray(const std::vector<std::string>& values) = 0;

    /// @{
    /// Opens and closes a scope in which `OptionTag::PlainArrays` is 1. Scopes can be nested.
    /// Closing a scope fails if something inside it is still open. `endSerialize` fails while a
    /// scope is open.
    [[nodiscard]] virtual bool beginArrayOption() = 0;
    [[nodiscard]] virtual bool endArrayOption() = 0;
    /// @}

    /// @{
    /// Opens and closes a scope with the given options. If `options` is null, no option changes.
    [[nodiscard]] virtual bool beginOption(Options const* options) = 0;
    [[nodiscard]] virtual bool endOption() = 0;
    /// @}

    /// @{
    /// Begins and ends an array. Its elements are written in between.
    [[nodiscard]] virtual bool beginArray() = 0;
    [[nodiscard]] virtual bool endArray() = 0;
    /// @}

    /// @{
    /// Begins and ends an element. One value is written in between.
    [[nodiscard]] virtual bool beginElement() = 0;
    [[nodiscard]] virtual bool endElement() = 0;
    /// @}

    /// Writes an empty element, which means "nothing here". The call writes the complete element:
    /// do not call `beginElement` and `endElement` for it.
    [[nodiscard]] virtual bool serializeEmptyElement() = 0;
    /// @{
    /// Begins and ends a struct. The given options apply inside it. If `options` is null, no option
    /// changes.
    [[nodiscard]] virtual bool beginStruct(Options const* options) = 0;
    [[nodiscard]] virtual bool endStruct() = 0;
    /// @}

    /// @{
    /// Begins and ends the field `name`. `id` is for formats that number their fields; -1 means no
    /// number. `optional` is for formats that mark optional fields. JSON and the binary format
    /// ignore both.
    [[nodiscard]] virtual bool beginField(std::string_view name, int id, bool optional) = 0;
    [[nodiscard]] virtual bool endField() = 0;
    /// @}

    /// @{
    /// Begins and ends a mandatory field. Writes the same bytes as `beginField`.
    [[nodiscard]] virtual bool beginMandatoryField(std::string_view name, int id) = 0;
    [[nodiscard]] virtual bool endMandatoryField() = 0;
    /// @}

    /// @{
    /// Begins and ends an optional field. If `present` is false, nothing is written, and no value
    /// may be written until `endOptionalField`. `endOptionalField` must be called in both cases.
    [[nodiscard]] virtual bool beginOptionalField(std::string_view name, int id, bool present) = 0;
    [[nodiscard]] virtual bool endOptionalField() = 0;
    /// @}

    /// Returns the capabilities of the format: a combination of the bits below.
    virtual unsigned int getApiCapibilites() const noexcept = 0;
    static constexpr unsigned int CAPABILITY_TEXT = 1;           ///< readable text
    static constexpr unsigned int CAPABILITY_BYTE_STRINGS = 2;   ///< strings of any bytes
    static constexpr unsigned int CAPABILITY_PACKED_ARRAYS = 4;  ///< typed arrays packed
    static constexpr unsigned int CAPABILITY_NON_FINITE = 8;     ///< NaN and infinities
    static constexpr unsigned int CAPABILITY_NAMED_FIELDS = 16;  ///< fields found by name
};

}  // namespace util::serializer
