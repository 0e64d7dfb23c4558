#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace util::serializer {
class IStructuredPullDeserializer;
class IStructuredSerializer;
}  // namespace util::serializer

namespace kova::dovglobals {

/// A colour with an opacity. A plain value: no thread rule but that of any variable.
///
/// Text: three channels of one to three digits, each with a comma and at most one space or tab
/// after it, and the alpha, which always has a point and a digit after it:
///
///     rgba(RED,GREEN,BLUE,ALPHA)        ALPHA = [0|1].DIGITS
///
///     const auto colour = kova::dovglobals::parseRGBA("rgba(255, 0, 0, .5)");
///     colour->red;         // 255
///     colour->toString();  // "rgba(255,0,0,0.5)"
struct KOVA_API RGBA {
    /// @{
    /// A channel, 0 to 255.
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    /// @}
    float alpha = 0.0F;  ///< 0.0 (transparent) to 1.0 (opaque)

    /// Transparent black.
    RGBA() noexcept = default;
    /// Takes any numbers: an alpha above 1.0 becomes 1.0, a negative one or NaN becomes 0.0.
    RGBA(unsigned char red, unsigned char green, unsigned char blue, float alpha) noexcept;

    /// The text, without blanks and with the fewest digits that give back the alpha. It reads back
    /// unless the alpha was set outside its range or is so small (below 0.0001, but not 0) that it
    /// shows with an exponent.
    std::string toString() const;

    /// Whether all fields are equal.
    bool operator==(const RGBA& other) const noexcept;
    bool operator!=(const RGBA& other) const noexcept { return !(*this == other); }
    /// By the fields in their order.
    bool operator<(const RGBA& other) const noexcept;
};

/// The colour of these numbers, or nothing, with one report, when the alpha is below 0.0 or above
/// 1.0. An alpha of NaN becomes 0.0.
KOVA_API std::optional<RGBA> createRGBA(unsigned char red, unsigned char green, unsigned char blue,
                                        float alpha);

/// The colour that the whole text stands for, or nothing, with one report, when it is no such text,
/// a channel is above 255 or the alpha above 1.0; the report says which. The alpha is rounded to
/// the nearest float.
KOVA_API std::optional<RGBA> parseRGBA(std::string text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a colour as one string. False on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::RGBA& value);
/// Reads a colour from one string. False on success; true, with `value` untouched, when there is no
/// string to read or `parseRGBA` refuses it.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::RGBA& value);

}  // namespace kova::serializer
