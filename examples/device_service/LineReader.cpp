#include "LineReader.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace device {

std::optional<std::string> LineReader::next() {
    std::size_t end = pending_.find('\n');
    while (end == std::string::npos && !ended_ && !stop_.received()) {
        const std::size_t searched = pending_.size();
        if (searched > MAX_LINE) {
            throw std::length_error("a line is too long");
        }
        pollfd sources[] = {{descriptor_, POLLIN, 0}, {stop_.descriptor(), POLLIN, 0}};
        if (poll(sources, 2, -1) > 0 && sources[0].revents != 0) {
            readMore();
        }
        end = pending_.find('\n', searched);
    }
    if (stop_.received() || (end == std::string::npos && pending_.empty())) {
        return std::nullopt;
    }
    std::string line = pending_.substr(0, end);
    pending_.erase(0, end == std::string::npos ? end : end + 1);
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

void LineReader::readMore() {
    char buffer[4096];
    const ssize_t count = read(descriptor_, buffer, sizeof(buffer));
    if (count > 0) {
        pending_.append(buffer, static_cast<std::size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        ended_ = true;
    }
}

}  // namespace device
