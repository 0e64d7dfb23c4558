#include "directory/ServiceName.h"

#include <charconv>

namespace kova::http::detail {

namespace {

constexpr char SEPARATOR = '+';

bool isUnchanged(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

// Returns the byte of two digits, or nothing.
std::optional<char> byteOf(std::string_view digits) noexcept {
    unsigned value = 0;
    char const* const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, value, 16);
    if (digits.size() != 2 || read.ec != std::errc() || read.ptr != end) {
        return std::nullopt;
    }
    return static_cast<char>(value);
}

}  // namespace

bool isServicePath(std::string_view path) noexcept {
    return path.size() > 1 && path.front() == '/' && path.back() != '/' &&
           path.find("//") == std::string_view::npos &&
           path.find_first_of("$?#[") == std::string_view::npos;
}

std::string toFileName(std::string_view servicePath) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string name;
    for (const char c : servicePath.substr(1)) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '/') {
            name += SEPARATOR;
        } else if (isUnchanged(c) && !(c == '.' && name.empty())) {
            name += c;
        } else {
            name += {'%', DIGITS[byte >> 4U], DIGITS[byte & 0xFU]};
        }
    }
    return name;
}

std::optional<std::string> toServicePath(std::string_view fileName) {
    std::string path = "/";
    for (std::size_t i = 0; i < fileName.size(); ++i) {
        if (fileName[i] == SEPARATOR) {
            path += '/';
        } else if (fileName[i] != '%') {
            path += fileName[i];
        } else if (const auto byte = byteOf(fileName.substr(i + 1, 2))) {
            path += *byte;
            i += 2;
        } else {
            return std::nullopt;
        }
    }
    return isServicePath(path) && toFileName(path) == fileName ? std::optional(path) : std::nullopt;
}

}  // namespace kova::http::detail
