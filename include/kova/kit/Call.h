#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "kova/core/KovaException.h"
#include "kova/kit/CallDraft.h"
#include "kova/kit/Executor.h"
#include "kova/kit/Subscription.h"
#include "kova/kit/Values.h"

namespace kova::kit {

/// The whole answer to a call: the response with code and header, and the value of its payload.
/// (`Reply` is something else: the object with which a service answers later.)
template <typename T>
struct FullReply {
    /// The response.
    Response response;
    /// The value of the payload.
    T value;

    /// Returns the status code.
    unsigned short code() const noexcept { return response.getStatusCode(); }
};
/// The whole answer to a call without a value: the response with code and header.
template <>
struct FullReply<void> {
    /// The response.
    Response response;

    /// Returns the status code.
    unsigned short code() const noexcept { return response.getStatusCode(); }
};

namespace detail {

/// Reads a `T` from a response.
template <typename T>
struct ResponseReader {
    static Result<T> read(const Response& response) {
        return fromPayload<T>(response.getPayload());
    }
};
template <>
struct ResponseReader<void> {
    static Result<void> read(const Response&) { return {}; }
};
template <typename T>
struct ResponseReader<FullReply<T>> {
    static Result<FullReply<T>> read(const Response& response) {
        if constexpr (std::is_void_v<T>) {
            return FullReply<T>{response};
        } else {
            Result<T> value = ResponseReader<T>::read(response);
            if (!value) {
                return value.error();
            }
            return FullReply<T>{response, *std::move(value)};
        }
    }
};

template <typename T>
constexpr bool NEEDS_VALUE = !std::is_void_v<T> && !std::is_same_v<T, FullReply<void>>;

template <typename T, typename Function>
CallDraft::ValueFunction readingFunction(Function&& function) {
    return [function = std::forward<Function>(function)](const Response& response) -> Result<void> {
        if constexpr (std::is_void_v<T>) {
            function();
        } else {
            const Result<T> value = ResponseReader<T>::read(response);
            if (!value) {
                return value.error();
            }
            function(*value);
        }
        return {};
    };
}

/// Sends a call and stores its value or its error in a promise.
template <typename T>
class FutureAnswer {
public:
    std::future<T> start(CallDraft&& draft) {
        auto promise = std::make_shared<std::promise<T>>();
        std::future<T> future = promise->get_future();
        auto last = std::make_shared<std::optional<Response>>();
        draft.onValue = [last](const Response& value) -> Result<void> {
            *last = value;
            return {};
        };
        draft.onEnd = [promise, last](const End& end) { set(*promise, end, *last); };
        draft.start().detach();
        return future;
    }

private:
    static void set(std::promise<T>& promise, const End& end, const std::optional<Response>& last) {
        if (!end.ok()) {
            promise.set_exception(std::make_exception_ptr(KovaException(end.response())));
            return;
        }
        if constexpr (std::is_void_v<T>) {
            promise.set_value();
        } else {
            Result<T> value = last || !NEEDS_VALUE<T>
                                  ? ResponseReader<T>::read(last.value_or(Response(200)))
                                  : Result<T>(noValue());
            if (value) {
                promise.set_value(*std::move(value));
            } else {
                promise.set_exception(
                    std::make_exception_ptr(KovaException(value.error().toResponse())));
            }
        }
    }
    static Error noValue() {
        return {statuscodes::BAD_GATEWAY, "the service completed the request without a value"};
    }
};

}  // namespace detail

/// A call that is not sent yet. `Client` creates it. One of the functions `get`, `future`, `start`
/// and `detach` or, in C++20, `co_await` sends it. If none of them is called, nothing is sent.
///
/// Each function requires an rvalue. Build and send a call in one expression, or use `std::move`.
///
///     const auto setTo = [](kova::kit::Call<int> call) {
///         kova::kit::Result<int> level =
///             std::move(call).header("zone", 3).get(std::chrono::milliseconds(500));
///         return level.ok();
///     };
template <typename T>
class [[nodiscard]] Call {
public:
    /// Creates a call from its untyped draft.
    explicit Call(CallDraft draft) : draft_(std::move(draft)) {
        draft_.needsValue = detail::NEEDS_VALUE<T>;
    }

    /// @{
    /// Adds an entry to the header of the request: a boolean, a number, a text or a tree.
    template <typename V>
    Call header(const std::string& key, const V& value) && {
        draft_.addHeader(key, toTree(value));
        return std::move(*this);
    }
    Call header(const std::string& key, char const* value) && {
        return std::move(*this).header(key, std::string(value));
    }
    /// @}
    /// Sets the deadline: the time after which the call ends as "timed out". 0 means no limit. The
    /// deadline of a stream applies only to its first value.
    Call deadline(std::chrono::milliseconds limit) && {
        draft_.options.deadline = limit;
        return std::move(*this);
    }
    /// Sets the executor that runs the callbacks, completes a future and resumes a coroutine.
    Call on(const Executor& executor) && {
        draft_.options.executor = executor;
        return std::move(*this);
    }
    /// Sets the function that is called for each value: `function(const T&)`, or `function()` if
    /// `T` is `void`. If a payload is not a `T`, the call ends as "failed".
    template <typename Function>
    Call onValue(Function&& function) && {
        draft_.onValue = detail::readingFunction<T>(std::forward<Function>(function));
        return std::move(*this);
    }
    /// Sets the function that is called for each progress value (code 298): `function(const P&)`.
    /// `get` calls the function on the waiting thread.
    template <typename P, typename Function>
    Call onProgress(Function&& function) && {
        draft_.onProgress = detail::readingFunction<P>(std::forward<Function>(function));
        return std::move(*this);
    }
    /// Sets the function that is called for the end of the call: `function(const End&)`.
    template <typename Function>
    Call onEnd(Function&& function) && {
        draft_.onEnd = std::forward<Function>(function);
        return std::move(*this);
    }
    /// Returns a call whose result is the whole answer: code, header and value.
    Call<FullReply<T>> full() && { return Call<FullReply<T>>(std::move(draft_)); }

    /// @{
    /// Sends the request and waits for the answer, for at most `limit` or until the deadline of the
    /// call. If the service answers with an error, returns that error. If the time has passed,
    /// cancels the request and fails with 504. If the payload is not a `T`, fails with 400. Fails
    /// immediately if the wait could never end (`Calls::ask`).
    Result<T> get(std::chrono::milliseconds limit) && {
        const Result<Response> response = draft_.wait(limit);
        if (!response) {
            return response.error();
        }
        return detail::ResponseReader<T>::read(*response);
    }
    Result<T> get() && {
        const std::chrono::milliseconds limit = draft_.options.deadline;
        return std::move(*this).get(limit);
    }
    /// @}
    /// Sends the request. The future receives the value, or a `KovaException`. If the client is
    /// closed before the answer, the future receives `std::future_error`.
    std::future<T> future() && { return detail::FutureAnswer<T>().start(std::move(draft_)); }
    /// @{
    /// Sends the request. The executor calls the functions that were set with `onValue`,
    /// `onProgress` and `onEnd`. The subscription owns the call.
    [[nodiscard]] Subscription start() && { return draft_.start(); }
    [[nodiscard]] Subscription start(const Executor& executor) && {
        draft_.options.executor = executor;
        return draft_.start();
    }
    /// @}
    /// Does the same as `start`, but the call has no owner and continues until its end.
    void detach() && { draft_.start().detach(); }

    /// Returns the untyped call, for `co_await` and `Stream`.
    CallDraft release() && { return std::move(draft_); }

private:
    CallDraft draft_;
};

}  // namespace kova::kit
