#pragma once

#include <optional>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/Time.h"

namespace kova::dovglobals {

/// A date and a time of that day. Plain value type. Not synchronized.
///
/// Comparisons compare the fields, the date first. They do not convert times of different zones to
/// a common zone.
///
/// Text: the text of the date, a "T" and the text of the time:
///
///     YYYY-MM-DDTHH:MM:SS[.mmm](Z|(+|-)HH:MM)
///
///     const auto start = kova::dovglobals::parseDateTime("2019-03-07T08:05:09Z");
///     start->date.year;  // 2019
///     start->time.hour;  // 8
struct KOVA_API DateTime {
    /// The day.
    Date date;
    /// The time of that day.
    Time time;

    /// Returns the text. The text can be parsed again if all fields are in their ranges.
    std::string toString() const;

    /// Returns whether all fields are equal.
    bool operator==(const DateTime& other) const noexcept;
    bool operator!=(const DateTime& other) const noexcept { return !(*this == other); }
    /// Compares the dates, then the times.
    bool operator<(const DateTime& other) const noexcept;
};

/// Returns the date and time. Reports an error and returns nothing if `createDate` or `createTime`
/// would do so. The report names the type of the part that is out of range: `Date` or `Time`.
KOVA_API std::optional<DateTime> createDateTime(unsigned short year, unsigned char month,
                                                unsigned char day, unsigned char hour,
                                                unsigned char minute, unsigned char second,
                                                std::optional<unsigned short> millisecond,
                                                std::optional<TimeZone> timeZone);

/// Parses the text of a date and time. Reports an error and returns nothing if `text` does not have
/// the form or a number is out of its range.
KOVA_API std::optional<DateTime> parseDateTime(const std::string& text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a date and time as one string. Returns false on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::DateTime& value);
/// Reads a date and time from one string. Returns false on success. Returns true when the next item
/// is not a string or `parseDateTime` returns nothing; `value` is then unchanged.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::DateTime& value);

}  // namespace kova::serializer
