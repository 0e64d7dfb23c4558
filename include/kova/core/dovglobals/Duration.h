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

/// An amount of time in calendar units. Plain value type. Not synchronized.
///
/// It is not a number of seconds: no field overflows into another one, and comparisons compare
/// field by field.
///
/// Text: a "P", then all fields with leading zeros:
///
///     PYYYY-MM-DDTHH:MM:SS
///
///     const auto duration = kova::dovglobals::parseDuration("P0001-02-03T04:05:06");
///     duration->years;   // 1
///     duration->months;  // 2
struct KOVA_API Duration {
    std::uint16_t years = 0;   ///< 0 to 65535
    std::uint8_t months = 0;   ///< 0 to 12
    std::uint8_t days = 0;     ///< 0 to 31
    std::uint8_t hours = 0;    ///< 0 to 23
    std::uint8_t minutes = 0;  ///< 0 to 59
    std::uint8_t seconds = 0;  ///< 0 to 59

    /// Sets all fields to 0.
    Duration() noexcept = default;
    /// Accepts any numbers. Clamps the months to 1..12, the days to 1..31 (as a date does), and the
    /// other fields to their highest value.
    Duration(unsigned short years, unsigned char months, unsigned char days, unsigned char hours,
             unsigned char minutes, unsigned char seconds) noexcept;

    /// Returns the text. The text can be parsed again if all fields are in their ranges.
    std::string toString() const;

    /// Returns whether all fields are equal.
    bool operator==(const Duration& other) const noexcept;
    bool operator!=(const Duration& other) const noexcept { return !(*this == other); }
    /// Compares the fields in the order of their declaration.
    bool operator<(const Duration& other) const noexcept;
};

/// Returns the duration, or reports an error and returns nothing if a number is above the highest
/// value of its field. Months and days of 0 become 1, as in the constructor.
KOVA_API std::optional<Duration> createDuration(unsigned short years, unsigned char months,
                                                unsigned char days, unsigned char hours,
                                                unsigned char minutes, unsigned char seconds);

/// Parses the text of a duration. Reports an error and returns nothing if `text` does not have the
/// form or a number is out of its range. Months and days of 0 stay 0.
KOVA_API std::optional<Duration> parseDuration(const std::string& text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a duration as one string. Returns false on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::Duration& value);
/// Reads a duration from one string. Returns false on success. Returns true when the next item is
/// not a string or `parseDuration` returns nothing; `value` is then unchanged.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::Duration& value);

}  // namespace kova::serializer
