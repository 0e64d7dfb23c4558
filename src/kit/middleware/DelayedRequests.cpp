#include "middleware/DelayedRequests.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "osal/Clock.h"

namespace kova::kit::detail {

/// The response handler that is passed to the service. Its destruction ends the request.
class DelayedRequests::Delayed final : public IResponseHandler<Response> {
public:
    Delayed(DelayedRequests& owner, Number number, ResponseHandler&& handler)
        : owner_(owner), number_(number), handler_(std::move(handler)) {}
    ~Delayed() override { owner_.finish(number_); }
    Delayed(const Delayed&) = delete;
    Delayed& operator=(const Delayed&) = delete;

    bool onNext(const Response& value) override { return handler_->onNext(value); }
    void onError(const Response& error) override { handler_->onError(error); }
    void onCompleted() override { handler_->onCompleted(); }

private:
    DelayedRequests& owner_;
    const Number number_;
    const ResponseHandler handler_;
};

DelayedRequests::DelayedRequests(IKovaApi& service, std::chrono::milliseconds delay,
                                 osal::Clock* clock)
    : delay_(delay), clock_(clock), calls_(service) {
    if (delay_.count() <= 0) {
        return;
    }
    if (clock_ != nullptr) {
        ownTimer_ = std::make_unique<osal::AlarmTimer>(*clock_);
    }
    worker_.emplace();
    alarm_ = std::make_unique<osal::Alarm>(
        ownTimer_ ? *ownTimer_ : osal::Alarm::DEFAULT_TIMER,
        [](void* user) { static_cast<DelayedRequests*>(user)->expired(); }, this);
}

// Destroys the handlers of the waiting requests without the lock, because the end of a request
// acquires the lock.
DelayedRequests::~DelayedRequests() {
    alarm_.reset();
    worker_.reset();
    calls_.close(osal::Alarm::LONGEST);
    std::vector<ResponseHandler> handlers;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        for (auto& [number, entry] : entries_) {
            handlers.push_back(std::move(entry.handler));
        }
    }
}

DelayedRequests::TimePoint DelayedRequests::now() const {
    return clock_ != nullptr ? clock_->now() : std::chrono::steady_clock::now();
}

void* DelayedRequests::send(const Request& request, ResponseHandler&& handler) {
    if (!alarm_) {
        return calls_.actionRequest(request, std::move(handler));
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    const Number number = ++last_;
    Entry& entry = entries_.try_emplace(number, request, peerOf(request)).first->second;
    entry.handler = std::make_unique<Delayed>(*this, number, std::move(handler));
    queue_.push_back({now() + delay_, number});
    if (queue_.size() == 1) {
        armLocked();
    }
    return reinterpret_cast<void*>(number);  // NOLINT(performance-no-int-to-ptr)
}

void DelayedRequests::armLocked() {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(queue_.front().time - now());
    // `arm` fails only in a child process of fork(2) that cannot start a thread.
    static_cast<void>(alarm_->arm(std::max(left, std::chrono::milliseconds(0))));
}

void DelayedRequests::expired() {
    const std::lock_guard<std::mutex> guard(mutex_);
    const TimePoint time = now();
    // A request for which the worker has no free place stays in the queue.
    while (!queue_.empty() && queue_.front().time <= time &&
           worker_->tryPost([this, number = queue_.front().number] { passOn(number); })) {
        queue_.pop_front();
    }
    if (!queue_.empty()) {
        queue_.front().time = std::max(queue_.front().time, time + std::chrono::milliseconds(1));
        armLocked();
    }
}

void DelayedRequests::passOn(Number number) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto found = entries_.find(number);
    if (found == entries_.end() || found->second.isCancelled) {
        return;
    }
    const Request request = found->second.request;
    const Peer peer = found->second.peer;
    ResponseHandler handler = std::move(found->second.handler);
    lock.unlock();
    const PeerScope scope(peer);
    void* const handle = calls_.actionRequest(request, std::move(handler));
    lock.lock();
    const auto pending = entries_.find(number);
    const bool isCancelled = pending != entries_.end() && pending->second.isCancelled;
    if (pending != entries_.end()) {
        pending->second.handle = handle;
    }
    lock.unlock();
    if (isCancelled) {
        calls_.cancelRequest(handle);
    }
}

void DelayedRequests::cancel(void* handle) {
    if (!alarm_) {
        calls_.cancelRequest(handle);
        return;
    }
    ResponseHandler handler;  // destroyed without the lock
    void* inner = nullptr;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = entries_.find(reinterpret_cast<Number>(handle));
        if (found == entries_.end()) {
            return;
        }
        found->second.isCancelled = true;
        handler = std::move(found->second.handler);
        inner = found->second.handle;
    }
    if (inner != nullptr) {
        calls_.cancelRequest(inner);
    }
}

void DelayedRequests::finish(Number number) noexcept {
    const std::lock_guard<std::mutex> guard(mutex_);
    entries_.erase(number);
}

}  // namespace kova::kit::detail
