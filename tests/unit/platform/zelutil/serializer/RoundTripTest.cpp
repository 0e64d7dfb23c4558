#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "support/Payloads.h"

// Round trips of random values. The writer and the checker make the same random choices from the
// same seed. The values are also converted from each format to the other.
namespace {

using namespace util::serializer;

constexpr unsigned int ROUNDS = 300;

class Choices {
public:
    explicit Choices(unsigned int seed) : random_(seed) {}

    std::uint64_t bits() { return random_() >> random_() % 64; }
    std::uint64_t below(std::uint64_t end) { return random_() % end; }
    template <class Integer>
    Integer integer() {
        return static_cast<Integer>(bits());
    }
    double finite() {
        double value = 0;
        do {
            const std::uint64_t pattern = random_();
            std::memcpy(&value, &pattern, sizeof value);
        } while (!std::isfinite(value));
        return value;
    }
    float finiteFloat() {
        float value = 0;
        do {
            const auto pattern = static_cast<std::uint32_t>(random_());
            std::memcpy(&value, &pattern, sizeof value);
        } while (!std::isfinite(value));
        return value;
    }
    std::string text() {
        std::u16string units;
        for (std::uint64_t i = below(12); i > 0; --i) {
            units += static_cast<char16_t>(below(4) != 0 ? below(128) : below(0xD800));
        }
        return *zel::unicode::utf16ToUtf8(units);
    }
    template <class Item, class Make>
    std::vector<Item> list(Make make) {
        std::vector<Item> items;
        for (std::uint64_t i = below(6); i > 0; --i) {
            items.push_back(make());
        }
        return items;
    }

private:
    std::mt19937_64 random_;
};

class Writer {
public:
    Writer(unsigned int seed, IStructuredSerializer& target) : choices_(seed), s_(target) {}
    bool value(unsigned int depth = 0) {
        switch (choices_.below(depth < 6 ? 18 : 15)) {
            case 0:
                return s_.serializeNull();
            case 1:
                return s_.serializeBoolean(choices_.below(2) == 1);
            case 2:
                return s_.serializeInt8(choices_.integer<std::int8_t>());
            case 3:
                return s_.serializeUInt8(choices_.integer<std::uint8_t>());
            case 4:
                return s_.serializeInt16(choices_.integer<std::int16_t>());
            case 5:
                return s_.serializeUInt32(choices_.integer<std::uint32_t>());
            case 6:
                return s_.serializeInt64(choices_.integer<std::int64_t>());
            case 7:
                return s_.serializeUInt64(choices_.integer<std::uint64_t>());
            case 8:
                return s_.serializeFloat(choices_.finiteFloat());
            case 9:
                return s_.serializeDouble(choices_.finite());
            case 10:
                return s_.serializeString(choices_.text());
            case 11:
                return s_.serializeArray(
                    choices_.list<std::int16_t>([&] { return choices_.integer<std::int16_t>(); }));
            case 12:
                return s_.serializeArray(choices_.list<std::uint64_t>(
                    [&] { return choices_.integer<std::uint64_t>(); }));
            case 13:
                return s_.serializeArray(
                    choices_.list<float>([&] { return choices_.finiteFloat(); }));
            case 14:
                return s_.serializeArray(
                    choices_.list<std::string>([&] { return choices_.text(); }));
            case 15:
                return array(depth);
            default:
                return structure(depth);
        }
    }

private:
    bool array(unsigned int depth) {
        bool failed = s_.beginArray();
        for (std::uint64_t i = choices_.below(5); i > 0; --i) {
            failed = failed || (choices_.below(6) == 0
                                    ? s_.serializeEmptyElement()
                                    : s_.beginElement() || value(depth + 1) || s_.endElement());
        }
        return failed || s_.endArray();
    }
    bool structure(unsigned int depth) {
        bool failed = s_.beginStruct(nullptr);
        for (std::uint64_t i = choices_.below(6); i > 0; --i) {
            failed = failed || s_.beginField(choices_.text(), -1, false) || value(depth + 1) ||
                     s_.endField();
        }
        return failed || s_.endStruct();
    }

    Choices choices_;
    IStructuredSerializer& s_;
};

class Checker {
public:
    Checker(unsigned int seed, IStructuredPullDeserializer& source) : choices_(seed), p_(source) {}
    void value(unsigned int depth = 0) {
        switch (choices_.below(depth < 6 ? 18 : 15)) {
            case 0:
                ASSERT_FALSE(p_.getNull());
                break;
            case 1:
                scalar(&IStructuredPullDeserializer::getBoolean, choices_.below(2) == 1);
                break;
            case 2:
                scalar(&IStructuredPullDeserializer::getInt8, choices_.integer<std::int8_t>());
                break;
            case 3:
                scalar(&IStructuredPullDeserializer::getUInt8, choices_.integer<std::uint8_t>());
                break;
            case 4:
                scalar(&IStructuredPullDeserializer::getInt16, choices_.integer<std::int16_t>());
                break;
            case 5:
                scalar(&IStructuredPullDeserializer::getUInt32, choices_.integer<std::uint32_t>());
                break;
            case 6:
                scalar(&IStructuredPullDeserializer::getInt64, choices_.integer<std::int64_t>());
                break;
            case 7:
                scalar(&IStructuredPullDeserializer::getUInt64, choices_.integer<std::uint64_t>());
                break;
            case 8:
                scalar(&IStructuredPullDeserializer::getFloat, choices_.finiteFloat());
                break;
            case 9:
                scalar(&IStructuredPullDeserializer::getDouble, choices_.finite());
                break;
            case 10:
                scalar<std::string>(&IStructuredPullDeserializer::getString, choices_.text());
                break;
            case 11:
                scalar(
                    &IStructuredPullDeserializer::getInt16Array,
                    choices_.list<std::int16_t>([&] { return choices_.integer<std::int16_t>(); }));
                break;
            case 12:
                scalar(&IStructuredPullDeserializer::getUInt64Array,
                       choices_.list<std::uint64_t>(
                           [&] { return choices_.integer<std::uint64_t>(); }));
                break;
            case 13:
                scalar(&IStructuredPullDeserializer::getFloatArray,
                       choices_.list<float>([&] { return choices_.finiteFloat(); }));
                break;
            case 14:
                scalar(&IStructuredPullDeserializer::getStringArray,
                       choices_.list<std::string>([&] { return choices_.text(); }));
                break;
            case 15:
                array(depth);
                break;
            default:
                structure(depth);
                break;
        }
    }

private:
    template <class T>
    void scalar(bool (IStructuredPullDeserializer::*get)(T&), const T& expected) {
        T value{};
        ASSERT_FALSE((p_.*get)(value));
        ASSERT_EQ(value, expected);
    }
    void array(unsigned int depth) {
        ASSERT_FALSE(p_.beginArray());
        for (std::uint64_t i = choices_.below(5); i > 0; --i) {
            ASSERT_FALSE(p_.isArrayEnd());
            if (choices_.below(6) == 0) {
                bool empty = false;
                ASSERT_FALSE(p_.getEmptyElement(empty));
                ASSERT_TRUE(empty);
            } else {
                ASSERT_FALSE(p_.beginElement());
                ASSERT_NO_FATAL_FAILURE(value(depth + 1));
                ASSERT_FALSE(p_.endElement());
            }
        }
        ASSERT_TRUE(p_.isArrayEnd());
        ASSERT_FALSE(p_.endArray());
    }
    void structure(unsigned int depth) {
        ASSERT_FALSE(p_.beginStruct(nullptr));
        for (std::uint64_t i = choices_.below(6); i > 0; --i) {
            ASSERT_FALSE(p_.isStructEnd());
            std::string name;
            ASSERT_FALSE(p_.beginField(name));
            ASSERT_EQ(name, choices_.text());
            ASSERT_NO_FATAL_FAILURE(value(depth + 1));
            ASSERT_FALSE(p_.endField());
        }
        ASSERT_TRUE(p_.isStructEnd());
        ASSERT_FALSE(p_.endStruct());
    }

    Choices choices_;
    IStructuredPullDeserializer& p_;
};

class RoundTripTest : public testing::Test {
protected:
    static std::string jsonOf(unsigned int seed) {
        return payloads::writtenAsJson([=](auto& s) { return Writer(seed, s).value(); })
            .value_or("failed");
    }
    static std::string binaryOf(unsigned int seed) {
        return payloads::writtenAsBinary([=](auto& s) { return Writer(seed, s).value(); })
            .value_or("failed");
    }
};

TEST_F(RoundTripTest, RandomValuesRoundTripInEachFormat) {
    for (unsigned int seed = 0; seed < ROUNDS; ++seed) {
        SCOPED_TRACE(seed);
        payloads::JsonPull json(jsonOf(seed));
        ASSERT_NO_FATAL_FAILURE(Checker(seed, json).value());
        EXPECT_FALSE(json.endDeserialize());
        payloads::BinaryPull binary(binaryOf(seed));
        ASSERT_NO_FATAL_FAILURE(Checker(seed, binary).value());
        EXPECT_FALSE(binary.endDeserialize());
    }
}

TEST_F(RoundTripTest, RandomValuesAreConvertedBetweenFormats) {
    for (unsigned int seed = 0; seed < ROUNDS; ++seed) {
        SCOPED_TRACE(seed);
        const std::string json = jsonOf(seed);
        const std::string binary = binaryOf(seed);
        EXPECT_EQ(payloads::binaryToJson(binary), json);
        EXPECT_EQ(payloads::binaryToBinary(binary), binary);
        EXPECT_EQ(payloads::jsonToJson(json), json);
        const auto carried = payloads::jsonToBinary(json);
        ASSERT_TRUE(carried.has_value());
        EXPECT_EQ(payloads::binaryToJson(*carried), json);
        payloads::BinaryPull pull(*carried);
        ASSERT_NO_FATAL_FAILURE(Checker(seed, pull).value());
    }
}

TEST_F(RoundTripTest, LayoutDoesNotChangeTheData) {
    for (unsigned int seed = 0; seed < ROUNDS; ++seed) {
        JSONStructuredSerializerOld indented(false);
        const auto text = payloads::written(
            indented, [=](IStructuredSerializer& s) { return Writer(seed, s).value(); });
        EXPECT_EQ(payloads::jsonToJson(text.value_or("")), jsonOf(seed)) << seed;
    }
}

TEST_F(RoundTripTest, PlainArraysDoNotChangeTheData) {
    const Options plain{{OptionTag::PlainArrays, 1}};
    for (unsigned int seed = 0; seed < ROUNDS; ++seed) {
        const auto binary = payloads::writtenAsBinary(
            [=](IStructuredSerializer& s) { return Writer(seed, s).value(); }, &plain);
        ASSERT_TRUE(binary.has_value());
        payloads::BinaryPull pull(*binary);
        ASSERT_NO_FATAL_FAILURE(Checker(seed, pull).value());
        EXPECT_FALSE(pull.endDeserialize()) << seed;
    }
}

}  // namespace
