#include "LineReader.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>

namespace device {

namespace {

// The signal handler writes a byte into this pipe, which wakes the polling thread.
int wakePipe[2] = {-1, -1};

void onSignal(int) {
    const int error = errno;
    const char byte = 0;
    if (write(wakePipe[1], &byte, 1) < 0) {
        // The pipe is full, so the polling thread wakes anyway.
    }
    errno = error;
}

}  // namespace

LineReader::LineReader(int descriptor) : descriptor_(descriptor) {
    if (pipe2(wakePipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::runtime_error("cannot make a pipe");
    }
    signals_ = wakePipe[0];
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;  // other system calls restart; poll returns anyway
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

LineReader::~LineReader() {
    (void)std::signal(SIGINT, SIG_DFL);
    (void)std::signal(SIGTERM, SIG_DFL);
    close(wakePipe[0]);
    close(wakePipe[1]);
}

std::optional<std::string> LineReader::next() {
    while (!waitForStop(0)) {
        const std::size_t end = pending_.find('\n', searched_);
        if (end != std::string::npos || (ended_ && !pending_.empty())) {
            return takeLine(end);
        }
        searched_ = pending_.size();
        if (searched_ > MAX_LINE) {
            throw std::length_error("a line is too long");
        }
        if (ended_) {
            break;
        }
        pollfd sources[] = {{signals_, POLLIN, 0}, {descriptor_, POLLIN, 0}};
        if (poll(sources, 2, -1) > 0 && sources[1].revents != 0) {
            readMore();
        }
    }
    return std::nullopt;
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

bool LineReader::waitForStop(int milliseconds) {
    pollfd source = {signals_, POLLIN, 0};
    stopped_ = stopped_ || poll(&source, 1, milliseconds) > 0;
    return stopped_;
}

// Removes and returns the line up to `end`, or the rest of the input. Also removes a carriage
// return at the end of the line.
std::string LineReader::takeLine(std::size_t end) {
    std::string line = pending_.substr(0, end);
    pending_.erase(0, end == std::string::npos ? end : end + 1);
    searched_ = 0;
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

}  // namespace device
