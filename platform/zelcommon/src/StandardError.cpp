#include "StandardError.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace zel {

namespace {

bool isControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

}  // namespace

void writeLine(std::string text) {
    std::replace_if(text.begin(), text.end(), isControl, ' ');
    text.push_back('\n');
    // Usually one call of write(2) writes the whole line. After a signal or with a full pipe, a
    // call may write only a part of the line.
    std::string_view rest = text;
    while (!rest.empty()) {
        const ssize_t written = write(STDERR_FILENO, rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            return;  // stderr is gone; give up
        }
    }
}

}  // namespace zel
