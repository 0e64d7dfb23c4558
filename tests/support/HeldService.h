#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "kova/core/IKovaApi.h"

namespace kova::test {

/// A service that keeps the response handlers of its requests, so that a test can answer them at
/// any time. The handle of a request is its number, counted from 1. Any thread may call any
/// function.
class HeldService : public IKovaApi {
public:
    using Handler = std::unique_ptr<IResponseHandler<Response>>;

    /// Called inside `actionRequest` before it returns, with the number of the request.
    std::function<void(std::size_t)> onRequest;
    std::function<void(std::size_t)> onCancel;
    /// Whether the service rejects requests.
    bool rejects = false;

    void* actionRequest(const Request& request, Handler&& handler) override {
        if (rejects) {
            return UNDEFINED_REQUEST_HANDLE;
        }
        std::size_t number = 0;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            handlers_.push_back(std::move(handler));
            requests_.push_back(request);
            number = handlers_.size();
            changed_.notify_all();
        }
        if (onRequest) {
            onRequest(number);
        }
        return toHandle(number);
    }
    void cancelRequest(void* handle) override {
        const std::size_t number = reinterpret_cast<std::size_t>(handle);
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            cancelled_.push_back(number);
            changed_.notify_all();
        }
        if (onCancel) {
            onCancel(number);
        }
    }

    /// Returns the request with this number.
    Request request(std::size_t number) const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return requests_.at(number - 1);
    }
    /// Returns the response handler of the request with this number.
    IResponseHandler<Response>& operator[](std::size_t number) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return *handlers_.at(number - 1);
    }
    /// Removes and returns the response handler of the request with this number.
    Handler take(std::size_t number) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return std::move(handlers_.at(number - 1));
    }
    /// Sends a value to the request, completes it, and destroys its response handler.
    void answer(std::size_t number, const Response& value = Response(200)) {
        const Handler handler = take(number);
        handler->onNext(value);
        handler->onCompleted();
    }
    /// Returns the numbers of the requests that were cancelled, in the order of the cancellations.
    std::vector<std::size_t> cancelled() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return cancelled_;
    }
    /// Waits until `count` requests were cancelled, and returns their numbers.
    std::vector<std::size_t> waitForCancelled(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return cancelled_.size() >= count; });
        return cancelled_;
    }
    /// Waits until `count` requests have arrived.
    void waitForRequests(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return handlers_.size() >= count; });
    }

    static void* toHandle(std::size_t number) {
        return reinterpret_cast<void*>(number);  // NOLINT(performance-no-int-to-ptr)
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Handler> handlers_;
    std::vector<Request> requests_;
    std::vector<std::size_t> cancelled_;
};

}  // namespace kova::test
