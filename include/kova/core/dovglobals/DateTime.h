#pragma once

#include <optional>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/Time.h"

namespace kova::dovglobals {

/// A date and a time of that day. A plain value: no thread rule but that of any variable.
///
/// It is compared as it is written, the date first: times of different zones are not brought to a
/// common one.
///
/// Text: that of the date, a "T" and that of the time:
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

    /// The text; it reads back unless a field was set outside its range.
    std::string toString() const;

    /// Whether all fields are equal.
    bool operator==(const DateTime& other) const noexcept;
    bool operator!=(const DateTime& other) const noexcept { return !(*this == other); }
    /// The earlier date is the lesser; of equal dates, the lesser time.
    bool operator<(const DateTime& other) const noexcept;
};

/// The date and time of these numbers, or nothing, with one report, when `createDate` or
/// `createTime` would refuse them. The report is that of the date or of the time.
KOVA_API std::optional<DateTime> createDateTime(unsigned short year, unsigned char month,
                                                unsigned char day, unsigned char hour,
                                                unsigned char minute, unsigned char second,
                                                std::optional<unsigned short> millisecond,
                                                std::optional<TimeZone> timeZone);

/// The date and time that the whole text stands for, or nothing, with one report, when it is no
/// such text or a number is out of its range.
KOVA_API std::optional<DateTime> parseDateTime(const std::string& text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a date and time as one string. False on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::DateTime& value);
/// Reads a date and time from one string. False on success; true, with `value` untouched, when
/// there is no string to read or `parseDateTime` refuses it.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::DateTime& value);

}  // namespace kova::serializer
