#include "kova/core/dovglobals/Units.h"

#include "EnumTable.h"

namespace kova::dovglobals {

namespace {

constexpr detail::EnumRow<ConsumptionUnit> CONSUMPTION_UNIT_ROWS[] = {
    {ConsumptionUnit::Ws, "Ws"},
    {ConsumptionUnit::g_per_h, "g/h"},
    {ConsumptionUnit::kW, "kW"},
    {ConsumptionUnit::kWh_per_100km, "kWh/100km"},
    {ConsumptionUnit::kWh_per_100miles, "kWh/100miles"},
    {ConsumptionUnit::kg_per_100km, "kg/100km"},
    {ConsumptionUnit::kg_per_h, "kg/h"},
    {ConsumptionUnit::km_per_kWh, "km/kWh"},
    {ConsumptionUnit::km_per_kg, "km/kg"},
    {ConsumptionUnit::km_per_l, "km/l"},
    {ConsumptionUnit::km_per_m3, "km/m3"},
    {ConsumptionUnit::l_per_100km, "l/100km"},
    {ConsumptionUnit::l_per_h, "l/h"},
    {ConsumptionUnit::lbs_per_h, "lbs/h"},
    {ConsumptionUnit::m3_per_100km, "m3/100km"},
    {ConsumptionUnit::m3_per_h, "m3/h"},
    {ConsumptionUnit::miles_per_gal_eqUS, "miles/gal_eqUS"},
    {ConsumptionUnit::miles_per_kWh, "miles/kWh"},
    {ConsumptionUnit::miles_per_kg, "miles/kg"},
    {ConsumptionUnit::miles_per_lbs, "miles/lbs"},
    {ConsumptionUnit::miles_per_m3, "miles/m3"},
    {ConsumptionUnit::miles_per_yard3, "miles/yard3"},
    {ConsumptionUnit::mpgUK, "mpgUK"},
    {ConsumptionUnit::mpgUS, "mpgUS"},
    {ConsumptionUnit::yard3_per_h, "yard3/h"}};
constexpr detail::EnumTable<ConsumptionUnit, 25> CONSUMPTION_UNITS(CONSUMPTION_UNIT_ROWS);
static_assert(CONSUMPTION_UNITS.isSorted());

constexpr detail::EnumRow<DistanceUnit> DISTANCE_UNIT_ROWS[] = {{DistanceUnit::ft, "ft"},
                                                                {DistanceUnit::km, "km"},
                                                                {DistanceUnit::m, "m"},
                                                                {DistanceUnit::mi, "mi"},
                                                                {DistanceUnit::yd, "yd"}};
constexpr detail::EnumTable<DistanceUnit, 5> DISTANCE_UNITS(DISTANCE_UNIT_ROWS);
static_assert(DISTANCE_UNITS.isSorted());

constexpr detail::EnumRow<PressureUnit> PRESSURE_UNIT_ROWS[] = {
    {PressureUnit::bar, "bar"}, {PressureUnit::kPa, "kPa"}, {PressureUnit::psi, "psi"}};
constexpr detail::EnumTable<PressureUnit, 3> PRESSURE_UNITS(PRESSURE_UNIT_ROWS);
static_assert(PRESSURE_UNITS.isSorted());

constexpr detail::EnumRow<SpeedUnit> SPEED_UNIT_ROWS[] = {
    {SpeedUnit::kmh, "kmh"}, {SpeedUnit::m_per_s, "m/s"}, {SpeedUnit::mph, "mph"}};
constexpr detail::EnumTable<SpeedUnit, 3> SPEED_UNITS(SPEED_UNIT_ROWS);
static_assert(SPEED_UNITS.isSorted());

constexpr detail::EnumRow<TemperatureUnit> TEMPERATURE_UNIT_ROWS[] = {
    {TemperatureUnit::C, "C"}, {TemperatureUnit::F, "F"}, {TemperatureUnit::K, "K"}};
constexpr detail::EnumTable<TemperatureUnit, 3> TEMPERATURE_UNITS(TEMPERATURE_UNIT_ROWS);
static_assert(TEMPERATURE_UNITS.isSorted());

constexpr detail::EnumRow<VolumeUnit> VOLUME_UNIT_ROWS[] = {{VolumeUnit::imp_gal, "imp.gal"},
                                                            {VolumeUnit::l, "l"},
                                                            {VolumeUnit::ml, "ml"},
                                                            {VolumeUnit::ul, "ul"},
                                                            {VolumeUnit::us_dry_gal, "us.dry.gal"},
                                                            {VolumeUnit::us_liq_gal, "us.liq.gal"}};
constexpr detail::EnumTable<VolumeUnit, 6> VOLUME_UNITS(VOLUME_UNIT_ROWS);
static_assert(VOLUME_UNITS.isSorted());

constexpr detail::EnumRow<WeightUnit> WEIGHT_UNIT_ROWS[] = {{WeightUnit::g, "g"},
                                                            {WeightUnit::kg, "kg"},
                                                            {WeightUnit::lbs, "lbs"},
                                                            {WeightUnit::mg, "mg"},
                                                            {WeightUnit::t, "t"}};
constexpr detail::EnumTable<WeightUnit, 5> WEIGHT_UNITS(WEIGHT_UNIT_ROWS);
static_assert(WEIGHT_UNITS.isSorted());

}  // namespace

std::optional<std::string> enumToValue(ConsumptionUnit value) {
    return CONSUMPTION_UNITS.text(value);
}

std::optional<ConsumptionUnit> valueToConsumptionUnit(const std::string& text) {
    return CONSUMPTION_UNITS.value(text);
}

std::optional<std::string> enumToValue(DistanceUnit value) {
    return DISTANCE_UNITS.text(value);
}

std::optional<DistanceUnit> valueToDistanceUnit(const std::string& text) {
    return DISTANCE_UNITS.value(text);
}

std::optional<std::string> enumToValue(PressureUnit value) {
    return PRESSURE_UNITS.text(value);
}

std::optional<PressureUnit> valueToPressureUnit(const std::string& text) {
    return PRESSURE_UNITS.value(text);
}

std::optional<std::string> enumToValue(SpeedUnit value) {
    return SPEED_UNITS.text(value);
}

std::optional<SpeedUnit> valueToSpeedUnit(const std::string& text) {
    return SPEED_UNITS.value(text);
}

std::optional<std::string> enumToValue(TemperatureUnit value) {
    return TEMPERATURE_UNITS.text(value);
}

std::optional<TemperatureUnit> valueToTemperatureUnit(const std::string& text) {
    return TEMPERATURE_UNITS.value(text);
}

std::optional<std::string> enumToValue(VolumeUnit value) {
    return VOLUME_UNITS.text(value);
}

std::optional<VolumeUnit> valueToVolumeUnit(const std::string& text) {
    return VOLUME_UNITS.value(text);
}

std::optional<std::string> enumToValue(WeightUnit value) {
    return WEIGHT_UNITS.text(value);
}

std::optional<WeightUnit> valueToWeightUnit(const std::string& text) {
    return WEIGHT_UNITS.value(text);
}

}  // namespace kova::dovglobals

namespace kova::serializer {

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::ConsumptionUnit& value) {
    return !dovglobals::CONSUMPTION_UNITS.writeString(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::ConsumptionUnit& value) {
    return !dovglobals::CONSUMPTION_UNITS.readString(deserializer, value);
}

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::DistanceUnit& value) {
    return !dovglobals::DISTANCE_UNITS.writeString(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::DistanceUnit& value) {
    return !dovglobals::DISTANCE_UNITS.readString(deserializer, value);
}

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::PressureUnit& value) {
    return !dovglobals::PRESSURE_UNITS.writeString(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::PressureUnit& value) {
    return !dovglobals::PRESSURE_UNITS.readString(deserializer, value);
}

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::SpeedUnit& value) {
    return !dovglobals::SPEED_UNITS.writeString(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::SpeedUnit& value) {
    return !dovglobals::SPEED_UNITS.readString(deserializer, value);
}

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::TemperatureUnit& value) {
    return !dovglobals::TEMPERATURE_UNITS.writeString(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::TemperatureUnit& value) {
    return !dovglobals::TEMPERATURE_UNITS.readString(deserializer, value);
}

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::VolumeUnit& value) {
    return !dovglobals::VOLUME_UNITS.writeString(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::VolumeUnit& value) {
    return !dovglobals::VOLUME_UNITS.readString(deserializer, value);
}

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::WeightUnit& value) {
    return !dovglobals::WEIGHT_UNITS.writeString(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::WeightUnit& value) {
    return !dovglobals::WEIGHT_UNITS.readString(deserializer, value);
}

}  // namespace kova::serializer
