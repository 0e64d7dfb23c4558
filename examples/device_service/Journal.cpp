#include "Journal.h"

#include <algorithm>
#include <chrono>

namespace device {

void Journal::say(const std::string& text) {
    const std::lock_guard guard(mutex_);
    if (!quiet_) {
        out_ << text << std::endl;
    }
}

void Journal::complain(const std::string& reason, int status) {
    const std::lock_guard guard(mutex_);
    errors_ << reason << std::endl;
    exitStatus_ = std::max(exitStatus_, status);
}

void Journal::show(const std::string& line, const std::string& payload) {
    const std::lock_guard guard(mutex_);
    if (!quiet_ || !payload.empty()) {
        out_ << (quiet_ ? payload : line) << std::endl;
    }
    ++events_;
    changed_.notify_all();
}

void Journal::fail(const std::string& line, const std::string& reason, int status) {
    complain(quiet_ ? reason : line, status);
    const std::lock_guard guard(mutex_);
    ++events_;
    changed_.notify_all();
}

int Journal::exitStatus() {
    const std::lock_guard guard(mutex_);
    return exitStatus_;
}

void Journal::resetCount() {
    const std::lock_guard guard(mutex_);
    events_ = 0;
}

void Journal::awaitEvents(unsigned long count, const std::function<bool()>& interrupted) {
    constexpr std::chrono::milliseconds SLICE(100);
    constexpr int SLICES = 100;
    std::unique_lock<std::mutex> lock(mutex_);
    const auto came = [&] { return events_ >= count; };
    for (int slice = 0; slice < SLICES && !came() && !interrupted(); ++slice) {
        changed_.wait_for(lock, SLICE, came);
    }
    if (!came()) {
        errors_ << "gave up waiting" << std::endl;
    }
    events_ = 0;
}

}  // namespace device
