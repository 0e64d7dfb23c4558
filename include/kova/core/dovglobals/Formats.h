#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace util::serializer {
class IStructuredPullDeserializer;
class IStructuredSerializer;
}  // namespace util::serializer

/// The formats in which dates and times are shown. Each travels as its text, never as its number.
///
/// The name of an enumerator is its text; where that begins with a digit, the letter goes first:
///
///     using namespace kova::dovglobals;
///     enumToValue(DateFormat::ddmmyyyy);  // "ddmmyyyy"
///     valueToTimeFormat("12h");           // TimeFormat::h12
///
/// `enumToValue` gives the text of a value, or nothing for a number outside its enumeration. The
/// functions `valueTo...` give the value of a text, compared exactly (case counts), or nothing. Any
/// thread may call them.
namespace kova::dovglobals {

/// The order in which the parts of a date are shown.
enum class DateFormat : std::uint8_t { ddmmyyyy, mmddyyyy, yyyymmdd };

/// Whether hours are counted to 12 or to 24.
enum class TimeFormat : std::uint8_t { h12, h24 };

/// The text of a value; nothing for a number outside its enumeration.
KOVA_API std::optional<std::string> enumToValue(DateFormat value);
KOVA_API std::optional<std::string> enumToValue(TimeFormat value);

/// @{
/// The value of a text, compared exactly; nothing for any other text.
KOVA_API std::optional<DateFormat> valueToDateFormat(const std::string& text);
KOVA_API std::optional<TimeFormat> valueToTimeFormat(const std::string& text);
/// @}

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a value as one string. False on success; true, with nothing written, for a
/// number outside its enumeration, and true when the serializer fails.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::DateFormat& value);
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::TimeFormat& value);

/// Reads a value from one string. False on success; true, with `value` untouched, when there is no
/// string to read or it is the text of none.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::DateFormat& value);
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::TimeFormat& value);

}  // namespace kova::serializer
