#pragma once

#include <cstddef>

#include "kova/kit/Executor.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// Options of `Worker`.
struct WorkerOptions {
    /// Number of threads; 0 is treated as 1.
    unsigned threads = 1;
    /// The number of places. Each unfinished call and each function that waits to run needs one
    /// place.
    std::size_t capacity = 1024;
};

/// An executor with its own threads.
///
/// Functions and callbacks begin in the order in which they were queued. The callbacks of one call
/// run one after the other, even if the worker has several threads.
///
///     kova::kit::Worker worker({2});
///     bool accepted = worker.tryPost([] { /* on a thread of the worker */ });
///     worker.stop();
class KOVA_KIT_API Worker : public Executor {
public:
    /// Starts the threads. Throws `std::system_error` if a thread cannot be started.
    explicit Worker(const WorkerOptions& options = {});
    /// Calls `stop`.
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Rejects new calls and functions, ends the calls of the worker as "cancelled", runs the
    /// queued tasks, and waits until the threads have ended. A wait of more than a second is
    /// traced. If a thread of the worker calls it, it does not wait; the threads end when no task
    /// is left.
    void stop();

private:
    class KOVA_KIT_LOCAL State;

    KOVA_KIT_LOCAL State& own() const noexcept;
};

}  // namespace kova::kit
