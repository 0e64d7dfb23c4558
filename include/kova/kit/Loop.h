#pragma once

#include <chrono>
#include <cstddef>

#include "kova/kit/Executor.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// Options of `Loop`.
struct LoopOptions {
    /// The number of places. Each unfinished call and each function that waits to run needs one
    /// place.
    std::size_t capacity = 1024;
};

/// An executor for a thread with an existing event loop: epoll, poll, GLib, Qt, asio.
///
/// The thread waits until the descriptor is readable, and then calls `runReady`, which runs the
/// callbacks. The thread must not read from the descriptor.
///
///     kova::kit::Loop loop;
///     int descriptor = loop.fd();  // add it to the event loop, for reading, level-triggered
///     std::size_t count = loop.runReady();
class KOVA_KIT_API Loop : public Executor {
public:
    /// Creates the loop. Throws `std::system_error` if the system cannot create another file
    /// descriptor.
    explicit Loop(const LoopOptions& options = {});
    /// Calls `stop`, and closes the descriptor.
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Returns the descriptor, which is readable while callbacks are ready. The loop owns it.
    int fd() const noexcept;
    /// Runs, on the calling thread, the callbacks and functions that are ready at the time of the
    /// call. Returns their number. Only one thread at a time may call it. If a callback calls it,
    /// it runs nothing and returns 0.
    std::size_t runReady();
    /// Waits until a callback is ready, for at most `limit`, and calls `runReady`. For threads
    /// without an event loop.
    std::size_t runFor(std::chrono::milliseconds limit);

    /// Rejects new calls and functions, ends the calls of the loop as "cancelled", and runs the
    /// callbacks that are ready. Call it on the thread that runs the loop. If a callback calls it,
    /// the next `runReady` runs the callbacks that are ready.
    void stop();

private:
    class KOVA_KIT_LOCAL State;

    KOVA_KIT_LOCAL State& own() const noexcept;
};

}  // namespace kova::kit
