#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <system_error>

namespace device {

/// Parses a text that consists only of decimal digits; returns nullopt for any other text.
inline std::optional<unsigned long> numberOf(const std::string& text) {
    unsigned long number = 0;
    char const* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    const bool whole = result.ec == std::errc() && result.ptr == end;
    return whole ? std::optional<unsigned long>(number) : std::nullopt;
}

}  // namespace device
