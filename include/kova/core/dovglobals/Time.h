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

/// An offset from UTC. Its sign is that of `hours`, and `minutes` is 0 to 59; only a negative
/// offset of less than an hour has `hours` 0 and `minutes` -59 to -1:
///
///     const kova::dovglobals::TimeZone west{-5, 30};  // "-05:30"
///     const kova::dovglobals::TimeZone near{0, -30};  // "-00:30"
struct KOVA_API TimeZone {
    std::int8_t hours = 0;    ///< -23 to 23
    std::int8_t minutes = 0;  ///< -59 to 59

    /// Whether all fields are equal.
    bool operator==(const TimeZone& other) const noexcept;
    bool operator!=(const TimeZone& other) const noexcept { return !(*this == other); }
    /// By `hours`, then by `minutes`, as they stand.
    bool operator<(const TimeZone& other) const noexcept;
};

/// A time of day, with milliseconds and an offset from UTC if given. A plain value: no thread rule
/// but that of any variable.
///
/// It is compared as it is written, field by field: times of different zones are not brought to a
/// common one.
///
/// Text: two digits each for hour, minute and second, three for the milliseconds if there are any,
/// and always a zone, "Z" for none (which means UTC):
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
    std::optional<TimeZone> timeZone;          ///< none: UTC

    /// Midnight, without milliseconds and without a time zone.
    Time() noexcept = default;
    /// Takes any numbers: those above the highest of their field become that one. Of a time zone,
    /// negative numbers stay as they are.
    Time(unsigned char hour, unsigned char minute, unsigned char second,
         std::optional<unsigned short> millisecond, std::optional<TimeZone> timeZone) noexcept;

    /// "Z" without a time zone, else the offset: 0 and 0 give "+00:00".
    std::string getTimeZoneString() const;
    /// The text; it reads back unless a field was set outside its range.
    std::string toString() const;

    /// Whether all fields are equal.
    bool operator==(const Time& other) const noexcept;
    bool operator!=(const Time& other) const noexcept { return !(*this == other); }
    /// By the fields in their order; an absent one is less than any that is there.
    bool operator<(const Time& other) const noexcept;
};

/// The time of these numbers, or nothing, with one report, when one is out of its range. The
/// milliseconds are never refused: more than 999 become 999.
KOVA_API std::optional<Time> createTime(unsigned char hour, unsigned char minute,
                                        unsigned char second,
                                        std::optional<unsigned short> millisecond,
                                        std::optional<TimeZone> timeZone);

/// The time that the whole text stands for, or nothing, with one report, when it is no such text or
/// a number is out of its range.
KOVA_API std::optional<Time> parseTime(const std::string& text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a time as one string. False on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::Time& value);
/// Reads a time from one string. False on success; true, with `value` untouched, when there is no
/// string to read or `parseTime` refuses it.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::Time& value);

}  // namespace kova::serializer
