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

/// A calendar date. A plain value: no thread rule but that of any variable.
///
/// It is not a point in time, and no calendar stands behind it: no day is checked against the
/// length of its month, so 2019-02-31 is a date.
///
/// Text: four digits of the year, two of the month and two of the day, all of them written:
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

    /// All zero: besides the fields themselves the only way to a month or a day of 0.
    Date() noexcept = default;
    /// Takes any numbers: a month or a day of 0 becomes 1, a month above 12 becomes 12, a day above
    /// 31 becomes 31.
    Date(unsigned short year, unsigned char month, unsigned char day) noexcept;

    /// The text; it reads back unless a field was set outside its range.
    std::string toString() const;

    /// Whether all fields are equal.
    bool operator==(const Date& other) const noexcept;
    bool operator!=(const Date& other) const noexcept { return !(*this == other); }
    /// The earlier date is the lesser.
    bool operator<(const Date& other) const noexcept;
};

/// The date of these numbers, or nothing, with one report, when the month is not 1 to 12 or the day
/// not 1 to 31.
KOVA_API std::optional<Date> createDate(unsigned short year, unsigned char month,
                                        unsigned char day);

/// The date that the whole text stands for, or nothing, with one report, when it is no such text or
/// a number is out of its range.
KOVA_API std::optional<Date> parseDate(const std::string& text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a date as one string. False on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::Date& value);
/// Reads a date from one string. False on success; true, with `value` untouched, when there is no
/// string to read or `parseDate` refuses it.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::Date& value);

}  // namespace kova::serializer
