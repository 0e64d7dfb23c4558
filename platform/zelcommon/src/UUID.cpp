#include "zel/UUID.h"

namespace zel {

namespace {

constexpr char DIGITS[] = "0123456789abcdef";

// Value of a hexadecimal digit, or -1. Arithmetic rather than <cctype>: no locale plays a role.
constexpr int digitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Whether a hyphen stands in front of byte `index` in the text form.
constexpr bool hyphenBefore(std::size_t index) {
    return index == 4 || index == 6 || index == 8 || index == 10;
}

}  // namespace

UUID::UUID(const Bytes& bytes, int version) noexcept : bytes_(bytes) {
    bytes_[6] = static_cast<unsigned char>((bytes_[6] & 0x0F) | ((version & 0x0F) << 4));
    bytes_[8] = static_cast<unsigned char>((bytes_[8] & 0x3F) | 0x80);
}

bool UUID::tryParse(UUID& out, std::string_view text) noexcept {
    if (text.size() != TEXT_LENGTH) {
        return true;
    }
    Bytes bytes{};
    std::size_t position = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (hyphenBefore(i) && text[position++] != '-') {
            return true;
        }
        const int high = digitValue(text[position++]);
        const int low = digitValue(text[position++]);
        if (high < 0 || low < 0) {
            return true;
        }
        bytes[i] = static_cast<unsigned char>(high << 4 | low);
    }
    out.bytes_ = bytes;
    return false;
}

void UUID::print(char* out) const noexcept {
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (hyphenBefore(i)) {
            *out++ = '-';
        }
        *out++ = DIGITS[bytes_[i] >> 4];
        *out++ = DIGITS[bytes_[i] & 0x0F];
    }
}

std::string UUID::toString() const {
    std::string text(TEXT_LENGTH, '\0');
    print(text.data());
    return text;
}

}  // namespace zel
