#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"

namespace kova::test {

/// Returns a description of a payload: its type and its bytes. A large payload is described by its
/// type, its size and a hash.
inline std::string describe(const Payload& payload) {
    if (payload.isEmpty()) {
        return "'" + payload.getMimeType() + "' without payload";
    }
    std::string bytes(payload.data(), payload.data() + payload.size());
    if (bytes.size() > 1000) {
        bytes = std::to_string(bytes.size()) + " bytes, hash " +
                std::to_string(std::hash<std::string>()(bytes));
    }
    return "'" + payload.getMimeType() + "' '" + bytes + "'";
}

/// Returns a description of all parts of a message.
/// @{
inline std::string describe(const Response& response) {
    return std::to_string(response.getStatusCode()) + " " + describe(response.getPayload()) + " " +
           response.getHeader().toJson(true);
}
inline std::string describe(const Request& request) {
    return "'" + request.getCommand() + "' '" + request.getPath() + "' " +
           describe(request.getPayload()) + " " + request.getHeader().toJson(true);
}
/// @}

/// The events of one request, as texts: "next ...", "error ..." and "completed". The response
/// handler may outlive the inbox. Any thread may call any function.
class Inbox {
public:
    using Events = std::vector<std::string>;

    /// Sets a function that is called after each event, on the thread of the event. `onNext`
    /// returns its result. Call `onEvent` before the request is sent.
    void onEvent(std::function<bool(const std::string&)> function) {
        state_->onEvent = std::move(function);
    }
    /// Returns the response handler of the request.
    std::unique_ptr<IResponseHandler<Response>> handler() const {
        return std::make_unique<Handler>(state_);
    }
    Events events() const {
        const std::lock_guard<std::mutex> guard(state_->mutex);
        return state_->events;
    }
    /// Waits until there are `count` events, and returns all events.
    Events waitFor(std::size_t count) const {
        std::unique_lock<std::mutex> lock(state_->mutex);
        state_->changed.wait(lock, [&] { return state_->events.size() >= count; });
        return state_->events;
    }
    /// Waits until the handlers are destroyed, so that there are no further events. Returns all.
    Events waitForLast() const {
        std::unique_lock<std::mutex> lock(state_->mutex);
        state_->changed.wait(lock, [&] { return state_->living == 0; });
        return state_->events;
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        Events events;
        std::function<bool(const std::string&)> onEvent;
        std::size_t living = 0;
    };

    class Handler final : public IResponseHandler<Response> {
    public:
        explicit Handler(std::shared_ptr<State> state) : state_(std::move(state)) {
            const std::lock_guard<std::mutex> guard(state_->mutex);
            ++state_->living;
        }
        ~Handler() override {
            const std::lock_guard<std::mutex> guard(state_->mutex);
            --state_->living;
            state_->changed.notify_all();
        }
        bool onNext(const Response& value) override { return add("next " + describe(value)); }
        void onError(const Response& error) override { add("error " + describe(error)); }
        void onCompleted() override { add("completed"); }

    private:
        bool add(const std::string& event) const {
            const std::shared_ptr<State> state = state_;  // the function may destroy the handler
            {
                const std::lock_guard<std::mutex> guard(state->mutex);
                state->events.push_back(event);
                state->changed.notify_all();
            }
            return state->onEvent && state->onEvent(event);
        }

        std::shared_ptr<State> state_;
    };

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace kova::test
