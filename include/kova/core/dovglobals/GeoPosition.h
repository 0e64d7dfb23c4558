#pragma once

#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace util::serializer {
class IStructuredPullDeserializer;
class IStructuredSerializer;
}  // namespace util::serializer

namespace kova::dovglobals {

/// Three coordinates in the order in which they are given. A plain value: no thread rule but that
/// of any variable.
///
/// What the coordinates mean, their units and ranges, is set by the services that exchange them;
/// nothing is checked here.
///
/// Text: the coordinates in decimal, with or without a sign and a fraction, and no blanks:
///
///     NUMBER;NUMBER;NUMBER        NUMBER = [+|-]DIGITS[.DIGITS]
///
///     const auto position = kova::dovglobals::parseGeoPosition("52.52;13.405;34");
///     position->first;       // 52.52
///     position->toString();  // "52.520000;13.405000;34.000000"
struct KOVA_API GeoPosition {
    /// @{
    /// The coordinates, in the order in which they are written.
    double first = 0.0;
    double second = 0.0;
    double third = 0.0;
    /// @}

    /// All zero.
    GeoPosition() noexcept = default;
    GeoPosition(double first, double second, double third) noexcept;

    /// The text with six digits after each point: what lies below them is lost. It reads back when
    /// the coordinates are finite.
    std::string toString() const;

    /// Whether all fields are equal.
    bool operator==(const GeoPosition& other) const noexcept;
    bool operator!=(const GeoPosition& other) const noexcept { return !(*this == other); }
    /// By the coordinates in their order; one that is not a number decides nothing.
    bool operator<(const GeoPosition& other) const noexcept;
};

/// Returns the position that the whole text stands for. Reports one error and returns nothing when
/// the text does not have the form, or when it has the form and a coordinate is too large for a
/// double; the report says which. A coordinate may have any number of digits and is rounded to the
/// nearest double, so one that is too small becomes a subnormal or a zero.
KOVA_API std::optional<GeoPosition> parseGeoPosition(const std::string& text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a position as one string. False on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::GeoPosition& value);
/// Reads a position from one string. False on success; true, with `value` untouched, when there is
/// no string to read or `parseGeoPosition` refuses it.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::GeoPosition& value);

}  // namespace kova::serializer
