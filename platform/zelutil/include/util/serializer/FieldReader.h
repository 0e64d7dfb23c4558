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

/// A reader of typed values in one pass over a payload, for code that knows the order of its calls,
/// such as a table of fields. It accepts a part of what a pull deserializer accepts and gives the
/// same values.
///
/// Every byte of the payload is checked, also those of values that are skipped, but not all of them
/// before the first value is returned: the values count only if `end` returns true. A function that
/// fails returns false and stores no reason. After a failure, and also for rare forms such as
/// strings in chunks, the caller reads the payload with a pull deserializer, which knows the reason
/// or the value.
///
/// The order of the calls is not checked: a value is read where one stands, an item is ended after
/// its value was read, a container at its end. One thread at a time. The payload must stay alive
/// and unchanged.
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

    /// Creates a reader of the payload, in which at most `depth` arrays and structs are nested.
    FieldReader(Format format, std::string_view payload,
                std::size_t depth = MAX_NESTING_DEPTH) noexcept;
    ~FieldReader();
    FieldReader(const FieldReader&) = delete;
    FieldReader& operator=(const FieldReader&) = delete;

    /// Begins the payload. JSON text is parsed here; its parser is kept for the next reader of the
    /// thread, unless the text is large.
    [[nodiscard]] bool begin() noexcept;
    /// Returns whether the payload ends here, after one complete value.
    [[nodiscard]] bool end() const noexcept;

    /// Returns the kind of the next value, which stays unread; `None` if it is malformed or rare.
    Kind kind() const noexcept;
    /// @{
    /// Reads a value. Integers are read from integers in range, floating-point numbers from any
    /// number, like those of a pull deserializer. Throws `std::bad_alloc` if memory is exhausted.
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
    /// Reads a string. The view is valid as long as the reader.
    [[nodiscard]] bool text(std::string_view& out) noexcept;
    /// @{
    /// Reads an array of numbers, packed or not. Replaces the content of `out`, also on failure.
    /// Throws `std::bad_alloc` if memory is exhausted.
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
    /// Reads an array: its begin, each element up to its end, and the end.
    [[nodiscard]] bool beginArray() noexcept;
    bool atArrayEnd() const noexcept;
    [[nodiscard]] bool endElement() noexcept;
    [[nodiscard]] bool endArray() noexcept;
    /// @}
    /// @{
    /// Reads a struct: its begin, for each field its name, its value and its end, and the end of
    /// the struct. The name is valid as long as the reader. `skipField` reads the value and the end
    /// of a field.
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

    // Uninitialized storage: creating a reader allocates no memory.
    alignas(std::uint64_t) unsigned char state_[STATE_SIZE];
};

}  // namespace util::serializer
