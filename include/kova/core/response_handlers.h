#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "kova/core/Errors.h"
#include "kova/core/Export.h"
#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"
#include "zel/ErrorOutput.h"

/// Response handlers that enforce the rule of termination: after the first `onError` or
/// `onCompleted` nothing is forwarded any more. A late terminating event is traced and ignored; a
/// late `onNext` is traced, reported as `RequestFailed` and answered with true. `onNext` never
/// terminates a wrapper, whatever it returns.
///
/// None takes a lock: the events of one request come from one thread at a time. Destruction sends
/// no event.
namespace kova::responsehandlers {

/// @{
/// Trace messages on the channel "KOVA_RESPONSEHANDLERS". `event` is "onNext", "onError" or
/// "onCompleted". `traceTermination` is for callers whose `onNext` returned true.
KOVA_API void traceAlreadyTerminated(char const* event, bool severe) noexcept;
KOVA_API void traceSetTerminated(char const* event) noexcept;
KOVA_API void traceTermination(bool error) noexcept;
/// @}

namespace detail {

/// What all wrappers do about the flag: true when an event came too late and must not be forwarded.
inline bool refuseTermination(bool& terminated, char const* event) noexcept {
    if (terminated) {
        traceAlreadyTerminated(event, false);
        return true;
    }
    traceSetTerminated(event);
    terminated = true;
    return false;
}

inline bool refuseNext(bool terminated) {
    if (terminated) {
        traceAlreadyTerminated("onNext", true);
        zel::ErrorOutput("include/kova/core/response_handlers", __LINE__, true)(
            errors::Error, errors::RequestFailed, "Request already terminated");
    }
    return terminated;
}

}  // namespace detail

/// A response handler made of three functions.
///
/// A missing next function raises `std::bad_function_call` when it is needed; a missing error or
/// completed function, or one that throws, ends the process.
///
///     kova::responsehandlers::FuncResponseHandler<int> handler(
///         [](const int& value) { return value > 9; }, [](const kova::Response&) {}, [] {});
///     handler.onNext(10);  // true: no more, please
///     handler.onCompleted();
template <typename T>
class FuncResponseHandler : public IResponseHandler<T> {
public:
    /// Takes the functions over: for values (true: no more, please), for the error, for the
    /// completion.
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

/// Forwards to an inner handler the values that a filter lets pass; terminating events always pass.
///
/// A missing filter raises `std::bad_function_call` on the first value.
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

/// Forwards to an inner handler and runs an action once, right before the terminating event is
/// forwarded. A value answered with true does not run it.
///
/// A missing action, or one that throws, ends the process.
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
