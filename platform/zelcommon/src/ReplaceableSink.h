#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace zel {

/// A process-wide function that any thread may call and replace. The lock guards the pointer alone
/// and is never held while the function runs, so a sink may report, trace or replace itself.
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
        std::shared_ptr<const Function> function;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            function = current_;
        }
        if (function) {
            (*function)(argument);
        } else {
            fallback_(argument);
        }
    }

private:
    void (*fallback_)(const Argument&);
    mutable std::mutex mutex_;
    std::shared_ptr<const Function> current_;
};

}  // namespace zel
