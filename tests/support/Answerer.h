#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/IKovaApi.h"
#include "kova/kit/Client.h"
#include "support/FailingThread.h"
#include "support/HeldService.h"

namespace kova::test {

/// Answers "/now" inside the request, and other paths with three values from a thread of its own.
/// "/kept" is kept until it is cancelled. `LOOP` and `SENDER` choose the answering thread for
/// `FailingThread`: for `LOOP` this is the thread that calls the service, for `SENDER` the thread
/// of the service.
class Answerer : public IKovaApi {
public:
    static constexpr char const* LOOP = "/choose";
    static constexpr char const* SENDER = "/choose-later";

    Answerer() {
        // The first use of the kit prepares the process for fork(2). ThreadSanitizer does not know
        // the lock of the C library that orders this before a fork on another thread.
        useKit();
        thread_ = std::thread([this] { run(); });
    }
    ~Answerer() override {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            isStopped_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }
    Answerer(const Answerer&) = delete;
    Answerer& operator=(const Answerer&) = delete;

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        if (request.getPath() == "/kept") {
            ++kept_;
            return handler.release();
        }
        if (request.getPath() == "/now" || request.getPath() == LOOP) {
            const Handler own = std::move(handler);
            if (request.getPath() == LOOP) {
                FailingThread::chooseThisThread();
            }
            own->onNext(value_);
            own->onCompleted();
            return UNDEFINED_REQUEST_HANDLE;
        }
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            waiting_.push_back({std::move(handler), request.getPath() == SENDER});
        }
        changed_.notify_all();
        return UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void* handle) override {
        delete static_cast<IResponseHandler<Response>*>(handle);
        --kept_;
    }

    /// Returns the number of requests that are kept.
    std::size_t kept() const noexcept { return kept_; }

private:
    using Handler = std::unique_ptr<IResponseHandler<Response>>;

    static Response value(std::size_t size) {
        return Response(200, Payload::createFromString(std::string(size, 'x')));
    }
    // Uses the kit once on this thread, so that its thread-local variables are allocated before
    // memory fails. The C library ends the process if it cannot allocate thread-local variables.
    static void useKit() {
        HeldService held;
        const kit::Client client(held);
        const kit::Subscription call = client.retrieve<int>("/state").start();
    }
    void run() {
        useKit();
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return isStopped_ || !waiting_.empty(); });
            if (waiting_.empty()) {
                return;
            }
            const auto [handler, isChosen] = std::move(waiting_.back());
            waiting_.pop_back();
            lock.unlock();
            for (int i = 0; i < 3; ++i) {
                handler->onNext(large_);
            }
            if (isChosen) {
                FailingThread::chooseThisThread();
            }
            handler->onCompleted();
            lock.lock();
        }
    }

    // Created before memory fails, because a payload without memory ends the process.
    const Response value_ = value(100);
    const Response large_ = value(40'000);
    std::atomic<std::size_t> kept_{0};
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::pair<Handler, bool>> waiting_;
    bool isStopped_ = false;
    std::thread thread_;
};

}  // namespace kova::test
