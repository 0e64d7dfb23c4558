#include "foreign/JsonText.h"

#include <algorithm>
#include <cstdint>

#include "kova/kit/Tree.h"
#include "util/config/JSONParser.h"
#include "zel/unicode/String.h"

namespace kova::http::detail {

namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;

struct Character {
    char32_t code;
    std::size_t size;
};

// Returns the first character of a text that is not empty.
Character firstCharacter(std::string_view text) noexcept {
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) {
        return {lead, 1};
    }
    const std::size_t size = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (text.size() < size || !zel::unicode::isUtf8(text.substr(0, size))) {
        return {REPLACEMENT, 1};
    }
    char32_t code = lead & (0xFFU >> (size + 1));
    for (std::size_t i = 1; i < size; ++i) {
        code = code << 6U | (static_cast<unsigned char>(text[i]) & 0x3FU);
    }
    return {code, size};
}

void appendEscape(std::string& out, std::uint32_t unit) {
    constexpr char const* DIGITS = "0123456789abcdef";
    out += "\\u";
    for (int shift = 12; shift >= 0; shift -= 4) {
        out += DIGITS[unit >> static_cast<unsigned>(shift) & 0xFU];
    }
}

void appendCode(std::string& out, char32_t code) {
    if (code >= 0x20 && code < 0x7F) {
        out += static_cast<char>(code);
    } else if (code < 0x10000) {
        appendEscape(out, code);
    } else {
        appendEscape(out, 0xD800 + ((code - 0x10000) >> 10U));
        appendEscape(out, 0xDC00 + ((code - 0x10000) & 0x3FFU));
    }
}

// Outside of strings, JSON has only ASCII characters, so escapes are written only inside strings.
void appendAscii(std::string& out, std::string_view text) {
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        appendCode(out, character.code);
        text.remove_prefix(character.size);
    }
}

}  // namespace

void appendQuoted(std::string& out, std::string_view text) {
    out += '"';
    for (std::size_t end = 0; !text.empty(); text.remove_prefix(end)) {
        end = std::min(text.find_first_of("\"\\"), text.size());
        if (end == 0) {
            out += {'\\', text.front()};
            end = 1;
        } else {
            appendAscii(out, text.substr(0, end));
        }
    }
    out += '"';
}

std::string toAsciiJson(const util::config::Value& tree) {
    std::string out;
    appendAscii(out, bytesOf(Payload::createFromConfig(tree)));
    return out;
}

std::optional<std::string> oneLine(std::string_view json) {
    util::config::JSONParser parser(false);
    const kit::Tree tree(parser.parseValue(json));
    if (!tree) {
        return std::nullopt;
    }
    // Inside of strings, JSON has no line break.
    std::string line(json);
    std::replace_if(
        line.begin(), line.end(), [](char each) { return each == '\n' || each == '\r'; }, ' ');
    return line;
}

std::string toBase64(std::string_view bytes) {
    constexpr char const* DIGITS =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8U | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            out += k <= count ? DIGITS[group >> (18 - 6 * k) & 0x3FU] : '=';
        }
    }
    return out;
}

std::string_view bytesOf(const Payload& payload) noexcept {
    return {reinterpret_cast<char const*>(payload.data()), payload.size()};
}

}  // namespace kova::http::detail
