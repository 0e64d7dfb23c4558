#include "zel/unicode/String.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace zel::unicode {

namespace {

constexpr char32_t INVALID = 0xFFFFFFFF;

constexpr bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Properties of the first byte of a sequence: the number of bytes that follow it, the bits that it
// contributes to the code point, and the valid range of the second byte. The range excludes
// overlong forms, surrogates and code points above U+10FFFF (Unicode 15, table 3-7).
struct Lead {
    int following;
    unsigned char bits;
    unsigned char low;
    unsigned char high;
};

constexpr Lead leadOf(unsigned char byte) {
    if (byte < 0x80) {
        return {0, byte, 0, 0};
    }
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {1, static_cast<unsigned char>(byte & 0x1F), 0x80, 0xBF};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        return {2, static_cast<unsigned char>(byte & 0x0F),
                static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        return {3, static_cast<unsigned char>(byte & 0x07),
                static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
    }
    return {-1, 0, 0, 0};
}

// Returns the code point at `position` and advances `position` past it. Returns `INVALID` if the
// bytes are not well-formed.
char32_t nextCodePoint(std::string_view bytes, std::size_t& position) {
    const Lead lead = leadOf(static_cast<unsigned char>(bytes[position++]));
    if (lead.following < 0) {
        return INVALID;
    }
    char32_t codePoint = lead.bits;
    for (int i = 0; i < lead.following; ++i) {
        if (position == bytes.size()) {
            return INVALID;
        }
        const auto byte = static_cast<unsigned char>(bytes[position++]);
        const unsigned char low = i == 0 ? lead.low : 0x80;
        const unsigned char high = i == 0 ? lead.high : 0xBF;
        if (byte < low || byte > high) {
            return INVALID;
        }
        codePoint = codePoint << 6 | (byte & 0x3FU);
    }
    return codePoint;
}

// Loads a word from `bytes`, which need not be aligned.
template <class Word>
Word load(char const* bytes) {
    Word word = 0;
    __builtin_memcpy(&word, bytes, sizeof(word));
    return word;
}

// Returns whether the last `size` bytes of a text are ASCII; `size` is less than eight. The
// function loads the bytes as words, which may overlap.
bool isAsciiTail(char const* bytes, std::size_t size) {
    if (size >= sizeof(std::uint32_t)) {
        const auto all =
            load<std::uint32_t>(bytes) | load<std::uint32_t>(bytes + size - sizeof(std::uint32_t));
        return (all & 0x80808080U) == 0;
    }
    return size == 0 || ((bytes[0] | bytes[size / 2] | bytes[size - 1]) & 0x80) == 0;
}

// Returns the number of leading ASCII bytes from `position` on. The number is a multiple of eight,
// unless the rest of the text is ASCII. Most texts are entirely ASCII.
std::size_t asciiRun(std::string_view bytes, std::size_t position) {
    const std::size_t start = position;
    while (bytes.size() - position >= sizeof(std::uint64_t)) {
        if ((load<std::uint64_t>(bytes.data() + position) & 0x8080808080808080U) != 0) {
            return position - start;
        }
        position += sizeof(std::uint64_t);
    }
    const std::size_t left = bytes.size() - position;
    return isAsciiTail(bytes.data() + position, left) ? bytes.size() - start : position - start;
}

void appendUtf8(std::string& out, char32_t codePoint) {
    const auto byte = [&out](char32_t value) { out.push_back(static_cast<char>(value)); };
    if (codePoint < 0x80) {
        byte(codePoint);
        return;
    }
    if (codePoint < 0x800) {
        byte(0xC0 | codePoint >> 6);
    } else if (codePoint < 0x10000) {
        byte(0xE0 | codePoint >> 12);
        byte(0x80 | (codePoint >> 6 & 0x3F));
    } else {
        byte(0xF0 | codePoint >> 18);
        byte(0x80 | (codePoint >> 12 & 0x3F));
        byte(0x80 | (codePoint >> 6 & 0x3F));
    }
    byte(0x80 | (codePoint & 0x3F));
}

}  // namespace

bool isUtf8(std::string_view bytes) noexcept {
    std::size_t position = 0;
    while (position < bytes.size()) {
        position += asciiRun(bytes, position);
        if (position < bytes.size() && nextCodePoint(bytes, position) == INVALID) {
            return false;
        }
    }
    return true;
}

std::optional<std::string> utf16ToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t codePoint = text[i];
        if (isHighSurrogate(codePoint) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
            codePoint = 0x10000 + ((codePoint - 0xD800) << 10 | (text[++i] - 0xDC00U));
        } else if (isHighSurrogate(codePoint) || isLowSurrogate(codePoint)) {
            return std::nullopt;
        }
        appendUtf8(out, codePoint);
    }
    return out;
}

std::optional<std::u16string> utf8ToUtf16(std::string_view bytes) {
    std::u16string out;
    out.reserve(bytes.size());
    for (std::size_t position = 0; position < bytes.size();) {
        const char32_t codePoint = nextCodePoint(bytes, position);
        if (codePoint == INVALID) {
            return std::nullopt;
        }
        if (codePoint < 0x10000) {
            out.push_back(static_cast<char16_t>(codePoint));
        } else {
            out.push_back(static_cast<char16_t>(0xD800 + ((codePoint - 0x10000) >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + ((codePoint - 0x10000) & 0x3FF)));
        }
    }
    return out;
}

std::optional<String> String::fromUtf8(std::string_view bytes) {
    return isUtf8(bytes) ? std::optional<String>(String(std::string(bytes))) : std::nullopt;
}

std::optional<String> String::fromUtf16(std::u16string_view text) {
    auto utf8 = utf16ToUtf8(text);
    return utf8 ? std::optional<String>(String(std::move(*utf8))) : std::nullopt;
}

std::u16string String::toUtf16() const {
    return *utf8ToUtf16(text_);
}

std::size_t String::length() const noexcept {
    return static_cast<std::size_t>(std::count_if(text_.begin(), text_.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

}  // namespace zel::unicode
