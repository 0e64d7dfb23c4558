#include "LineReader.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <stdexcept>

namespace device {

namespace {

volatile std::sig_atomic_t signalled = 0;

void onSignal(int /*number*/) {
    signalled = 1;
}

}  // namespace

// Blocked signals remain pending until `ppoll` waits with the former mask, so none is missed.
LineReader::LineReader(int descriptor) : descriptor_(descriptor) {
    signalled = 0;
    sigset_t stops;
    sigemptyset(&stops);
    struct sigaction action {};
    action.sa_handler = onSignal;
    for (const int signal : {SIGINT, SIGTERM}) {
        sigaddset(&stops, signal);
        sigaction(signal, &action, nullptr);
    }
    pthread_sigmask(SIG_BLOCK, &stops, &formerMask_);
}

LineReader::~LineReader() {
    pthread_sigmask(SIG_SETMASK, &formerMask_, nullptr);
    (void)std::signal(SIGINT, SIG_DFL);
    (void)std::signal(SIGTERM, SIG_DFL);
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
        pollfd source = {descriptor_, POLLIN, 0};
        if (ppoll(&source, 1, nullptr, &formerMask_) > 0) {
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

bool LineReader::stopped() {
    return signalled != 0;
}

bool LineReader::waitForStop(int milliseconds) {
    const timespec limit = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
    if (!stopped()) {
        ppoll(nullptr, 0, &limit, &formerMask_);
    }
    return stopped();
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
