#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <new>
#include <optional>
#include <string>

#include "support/FailingAllocations.h"
#include "support/Payloads.h"
#include "util/serializer/AXOBinStructuredSerializerBE.h"

namespace {

using namespace util::serializer;
using payloads::writtenAsBinary;

struct Row {
    std::function<bool(IStructuredSerializer&)> write;
    char const* hex;
};

// Numbers and strings of RFC 8949, appendix A.
const Row VALUES[] = {
    {[](auto& s) { return s.serializeUInt8(0); }, "00"},
    {[](auto& s) { return s.serializeUInt8(1); }, "01"},
    {[](auto& s) { return s.serializeInt8(10); }, "0a"},
    {[](auto& s) { return s.serializeInt16(23); }, "17"},
    {[](auto& s) { return s.serializeUInt64(24); }, "1818"},
    {[](auto& s) { return s.serializeInt32(25); }, "1819"},
    {[](auto& s) { return s.serializeUInt16(100); }, "1864"},
    {[](auto& s) { return s.serializeInt64(255); }, "18ff"},
    {[](auto& s) { return s.serializeInt64(256); }, "190100"},
    {[](auto& s) { return s.serializeUInt32(1000); }, "1903e8"},
    {[](auto& s) { return s.serializeUInt16(65535); }, "19ffff"},
    {[](auto& s) { return s.serializeUInt32(65536); }, "1a00010000"},
    {[](auto& s) { return s.serializeInt32(1000000); }, "1a000f4240"},
    {[](auto& s) { return s.serializeUInt32(0xFFFFFFFF); }, "1affffffff"},
    {[](auto& s) { return s.serializeInt64(0x100000000); }, "1b0000000100000000"},
    {[](auto& s) { return s.serializeInt64(1000000000000); }, "1b000000e8d4a51000"},
    {[](auto& s) { return s.serializeUInt64(std::numeric_limits<std::uint64_t>::max()); },
     "1bffffffffffffffff"},
    {[](auto& s) { return s.serializeInt8(-1); }, "20"},
    {[](auto& s) { return s.serializeInt16(-10); }, "29"},
    {[](auto& s) { return s.serializeInt8(-24); }, "37"},
    {[](auto& s) { return s.serializeInt8(-25); }, "3818"},
    {[](auto& s) { return s.serializeInt32(-100); }, "3863"},
    {[](auto& s) { return s.serializeInt64(-1000); }, "3903e7"},
    {[](auto& s) { return s.serializeInt64(std::numeric_limits<std::int64_t>::min()); },
     "3b7fffffffffffffff"},
    {[](auto& s) { return s.serializeFloat(100000.0F); }, "fa47c35000"},
    {[](auto& s) { return s.serializeFloat(std::numeric_limits<float>::max()); }, "fa7f7fffff"},
    {[](auto& s) { return s.serializeFloat(std::numeric_limits<float>::infinity()); },
     "fa7f800000"},
    {[](auto& s) { return s.serializeFloat(std::numeric_limits<float>::quiet_NaN()); },
     "fa7fc00000"},
    {[](auto& s) { return s.serializeDouble(1.1); }, "fb3ff199999999999a"},
    {[](auto& s) { return s.serializeDouble(1.0e+300); }, "fb7e37e43c8800759c"},
    {[](auto& s) { return s.serializeDouble(-4.1); }, "fbc010666666666666"},
    {[](auto& s) { return s.serializeDouble(-0.0); }, "fb8000000000000000"},
    {[](auto& s) { return s.serializeDouble(-std::numeric_limits<double>::infinity()); },
     "fbfff0000000000000"},
    {[](auto& s) { return s.serializeDouble(std::numeric_limits<double>::quiet_NaN()); },
     "fb7ff8000000000000"},
    {[](auto& s) { return s.serializeBoolean(false); }, "f4"},
    {[](auto& s) { return s.serializeBoolean(true); }, "f5"},
    {[](auto& s) { return s.serializeNull(); }, "f6"},
    {[](auto& s) { return s.serializeString(""); }, "60"},
    {[](auto& s) { return s.serializeString("a"); }, "6161"},
    {[](auto& s) { return s.serializeString("IETF"); }, "6449455446"},
    {[](auto& s) { return s.serializeString("\"\\"); }, "62225c"},
    {[](auto& s) { return s.serializeString("\xC3\xBC"); }, "62c3bc"},
    {[](auto& s) { return s.serializeString(util::UnicodeString16{u"\u6c34"}); }, "63e6b0b4"},
    {[](auto& s) { return s.serializeString(util::UnicodeString16{u"\U00010151"}); }, "64f0908591"},
    {[](auto& s) { return s.serializeString("\xFF\x80"); }, "42ff80"},
    {[](auto& s) { return s.serializeString("\xED\xA0\x80"); }, "43eda080"},
    {[](auto& s) { return s.serializeEnum(-1, 2, false); }, "20"},
    {[](auto& s) {
         return s.serializeArray(std::vector<bool>{true, false});
     },
     "9ff5f4ff"},
    {[](auto& s) {
         return s.serializeArray(std::vector<std::string>{"a", "\xFF"});
     },
     "9f616141ffff"},
    {[](auto& s) { return s.serializeNullArray(2); }, "9ff6f6ff"},
    {[](auto& s) { return s.serializeNullArray(0); }, "9fff"},
    {[](auto& s) { return s.beginArray() || s.endArray(); }, "9fff"},
    {[](auto& s) { return s.beginStruct(nullptr) || s.endStruct(); }, "bfff"},
    {[](auto& s) {
         return s.beginArray() || s.beginElement() || s.serializeInt8(1) || s.endElement() ||
                s.serializeEmptyElement() || s.endArray();
     },
     "9f01f7ff"},
    {[](auto& s) {
         return s.beginStruct(nullptr) || s.beginField("Fun", 1, false) ||
                s.serializeBoolean(true) || s.endField() || s.beginMandatoryField("Amt", 2) ||
                s.serializeInt8(-2) || s.endMandatoryField() ||
                s.beginOptionalField("no", 3, false) || s.endOptionalField() || s.endStruct();
     },
     "bf6346756ef563416d7421ff"},
    {[](auto& s) {
         return s.beginStruct(nullptr) || s.beginField("\xFF", 1, false) || s.serializeNull() ||
                s.endField() || s.endStruct();
     },
     "bf41fff6ff"},
};

TEST(AXOBinStructuredSerializerBETest, ValuesAreEncodedAsExpectedBytes) {
    for (const Row& row : VALUES) {
        EXPECT_EQ(writtenAsBinary(row.write), row.hex);
    }
}

// Writes the value with a writer that has `left` bytes of free capacity. Returns the bytes of the
// value, or nullopt on failure.
std::optional<std::string> writtenWithCapacity(const Row& row, std::size_t left, bool mayGrow) {
    constexpr std::size_t CAPACITY = 64;
    util::ByteBufferWriter writer(CAPACITY);
    const std::string before(CAPACITY - left, 'x');
    EXPECT_FALSE(writer.append(before.data(), before.size()) || writer.reserve(left));
    AXOBinStructuredSerializerBE serializer;
    unsigned long size = 0;
    {
        const kova::test::FailingAllocations failing(mayGrow ? 1000 : 0);
        if (serializer.beginSerialize(&writer, nullptr) || row.write(serializer) ||
            serializer.endSerialize(size)) {
            return std::nullopt;
        }
    }
    const std::string all = payloads::textOf(writer);
    EXPECT_EQ(all.substr(0, before.size()), before);
    EXPECT_EQ(size, all.size() - before.size());
    return payloads::toHex(all.substr(before.size()));
}

TEST(AXOBinStructuredSerializerBETest, EncodingIsIndependentOfTheWritersFreeCapacity) {
    for (const Row& row : VALUES) {
        for (std::size_t left = 0; left < 40; ++left) {
            ASSERT_EQ(writtenWithCapacity(row, left, true), row.hex) << left;
        }
    }
}

TEST(AXOBinStructuredSerializerBETest, SerializingFailsWithoutMemory) {
    std::size_t tried = 0;
    for (const Row& row : VALUES) {
        try {
            EXPECT_EQ(writtenWithCapacity(row, 0, false), std::nullopt) << row.hex;
            EXPECT_EQ(writtenWithCapacity(row, 1, false).value_or(row.hex), row.hex);
            EXPECT_EQ(writtenWithCapacity(row, 40, false).value_or("failed"), row.hex);
            ++tried;
        } catch (const std::bad_alloc&) {  // thrown by a row that creates a vector
        }
    }
    EXPECT_GT(tried, 40U);
}

struct LengthRow {
    std::size_t length;
    char const* head;
};

constexpr LengthRow LENGTHS[] = {{23, "77"},      {24, "7818"},      {255, "78ff"},
                                 {256, "790100"}, {65535, "79ffff"}, {65536, "7a00010000"}};

TEST(AXOBinStructuredSerializerBETest, StringHasTheShortestHead) {
    for (const LengthRow& row : LENGTHS) {
        const std::string text(row.length, 'x');
        const auto hex = writtenAsBinary([&](auto& s) { return s.serializeString(text); });
        EXPECT_EQ(hex, row.head + payloads::toHex(text)) << row.length;
    }
}

TEST(AXOBinStructuredSerializerBETest, OptionSelectsPlainArrays) {
    const Options plain{{OptionTag::PlainArrays, 1}};
    const auto write = [](IStructuredSerializer& s) {
        return s.serializeArray(std::vector<std::int16_t>{1, -1});
    };
    EXPECT_EQ(writtenAsBinary(write), "d849440001ffff");
    EXPECT_EQ(writtenAsBinary(write, &plain), "9f0120ff");
}

TEST(AXOBinStructuredSerializerBETest, OptionAppliesOnlyWithinItsScope) {
    const Options plain{{OptionTag::PlainArrays, 1}};
    const Options packed{{OptionTag::PlainArrays, 0}};
    const auto hex = writtenAsBinary([&](IStructuredSerializer& s) {
        const auto element = [&] {
            return s.beginElement() || s.serializeArray(std::vector<std::uint8_t>{7}) ||
                   s.endElement();
        };
        return s.beginArray() || element() || s.beginArrayOption() || element() ||
               s.beginOption(&packed) || element() || s.endOption() || element() ||
               s.endArrayOption() || element() || s.beginOption(&plain) || s.beginOption(nullptr) ||
               element() || s.endOption() || s.endOption() || s.endArray();
    });
    EXPECT_EQ(hex, "9fd84041079f07ffd84041079f07ffd84041079f07ffff");
}

TEST(AXOBinStructuredSerializerBETest, CapabilitiesIncludeEveryFeatureOfTheBinaryFormat) {
    EXPECT_EQ(AXOBinStructuredSerializerBE().getApiCapibilites(),
              IStructuredSerializer::CAPABILITY_BYTE_STRINGS |
                  IStructuredSerializer::CAPABILITY_PACKED_ARRAYS |
                  IStructuredSerializer::CAPABILITY_NON_FINITE |
                  IStructuredSerializer::CAPABILITY_NAMED_FIELDS);
}

}  // namespace
