#include "util/config/CompactString.h"

#include <ostream>

namespace util::config {

char* detail::newTextBlock(std::string_view text) {
    const std::size_t size = text.size();
    auto* const block = static_cast<char*>(::operator new(sizeof size + size + 1));
    std::memcpy(block, &size, sizeof size);
    std::memcpy(block + sizeof size, text.data(), size);
    block[sizeof size + size] = '\0';
    return block;
}

std::ostream& operator<<(std::ostream& out, const CompactString& text) {
    return out << std::string_view(text);
}

}  // namespace util::config
