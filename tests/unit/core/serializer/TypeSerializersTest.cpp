#include "kova/core/TypeSerializers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "kova/core/GenericDataPullDeserializer.h"
#include "kova/core/Number.h"
#include "kova/core/Path.h"
#include "kova/core/url.h"
#include "support/FailingAllocations.h"
#include "support/RecordingSerializer.h"
#include "util/config/Scalars.h"
#include "util/serializer/PullFromPushDeserializer.h"
#include "zel/UUID.h"

namespace {

using kova::serializer::deserialize;
using kova::serializer::GenericDataPullDeserializer;
using kova::serializer::serialize;
using kova::test::RecordingSerializer;
using Calls = std::vector<std::string>;

constexpr char const* UUID_TEXT = "123e4567-e89b-12d3-a456-426614174000";

// ---- Writing ----

/// Returns the serializer calls that `serialize` makes for the value.
template <typename T>
Calls written(const T& value) {
    RecordingSerializer serializer;
    EXPECT_FALSE(serialize(serializer, value));
    return serializer.calls();
}

template <typename T>
bool failsWithTheSerializer(const T& value) {
    RecordingSerializer serializer(0);
    return serialize(serializer, value);
}

TEST(Serialize, WritesEachScalarWithItsWidthAndSign) {
    EXPECT_EQ(written(true), Calls{"boolean true"});
    EXPECT_EQ(written<signed char>(-128), Calls{"int8 -128"});
    EXPECT_EQ(written<unsigned char>(255), Calls{"uint8 255"});
    EXPECT_EQ(written<short>(-32768), Calls{"int16 -32768"});
    EXPECT_EQ(written<unsigned short>(65535), Calls{"uint16 65535"});
    EXPECT_EQ(written(-7), Calls{"int32 -7"});
    EXPECT_EQ(written(4000000000U), Calls{"uint32 4000000000"});
    EXPECT_EQ(written(-7L), Calls{"int64 -7"});
    EXPECT_EQ(written(18446744073709551615UL), Calls{"uint64 18446744073709551615"});
    EXPECT_EQ(written(1.5F), Calls{"float 1.500000"});
    EXPECT_EQ(written(2.5), Calls{"double 2.500000"});
}

TEST(Serialize, WritesTextsAsStrings) {
    zel::UUID uuid;
    ASSERT_FALSE(zel::UUID::tryParse(uuid, UUID_TEXT));
    EXPECT_EQ(written(std::string("text")), Calls{"string text"});
    EXPECT_EQ(written(uuid), Calls{std::string("string ") + UUID_TEXT});
    EXPECT_EQ(written(kova::Path("/a/b")), Calls{"string /a/b"});
    EXPECT_EQ(written(kova::url("http://host:80/x?y#z")), Calls{"string http://host:80/x?y#z"});
    EXPECT_EQ(written(kova::Number(42L)), Calls{"string 42"});
}

TEST(Serialize, ReturnsTheFailureOfTheSerializer) {
    EXPECT_TRUE(failsWithTheSerializer(true));
    EXPECT_TRUE(failsWithTheSerializer<signed char>(1));
    EXPECT_TRUE(failsWithTheSerializer<unsigned char>(1));
    EXPECT_TRUE(failsWithTheSerializer<short>(1));
    EXPECT_TRUE(failsWithTheSerializer<unsigned short>(1));
    EXPECT_TRUE(failsWithTheSerializer(1));
    EXPECT_TRUE(failsWithTheSerializer(1U));
    EXPECT_TRUE(failsWithTheSerializer(1L));
    EXPECT_TRUE(failsWithTheSerializer(1UL));
    EXPECT_TRUE(failsWithTheSerializer(1.0F));
    EXPECT_TRUE(failsWithTheSerializer(1.0));
    EXPECT_TRUE(failsWithTheSerializer(std::string("text")));
    EXPECT_TRUE(failsWithTheSerializer(zel::UUID()));
    EXPECT_TRUE(failsWithTheSerializer(kova::Path("a")));
    EXPECT_TRUE(failsWithTheSerializer(kova::url("a")));
    EXPECT_TRUE(failsWithTheSerializer(kova::Number(1L)));
}

template <typename T, typename = void>
struct CanSerialize : std::false_type {};
template <typename T>
struct CanSerialize<
    T, std::void_t<decltype(serialize(std::declval<RecordingSerializer&>(), std::declval<T>()))>>
    : std::true_type {};

static_assert(CanSerialize<bool>::value);
static_assert(!CanSerialize<char const*>::value, "a literal must not be taken for a boolean");
static_assert(!CanSerialize<const char (&)[5]>::value);
static_assert(!CanSerialize<util::config::Value*>::value);

// ---- Reading ----

/// A deserializer that records which getter was called. Either all its getters succeed, or all
/// fail.
class GetterLog : public util::serializer::PullFromPushDeserializer {
public:
    explicit GetterLog(bool failing) : PullFromPushDeserializer(nullptr), failing_(failing) {}

    bool getBoolean(bool& out) override { return got("boolean", out); }
    bool getInt8(std::int8_t& out) override { return got("int8", out); }
    bool getUInt8(std::uint8_t& out) override { return got("uint8", out); }
    bool getInt16(std::int16_t& out) override { return got("int16", out); }
    bool getUInt16(std::uint16_t& out) override { return got("uint16", out); }
    bool getInt32(std::int32_t& out) override { return got("int32", out); }
    bool getUInt32(std::uint32_t& out) override { return got("uint32", out); }
    bool getInt64(std::int64_t& out) override { return got("int64", out); }
    bool getUInt64(std::uint64_t& out) override { return got("uint64", out); }
    bool getFloat(float& out) override { return got("float", out); }
    bool getDouble(double& out) override { return got("double", out); }
    using PullFromPushDeserializer::getString;
    bool getString(std::string& out) override { return got("string", out); }

    std::string getter;

private:
    template <typename T>
    bool got(char const* name, T& out) {
        getter = name;
        if constexpr (std::is_same_v<T, std::string>) {
            out = UUID_TEXT;
        } else {
            out = std::numeric_limits<T>::max();
        }
        return failing_;
    }

    bool failing_;
};

template <typename T>
void expectGetter(char const* name) {
    GetterLog good(false);
    T out{};
    EXPECT_FALSE(deserialize(good, out)) << name;
    EXPECT_EQ(good.getter, name);
    if constexpr (std::is_arithmetic_v<T>) {
        EXPECT_EQ(out, std::numeric_limits<T>::max()) << name;
    }
    GetterLog bad(true);
    EXPECT_TRUE(deserialize(bad, out)) << name;
}

TEST(Deserialize, ReadsEachTypeWithItsGetter) {
    expectGetter<bool>("boolean");
    expectGetter<signed char>("int8");
    expectGetter<unsigned char>("uint8");
    expectGetter<short>("int16");
    expectGetter<unsigned short>("uint16");
    expectGetter<int>("int32");
    expectGetter<unsigned int>("uint32");
    expectGetter<long>("int64");
    expectGetter<unsigned long>("uint64");
    expectGetter<float>("float");
    expectGetter<double>("double");
    expectGetter<std::string>("string");
    expectGetter<zel::UUID>("string");
    expectGetter<kova::Path>("string");
    expectGetter<kova::url>("string");
    GetterLog log(false);
    kova::Number number(0L);
    EXPECT_FALSE(deserialize(log, number));
    EXPECT_EQ(log.getter, "string");
}

/// Reads `out` from a leaf of a value tree.
template <typename T>
bool readFrom(const util::config::Value& leaf, T& out) {
    GenericDataPullDeserializer deserializer(leaf);
    return deserializer.beginDeserialize(nullptr, nullptr) || deserialize(deserializer, out);
}
template <typename T>
bool readFrom(const std::string& text, T& out) {
    return readFrom(util::config::ValueString(text), out);
}

TEST(Deserialize, ReadsUuids) {
    zel::UUID uuid;
    EXPECT_FALSE(readFrom(UUID_TEXT, uuid));
    EXPECT_EQ(uuid.toString(), UUID_TEXT);
    for (char const* text : {"", "no uuid", "123e4567-e89b-12d3-a456-42661417400"}) {
        EXPECT_TRUE(readFrom(text, uuid)) << text;
        EXPECT_EQ(uuid.toString(), UUID_TEXT) << text;
    }
}

TEST(Deserialize, ReadsPathsAndNormalizesThem) {
    kova::Path path("former");
    EXPECT_FALSE(readFrom("//a//b/c/", path));
    EXPECT_EQ(path.toString(), "/a/b/c");
    EXPECT_FALSE(readFrom("", path));
    EXPECT_EQ(path.toString(), kova::Path("").toString());
}

TEST(Deserialize, TextThatIsNotAValidUrlIsReadWithoutAFailure) {
    kova::url link;
    EXPECT_FALSE(readFrom("http://host:80/x", link));
    EXPECT_EQ(link.toString(), "http://host:80/x");
    EXPECT_TRUE(link.isWellFormed());
    EXPECT_FALSE(readFrom("http:x", link)) << "not a valid url, yet a success";
    EXPECT_EQ(link.toString(), "http:x");
    EXPECT_FALSE(link.isWellFormed());
}

TEST(Deserialize, ReadsNumbersFromStringsOnly) {
    kova::Number number(1L);
    EXPECT_FALSE(readFrom("123456789012345678901234567890.5", number));
    EXPECT_EQ(number.toString(), "123456789012345678901234567890.5");
    EXPECT_TRUE(readFrom(util::config::ValueInt(7), number));
    EXPECT_EQ(number.toString(), "123456789012345678901234567890.5");
}

TEST(Deserialize, OutputIsUnchangedIfTheStringCannotBeRead) {
    const util::config::ValueInt leaf(7);
    std::string text = "former";
    zel::UUID uuid;
    ASSERT_FALSE(zel::UUID::tryParse(uuid, UUID_TEXT));
    kova::Path path("former");
    kova::url link("former:/x");
    EXPECT_TRUE(readFrom(leaf, text));
    EXPECT_TRUE(readFrom(leaf, uuid));
    EXPECT_TRUE(readFrom(leaf, path));
    EXPECT_TRUE(readFrom(leaf, link));
    EXPECT_EQ(text, "former");
    EXPECT_EQ(uuid.toString(), UUID_TEXT);
    EXPECT_EQ(path.toString(), "former");
    EXPECT_EQ(link.toString(), "former:/x");
}

// ---- Exhausted memory ----

TEST(TypeSerializers, FailIfMemoryIsExhaustedAndDoNotThrow) {
    const std::string source = "/a/text/that/is/too/long/for/the/string/itself/and/has/many/parts";
    const util::config::ValueString leaf(source);
    GenericDataPullDeserializer deserializer(leaf);
    ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
    kova::url link;
    kova::Number number(0L);
    std::string text;
    EXPECT_GE(kova::test::failEveryAllocation([&] { return !deserialize(deserializer, link); }), 1);
    EXPECT_GE(kova::test::failEveryAllocation([&] { return !deserialize(deserializer, number); }),
              1);
    EXPECT_GE(kova::test::failEveryAllocation([&] { return !deserialize(deserializer, text); }), 1);
    EXPECT_EQ(link.toString(), source);
    EXPECT_EQ(number.toString(), source);
    EXPECT_EQ(text, source);
}

}  // namespace
