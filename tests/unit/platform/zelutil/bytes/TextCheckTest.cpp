#include "bytes/TextCheck.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "zel/unicode/String.h"

namespace {

// Returns a text of letters of one to four bytes, of which at most one byte was changed.
std::string nearlyUtf8(std::mt19937& random) {
    constexpr char const* LETTERS[] = {"a", "z", "é", "Ж", "€", "語", "\U0001F600", "\U0010FFFF"};
    std::string text;
    for (auto left = random() % 40; left > 0; --left) {
        text += LETTERS[random() % std::size(LETTERS)];
    }
    if (!text.empty() && random() % 2 == 0) {
        text[random() % text.size()] = static_cast<char>(random() % 256);
    }
    return text;
}

TEST(TextCheckTest, IsUtf8AgreesWithTheCheckOfUnicodeStrings) {
    std::mt19937 random(1);
    int malformed = 0;
    for (int i = 0; i < 100000; ++i) {
        const std::string text = nearlyUtf8(random);
        ASSERT_EQ(util::isUtf8(text), zel::unicode::isUtf8(text)) << text;
        malformed += util::isUtf8(text) ? 0 : 1;
    }
    EXPECT_GT(malformed, 10000);
}

TEST(TextCheckTest, IsUtf8AgreesWithUnicodeStringsForSequencesOfThreeBytes) {
    constexpr unsigned STEP = 61;  // coprime to 256, so every byte occurs at every position
    for (unsigned bytes = 0; bytes < 0x1000000; bytes += STEP) {
        const std::string text = {static_cast<char>(bytes >> 16U), static_cast<char>(bytes >> 8U),
                                  static_cast<char>(bytes), 'x'};
        ASSERT_EQ(util::isUtf8(text), zel::unicode::isUtf8(text)) << std::hex << bytes;
    }
}

TEST(TextCheckTest, IsUtf8AgreesWithUnicodeStringsForEveryPairOfBytesAtEveryPosition) {
    for (const std::size_t size : {4, 7, 8, 9, 15, 16, 17, 32, 33}) {
        for (std::size_t at = 0; at + 1 < size; ++at) {
            for (unsigned pair = 0x8000; pair < 0x10000; pair += 3) {
                std::string text(size, 'a');
                text[at] = static_cast<char>(pair >> 8U);
                text[at + 1] = static_cast<char>(pair);
                ASSERT_EQ(util::isUtf8(text), zel::unicode::isUtf8(text))
                    << std::hex << pair << " at " << at << " of " << size;
            }
        }
    }
}

TEST(TextCheckTest, IncompleteCharacterAtTheEndIsRejected) {
    for (std::size_t size = 1; size <= 40; ++size) {
        EXPECT_FALSE(util::isUtf8(std::string(size - 1, 'a') + '\xC3')) << size;
    }
}

TEST(TextCheckTest, CopyOfAShortTextEqualsTheText) {
    for (std::size_t size = 0; size <= util::MAX_WORDS_COPY; ++size) {
        std::string text(size, 'a');
        for (std::size_t i = 0; i < size; ++i) {
            text[i] = static_cast<char>('A' + i);
        }
        std::string copy(size + 1, '#');
        EXPECT_TRUE(util::copyShortText(text, reinterpret_cast<unsigned char*>(copy.data())));
        EXPECT_EQ(copy, text + '#');
    }
}

TEST(TextCheckTest, CopyDetectsANonAsciiByteAtEveryPosition) {
    for (std::size_t size = 1; size <= util::MAX_WORDS_COPY; ++size) {
        for (std::size_t at = 0; at < size; ++at) {
            std::string text(size, 'a');
            text[at] = '\x80';
            std::string copy(size, '#');
            EXPECT_FALSE(util::copyShortText(text, reinterpret_cast<unsigned char*>(copy.data())));
            EXPECT_EQ(copy, text);
        }
    }
}

}  // namespace
