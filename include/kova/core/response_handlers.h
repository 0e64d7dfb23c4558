#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "kova/core/Errors.h"
#include "kova/core/Export.h"
#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"
#include "zel/ErrorOutput.h"

/// Response handlers that enforce termination: they forward nothing after the first `onError` or
/// `onCompleted`. They trace and ignore a late terminating event. They trace a late `onNext`,
/// report it as `RequestFailed` and return true. `onNext` never terminates a wrapper, whatever it
/// returns.
///
/// They use no lock: the events of one request come from one thread at a time. Their destructors
/// send no event.
namespace kova::responsehandlers {

/// @{
/// Writes a trace message to the channel "KOVA_RESPONSEHANDLERS". `event` is "onNext", "onError" or
/// "onCompleted". `traceTermination` is for a sender that terminates a request because `onNext`
/// returned true.
KOVA_API void traceAlreadyTerminated(char const* event, bool severe) noexcept;
KOVA_API void traceSetTerminated(char const* event) noexcept;
KOVA_API void traceTermination(bool error) noexcept;
/// @}

}  // namespace kova::responsehandlers

namespace kova::detail {

/// Sets the `terminated` flag of a wrapper at a terminating event. Returns whether the event is
/// late and must not be forwarded.
inline bool refuseTermination(bool& terminated, char const* event) noexcept {
    if (terminated) {
        responsehandlers::traceAlreadyTerminated(event, false);
        return true;
    }
    responsehandlers::traceSetTerminated(event);
    terminated = true;
    return false;
}

/// Returns whether a value is late and must not be forwarded.
inline bool refuseNext(bool terminated) {
    if (terminated) {
        responsehandlers::traceAlreadyTerminated("onNext", true);
        zel::ErrorOutput("include/kova/core/response_handlers", __LINE__, true)(
            errors::Error, errors::RequestFailed, "Request already terminated");
    }
    return terminated;
}

}  // namespace kova::detail

namespace kova::responsehandlers {

/// A response handler that calls three functions.
///
/// `onNext` throws `std::bad_function_call` if the next function is empty. An error or completed
/// function that is empty or throws ends the process.
///
///     kova::responsehandlers::FuncResponseHandler<int> handler(
///         [](const int& value) { return value > 9; }, [](const kova::Response&) {}, [] {});
///     handler.onNext(10);  // true: no further values
///     handler.onCompleted();
template <typename T>
class FuncResponseHandler : public IResponseHandler<T> {
public:
    /// Takes ownership of the functions. `next` receives the values and returns true if it wants no
    /// further values. The other two receive the error and the completion.
    FuncResponseHandler(std::function<bool(const T&)> next,
                        std::function<void(const Response&)> error, std::function<void()> completed)
        : next_(std::move(next)), error_(std::move(error)), completed_(std::move(completed)) {}

    bool onNext(const T& value) override { return detail::refuseNext(terminated_) || next_(value); }
    void onError(const Response& error) noexcept override {
        if (!detail::refuseTermination(terminated_, "onError")) {
            error_(error);
        }
    }
    void onCompleted() noexcept override {
        if (!detail::refuseTermination(terminated_, "onCompleted")) {
            completed_();
        }
    }

private:
    std::function<bool(const T&)> next_;
    std::function<void(const Response&)> error_;
    std::function<void()> completed_;
    bool terminated_ = false;
};

/// Forwards to an inner handler the values for which a filter returns true, and every terminating
/// event.
///
/// `onNext` throws `std::bad_function_call` if the filter is empty.
template <typename T>
class FilteringResponseHandler : public IResponseHandler<T> {
public:
    /// `inner` must not be null.
    FilteringResponseHandler(std::unique_ptr<IResponseHandler<T>>&& inner,
                             std::function<bool(const T&)> filter)
        : inner_(std::move(inner)), filter_(std::move(filter)) {}

    bool onNext(const T& value) override {
        if (detail::refuseNext(terminated_)) {
            return true;
        }
        return filter_(value) && inner_->onNext(value);
    }
    void onError(const Response& error) noexcept override {
        if (!detail::refuseTermination(terminated_, "onError")) {
            inner_->onError(error);
        }
    }
    void onCompleted() noexcept override {
        if (!detail::refuseTermination(terminated_, "onCompleted")) {
            inner_->onCompleted();
        }
    }

private:
    std::unique_ptr<IResponseHandler<T>> inner_;
    std::function<bool(const T&)> filter_;
    bool terminated_ = false;
};

/// Forwards all events to an inner handler. Calls an action once, directly before it forwards the
/// terminating event. A value for which `onNext` returns true does not trigger the action.
///
/// An action that is empty or throws ends the process.
template <typename T>
class DoOnTerminationResponseHandler : public IResponseHandler<T> {
public:
    /// `inner` must not be null.
    DoOnTerminationResponseHandler(std::function<void()> action,
                                   std::unique_ptr<IResponseHandler<T>>&& inner)
        : action_(std::move(action)), inner_(std::move(inner)) {}

    bool onNext(const T& value) override {
        return detail::refuseNext(terminated_) || inner_->onNext(value);
    }
    void onError(const Response& error) noexcept override {
        if (!detail::refuseTermination(terminated_, "onError")) {
            action_();
            inner_->onError(error);
        }
    }
    void onCompleted() noexcept override {
        if (!detail::refuseTermination(terminated_, "onCompleted")) {
            action_();
            inner_->onCompleted();
        }
    }

private:
    std::function<void()> action_;
    std::unique_ptr<IResponseHandler<T>> inner_;
    bool terminated_ = false;
};

}  // namespace kova::responsehandlers
