#pragma once

#include <cerrno>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace zel {

/// A process-wide function that any thread may call and replace. The lock guards the pointer alone
/// and is never held while the function runs, so a function may call this sink again or replace
/// itself. What it calls this sink with goes to the default: a function that always does so would
/// never end. `errno` stays as it was.
///
/// One object for each type of argument.
template <typename Argument>
class ReplaceableSink {
public:
    using Function = std::function<void(const Argument&)>;

    explicit ReplaceableSink(void (*fallback)(const Argument&)) : fallback_(fallback) {}

    /// Puts `function` in place (empty: the default) and returns the former one.
    Function replace(Function function) {
        auto next = function ? std::make_shared<const Function>(std::move(function)) : nullptr;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            next.swap(current_);
        }
        return next ? *next : Function();
    }

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
    // The time of one call on the calling thread.
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
