#include "kova/kit/Loop.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "calls/ExecutorState.h"
#include "calls/Threads.h"

namespace kova::kit {

class Loop::State final : public detail::ExecutorState {
public:
    explicit State(std::size_t capacity)
        : ExecutorState(capacity), fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (fd_ < 0) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }
    ~State() override { ::close(fd_); }

    int fd() const noexcept { return fd_; }
    std::size_t runReady();
    void stop();
    using ExecutorState::leaveToKit;

    bool wouldBlockAll() noexcept override { return true; }
    void endWait() noexcept override {}

protected:
    // If several tasks are queued, only the first one writes to the descriptor, because a write
    // takes 300 ns.
    void wake() noexcept override {
        if (!signalled_) {
            signalled_ = true;
            // `eventfd_write` cannot fail here, because the counter is 0 and the descriptor is
            // open.
            static_cast<void>(::eventfd_write(fd_, 1));
        }
    }

private:
    // Returns the number of tasks that are ready, and clears the descriptor.
    std::size_t takeSignal();

    const int fd_;
    bool signalled_ = false;
};

std::size_t Loop::State::takeSignal() {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (signalled_) {
        eventfd_t count = 0;
        static_cast<void>(::eventfd_read(fd_, &count));
        signalled_ = false;
    }
    return queuedLocked();
}

std::size_t Loop::State::runReady() {
    if (detail::thisThread().executor == this) {
        return 0;
    }
    const std::size_t ready = takeSignal();
    std::size_t count = 0;
    for (; count < ready; ++count) {
        detail::Task* task = nullptr;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            task = popLocked();
        }
        if (task == nullptr) {
            break;
        }
        run(*task);
    }
    return count;
}

void Loop::State::stop() {
    endCalls();
    while (runReady() != 0) {
    }
}

Loop::Loop(const LoopOptions& options) : Executor(std::make_shared<State>(options.capacity)) {}

Loop::~Loop() {
    stop();
    own().leaveToKit();
}

int Loop::fd() const noexcept {
    return own().fd();
}

std::size_t Loop::runReady() {
    const std::shared_ptr<detail::ExecutorState> alive =
        state();  // a callback may destroy the loop
    return own().runReady();
}

std::size_t Loop::runFor(std::chrono::milliseconds limit) {
    pollfd descriptor{fd(), POLLIN, 0};
    static_cast<void>(::poll(&descriptor, 1, static_cast<int>(limit.count())));
    return runReady();
}

void Loop::stop() {
    own().stop();
}

Loop::State& Loop::own() const noexcept {
    return static_cast<State&>(*state());
}

}  // namespace kova::kit
