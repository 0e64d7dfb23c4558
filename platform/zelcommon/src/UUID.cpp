#include "zel/UUID.h"

namespace zel {

namespace {

constexpr char DIGITS[] = "0123456789abcdef";
constexpr unsigned char NO_DIGIT = 0xFF;

/// Returns a table of the values of the hexadecimal digits in both cases, independent of the
/// locale.
constexpr std::array<unsigned char, 256> digitValues() {
    std::array<unsigned char, 256> values{};
    for (unsigned char& value : values) {
        value = NO_DIGIT;
    }
    for (unsigned char i = 0; i < 16; ++i) {
        const char digit = DIGITS[i];
        values[static_cast<unsigned char>(digit)] = i;
        if (digit >= 'a') {
            values[static_cast<unsigned char>(digit - 'a' + 'A')] = i;
        }
    }
    return values;
}
constexpr std::array<unsigned char, 256> VALUES = digitValues();
static_assert(VALUES['f'] == 15 && VALUES['F'] == 15 && VALUES['9'] == 9 && VALUES['A'] == 10);
static_assert(VALUES['g'] == NO_DIGIT && VALUES['@'] == NO_DIGIT && VALUES[0] == NO_DIGIT);

// The positions of the two digits of each byte in the text form, and the positions of the hyphens.
constexpr std::array<std::size_t, 16> PLACES = {0,  2,  4,  6,  9,  11, 14, 16,
                                                19, 21, 24, 26, 28, 30, 32, 34};
constexpr std::array<std::size_t, 4> HYPHENS = {8, 13, 18, 23};

bool hasHyphens(char const* text) noexcept {
    bool has = true;
    for (const std::size_t place : HYPHENS) {
        has &= text[place] == '-';
    }
    return has;
}

}  // namespace

UUID::UUID(const Bytes& bytes, int version) noexcept : bytes_(bytes) {
    bytes_[6] = static_cast<unsigned char>((bytes_[6] & 0x0F) | ((version & 0x0F) << 4));
    bytes_[8] = static_cast<unsigned char>((bytes_[8] & 0x3F) | 0x80);
}

bool UUID::tryParse(UUID& out, std::string_view text) noexcept {
    if (text.size() != TEXT_LENGTH || !hasHyphens(text.data())) {
        return true;
    }
    const auto valueAt = [&](std::size_t place) -> unsigned {
        return VALUES[static_cast<unsigned char>(text[place])];
    };
    Bytes bytes;
    unsigned seen = 0;  // bitwise OR of all values; above 15 if a character is not a digit
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const unsigned high = valueAt(PLACES[i]);
        const unsigned low = valueAt(PLACES[i] + 1);
        seen |= high | low;
        bytes[i] = static_cast<unsigned char>(high << 4 | low);
    }
    if (seen > 15) {
        return true;
    }
    out.bytes_ = bytes;
    return false;
}

void UUID::print(char* out) const noexcept {
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        out[PLACES[i]] = DIGITS[bytes_[i] >> 4];
        out[PLACES[i] + 1] = DIGITS[bytes_[i] & 0x0F];
    }
    for (const std::size_t place : HYPHENS) {
        out[place] = '-';
    }
}

std::string UUID::toString() const {
    std::string text(TEXT_LENGTH, '\0');
    print(text.data());
    return text;
}

}  // namespace zel
