#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/IResourceHandler.h"

namespace kova::test {

/// A resource handler of the core that answers from threads of its own, without a delay. A request
/// may be answered before `actionRequest` has returned its handle.
class Sensors : public IResourceHandler {
public:
    using Handler = std::unique_ptr<IResponseHandler<Response>>;

    explicit Sensors(int threads) {
        for (int t = 0; t < threads; ++t) {
            threads_.emplace_back([this] { work(); });
        }
    }
    ~Sensors() override {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }

    /// Number of cancellations that the service has requested.
    std::atomic<int> cancellations{0};

    void* actionRequest(const Request& request, Handler&& handler,
                        const std::string& path) override {
        void* handle = nullptr;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            handle = reinterpret_cast<void*>(++lastHandle_);  // NOLINT(performance-no-int-to-ptr)
            jobs_.push_back({handle, request, path, std::move(handler)});
        }
        wake_.notify_one();
        return handle;
    }
    void cancelRequest(void* handle) override {
        ++cancellations;
        std::optional<Job> cancelled;  // destroyed after the lock is released
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = std::find_if(jobs_.begin(), jobs_.end(),
                                        [handle](const Job& job) { return job.handle == handle; });
        if (found != jobs_.end()) {
            cancelled = std::move(*found);
            jobs_.erase(found);
        } else {
            const auto running = std::find(running_.begin(), running_.end(), handle);
            if (running != running_.end()) {
                running_.erase(running);
            }
        }
    }

private:
    struct Job {
        void* handle;
        Request request;
        std::string name;
        Handler handler;
    };

    void work() {
        while (const std::optional<Job> job = take()) {
            if (!finish(job->handle)) {
                continue;
            }
            if (job->name == "dust") {
                job->handler->onError(Response::createErrorResponse(503, "dust"));
            } else {
                job->handler->onNext(Response(200));
                job->handler->onCompleted();
            }
        }
    }
    std::optional<Job> take() {
        std::unique_lock<std::mutex> lock(mutex_);
        wake_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
        if (stopping_) {
            return std::nullopt;
        }
        std::optional<Job> job(std::move(jobs_.front()));
        jobs_.pop_front();
        running_.push_back(job->handle);
        return job;
    }
    bool finish(void* handle) {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto running = std::find(running_.begin(), running_.end(), handle);
        if (running == running_.end()) {
            return false;
        }
        running_.erase(running);
        return true;
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Job> jobs_;
    std::vector<void*> running_;
    std::uintptr_t lastHandle_ = 0;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace kova::test
