#include "Text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace kova::tool {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";
constexpr std::string_view ELLIPSIS = "\xE2\x80\xA6";

/// A character of a text: its code point and its bytes. A byte that is not UTF-8 has the code point
/// 0xFFFD.
struct Character {
    std::uint32_t number = 0xFFFD;
    std::size_t size = 1;
};

std::size_t sizeByFirst(unsigned char first) noexcept {
    return first < 0x80   ? 1
           : first < 0xC2 ? 0
           : first < 0xE0 ? 2
           : first < 0xF0 ? 3
           : first < 0xF5 ? 4
                          : 0;
}

// Decodes the character at the beginning of a text that is not empty (RFC 3629).
Character decode(std::string_view text) noexcept {
    constexpr std::uint32_t LOWEST[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text[0]);
    const std::size_t size = sizeByFirst(first);
    if (size == 0 || size > text.size()) {
        return {};
    }
    std::uint32_t number = size == 1 ? first : first & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80U) {
            return {};
        }
        number = number << 6U | (byte & 0x3FU);
    }
    const bool isSurrogate = number >= 0xD800 && number < 0xE000;
    return number < LOWEST[size] || number > 0x10FFFF || isSurrogate ? Character{}
                                                                     : Character{number, size};
}

// Returns whether a terminal obeys the character: C0, DEL, C1, the separators of lines and
// paragraphs, and the marks of bidirectional text, which change the order of what follows.
bool isControl(std::uint32_t number) noexcept {
    return number < 0x20 || (number >= 0x7F && number < 0xA0) || number == 0x061C ||
           number == 0x200E || number == 0x200F || (number >= 0x2028 && number <= 0x202E) ||
           (number >= 0x2066 && number <= 0x2069);
}

struct Range {
    std::uint32_t first;
    std::uint32_t last;
};

// Combining marks and joiners, which need no column of their own.
constexpr Range ZERO_WIDTH[] = {{0x300, 0x36F},   {0x483, 0x489},   {0x591, 0x5BD},
                                {0x610, 0x61A},   {0x64B, 0x65F},   {0x1AB0, 0x1AFF},
                                {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x20D0, 0x20FF},
                                {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}};
// East Asian wide characters and pictographs, which need two columns (Unicode, UAX #11).
constexpr Range WIDE[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0x33FF},
                          {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},
                          {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},
                          {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F},
                          {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <std::size_t N>
bool isIn(const Range (&ranges)[N], std::uint32_t number) noexcept {
    return std::any_of(std::begin(ranges), std::end(ranges), [number](const Range& range) {
        return number >= range.first && number <= range.last;
    });
}

unsigned widthOf(std::uint32_t number) noexcept {
    return isIn(ZERO_WIDTH, number) ? 0 : isIn(WIDE, number) ? 2 : 1;
}

// Returns the size in bytes of the longest beginning of the text that is at most `columns` wide.
std::size_t bytesWithin(std::string_view text, unsigned columns) noexcept {
    unsigned used = 0;
    std::size_t at = 0;
    while (at < text.size()) {
        const Character next = decode(text.substr(at));
        used += widthOf(next.number);
        if (used > columns) {
            break;
        }
        at += next.size;
    }
    return at;
}

}  // namespace

std::string coloured(const Screen& screen, Colour colour, std::string_view text) {
    constexpr char const* CODES[] = {"\x1b[31m", "\x1b[32m", "\x1b[34m", "\x1b[2m"};
    static_assert(std::size(CODES) == static_cast<std::size_t>(Colour::faint) + 1);
    if (!screen.hasColours) {
        return std::string(text);
    }
    return CODES[static_cast<std::size_t>(colour)] + std::string(text) + "\x1b[0m";
}

std::string visible(std::string_view text, bool keepsLines) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const Character next = decode(text.substr(at));
        const bool isKept = keepsLines && (next.number == '\n' || next.number == '\t');
        if (next.number == 0xFFFD || (isControl(next.number) && !isKept)) {
            result += REPLACEMENT;
        } else {
            result += text.substr(at, next.size);
        }
        at += next.size;
    }
    return result;
}

unsigned columnsOf(std::string_view text) {
    unsigned columns = 0;
    for (std::size_t at = 0; at < text.size();) {
        const Character next = decode(text.substr(at));
        columns += widthOf(next.number);
        at += next.size;
    }
    return columns;
}

std::string cut(std::string_view text, unsigned columns) {
    if (bytesWithin(text, columns) == text.size()) {
        return std::string(text);
    }
    if (columns == 0) {
        return "";
    }
    return std::string(text.substr(0, bytesWithin(text, columns - 1))) + std::string(ELLIPSIS);
}

std::string padded(std::string_view text, unsigned columns) {
    const unsigned used = columnsOf(text);
    return std::string(text) + std::string(columns > used ? columns - used : 0, ' ');
}

}  // namespace kova::tool
