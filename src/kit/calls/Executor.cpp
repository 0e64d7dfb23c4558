#include "kova/kit/Executor.h"

#include "calls/ExecutorState.h"

namespace kova::kit {

namespace {

// A task that runs a function once and then destroys itself.
class FunctionTask final : public detail::Task {
public:
    FunctionTask(std::function<void()>&& function,
                 const std::shared_ptr<detail::ExecutorState>& executor)
        : function_(std::move(function)), executor_(executor) {}

    void run() noexcept override {
        function_();
        function_ = nullptr;
    }
    void done() noexcept override {
        executor_->giveBackPlace();
        delete this;
    }
    std::string label() const override { return "a posted function"; }

private:
    std::function<void()> function_;
    const std::shared_ptr<detail::ExecutorState> executor_;
};

}  // namespace

bool Executor::tryPost(std::function<void()> function) const {
    if (isInline()) {
        function();
        return true;
    }
    auto task = std::make_unique<FunctionTask>(std::move(function), state_);
    if (!state_->tryPost(*task)) {
        return false;
    }
    static_cast<void>(task.release());
    return true;
}

}  // namespace kova::kit
