#include "kova/kit/Values.h"

#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "Formats.h"
#include "zel/ErrorStorage.h"

// Values of the types that need no description, in both formats.
namespace kova::kit {
namespace {

struct Volume {
    int level = 30;
    bool muted = false;
};
KOVA_FIELDS(Volume, level, optional(muted))

bool operator==(const Volume& left, const Volume& right) {
    return left.level == right.level && left.muted == right.muted;
}

class ValuesTest : public test::FormatTest {};
KOVA_FOR_ALL_FORMATS(ValuesTest);

template <typename T>
std::vector<T> extremes() {
    return {std::numeric_limits<T>::lowest(), T(), std::numeric_limits<T>::max()};
}

TEST_P(ValuesTest, ScalarsSurviveARoundTrip) {
    expectRoundTrip(true);
    expectRoundTrip(-7);
    expectRoundTrip(std::numeric_limits<long long>::min());
    expectRoundTrip(std::numeric_limits<unsigned long long>::max());
    expectRoundTrip(1.5F);
    expectRoundTrip(-0.1);
    expectRoundTrip(std::string("a \"text\" with \n and ü"));
}

template <typename... T>
std::tuple<std::vector<T>...> allExtremes() {
    return {extremes<T>()...};
}

TEST_P(ValuesTest, ExtremeNumbersOfAllTypesSurviveARoundTrip) {
    const auto expectEach = [this](const auto& numbers) {
        for (const auto number : numbers) {
            expectRoundTrip(number);
        }
    };
    const auto all = allExtremes<std::int8_t, std::uint8_t, std::int16_t, std::uint16_t,
                                 std::int32_t, std::uint32_t, std::int64_t, std::uint64_t,
                                 unsigned long long, float, double>();
    std::apply([&](const auto&... numbers) { (expectEach(numbers), ...); }, all);
}

TEST_P(ValuesTest, EmptyArraysOfAllTypesSurviveARoundTrip) {
    expectRoundTrip(std::vector<bool>());
    expectRoundTrip(std::vector<std::int8_t>());
    expectRoundTrip(std::vector<std::uint8_t>());
    expectRoundTrip(std::vector<std::int16_t>());
    expectRoundTrip(std::vector<std::uint32_t>());
    expectRoundTrip(std::vector<double>());
    expectRoundTrip(std::vector<std::string>());
    expectRoundTrip(std::vector<Volume>());
}

TEST_P(ValuesTest, ArraysSurviveARoundTrip) {
    expectRoundTrip(extremes<std::int8_t>());
    expectRoundTrip(extremes<std::uint8_t>());
    expectRoundTrip(extremes<std::int16_t>());
    expectRoundTrip(extremes<std::uint16_t>());
    expectRoundTrip(extremes<std::int32_t>());
    expectRoundTrip(extremes<std::uint32_t>());
    expectRoundTrip(extremes<std::int64_t>());
    expectRoundTrip(extremes<std::uint64_t>());
    expectRoundTrip(extremes<unsigned long long>());
    expectRoundTrip(extremes<float>());
    expectRoundTrip(extremes<double>());
    expectRoundTrip(std::vector<bool>{true, false, true});
    expectRoundTrip(std::vector<std::string>{"", "a", "bc"});
    expectRoundTrip(std::vector<std::vector<std::string>>{{"a"}, {}, {"b", "c"}});
}

TEST_P(ValuesTest, OptionalValuesSurviveARoundTrip) {
    expectRoundTrip(std::optional<int>());
    expectRoundTrip(std::optional<int>(5));
    expectRoundTrip(std::vector<std::optional<std::string>>{"a", std::nullopt, ""});
}

TEST_P(ValuesTest, StructsSurviveARoundTrip) {
    expectRoundTrip(Volume{55, true});
    expectRoundTrip(std::vector<Volume>{{1, true}, {2, false}});
}

// ---- refused payloads

TEST_P(ValuesTest, ValuesOfOtherKindsAreRejected) {
    expectRefused<bool>("1", "expected a boolean, found 1", 0, 0);
    expectRefused<int>("true", "expected an integer of 32 bits, found true", 0, 0);
    expectRefused<int>("1.5", "expected an integer of 32 bits, found 1.5", 0, 0);
    expectRefused<int>("\"1\"", "expected an integer of 32 bits, found \"1\"", 0, 0);
    expectRefused<int>("null", "expected an integer of 32 bits, found null", 0, 0);
    expectRefused<double>("\"1\"", "expected a number, found \"1\"", 0, 0);
    expectRefused<float>("[]", "expected a number within the range of a float, found an array", 0,
                         0);
    expectRefused<std::string>("{}", "expected a string, found a struct", 0, 0);
    expectRefused<std::optional<int>>("false", "expected an integer of 32 bits, found false", 0, 0);
    expectRefused<std::vector<int>>("1", "expected an array, found 1", 0, 0);
    expectRefused<std::vector<std::string>>("\"a\"", "expected an array, found \"a\"", 0, 0);
    expectRefused<Volume>("[]", "expected a struct, found an array", 0, 0);
}

TEST_P(ValuesTest, NumbersOutOfRangeAreRejected) {
    expectRefused<std::int8_t>("128", "expected an integer of 8 bits, found 128", 0, 0);
    expectRefused<std::int8_t>("-129", "expected an integer of 8 bits, found -129", 0, 0);
    expectRefused<std::uint8_t>("256", "expected an unsigned integer of 8 bits, found 256", 0, 0);
    expectRefused<std::uint8_t>("-1", "expected an unsigned integer of 8 bits, found -1", 0, 0);
    expectRefused<std::int16_t>("32768", "expected an integer of 16 bits, found 32768", 0, 0);
    expectRefused<std::uint16_t>("65536", "expected an unsigned integer of 16 bits, found 65536", 0,
                                 0);
    expectRefused<std::int32_t>("2147483648", "expected an integer of 32 bits, found 2147483648", 0,
                                0);
    expectRefused<std::uint32_t>("4294967296",
                                 "expected an unsigned integer of 32 bits, found 4294967296", 0, 0);
    expectRefused<std::int64_t>("9223372036854775808",
                                "expected an integer of 64 bits, found 9223372036854775808", 0, 0);
    expectRefused<std::uint64_t>("-1", "expected an unsigned integer of 64 bits, found -1", 0, 0);
    expectRefused<float>("1e39", "expected a number within the range of a float, found 1e+39", 0,
                         0);
}

TEST_P(ValuesTest, FailuresNameTheIndexOfTheElement) {
    expectRefused<std::vector<int>>("[1,\"2\"]", "[1]: expected an integer of 32 bits, found \"2\"",
                                    3, 2);
    expectRefused<std::vector<bool>>("[true,0]", "[1]: expected a boolean, found 0", 6, 2);
    expectRefused<std::vector<std::vector<std::string>>>(
        "[[],[\"a\",1]]", "[1][1]: expected a string, found 1", 9, 6);
    expectRefused<std::vector<Volume>>("[{\"level\":1},{\"level\":true}]",
                                       "[1].level: expected an integer of 32 bits, found true", 22,
                                       17);
    expectRefused<std::vector<Volume>>(
        "[{\"level\":1},{\"muted\":true}]",
        "[1]: expected the field \"level\", found a struct without it", 13, 10);
}

struct MalformedRow {
    char const* mimeType;
    std::string bytes;
    char const* reason;
};

TEST(MalformedPayloadTest, MalformedPayloadIsRejectedWithTheReasonOfTheParser) {
    const MalformedRow rows[] = {
        {mimetypes::JSON_TYPE, "", "expected a value, found the end of the text (byte 0)"},
        {mimetypes::JSON_TYPE, "[{\"level\":1},{\"level\" 2}]",
         "[1]: expected ':', found '2' (byte 22)"},
        {mimetypes::JSON_TYPE, "[] 1", "expected the end of the text, found '1' (byte 3)"},
        {mimetypes::AXOBIN_TYPE, "", "expected a value, found the end of the payload (byte 0)"},
        {mimetypes::AXOBIN_TYPE, "\x81\xA1",
         "[0]: expected a length within the payload, found a longer map (byte 1)"},
        {mimetypes::AXOBIN_TYPE, "\x80\x01", "expected the end of the payload, found 1 (byte 1)"}};
    for (const MalformedRow& row : rows) {
        const Payload payload =
            Payload::createFromRaw(reinterpret_cast<unsigned char const*>(row.bytes.data()),
                                   row.bytes.size(), row.mimeType);
        const auto result = fromPayload<std::vector<Volume>>(payload);
        ASSERT_FALSE(result.ok()) << row.bytes;
        EXPECT_EQ(result.error().code, 400);
        EXPECT_EQ(result.error().message, row.reason);
    }
}

TEST(ErrorStorageTest, FailureLeavesNoErrorInTheStorage) {
    zel::ErrorStorage::current().acknowledge();
    for (char const* mimeType : {mimetypes::JSON_TYPE, mimetypes::AXOBIN_TYPE}) {
        const Payload payload = toPayload(7, mimeType).orThrow();
        EXPECT_FALSE(fromPayload<bool>(payload).ok());
        EXPECT_FALSE(fromPayload<Volume>(payload).ok());
        EXPECT_FALSE(toPayload(std::string("\xFF")).ok());
        EXPECT_FALSE(zel::ErrorStorage::current().hasError());
    }
}

TEST(PayloadTest, PayloadConvertsToItselfUnchanged) {
    const Payload payload = Payload::createFromString("text");
    EXPECT_EQ(fromPayload<Payload>(payload)->data(), payload.data());
    EXPECT_EQ(toPayload(payload)->data(), payload.data());
    EXPECT_EQ(toPayload(payload)->getMimeType(), "plain/text");
}

// ---- refused values

struct Station {
    std::string name;
    double height = 0;
    std::vector<float> samples;
};
KOVA_FIELDS(Station, name, height, samples)

TEST(RefusedValuesTest, ReasonNamesTheField) {
    const double nan = std::nan("");
    const auto reasonOf = [](const Station& station) {
        return test::jsonOf(std::vector<Station>{{"a", 0, {}}, station});
    };
    EXPECT_EQ(reasonOf({"\xFF", 1, {}}), "[1].name: expected UTF-8, found other bytes (byte 48)");
    EXPECT_EQ(reasonOf({"b", nan, {}}),
              "[1].height: expected a finite number, found nan (byte 61)");
    EXPECT_EQ(reasonOf({"b", -HUGE_VAL, {}}),
              "[1].height: expected a finite number, found -inf (byte 61)");
    EXPECT_EQ(reasonOf({"b", 1, {1, HUGE_VALF}}),
              "[1].samples[1]: expected a finite number, found inf");
    EXPECT_EQ(test::jsonOf(std::map<std::string, int>{{"\xFF", 1}}).substr(0, 44),
              "expected UTF-8, found other bytes (byte 1)");
}

TEST(RefusedValuesTest, ReasonNamesTheElementOfAnArray) {
    EXPECT_EQ(test::jsonOf(std::vector<double>{1, std::nan("")}),
              "[1]: expected a finite number, found nan");
    EXPECT_EQ(test::jsonOf(std::vector<double>{-HUGE_VAL}),
              "[0]: expected a finite number, found -inf");
    EXPECT_EQ(test::jsonOf(std::vector<float>{0, 0, HUGE_VALF}),
              "[2]: expected a finite number, found inf");
}

TEST(RefusedValuesTest, ValuesThatJsonCannotExpressHaveABinaryForm) {
    const Station station{"\xFF", HUGE_VAL, {-HUGE_VALF}};
    const Station copy =
        fromPayload<Station>(toPayload(station, mimetypes::AXOBIN_TYPE).value()).value();
    EXPECT_EQ(copy.name, station.name);
    EXPECT_EQ(copy.height, station.height);
    EXPECT_EQ(copy.samples, station.samples);
}

TEST(MimeTypesTest, UnsupportedMimeTypesAreRejected) {
    EXPECT_EQ(fromPayload<int>(Payload::createFromString("7")).error(),
              (Error{400,
                     "expected a payload of JSON or binary structured data, found "
                     "\"plain/text\""}));
    EXPECT_EQ(toPayload(7, mimetypes::OCTET_STREAM_TYPE).error().code, 500);
}

}  // namespace
}  // namespace kova::kit
