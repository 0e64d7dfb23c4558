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

/// Takes typed data and writes it into a byte buffer in some format.
///
/// Between `beginSerialize` and `endSerialize` comes exactly one value: a scalar, a typed array, a
/// struct (fields between `beginStruct` and `endStruct`, each one value between a begin and the end
/// of its field) or an array (elements likewise). Every operation returns false on success and true
/// on failure. A call out of place fails and writes nothing: a value where none is expected, an end
/// that does not match its begin, nesting beyond `util::MAX_NESTING_DEPTH` (a typed array counts as
/// a level). After a failure the payload must be thrown away: every later call fails too, up to the
/// next `beginSerialize`. One thread at a time.
class UTIL_API IStructuredSerializer {
public:
    virtual ~IStructuredSerializer();

    /// Starts a payload at the end of `writer`, which must outlive the writing. `options` may be
    /// null. May be called again after `endSerialize`, or to give up a payload half-way.
    [[nodiscard]] virtual bool beginSerialize(ByteBufferWriter* writer, Options const* options) = 0;
    /// Ends the payload and gives its length in bytes. Fails when it is incomplete or a call
    /// failed.
    [[nodiscard]] virtual bool endSerialize(unsigned long& written) = 0;

    /// Writes null.
    [[nodiscard]] virtual bool serializeNull() = 0;
    /// Writes true or false.
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
    /// Writes a number; a format that knows no NaN and no infinity fails for them.
    [[nodiscard]] virtual bool serializeFloat(float value) = 0;
    [[nodiscard]] virtual bool serializeDouble(double value) = 0;
    /// @}

    /// Writes an enumerator as a 32-bit integer. With `checked`, a value outside 0..count-1 fails.
    [[nodiscard]] virtual bool serializeEnum(int value, int count, bool checked) = 0;
    /// Writes a string of bytes. A format of text fails when they are not UTF-8.
    [[nodiscard]] virtual bool serializeString(std::string_view value) = 0;
    /// Writes a unicode text; fails when it is not well-formed.
    [[nodiscard]] virtual bool serializeString(const UnicodeString8& value) = 0;
    [[nodiscard]] virtual bool serializeString(const UnicodeString16& value) = 0;
    [[nodiscard]] virtual bool serializeString(const zel::unicode::String& value) = 0;

    /// Writes `count` nulls as an array.
    [[nodiscard]] virtual bool serializeNullArray(unsigned long count) = 0;
    /// Writes all items as one typed array, packed where the format can.
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
    /// Opens and closes a scope in which `OptionTag::PlainArrays` is 1. Scopes nest; closing one
    /// that is not the innermost thing open fails, and so does `endSerialize` with one open.
    [[nodiscard]] virtual bool beginArrayOption() = 0;
    [[nodiscard]] virtual bool endArrayOption() = 0;
    /// @}

    /// @{
    /// Opens and closes a scope in which the given options hold (null: none change).
    [[nodiscard]] virtual bool beginOption(Options const* options) = 0;
    [[nodiscard]] virtual bool endOption() = 0;
    /// @}

    /// @{
    /// Open and close an array; between them come elements.
    [[nodiscard]] virtual bool beginArray() = 0;
    [[nodiscard]] virtual bool endArray() = 0;
    /// @}

    /// @{
    /// Open and close an element; between them comes one value.
    [[nodiscard]] virtual bool beginElement() = 0;
    [[nodiscard]] virtual bool endElement() = 0;
    /// @}

    /// Writes an element that stands for "nothing here": a whole element, without begin and end.
    [[nodiscard]] virtual bool serializeEmptyElement() = 0;
    /// @{
    /// The given options hold in the struct (null: none change).
    [[nodiscard]] virtual bool beginStruct(Options const* options) = 0;
    [[nodiscard]] virtual bool endStruct() = 0;
    /// @}

    /// @{
    /// Begins the field `name`. `id` is for formats that number their fields (-1: none) and
    /// `optional` for formats that mark optional ones; JSON and the binary format use neither.
    [[nodiscard]] virtual bool beginField(std::string_view name, int id, bool optional) = 0;
    [[nodiscard]] virtual bool endField() = 0;
    /// @}

    /// @{
    /// A field that must be there; the same on the wire as `beginField`.
    [[nodiscard]] virtual bool beginMandatoryField(std::string_view name, int id) = 0;
    [[nodiscard]] virtual bool endMandatoryField() = 0;
    /// @}

    /// @{
    /// A field that may be missing: with `present` false nothing is written, and no value may
    /// follow until `endOptionalField`, which is called in both cases.
    [[nodiscard]] virtual bool beginOptionalField(std::string_view name, int id, bool present) = 0;
    [[nodiscard]] virtual bool endOptionalField() = 0;
    /// @}

    /// What the format can do: a combination of the bits below.
    virtual unsigned int getApiCapibilites() const noexcept = 0;
    static constexpr unsigned int CAPABILITY_TEXT = 1;           ///< readable text
    static constexpr unsigned int CAPABILITY_BYTE_STRINGS = 2;   ///< strings of any bytes
    static constexpr unsigned int CAPABILITY_PACKED_ARRAYS = 4;  ///< typed arrays packed
    static constexpr unsigned int CAPABILITY_NON_FINITE = 8;     ///< NaN and infinities
    static constexpr unsigned int CAPABILITY_NAMED_FIELDS = 16;  ///< fields found by name
};

}  // namespace util::serializer
