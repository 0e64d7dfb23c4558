#include "kova/kit/Values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

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

class ValuesTest : public testing::TestWithParam<char const*> {
protected:
    template <typename T>
    void expectRoundTrip(const T& value) {
        const Result<Payload> payload = toPayload(value, GetParam());
        ASSERT_TRUE(payload.ok()) << payload.error().message;
        EXPECT_EQ(payload->getMimeType(), GetParam());
        const Result<T> copy = fromPayload<T>(*payload);
        ASSERT_TRUE(copy.ok()) << copy.error().message;
        EXPECT_EQ(*copy, value);
    }
};

INSTANTIATE_TEST_SUITE_P(Formats, ValuesTest,
                         testing::Values(mimetypes::JSON_TYPE, mimetypes::AXOBIN_TYPE));

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

TEST_P(ValuesTest, FailedReadNamesFieldExpectedFoundAndByte) {
    const Payload payload = toPayload(std::vector<std::string>{"a"}, GetParam()).orThrow();
    const Result<std::vector<Volume>> result = fromPayload<std::vector<Volume>>(payload);
    ASSERT_FALSE(result.ok());
    EXPECT_EQ(result.error(), (Error{400, "[0]: expected a struct, found \"a\" (byte 1)"}));
}

TEST_P(ValuesTest, ErrorStorageHasNoErrorAfterAFailure) {
    const Payload payload = toPayload(7, GetParam()).orThrow();
    zel::ErrorStorage::current().acknowledge();
    EXPECT_FALSE(fromPayload<bool>(payload).ok());
    EXPECT_FALSE(fromPayload<Volume>(payload).ok());
    EXPECT_FALSE(zel::ErrorStorage::current().hasError());
}

TEST_P(ValuesTest, PayloadIsItsOwnValue) {
    const Payload payload = toPayload(7, GetParam()).orThrow();
    EXPECT_EQ(fromPayload<Payload>(payload)->data(), payload.data());
    EXPECT_EQ(toPayload(payload, GetParam())->data(), payload.data());
}

TEST(JsonValuesTest, MissingFieldIsRefusedWithTheByteOfTheObject) {
    const Payload payload = Payload::createFromJSON(R"([{"level":1}, {"muted":true}])");
    EXPECT_EQ(
        fromPayload<std::vector<Volume>>(payload).error(),
        (Error{400, "[1]: expected the field \"level\", found a struct without it (byte 14)"}));
}

TEST(JsonValuesTest, NotANumberIsRefused) {
    const Result<Payload> payload = toPayload(std::vector<double>{1, std::nan("")});
    EXPECT_EQ(payload.error().code, 500);
    EXPECT_EQ(payload.error().message, "[1]: expected a finite number, found nan");
}

TEST(MimeTypesTest, OthersAreRefused) {
    EXPECT_EQ(fromPayload<int>(Payload::createFromString("7")).error(),
              (Error{400,
                     "expected a payload of JSON or binary structured data, found "
                     "\"plain/text\""}));
    EXPECT_EQ(toPayload(7, mimetypes::OCTET_STREAM_TYPE).error().code, 500);
}

}  // namespace
}  // namespace kova::kit
