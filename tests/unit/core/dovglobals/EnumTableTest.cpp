#include "dovglobals/EnumTable.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "Payloads.h"
#include "kova/core/dovglobals/Formats.h"
#include "kova/core/dovglobals/Language.h"
#include "kova/core/dovglobals/Units.h"
#include "support/FailingAllocations.h"
#include "util/config/Scalars.h"

namespace kova::dovglobals {
namespace {

using detail::EnumRow;
using detail::EnumTable;

enum class Letter : std::uint8_t { a, b, c };

constexpr EnumRow<Letter> SORTED[] = {{Letter::a, "a"}, {Letter::b, "aa"}, {Letter::c, "b"}};
constexpr EnumRow<Letter> REPEATED[] = {{Letter::a, "a"}, {Letter::b, "a"}, {Letter::c, "b"}};
constexpr EnumRow<Letter> UNSORTED[] = {{Letter::a, "a"}, {Letter::b, "c"}, {Letter::c, "b"}};
constexpr EnumRow<Letter> MISNUMBERED[] = {{Letter::a, "a"}, {Letter::c, "b"}, {Letter::b, "c"}};

static_assert(EnumTable<Letter, 3>(SORTED).isSorted());
static_assert(!EnumTable<Letter, 3>(SORTED).isSorted(1));
static_assert(EnumTable<Letter, 3>(REPEATED).isSorted(1));
static_assert(!EnumTable<Letter, 3>(REPEATED).isSorted());
static_assert(!EnumTable<Letter, 3>(UNSORTED).isSorted());
static_assert(!EnumTable<Letter, 3>(MISNUMBERED).isSorted());

TEST(EnumTableTest, RepeatedTextIsReadAsTheFirstValueWithThisText) {
    EXPECT_EQ((EnumTable<Letter, 3>(REPEATED).value("a")), Letter::a);
}

TEST(EnumTableTest, TextsAreOrderedByUnsignedBytes) {
    static constexpr EnumRow<Letter> HIGH[] = {
        {Letter::a, "z"}, {Letter::b, "z\x7F"}, {Letter::c, "\x80"}};
    constexpr EnumTable<Letter, 3> table(HIGH);
    static_assert(table.isSorted());
    EXPECT_EQ(table.value("z"), Letter::a);
    EXPECT_EQ(table.value("\x80"), Letter::c);
    EXPECT_EQ(table.value("\xFF"), std::nullopt);
}

template <typename Enum>
struct Sample {
    std::size_t count;
    std::optional<Enum> (*valueOf)(const std::string&);
};

template <typename Enum>
Sample<Enum> sample();

template <>
Sample<ConsumptionUnit> sample() {
    return {25, valueToConsumptionUnit};
}
template <>
Sample<DateFormat> sample() {
    return {3, valueToDateFormat};
}
template <>
Sample<DistanceUnit> sample() {
    return {5, valueToDistanceUnit};
}
template <>
Sample<Language> sample() {
    return {136, valueToLanguage};
}
template <>
Sample<PressureUnit> sample() {
    return {3, valueToPressureUnit};
}
template <>
Sample<SpeedUnit> sample() {
    return {3, valueToSpeedUnit};
}
template <>
Sample<TemperatureUnit> sample() {
    return {3, valueToTemperatureUnit};
}
template <>
Sample<TimeFormat> sample() {
    return {2, valueToTimeFormat};
}
template <>
Sample<VolumeUnit> sample() {
    return {6, valueToVolumeUnit};
}
template <>
Sample<WeightUnit> sample() {
    return {5, valueToWeightUnit};
}

/// Tests that hold for every enumeration with texts.
template <typename Enum>
class EnumTextTest : public testing::Test {
protected:
    /// Calls `look` with every value that can be read back, and with the text of the value.
    template <typename Look>
    void forEach(Look look) const {
        for (std::size_t number = 0; number < sample_.count; ++number) {
            const auto value = static_cast<Enum>(number);
            const std::optional<std::string> text = enumToValue(value);
            ASSERT_TRUE(text) << number;
            // The second of two values with the same text cannot be read back.
            if (number == 0 || enumToValue(static_cast<Enum>(number - 1)) != text) {
                look(value, *text);
            }
        }
    }

    const Sample<Enum> sample_ = sample<Enum>();
};

using Enums = testing::Types<ConsumptionUnit, DateFormat, DistanceUnit, Language, PressureUnit,
                             SpeedUnit, TemperatureUnit, TimeFormat, VolumeUnit, WeightUnit>;
TYPED_TEST_SUITE(EnumTextTest, Enums);

TYPED_TEST(EnumTextTest, EachTextHasItsValue) {
    this->forEach([this](TypeParam value, const std::string& text) {
        EXPECT_EQ(this->sample_.valueOf(text), value) << text;
    });
}

TYPED_TEST(EnumTextTest, OtherTextsHaveNoValue) {
    EXPECT_EQ(this->sample_.valueOf(""), std::nullopt);
    EXPECT_EQ(this->sample_.valueOf("\x01"), std::nullopt);
    EXPECT_EQ(this->sample_.valueOf("\xFF"), std::nullopt);
    this->forEach([this](TypeParam, const std::string& text) {
        EXPECT_EQ(this->sample_.valueOf(' ' + text), std::nullopt) << text;
        EXPECT_EQ(this->sample_.valueOf(text + ' '), std::nullopt) << text;
        EXPECT_EQ(this->sample_.valueOf(text + '\0'), std::nullopt) << text;
    });
}

TYPED_TEST(EnumTextTest, NumbersOutsideTheEnumerationHaveNoText) {
    for (std::size_t number = this->sample_.count; number < 256; ++number) {
        EXPECT_EQ(enumToValue(static_cast<TypeParam>(number)), std::nullopt) << number;
    }
}

TYPED_TEST(EnumTextTest, PayloadContainsTheText) {
    this->forEach([](TypeParam value, const std::string& text) {
        EXPECT_EQ(test::written(mimetypes::JSON, value), '"' + text + '"');
        EXPECT_EQ(test::written(mimetypes::AXOBin, value), test::binaryText(text));
    });
}

TYPED_TEST(EnumTextTest, IsReadBackFromPayloadsAndTrees) {
    this->forEach([](TypeParam value, const std::string& text) {
        auto json = static_cast<TypeParam>(255);
        EXPECT_FALSE(test::readPayload(mimetypes::JSON, '"' + text + '"', json));
        EXPECT_EQ(json, value) << text;
        auto binary = static_cast<TypeParam>(255);
        EXPECT_FALSE(test::readPayload(mimetypes::AXOBin, test::binaryText(text), binary));
        EXPECT_EQ(binary, value) << text;
        auto tree = static_cast<TypeParam>(255);
        EXPECT_FALSE(test::readTree(util::config::ValueString(text), tree));
        EXPECT_EQ(tree, value) << text;
    });
}

TYPED_TEST(EnumTextTest, OtherTextsAndKindsLeaveTheTargetUnchanged) {
    const auto former = static_cast<TypeParam>(1);
    TypeParam target = former;
    EXPECT_TRUE(test::readPayload(mimetypes::JSON, "\"no such text\"", target));
    EXPECT_TRUE(test::readPayload(mimetypes::JSON, "0", target));
    EXPECT_TRUE(test::readPayload(mimetypes::AXOBin, test::binaryText("no such text"), target));
    EXPECT_TRUE(test::readTree(util::config::ValueString("no such text"), target));
    EXPECT_TRUE(test::readTree(util::config::ValueInt(0), target));
    EXPECT_EQ(target, former);
}

TYPED_TEST(EnumTextTest, NumberOutsideTheEnumerationIsNotWritten) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
        serializer::Factory::createSerializer(mimetypes::JSON));
    util::ByteBufferWriter writer(64);
    ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr));
    EXPECT_TRUE(serializer::serialize(*serializer, static_cast<TypeParam>(this->sample_.count)));
    EXPECT_TRUE(serializer::serialize(*serializer, static_cast<TypeParam>(255)));
    EXPECT_EQ(writer.size(), 0U);
    // The serializer was not called, so it still accepts a value.
    EXPECT_FALSE(serializer::serialize(*serializer, static_cast<TypeParam>(0)));
}

TYPED_TEST(EnumTextTest, SerializingFailsWhenTheSerializerFails) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
        serializer::Factory::createSerializer(mimetypes::JSON));
    EXPECT_TRUE(serializer::serialize(*serializer, static_cast<TypeParam>(0)));
}

TYPED_TEST(EnumTextTest, AllocatesNothing) {
    const std::string texts[] = {*enumToValue(static_cast<TypeParam>(1)), "no such text"};
    std::optional<TypeParam> found;
    std::optional<TypeParam> missing;
    {
        const test::FailingAllocations noMemory(0);
        found = this->sample_.valueOf(texts[0]);
        missing = this->sample_.valueOf(texts[1]);
    }
    EXPECT_EQ(found, static_cast<TypeParam>(1));
    EXPECT_EQ(missing, std::nullopt);
}

}  // namespace
}  // namespace kova::dovglobals
