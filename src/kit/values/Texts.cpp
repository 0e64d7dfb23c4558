#include "kova/kit/values/Texts.h"

#include <optional>
#include <utility>

#include "kova/core/Number.h"
#include "kova/core/Path.h"
#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Duration.h"
#include "kova/core/dovglobals/Formats.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/Language.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/dovglobals/Time.h"
#include "kova/core/dovglobals/Units.h"
#include "kova/core/url.h"
#include "zel/UUID.h"

namespace kova::kit::detail {

namespace {

template <typename T>
bool assign(T& out, std::optional<T> value) {
    if (!value) {
        return false;
    }
    out = *std::move(value);
    return true;
}

// ---- the function of the core that parses the text of a type

std::optional<dovglobals::Date> parse(const std::string& text, const dovglobals::Date&) {
    return dovglobals::parseDate(text);
}
std::optional<dovglobals::DateTime> parse(const std::string& text, const dovglobals::DateTime&) {
    return dovglobals::parseDateTime(text);
}
std::optional<dovglobals::Duration> parse(const std::string& text, const dovglobals::Duration&) {
    return dovglobals::parseDuration(text);
}
std::optional<dovglobals::GeoPosition> parse(const std::string& text,
                                             const dovglobals::GeoPosition&) {
    return dovglobals::parseGeoPosition(text);
}
std::optional<dovglobals::RGBA> parse(const std::string& text, const dovglobals::RGBA&) {
    return dovglobals::parseRGBA(text);
}
std::optional<dovglobals::Time> parse(const std::string& text, const dovglobals::Time&) {
    return dovglobals::parseTime(text);
}
std::optional<Path> parse(const std::string& text, const Path&) {
    return Path(text);
}
std::optional<url> parse(const std::string& text, const url&) {
    return url(text);
}
std::optional<Number> parse(const std::string& text, const Number&) {
    Number number;
    number = text;
    return number;
}
std::optional<zel::UUID> parse(const std::string& text, const zel::UUID&) {
    zel::UUID id;
    return zel::UUID::tryParse(id, text) ? std::nullopt : std::optional(id);
}
std::optional<dovglobals::ConsumptionUnit> parse(const std::string& text,
                                                 const dovglobals::ConsumptionUnit&) {
    return dovglobals::valueToConsumptionUnit(text);
}
std::optional<dovglobals::DateFormat> parse(const std::string& text,
                                            const dovglobals::DateFormat&) {
    return dovglobals::valueToDateFormat(text);
}
std::optional<dovglobals::DistanceUnit> parse(const std::string& text,
                                              const dovglobals::DistanceUnit&) {
    return dovglobals::valueToDistanceUnit(text);
}
std::optional<dovglobals::Language> parse(const std::string& text, const dovglobals::Language&) {
    return dovglobals::valueToLanguage(text);
}
std::optional<dovglobals::PressureUnit> parse(const std::string& text,
                                              const dovglobals::PressureUnit&) {
    return dovglobals::valueToPressureUnit(text);
}
std::optional<dovglobals::SpeedUnit> parse(const std::string& text, const dovglobals::SpeedUnit&) {
    return dovglobals::valueToSpeedUnit(text);
}
std::optional<dovglobals::TemperatureUnit> parse(const std::string& text,
                                                 const dovglobals::TemperatureUnit&) {
    return dovglobals::valueToTemperatureUnit(text);
}
std::optional<dovglobals::TimeFormat> parse(const std::string& text,
                                            const dovglobals::TimeFormat&) {
    return dovglobals::valueToTimeFormat(text);
}
std::optional<dovglobals::VolumeUnit> parse(const std::string& text,
                                            const dovglobals::VolumeUnit&) {
    return dovglobals::valueToVolumeUnit(text);
}
std::optional<dovglobals::WeightUnit> parse(const std::string& text,
                                            const dovglobals::WeightUnit&) {
    return dovglobals::valueToWeightUnit(text);
}

// ---- the text of a value

template <typename T>
std::optional<std::string> format(const T& value) {
    if constexpr (std::is_enum_v<T>) {
        return dovglobals::enumToValue(value);
    } else {
        return value.toString();
    }
}

}  // namespace

template <typename T>
bool parseText(const std::string& text, T& out) {
    return assign(out, parse(text, out));
}

template <typename T>
bool formatText(const T& value, std::string& out) {
    return assign(out, format(value));
}

template bool parseText(const std::string&, zel::UUID&);
template bool formatText(const zel::UUID&, std::string&);
template bool parseText(const std::string&, Number&);
template bool formatText(const Number&, std::string&);
template bool parseText(const std::string&, Path&);
template bool formatText(const Path&, std::string&);
template bool parseText(const std::string&, url&);
template bool formatText(const url&, std::string&);
template bool parseText(const std::string&, dovglobals::Date&);
template bool formatText(const dovglobals::Date&, std::string&);
template bool parseText(const std::string&, dovglobals::DateTime&);
template bool formatText(const dovglobals::DateTime&, std::string&);
template bool parseText(const std::string&, dovglobals::Duration&);
template bool formatText(const dovglobals::Duration&, std::string&);
template bool parseText(const std::string&, dovglobals::GeoPosition&);
template bool formatText(const dovglobals::GeoPosition&, std::string&);
template bool parseText(const std::string&, dovglobals::RGBA&);
template bool formatText(const dovglobals::RGBA&, std::string&);
template bool parseText(const std::string&, dovglobals::Time&);
template bool formatText(const dovglobals::Time&, std::string&);
template bool parseText(const std::string&, dovglobals::ConsumptionUnit&);
template bool formatText(const dovglobals::ConsumptionUnit&, std::string&);
template bool parseText(const std::string&, dovglobals::DateFormat&);
template bool formatText(const dovglobals::DateFormat&, std::string&);
template bool parseText(const std::string&, dovglobals::DistanceUnit&);
template bool formatText(const dovglobals::DistanceUnit&, std::string&);
template bool parseText(const std::string&, dovglobals::Language&);
template bool formatText(const dovglobals::Language&, std::string&);
template bool parseText(const std::string&, dovglobals::PressureUnit&);
template bool formatText(const dovglobals::PressureUnit&, std::string&);
template bool parseText(const std::string&, dovglobals::SpeedUnit&);
template bool formatText(const dovglobals::SpeedUnit&, std::string&);
template bool parseText(const std::string&, dovglobals::TemperatureUnit&);
template bool formatText(const dovglobals::TemperatureUnit&, std::string&);
template bool parseText(const std::string&, dovglobals::TimeFormat&);
template bool formatText(const dovglobals::TimeFormat&, std::string&);
template bool parseText(const std::string&, dovglobals::VolumeUnit&);
template bool formatText(const dovglobals::VolumeUnit&, std::string&);
template bool parseText(const std::string&, dovglobals::WeightUnit&);
template bool formatText(const dovglobals::WeightUnit&, std::string&);

}  // namespace kova::kit::detail
