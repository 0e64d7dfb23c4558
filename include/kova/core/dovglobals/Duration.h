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

/// An amount of time in calendar units. A plain value: no thread rule but that of any variable.
///
/// It is not a count of seconds: no field carries into another, and durations are ordered field by
/// field.
///
/// Text: "P", then the digits of all fields:
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

    /// All zero.
    Duration() noexcept = default;
    /// Takes any numbers: months and days as a date does, so that 0 becomes 1; those above the
    /// highest of their field become that one.
    Duration(unsigned short years, unsigned char months, unsigned char days, unsigned char hours,
             unsigned char minutes, unsigned char seconds) noexcept;

    /// The text; it reads back unless a field was set outside its range.
    std::string toString() const;

    /// Whether all fields are equal.
    bool operator==(const Duration& other) const noexcept;
    bool operator!=(const Duration& other) const noexcept { return !(*this == other); }
    /// By the fields in their order.
    bool operator<(const Duration& other) const noexcept;
};

/// The duration of these numbers, or nothing, with one report, when one is above the highest of its
/// field. As in the constructor, months and days of 0 become 1.
KOVA_API std::optional<Duration> createDuration(unsigned short years, unsigned char months,
                                                unsigned char days, unsigned char hours,
                                                unsigned char minutes, unsigned char seconds);

/// The duration that the whole text stands for, or nothing, with one report, when it is no such
/// text or a number is out of its range. Here months and days of 0 stay 0.
KOVA_API std::optional<Duration> parseDuration(const std::string& text);

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a duration as one string. False on success, true on failure.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::Duration& value);
/// Reads a duration from one string. False on success; true, with `value` untouched, when there is
/// no string to read or `parseDuration` refuses it.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::Duration& value);

}  // namespace kova::serializer
