#include "kova/core/dovglobals/Units.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>

#include "EnumTexts.h"

namespace kova::dovglobals {
namespace {

using test::expectTexts;

TEST(ConsumptionUnitTest, EnumeratorsCountFromZeroAndHaveTheListedTexts) {
    const std::pair<ConsumptionUnit, char const*> expected[] = {
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
    expectTexts(expected);
}

TEST(DistanceUnitTest, EnumeratorsCountFromZeroAndHaveTheListedTexts) {
    const std::pair<DistanceUnit, char const*> expected[] = {{DistanceUnit::ft, "ft"},
                                                             {DistanceUnit::km, "km"},
                                                             {DistanceUnit::m, "m"},
                                                             {DistanceUnit::mi, "mi"},
                                                             {DistanceUnit::yd, "yd"}};
    expectTexts(expected);
}

TEST(PressureUnitTest, EnumeratorsCountFromZeroAndHaveTheListedTexts) {
    const std::pair<PressureUnit, char const*> expected[] = {
        {PressureUnit::bar, "bar"}, {PressureUnit::kPa, "kPa"}, {PressureUnit::psi, "psi"}};
    expectTexts(expected);
}

TEST(SpeedUnitTest, EnumeratorsCountFromZeroAndHaveTheListedTexts) {
    const std::pair<SpeedUnit, char const*> expected[] = {
        {SpeedUnit::kmh, "kmh"}, {SpeedUnit::m_per_s, "m/s"}, {SpeedUnit::mph, "mph"}};
    expectTexts(expected);
}

TEST(TemperatureUnitTest, EnumeratorsCountFromZeroAndHaveTheListedTexts) {
    const std::pair<TemperatureUnit, char const*> expected[] = {
        {TemperatureUnit::C, "C"}, {TemperatureUnit::F, "F"}, {TemperatureUnit::K, "K"}};
    expectTexts(expected);
}

TEST(VolumeUnitTest, EnumeratorsCountFromZeroAndHaveTheListedTexts) {
    const std::pair<VolumeUnit, char const*> expected[] = {{VolumeUnit::imp_gal, "imp.gal"},
                                                           {VolumeUnit::l, "l"},
                                                           {VolumeUnit::ml, "ml"},
                                                           {VolumeUnit::ul, "ul"},
                                                           {VolumeUnit::us_dry_gal, "us.dry.gal"},
                                                           {VolumeUnit::us_liq_gal, "us.liq.gal"}};
    expectTexts(expected);
}

TEST(WeightUnitTest, EnumeratorsCountFromZeroAndHaveTheListedTexts) {
    const std::pair<WeightUnit, char const*> expected[] = {{WeightUnit::g, "g"},
                                                           {WeightUnit::kg, "kg"},
                                                           {WeightUnit::lbs, "lbs"},
                                                           {WeightUnit::mg, "mg"},
                                                           {WeightUnit::t, "t"}};
    expectTexts(expected);
}

TEST(SpeedUnitTest, ValueIsFoundOnlyByItsText) {
    EXPECT_EQ(valueToSpeedUnit("kmh"), SpeedUnit::kmh);
    EXPECT_EQ(valueToSpeedUnit("km/h"), std::nullopt);
}

TEST(TemperatureUnitTest, TextWithAnotherCaseIsRejected) {
    EXPECT_EQ(valueToTemperatureUnit("C"), TemperatureUnit::C);
    EXPECT_EQ(valueToTemperatureUnit("c"), std::nullopt);
}

}  // namespace
}  // namespace kova::dovglobals
