#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace util::serializer {
class IStructuredPullDeserializer;
class IStructuredSerializer;
}  // namespace util::serializer

/// Formats in which dates and times are displayed. A payload contains the text of a value, never
/// the number of the enumerator.
///
/// The name of an enumerator is its text. If the text begins with digits, the letter precedes the
/// digits in the name:
///
///     using namespace kova::dovglobals;
///     enumToValue(DateFormat::ddmmyyyy);  // "ddmmyyyy"
///     valueToTimeFormat("12h");           // TimeFormat::h12
///
/// `enumToValue` returns the text of a value. The functions `valueTo...` return the value of a
/// text; case matters. Any thread may call them.
namespace kova::dovglobals {

/// The order in which the parts of a date are displayed.
enum class DateFormat : std::uint8_t { ddmmyyyy, mmddyyyy, yyyymmdd };

/// The number of hours after which the clock restarts: 12 or 24.
enum class TimeFormat : std::uint8_t { h12, h24 };

/// Returns the text of a value, or nothing for a number outside the enumeration.
KOVA_API std::optional<std::string> enumToValue(DateFormat value);
KOVA_API std::optional<std::string> enumToValue(TimeFormat value);

/// @{
/// Returns the value that has this text, or nothing when no value has it.
KOVA_API std::optional<DateFormat> valueToDateFormat(const std::string& text);
KOVA_API std::optional<TimeFormat> valueToTimeFormat(const std::string& text);
/// @}

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a value as one string. Returns false on success, and true when the serializer
/// fails. Returns true and writes nothing for a number outside the enumeration.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::DateFormat& value);
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::TimeFormat& value);

/// Reads a value from one string. Returns false on success. Returns true when the next item is not
/// a string or the string is not the text of a value; `value` is then unchanged.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::DateFormat& value);
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::TimeFormat& value);

}  // namespace kova::serializer
