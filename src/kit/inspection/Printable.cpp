#include "inspection/Printable.h"

#include <cstddef>

#include "zel/unicode/String.h"

namespace kova::kit::detail {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";
constexpr std::size_t LONGEST_CHARACTER = 4;

// Returns the bytes of the first character, or "" if the text does not begin with a well-formed
// UTF-8 character.
std::string_view firstCharacter(std::string_view bytes) noexcept {
    for (std::size_t size = 1; size <= LONGEST_CHARACTER && size <= bytes.size(); ++size) {
        if (zel::unicode::isUtf8(bytes.substr(0, size))) {
            return bytes.substr(0, size);
        }
    }
    return {};
}

}  // namespace

std::string printable(std::string_view bytes) {
    if (zel::unicode::isUtf8(bytes)) {
        return std::string(bytes);
    }
    std::string text;
    while (!bytes.empty()) {
        const std::string_view character = firstCharacter(bytes);
        text += character.empty() ? REPLACEMENT : character;
        bytes.remove_prefix(character.empty() ? 1 : character.size());
    }
    return text;
}

}  // namespace kova::kit::detail
