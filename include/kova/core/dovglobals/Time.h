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

/// An offset from UTC. The sign of `hours` is the sign of the offset, and `minutes` is 0 to 59. A
/// negative offset of less than an hour has `hours` 0 and `minutes` -59 to -1:
///
///     const kova::dovglobals::TimeZone west{-5, 30};  // "-05:30"
///     const kova::dovglobals::TimeZone near{0, -30};  // "-00:30"
struct KOVA_API TimeZone {
    std::int8_t hours = 0;    ///< -23 to 23
    std::int8_t minutes = 0;  ///< -59 to 59

    /// Returns whether all fields are equal.
    bool operator==(const TimeZone& other) const noexcept;
    bool operator!=(const TimeZone& other) const noexcept { return !(*this == other); }
    /// Compares `hours`, then `minutes`. The order differs from that of the offsets: -05:30 has the
    /// fields -5 and 30, and is therefore greater than -05:00 with the fields -5 and 0.
    bool operator<(const TimeZone& other) const noexcept;
};

/// A time of day, with optional milliseconds and an optional offset from UTC. Plain value type. Not
/// synchronized.
///
/// Comparisons compare field by field. They do not convert times of different zones to a common
/// zone.
///
/// Text: hour, minute and second with two digits each, the milliseconds with three digits if they
/// are set, and the zone. "Z" means that no zone is set:
///
///     HH:MM:SS[.mmm](Z|(+|-)HH:MM)
///
///     const auto time = kova::dovglobals::parseTime("08:05:09.042+02:00");
///     time->millisecond;      // 42
///     time->timeZone->hours;  // 2
struct KOVA_API Time {
    std::uint8_t hour = 0;                     ///< 0 to 23
    std::uint8_t minute = 0;                   ///< 0 to 59
    std::uint8_t second = 0;                   ///< 0 to 59
    std::optional<std::uint16_t> millisecond;  ///< 0 to 999
    std::optional<TimeZone> timeZone;          ///< if not set, the time is in UTC

    /// Creates midnight, without milliseconds and without a time zone.
    Time() noexcept = default;
    /// Accepts any numbers. Clamps each field to its highest value. Negative numbers of a time zone
    /// are not clamped.
    Time(unsigned char hour, unsigned char minute, unsigned char second,
         std::optional<unsigned short> millisecond, std::optional<TimeZone> timeZone) noexcept;

    /// Returns the text of the time zone: "Z" if it is not set, otherwise the offset. The offset 0
    /// has the text "+00:00".
    std::string getTimeZoneString() const;
    /// Returns the text. The text can be parsed again if all fields are in their ranges.
    std::string toString() const;

    /// Returns whether all fields are equal.
    bool operator==(const Time& other) const noexcept;
    bool operator!=(const Time& other) const noexcept { return !(*this == other); }
    /// Compares the fields in the order of their declaration. A field that is not set is less than
    /// one that is set.
    bool operator<(const Time& other) const noexcept;
};

/// Returns the time, or reports an error and returns nothing if a number is out of its range. A
/// number of milliseconds above 999 is not an error and becomes 999.
KOVA_API std::optional<Time> createTime(unsigned char hour, unsigned char minute,
                                        unsigned char second,
                                        std::optional<unsigned short> millisecond,
                                        std::optional<TimeZone> timeZone);

/// Parses the text of a time. Reports an error and returns nothing if `text` does not have the form
/// or a number is out of its range.
KOVA_API std::optional<Time> parseTime(const std::string& text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a time as one string. Returns false on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::Time& value);
/// Reads a time from one string. Returns false on success. Returns true when the next item is not a
/// string or `parseTime` returns nothing; `value` is then unchanged.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::Time& value);

}  // namespace kova::serializer
