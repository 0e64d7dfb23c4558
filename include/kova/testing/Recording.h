#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"
#include "kova/kit/Receiver.h"

namespace kova::testing {

/// A recording of the events that response handlers and receivers receive. Each event is a text:
/// "value 200 PAYLOAD", "error 404 MESSAGE", "completed", and, for the end of a call, the text of
/// `kit::End`.
///
/// A handle of shared state: copies refer to the same recording, and the handlers keep it alive.
/// Any thread may call any function.
///
///     auto recording = kova::testing::record();
///     auto handler = recording.handler();  // for actionRequest
///     handler->onNext(kova::Response(200));
///     handler->onCompleted();
///     recording.events();  // {"value 200", "completed"}
class Recording {
public:
    /// The texts of the events, in order.
    using Events = std::vector<std::string>;

    /// Returns a new response handler that records its events.
    std::unique_ptr<IResponseHandler<Response>> handler() const {
        return std::make_unique<Handler>(state_);
    }
    /// Returns a new receiver that records its events.
    std::unique_ptr<kit::Receiver> receiver() const { return std::make_unique<Receiver>(state_); }

    /// Registers a function that is called with the text of each later event. The function runs on
    /// the thread of the event, without a lock.
    void onEvent(std::function<void(const std::string&)> function) const {
        const std::lock_guard<std::mutex> guard(state_->mutex);
        state_->onEvent = std::move(function);
    }
    /// Returns the events that were recorded so far.
    Events events() const {
        const std::lock_guard<std::mutex> guard(state_->mutex);
        return state_->events;
    }
    /// Waits until there are `count` events, or until `limit` has passed. Returns all events.
    Events waitFor(std::size_t count,
                   std::chrono::milliseconds limit = std::chrono::seconds(30)) const {
        std::unique_lock<std::mutex> lock(state_->mutex);
        state_->changed.wait_for(lock, limit, [&] { return state_->events.size() >= count; });
        return state_->events;
    }
    /// Waits until all handlers and receivers are destroyed, or until `limit` has passed. Returns
    /// whether they are destroyed.
    bool waitUntilDestroyed(std::chrono::milliseconds limit = std::chrono::seconds(30)) const {
        std::unique_lock<std::mutex> lock(state_->mutex);
        return state_->changed.wait_for(lock, limit, [&] { return state_->living == 0; });
    }
    /// Returns the number of handlers and receivers that still exist.
    std::size_t living() const {
        const std::lock_guard<std::mutex> guard(state_->mutex);
        return state_->living;
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        Events events;
        std::function<void(const std::string&)> onEvent;
        std::size_t living = 0;
    };

    // Counts the existing objects that record events.
    class Living {
    public:
        explicit Living(std::shared_ptr<State> state) : state_(std::move(state)) {
            const std::lock_guard<std::mutex> guard(state_->mutex);
            ++state_->living;
        }
        ~Living() {
            const std::lock_guard<std::mutex> guard(state_->mutex);
            --state_->living;
            state_->changed.notify_all();
        }
        Living(const Living&) = delete;
        Living& operator=(const Living&) = delete;

        void add(const std::string& event) const {
            std::function<void(const std::string&)> function;
            {
                const std::lock_guard<std::mutex> guard(state_->mutex);
                state_->events.push_back(event);
                function = state_->onEvent;
                state_->changed.notify_all();
            }
            if (function) {
                function(event);
            }
        }
        void addValue(const Response& value) const {
            std::string text = "value " + std::to_string(value.getStatusCode());
            std::string payload;
            if (!value.getPayload().isEmpty() &&
                !Payload::createStringFrom(value.getPayload(), payload, true)) {
                text += ' ' + payload;
            }
            add(text);
        }

    private:
        std::shared_ptr<State> state_;
    };

    class Handler final : public IResponseHandler<Response> {
    public:
        explicit Handler(std::shared_ptr<State> state) : living_(std::move(state)) {}
        bool onNext(const Response& value) override {
            living_.addValue(value);
            return false;
        }
        void onError(const Response& error) override {
            living_.add("error " + std::to_string(error.getStatusCode()) + ' ' +
                        error.getErrorMessage().value_or("-"));
        }
        void onCompleted() override { living_.add("completed"); }

    private:
        Living living_;
    };

    class Receiver final : public kit::Receiver {
    public:
        explicit Receiver(std::shared_ptr<State> state) : living_(std::move(state)) {}
        kit::Result<void> onValue(const Response& value) override {
            living_.addValue(value);
            return {};
        }
        void onEnd(const kit::End& end) override { living_.add(end.toString()); }

    private:
        Living living_;
    };

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// Returns a new, empty recording.
inline Recording record() {
    return {};
}

}  // namespace kova::testing
