#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "util/Export.h"
#include "util/Limits.h"

namespace util::serializer {

/// Reads typed values in one pass over a payload, for code that makes its calls in a fixed order,
/// such as code that is driven by a table of fields. It accepts a subset of the payloads that a
/// pull deserializer accepts, and returns the same values.
///
/// Every byte of the payload is validated, including the bytes of skipped values. The validation is
/// complete only when `end` returns true: discard all values if it returns false. A function that
/// fails returns false and stores no reason. Rare forms, such as strings in chunks, also fail.
/// After a failure the caller reads the payload with a pull deserializer, which returns the value
/// or stores the reason.
///
/// The order of the calls is not checked. The caller must read a value where the payload has one,
/// and must end an item after its value, and a container after its last item. The payload must stay
/// alive and unchanged. Used by one thread at a time.
///
///     const std::string_view payload = "{\"level\":55}";
///     util::serializer::FieldReader reader(util::serializer::FieldReader::Format::Json, payload);
///     std::string_view name;
///     std::int32_t level = 0;
///     bool done = reader.begin() && reader.beginObject() && reader.beginField(name) &&
///                 reader.value(level) && reader.endField() && reader.atObjectEnd() &&
///                 reader.endObject() && reader.end();
class UTIL_API FieldReader {
public:
    /// The formats of payloads: binary structured data and JSON text.
    enum class Format : std::uint8_t { Binary, Json };
    /// The kind of a value.
    enum class Kind : std::uint8_t { Null, Boolean, Number, Text, Array, Object, None };

    /// Creates a reader of the payload, in which at most `depth` arrays and structs may be nested.
    FieldReader(Format format, std::string_view payload,
                std::size_t depth = MAX_NESTING_DEPTH) noexcept;
    ~FieldReader();
    FieldReader(const FieldReader&) = delete;
    FieldReader& operator=(const FieldReader&) = delete;

    /// Begins reading the payload. A JSON text is parsed completely by this call. The next reader
    /// of the thread reuses the parser, unless the text is large.
    [[nodiscard]] bool begin() noexcept;
    /// Returns whether the payload ends here, after one complete value.
    [[nodiscard]] bool end() const noexcept;

    /// Returns the kind of the next value without reading it. Returns `None` if the value is
    /// malformed or has a rare form.
    Kind kind() const noexcept;
    /// @{
    /// Reads a value. Integer functions accept integers in their range, floating-point functions
    /// accept any number, as in a pull deserializer. Throws `std::bad_alloc` if memory is
    /// exhausted.
    [[nodiscard]] bool null() noexcept;
    [[nodiscard]] bool value(bool& out) noexcept;
    [[nodiscard]] bool value(std::int64_t& out) noexcept;
    [[nodiscard]] bool value(std::uint64_t& out) noexcept;
    [[nodiscard]] bool value(float& out) noexcept;
    [[nodiscard]] bool value(double& out) noexcept;
    [[nodiscard]] bool value(std::string& out);
    template <class Integer,
              std::enable_if_t<std::is_integral_v<Integer> && (sizeof(Integer) < 8), int> = 0>
    [[nodiscard]] bool value(Integer& out) noexcept {
        std::int64_t wide = 0;
        if (!value(wide) || static_cast<Integer>(wide) != wide) {
            return false;
        }
        out = static_cast<Integer>(wide);
        return true;
    }
    /// @}
    /// Reads a string. The view is valid as long as the reader exists.
    [[nodiscard]] bool text(std::string_view& out) noexcept;
    /// @{
    /// Reads an array of booleans or numbers, which may be packed or not. Replaces the content of
    /// `out`, even on failure. Throws `std::bad_alloc` if memory is exhausted.
    [[nodiscard]] bool values(std::vector<bool>& out);
    [[nodiscard]] bool values(std::vector<std::int8_t>& out);
    [[nodiscard]] bool values(std::vector<std::uint8_t>& out);
    [[nodiscard]] bool values(std::vector<std::int16_t>& out);
    [[nodiscard]] bool values(std::vector<std::uint16_t>& out);
    [[nodiscard]] bool values(std::vector<std::int32_t>& out);
    [[nodiscard]] bool values(std::vector<std::uint32_t>& out);
    [[nodiscard]] bool values(std::vector<std::int64_t>& out);
    [[nodiscard]] bool values(std::vector<std::uint64_t>& out);
    [[nodiscard]] bool values(std::vector<float>& out);
    [[nodiscard]] bool values(std::vector<double>& out);
    /// @}

    /// @{
    /// Reads an array. Call `beginArray`, read the elements until the end, and call `endArray`.
    [[nodiscard]] bool beginArray() noexcept;
    bool atArrayEnd() const noexcept;
    [[nodiscard]] bool endElement() noexcept;
    [[nodiscard]] bool endArray() noexcept;
    /// @}
    /// @{
    /// Reads a struct. Between its begin and end, read the name, the value and the end of each
    /// field. The name is valid as long as the reader exists. `skipField` reads the value and the
    /// end of a field.
    [[nodiscard]] bool beginObject() noexcept;
    bool atObjectEnd() const noexcept;
    [[nodiscard]] bool beginField(std::string_view& name) noexcept;
    [[nodiscard]] bool skipField() noexcept;
    [[nodiscard]] bool endField() noexcept;
    [[nodiscard]] bool endObject() noexcept;
    /// @}

private:
    struct State;
    static constexpr std::size_t STATE_SIZE = 4224;

    template <class Item>
    UTIL_LOCAL bool readValues(std::vector<Item>& out);
    State& state() noexcept { return *reinterpret_cast<State*>(state_); }
    const State& state() const noexcept { return *reinterpret_cast<State const*>(state_); }

    // Uninitialized storage for the state of the reader. It is inline, so that creating a reader
    // allocates no memory.
    alignas(std::uint64_t) unsigned char state_[STATE_SIZE];
};

}  // namespace util::serializer
