#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "zel/unicode/String.h"

namespace {

using zel::unicode::isUtf8;
using zel::unicode::String;
using zel::unicode::utf16ToUtf8;
using zel::unicode::utf8ToUtf16;

// A reference implementation: the definitions of the Unicode encoding forms, written as directly as
// possible and without regard to speed.
namespace reference {

bool isScalar(std::uint32_t c) {
    return c <= 0x10FFFF && !(c >= 0xD800 && c <= 0xDFFF);
}

std::size_t lengthOf(std::uint32_t c) {
    return c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
}

std::string toUtf8(std::uint32_t c) {
    static constexpr unsigned int MARKS[] = {0, 0x00, 0xC0, 0xE0, 0xF0};
    std::string bytes(lengthOf(c), '\0');
    for (std::size_t i = bytes.size(); i-- > 1; c /= 64) {
        bytes[i] = static_cast<char>(0x80 + c % 64);
    }
    bytes[0] = static_cast<char>(MARKS[bytes.size()] + c);
    return bytes;
}

std::u16string toUtf16(std::uint32_t c) {
    if (c < 0x10000) {
        return {static_cast<char16_t>(c)};
    }
    return {static_cast<char16_t>(0xD800 + (c - 0x10000) / 0x400),
            static_cast<char16_t>(0xDC00 + (c - 0x10000) % 0x400)};
}

// Decodes UTF-8. For each length it extracts the payload bits and checks that the encoding of the
// resulting code point is exactly this sequence. Returns whether `bytes` are well-formed.
bool decode(std::string_view bytes, std::vector<std::uint32_t>& out) {
    for (std::size_t position = 0; position < bytes.size();) {
        bool found = false;
        for (std::size_t length = 1; length <= 4 && position + length <= bytes.size(); ++length) {
            static constexpr std::uint32_t MASKS[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
            const std::string_view piece = bytes.substr(position, length);
            std::uint32_t c = static_cast<unsigned char>(piece[0]) & MASKS[length];
            for (std::size_t i = 1; i < length; ++i) {
                c = c * 64 + (static_cast<unsigned char>(piece[i]) & 0x3F);
            }
            if (isScalar(c) && toUtf8(c) == piece) {
                out.push_back(c);
                position += length;
                found = true;
                break;
            }
        }
        if (!found) {
            return false;
        }
    }
    return true;
}

}  // namespace reference

std::string hex(std::string_view bytes) {
    std::string out;
    for (const char c : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof(digits), "%02X ", static_cast<unsigned char>(c));
        out.append(digits, 3);
    }
    return out;
}

// Compares the result of each function for `bytes` with that of the reference.
void compareWithReference(std::string_view bytes) {
    std::vector<std::uint32_t> codePoints;
    const bool valid = reference::decode(bytes, codePoints);
    ASSERT_EQ(isUtf8(bytes), valid) << hex(bytes);
    const auto utf16 = utf8ToUtf16(bytes);
    ASSERT_EQ(utf16.has_value(), valid) << hex(bytes);
    const auto text = String::fromUtf8(bytes);
    ASSERT_EQ(text.has_value(), valid) << hex(bytes);
    if (valid) {
        std::u16string expected;
        for (const std::uint32_t c : codePoints) {
            expected += reference::toUtf16(c);
        }
        ASSERT_EQ(*utf16, expected) << hex(bytes);
        ASSERT_EQ(utf16ToUtf8(*utf16), bytes) << hex(bytes);
        ASSERT_EQ(text->utf8(), bytes);
        ASSERT_EQ(text->length(), codePoints.size()) << hex(bytes);
    }
}

std::string bytesOf(std::initializer_list<int> values) {
    std::string bytes;
    for (const int value : values) {
        bytes.push_back(static_cast<char>(value));
    }
    return bytes;
}

TEST(StringTest, ShortSequencesMatchTheReferenceValidator) {
    for (int first = 0; first < 256; ++first) {
        ASSERT_NO_FATAL_FAILURE(compareWithReference(bytesOf({first})));
        for (int second = 0; second < 256; ++second) {
            ASSERT_NO_FATAL_FAILURE(compareWithReference(bytesOf({first, second})));
        }
    }
}

TEST(StringTest, LongSequencesMatchTheReferenceValidator) {
    // The values on both sides of every boundary in the table of well-formed sequences.
    static constexpr int BOUNDARIES[] = {0x00, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF,
                                         0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED,
                                         0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xFF};
    for (const int a : BOUNDARIES) {
        for (const int b : BOUNDARIES) {
            for (const int c : BOUNDARIES) {
                ASSERT_NO_FATAL_FAILURE(compareWithReference(bytesOf({a, b, c})));
                for (const int d : BOUNDARIES) {
                    ASSERT_NO_FATAL_FAILURE(compareWithReference(bytesOf({a, b, c, d})));
                }
            }
        }
    }
}

TEST(StringTest, CodePointsRoundTripAndSurrogatesFail) {
    for (std::uint32_t c = 0; c <= 0x110000; ++c) {
        const std::string bytes = reference::toUtf8(c);
        ASSERT_EQ(isUtf8(bytes), reference::isScalar(c)) << c;
        const auto utf16 = utf8ToUtf16(bytes);
        ASSERT_EQ(utf16.has_value(), reference::isScalar(c)) << c;
        if (utf16) {
            ASSERT_EQ(*utf16, reference::toUtf16(c)) << c;
            ASSERT_EQ(utf16ToUtf8(*utf16), bytes) << c;
        }
    }
}

TEST(StringTest, InvalidByteIsFoundAtEveryPosition) {
    for (std::size_t length = 1; length <= 40; ++length) {
        for (std::size_t fault = 0; fault < length; ++fault) {
            std::string text(length, 'a');
            ASSERT_TRUE(isUtf8(text));
            text[fault] = '\x80';
            EXPECT_FALSE(isUtf8(text)) << fault << " of " << length;
            text[fault] = '\xC3';
            EXPECT_FALSE(isUtf8(text)) << fault << " of " << length;
            if (fault + 1 < length) {
                text[fault + 1] = '\xA9';
                EXPECT_TRUE(isUtf8(text)) << fault << " of " << length;
            }
        }
    }
}

TEST(StringTest, UnpairedSurrogatesAreRejected) {
    static constexpr char16_t UNITS[] = {0,      u'a',   0x7FF,  0x800,  0xD7FF, 0xD800,
                                         0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
    const auto high = [](char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; };
    const auto low = [](char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; };
    const auto alone = [&](const std::u16string& text, std::size_t i) {
        return (high(text[i]) && !(i + 1 < text.size() && low(text[i + 1]))) ||
               (low(text[i]) && !(i > 0 && high(text[i - 1])));
    };
    for (const char16_t a : UNITS) {
        for (const char16_t b : UNITS) {
            for (const char16_t c : UNITS) {
                for (const auto& text :
                     {std::u16string{a}, std::u16string{a, b}, std::u16string{a, b, c}}) {
                    bool valid = true;
                    for (std::size_t i = 0; i < text.size(); ++i) {
                        valid = valid && !alone(text, i);
                    }
                    const auto utf8 = utf16ToUtf8(text);
                    ASSERT_EQ(utf8.has_value(), valid) << testing::PrintToString(text);
                    ASSERT_EQ(String::fromUtf16(text).has_value(), valid);
                    if (valid) {
                        ASSERT_TRUE(isUtf8(*utf8));
                        ASSERT_EQ(utf8ToUtf16(*utf8), text) << testing::PrintToString(text);
                    }
                }
            }
        }
    }
}

TEST(StringTest, EmptyTextIsValid) {
    EXPECT_TRUE(isUtf8({}));
    EXPECT_EQ(utf8ToUtf16({}), u"");
    EXPECT_EQ(utf16ToUtf8({}), "");
    EXPECT_TRUE(String().empty());
    EXPECT_EQ(String::fromUtf8(""), String());
    EXPECT_EQ(String().length(), 0U);
}

TEST(StringTest, ZeroIsAnOrdinaryCharacter) {
    const std::string bytes("a\0b", 3);
    const auto text = String::fromUtf8(bytes);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->utf8(), bytes);
    EXPECT_EQ(text->length(), 3U);
    EXPECT_EQ(text->toUtf16(), std::u16string(u"a\0b", 3));
    EXPECT_FALSE(text->empty());
}

TEST(StringTest, TextsFromUtf8AndFromUtf16AreEqual) {
    const auto fromUtf8 = String::fromUtf8("Gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x9A\x97");
    const auto fromUtf16 = String::fromUtf16(u"Gr\u00FC\u00DF \u20AC \U0001F697");
    ASSERT_TRUE(fromUtf8 && fromUtf16);
    EXPECT_EQ(*fromUtf8, *fromUtf16);
    EXPECT_EQ(fromUtf8->length(), 8U);
    EXPECT_EQ(fromUtf8->toUtf16().size(), 9U);
}

TEST(StringTest, OrdersByCodePoint) {
    const auto below = *String::fromUtf16(u"\uFFFD");
    const auto above = *String::fromUtf16(u"\U00010000");
    EXPECT_LT(below, above);
    EXPECT_FALSE(above < below);
    EXPECT_NE(below, above);
    EXPECT_LT(*String::fromUtf8("a"), *String::fromUtf8("aa"));
    EXPECT_LT(*String::fromUtf8("z"), *String::fromUtf8("\xC3\xA9"));
}

}  // namespace
