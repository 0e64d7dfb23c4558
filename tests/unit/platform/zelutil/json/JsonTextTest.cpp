#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "json/JsonText.h"
#include "support/FailingAllocations.h"

namespace {

namespace json = util::json;
using util::ByteBufferWriter;

template <typename Append>
std::string written(Append append) {
    ByteBufferWriter writer(0);
    EXPECT_TRUE(append(writer));
    return {reinterpret_cast<char const*>(writer.data()), writer.size()};
}

std::string escaped(const std::string& text) {
    return written([&](ByteBufferWriter& writer) { return json::appendString(writer, text); });
}

std::string repaired(const std::string& text) {
    return written(
        [&](ByteBufferWriter& writer) { return json::appendRepairedString(writer, text); });
}

std::string asDouble(double value) {
    return written([&](ByteBufferWriter& writer) { return json::appendDouble(writer, value); });
}

std::string asFloat(float value) {
    return written([&](ByteBufferWriter& writer) { return json::appendFloat(writer, value); });
}

// Reference implementation of `escaped`, one character at a time.
std::string referenceEscaped(const std::string& text) {
    static const char* const NAMED[32] = {nullptr, nullptr, nullptr, nullptr, nullptr,
                                          nullptr, nullptr, nullptr, "\\b",   "\\t",
                                          "\\n",   nullptr, "\\f",   "\\r"};
    std::string result = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            result += std::string("\\") + c;
        } else if (byte >= 0x20) {
            result += c;
        } else if (NAMED[byte] != nullptr) {
            result += NAMED[byte];
        } else {
            result += std::string("\\u00") + "01"[byte / 16] + "0123456789abcdef"[byte % 16];
        }
    }
    return result + "\"";
}

TEST(JsonTextTest, StringIsQuotedAndEscaped) {
    EXPECT_EQ(escaped(""), R"("")");
    EXPECT_EQ(escaped("plain"), R"("plain")");
    EXPECT_EQ(escaped("a\"b\\c/d"), R"("a\"b\\c/d")");
    EXPECT_EQ(escaped("\b\f\n\r\t\v\x1F\x7F"), "\"\\b\\f\\n\\r\\t\\u000b\\u001f\x7F\"");
    EXPECT_EQ(escaped(std::string("\0x", 2)), R"("\u0000x")");
    EXPECT_EQ(escaped("é€\U0001F600"), "\"é€\U0001F600\"");
    EXPECT_EQ(written([](ByteBufferWriter& writer) { return json::appendString(writer, {}); }),
              R"("")");
}

TEST(JsonTextTest, EscapingMatchesTheReferenceForEveryByte) {
    for (int byte = 0; byte < 256; ++byte) {
        for (std::size_t at = 0; at < 20; ++at) {
            std::string text(20, '!');
            text[at] = static_cast<char>(byte);
            ASSERT_EQ(escaped(text), referenceEscaped(text)) << byte << " at " << at;
        }
    }
}

TEST(JsonTextTest, EscapingMatchesTheReferenceForRandomTexts) {
    std::mt19937 random(1);
    for (int i = 0; i < 20000; ++i) {
        std::string text(random() % 40, ' ');
        for (char& c : text) {
            c = static_cast<char>(random() % 4 == 0 ? random() % 256 : 'a' + random() % 26);
        }
        ASSERT_EQ(escaped(text), referenceEscaped(text));
    }
}

// The text is between letters, because bytes of memory that look like control characters would hide
// that they are read.
TEST(JsonTextTest, BytesAroundATextAreNotWritten) {
    const std::string around(32, 'x');
    std::string alphabet;
    for (char c = 'A'; c <= 'Z'; ++c) {
        alphabet += {c, static_cast<char>(c + 'a' - 'A')};
    }
    for (std::size_t size = 0; size <= 40; ++size) {
        const std::string text = alphabet.substr(0, size);
        const std::string memory = around + text + around;
        const std::string_view inside = std::string_view(memory).substr(around.size(), size);
        const std::string quoted = '"' + text + '"';
        EXPECT_EQ(
            written([&](ByteBufferWriter& writer) { return json::appendString(writer, inside); }),
            quoted);
        EXPECT_EQ(written([&](ByteBufferWriter& writer) {
                      return json::appendRepairedString(writer, inside);
                  }),
                  quoted);
    }
}

// Each maximal subpart of an ill-formed sequence becomes one U+FFFD. Includes the examples of
// Unicode 15, tables 3-8 to 3-11.
struct Repair {
    std::string bytes;
    std::string text;
};

const std::string R = "\xEF\xBF\xBD";
const Repair REPAIRS[] = {
    {"all good \xE2\x82\xAC", "all good €"},
    {"\x80", R},
    {"\xFF\xFE", R + R},
    {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", R + R + R + R + R + R + R + R + "A"},
    {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", R + R + R + R + R + R + R + R + "A"},
    {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", R + R + R + R + R + "A" + R + R + "B"},
    {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", R + R + R + R + "A"},
    {"a\xC3", "a" + R},
    {"a\xE2\x82", "a" + R},
    {"\xF0\x9F\x98", R},
    {"\xF0\x9F\x98\x80\xF0\x9F\x98", "\U0001F600" + R},
    {"\xE0\x9F\xBF", R + R + R},
    {"\xF4\x8F\xBF\xBF\xF5", "\U0010FFFF" + R},
};

TEST(JsonTextTest, InvalidUtf8IsReplacedByTheReplacementCharacter) {
    for (const Repair& row : REPAIRS) {
        EXPECT_EQ(repaired(row.bytes), '"' + row.text + '"');
    }
    EXPECT_EQ(repaired("\n\x80\"\x80"), "\"\\n" + R + "\\\"" + R + "\"");
}

TEST(JsonTextTest, IllFormedPartIsReplacedInTextsOfAnyLength) {
    for (std::size_t before = 0; before < 40; ++before) {
        for (const Repair& row : REPAIRS) {
            const std::string front(before, 'a');
            ASSERT_EQ(repaired(front + row.bytes + "\"é"), '"' + front + row.text + "\\\"é\"");
            ASSERT_EQ(repaired("é" + front + row.bytes), "\"é" + front + row.text + '"');
        }
    }
}

TEST(JsonTextTest, RepairOfAWellFormedTextOnlyAddsEscapes) {
    constexpr char const* LETTERS[] = {"a", "\"", "\n", "é", "€", "\U0001F600", "b", "c"};
    std::mt19937 random(3);
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        for (auto left = random() % 30; left > 0; --left) {
            text += LETTERS[random() % std::size(LETTERS)];
        }
        ASSERT_EQ(repaired(text), referenceEscaped(text));
    }
}

// The writer splits long texts into pieces of 4096 bytes.
TEST(JsonTextTest, LongTextsAreNotSplitInsideCharacters) {
    for (std::size_t size = 4088; size <= 4100; ++size) {
        const std::string front(size, 'a');
        for (const Repair& row : REPAIRS) {
            ASSERT_EQ(repaired(front + row.bytes), '"' + front + row.text + '"') << size;
        }
        EXPECT_EQ(escaped(front + "€é\U0001F600\n"), '"' + front + "€é\U0001F600\\n\"") << size;
    }
    std::string tail;
    for (int i = 0; i < 5000; ++i) {
        tail += R;
    }
    EXPECT_EQ(repaired(std::string(5000, '\x80')), '"' + tail + '"');
}

TEST(JsonTextTest, PieceSizeDoesNotSplitACharacter) {
    EXPECT_EQ(json::pieceSize("abc", 4), 3U);
    EXPECT_EQ(json::pieceSize("abcde", 4), 4U);
    EXPECT_EQ(json::pieceSize("abc€", 4), 3U);
    EXPECT_EQ(json::pieceSize("a\U0001F600b", 4), 1U);
    EXPECT_EQ(json::pieceSize(std::string(9, '\x80'), 4), 1U);
}

TEST(JsonTextTest, IntegersOfTheFullRangeAreWritten) {
    const auto asSigned = [](std::int64_t value) {
        return written([&](ByteBufferWriter& w) { return json::appendInteger(w, value); });
    };
    const auto asUnsigned = [](std::uint64_t value) {
        return written([&](ByteBufferWriter& w) { return json::appendInteger(w, value); });
    };
    EXPECT_EQ(asSigned(0), "0");
    EXPECT_EQ(asSigned(-1), "-1");
    EXPECT_EQ(asSigned(INT64_MIN), "-9223372036854775808");
    EXPECT_EQ(asSigned(INT64_MAX), "9223372036854775807");
    EXPECT_EQ(asUnsigned(UINT64_MAX), "18446744073709551615");
}

TEST(JsonTextTest, DoublesUseTheShortestTextThatRoundTrips) {
    EXPECT_EQ(asDouble(0.0), "0.0");
    EXPECT_EQ(asDouble(-0.0), "-0.0");
    EXPECT_EQ(asDouble(1.0), "1.0");
    EXPECT_EQ(asDouble(-100000.0), "-100000.0");
    EXPECT_EQ(asDouble(0.1), "0.1");
    EXPECT_EQ(asDouble(1e22), "1e+22");
    EXPECT_EQ(asDouble(1e-7), "1e-07");
    EXPECT_EQ(asDouble(5e-324), "5e-324");
    EXPECT_EQ(asDouble(-DBL_MAX), "-1.7976931348623157e+308");
    EXPECT_EQ(asDouble(-DBL_MIN), "-2.2250738585072014e-308");
}

TEST(JsonTextTest, FloatsUseTheShortestTextForSinglePrecision) {
    EXPECT_EQ(asFloat(0.1F), "0.1");
    EXPECT_EQ(asFloat(3.0F), "3.0");
    EXPECT_EQ(asFloat(FLT_MAX), "3.4028235e+38");
    EXPECT_EQ(asFloat(1e-45F), "1e-45");
}

TEST(JsonTextTest, RandomDoublesRoundTrip) {
    std::mt19937_64 random(2);
    for (int i = 0; i < 100000; ++i) {
        std::uint64_t bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        if (value != value || value - value != 0) {
            continue;
        }
        const std::string text = asDouble(value);
        const double back = std::strtod(text.c_str(), nullptr);
        ASSERT_EQ(std::memcmp(&back, &value, sizeof value), 0) << text;
        ASSERT_NE(text.find_first_of(".e"), std::string::npos) << text;
    }
}

// Returns the shortest representation without an exponent, computed by the standard library.
std::string shortest(double value) {
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.begin(), text.end(), value, std::chars_format::fixed).ptr;
    const std::string digits(text.begin(), end);
    return digits.find('.') == std::string::npos ? digits + ".0" : digits;
}

TEST(JsonTextTest, DoublesWithFewDecimalsMatchStdToChars) {
    std::mt19937_64 random(4);
    for (int i = 0; i < 100000; ++i) {
        const int decimals = i % 10;
        const auto magnitude = static_cast<double>(random() >> (random() % 64));
        const double value = magnitude / std::pow(10, decimals);
        for (const double near : {std::nextafter(value, 0), value, std::nextafter(value, 1e300)}) {
            if (near >= 1e-4 && near < 1e16) {
                ASSERT_EQ(asDouble(near), shortest(near));
                ASSERT_EQ(asDouble(-near), '-' + shortest(near));
            }
        }
    }
}

TEST(JsonTextTest, DoublesAtTheLimitsOfTheFastPathMatchStdToChars) {
    for (const double bound : {1e-4, 1e-3, 1e9, 1e9 - 1e-6, 1e9 + 1e-6, 1e8 + 1e-6, 0.0010005}) {
        for (const double near : {std::nextafter(bound, 0), bound, std::nextafter(bound, 1e300)}) {
            if (near >= 1e-4) {
                EXPECT_EQ(asDouble(near), shortest(near));
            }
        }
    }
    EXPECT_EQ(asDouble(999999999.999999), "999999999.999999");
    EXPECT_EQ(asDouble(-0.001), "-0.001");
    EXPECT_EQ(asDouble(0.000001), "1e-06");
}

TEST(JsonTextTest, RandomFloatsRoundTrip) {
    std::mt19937 random(3);
    for (int i = 0; i < 100000; ++i) {
        const auto bits = static_cast<std::uint32_t>(random());
        float value = 0;
        std::memcpy(&value, &bits, sizeof value);
        if (value != value || value - value != 0) {
            continue;
        }
        const std::string text = asFloat(value);
        const float back = std::strtof(text.c_str(), nullptr);
        ASSERT_EQ(std::memcmp(&back, &value, sizeof value), 0) << text;
    }
}

TEST(JsonTextTest, NumbersIgnoreTheLocaleOfTheProcess) {
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C.UTF-8"}) {
        if (std::setlocale(LC_ALL, name) == nullptr) {
            continue;
        }
        EXPECT_EQ(asDouble(1234567.5), "1234567.5") << name;
    }
    std::setlocale(LC_ALL, "C");
}

// Fails every allocation in turn; returns whether `append` appends nothing each time it fails.
template <typename Append>
bool failsCleanly(Append append) {
    bool appended = false;
    kova::test::failEveryAllocation([&] {
        ByteBufferWriter writer(0);
        appended = append(writer);
        return appended || writer.size() != 0;
    });
    return appended;
}

TEST(JsonTextTest, AppendFailsWithoutMemoryAndAppendsNothing) {
    const std::string text = std::string(100, 'a') + "\n\x80" + std::string(100, 'b');
    EXPECT_TRUE(
        failsCleanly([&](auto& writer) { return json::appendRepairedString(writer, text); }));
    const std::string longText(20000, 'c');
    EXPECT_TRUE(failsCleanly([&](auto& writer) { return json::appendString(writer, longText); }));
    EXPECT_TRUE(failsCleanly([](auto& writer) { return json::appendString(writer, "plain"); }));
    EXPECT_TRUE(failsCleanly([](auto& writer) { return json::appendDouble(writer, 1.5); }));
    EXPECT_TRUE(failsCleanly([](auto& writer) { return json::appendFloat(writer, 1.5F); }));
    EXPECT_TRUE(
        failsCleanly([](auto& writer) { return json::appendInteger(writer, std::int64_t{-5}); }));
}

}  // namespace
