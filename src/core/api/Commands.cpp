#include "kova/core/Commands.h"

#include <cstddef>
#include <iterator>

namespace kova::commands {

unsigned char toId(const std::string& command) noexcept {
    // The id of a command word is its index in this array.
    static constexpr char const* WORDS[] = {RETRIEVE, UPDATE, DELETE, INSERT};
    for (std::size_t id = 0; id < std::size(WORDS); ++id) {
        if (command == WORDS[id]) {
            return static_cast<unsigned char>(id);
        }
    }
    return UNKNOWN_ID;
}

}  // namespace kova::commands
