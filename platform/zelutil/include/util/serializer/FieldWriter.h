#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <vector>

#include "util/ByteBufferWriter.h"
#include "util/Export.h"
#include "util/serializer/FieldReader.h"

namespace util::serializer {

/// Writes typed values, for code that makes its calls in a fixed order, such as code that is driven
/// by a table of fields. It writes the same bytes as the serializer of the format. JSON is written
/// without white space.
///
/// A function that fails returns false and stores no reason. It fails if the format has no form for
/// the value, if more than `MAX_NESTING_DEPTH` arrays and structs are nested, or if memory is
/// exhausted. The caller then writes the value with a serializer, which stores the reason. The
/// order of the calls is not checked. Used by one thread at a time.
///
///     util::ByteBufferWriter bytes(64);
///     util::serializer::FieldWriter writer(util::serializer::FieldReader::Format::Json, bytes);
///     bool done = writer.beginObject() && writer.beginField("level") && writer.value(55) &&
///                 writer.endObject();  // {"level":55}
class UTIL_API FieldWriter {
public:
    /// The formats of payloads.
    using Format = FieldReader::Format;

    /// Creates a writer that appends to `bytes`, which must outlive it.
    FieldWriter(Format format, ByteBufferWriter& bytes) noexcept
        : bytes_(bytes), isBinary_(format == Format::Binary) {}
    FieldWriter(const FieldWriter&) = delete;
    FieldWriter& operator=(const FieldWriter&) = delete;

    /// @{
    /// Writes a value. JSON has no form for numbers that are not finite and for text that is not
    /// UTF-8.
    [[nodiscard]] bool null() noexcept;
    [[nodiscard]] bool value(bool value) noexcept;
    [[nodiscard]] bool value(std::int64_t value) noexcept;
    [[nodiscard]] bool value(std::uint64_t value) noexcept;
    [[nodiscard]] bool value(float value) noexcept;
    [[nodiscard]] bool value(double value) noexcept;
    [[nodiscard]] bool value(std::string_view value) noexcept;
    template <class Integer,
              std::enable_if_t<std::is_integral_v<Integer> && (sizeof(Integer) < 8), int> = 0>
    [[nodiscard]] bool value(Integer number) noexcept {
        return value(static_cast<std::int64_t>(number));
    }
    /// @}
    /// @{
    /// Writes an array of booleans or numbers. The binary format packs arrays of numbers.
    [[nodiscard]] bool values(const std::vector<bool>& values) noexcept;
    [[nodiscard]] bool values(const std::vector<std::int8_t>& values) noexcept;
    [[nodiscard]] bool values(const std::vector<std::uint8_t>& values) noexcept;
    [[nodiscard]] bool values(const std::vector<std::int16_t>& values) noexcept;
    [[nodiscard]] bool values(const std::vector<std::uint16_t>& values) noexcept;
    [[nodiscard]] bool values(const std::vector<std::int32_t>& values) noexcept;
    [[nodiscard]] bool values(const std::vector<std::uint32_t>& values) noexcept;
    [[nodiscard]] bool values(const std::vector<std::int64_t>& values) noexcept;
    [[nodiscard]] bool values(const std::vector<std::uint64_t>& values) noexcept;
    [[nodiscard]] bool values(const std::vector<float>& values) noexcept;
    [[nodiscard]] bool values(const std::vector<double>& values) noexcept;
    /// @}

    /// @{
    /// Writes an array. Call `beginArray`, call `beginElement` before each element, and call
    /// `endArray`.
    [[nodiscard]] bool beginArray() noexcept;
    [[nodiscard]] bool beginElement() noexcept;
    [[nodiscard]] bool endArray() noexcept;
    /// @}
    /// @{
    /// Writes a struct. Between its begin and end, write the name of each field before its value.
    [[nodiscard]] bool beginObject() noexcept;
    [[nodiscard]] bool beginField(std::string_view name) noexcept;
    [[nodiscard]] bool endObject() noexcept;
    /// @}

private:
    UTIL_LOCAL bool begin(unsigned char binary, char text) noexcept;
    UTIL_LOCAL bool end(char text) noexcept;
    UTIL_LOCAL bool putSeparator() noexcept;
    UTIL_LOCAL bool putBinaryText(std::string_view text) noexcept;
    template <class Item>
    UTIL_LOCAL bool putValues(const std::vector<Item>& items) noexcept;

    ByteBufferWriter& bytes_;
    std::size_t depth_ = 0;
    bool isBinary_;
    bool isFirst_ = true;  // the next element or field has no comma before it
};

}  // namespace util::serializer
