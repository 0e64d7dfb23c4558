#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <new>

#include "support/FailingAllocations.h"
#include "support/Payloads.h"
#include "util/serializer/PullFromPushDeserializer.h"

namespace {

using namespace util::serializer;
using payloads::BinaryPull;
using payloads::JsonPull;

template <class T>
using Get = bool (IStructuredPullDeserializer::*)(T&);

// Returns the result of a getter for a JSON value. After a failed read, checks that the output is
// unchanged and that the value can still be read as an entry.
template <class T>
std::optional<T> got(std::string_view json, Get<T> get) {
    JsonPull pull(json);
    EXPECT_TRUE(pull.begun) << json;
    T value{};
    if ((pull.*get)(value)) {
        EXPECT_EQ(value, T{}) << json;
        EXPECT_NE(pull.peekNextEntry()->type, EntryType::End) << json;
        EXPECT_TRUE(pull.endDeserialize()) << json;
        return std::nullopt;
    }
    EXPECT_EQ(pull.peekNextEntry()->type, EntryType::End) << json;
    EXPECT_TRUE((pull.*get)(value)) << json << " can be read once";
    EXPECT_FALSE(pull.endDeserialize()) << json;
    return value;
}

using Api = IStructuredPullDeserializer;

template <class T>
void expectRange(Get<T> get, char const* below, char const* lowest, char const* highest,
                 char const* above) {
    EXPECT_EQ(got<T>(below, get), std::nullopt) << below;
    EXPECT_EQ(got<T>(lowest, get), std::numeric_limits<T>::min());
    EXPECT_EQ(got<T>(highest, get), std::numeric_limits<T>::max());
    EXPECT_EQ(got<T>(above, get), std::nullopt) << above;
    for (char const* const other : {"1.0", "1.5", "1e2", "true", "null", "\"1\"", "[1]", "{}"}) {
        EXPECT_EQ(got<T>(other, get), std::nullopt) << other;
    }
}

TEST(PullFromPushDeserializerTest, IntegersAreReadWithinTheirRange) {
    expectRange<std::int8_t>(&Api::getInt8, "-129", "-128", "127", "128");
    expectRange<std::uint8_t>(&Api::getUInt8, "-1", "0", "255", "256");
    expectRange<std::int16_t>(&Api::getInt16, "-32769", "-32768", "32767", "32768");
    expectRange<std::uint16_t>(&Api::getUInt16, "-1", "0", "65535", "65536");
    expectRange<std::int32_t>(&Api::getInt32, "-2147483649", "-2147483648", "2147483647",
                              "2147483648");
    expectRange<std::uint32_t>(&Api::getUInt32, "-1", "0", "4294967295", "4294967296");
    expectRange<std::int64_t>(&Api::getInt64, "-0.5", "-9223372036854775808", "9223372036854775807",
                              "9223372036854775808");
    expectRange<std::uint64_t>(&Api::getUInt64, "-1", "0", "18446744073709551615", "0.5");
}

TEST(PullFromPushDeserializerTest, LargestUnsignedIntegerFitsOnlyTheWidestTypes) {
    constexpr char const* LARGEST = "18446744073709551615";
    EXPECT_EQ(got<std::int8_t>(LARGEST, &Api::getInt8), std::nullopt);
    EXPECT_EQ(got<std::uint8_t>(LARGEST, &Api::getUInt8), std::nullopt);
    EXPECT_EQ(got<std::int32_t>(LARGEST, &Api::getInt32), std::nullopt);
    EXPECT_EQ(got<std::uint32_t>(LARGEST, &Api::getUInt32), std::nullopt);
    EXPECT_EQ(got<std::int64_t>(LARGEST, &Api::getInt64), std::nullopt);
    EXPECT_EQ(got<double>(LARGEST, &Api::getDouble), 18446744073709551616.0);
    EXPECT_EQ(got<float>(LARGEST, &Api::getFloat), 18446744073709551616.0F);
}

TEST(PullFromPushDeserializerTest, GetDoubleAcceptsEveryNumber) {
    EXPECT_EQ(got<double>("-2.5", &Api::getDouble), -2.5);
    EXPECT_EQ(got<double>("1.7976931348623157e308", &Api::getDouble), 1.7976931348623157e308);
    EXPECT_EQ(got<double>("-7", &Api::getDouble), -7.0);
    for (char const* const other : {"true", "null", "\"1\"", "[1.5]", "{}"}) {
        EXPECT_EQ(got<double>(other, &Api::getDouble), std::nullopt) << other;
        EXPECT_EQ(got<float>(other, &Api::getFloat), std::nullopt) << other;
    }
}

TEST(PullFromPushDeserializerTest, GetFloatAcceptsNumbersWithinItsRange) {
    EXPECT_EQ(got<float>("0.1", &Api::getFloat), 0.1F);
    EXPECT_EQ(got<float>("-7", &Api::getFloat), -7.0F);
    EXPECT_EQ(got<float>("1e-300", &Api::getFloat), 0.0F);
    EXPECT_EQ(got<float>("3.4028234663852886e38", &Api::getFloat),
              std::numeric_limits<float>::max());
    EXPECT_EQ(got<float>("-3.4028234663852886e38", &Api::getFloat),
              std::numeric_limits<float>::lowest());
    // The limits of float as JSON prints them, and the largest number that rounds to a finite
    // float.
    EXPECT_EQ(got<float>("3.4028235e+38", &Api::getFloat), std::numeric_limits<float>::max());
    EXPECT_EQ(got<float>("-3.4028235e+38", &Api::getFloat), std::numeric_limits<float>::lowest());
    EXPECT_EQ(got<float>("3.4028235677973362e38", &Api::getFloat),
              std::numeric_limits<float>::max());
    EXPECT_EQ(got<float>("3.4028235677973366e38", &Api::getFloat), std::nullopt);
    EXPECT_EQ(got<float>("-1e300", &Api::getFloat), std::nullopt);
}

TEST(PullFromPushDeserializerTest, NonFiniteNumbersAreReadAsFloatAndDouble) {
    for (char const* const hex : {"f97e00", "fa7fc00000", "fb7ff8000000000000"}) {
        float single = 0;
        double twice = 0;
        EXPECT_FALSE(BinaryPull(hex).getFloat(single)) << hex;
        EXPECT_FALSE(BinaryPull(hex).getDouble(twice)) << hex;
        EXPECT_TRUE(std::isnan(single) && std::isnan(twice)) << hex;
    }
    float infinite = 0;
    EXPECT_FALSE(BinaryPull("fbfff0000000000000").getFloat(infinite));
    EXPECT_EQ(infinite, -std::numeric_limits<float>::infinity());
}

TEST(PullFromPushDeserializerTest, BooleansAndNullsAreNotConverted) {
    EXPECT_EQ(got<bool>("true", &Api::getBoolean), true);
    EXPECT_EQ(got<bool>("false", &Api::getBoolean), false);
    for (char const* const other : {"1", "0", "null", "\"true\"", "[true]"}) {
        EXPECT_EQ(got<bool>(other, &Api::getBoolean), std::nullopt) << other;
    }
    EXPECT_FALSE(JsonPull("null").getNull());
    for (char const* const other : {"0", "false", "\"\"", "[]", "{}"}) {
        EXPECT_TRUE(JsonPull(other).getNull()) << other;
    }
}

TEST(PullFromPushDeserializerTest, StringsAreReadInEveryEncoding) {
    constexpr char const* JSON = "\"a\\u0000\\u00e4\\ud83d\\ude00\"";
    const std::string utf8("a\0\xC3\xA4\xF0\x9F\x98\x80", 8);
    const std::u16string utf16(u"a\0\u00E4\U0001F600", 5);
    std::string bytes;
    util::UnicodeString8 text8;
    util::UnicodeString16 text16;
    zel::unicode::String text;
    EXPECT_FALSE(JsonPull(JSON).getString(bytes));
    EXPECT_FALSE(JsonPull(JSON).getString(text8));
    EXPECT_FALSE(JsonPull(JSON).getString(text16));
    EXPECT_FALSE(JsonPull(JSON).getString(text));
    EXPECT_EQ(bytes, utf8);
    EXPECT_EQ(text8.units, utf8);
    EXPECT_EQ(text16.units, utf16);
    EXPECT_EQ(text.utf8(), utf8);
}

template <class Text>
void expectRefusedButReadableAsBytes(std::string_view hex) {
    BinaryPull pull(hex);
    Text text;
    EXPECT_TRUE(pull.getString(text)) << hex;
    EXPECT_EQ(text, Text()) << hex;
    std::string bytes;
    EXPECT_FALSE(pull.getString(bytes)) << hex;
    EXPECT_EQ(payloads::toHex(bytes), hex.substr(2));
    EXPECT_FALSE(pull.endDeserialize());
}

TEST(PullFromPushDeserializerTest, InvalidUtf8IsReadOnlyAsBytes) {
    for (char const* const hex : {"41ff", "43eda080"}) {
        expectRefusedButReadableAsBytes<util::UnicodeString8>(hex);
        expectRefusedButReadableAsBytes<util::UnicodeString16>(hex);
        expectRefusedButReadableAsBytes<zel::unicode::String>(hex);
    }
}

TEST(PullFromPushDeserializerTest, OtherTypesAreNotConvertedToStrings) {
    for (char const* const other : {"1", "null", "true", "[\"a\"]", "{\"a\":1}"}) {
        std::string bytes = "before";
        util::UnicodeString8 text8;
        util::UnicodeString16 text16;
        zel::unicode::String text;
        JsonPull pull(other);
        EXPECT_TRUE(pull.getString(bytes)) << other;
        EXPECT_TRUE(pull.getString(text8)) << other;
        EXPECT_TRUE(pull.getString(text16)) << other;
        EXPECT_TRUE(pull.getString(text)) << other;
        EXPECT_EQ(bytes, "before");
    }
}

TEST(PullFromPushDeserializerTest, EnumRangeIsCheckedOnlyIfTheFlagIsSet) {
    int value = 7;
    for (char const* const outside : {"-1", "3"}) {
        JsonPull pull(outside);
        EXPECT_TRUE(pull.getEnum(value, 3, true)) << outside;
        EXPECT_EQ(value, 7);
        EXPECT_EQ(pull.peekNextEntry()->type, EntryType::Int64) << "not consumed";
    }
    EXPECT_FALSE(JsonPull("2").getEnum(value, 3, true));
    EXPECT_EQ(value, 2);
    EXPECT_FALSE(JsonPull("-1").getEnum(value, 3, false));
    EXPECT_EQ(value, -1);
    EXPECT_TRUE(JsonPull("2147483648").getEnum(value, 3, false));
    EXPECT_TRUE(JsonPull("1.0").getEnum(value, 3, false));
}

// ---- arrays

template <class T>
void expectArray(Get<std::vector<T>> get, char const* json, const std::vector<T>& items) {
    EXPECT_EQ(got<std::vector<T>>(json, get), items) << json;
    EXPECT_EQ(got<std::vector<T>>("[]", get), std::vector<T>());
}

template <class T>
void expectNoArray(Get<std::vector<T>> get, std::initializer_list<char const*> rows) {
    for (char const* const json : rows) {
        EXPECT_EQ(got<std::vector<T>>(json, get), std::nullopt) << json;
    }
    for (char const* const json : {"[[]]", "[{}]", "{}", "1", "null", "\"\"", "[null]"}) {
        EXPECT_EQ(got<std::vector<T>>(json, get), std::nullopt) << json;
    }
}

TEST(PullFromPushDeserializerTest, PlainArraysAreReadInOneCall) {
    expectArray<bool>(&Api::getBooleanArray, "[true,false]", {true, false});
    expectArray<std::int8_t>(&Api::getInt8Array, "[-128,127]", {-128, 127});
    expectArray<std::uint8_t>(&Api::getUInt8Array, "[0,255]", {0, 255});
    expectArray<std::int16_t>(&Api::getInt16Array, "[-32768,32767]", {-32768, 32767});
    expectArray<std::uint16_t>(&Api::getUInt16Array, "[0,65535]", {0, 65535});
    expectArray<std::int32_t>(&Api::getInt32Array, "[1,-2147483648]", {1, -2147483648});
    expectArray<std::uint32_t>(&Api::getUInt32Array, "[4294967295]", {4294967295});
    expectArray<std::int64_t>(&Api::getInt64Array, "[-1,9223372036854775807]",
                              {-1, 9223372036854775807});
    expectArray<std::uint64_t>(&Api::getUInt64Array, "[1,18446744073709551615]",
                               {1, 18446744073709551615U});
    expectArray<float>(&Api::getFloatArray, "[0.1,2]", {0.1F, 2.0F});
    expectArray<double>(&Api::getDoubleArray, "[0.1,2]", {0.1, 2.0});
    expectArray<std::string>(&Api::getStringArray, "[\"a\",\"\"]", {"a", ""});
}

TEST(PullFromPushDeserializerTest, RejectedArrayRemainsReadable) {
    expectNoArray<bool>(&Api::getBooleanArray, {"[true,1]"});
    expectNoArray<std::int8_t>(&Api::getInt8Array, {"[1,128]", "[-129]"});
    expectNoArray<std::uint8_t>(&Api::getUInt8Array, {"[1,256]", "[-1]"});
    expectNoArray<std::int16_t>(&Api::getInt16Array, {"[1,32768]", "[1.0]"});
    expectNoArray<std::uint16_t>(&Api::getUInt16Array, {"[65536]"});
    expectNoArray<std::int32_t>(&Api::getInt32Array, {"[2147483648]"});
    expectNoArray<std::uint32_t>(&Api::getUInt32Array, {"[4294967296]"});
    expectNoArray<std::int64_t>(&Api::getInt64Array, {"[9223372036854775808]"});
    expectNoArray<std::uint64_t>(&Api::getUInt64Array, {"[-1]", "[1.5]"});
    expectNoArray<float>(&Api::getFloatArray, {"[1e39]", "[\"1\"]"});
    expectNoArray<double>(&Api::getDoubleArray, {"[true]"});
    expectNoArray<std::string>(&Api::getStringArray, {"[\"a\",1]"});
}

TEST(PullFromPushDeserializerTest, TypedArraysAreReadIntoEveryFittingType) {
    constexpr char const* HEX = "d8494400010080";  // 16-bit: 1, 128
    std::vector<std::int16_t> same;
    std::vector<std::uint8_t> narrow;
    std::vector<std::int8_t> tooNarrow;
    std::vector<double> floating;
    EXPECT_FALSE(BinaryPull(HEX).getInt16Array(same));
    EXPECT_FALSE(BinaryPull(HEX).getUInt8Array(narrow));
    EXPECT_TRUE(BinaryPull(HEX).getInt8Array(tooNarrow));
    EXPECT_FALSE(BinaryPull(HEX).getDoubleArray(floating));
    EXPECT_EQ(same, (std::vector<std::int16_t>{1, 128}));
    EXPECT_EQ(narrow, (std::vector<std::uint8_t>{1, 128}));
    EXPECT_EQ(floating, (std::vector<double>{1, 128}));
}

TEST(PullFromPushDeserializerTest, GetNullArrayReturnsTheLength) {
    unsigned long count = 9;
    EXPECT_TRUE(JsonPull("[null,1]").getNullArray(count));
    EXPECT_TRUE(JsonPull("[[]]").getNullArray(count));
    EXPECT_TRUE(JsonPull("null").getNullArray(count));
    EXPECT_EQ(count, 9U);
    EXPECT_FALSE(JsonPull("[null,null]").getNullArray(count));
    EXPECT_EQ(count, 2U);
    EXPECT_FALSE(BinaryPull("82f7f6").getNullArray(count));
    EXPECT_EQ(count, 2U);
    EXPECT_FALSE(JsonPull("[]").getNullArray(count));
    EXPECT_EQ(count, 0U);
}

TEST(PullFromPushDeserializerTest, ArrayReadConsumesOnlyTheArray) {
    JsonPull pull("{\"a\":[1,2],\"b\":3}");
    std::vector<int> numbers;
    std::int32_t number = 0;
    ASSERT_FALSE(pull.beginStruct(nullptr));
    ASSERT_FALSE(pull.beginMandatoryField("a", -1));
    EXPECT_FALSE(pull.getInt32Array(numbers));
    EXPECT_TRUE(pull.getInt32(number)) << "the array is read";
    ASSERT_FALSE(pull.endMandatoryField());
    ASSERT_FALSE(pull.beginMandatoryField("b", -1));
    EXPECT_FALSE(pull.getInt32(number));
    EXPECT_EQ(number, 3);
}

// ---- begin and end of a payload

TEST(PullFromPushDeserializerTest, ReadsOutsideAPayloadFail) {
    payloads::JSONStructuredPushDeserializerOld source;
    PullFromPushDeserializer pull(&source);
    util::ByteBufferReader reader = payloads::readerOf("1");
    for (int round = 0; round < 2; ++round) {
        std::int32_t number = 0;
        EXPECT_TRUE(pull.getInt32(number));
        EXPECT_TRUE(pull.getNull());
        EXPECT_TRUE(pull.beginArray());
        EXPECT_TRUE(pull.beginStruct(nullptr));
        EXPECT_TRUE(pull.beginOption(nullptr));
        EXPECT_EQ(pull.getNextEntry()->type, EntryType::End);
        EXPECT_TRUE(pull.endDeserialize());
        if (round == 0) {
            ASSERT_FALSE(pull.beginDeserialize(&reader, nullptr));
            EXPECT_FALSE(pull.getInt32(number));
            EXPECT_FALSE(pull.endDeserialize());
        }
    }
}

TEST(PullFromPushDeserializerTest, MalformedPayloadLeavesTheReaderEmpty) {
    payloads::JSONStructuredPushDeserializerOld source;
    PullFromPushDeserializer pull(&source);
    for (char const* const json : {"", "[1,", "[1] x", "{\"a\":1"}) {
        util::ByteBufferReader reader = payloads::readerOf(json);
        EXPECT_TRUE(pull.beginDeserialize(&reader, nullptr)) << json;
        EXPECT_EQ(pull.getNextEntry()->type, EntryType::End) << json;
        EXPECT_EQ(pull.peekNextEntry()->type, EntryType::End) << json;
        EXPECT_TRUE(pull.isArrayEnd());
        EXPECT_TRUE(pull.isStructEnd());
        EXPECT_TRUE(pull.endDeserialize());
    }
    EXPECT_TRUE(pull.beginDeserialize(nullptr, nullptr));
    util::ByteBufferReader reader = payloads::readerOf("[7]");
    std::vector<std::int32_t> numbers;
    ASSERT_FALSE(pull.beginDeserialize(&reader, nullptr));
    EXPECT_FALSE(pull.getInt32Array(numbers));
    EXPECT_EQ(numbers, std::vector<std::int32_t>{7});
    EXPECT_FALSE(pull.endDeserialize());
}

TEST(PullFromPushDeserializerTest, BeginAndResetDiscardTheOpenPayload) {
    payloads::JSONStructuredPushDeserializerOld source;
    PullFromPushDeserializer pull(&source);
    util::ByteBufferReader first = payloads::readerOf("[[1]]");
    ASSERT_FALSE(pull.beginDeserialize(&first, nullptr));
    ASSERT_FALSE(pull.beginArray() || pull.beginElement());
    util::ByteBufferReader second = payloads::readerOf("true");
    ASSERT_FALSE(pull.beginDeserialize(&second, nullptr));
    bool value = false;
    EXPECT_FALSE(pull.getBoolean(value));
    pull.reset();
    EXPECT_EQ(pull.peekNextEntry()->type, EntryType::End);
    EXPECT_TRUE(pull.endDeserialize());
}

TEST(PullFromPushDeserializerTest, EndFailsForUnreadValuesAndOpenScopes) {
    EXPECT_TRUE(JsonPull("1").endDeserialize());
    EXPECT_TRUE(JsonPull("[]").endDeserialize());
    JsonPull open("[]");
    ASSERT_FALSE(open.beginArray());
    EXPECT_TRUE(open.endDeserialize());
    JsonPull scope("null");
    ASSERT_FALSE(scope.beginOption(nullptr) || scope.getNull());
    EXPECT_TRUE(scope.endDeserialize());
    JsonPull whole("[]");
    ASSERT_FALSE(whole.beginArray() || whole.endArray());
    EXPECT_FALSE(whole.endDeserialize());
}

TEST(PullFromPushDeserializerTest, OptionLowersTheNestingLimitForOnePayload) {
    payloads::JSONStructuredPushDeserializerOld source;
    PullFromPushDeserializer pull(&source);
    const auto begins = [&](char const* json, Options const* options) {
        util::ByteBufferReader reader = payloads::readerOf(json);
        return !pull.beginDeserialize(&reader, options);
    };
    const Options two{{OptionTag::NestingLimit, 2}};
    const Options none{{OptionTag::NestingLimit, 0}};
    const Options negative{{OptionTag::NestingLimit, -1}};
    const Options others{{OptionTag::Compact, 1}};
    EXPECT_TRUE(begins("[[1]]", &two));
    EXPECT_FALSE(begins("[[[1]]]", &two));
    EXPECT_FALSE(begins("[]", &none));
    EXPECT_TRUE(begins("1", &none));
    EXPECT_FALSE(begins("[]", &negative));
    EXPECT_TRUE(begins("[[[1]]]", &others));
    EXPECT_TRUE(begins("[[[1]]]", nullptr));
}

// A source that replays a script.
class ScriptedSource final : public IStructuredPushDeserializer {
public:
    explicit ScriptedSource(std::function<bool(IStructuredSerializer&)> script)
        : script_(std::move(script)) {}
    bool beginDeserialize(util::ByteBufferReader*, IStructuredSerializer* target) override {
        target_ = target;
        return false;
    }
    int deserialize() override { return script_(*target_) ? FAILED : DONE; }
    bool endDeserialize() override { return false; }
    void setNestingLimit(unsigned int) noexcept override {}

private:
    std::function<bool(IStructuredSerializer&)> script_;
    IStructuredSerializer* target_ = nullptr;
};

TEST(PullFromPushDeserializerTest, SourceMustWriteExactlyOneValue) {
    const std::function<bool(IStructuredSerializer&)> scripts[] = {
        [](auto&) { return false; },
        [](auto& s) { return s.beginArray(); },
        [](auto& s) { return s.serializeNull() || (static_cast<void>(s.serializeNull()), false); },
        [](auto& s) { return s.beginStruct(nullptr) || (static_cast<void>(s.endArray()), false); },
    };
    for (const auto& script : scripts) {
        ScriptedSource source(script);
        PullFromPushDeserializer pull(&source);
        EXPECT_TRUE(pull.beginDeserialize(nullptr, nullptr));
        EXPECT_EQ(pull.peekNextEntry()->type, EntryType::End);
    }
    PullFromPushDeserializer withoutSource(nullptr);
    EXPECT_TRUE(withoutSource.beginDeserialize(nullptr, nullptr));
}

TEST(PullFromPushDeserializerTest, ValuesOfEveryWriteCallAreReadBack) {
    ScriptedSource source([](auto& s) {
        const auto element = [&](bool failed) { return failed || s.endElement(); };
        return s.beginArray() || s.beginElement() || element(s.serializeUInt8(5)) ||
               s.beginElement() || element(s.serializeFloat(0.1F)) || s.beginElement() ||
               element(s.serializeString(util::UnicodeString16{u"\u00E4"})) ||
               s.serializeEmptyElement() || s.beginElement() ||
               element(s.serializeArray(std::vector<bool>{true})) || s.beginElement() ||
               element(s.beginStruct(nullptr) || s.beginOptionalField("no", 1, false) ||
                       s.endOptionalField() || s.beginOptionalField("yes", 2, true) ||
                       s.serializeEnum(1, 2, true) || s.endOptionalField() || s.endStruct()) ||
               s.endArray();
    });
    PullFromPushDeserializer pull(&source);
    ASSERT_FALSE(pull.beginDeserialize(nullptr, nullptr));
    ASSERT_FALSE(pull.beginArray());
    std::int8_t small = 0;
    float single = 0;
    std::string text;
    bool empty = false;
    std::vector<bool> flags;
    bool no = true;
    bool yes = false;
    int enumerator = 0;
    EXPECT_FALSE(pull.beginElement() || pull.getInt8(small) || pull.endElement());
    EXPECT_FALSE(pull.beginElement() || pull.getFloat(single) || pull.endElement());
    EXPECT_FALSE(pull.beginElement() || pull.getString(text) || pull.endElement());
    EXPECT_FALSE(pull.getEmptyElement(empty));
    EXPECT_FALSE(pull.beginElement() || pull.getBooleanArray(flags) || pull.endElement());
    EXPECT_FALSE(pull.beginElement() || pull.beginStruct(nullptr) ||
                 pull.beginOptionalField("no", 1, no) || pull.endOptionalField() ||
                 pull.beginOptionalField("yes", 2, yes) || pull.getEnum(enumerator, 2, true) ||
                 pull.endOptionalField() || pull.endStruct() || pull.endElement());
    EXPECT_FALSE(pull.endArray());
    EXPECT_FALSE(pull.endDeserialize());
    EXPECT_EQ(small, 5);
    EXPECT_EQ(single, 0.1F);
    EXPECT_EQ(text, "\xC3\xA4");
    EXPECT_TRUE(empty);
    EXPECT_EQ(flags, std::vector<bool>{true});
    EXPECT_FALSE(no);
    EXPECT_TRUE(yes);
    EXPECT_EQ(enumerator, 1);
}

// ---- exhausted memory

// Reads the struct of writeSample: two long strings and an array. Returns false on success.
bool readSample(IStructuredPushDeserializer& source, util::ByteBufferReader& reader) {
    PullFromPushDeserializer pull(&source);
    std::string text;
    util::UnicodeString16 text16;
    std::vector<std::int32_t> numbers;
    return pull.beginDeserialize(&reader, nullptr) || pull.beginStruct(nullptr) ||
           pull.beginField(text) || pull.getString(text) || pull.endField() ||
           pull.getNextEntry()->type != EntryType::Field || pull.getString(text16) ||
           pull.endField() || pull.beginField(text) || pull.getInt32Array(numbers) ||
           pull.endField() || pull.endStruct() || pull.endDeserialize();
}

bool writeSample(IStructuredSerializer& s) {
    const std::string name(40, 'n');
    return s.beginStruct(nullptr) || s.beginField(name, -1, false) ||
           s.serializeString(std::string(40, 'x')) || s.endField() ||
           s.beginField(name, -1, false) ||
           s.serializeString(util::UnicodeString16{std::u16string(40, u'x')}) || s.endField() ||
           s.beginField(name, -1, false) || s.serializeArray(std::vector<std::int32_t>{1, 2, 3}) ||
           s.endField() || s.endStruct();
}

template <class Source, class... Arguments>
void expectFailureWithoutMemory(const std::string& payload, Arguments... arguments) {
    const long before = kova::test::FailingAllocations::liveBlocks();
    const long failures = kova::test::failEveryAllocation([&] {
        try {
            Source source(arguments...);
            util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(payload.data()),
                                          payload.size(), false);
            return !readSample(source, reader);
        } catch (const std::bad_alloc&) {  // thrown only by constructors
            return false;
        }
    });
    EXPECT_GT(failures, 5);
    EXPECT_EQ(kova::test::FailingAllocations::liveBlocks(), before);
}

TEST(PullFromPushDeserializerTest, ReadingWithoutMemoryFailsAndLeaksNothing) {
    expectFailureWithoutMemory<payloads::JSONStructuredPushDeserializerOld>(
        payloads::writtenAsJson(writeSample).value_or(""));
    expectFailureWithoutMemory<payloads::AXOBinStructuredPushDeserializer>(
        payloads::fromHex(payloads::writtenAsBinary(writeSample).value_or("")), Endianess::Big);
}

TEST(PullFromPushDeserializerTest, ChunkedAndContiguousTextsProduceTheSameValues) {
    // {"ab" in chunks: "xy", "cd": "zz" in chunks}
    BinaryPull pull("a2 7f 61 61 61 62 ff 62 78 79 62 63 64 7f 61 7a 61 7a ff");
    ASSERT_TRUE(pull.begun);
    std::string name;
    std::string value;
    ASSERT_FALSE(pull.beginStruct(nullptr));
    ASSERT_FALSE(pull.beginField(name) || pull.getString(value) || pull.endField());
    EXPECT_EQ(name + value, "abxy");
    ASSERT_FALSE(pull.beginField(name) || pull.getString(value) || pull.endField());
    EXPECT_EQ(name + value, "cdzz");
    EXPECT_FALSE(pull.endStruct());
    EXPECT_FALSE(pull.endDeserialize());
}

// Returns the number of memory blocks that the reader of a binary struct with `fields` fields owns.
long blocksOfReader(int fields) {
    const auto payload = payloads::writtenAsBinary([fields](IStructuredSerializer& target) {
        bool failed = target.beginStruct(nullptr);
        for (int i = 0; i < fields; ++i) {
            failed = failed || target.beginField("name", -1, false) ||
                     target.serializeString("a text that is longer than a small string") ||
                     target.endField();
        }
        return failed || target.endStruct();
    });
    const std::string bytes = payloads::fromHex(payload.value_or(""));
    util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), false);
    payloads::AXOBinStructuredPushDeserializer source(Endianess::Big);
    const long before = kova::test::FailingAllocations::liveBlocks();
    PullFromPushDeserializer pull(&source);
    EXPECT_FALSE(pull.beginDeserialize(&reader, nullptr));
    return kova::test::FailingAllocations::liveBlocks() - before;
}

TEST(PullFromPushDeserializerTest, RecordUsesAtMostTwoMemoryBlocks) {
    EXPECT_EQ(blocksOfReader(1), 1);
    EXPECT_EQ(blocksOfReader(100), 2);
}

TEST(PullFromPushDeserializerTest, CapabilitiesIncludeNamedFields) {
    EXPECT_EQ(JsonPull("1").getApiCapibilites(),
              IStructuredSerializer::CAPABILITY_BYTE_STRINGS |
                  IStructuredSerializer::CAPABILITY_NON_FINITE |
                  IStructuredSerializer::CAPABILITY_NAMED_FIELDS);
}

}  // namespace
