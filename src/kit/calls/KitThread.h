#pragma once

#include <cstddef>

#include "calls/ExecutorState.h"
#include "calls/Task.h"

namespace kova::kit::detail {

/// Returns the executor of the kit's thread. The thread starts with its first task and runs until
/// the process ends. It delivers the ends of inline calls that are not caused by an event of the
/// service, and cancels the requests of such calls.
ExecutorState& kitThread();

/// A batch of tasks for the kit's thread. The tasks are posted together, so that the posting thread
/// and the kit's thread rarely contend for the lock of the queue.
class KitBatch {
public:
    KitBatch() = default;
    ~KitBatch() { post(); }
    KitBatch(const KitBatch&) = delete;
    KitBatch& operator=(const KitBatch&) = delete;

    /// Adds a task, and posts the tasks if there are enough of them.
    void add(Task& task) noexcept {
        tasks_.push(task);
        if (++count_ == SIZE) {
            post();
        }
    }

private:
    static constexpr std::size_t SIZE = 256;

    void post() noexcept;

    TaskList tasks_;
    std::size_t count_ = 0;
};

}  // namespace kova::kit::detail
