#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "kova/kit/Call.h"
#include "kova/kit/Export.h"
#include "kova/kit/Result.h"
#include "kova/kit/Subscription.h"

namespace kova::kit {

namespace detail {

/// The values of a stream that nobody has read, and what waits for the next one.
class KOVA_KIT_API StreamState {
public:
    explicit StreamState(std::size_t capacity) : capacity_(capacity) {}

    /// Adds a value. Returns the reason if the queue is full.
    Result<void> push(const Response& value);
    /// Adds the end.
    void finish(const End& end);

    /// Returns whether `take` has something to return.
    bool isReady() const;
    /// Keeps the function until there is something to take, and then calls it once. Returns false,
    /// and does not keep it, if there is something already.
    bool whenReady(std::function<void()> function);
    /// Drops the function that is kept.
    void forget();
    /// Waits until there is something to take. Returns false if the limit passed.
    bool waitFor(std::chrono::milliseconds limit);
    /// Removes and returns the next value, or returns the reason of the end: 204 if the stream was
    /// completed. Must be ready. The end stays.
    Result<Response> take();

private:
    KOVA_KIT_LOCAL void notify(std::unique_lock<std::mutex>& lock);

    const std::size_t capacity_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Response> values_;
    std::optional<End> end_;
    std::function<void()> whenReady_;
};

}  // namespace detail

/// A stream whose values are fetched one by one: with `wait` by a thread, or with `co_await
/// stream.next()` by a coroutine (`Coroutine.h`).
///
/// The values that nobody has fetched wait in a bounded queue; with one more the call ends as
/// "failed" with 503. One thread at a time may use a stream. Its destructor resets the call.
///
///     const auto printAll = [](kova::kit::Call<int> call) {
///         kova::kit::Stream<int> levels(std::move(call));  // client.watch<int>("/level")
///         while (kova::kit::Result<int> level = levels.wait(std::chrono::seconds(60))) {
///             static_cast<void>(*level);
///         }
///     };
template <typename T>
class Stream {
public:
    /// Starts the call. `capacity` is the number of values that may wait.
    explicit Stream(Call<T> call, std::size_t capacity = 1024)
        : state_(std::make_shared<detail::StreamState>(capacity)) {
        CallDraft draft = std::move(call).release();
        draft.onValue = [state = state_](const Response& value) { return state->push(value); };
        draft.onEnd = [state = state_](const End& end) { state->finish(end); };
        call_ = draft.start();
    }

    /// Waits for the next value. Fails with the reason of the end (204 if the stream was
    /// completed), with 504 if no value comes within `limit`, or with 400 if it is not a `T`.
    Result<T> wait(std::chrono::milliseconds limit) {
        if (!state_->waitFor(limit)) {
            return Error{statuscodes::GATEWAY_TIMEOUT,
                         "no value within " + std::to_string(limit.count()) + " ms"};
        }
        return take();
    }

    class Next;
    /// Returns what a coroutine waits for to get the next value. Needs `Coroutine.h`.
    Next next() { return Next(*this); }

    /// Returns the owner of the call, to cancel it.
    Subscription& subscription() noexcept { return call_; }

private:
    Result<T> take() {
        const Result<Response> value = state_->take();
        if (!value) {
            return value.error();
        }
        return detail::ResponseReader<T>::read(*value);
    }

    std::shared_ptr<detail::StreamState> state_;
    Subscription call_;
};

}  // namespace kova::kit
