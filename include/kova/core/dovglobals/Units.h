#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace util::serializer {
class IStructuredPullDeserializer;
class IStructuredSerializer;
}  // namespace util::serializer

/// The units in which values are given. Each travels as its text, never as its number.
///
/// The name of an enumerator is its text, with "_per_" for '/' and '_' for '.':
///
///     using namespace kova::dovglobals;
///     enumToValue(ConsumptionUnit::l_per_100km);  // "l/100km"
///     valueToSpeedUnit("m/s");                    // SpeedUnit::m_per_s
///
/// `enumToValue` gives the text of a value, or nothing for a number outside its enumeration. The
/// functions `valueTo...` give the value of a text, compared exactly (case counts), or nothing. Any
/// thread may call them.
namespace kova::dovglobals {

/// How much fuel or energy is used: for a distance, in a time, or the distance that it takes one.
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

/// Distances.
enum class DistanceUnit : std::uint8_t { ft, km, m, mi, yd };

/// Pressures.
enum class PressureUnit : std::uint8_t { bar, kPa, psi };

/// Speeds.
enum class SpeedUnit : std::uint8_t { kmh, m_per_s, mph };

/// Degrees Celsius, degrees Fahrenheit and kelvins.
enum class TemperatureUnit : std::uint8_t { C, F, K };

/// Volumes; gallons are imperial, US dry or US liquid ones.
enum class VolumeUnit : std::uint8_t { imp_gal, l, ml, ul, us_dry_gal, us_liq_gal };

/// Weights.
enum class WeightUnit : std::uint8_t { g, kg, lbs, mg, t };

/// The text of a unit; nothing for a number outside its enumeration.
KOVA_API std::optional<std::string> enumToValue(ConsumptionUnit value);
KOVA_API std::optional<std::string> enumToValue(DistanceUnit value);
KOVA_API std::optional<std::string> enumToValue(PressureUnit value);
KOVA_API std::optional<std::string> enumToValue(SpeedUnit value);
KOVA_API std::optional<std::string> enumToValue(TemperatureUnit value);
KOVA_API std::optional<std::string> enumToValue(VolumeUnit value);
KOVA_API std::optional<std::string> enumToValue(WeightUnit value);

/// @{
/// The unit of a text, compared exactly; nothing for any other text.
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

/// Writes the text of a value as one string. False on success; true, with nothing written, for a
/// number outside its enumeration, and true when the serializer fails.
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

/// Reads a value from one string. False on success; true, with `value` untouched, when there is no
/// string to read or it is the text of none.
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
