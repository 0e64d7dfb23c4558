#pragma once

#include <cstddef>

#include "kova/kit/Executor.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// Options of `Worker`.
struct WorkerOptions {
    /// Number of threads; 0 counts as 1.
    unsigned threads = 1;
    /// Number of places: calls that have not ended, and functions that have not run.
    std::size_t capacity = 1024;
};

/// An executor with threads of its own.
///
/// Functions and callbacks begin in the order in which they were queued. The callbacks of one call
/// run one after the other, also on several threads.
///
///     kova::kit::Worker worker({2});
///     bool accepted = worker.tryPost([] { /* on a thread of the worker */ });
///     worker.stop();
class KOVA_KIT_API Worker : public Executor {
public:
    /// Starts the threads. Throws `std::system_error` if one cannot be started.
    explicit Worker(const WorkerOptions& options = {});
    /// Calls `stop`.
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Refuses new calls and functions, ends the calls that it has as "cancelled", runs what is
    /// queued, and waits until the threads have ended. A wait of more than a second is traced. From
    /// a thread of the worker it does not wait; the threads then end when they have nothing left to
    /// do.
    void stop();

private:
    class KOVA_KIT_LOCAL State;

    KOVA_KIT_LOCAL State& own() const noexcept;
};

}  // namespace kova::kit
