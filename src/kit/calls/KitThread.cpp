#include "calls/KitThread.h"

#include <sys/prctl.h>

#include <condition_variable>
#include <limits>
#include <thread>

namespace kova::kit::detail {

namespace {

class KitThread final : public ExecutorState {
public:
    KitThread() : ExecutorState(std::numeric_limits<std::size_t>::max()) {
        std::thread([this] { work(); }).detach();
    }

    bool wouldBlockAll() noexcept override { return true; }
    void endWait() noexcept override {}

protected:
    void wake() noexcept override { queued_.notify_one(); }

private:
    [[noreturn]] void work() noexcept {
        prctl(PR_SET_NAME, "kova-kit");
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            Task* const task = popLocked();
            if (task == nullptr) {
                queued_.wait(lock);
                continue;
            }
            lock.unlock();
            run(*task);
            lock.lock();
        }
    }

    std::condition_variable queued_;
};

}  // namespace

ExecutorState& kitThread() {
    // Never destroyed: the thread runs until the process ends.
    static KitThread& instance = *new KitThread;
    return instance;
}

}  // namespace kova::kit::detail
