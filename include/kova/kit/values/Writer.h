#pragma once

#include <string_view>
#include <vector>

#include "kova/kit/values/State.h"

namespace kova::kit::detail {

/// The general writer of values: to a payload or to a value tree.
///
/// The codecs also accept another writer with the same functions, which need not be virtual. All
/// functions that return a bool return true on success.
class KOVA_KIT_API Writer : public State {
public:
    using State::State;

    /// Writes null.
    virtual bool null() = 0;
    /// @{
    /// Writes a value with the width and sign of its type.
    virtual bool value(bool value) = 0;
    virtual bool value(std::int8_t value) = 0;
    virtual bool value(std::uint8_t value) = 0;
    virtual bool value(std::int16_t value) = 0;
    virtual bool value(std::uint16_t value) = 0;
    virtual bool value(std::int32_t value) = 0;
    virtual bool value(std::uint32_t value) = 0;
    virtual bool value(std::int64_t value) = 0;
    virtual bool value(std::uint64_t value) = 0;
    virtual bool value(float value) = 0;
    virtual bool value(double value) = 0;
    virtual bool value(std::string_view value) = 0;
    /// @}

    /// @{
    /// Writes an array, packed if the format supports that.
    virtual bool values(const std::vector<bool>& values) = 0;
    virtual bool values(const std::vector<std::int8_t>& values) = 0;
    virtual bool values(const std::vector<std::uint8_t>& values) = 0;
    virtual bool values(const std::vector<std::int16_t>& values) = 0;
    virtual bool values(const std::vector<std::uint16_t>& values) = 0;
    virtual bool values(const std::vector<std::int32_t>& values) = 0;
    virtual bool values(const std::vector<std::uint32_t>& values) = 0;
    virtual bool values(const std::vector<std::int64_t>& values) = 0;
    virtual bool values(const std::vector<std::uint64_t>& values) = 0;
    virtual bool values(const std::vector<float>& values) = 0;
    virtual bool values(const std::vector<double>& values) = 0;
    /// @}

    /// @{
    /// Writes an array. Call `beginArray`, write each element between `beginElement` and
    /// `endElement`, and call `endArray`.
    virtual bool beginArray() = 0;
    virtual bool beginElement() = 0;
    virtual bool endElement() = 0;
    virtual bool endArray() = 0;
    /// @}

    /// @{
    /// Writes an object. Call `beginObject`, write each field between `beginField` and `endField`,
    /// and call `endObject`.
    virtual bool beginObject() = 0;
    virtual bool beginField(std::string_view name) = 0;
    virtual bool endField() = 0;
    virtual bool endObject() = 0;
    /// @}

protected:
    ~Writer() = default;
};

}  // namespace kova::kit::detail
