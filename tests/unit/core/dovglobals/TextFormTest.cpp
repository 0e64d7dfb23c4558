#include "dovglobals/TextForm.h"

#include <gtest/gtest.h>

#include <clocale>
#include <locale>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Outcome.h"
#include "Payloads.h"
#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Duration.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/dovglobals/Time.h"
#include "support/FailingAllocations.h"
#include "util/config/Scalars.h"

namespace kova::dovglobals {
namespace {

/// The test data of a type with a text.
template <typename T>
struct Sample {
    char const* type;  // the name of the type in reports
    char const* file;  // the file in reports
    std::optional<T> (*parse)(std::string);
    std::vector<std::string> ascending;  // printed texts in the order of their values
    std::string failing;                 // a text that a check rejects; empty without checks
};

template <typename T>
Sample<T> sample();

template <>
Sample<Date> sample() {
    return {"struct Date",
            "src/core/dovglobals/Date",
            [](std::string text) { return parseDate(text); },
            {"2018-12-31", "2019-01-31", "2019-02-01", "2019-02-02"},
            "2019-13-01"};
}

template <>
Sample<Time> sample() {
    return {"struct Time",
            "src/core/dovglobals/Time",
            [](std::string text) { return parseTime(text); },
            // A part that is not set comes first. Zones are not converted to UTC.
            {"08:05:09Z", "08:05:09-23:00", "08:05:09-00:30", "08:05:09+00:00", "08:05:09+05:30",
             "08:05:09.000Z", "08:05:09.000-01:00", "08:05:09.001Z", "08:05:10Z", "08:06:00Z",
             "09:00:00+09:00"},
            "24:00:00Z"};
}

template <>
Sample<DateTime> sample() {
    return {"struct DateTime",
            "src/core/dovglobals/DateTime",
            [](std::string text) { return parseDateTime(text); },
            {"2019-03-07T08:05:09Z", "2019-03-07T08:05:09.500Z", "2019-03-07T23:00:00Z",
             "2019-03-08T00:00:00Z", "2019-04-01T00:00:00Z"},
            "2019-03-07T24:00:00Z"};
}

template <>
Sample<Duration> sample() {
    return {"struct Duration",
            "src/core/dovglobals/Duration",
            [](std::string text) { return parseDuration(text); },
            {"P0000-00-00T00:00:59", "P0000-00-00T00:01:00", "P0000-00-00T01:00:00",
             "P0000-00-01T00:00:00", "P0000-01-00T00:00:00", "P0001-00-00T00:00:00"},
            "P0000-13-00T00:00:00"};
}

template <>
Sample<GeoPosition> sample() {
    return {"struct Geoposition",
            "src/core/dovglobals/GeoPosition",
            [](std::string text) { return parseGeoPosition(text); },
            {"-1.500000;9.000000;9.000000", "1.000000;-2.000000;9.000000",
             "1.000000;2.000000;-3.250000", "1.000000;2.000000;3.000000",
             "1.000000;10.000000;0.000000", "10.000000;0.000000;0.000000"},
            ""};
}

template <>
Sample<RGBA> sample() {
    return {"struct RGBA",
            "src/core/dovglobals/RGBA",
            [](std::string text) { return parseRGBA(std::move(text)); },
            {"rgba(1,2,3,0.25)", "rgba(1,2,3,1.0)", "rgba(1,2,30,0.0)", "rgba(1,20,3,0.0)",
             "rgba(10,2,3,0.0)"},
            "rgba(256,0,0,0.5)"};
}

template <typename T>
class TextFormTest : public testing::Test {
protected:
    T value(std::size_t index) const { return *sample_.parse(sample_.ascending.at(index)); }

    const Sample<T> sample_ = sample<T>();
    test::Reports reports_;
};

using TextTypes = testing::Types<Date, Time, DateTime, Duration, GeoPosition, RGBA>;
TYPED_TEST_SUITE(TextFormTest, TextTypes);

TYPED_TEST(TextFormTest, ParsedTextIsPrintedUnchanged) {
    for (const std::string& text : this->sample_.ascending) {
        const auto parsed = this->sample_.parse(text);
        ASSERT_TRUE(parsed) << text;
        EXPECT_EQ(parsed->toString(), text);
    }
    EXPECT_TRUE(this->reports_.take().empty());
}

TYPED_TEST(TextFormTest, RejectedTextIsReportedWithItsSourceFile) {
    EXPECT_FALSE(this->sample_.parse(this->sample_.ascending[0] + "."));
    const auto taken = this->reports_.take();
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_EQ(taken[0].type, "kova::errors::Error");
    EXPECT_EQ(taken[0].number, 13);
    EXPECT_EQ(taken[0].reason, test::mismatch(this->sample_.type));
    EXPECT_EQ(taken[0].file, this->sample_.file);
    EXPECT_GT(taken[0].line, 0);
}

TYPED_TEST(TextFormTest, ComparesFieldByField) {
    for (std::size_t left = 0; left < this->sample_.ascending.size(); ++left) {
        for (std::size_t right = 0; right < this->sample_.ascending.size(); ++right) {
            SCOPED_TRACE(this->sample_.ascending[left] + ' ' + this->sample_.ascending[right]);
            EXPECT_EQ(this->value(left) < this->value(right), left < right);
            EXPECT_EQ(this->value(left) == this->value(right), left == right);
            EXPECT_EQ(this->value(left) != this->value(right), left != right);
        }
    }
}

TYPED_TEST(TextFormTest, PayloadContainsOneString) {
    for (std::size_t i = 0; i < this->sample_.ascending.size(); ++i) {
        const std::string& text = this->sample_.ascending[i];
        EXPECT_EQ(test::written(mimetypes::JSON, this->value(i)), '"' + text + '"');
        EXPECT_EQ(test::written(mimetypes::AXOBin, this->value(i)), test::binaryText(text));
    }
}

TYPED_TEST(TextFormTest, IsReadBackFromPayloadsAndTrees) {
    for (std::size_t i = 0; i < this->sample_.ascending.size(); ++i) {
        const std::string& text = this->sample_.ascending[i];
        TypeParam json{};
        EXPECT_FALSE(test::readPayload(mimetypes::JSON, '"' + text + '"', json));
        EXPECT_EQ(json, this->value(i)) << text;
        TypeParam binary{};
        EXPECT_FALSE(test::readPayload(mimetypes::AXOBin, test::binaryText(text), binary));
        EXPECT_EQ(binary, this->value(i)) << text;
        TypeParam tree{};
        EXPECT_FALSE(test::readTree(util::config::ValueString(text), tree));
        EXPECT_EQ(tree, this->value(i)) << text;
    }
}

TYPED_TEST(TextFormTest, RejectedTextLeavesTheTargetUnchanged) {
    const std::vector<std::string> refused = {"", this->sample_.ascending[1] + " ",
                                              this->sample_.failing};
    for (const std::string& text : refused) {
        TypeParam target = this->value(0);
        EXPECT_TRUE(test::readPayload(mimetypes::JSON, '"' + text + '"', target)) << text;
        EXPECT_TRUE(test::readPayload(mimetypes::AXOBin, test::binaryText(text), target)) << text;
        EXPECT_TRUE(test::readTree(util::config::ValueString(text), target)) << text;
        EXPECT_EQ(target, this->value(0)) << text;
        EXPECT_EQ(this->reports_.take().size(), 3U) << text;
    }
}

TYPED_TEST(TextFormTest, OtherKindsLeaveTheTargetUnchanged) {
    TypeParam target = this->value(0);
    EXPECT_TRUE(test::readPayload(mimetypes::JSON, "20190307", target));
    EXPECT_TRUE(test::readPayload(mimetypes::AXOBin, "\x01", target));
    EXPECT_TRUE(test::readTree(util::config::ValueInt(20190307), target));
    EXPECT_EQ(target, this->value(0));
    EXPECT_TRUE(this->reports_.take().empty());
}

TYPED_TEST(TextFormTest, SerializingFailsWhenTheSerializerFails) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
        serializer::Factory::createSerializer(mimetypes::JSON));
    EXPECT_TRUE(serializer::serialize(*serializer, this->value(0)));
}

TYPED_TEST(TextFormTest, AllocatesOnlyThePrintedText) {
    for (const std::string& text : this->sample_.ascending) {
        std::string copy = text;
        std::optional<TypeParam> parsed;
        std::string printed;
        {
            const test::FailingAllocations noMemory(0);
            parsed = this->sample_.parse(std::move(copy));
        }
        ASSERT_TRUE(parsed) << text;
        {
            const test::FailingAllocations oneString(1);
            printed = parsed->toString();
        }
        EXPECT_EQ(printed, text);
    }
}

/// A format with decimal commas and grouped digits.
struct Commas : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

/// Sets a locale with decimal commas during its lifetime: for C++, and for C if one is installed.
class LocaleWithCommas {
public:
    LocaleWithCommas() : former_(std::locale::global(std::locale(std::locale(), new Commas))) {
        for (char const* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "pl_PL.UTF-8"}) {
            if (std::setlocale(LC_ALL, name) != nullptr) {
                return;
            }
        }
    }
    ~LocaleWithCommas() {
        std::setlocale(LC_ALL, "C");
        std::locale::global(former_);
    }

private:
    std::locale former_;
};

TYPED_TEST(TextFormTest, ProcessLocaleIsIgnored) {
    const LocaleWithCommas locale;
    for (const std::string& text : this->sample_.ascending) {
        const auto parsed = this->sample_.parse(text);
        ASSERT_TRUE(parsed) << text;
        EXPECT_EQ(parsed->toString(), text);
    }
}

}  // namespace
}  // namespace kova::dovglobals
