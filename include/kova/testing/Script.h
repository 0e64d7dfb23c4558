#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/IResourceHandler.h"
#include "kova/core/IResponseHandler.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"

namespace kova::testing {

/// A resource handler that sends the same list of events for each request. It serves as a fake
/// service in tests of clients.
///
///     kova::testing::Script script;
///     script.value(kova::Response(298)).wait().value(kova::Response(200)).complete();
///     auto handler = script.handler();  // for a service, or for actionRequest
///     script.go();                      // continues the waiting requests
///
/// If the list does not contain the end of the request, the request stays pending until it is
/// cancelled. If the client wants no more values, the request is completed.
///
/// A handle of shared state: copies refer to the same script, and the handlers keep it alive. Build
/// the list before the first request. Any thread may call the other functions; no lock is held
/// while an event is sent.
class Script {
public:
    /// @{
    /// Add one event: a value, an error that ends the request, the completion, or the destruction
    /// of the response handler without an event.
    Script& value(Response value) { return add(Step::value, std::move(value)); }
    Script& error(Response error) { return add(Step::error, std::move(error)); }
    Script& complete() { return add(Step::complete); }
    Script& drop() { return add(Step::drop); }
    /// @}
    /// Adds a pause: the request waits until `go` is called.
    Script& wait() { return add(Step::wait); }
    /// Adds a change of threads: a new thread sends the events that follow. The destructor of the
    /// resource handler joins the thread.
    Script& elsewhere() { return add(Step::elsewhere); }

    /// Returns a new resource handler that plays this script.
    std::unique_ptr<IResourceHandler> handler() const { return std::make_unique<Handler>(state_); }
    /// Continues all requests that wait, on the current thread.
    void go() const {
        std::vector<std::shared_ptr<Play>> plays;
        {
            const std::lock_guard<std::mutex> guard(state_->mutex);
            for (const auto& entry : state_->plays) {
                if (std::exchange(entry.second->waits, false)) {
                    plays.push_back(entry.second);
                }
            }
        }
        for (const auto& play : plays) {
            state_->run(play);
        }
    }
    /// Returns the requests that the handlers have received so far.
    std::vector<Request> requests() const {
        const std::lock_guard<std::mutex> guard(state_->mutex);
        return state_->requests;
    }
    /// Returns the number of requests that have not ended.
    std::size_t pending() const {
        const std::lock_guard<std::mutex> guard(state_->mutex);
        return state_->plays.size();
    }
    /// Returns the number of pending requests that were cancelled.
    std::size_t cancelled() const {
        const std::lock_guard<std::mutex> guard(state_->mutex);
        return state_->cancelled;
    }

private:
    struct Step {
        enum Kind { value, error, complete, drop, wait, elsewhere };
        Kind kind;
        Response response;
    };
    using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;

    // The state of one request. The lock of `State` guards it. Only the handler is called without
    // the lock.
    struct Play {
        std::uintptr_t number = 0;
        ResponseHandler handler;
        std::size_t next = 0;
        bool waits = false;
        bool isCancelled = false;
    };

    struct State : std::enable_shared_from_this<State> {
        std::shared_ptr<Play> begin(const Request& request, ResponseHandler handler) {
            auto play = std::make_shared<Play>();
            play->handler = std::move(handler);
            const std::lock_guard<std::mutex> guard(mutex);
            requests.push_back(request);
            play->number = ++lastNumber;
            plays[play->number] = play;
            return play;
        }
        // Sends events until the request ends, must wait for `go`, or continues on another thread.
        void run(const std::shared_ptr<Play>& play) {
            while (Step const* const step = take(*play)) {
                if (step->kind == Step::elsewhere) {
                    start(play);
                    return;
                }
                if (!send(*play->handler, *step)) {
                    remove(*play);
                    return;
                }
            }
        }
        // Returns the next step, or null if the request has ended or must wait.
        Step const* take(Play& play) {
            {
                const std::lock_guard<std::mutex> guard(mutex);
                if (!play.isCancelled) {
                    play.waits = play.next == steps.size() || steps[play.next].kind == Step::wait;
                    Step const* const step = play.waits ? nullptr : &steps[play.next];
                    play.next = std::min(play.next + 1, steps.size());
                    return step;
                }
            }
            remove(play);
            return nullptr;
        }
        // Sends an event. Returns false if the request has ended.
        static bool send(IResponseHandler<Response>& handler, const Step& step) {
            if (step.kind == Step::value && !handler.onNext(step.response)) {
                return true;
            }
            if (step.kind == Step::error) {
                handler.onError(step.response);
            } else if (step.kind != Step::drop) {
                handler.onCompleted();
            }
            return false;
        }
        void remove(Play& play) {
            ResponseHandler handler;  // destroyed without the lock
            const std::lock_guard<std::mutex> guard(mutex);
            handler = std::move(play.handler);
            plays.erase(play.number);
        }
        void cancel(std::uintptr_t number) {
            std::shared_ptr<Play> play;
            {
                const std::lock_guard<std::mutex> guard(mutex);
                const auto found = plays.find(number);
                if (found == plays.end() || found->second->isCancelled) {
                    return;
                }
                ++cancelled;
                found->second->isCancelled = true;
                if (found->second->waits) {
                    play = found->second;
                }
            }
            if (play) {
                remove(*play);
            }
        }
        void start(const std::shared_ptr<Play>& play) {
            const std::lock_guard<std::mutex> guard(mutex);
            threads.emplace_back([self = shared_from_this(), play] { self->run(play); });
        }
        void join() {
            std::vector<std::thread> all;
            {
                const std::lock_guard<std::mutex> guard(mutex);
                all.swap(threads);
            }
            for (std::thread& thread : all) {
                thread.get_id() == std::this_thread::get_id() ? thread.detach() : thread.join();
            }
        }

        std::mutex mutex;
        std::vector<Step> steps;
        std::vector<Request> requests;
        std::map<std::uintptr_t, std::shared_ptr<Play>> plays;
        std::vector<std::thread> threads;
        std::uintptr_t lastNumber = 0;
        std::size_t cancelled = 0;
    };

    class Handler final : public IResourceHandler {
    public:
        explicit Handler(std::shared_ptr<State> state) : state_(std::move(state)) {}
        ~Handler() override { state_->join(); }
        Handler(const Handler&) = delete;
        Handler& operator=(const Handler&) = delete;

        void* actionRequest(const Request& request, ResponseHandler&& handler,
                            const std::string&) override {
            const auto play = state_->begin(request, std::move(handler));
            state_->run(play);
            const std::lock_guard<std::mutex> guard(state_->mutex);
            const bool isPending = state_->plays.count(play->number) != 0;
            // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is only compared
            return isPending ? reinterpret_cast<void*>(play->number) : nullptr;
        }
        void cancelRequest(void* handle) override {
            state_->cancel(reinterpret_cast<std::uintptr_t>(handle));
        }

    private:
        const std::shared_ptr<State> state_;
    };

    Script& add(Step::Kind kind, Response response = Response(0)) {
        state_->steps.push_back({kind, std::move(response)});
        return *this;
    }

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace kova::testing
