#pragma once

#include <chrono>
#include <cstddef>

#include "kova/kit/Executor.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// Options of `Loop`.
struct LoopOptions {
    /// Number of places: calls that have not ended, and functions that have not run.
    std::size_t capacity = 1024;
};

/// An executor for a thread that has an event loop of its own: epoll, poll, GLib, Qt, asio.
///
/// The thread waits until the descriptor is readable, and then calls `runReady`, which runs the
/// callbacks. It never reads the descriptor itself.
///
///     kova::kit::Loop loop;
///     int descriptor = loop.fd();  // add it to the event loop, for reading, level-triggered
///     std::size_t count = loop.runReady();
class KOVA_KIT_API Loop : public Executor {
public:
    /// Throws `std::system_error` without a descriptor.
    explicit Loop(const LoopOptions& options = {});
    /// Calls `stop`, and closes the descriptor.
    ~Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    /// Returns the descriptor, which is readable while something is ready. It belongs to the loop.
    int fd() const noexcept;
    /// Runs what was ready when it was called, on the calling thread, and returns how many
    /// callbacks and functions that were. One thread at a time may call it; inside a callback it
    /// returns 0.
    std::size_t runReady();
    /// Waits until something is ready, for at most `limit`, and calls `runReady`. For threads
    /// without an event loop.
    std::size_t runFor(std::chrono::milliseconds limit);

    /// Refuses new calls and functions, ends the calls that it has as "cancelled", and runs what is
    /// ready. Call it on the thread that runs the loop. Inside a callback it leaves that to
    /// `runReady`.
    void stop();

private:
    class KOVA_KIT_LOCAL State;

    KOVA_KIT_LOCAL State& own() const noexcept;
};

}  // namespace kova::kit
