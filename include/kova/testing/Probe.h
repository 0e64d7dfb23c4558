#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"

namespace kova::testing::detail {

/// Creates a response handler for `conformance`, and records the events that the handler receives
/// and the violations of the contract.
class Probe {
public:
    /// `values` is the number of values after which the response handler wants no more values; 0
    /// means no limit.
    explicit Probe(int values = 0) : state_(std::make_shared<State>()) { state_->limit = values; }

    std::unique_ptr<IResponseHandler<Response>> handler() const {
        return std::make_unique<Handler>(state_);
    }

    /// Waits until the request has ended. Returns whether the request has ended.
    bool waitForEnd(std::chrono::milliseconds limit) const {
        return waitFor(limit, [](const State& state) { return state.ends != 0; });
    }
    /// Waits until the request has ended or its response handler is destroyed.
    bool waitForEndOrDestruction(std::chrono::milliseconds limit) const {
        return waitFor(limit,
                       [](const State& state) { return state.ends != 0 || state.isDestroyed; });
    }
    bool waitForDestruction(std::chrono::milliseconds limit) const {
        return waitFor(limit, [](const State& state) { return state.isDestroyed; });
    }
    bool waitForValue(std::chrono::milliseconds limit) const {
        return waitFor(limit, [](const State& state) { return state.values != 0; });
    }

    /// Permits that the response handler is destroyed without an end.
    void setCancelled() const {
        const std::lock_guard<std::mutex> guard(state_->mutex);
        state_->isCancelled = true;
    }
    /// Makes every event from now on a violation, which is reported with the text `why`.
    void forbidEvents(char const* why) const {
        const std::lock_guard<std::mutex> guard(state_->mutex);
        state_->forbidden = why;
    }

    int values() const { return read(&State::values); }
    int ends() const { return read(&State::ends); }
    /// Returns the error that ended the request. The code is 0 if the request did not end with an
    /// error.
    Response error() const { return read(&State::error); }
    /// Returns the mime type of the last value that has a payload.
    std::string format() const { return read(&State::format); }
    /// Returns the violations that were found, without repetitions.
    std::vector<std::string> findings() const { return read(&State::findings); }

private:
    struct State {
        void find(const std::string& finding) {
            for (const std::string& other : findings) {
                if (other == finding) {
                    return;
                }
            }
            findings.push_back(finding);
        }

        std::mutex mutex;
        std::condition_variable changed;
        int limit = 0;
        int values = 0;
        int ends = 0;
        int inside = 0;
        bool isDestroyed = false;
        bool isCancelled = false;
        char const* forbidden = nullptr;
        Response error{0};
        std::string format;
        std::vector<std::string> findings;
    };

    class Handler final : public IResponseHandler<Response> {
    public:
        explicit Handler(std::shared_ptr<State> state) : state_(std::move(state)) {}
        ~Handler() override {
            const std::lock_guard<std::mutex> guard(state_->mutex);
            if (state_->ends == 0 && !state_->isCancelled) {
                state_->find("destroys the response handler without an end");
            }
            state_->isDestroyed = true;
            state_->changed.notify_all();
        }
        Handler(const Handler&) = delete;
        Handler& operator=(const Handler&) = delete;

        bool onNext(const Response& value) override {
            const Inside inside(state_);
            if (state_->limit != 0 && state_->values >= state_->limit) {
                state_->find("sends a value after onNext returned true");
            }
            ++state_->values;
            if (!value.getPayload().isEmpty()) {
                state_->format = value.getPayload().getMimeType();
            }
            return state_->limit != 0 && state_->values >= state_->limit;
        }
        void onError(const Response& error) override {
            const Inside inside(state_);
            ++state_->ends;
            state_->error = error;
        }
        void onCompleted() override {
            const Inside inside(state_);
            ++state_->ends;
        }

    private:
        // A guard for one event. It locks the state, but releases the lock for a moment, so that a
        // second event at the same time is detected.
        class Inside {
        public:
            explicit Inside(const std::shared_ptr<State>& state)
                : shared_(state), state_(*state), lock_(state->mutex) {
                if (++state_.inside > 1) {
                    state_.find("sends two events at once");
                }
                if (state_.forbidden != nullptr) {
                    state_.find(state_.forbidden);
                }
                lock_.unlock();
                std::this_thread::yield();
                lock_.lock();
                if (state_.ends != 0) {
                    state_.find("sends an event after the end");
                }
            }
            ~Inside() {
                --state_.inside;
                state_.changed.notify_all();
            }
            Inside(const Inside&) = delete;
            Inside& operator=(const Inside&) = delete;

        private:
            const std::shared_ptr<State> shared_;
            State& state_;
            std::unique_lock<std::mutex> lock_;
        };

        const std::shared_ptr<State> state_;
    };

    template <typename Condition>
    bool waitFor(std::chrono::milliseconds limit, Condition condition) const {
        std::unique_lock<std::mutex> lock(state_->mutex);
        return state_->changed.wait_for(lock, limit, [&] { return condition(*state_); });
    }
    template <typename T>
    T read(T State::*member) const {
        const std::lock_guard<std::mutex> guard(state_->mutex);
        return (*state_).*member;
    }

    std::shared_ptr<State> state_;
};

}  // namespace kova::testing::detail
