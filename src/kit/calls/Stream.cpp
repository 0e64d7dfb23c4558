#include "kova/kit/Stream.h"

#include <string>

namespace kova::kit::detail {

Result<void> StreamState::push(const Response& value) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (values_.size() >= capacity_) {
        return Error{statuscodes::SERVICE_UNAVAILABLE,
                     std::to_string(capacity_) + " values of the stream wait to be read"};
    }
    values_.push_back(value);
    notify(lock);
    return {};
}

void StreamState::finish(const End& end) {
    std::unique_lock<std::mutex> lock(mutex_);
    end_ = end;
    notify(lock);
}

void StreamState::notify(std::unique_lock<std::mutex>& lock) {
    const std::function<void()> function = std::exchange(whenReady_, nullptr);
    changed_.notify_all();
    lock.unlock();
    if (function) {
        function();
    }
}

bool StreamState::isReady() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return end_ || !values_.empty();
}

bool StreamState::whenReady(std::function<void()> function) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (end_ || !values_.empty()) {
        return false;
    }
    whenReady_ = std::move(function);
    return true;
}

void StreamState::forget() {
    const std::lock_guard<std::mutex> guard(mutex_);
    whenReady_ = nullptr;
}

bool StreamState::waitFor(std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, limit, [this] { return end_ || !values_.empty(); });
}

Result<Response> StreamState::take() {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (!values_.empty()) {
        Response value = std::move(values_.front());
        values_.pop_front();
        return value;
    }
    if (end_->ok()) {
        return Error{statuscodes::NO_CONTENT, "the stream was completed"};
    }
    return end_->error();
}

}  // namespace kova::kit::detail
