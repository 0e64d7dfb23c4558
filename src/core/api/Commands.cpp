#include "kova/core/Commands.h"

#include <iterator>

namespace kova::commands {

unsigned char toId(const std::string& command) noexcept {
    // The id of a word is its place here.
    static constexpr char const* WORDS[] = {RETRIEVE, UPDATE, DELETE, INSERT};
    for (unsigned char id = 0; id < std::size(WORDS); ++id) {
        if (command == WORDS[id]) {
            return id;
        }
    }
    return UNKNOWN_ID;
}

}  // namespace kova::commands
