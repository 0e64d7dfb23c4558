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

/// A calendar date. Plain value type. Not synchronized.
///
/// It is not a point in time. No calendar is applied: the day is not compared with the length of
/// the month, so 2019-02-31 is a date.
///
/// Text: four digits for the year, two for the month and two for the day, with leading zeros:
///
///     YYYY-MM-DD
///
///     const auto date = kova::dovglobals::parseDate("2019-03-07");
///     date->month;       // 3
///     date->toString();  // "2019-03-07"
struct KOVA_API Date {
    std::uint16_t year = 0;  ///< 0 to 65535
    std::uint8_t month = 0;  ///< 1 to 12
    std::uint8_t day = 0;    ///< 1 to 31

    /// Sets all fields to zero. The other constructor never stores a month or day of 0.
    Date() noexcept = default;
    /// Accepts any numbers. Clamps the month to 1..12 and the day to 1..31.
    Date(unsigned short year, unsigned char month, unsigned char day) noexcept;

    /// Returns the text. The text can be parsed again if all fields are in their ranges.
    std::string toString() const;

    /// Returns whether all fields are equal.
    bool operator==(const Date& other) const noexcept;
    bool operator!=(const Date& other) const noexcept { return !(*this == other); }
    /// Returns whether this date is earlier.
    bool operator<(const Date& other) const noexcept;
};

/// Returns the date, or reports an error and returns nothing if the month is not in 1..12 or the
/// day is not in 1..31.
KOVA_API std::optional<Date> createDate(unsigned short year, unsigned char month,
                                        unsigned char day);

/// Parses the text of a date. Reports an error and returns nothing if `text` does not have the form
/// or a number is out of its range.
KOVA_API std::optional<Date> parseDate(const std::string& text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a date as one string. Returns false on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::Date& value);
/// Reads a date from one string. Returns false on success. Returns true when the next item is not a
/// string or `parseDate` returns nothing; `value` is then unchanged.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::Date& value);

}  // namespace kova::serializer
