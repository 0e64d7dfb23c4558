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
        for (;;) {
            TaskList tasks;
            {
                std::unique_lock<std::mutex> lock(mutex_);
                queued_.wait(lock, [this] { return queuedLocked() != 0; });
                popAllLocked(tasks);
            }
            while (!tasks.empty()) {
                runUncounted(tasks.pop());
            }
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

void KitBatch::post() noexcept {
    if (count_ != 0) {
        kitThread().post(tasks_, count_);
        count_ = 0;
    }
}

}  // namespace kova::kit::detail
