#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <system_error>

namespace device {

/// The number that the whole text is, in decimal digits alone; nothing when it is none.
inline std::optional<unsigned long> numberOf(const std::string& text) {
    unsigned long number = 0;
    char const* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    const bool whole = result.ec == std::errc() && result.ptr == end;
    return whole ? std::optional<unsigned long>(number) : std::nullopt;
}

}  // namespace device
