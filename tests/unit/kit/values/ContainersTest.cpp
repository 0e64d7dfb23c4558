#include "kova/kit/values/Containers.h"

#include "Formats.h"

// Arrays of a fixed length, maps and bytes.
namespace kova::kit {
namespace {

struct Point {
    int x = 0;
    int y = 0;
};
KOVA_FIELDS(Point, x, optional(y))

bool operator==(const Point& left, const Point& right) {
    return left.x == right.x && left.y == right.y;
}

using Triple = std::array<int, 3>;
using Points = std::map<std::string, Point>;

class ContainersTest : public test::FormatTest {};
KOVA_FOR_ALL_FORMATS(ContainersTest);

TEST_P(ContainersTest, ArraysOfAFixedLengthSurviveARoundTrip) {
    expectRoundTrip(Triple{1, 2, 3});
    expectRoundTrip(std::array<Point, 2>{{{1, 2}, {3, 4}}});
    expectRoundTrip(std::array<bool, 0>{});
}

TEST_P(ContainersTest, MapsSurviveARoundTrip) {
    expectRoundTrip(std::map<std::string, int>());
    expectRoundTrip(std::map<std::string, int>{{"", 1}, {"b.c", 2}, {"\xC3\xBC", 3}});
    expectRoundTrip(Points{{"a", {1, 2}}, {"b", {3, 4}}});
    expectRoundTrip(std::map<std::string, std::map<std::string, bool>>{{"a", {{"b", true}}}});
}

TEST_P(ContainersTest, BytesSurviveARoundTrip) {
    std::shared_ptr<unsigned char[]> bytes(new unsigned char[3]{0, 127, 255});
    const Blob blob(bytes, 3);
    const Blob copy = roundTrip(GetParam(), blob).value();
    ASSERT_EQ(copy.size, 3U);
    EXPECT_TRUE(std::equal(copy.data.get(), copy.data.get() + 3, bytes.get()));
    EXPECT_EQ(roundTrip(GetParam(), Blob()).value().size, 0U);
    expectRoundTrip(std::vector<std::uint8_t>{0, 127, 255});
}

TEST_P(ContainersTest, ArraysOfAnotherLengthAreRejected) {
    expectRefused<Triple>("[1,2]", "expected an array of 3 elements, found 2", 0, 0);
    expectRefused<Triple>("[1,2,3,4]", "[3]: expected an array of 3 elements, found more", 7, 4);
    expectRefused<Triple>("[]", "expected an array of 3 elements, found 0", 0, 0);
    expectRefused<Triple>("[1,2,true]", "[2]: expected an integer of 32 bits, found true", 5, 3);
    expectRefused<Triple>("{}", "expected an array, found a struct", 0, 0);
}

TEST_P(ContainersTest, MapsWithValuesOfAnotherTypeAreRejected) {
    expectRefused<Points>(R"({"a":{"x":1},"b":{"x":"1"}})",
                          "b.x: expected an integer of 32 bits, found \"1\"", 22, 13);
    expectRefused<Points>("[]", "expected a struct, found an array", 0, 0);
}

TEST_P(ContainersTest, ArraysThatAreNotBytesAreRejected) {
    expectRefused<Blob>("[1,256]", "[1]: expected an unsigned integer of 8 bits, found 256", 3, 2);
    expectRefused<Blob>("\"AQ==\"", "expected an array, found \"AQ==\"", 0, 0);
}

TEST_P(ContainersTest, LastOfTheEntriesWithTheSameKeyIsUsed) {
    const Points points = read<Points>(R"({"a":{"x":1,"y":2},"a":{"x":3}})").value();
    EXPECT_EQ(points, (Points{{"a", {3, 0}}}));
}

TEST(PackedBytesTest, BytesAreOneByteStringInTheBinaryFormat) {
    const Payload payload =
        toPayload(std::vector<std::uint8_t>{1, 2}, mimetypes::AXOBIN_TYPE).value();
    const unsigned char expected[] = {0xD8, 0x40, 0x42, 1, 2};
    ASSERT_EQ(payload.size(), sizeof expected);
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), payload.data()));
}

TEST(ContainersJsonTest, ContainersAreWrittenAsArraysAndObjects) {
    EXPECT_EQ(test::jsonOf(Triple{1, 2, 3}), "[1,2,3]");
    EXPECT_EQ(test::jsonOf(std::map<std::string, bool>{{"a", true}}), R"({"a":true})");
    EXPECT_EQ(test::jsonOf(std::vector<std::uint8_t>{0, 255}), "[0,255]");
}

}  // namespace
}  // namespace kova::kit
