#include "JsonText.h"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <cstring>

#include "zel/unicode/String.h"

namespace util::json {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";  // U+FFFD

constexpr std::uint64_t everyByte(unsigned char byte) {
    return 0x0101010101010101U * byte;
}

// The highest bit of each byte that is zero. A byte above a zero byte may be marked wrongly, so
// only the lowest mark is to be trusted.
constexpr std::uint64_t zeroBytes(std::uint64_t word) {
    return (word - everyByte(1)) & ~word & everyByte(0x80);
}

// Marks the bytes of the word that JSON wants escaped; trust as for `zeroBytes`.
constexpr std::uint64_t specialBytes(std::uint64_t word) {
    return zeroBytes(word ^ everyByte('"')) | zeroBytes(word ^ everyByte('\\')) |
           ((word - everyByte(0x20)) & ~word & everyByte(0x80));
}

constexpr bool isSpecial(unsigned char byte) {
    return byte < 0x20 || byte == '"' || byte == '\\';
}

// How many bytes at the front need no escape; eight at a time.
std::size_t plainRun(std::string_view text) noexcept {
    std::size_t at = 0;
    for (; text.size() - at >= 8; at += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + at, 8);
        if (specialBytes(word) != 0) {
            break;
        }
    }
    while (at < text.size() && !isSpecial(static_cast<unsigned char>(text[at]))) {
        ++at;
    }
    return at;
}

bool appendText(ByteBufferWriter& writer, std::string_view text) noexcept {
    return writer.append(text.data(), text.size());
}

bool appendEscape(ByteBufferWriter& writer, unsigned char byte) noexcept {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    if (byte == '"' || byte == '\\') {
        const std::array<char, 2> escape{'\\', static_cast<char>(byte)};
        return writer.append(escape.data(), escape.size());
    }
    if (byte >= 0x08 && byte <= 0x0D && byte != 0x0B) {
        constexpr std::string_view NAMES = "btn?fr";  // of 0x08 to 0x0D
        const std::array<char, 2> escape{'\\', NAMES[byte - 0x08U]};
        return writer.append(escape.data(), escape.size());
    }
    const std::array<char, 6> escape{'\\', 'u', '0', '0', DIGITS[byte >> 4U], DIGITS[byte & 15U]};
    return writer.append(escape.data(), escape.size());
}

// The text with its escapes, without the quotation marks.
bool appendEscaped(ByteBufferWriter& writer, std::string_view text) noexcept {
    while (true) {
        const std::size_t run = plainRun(text);
        if (appendText(writer, text.substr(0, run))) {
            return true;
        }
        if (run == text.size()) {
            return false;
        }
        if (appendEscape(writer, static_cast<unsigned char>(text[run]))) {
            return true;
        }
        text.remove_prefix(run + 1);
    }
}

// Length of the longest front of `bytes` that could begin one character, at least 1: what one
// U+FFFD stands for when the front is no character. `bytes` is not empty.
std::size_t maximalPart(std::string_view bytes, bool& character) noexcept {
    const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned lead = at(0);
    character = lead < 0x80;
    if (lead < 0xC2 || lead > 0xF4) {
        return 1;
    }
    const std::size_t length = lead < 0xE0 ? 2U : lead < 0xF0 ? 3U : 4U;
    // The second byte's range depends on the first: no overlong forms, no surrogates, no more
    // than U+10FFFF.
    unsigned low = lead == 0xE0 ? 0xA0U : lead == 0xF0 ? 0x90U : 0x80U;
    unsigned high = lead == 0xED ? 0x9FU : lead == 0xF4 ? 0x8FU : 0xBFU;
    for (std::size_t i = 1; i < length; ++i) {
        if (i == bytes.size() || at(i) < low || at(i) > high) {
            return i;
        }
        low = 0x80;
        high = 0xBF;
    }
    character = true;
    return length;
}

// Runs `write` between quotation marks and takes everything back when it fails.
template <typename Write>
bool quoted(ByteBufferWriter& writer, Write write) noexcept {
    const unsigned long before = writer.size();
    if (writer.appendByte('"') || write() || writer.appendByte('"')) {
        writer.truncate(before);
        return true;
    }
    return false;
}

bool appendRepaired(ByteBufferWriter& writer, std::string_view bytes) noexcept {
    std::size_t at = 0;
    while (at < bytes.size()) {
        bool character = false;
        const std::size_t part = maximalPart(bytes.substr(at), character);
        if (character) {
            at += part;
            continue;
        }
        if (appendEscaped(writer, bytes.substr(0, at)) || appendText(writer, REPLACEMENT)) {
            return true;
        }
        bytes.remove_prefix(at + part);
        at = 0;
    }
    return appendEscaped(writer, bytes);
}

template <typename Number>
bool appendFloating(ByteBufferWriter& writer, Number value) noexcept {
    constexpr std::size_t ROOM = 32;  // "-2.2250738585072014e-308" and a ".0"
    const unsigned long before = writer.size();
    auto* begin = reinterpret_cast<char*>(writer.extend(ROOM));
    if (begin == nullptr) {
        return true;
    }
    char* end = fmt::format_to(begin, FMT_COMPILE("{}"), value);
    const std::string_view text(begin, static_cast<std::size_t>(end - begin));
    if (text.find_first_of(".e") == std::string_view::npos) {
        *end++ = '.';
        *end++ = '0';
    }
    writer.truncate(before + static_cast<unsigned long>(end - begin));
    return false;
}

}  // namespace

bool appendString(ByteBufferWriter& writer, std::string_view utf8) noexcept {
    if (plainRun(utf8) != utf8.size()) {
        return quoted(writer, [&] { return appendEscaped(writer, utf8); });
    }
    unsigned char* target = writer.extend(utf8.size() + 2);
    if (target == nullptr) {
        return true;
    }
    *target++ = '"';
    if (!utf8.empty()) {
        std::memcpy(target, utf8.data(), utf8.size());
    }
    target[utf8.size()] = '"';
    return false;
}

bool appendRepairedString(ByteBufferWriter& writer, std::string_view bytes) noexcept {
    if (zel::unicode::isUtf8(bytes)) {
        return appendString(writer, bytes);
    }
    return quoted(writer, [&] { return appendRepaired(writer, bytes); });
}

bool appendInteger(ByteBufferWriter& writer, std::int64_t value) noexcept {
    const fmt::format_int text(value);
    return writer.append(text.data(), text.size());
}

bool appendInteger(ByteBufferWriter& writer, std::uint64_t value) noexcept {
    const fmt::format_int text(value);
    return writer.append(text.data(), text.size());
}

bool appendDouble(ByteBufferWriter& writer, double value) noexcept {
    return appendFloating(writer, value);
}

bool appendFloat(ByteBufferWriter& writer, float value) noexcept {
    return appendFloating(writer, value);
}

}  // namespace util::json
