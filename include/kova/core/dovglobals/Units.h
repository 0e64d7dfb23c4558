#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace util::serializer {
class IStructuredPullDeserializer;
class IStructuredSerializer;
}  // namespace util::serializer

/// Units of measurement. A payload contains the text of a value, never the number of the
/// enumerator.
///
/// The name of an enumerator is its text with "_per_" in place of '/' and '_' in place of '.':
///
///     using namespace kova::dovglobals;
///     enumToValue(ConsumptionUnit::l_per_100km);  // "l/100km"
///     valueToSpeedUnit("m/s");                    // SpeedUnit::m_per_s
///
/// `enumToValue` returns the text of a value. The functions `valueTo...` return the value of a
/// text; case matters. Any thread may call them.
namespace kova::dovglobals {

/// Units of fuel or energy consumption: an amount, an amount per distance, an amount per time, or a
/// distance per amount.
enum class ConsumptionUnit : std::uint8_t {
    Ws,
    g_per_h,
    kW,
    kWh_per_100km,
    kWh_per_100miles,
    kg_per_100km,
    kg_per_h,
    km_per_kWh,
    km_per_kg,
    km_per_l,
    km_per_m3,
    l_per_100km,
    l_per_h,
    lbs_per_h,
    m3_per_100km,
    m3_per_h,
    miles_per_gal_eqUS,
    miles_per_kWh,
    miles_per_kg,
    miles_per_lbs,
    miles_per_m3,
    miles_per_yard3,
    mpgUK,
    mpgUS,
    yard3_per_h
};

/// Units of distance.
enum class DistanceUnit : std::uint8_t { ft, km, m, mi, yd };

/// Units of pressure.
enum class PressureUnit : std::uint8_t { bar, kPa, psi };

/// Units of speed.
enum class SpeedUnit : std::uint8_t { kmh, m_per_s, mph };

/// Units of temperature: degrees Celsius, degrees Fahrenheit and kelvins.
enum class TemperatureUnit : std::uint8_t { C, F, K };

/// Units of volume. The gallons are imperial, US dry and US liquid gallons.
enum class VolumeUnit : std::uint8_t { imp_gal, l, ml, ul, us_dry_gal, us_liq_gal };

/// Units of weight.
enum class WeightUnit : std::uint8_t { g, kg, lbs, mg, t };

/// Returns the text of a unit, or nothing for a number outside the enumeration.
KOVA_API std::optional<std::string> enumToValue(ConsumptionUnit value);
KOVA_API std::optional<std::string> enumToValue(DistanceUnit value);
KOVA_API std::optional<std::string> enumToValue(PressureUnit value);
KOVA_API std::optional<std::string> enumToValue(SpeedUnit value);
KOVA_API std::optional<std::string> enumToValue(TemperatureUnit value);
KOVA_API std::optional<std::string> enumToValue(VolumeUnit value);
KOVA_API std::optional<std::string> enumToValue(WeightUnit value);

/// @{
/// Returns the unit that has this text, or nothing when no unit has it.
KOVA_API std::optional<ConsumptionUnit> valueToConsumptionUnit(const std::string& text);
KOVA_API std::optional<DistanceUnit> valueToDistanceUnit(const std::string& text);
KOVA_API std::optional<PressureUnit> valueToPressureUnit(const std::string& text);
KOVA_API std::optional<SpeedUnit> valueToSpeedUnit(const std::string& text);
KOVA_API std::optional<TemperatureUnit> valueToTemperatureUnit(const std::string& text);
KOVA_API std::optional<VolumeUnit> valueToVolumeUnit(const std::string& text);
KOVA_API std::optional<WeightUnit> valueToWeightUnit(const std::string& text);
/// @}

}  // namespace kova::dovglobals

namespace kova::serializer {

/// Writes the text of a value as one string. Returns false on success, and true when the serializer
/// fails. Returns true and writes nothing for a number outside the enumeration.
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::ConsumptionUnit& value);
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::DistanceUnit& value);
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::PressureUnit& value);
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::SpeedUnit& value);
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::TemperatureUnit& value);
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::VolumeUnit& value);
KOVA_API bool serialize(util::serializer::IStructuredSerializer& serializer,
                        const dovglobals::WeightUnit& value);

/// Reads a value from one string. Returns false on success. Returns true when the next item is not
/// a string or the string is not the text of a value; `value` is then unchanged.
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::ConsumptionUnit& value);
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::DistanceUnit& value);
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::PressureUnit& value);
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::SpeedUnit& value);
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::TemperatureUnit& value);
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::VolumeUnit& value);
KOVA_API bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                          dovglobals::WeightUnit& value);

}  // namespace kova::serializer
