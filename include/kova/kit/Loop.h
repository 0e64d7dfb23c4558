#pragma once

#include <chrono>
#include <cstddef>

#include "kova/kit/Executor.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// Options of `Loop`.
struct LoopOptions {
    /// Number of places. Each call that has not ended and each function that has not run needs one.
    std::size_t capacity = 1024;
};

/// An executor for a thread with an existing event loop: epoll, poll, GLib, Qt, asio.
///
/// The thread waits until the descriptor is readable, and then calls `runReady`, which runs the
/// callbacks. It never reads the descriptor itself.
///
///     kova::kit::Loop loop;
///     int descriptor = loop.fd();  // add it to the event loop, for reading, level-triggered
///     std::size_t count = loop.runReady();
class KOVA_KIT_API Loop : public Executor {
public:
    /// Creates the loop. Throws `std::system_error` if the system has no free descriptor.
    explicit Loop(const LoopOptions& options = {});
    /// Calls `stop`, and closes the descriptor.
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Returns the descriptor, which is readable while callbacks are ready. The loop owns it.
    int fd() const noexcept;
    /// Runs the callbacks and functions that were ready when it was called, on the calling thread,
    /// and returns their number. One thread at a time may call it. Inside a callback it returns 0.
    std::size_t runReady();
    /// Waits until a callback is ready, for at most `limit`, and calls `runReady`. For threads
    /// without an event loop.
    std::size_t runFor(std::chrono::milliseconds limit);

    /// Rejects new calls and functions, ends its calls as "cancelled", and runs the callbacks that
    /// are ready. Call it on the thread that runs the loop. Inside a callback it does not run them;
    /// the next `runReady` does.
    void stop();

private:
    class KOVA_KIT_LOCAL State;

    KOVA_KIT_LOCAL State& own() const noexcept;
};

}  // namespace kova::kit
