#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <unordered_set>
#include <vector>

#include "zel/UUID.h"

namespace {

constexpr char TEXT[] = "123e4567-e89b-12d3-a456-426614174000";
constexpr zel::UUID::Bytes BYTES = {0x12, 0x3e, 0x45, 0x67, 0xe8, 0x9b, 0x12, 0xd3,
                                    0xa4, 0x56, 0x42, 0x66, 0x14, 0x17, 0x40, 0x00};

const zel::UUID::Bytes ONES = [] {
    zel::UUID::Bytes bytes{};
    bytes.fill(0xFF);
    return bytes;
}();

TEST(UUIDTest, ParsesTheBytesInOrder) {
    zel::UUID uuid;
    ASSERT_FALSE(zel::UUID::tryParse(uuid, TEXT));
    EXPECT_EQ(uuid.bytes(), BYTES);
}

TEST(UUIDTest, PrintsInLowerCase) {
    EXPECT_EQ(zel::UUID(BYTES).toString(), TEXT);
    zel::UUID uuid;
    ASSERT_FALSE(zel::UUID::tryParse(uuid, "ABCDEF01-2345-6789-aBcD-eF0123456789"));
    EXPECT_EQ(uuid.toString(), "abcdef01-2345-6789-abcd-ef0123456789");
}

TEST(UUIDTest, PrintWritesExactlyThirtySixCharacters) {
    char buffer[zel::UUID::TEXT_LENGTH + 1];
    std::memset(buffer, '!', sizeof(buffer));
    zel::UUID(BYTES).print(buffer);
    EXPECT_EQ(std::string(buffer, sizeof(buffer)), std::string(TEXT) + "!");
}

TEST(UUIDTest, DigitsAndHyphensAreAcceptedOnlyAtTheirPositions) {
    const std::string digits = "0123456789abcdefABCDEF";
    for (std::size_t position = 0; position < zel::UUID::TEXT_LENGTH; ++position) {
        for (int value = 0; value < 256; ++value) {
            const char c = static_cast<char>(value);
            std::string text = TEXT;
            const bool fits =
                text[position] == '-' ? c == '-' : digits.find(c) != std::string::npos;
            text[position] = c;
            SCOPED_TRACE("byte " + std::to_string(value) + " at " + std::to_string(position));

            zel::UUID uuid(ONES);
            ASSERT_EQ(zel::UUID::tryParse(uuid, text), !fits);
            if (!fits) {
                ASSERT_EQ(uuid, zel::UUID(ONES)) << "changed on failure";
                continue;
            }
            if (c >= 'A' && c <= 'F') {
                text[position] = static_cast<char>(c - 'A' + 'a');
            }
            ASSERT_EQ(uuid.toString(), text);
        }
    }
}

TEST(UUIDTest, OtherLengthsAreRejected) {
    const std::string text = std::string(TEXT) + "0000";
    for (std::size_t length = 0; length <= text.size(); ++length) {
        zel::UUID uuid(ONES);
        EXPECT_EQ(zel::UUID::tryParse(uuid, text.substr(0, length)),
                  length != zel::UUID::TEXT_LENGTH)
            << length;
    }
}

TEST(UUIDTest, OtherNotationsAreRejected) {
    for (const std::string text : {
             "123e4567e89b12d3a456426614174000",
             "123e4567e89b12d3a4564266141740000000",
             "{123e4567-e89b-12d3-a456-4266141740}",
             "123e456-7e89b-12d3-a456-426614174000",
             "------------------------------------",
             " 23e4567-e89b-12d3-a456-426614174000",
             "+23e4567-e89b-12d3-a456-42661417400 ",
             "0x3e4567-e89b-12d3-a456-426614174000",
         }) {
        zel::UUID uuid(ONES);
        EXPECT_TRUE(zel::UUID::tryParse(uuid, text)) << text;
        EXPECT_EQ(uuid, zel::UUID(ONES)) << text;
    }
}

TEST(UUIDTest, DefaultIsNil) {
    EXPECT_TRUE(zel::UUID().isNil());
    EXPECT_EQ(zel::UUID().toString(), "00000000-0000-0000-0000-000000000000");
    zel::UUID::Bytes bytes{};
    bytes[15] = 1;
    EXPECT_FALSE(zel::UUID(bytes).isNil());
}

TEST(UUIDTest, VersionAndVariantReplaceOnlyTheirBits) {
    for (int version = 1; version <= 15; ++version) {
        const zel::UUID ones(ONES, version);
        const zel::UUID zeros(zel::UUID::Bytes{}, version);
        EXPECT_EQ(ones.version(), version);
        EXPECT_EQ(zeros.version(), version);
        zel::UUID::Bytes expectedOnes = ONES;
        expectedOnes[6] = static_cast<unsigned char>(version << 4 | 0x0F);
        expectedOnes[8] = 0xBF;
        zel::UUID::Bytes expectedZeros{};
        expectedZeros[6] = static_cast<unsigned char>(version << 4);
        expectedZeros[8] = 0x80;
        EXPECT_EQ(ones.bytes(), expectedOnes);
        EXPECT_EQ(zeros.bytes(), expectedZeros);
    }
}

TEST(UUIDTest, BytesPassedWithoutAVersionAreStoredVerbatim) {
    EXPECT_EQ(zel::UUID(ONES).bytes(), ONES);
    EXPECT_EQ(zel::UUID(ONES).version(), 15);
    EXPECT_EQ(zel::UUID(BYTES).version(), 1);
}

TEST(UUIDTest, OrderEqualsTheOrderOfTheTexts) {
    std::vector<zel::UUID> ascending = {zel::UUID()};
    for (std::size_t i = 16; i-- > 0;) {
        for (const int byte : {0x01, 0x7F, 0x80, 0xFF}) {
            zel::UUID::Bytes bytes{};
            bytes[i] = static_cast<unsigned char>(byte);
            ascending.emplace_back(bytes);
        }
    }
    for (const auto& a : ascending) {
        for (const auto& b : ascending) {
            EXPECT_EQ(a < b, a.toString() < b.toString()) << a.toString() << ' ' << b.toString();
            EXPECT_EQ(a == b, &a == &b) << a.toString() << ' ' << b.toString();
            EXPECT_EQ(a != b, &a != &b) << a.toString() << ' ' << b.toString();
        }
    }
}

TEST(UUIDTest, CanBeAKeyOfHashedContainers) {
    std::unordered_set<zel::UUID> set = {zel::UUID(), zel::UUID(BYTES), zel::UUID(BYTES)};
    EXPECT_EQ(set.size(), 2U);
    EXPECT_EQ(set.count(zel::UUID(BYTES)), 1U);
    EXPECT_EQ(set.count(zel::UUID(ONES)), 0U);
}

}  // namespace
