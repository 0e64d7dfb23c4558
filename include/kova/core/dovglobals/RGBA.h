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

/// A colour with an opacity. Plain value type. Not synchronized.
///
/// Text: three channels of one to three digits, then the alpha. Each channel is followed by a comma
/// and at most one space or tab. The alpha always has a point and at least one digit after the
/// point:
///
///     rgba(RED,GREEN,BLUE,ALPHA)        ALPHA = [0|1].DIGITS
///
///     const auto colour = kova::dovglobals::parseRGBA("rgba(255, 0, 0, .5)");
///     colour->red;         // 255
///     colour->toString();  // "rgba(255,0,0,0.5)"
struct KOVA_API RGBA {
    /// @{
    /// A colour channel, 0 to 255.
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    /// @}
    float alpha = 0.0F;  ///< 0.0 (transparent) to 1.0 (opaque)

    /// Creates transparent black.
    RGBA() noexcept = default;
    /// Accepts any numbers. Clamps the alpha to 0.0..1.0; NaN becomes 0.0.
    RGBA(unsigned char red, unsigned char green, unsigned char blue, float alpha) noexcept;

    /// Returns the text without blanks. The alpha has the fewest digits from which the same float
    /// can be read back. The text can be parsed again if the alpha is 0 or in 0.0001 to 1.0. A
    /// smaller positive alpha is written with an exponent, which cannot be parsed.
    std::string toString() const;

    /// Returns whether all fields are equal.
    bool operator==(const RGBA& other) const noexcept;
    bool operator!=(const RGBA& other) const noexcept { return !(*this == other); }
    /// Compares the fields in the order of their declaration.
    bool operator<(const RGBA& other) const noexcept;
};

/// Returns the colour, or reports an error and returns nothing if the alpha is below 0.0 or above
/// 1.0. An alpha of NaN becomes 0.0.
KOVA_API std::optional<RGBA> createRGBA(unsigned char red, unsigned char green, unsigned char blue,
                                        float alpha);

/// Parses the text of a colour. Reports an error and returns nothing if `text` does not have the
/// form. Reports another error and returns nothing if a channel is above 255 or the alpha is above
/// 1.0. The alpha is rounded to the nearest float; a very small one becomes a subnormal number
/// or zero.
KOVA_API std::optional<RGBA> parseRGBA(std::string text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a colour as one string. Returns false on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::RGBA& value);
/// Reads a colour from one string. Returns false on success. Returns true when the next item is not
/// a string or `parseRGBA` returns nothing; `value` is then unchanged.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::RGBA& value);

}  // namespace kova::serializer
