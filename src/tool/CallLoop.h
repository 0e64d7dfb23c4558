#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "kova/kit/Loop.h"

namespace kova::tool {

/// Runs the callbacks of requests on the main thread, until a condition holds, a time has passed,
/// Ctrl-C was pressed or nobody reads the output.
///
/// Not synchronized: the thread that created the loop calls every function. Callbacks run only
/// inside `run` and `finish`, so they use the variables of this thread without a lock.
///
///     CallLoop loop(context.interrupt);
///     bool isEnded = false;
///     const auto call = std::move(client.retrieve<int>("/level").onEnd([&](const kit::End&) {
///         isEnded = true;
///     })).start(loop.executor());
///     loop.run([&] { return isEnded; }, std::nullopt);
class CallLoop {
public:
    using Clock = std::chrono::steady_clock;
    /// The reason for which `run` returned.
    enum class Reason { holds, interrupted, timedOut, unread };

    /// Creates the loop. `interrupt` is a descriptor that is readable from the first Ctrl-C on, or
    /// -1. `output` is a descriptor that others read, or -1. `run` returns `unread` when nobody
    /// reads it any more, so that a program whose output goes to `head` does not wait for the next
    /// value.
    explicit CallLoop(int interrupt, int output = -1) : interrupt_(interrupt), output_(output) {}

    /// Returns the executor for the callbacks.
    const kit::Executor& executor() const noexcept { return loop_; }
    /// Runs callbacks until the condition holds, `until` has passed or Ctrl-C was pressed. Checks
    /// the condition first, and again after each round of callbacks.
    Reason run(const std::function<bool()>& condition, std::optional<Clock::time_point> until);
    /// Runs callbacks until the condition holds or the limit has passed. Ignores Ctrl-C: this
    /// function waits for the ends of requests that Ctrl-C has cancelled.
    void finish(const std::function<bool()>& condition, std::chrono::milliseconds limit);

private:
    Reason runUntil(int interrupt, int output, const std::function<bool()>& condition,
                    std::optional<Clock::time_point> until);

    const int interrupt_;
    const int output_;
    kit::Loop loop_;
};

}  // namespace kova::tool
