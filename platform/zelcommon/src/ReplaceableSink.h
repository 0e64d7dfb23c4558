#pragma once

#include <cerrno>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace zel {

/// A process-wide function that any thread may call and replace. The lock protects only the pointer
/// and is not held while the function runs, so the function may call this sink again or replace
/// itself. Re-entrant calls go to the default function, to avoid infinite recursion. A call
/// preserves `errno`.
///
/// Create at most one object for each type of argument, because the re-entrancy flag is static.
template <typename Argument>
class ReplaceableSink {
public:
    using Function = std::function<void(const Argument&)>;

    explicit ReplaceableSink(void (*fallback)(const Argument&)) : fallback_(fallback) {}

    /// Installs `function`, or the default if it is empty. Returns the former function, which is
    /// empty if that was the default.
    Function replace(Function function) {
        auto next = function ? std::make_shared<const Function>(std::move(function)) : nullptr;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            next.swap(current_);
        }
        return next ? *next : Function();
    }

    /// Calls the installed function, or the default if no function is installed or if the calling
    /// thread is already in a call.
    void call(const Argument& argument) const {
        const std::shared_ptr<const Function> function = running_ ? nullptr : current();
        const Run run;
        if (function) {
            (*function)(argument);
        } else {
            fallback_(argument);
        }
    }

private:
    // Marks the calling thread as running a call, and restores `errno` at its end.
    class Run {
    public:
        Run() : former_(running_), errno_(errno) { running_ = true; }
        ~Run() {
            running_ = former_;
            errno = errno_;
        }
        Run(const Run&) = delete;
        Run& operator=(const Run&) = delete;

    private:
        bool former_;
        int errno_;
    };

    std::shared_ptr<const Function> current() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return current_;
    }

    inline static thread_local bool running_ = false;
    void (*fallback_)(const Argument&);
    mutable std::mutex mutex_;
    std::shared_ptr<const Function> current_;
};

}  // namespace zel
