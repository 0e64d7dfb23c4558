#include "LineReader.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>

namespace device {

namespace {

// The signal handler can do little more than write a byte, which wakes whoever polls.
int wakePipe[2] = {-1, -1};

void onSignal(int) {
    const int error = errno;
    const char byte = 0;
    if (write(wakePipe[1], &byte, 1) < 0) {
        // The pipe is full: it wakes all the same.
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
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

LineReader::~LineReader() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    close(wakePipe[0]);
    close(wakePipe[1]);
}

std::optional<std::string> LineReader::next() {
    while (!stopped_) {
        if (pending_.find('\n') != std::string::npos || (ended_ && !pending_.empty())) {
            return takeLine();
        }
        if (ended_) {
            break;
        }
        pollfd sources[] = {{signals_, POLLIN, 0}, {descriptor_, POLLIN, 0}};
        if (poll(sources, 2, -1) < 0) {
            continue;  // interrupted: the pipe tells why
        }
        if (sources[0].revents != 0) {
            stopped_ = true;
        } else if (sources[1].revents != 0) {
            char buffer[4096];
            const ssize_t count = read(descriptor_, buffer, sizeof(buffer));
            if (count > 0) {
                pending_.append(buffer, static_cast<std::size_t>(count));
            } else if (count == 0 || errno != EINTR) {
                ended_ = true;
            }
        }
    }
    return std::nullopt;
}

bool LineReader::waitForStop(int milliseconds) {
    pollfd source = {signals_, POLLIN, 0};
    stopped_ = stopped_ || poll(&source, 1, milliseconds) > 0;
    return stopped_;
}

std::optional<std::string> LineReader::takeLine() {
    const std::size_t end = pending_.find('\n');
    std::string line = pending_.substr(0, end);
    pending_.erase(0, end == std::string::npos ? end : end + 1);
    return line;
}

}  // namespace device
