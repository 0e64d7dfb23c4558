#include "kova/kit/values/Texts.h"

#include "Formats.h"
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
#include "support/Reports.h"
#include "zel/UUID.h"

// The types of the core that payloads contain as texts.
namespace kova::kit {
namespace {

using namespace dovglobals;

template <typename T>
struct Sample;
template <>
struct Sample<Date> {
    static constexpr char const* TEXT = "2024-02-29";
    static constexpr char const* BAD = "29.2.2024";
};
template <>
struct Sample<Time> {
    static constexpr char const* TEXT = "08:05:09.042+02:00";
    static constexpr char const* BAD = "8 pm";
};
template <>
struct Sample<DateTime> {
    static constexpr char const* TEXT = "2024-02-29T08:05:09Z";
    static constexpr char const* BAD = "2024-02-29";
};
template <>
struct Sample<Duration> {
    static constexpr char const* TEXT = "P0001-02-03T04:05:06";
    static constexpr char const* BAD = "1 h";
};
template <>
struct Sample<GeoPosition> {
    static constexpr char const* TEXT = "52.520000;13.405000;34.000000";
    static constexpr char const* BAD = "north";
};
template <>
struct Sample<RGBA> {
    static constexpr char const* TEXT = "rgba(255,128,0,0.5)";
    static constexpr char const* BAD = "red";
};
template <>
struct Sample<zel::UUID> {
    static constexpr char const* TEXT = "123e4567-e89b-12d3-a456-426614174000";
    static constexpr char const* BAD = "123e4567";
};
template <>
struct Sample<ConsumptionUnit> {
    static constexpr char const* TEXT = "l/100km";
    static constexpr char const* BAD = "l";
};
template <>
struct Sample<DistanceUnit> {
    static constexpr char const* TEXT = "km";
    static constexpr char const* BAD = "KM";
};
template <>
struct Sample<PressureUnit> {
    static constexpr char const* TEXT = "kPa";
    static constexpr char const* BAD = "Pa";
};
template <>
struct Sample<SpeedUnit> {
    static constexpr char const* TEXT = "m/s";
    static constexpr char const* BAD = "km/h";
};
template <>
struct Sample<TemperatureUnit> {
    static constexpr char const* TEXT = "K";
    static constexpr char const* BAD = "R";
};
template <>
struct Sample<VolumeUnit> {
    static constexpr char const* TEXT = "ml";
    static constexpr char const* BAD = "m3";
};
template <>
struct Sample<WeightUnit> {
    static constexpr char const* TEXT = "kg";
    static constexpr char const* BAD = "";
};
template <>
struct Sample<DateFormat> {
    static constexpr char const* TEXT = "yyyymmdd";
    static constexpr char const* BAD = "ymd";
};
template <>
struct Sample<TimeFormat> {
    static constexpr char const* TEXT = "24h";
    static constexpr char const* BAD = "h24";
};
template <>
struct Sample<Language> {
    static constexpr char const* TEXT = "de-at";
    static constexpr char const* BAD = "de_at";
};
template <>
struct Sample<Path> {
    static constexpr char const* TEXT = "/a/b";
    static constexpr char const* BAD = nullptr;
};
template <>
struct Sample<url> {
    static constexpr char const* TEXT = "http://user@[fe80::1]:8080/a?x=1#top";
    static constexpr char const* BAD = nullptr;
};
template <>
struct Sample<Number> {
    static constexpr char const* TEXT = "123456789012345678901234567890";
    static constexpr char const* BAD = nullptr;
};

template <typename T>
class TextsTest : public testing::Test {
protected:
    kova::test::Reports reports_;
};
using Types =
    testing::Types<Date, Time, DateTime, Duration, GeoPosition, RGBA, zel::UUID, ConsumptionUnit,
                   DistanceUnit, PressureUnit, SpeedUnit, TemperatureUnit, VolumeUnit, WeightUnit,
                   DateFormat, TimeFormat, Language, Path, url, Number>;
TYPED_TEST_SUITE(TextsTest, Types);

constexpr test::Format FORMATS[] = {test::Format::Json, test::Format::Binary, test::Format::Tree};

TYPED_TEST(TextsTest, TextsSurviveARoundTrip) {
    const std::string text = '"' + std::string(Sample<TypeParam>::TEXT) + '"';
    for (const test::Format format : FORMATS) {
        const Result<TypeParam> value = test::readAs<TypeParam>(format, text);
        ASSERT_TRUE(value.ok()) << value.error().message;
        EXPECT_EQ(test::jsonOf(*value), text);
        const Result<TypeParam> copy = test::roundTrip(format, *value);
        ASSERT_TRUE(copy.ok()) << copy.error().message;
        EXPECT_EQ(test::jsonOf(*copy), text);
    }
}

TYPED_TEST(TextsTest, InvalidTextsAreRejected) {
    if (Sample<TypeParam>::BAD == nullptr) {
        GTEST_SKIP() << "every text is one";
    }
    const std::string text = '"' + std::string(Sample<TypeParam>::BAD) + '"';
    const std::string reason =
        std::string("[0]: expected ") + detail::textWords<TypeParam> + ", found " + text;
    using Values = std::vector<TypeParam>;
    EXPECT_EQ(test::reasonOf<Values>(test::Format::Json, "[" + text + "]"), reason + " (byte 1)");
    EXPECT_EQ(test::reasonOf<Values>(test::Format::Binary, "[" + text + "]"), reason + " (byte 1)");
    EXPECT_EQ(test::reasonOf<Values>(test::Format::Tree, "[" + text + "]"), reason);
    this->reports_.take();
}

TYPED_TEST(TextsTest, ValuesOfOtherKindsAreRejected) {
    for (const test::Format format : FORMATS) {
        const std::string byte = format == test::Format::Tree ? "" : " (byte 0)";
        EXPECT_EQ(test::reasonOf<TypeParam>(format, "7"), "expected a string, found 7" + byte);
    }
}

TEST(UnitWithoutATextTest, UnknownSpeedUnitIsNotWritten) {
    EXPECT_EQ(test::jsonOf(static_cast<SpeedUnit>(200)),
              "expected a unit of speed, found a value without a text");
}

}  // namespace
}  // namespace kova::kit
