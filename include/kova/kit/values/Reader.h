#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kova/kit/values/State.h"

namespace kova::kit::detail {

class Writer;

/// The kinds of values in payloads. They distinguish the alternatives of a variant.
enum class Kind : std::uint8_t { Null, Boolean, Number, Text, Array, Object, None };

/// The general reader of values: of a payload or of a value tree.
///
/// The codecs also accept another reader with the same functions, which need not be virtual. All
/// functions that return a bool return true on success. Outputs are unchanged on failure.
class KOVA_KIT_API Reader : public State {
public:
    using State::State;

    /// Returns the kind of the next value without reading it.
    virtual Kind kind() = 0;
    /// Reads null.
    virtual bool null() = 0;
    /// @{
    /// Reads a value. Fails if the value does not fit the type of `out`.
    virtual bool value(bool& out) = 0;
    virtual bool value(std::int8_t& out) = 0;
    virtual bool value(std::uint8_t& out) = 0;
    virtual bool value(std::int16_t& out) = 0;
    virtual bool value(std::uint16_t& out) = 0;
    virtual bool value(std::int32_t& out) = 0;
    virtual bool value(std::uint32_t& out) = 0;
    virtual bool value(std::int64_t& out) = 0;
    virtual bool value(std::uint64_t& out) = 0;
    virtual bool value(float& out) = 0;
    virtual bool value(double& out) = 0;
    virtual bool value(std::string& out) = 0;
    /// @}
    /// Reads a text. The view is valid until the next call.
    virtual bool text(std::string_view& out) = 0;

    /// @{
    /// Reads an array, whether the format has packed it or not. Replaces the content of `out`.
    virtual bool values(std::vector<bool>& out) = 0;
    virtual bool values(std::vector<std::int8_t>& out) = 0;
    virtual bool values(std::vector<std::uint8_t>& out) = 0;
    virtual bool values(std::vector<std::int16_t>& out) = 0;
    virtual bool values(std::vector<std::uint16_t>& out) = 0;
    virtual bool values(std::vector<std::int32_t>& out) = 0;
    virtual bool values(std::vector<std::uint32_t>& out) = 0;
    virtual bool values(std::vector<std::int64_t>& out) = 0;
    virtual bool values(std::vector<std::uint64_t>& out) = 0;
    virtual bool values(std::vector<float>& out) = 0;
    virtual bool values(std::vector<double>& out) = 0;
    /// @}

    /// @{
    /// Reads an array. Call `beginArray`, read each element between `beginElement` and
    /// `endElement`, and call `endArray`.
    virtual bool beginArray() = 0;
    virtual bool atArrayEnd() = 0;
    virtual bool beginElement() = 0;
    virtual bool endElement() = 0;
    virtual bool endArray() = 0;
    /// @}

    /// @{
    /// Reads an object. Call `beginObject`, read each field between `beginField` and `endField`,
    /// and call `endObject`. The name is valid until the next field begins. `skipField` replaces
    /// the reading of a value and `endField`.
    virtual bool beginObject() = 0;
    virtual bool atObjectEnd() = 0;
    virtual bool beginField(std::string_view& name) = 0;
    virtual bool skipField() = 0;
    virtual bool endField() = 0;
    virtual bool endObject() = 0;
    /// @}

    /// Reads a scalar and writes it to `out` as a value of the same kind.
    virtual bool copyScalar(Writer& out) = 0;
    /// Returns the mime type of the payload, or JSON if the reader reads a value tree.
    virtual char const* mimeType() const noexcept = 0;

protected:
    ~Reader() = default;
};

}  // namespace kova::kit::detail
