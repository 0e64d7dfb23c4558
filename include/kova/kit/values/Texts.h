#pragma once

#include <cstdint>
#include <string>

#include "kova/kit/values/Codec.h"

// The codecs of those kova types that payloads contain as text. The types are only declared here,
// so a program includes only the headers of the types that it uses.
namespace zel {
class UUID;
}
namespace kova {
class Number;
class Path;
class url;
}  // namespace kova
namespace kova::dovglobals {
struct Date;
struct DateTime;
struct Duration;
struct GeoPosition;
struct RGBA;
struct Time;
enum class ConsumptionUnit : std::uint8_t;
enum class DateFormat : std::uint8_t;
enum class DistanceUnit : std::uint8_t;
enum class Language : std::uint8_t;
enum class PressureUnit : std::uint8_t;
enum class SpeedUnit : std::uint8_t;
enum class TemperatureUnit : std::uint8_t;
enum class TimeFormat : std::uint8_t;
enum class VolumeUnit : std::uint8_t;
enum class WeightUnit : std::uint8_t;
}  // namespace kova::dovglobals

namespace kova::kit::detail {

/// The name that messages use for the text of a `T`, such as "a date". Null if payloads do not
/// contain a `T` as text.
template <typename T>
inline constexpr char const* textWords = nullptr;
template <>
inline constexpr char const* textWords<zel::UUID> = "a UUID";
template <>
inline constexpr char const* textWords<Number> = "a number in a string";
template <>
inline constexpr char const* textWords<Path> = "a path";
template <>
inline constexpr char const* textWords<url> = "a URL";
template <>
inline constexpr char const* textWords<dovglobals::Date> = "a date";
template <>
inline constexpr char const* textWords<dovglobals::DateTime> = "a date and time";
template <>
inline constexpr char const* textWords<dovglobals::Duration> = "a duration";
template <>
inline constexpr char const* textWords<dovglobals::GeoPosition> = "a position";
template <>
inline constexpr char const* textWords<dovglobals::RGBA> = "a colour";
template <>
inline constexpr char const* textWords<dovglobals::Time> = "a time";
template <>
inline constexpr char const* textWords<dovglobals::ConsumptionUnit> = "a unit of consumption";
template <>
inline constexpr char const* textWords<dovglobals::DateFormat> = "a format of dates";
template <>
inline constexpr char const* textWords<dovglobals::DistanceUnit> = "a unit of distance";
template <>
inline constexpr char const* textWords<dovglobals::Language> = "a language";
template <>
inline constexpr char const* textWords<dovglobals::PressureUnit> = "a unit of pressure";
template <>
inline constexpr char const* textWords<dovglobals::SpeedUnit> = "a unit of speed";
template <>
inline constexpr char const* textWords<dovglobals::TemperatureUnit> = "a unit of temperature";
template <>
inline constexpr char const* textWords<dovglobals::TimeFormat> = "a format of times";
template <>
inline constexpr char const* textWords<dovglobals::VolumeUnit> = "a unit of volume";
template <>
inline constexpr char const* textWords<dovglobals::WeightUnit> = "a unit of weight";

/// Parses the text and stores the value in `out`. Returns whether the text is valid. Instantiated
/// for the types above.
template <typename T>
KOVA_KIT_API bool parseText(const std::string& text, T& out);
/// Sets `out` to the text of the value. Returns false if the value cannot be written as text.
/// Instantiated for the types above.
template <typename T>
KOVA_KIT_API bool formatText(const T& value, std::string& out);

/// The codec of a kova type that payloads contain as text.
template <typename T>
struct Codec<T, std::enable_if_t<textWords<T> != nullptr>> {
    static constexpr Kind KIND = Kind::Text;
    template <class In>
    static bool read(In& in, T& out) {
        std::string text;
        if (!Codec<std::string>::read(in, text)) {
            return false;
        }
        return parseText(text, out) || in.refuse(textWords<T>, State::quoted(text));
    }
    template <class Out>
    static bool write(Out& out, const T& value) {
        std::string text;
        return formatText(value, text) ? out.value(std::string_view(text))
                                       : out.refuse(textWords<T>, "a value without a text");
    }
};

}  // namespace kova::kit::detail
