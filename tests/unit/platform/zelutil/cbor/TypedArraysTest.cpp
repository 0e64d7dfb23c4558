#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "support/Payloads.h"

// Tests the typed arrays of RFC 8746 with the serializer and the push deserializer.
namespace {

using namespace util::serializer;
using payloads::binaryToBinary;
using payloads::binaryToJson;
using payloads::writtenAsBinary;

template <class Number>
auto writing(std::vector<Number> numbers) {
    return [numbers](IStructuredSerializer& s) { return s.serializeArray(numbers); };
}

struct Written {
    std::function<bool(IStructuredSerializer&)> write;
    char const* hex;
};

const Written WRITTEN[] = {
    {writing<std::uint8_t>({1, 255}), "d8404201ff"},
    {writing<std::uint16_t>({0x1234}), "d841421234"},
    {writing<std::uint32_t>({0x12345678, 1}), "d842481234567800000001"},
    {writing<std::uint64_t>({0x123456789ABCDEF0}), "d84348123456789abcdef0"},
    {writing<std::int8_t>({-1, -128, 127}), "d84843ff807f"},
    {writing<std::int16_t>({-2, 0x1234}), "d84944fffe1234"},
    {writing<std::int32_t>({-2}), "d84a44fffffffe"},
    {writing<std::int64_t>({-2}), "d84b48fffffffffffffffe"},
    {writing<float>({1.5F, -0.0F}), "d851483fc0000080000000"},
    {writing<double>({1.1}), "d852483ff199999999999a"},
    {writing<std::uint8_t>({}), "d84040"},
    {writing<double>({}), "d85240"},
    {writing<float>({std::numeric_limits<float>::infinity()}), "d851447f800000"},
};

TEST(TypedArraysTest, AreWrittenPackedAndBigEndian) {
    for (const Written& row : WRITTEN) {
        EXPECT_EQ(writtenAsBinary(row.write), row.hex);
    }
}

TEST(TypedArraysTest, RoundTrip) {
    for (const Written& row : WRITTEN) {
        EXPECT_EQ(binaryToBinary(row.hex), row.hex);
    }
}

TEST(TypedArraysTest, LongArrayHasALongHead) {
    const auto hex = writtenAsBinary(writing(std::vector<std::uint16_t>(128, 0x0102)));
    ASSERT_TRUE(hex.has_value());
    EXPECT_EQ(hex->substr(0, 14), "d8415901000102");
    EXPECT_EQ(hex->size(), 2 * (2 + 3 + 256U));
}

struct Read {
    char const* hex;
    char const* json;
};

constexpr Read READ[] = {
    {"d840420102", "[1,2]"},
    {"d8414400010002", "[1,2]"},
    {"d8424400000001", "[1]"},
    {"d84348ffffffffffffffff", "[18446744073709551615]"},
    {"d8444200ff", "[0,255]"},
    {"d8454401000200", "[1,2]"},
    {"d8464401000000", "[1]"},
    {"d847480100000000000000", "[1]"},
    {"d84841ff", "[-1]"},
    {"d84942fffe", "[-2]"},
    {"d84a44fffffffe", "[-2]"},
    {"d84b48fffffffffffffffe", "[-2]"},
    {"d84d42feff", "[-2]"},
    {"d84e44feffffff", "[-2]"},
    {"d84f48feffffffffffffff", "[-2]"},
    {"d851443fc00000", "[1.5]"},
    {"d852483ff8000000000000", "[1.5]"},
    {"d855440000c03f", "[1.5]"},
    {"d85648000000000000f83f", "[1.5]"},
    {"d84040", "[]"},
    {"d90040420102", "[1,2]"},          // a tag in a longer head
    {"d8405f41014102ff", "[1,2]"},      // the bytes in chunks
    {"d8415f410041014102ff", nullptr},  // one and a half items
    {"d8405fff", "[]"},
    {"82d8404101d84841ff", "[[1],[-1]]"},
    {"a16161d8404101", "{\"a\":[1]}"},
};

TEST(TypedArraysTest, AreReadInBothByteOrders) {
    for (const Read& row : READ) {
        const auto json = binaryToJson(row.hex);
        EXPECT_EQ(json.value_or("refused"), row.json == nullptr ? "refused" : row.json) << row.hex;
    }
}

constexpr char const* REFUSED[] = {
    "d84141 00",      // half an item
    "d842 43000001",  // three quarters
    "d843 47 00000000000001",
    "d855 430000c0",
    "d8406161",         // a text
    "d8407f6161ff",     // a text in chunks
    "d840 01",          // a number
    "d8408101",         // an array
    "d840f6",           // null
    "d840 d8404101",    // a tag inside a tag
    "d840",             // no content
    "d84042 01",        // truncated
    "9fd840ff",         // a break
    "a1d840 41 01 01",  // as a key
    "d84c4101",         // reserved (signed clamped)
    "d850423c00",       // half floats
    "d854 42003c",
    "d853 50 00000000000000000000000000000000",
    "d857 50 00000000000000000000000000000000",
    "d83f4101",
    "d8584101",  // tags next to the range
};

TEST(TypedArraysTest, MalformedOrUnsupportedTypedArraysAreRejected) {
    for (char const* const hex : REFUSED) {
        EXPECT_EQ(binaryToBinary(hex), std::nullopt) << hex;
    }
}

TEST(TypedArraysTest, NaNItemsAreRead) {
    payloads::BinaryPull pull("d85548 0000c03f 0000c07f");
    ASSERT_TRUE(pull.begun);
    std::vector<float> floats;
    ASSERT_FALSE(pull.getFloatArray(floats));
    ASSERT_EQ(floats.size(), 2U);
    EXPECT_EQ(floats[0], 1.5F);
    EXPECT_TRUE(std::isnan(floats[1]));
}

}  // namespace
