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

/// The queue of the unread values of a stream, and the function that is called when the next value
/// arrives.
class KOVA_KIT_API StreamState {
public:
    explicit StreamState(std::size_t capacity) : capacity_(capacity) {}

    /// Adds a value. Returns an error if the queue is full.
    Result<void> push(const Response& value);
    /// Adds the end of the stream.
    void finish(const End& end);

    /// Returns whether `take` has a value or the end of the stream to return.
    bool isReady() const;
    /// Stores a function that is called once when a value or the end of the stream arrives. If
    /// `take` already has a value or the end to return, returns false and does not store the
    /// function.
    bool whenReady(std::function<void()> function);
    /// Destroys the stored function.
    void forget();
    /// Waits until a value or the end of the stream has arrived. Returns false if `limit` has
    /// passed before.
    bool waitFor(std::chrono::milliseconds limit);
    /// Removes and returns the next value, or returns the reason of the end: 204 if the stream was
    /// completed. Call it only if `isReady` returns true. The end is not removed.
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

/// A stream whose values are read one by one: by a thread with `wait`, or by a coroutine with
/// `co_await stream.next()` (`Coroutine.h`).
///
/// Unread values wait in a bounded queue. If the queue is full when a value arrives, the call ends
/// as "failed" with 503. One thread at a time may use a stream. Its destructor resets the call.
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
    /// Starts the call. `capacity` is the maximum number of unread values.
    explicit Stream(Call<T> call, std::size_t capacity = 1024)
        : state_(std::make_shared<detail::StreamState>(capacity)) {
        CallDraft draft = std::move(call).release();
        draft.onValue = [state = state_](const Response& value) { return state->push(value); };
        draft.onEnd = [state = state_](const End& end) { state->finish(end); };
        call_ = draft.start();
    }

    /// Waits for the next value. Fails with the reason of the end (204 if the stream was
    /// completed), with 504 if no value arrives within `limit`, or with 400 if the value is not a
    /// `T`.
    Result<T> wait(std::chrono::milliseconds limit) {
        if (!state_->waitFor(limit)) {
            return Error{statuscodes::GATEWAY_TIMEOUT,
                         "no value within " + std::to_string(limit.count()) + " ms"};
        }
        return take();
    }

    class Next;
    /// Returns an object on which a coroutine can wait for the next value. Requires `Coroutine.h`.
    Next next() { return Next(*this); }

    /// Returns the subscription that owns the call. Use it to cancel the call.
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
