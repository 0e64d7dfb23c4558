#include "kova/kit/StopSignals.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>

namespace kova::kit {

namespace {

sigset_t stopSignals() noexcept {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

}  // namespace

// Blocks the signals. The kernel then keeps a signal pending until it is read from the descriptor,
// so no signal is lost while no thread waits.
StopSignals::StopSignals() : former_() {
    const sigset_t signals = stopSignals();
    descriptor_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    pthread_sigmask(SIG_BLOCK, &signals, &former_);
}

StopSignals::~StopSignals() {
    signalfd_siginfo signal;
    while (read(descriptor_, &signal, sizeof(signal)) > 0) {
    }
    close(descriptor_);
    pthread_sigmask(SIG_SETMASK, &former_, nullptr);
}

bool StopSignals::wait(std::optional<std::chrono::milliseconds> limit) const noexcept {
    using std::chrono::steady_clock;
    const auto begin = steady_clock::now();
    while (true) {
        int timeout = -1;
        if (limit) {
            const auto passed =
                std::chrono::floor<std::chrono::milliseconds>(steady_clock::now() - begin);
            const auto left = std::max(*limit - passed, std::chrono::milliseconds(0)).count();
            timeout =
                static_cast<int>(std::min<std::int64_t>(left, std::numeric_limits<int>::max()));
        }
        pollfd source = {descriptor_, POLLIN, 0};
        const int ready = poll(&source, 1, timeout);
        if (ready > 0 || (ready == 0 && limit && timeout < std::numeric_limits<int>::max())) {
            return ready > 0;
        }
    }
}

}  // namespace kova::kit
