#pragma once

#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace util::serializer {
class IStructuredPullDeserializer;
class IStructuredSerializer;
}  // namespace util::serializer

namespace kova::dovglobals {

/// A position of three coordinates. Plain value type. Not synchronized.
///
/// The services that exchange a position define the meaning, the unit and the range of each
/// coordinate. This type accepts all numbers and keeps the order of the coordinates.
///
/// Text: the coordinates in decimal, each with an optional sign and an optional fraction, without
/// blanks:
///
///     NUMBER;NUMBER;NUMBER        NUMBER = [+|-]DIGITS[.DIGITS]
///
///     const auto position = kova::dovglobals::parseGeoPosition("52.52;13.405;34");
///     position->first;       // 52.52
///     position->toString();  // "52.520000;13.405000;34.000000"
struct KOVA_API GeoPosition {
    /// @{
    /// A coordinate, in the order of the text.
    double first = 0.0;
    double second = 0.0;
    double third = 0.0;
    /// @}

    /// Sets all coordinates to 0.
    GeoPosition() noexcept = default;
    GeoPosition(double first, double second, double third) noexcept;

    /// Returns the text with six digits after each point; further digits are lost. It can be parsed
    /// again if the coordinates are finite.
    std::string toString() const;

    /// Returns whether all fields are equal.
    bool operator==(const GeoPosition& other) const noexcept;
    bool operator!=(const GeoPosition& other) const noexcept { return !(*this == other); }
    /// Compares the coordinates in their order. Two coordinates count as equal if one of them is
    /// NaN.
    bool operator<(const GeoPosition& other) const noexcept;
};

/// Parses the text of a position. Reports an error and returns nothing if `text` does not have the
/// form. Reports another error and returns nothing if a coordinate is too large for a double. A
/// coordinate may have any number of digits. It is rounded to the nearest double; a very small one
/// becomes a subnormal number or 0.
KOVA_API std::optional<GeoPosition> parseGeoPosition(const std::string& text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a position as one string. Returns false on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::GeoPosition& value);
/// Reads a position from one string. Returns false on success. Returns true when the next item is
/// not a string or `parseGeoPosition` returns nothing; `value` is then unchanged.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::GeoPosition& value);

}  // namespace kova::serializer
