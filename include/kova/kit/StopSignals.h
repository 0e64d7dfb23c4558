#pragma once

#include <csignal>

#include <chrono>
#include <optional>

#include "kova/kit/Export.h"

namespace kova::kit {

/// Waits for the signals that ask a process to stop: SIGINT (Ctrl-C) and SIGTERM.
///
/// The object blocks both signals for the thread that creates it and for those that are started
/// later, so that neither signal interrupts these threads. Create it first in `main`, before the
/// first thread. The object stays signalled after the first signal until it is destroyed, so every
/// later call of `wait` returns true.
///
/// A process must not have more than one `StopSignals` object at a time. A program that is started
/// with `exec` inherits the blocked signals. Any thread that was started later may call any
/// function; the thread that created the object destroys it.
///
///     const auto serve = [](const kova::kit::StopSignals& stop) {
///         while (!stop.wait(std::chrono::seconds(1))) {
///             // once a second, until Ctrl-C
///         }
///     };
class KOVA_KIT_API StopSignals {
public:
    /// Throws `std::system_error` if the system cannot create another file descriptor.
    StopSignals();
    /// Discards the signals that have arrived, and restores the signal mask that the thread had
    /// before.
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    /// Returns whether a signal has arrived.
    bool received() const noexcept { return wait(std::chrono::milliseconds(0)); }
    /// Waits for a signal, for at most `limit`. Returns whether a signal has arrived.
    bool wait(std::optional<std::chrono::milliseconds> limit = std::nullopt) const noexcept;
    /// Returns a descriptor for `poll` and event loops, which becomes readable when the first
    /// signal arrives and then stays readable. Do not read from it.
    int descriptor() const noexcept { return descriptor_; }

private:
    sigset_t former_;
    int descriptor_;
};

}  // namespace kova::kit
