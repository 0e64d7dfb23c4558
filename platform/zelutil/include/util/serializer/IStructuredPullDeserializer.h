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
/// It is the counterpart of `IStructuredSerializer`: the calls have the same order. Every function
/// returns false on success and true on failure. On failure, outputs are unchanged. Reading fails
/// if the value does not fit the requested type; values are never truncated. Used by one thread at
/// a time. The order of the virtual functions is part of the contract.
class UTIL_API IStructuredPullDeserializer {
public:
    virtual ~IStructuredPullDeserializer();

    /// Starts reading the remaining bytes of `reader`, which must exist until reading ends.
    /// `options` may be null.
    [[nodiscard]] virtual bool beginDeserialize(ByteBufferReader* reader,
                                                Options const* options) = 0;
    /// Ends reading. Fails if the value was not read completely, or if an array, struct, element,
    /// field or option scope is still open.
    virtual bool endDeserialize() = 0;
    /// Discards the state, so that `beginDeserialize` can be called again.
    virtual void reset() = 0;

    /// Reads a null value.
    [[nodiscard]] virtual bool getNull() = 0;
    /// Reads a boolean.
    [[nodiscard]] virtual bool getBoolean(bool& out) = 0;
    /// @{
    /// Reads an integer. Fails if it does not fit the type.
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

    /// Reads an enumerator as a 32-bit integer. If `checked` is true, fails if the integer is not
    /// in 0..count-1.
    [[nodiscard]] virtual bool getEnum(int& out, int count, bool checked);
    /// Reads a string of bytes.
    [[nodiscard]] virtual bool getString(std::string& out) = 0;
    /// Reads a unicode string. The default implementations fail, because not every reader supports
    /// unicode strings.
    [[nodiscard]] virtual bool getString(UnicodeString8& out);
    [[nodiscard]] virtual bool getString(UnicodeString16& out);
    [[nodiscard]] virtual bool getString(zel::unicode::String& out);

    /// @{
    /// Reads a whole array of one type, packed or plain. Replaces the content of `out`.
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
    /// Begins and ends an option scope, as the serializer does. Options are not in the payload, so
    /// a reader only checks that scopes are closed in the reverse order. The default
    /// implementations succeed without a check.
    [[nodiscard]] virtual bool beginArrayOption();
    [[nodiscard]] virtual bool endArrayOption();
    [[nodiscard]] virtual bool beginOption(Options const* options);
    [[nodiscard]] virtual bool endOption();
    /// @}

    /// Begins an array. Its elements are read before `endArray`.
    [[nodiscard]] virtual bool beginArray() = 0;
    /// Returns whether no element is left in the current array. Also returns true if no array is
    /// open.
    virtual bool isArrayEnd() = 0;
    /// Ends the array. Fails, without ending anything, if an element is left or no array is open.
    [[nodiscard]] virtual bool endArray() = 0;
    /// @{
    /// Begins and ends an element. One value is read between the two calls. `beginElement` fails
    /// past the last element and outside an array.
    [[nodiscard]] virtual bool beginElement() = 0;
    [[nodiscard]] virtual bool endElement() = 0;
    /// @}

    /// Sets `empty` to whether the next element of the array is empty, and skips an empty element.
    /// A null element counts as empty, because formats need not distinguish the two. The default
    /// implementation sets `empty` to false.
    [[nodiscard]] virtual bool getEmptyElement(bool& empty);

    /// Begins a struct. `options` may be null. Readers ignore it.
    [[nodiscard]] virtual bool beginStruct(Options const* options) = 0;
    /// Returns whether no field is left in the current struct. Also returns true if no struct is
    /// open.
    virtual bool isStructEnd() = 0;
    /// Ends the struct. Fails, without ending anything, if no struct is open or fields are left. If
    /// any field of the struct was read by name, unread fields are allowed.
    [[nodiscard]] virtual bool endStruct() = 0;
    /// Begins the next field and stores its name in `name`. Fails if no field is left or no struct
    /// is open.
    [[nodiscard]] virtual bool beginField(std::string& name) = 0;
    /// Skips the value of the field that `beginField` began and ends the field.
    [[nodiscard]] virtual bool skipField() = 0;
    /// Ends the field. Fails if its value was not read.
    [[nodiscard]] virtual bool endField() = 0;

    /// @{
    /// Returns the next entry. `getNextEntry` consumes the entry, `peekNextEntry` does not. The
    /// pointer is valid until the next call.
    virtual Entry const* getNextEntry() = 0;
    virtual Entry const* peekNextEntry() = 0;
    /// @}

    /// @{
    /// Begins and ends the field `name` of the open struct, independent of its position in the
    /// payload. Fails if the field is missing. The default implementations fail, because not every
    /// reader can look ahead.
    [[nodiscard]] virtual bool beginMandatoryField(const std::string& name, int id);
    [[nodiscard]] virtual bool endMandatoryField();
    /// @}

    /// @{
    /// Begins and ends a field that may be missing. Sets `present` to whether the field is present.
    /// `endOptionalField` must be called in both cases. The default implementations fail.
    [[nodiscard]] virtual bool beginOptionalField(const std::string& name, int id, bool& present);
    [[nodiscard]] virtual bool endOptionalField();
    /// @}

    /// Returns the capability bits of `IStructuredSerializer` that apply to this reader. The
    /// default implementation returns 0.
    virtual unsigned int getApiCapibilites() const noexcept;
};

}  // namespace util::serializer
