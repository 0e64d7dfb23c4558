#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <stdexcept>

#include "serializer/FormatSerializerCalls.h"
#include "support/Payloads.h"
#include "util/serializer/AXOBinStructuredPushDeserializer.h"

namespace {

using namespace util::serializer;
using util::MAX_NESTING_DEPTH;

// A serializer that writes each type in a distinct notation: `1` signed, `1u` unsigned, `1.5f`
// float, `1.5` double, `"a"` text, `'ff'` other bytes, `-` an empty element, `#2` two packed items.
class Trace : public FormatSerializer<Trace> {
public:
    enum class Behaviour { WritesAll, RefusesStrings, ThrowsAtNull };
    explicit Trace(Behaviour behaviour = Behaviour::WritesAll) : FormatSerializer(behaviour) {}

private:
    friend class FormatSerializer<Trace>;
    class Format;
};

class Trace::Format : public SequencedFormat<Trace::Format> {
public:
    static constexpr unsigned int CAPABILITIES = CAPABILITY_PACKED_ARRAYS;

    explicit Format(Behaviour behaviour) : SequencedFormat(true), behaviour_(behaviour) {}

    bool putNull() {
        return behaviour_ == Behaviour::ThrowsAtNull ? throw std::domain_error("null")
                                                     : add("null");
    }
    bool putBoolean(bool value) { return add(value ? "true" : "false"); }
    bool putSigned(std::int64_t value) { return add(std::to_string(value)); }
    bool putUnsigned(std::uint64_t value) { return add(std::to_string(value) + 'u'); }
    bool putFloat(float value) { return add(digitsOf(static_cast<double>(value)) + 'f'); }
    bool putDouble(double value) { return add(digitsOf(value)); }
    bool putString(std::string_view bytes) {
        return behaviour_ != Behaviour::RefusesStrings &&
               add(zel::unicode::isUtf8(bytes) ? '"' + std::string(bytes) + '"'
                                               : '\'' + payloads::toHex(bytes) + '\'');
    }
    bool putText(std::string_view utf8) { return putString(utf8); }
    bool putPacked(NumberType, void const*, std::size_t count) {
        return add('#' + std::to_string(count));
    }
    bool putArrayBegin() { return add("["); }
    bool putArrayEnd(bool) { return add("]"); }
    bool putStructBegin() { return add("{"); }
    bool putStructEnd(bool) { return add("}"); }
    bool putElementBegin(bool first) { return first || add(","); }
    bool putEmptyElement(bool first) { return putElementBegin(first) && add("-"); }
    bool putFieldBegin(std::string_view name, bool first) {
        return (first || add(",")) && putString(name) && add(":");
    }
    static void locate(std::string_view, bool, FieldPath&) noexcept {}

private:
    static std::string digitsOf(double value) {
        char text[32];
        std::snprintf(text, sizeof text, "%.17g", value);
        return text;
    }
    bool add(const std::string& text) { return !writer().append(text.data(), text.size()); }

    Behaviour behaviour_;
};

std::string traced(std::string_view hex) {
    Trace trace;
    return payloads::written(trace,
                             [&](IStructuredSerializer& target) {
                                 AXOBinStructuredPushDeserializer source(Endianess::Big);
                                 return !payloads::replayed(source, payloads::fromHex(hex), target);
                             })
        .value_or("refused");
}

struct Row {
    char const* hex;
    char const* trace;
};

// RFC 8949, appendix A, except the items that the format does not support (see OTHERS).
constexpr Row APPENDIX_A[] = {
    {"00", "0"},
    {"01", "1"},
    {"0a", "10"},
    {"17", "23"},
    {"1818", "24"},
    {"1819", "25"},
    {"1864", "100"},
    {"1903e8", "1000"},
    {"1a000f4240", "1000000"},
    {"1b000000e8d4a51000", "1000000000000"},
    {"1bffffffffffffffff", "18446744073709551615u"},
    {"20", "-1"},
    {"29", "-10"},
    {"3863", "-100"},
    {"3903e7", "-1000"},
    {"f90000", "0f"},
    {"f98000", "-0f"},
    {"f93c00", "1f"},
    {"fb3ff199999999999a", "1.1000000000000001"},
    {"f93e00", "1.5f"},
    {"f97bff", "65504f"},
    {"fa47c35000", "100000f"},
    {"fa7f7fffff", "3.4028234663852886e+38f"},
    {"fb7e37e43c8800759c", "1.0000000000000001e+300"},
    {"f90001", "5.9604644775390625e-08f"},
    {"f90400", "6.103515625e-05f"},
    {"f9c400", "-4f"},
    {"fbc010666666666666", "-4.0999999999999996"},
    {"f97c00", "inff"},
    {"f97e00", "nanf"},
    {"f9fc00", "-inff"},
    {"fa7f800000", "inff"},
    {"fa7fc00000", "nanf"},
    {"faff800000", "-inff"},
    {"fb7ff0000000000000", "inf"},
    {"fb7ff8000000000000", "nan"},
    {"fbfff0000000000000", "-inf"},
    {"f4", "false"},
    {"f5", "true"},
    {"f6", "null"},
    {"f7", "null"},
    {"40", "\"\""},
    {"4401020304", "\"\x01\x02\x03\x04\""},
    {"60", "\"\""},
    {"6161", "\"a\""},
    {"6449455446", "\"IETF\""},
    {"62225c", "\"\"\\\""},
    {"62c3bc", "\"\xC3\xBC\""},
    {"63e6b0b4", "\"\xE6\xB0\xB4\""},
    {"64f0908591", "\"\xF0\x90\x85\x91\""},
    {"80", "[]"},
    {"83010203", "[1,2,3]"},
    {"8301820203820405", "[1,[2,3],[4,5]]"},
    {"98190102030405060708090a0b0c0d0e0f101112131415161718181819",
     "[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21,22,23,24,25]"},
    {"a0", "{}"},
    {"a26161016162820203", "{\"a\":1,\"b\":[2,3]}"},
    {"826161a161626163", "[\"a\",{\"b\":\"c\"}]"},
    {"a56161614161626142616361436164614461656145",
     "{\"a\":\"A\",\"b\":\"B\",\"c\":\"C\",\"d\":\"D\",\"e\":\"E\"}"},
    {"5f42010243030405ff", "\"\x01\x02\x03\x04\x05\""},
    {"7f657374726561646d696e67ff", "\"streaming\""},
    {"9fff", "[]"},
    {"9f018202039f0405ffff", "[1,[2,3],[4,5]]"},
    {"9f01820203820405ff", "[1,[2,3],[4,5]]"},
    {"83018202039f0405ff", "[1,[2,3],[4,5]]"},
    {"83019f0203ff820405", "[1,[2,3],[4,5]]"},
    {"bf61610161629f0203ffff", "{\"a\":1,\"b\":[2,3]}"},
    {"826161bf61626163ff", "[\"a\",{\"b\":\"c\"}]"},
    {"bf6346756ef563416d7421ff", "{\"Fun\":true,\"Amt\":-2}"},
};

TEST(AXOBinStructuredPushDeserializerTest, ExamplesOfRfc8949AreRead) {
    for (const Row& row : APPENDIX_A) {
        EXPECT_EQ(traced(row.hex), row.trace) << row.hex;
    }
}

constexpr Row OTHERS[] = {
    // integers at their limits and in heads longer than necessary
    {"1b7fffffffffffffff", "9223372036854775807"},
    {"1b8000000000000000", "9223372036854775808u"},
    {"3b7fffffffffffffff", "-9223372036854775808"},
    {"3b8000000000000000", "refused"},
    {"3bffffffffffffffff", "refused"},
    {"1b0000000000000001", "1"},
    {"190001", "1"},
    {"3800", "-1"},
    {"7900026162", "\"ab\""},
    {"9b000000000000000101", "[1]"},
    {"ba00000001616101", "{\"a\":1}"},
    // byte strings that are valid UTF-8, and text strings that are not
    {"41ff", "'ff'"},
    {"43eda080", "'eda080'"},
    {"61ff", "refused"},
    {"63eda080", "refused"},
    {"a141ff01", "{'ff':1}"},
    {"a161ff01", "refused"},
    // chunks
    {"7fff", "\"\""},
    {"5fff", "\"\""},
    {"5f41ff4101ff", "'ff01'"},
    {"7f606161ff", "\"a\""},
    {"a17f61616162ff01", "{\"ab\":1}"},
    {"a15f4161ff01", "{\"a\":1}"},
    {"7f61c361bcff", "refused"},  // a character split across two chunks
    {"7f4161ff", "refused"},
    {"5f6161ff", "refused"},
    {"7f01ff", "refused"},
    {"7f7f6161ffff", "refused"},
    {"5f5f4161ffff", "refused"},
    {"7fd9d9f76161ff", "refused"},
    {"7f80ff", "refused"},
    {"7f6161", "refused"},
    // null and undefined
    {"81f7", "[-]"},
    {"9f01f7f6ff", "[1,-,null]"},
    {"83f701f7", "[-,1,-]"},
    {"a16161f7", "{\"a\":null}"},
    // keys
    {"a10101", "refused"},
    {"a201020304", "refused"},
    {"a1f60101", "refused"},
    {"a1800101", "refused"},
    {"a1a00101", "refused"},
    {"a1f70101", "refused"},
    {"a1fb3ff199999999999a01", "refused"},
    {"bf9fff01ff", "refused"},
    {"bf0101ff", "refused"},
    {"a2616101616102", "{\"a\":1,\"a\":2}"},
    // tags
    {"d9d9f701", "1"},
    {"d9d9f7a0", "{}"},
    {"da0000d9f701", "1"},
    {"d9d9f7d8404101", "#1"},
    {"d9d9f7d9d9f701", "refused"},
    {"81d9d9f701", "refused"},
    {"a16161d9d9f701", "refused"},
    {"d8404101", "#1"},
    {"c074323031332d30332d32315432303a30343a30305a", "refused"},
    {"c11a514b67b0", "refused"},
    {"c1fb41d452d9e8200000", "refused"},
    {"c249010000000000000000", "refused"},
    {"c349010000000000000000", "refused"},
    {"d74401020304", "refused"},
    {"d818456449455446", "refused"},
    {"d82076687474703a2f2f7777772e6578616d706c652e636f6d", "refused"},
    {"db000000000000000001", "refused"},
    {"dbffffffffffffffff01", "refused"},
    // other simple values
    {"f0", "refused"},
    {"e0", "refused"},
    {"f818", "refused"},
    {"f820", "refused"},
    {"f8ff", "refused"},
    // more than one value, or no value
    {"", "refused"},
    {"0000", "refused"},
    {"80ff", "refused"},
    {"a000", "refused"},
    {"9fff00", "refused"},
    {"d9d9f7", "refused"},
};

TEST(AXOBinStructuredPushDeserializerTest, ItemsOutsideTheRfcExamplesAreReadOrRejected) {
    for (const Row& row : OTHERS) {
        EXPECT_EQ(traced(row.hex), row.trace) << row.hex;
    }
}

// RFC 8949, appendix F.1, and lengths that overflow or exceed the payload.
constexpr char const* MALFORMED[] = {
    // truncated heads
    "18", "19", "1a", "1b", "1901", "1a0102", "1b01020304050607", "38", "58", "78", "98",
    "9a01ff00", "b8", "d8", "f8", "f900", "fa0000", "fb000000",
    // truncated strings
    "41", "61", "5affffffff00", "5bffffffffffffffff010203", "7affffffff00",
    "7b7fffffffffffffff010203",
    // truncated arrays and maps
    "81", "818181818181818181", "8200", "a1", "a20102", "a100", "a2000000", "a16161", "a261610161",
    // tags without content
    "c0", "d9d9f7",
    // truncated strings of indefinite length
    "5f4100", "7f6100",
    // truncated arrays and maps of indefinite length
    "9f", "9f0102", "bf", "bf01020102", "bf616101", "bf6161", "819f", "9f8000",
    "9f9f9f9f9fffffffff", "9f819f819f9fffffff",
    // reserved heads
    "1c", "1d", "1e", "3c", "3d", "3e", "5c", "5d", "5e", "7c", "7d", "7e", "9c", "9d", "9e", "bc",
    "bd", "be", "dc", "dd", "de", "fc", "fd", "fe",
    // reserved two-byte simple values
    "f800", "f801", "f818", "f81f",
    // chunks of another major type or of indefinite length
    "5f00ff", "5f21ff", "5f6100ff", "5f80ff", "5fa0ff", "5fc000ff", "5fe0ff", "7f4100ff",
    "5f5f4100ffff", "7f7f6100ffff",
    // misplaced breaks
    "ff", "81ff", "8200ff", "a1ff", "a1ff00", "a100ff", "a20000ff", "a16161ff", "a1616101ff",
    "a26161 01ff", "9f81ff", "9f829f819f9fffffffff", "d8 40ff", "d9d9f7ff",
    // a break in place of a value
    "bf00ff", "bf000000ff", "bf6161ff", "bf616101 6162ff",
    // major types without an indefinite length
    "1f", "3f", "df",
    // lengths beyond the payload
    "9bffffffffffffffff", "9bffffffffffffffff00", "9b800000000000000000", "bbffffffffffffffff",
    "bb8000000000000000616101", "bb7fffffffffffffff616101", "9affffffff00", "baffffffff616100",
    "5b8000000000000000", "7bffffffffffffffff", "8400", "a3616101", "d8405bffffffffffffffff00"};

TEST(AXOBinStructuredPushDeserializerTest, MalformedBytesAreRejected) {
    for (char const* const hex : MALFORMED) {
        EXPECT_EQ(traced(hex), "refused") << hex;
    }
}

TEST(AXOBinStructuredPushDeserializerTest, NonUtf8TextIsRejectedAtEveryPosition) {
    std::string longText = "7818";
    for (int i = 0; i < 24; ++i) {
        longText += "ff";
    }
    for (const std::string& hex :
         {std::string("61ff"), std::string("8161ff"), std::string("9f61ffff"),
          std::string("a161ff00"), longText, "81" + longText, "a1" + longText + "00",
          std::string("d8405f6161ff")}) {
        EXPECT_EQ(traced(hex), "refused") << hex;
        EXPECT_FALSE(payloads::BinaryPull(hex).begun) << hex;
    }
}

// A payload with an item of every type.
constexpr char const* SAMPLE =
    "bf 6161 1903e8 6162 9f 20 f7 f6 fa3fc00000 fb3ff199999999999a ff 6163 d84944fffe1234"
    " 6164 83 f4 7f6161ff a0 41ff 43eda080 6165 a1 6178 5f42010241ffff ff";

TEST(AXOBinStructuredPushDeserializerTest, PayloadWithEveryItemTypeIsRead) {
    EXPECT_EQ(traced(SAMPLE),
              "{\"a\":1000,\"b\":[-1,-,null,1.5f,1.1000000000000001],\"c\":#2,"
              "\"d\":[false,\"a\",{}],'ff':'eda080',\"e\":{\"x\":'0102ff'}}");
}

// Reads the payload from a heap block of exactly its size, so that sanitizers detect reads past its
// end.
std::string tracedExactly(const std::string& payload) {
    const auto exact = std::make_unique<unsigned char[]>(payload.size());
    std::copy(payload.begin(), payload.end(), exact.get());
    Trace trace;
    return payloads::written(trace,
                             [&](IStructuredSerializer& target) {
                                 AXOBinStructuredPushDeserializer source(Endianess::Big);
                                 util::ByteBufferReader reader(exact.get(), payload.size(), false);
                                 return source.beginDeserialize(&reader, &target) ||
                                        source.deserialize() != source.DONE ||
                                        source.endDeserialize();
                             })
        .value_or("refused");
}

// Checks that a payload that can be read can also be written, and that it reads back as the same
// values.
void expectStable(const std::string& payload) {
    const auto rewritten = payloads::binaryToBinary(payloads::toHex(payload));
    ASSERT_TRUE(rewritten.has_value()) << payloads::toHex(payload);
    EXPECT_EQ(payloads::binaryToBinary(*rewritten), rewritten) << payloads::toHex(payload);
}

TEST(AXOBinStructuredPushDeserializerTest, TruncatedPayloadIsRejected) {
    const std::string sample = payloads::fromHex(SAMPLE);
    ASSERT_NE(tracedExactly(sample), "refused");
    for (std::size_t length = 0; length < sample.size(); ++length) {
        EXPECT_EQ(tracedExactly(sample.substr(0, length)), "refused") << length;
    }
    EXPECT_EQ(tracedExactly(sample + '\0'), "refused");
}

TEST(AXOBinStructuredPushDeserializerTest, CorruptedPayloadIsRejectedOrRoundTrips) {
    const std::string sample = payloads::fromHex(SAMPLE);
    std::size_t refused = 0;
    for (std::size_t i = 0; i < sample.size(); ++i) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = sample;
            changed[i] = static_cast<char>(byte);
            if (tracedExactly(changed) == "refused") {
                ++refused;
            } else {
                expectStable(changed);
            }
        }
    }
    EXPECT_GT(refused, sample.size() * 100);
}

TEST(AXOBinStructuredPushDeserializerTest, RandomBytesAreRejectedOrRoundTrip) {
    std::mt19937 random(20240611);
    std::size_t read = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string payload(1 + random() % 40, '\0');
        for (char& byte : payload) {
            byte = static_cast<char>(random());
        }
        if (tracedExactly(payload) != "refused") {
            ++read;
            expectStable(payload);
        }
    }
    EXPECT_GT(read, 0U);
}

std::string nested(std::size_t depth, std::string_view open, std::string_view inner,
                   std::string_view close) {
    std::string hex;
    for (std::size_t i = 0; i < depth; ++i) {
        hex += open;
    }
    hex += inner;
    for (std::size_t i = 0; i < depth; ++i) {
        hex += close;
    }
    return hex;
}

TEST(AXOBinStructuredPushDeserializerTest, NestingIsAcceptedUpToTheLimit) {
    struct {
        char const* open;
        char const* close;
    } const rows[] = {{"81", ""}, {"9f", "ff"}, {"a16161", ""}, {"bf6161", "ff"}};
    for (const auto& row : rows) {
        EXPECT_NE(traced(nested(MAX_NESTING_DEPTH, row.open, "01", row.close)), "refused");
        EXPECT_EQ(traced(nested(MAX_NESTING_DEPTH + 1, row.open, "01", row.close)), "refused");
    }
    EXPECT_NE(traced(nested(MAX_NESTING_DEPTH - 1, "81", "d8404101", "")), "refused");
    EXPECT_EQ(traced(nested(MAX_NESTING_DEPTH, "81", "d8404101", "")), "refused");
    EXPECT_EQ(traced(nested(100000, "9f", "", "")), "refused");
}

bool isReadWithLimit(std::string_view hex, unsigned int limit) {
    AXOBinStructuredPushDeserializer source(Endianess::Big);
    source.setNestingLimit(limit);
    Trace trace;
    return payloads::written(trace,
                             [&](IStructuredSerializer& target) {
                                 return !payloads::replayed(source, payloads::fromHex(hex), target);
                             })
        .has_value();
}

TEST(AXOBinStructuredPushDeserializerTest, NestingLimitCanBeLoweredButNotRaised) {
    EXPECT_TRUE(isReadWithLimit("01", 0));
    EXPECT_FALSE(isReadWithLimit("80", 0));
    EXPECT_FALSE(isReadWithLimit("a0", 0));
    EXPECT_FALSE(isReadWithLimit("d84040", 0));
    EXPECT_TRUE(isReadWithLimit("818101", 2));
    EXPECT_FALSE(isReadWithLimit("81818101", 2));
    EXPECT_FALSE(isReadWithLimit(nested(MAX_NESTING_DEPTH + 1, "81", "01", ""), 100000));
}

TEST(AXOBinStructuredPushDeserializerTest, LittleEndianIsNotSupported) {
    AXOBinStructuredPushDeserializer source(Endianess::Little);
    util::ByteBufferReader reader = payloads::readerOf(std::string_view("\x01", 1));
    Trace trace;
    EXPECT_TRUE(source.beginDeserialize(&reader, &trace));
    EXPECT_EQ(source.deserialize(), IStructuredPushDeserializer::FAILED);
    EXPECT_TRUE(source.endDeserialize());
}

TEST(AXOBinStructuredPushDeserializerTest, CallsInTheWrongOrderFail) {
    AXOBinStructuredPushDeserializer source(Endianess::Big);
    util::ByteBufferReader reader = payloads::readerOf(std::string_view("\x01", 1));
    util::ByteBufferWriter writer(0);
    Trace trace;
    EXPECT_TRUE(source.endDeserialize());
    EXPECT_EQ(source.deserialize(), IStructuredPushDeserializer::FAILED);
    EXPECT_TRUE(source.beginDeserialize(nullptr, &trace));
    EXPECT_TRUE(source.beginDeserialize(&reader, nullptr));
    EXPECT_EQ(source.deserialize(), IStructuredPushDeserializer::FAILED);
    ASSERT_FALSE(source.beginDeserialize(&reader, &trace));
    EXPECT_TRUE(source.endDeserialize()) << "nothing was read";
    ASSERT_FALSE(trace.beginSerialize(&writer, nullptr));
    ASSERT_FALSE(source.beginDeserialize(&reader, &trace));
    EXPECT_EQ(source.deserialize(), IStructuredPushDeserializer::DONE);
    EXPECT_EQ(source.deserialize(), IStructuredPushDeserializer::FAILED) << "it was read already";
}

TEST(AXOBinStructuredPushDeserializerTest, DeserializeFailsIfTheTargetRejectsAValue) {
    EXPECT_EQ(payloads::binaryToJson("f97e00"), std::nullopt);
    EXPECT_EQ(payloads::binaryToJson("8201fb7ff0000000000000"), std::nullopt);
    EXPECT_EQ(payloads::binaryToJson("d851447fc00000"), std::nullopt);
    EXPECT_EQ(payloads::binaryToJson("a141ff01"), std::nullopt);
}

TEST(AXOBinStructuredPushDeserializerTest, DeserializeFailsIfTheTargetRejectsAString) {
    const std::string longText = "7818" + payloads::toHex(std::string(24, 'x'));
    for (const std::string& hex : {std::string("6161"), std::string("816161"), longText}) {
        AXOBinStructuredPushDeserializer source(Endianess::Big);
        util::ByteBufferWriter writer(0);
        Trace target(Trace::Behaviour::RefusesStrings);
        ASSERT_FALSE(target.beginSerialize(&writer, nullptr));
        EXPECT_FALSE(payloads::replayed(source, payloads::fromHex(hex), target)) << hex;
    }
}

// The deserializer handles only std::bad_alloc. The caller knows the target and handles other
// exceptions.
TEST(AXOBinStructuredPushDeserializerTest, ExceptionsOfTheTargetPropagateToTheCaller) {
    AXOBinStructuredPushDeserializer source(Endianess::Big);
    util::ByteBufferReader reader = payloads::readerOf(std::string_view("\xF6", 1));
    util::ByteBufferWriter writer(0);
    Trace target(Trace::Behaviour::ThrowsAtNull);
    ASSERT_FALSE(target.beginSerialize(&writer, nullptr));
    ASSERT_FALSE(source.beginDeserialize(&reader, &target));
    EXPECT_THROW(static_cast<void>(source.deserialize()), std::domain_error);
    EXPECT_EQ(reader.remaining(), 1U);
    EXPECT_TRUE(source.endDeserialize());
}

TEST(AXOBinStructuredPushDeserializerTest, ReadsFromTheCurrentPositionOfTheReader) {
    util::ByteBufferReader reader = payloads::readerOf(std::string_view("\xFF\x05", 2));
    ASSERT_FALSE(reader.skip(1));
    Trace trace;
    const auto text = payloads::written(trace, [&](IStructuredSerializer& target) {
        AXOBinStructuredPushDeserializer source(Endianess::Big);
        return source.beginDeserialize(&reader, &target) || source.deserialize() != source.DONE ||
               source.endDeserialize();
    });
    EXPECT_EQ(text, "5");
    EXPECT_EQ(reader.remaining(), 0U);
}

}  // namespace
