#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/IResourceHandler.h"
#include "kova/core/IResponseHandler.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/headers.h"
#include "kova/kit/Mountable.h"
#include "kova/kit/StreamOptions.h"

namespace kova::test {

/// The responses to one request. Any thread may call any function.
class Answers {
public:
    void addValue(const Response& value) {
        change([&] {
            std::string text;
            Payload::createStringFrom(value.getPayload(), text, true);
            values_.push_back(text);
            last_ = value;
            long lost = 0;
            if (!value.getHeaderValue(kit::STREAM_LOST).get(lost)) {
                lost_ += lost;
            }
        });
    }
    /// Returns the sum of the header entries that report lost changes.
    long lost() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return lost_;
    }
    void addEnd(const std::string& end) {
        change([&] { ends_.push_back(end); });
    }
    void setDestroyed() {
        change([&] { destroyed_ = true; });
    }

    /// Waits for the given number of values and returns all.
    std::vector<std::string> values(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return values_.size() >= count || !ends_.empty(); });
        return values_;
    }
    /// Waits for the value with this text and returns all values received so far.
    std::vector<std::string> valuesUntil(const std::string& last) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(
            lock, [&] { return !ends_.empty() || (!values_.empty() && values_.back() == last); });
        return values_;
    }
    /// Waits for the end and returns it: "completed", or the error with its code.
    std::string end() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return !ends_.empty(); });
        return ends_.size() == 1 ? ends_.front() : "several ends";
    }
    /// Waits until the response handler has been destroyed, and returns the number of ends.
    std::size_t endsWhenDestroyed() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return destroyed_; });
        return ends_.size();
    }
    Response last() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return last_;
    }
    bool hasEnd() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return !ends_.empty();
    }

    /// Called for each value after it has been added, without a lock. Returns true if no further
    /// value is wanted.
    std::function<bool(const Response&)> onValue;

private:
    template <typename Function>
    void change(Function function) {
        const std::lock_guard<std::mutex> guard(mutex_);
        function();
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> values_;
    std::vector<std::string> ends_;
    Response last_;
    long lost_ = 0;
    bool destroyed_ = false;
};

/// A response handler that records the responses.
class AnswerHandler : public IResponseHandler<Response> {
public:
    explicit AnswerHandler(std::shared_ptr<Answers> answers) : answers_(std::move(answers)) {}
    ~AnswerHandler() override { answers_->setDestroyed(); }

    bool onNext(const Response& value) override {
        answers_->addValue(value);
        return answers_->onValue && answers_->onValue(value);
    }
    void onError(const Response& error) override {
        answers_->addEnd(error.getErrorMessageWithCode());
    }
    void onCompleted() override { answers_->addEnd("completed"); }

private:
    const std::shared_ptr<Answers> answers_;
};

/// A receiver that blocks in its first value until `release`. It must outlive the request.
class BlockingReceiver {
public:
    BlockingReceiver() {
        answers->onValue = [this](const Response&) {
            block();
            return false;
        };
    }

    void waitUntilBlocked() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return isBlocked_; });
    }
    void release() {
        const std::lock_guard<std::mutex> guard(mutex_);
        isReleased_ = true;
        changed_.notify_all();
    }
    /// Returns the sum of the header entries that report lost changes.
    long lost() { return answers->lost(); }

    const std::shared_ptr<Answers> answers = std::make_shared<Answers>();

private:
    void block() {
        std::unique_lock<std::mutex> lock(mutex_);
        isBlocked_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return isReleased_; });
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool isBlocked_ = false;
    bool isReleased_ = false;
};

/// Waits until a stream has no watcher. A watcher whose stream has ended is removed when its
/// receiver has returned.
template <typename Stream>
void waitUntilUnwatched(const Stream& stream) {
    while (!stream.watchers().empty()) {
        std::this_thread::yield();
    }
}

/// A client of one object. It sends requests to the object's handler.
class Watch {
public:
    explicit Watch(const kit::Mountable& mountable) : handler_(mountable.handler()) {}

    /// Sends a request and returns its responses. Sets `handle` to the handle of the request.
    std::shared_ptr<Answers> send(const Request& request, std::shared_ptr<Answers> answers = {},
                                  void** handle = nullptr) const {
        if (!answers) {
            answers = std::make_shared<Answers>();
        }
        void* const own = handler_->actionRequest(request, std::make_unique<AnswerHandler>(answers),
                                                  request.getPath());
        if (handle != nullptr) {
            *handle = own;
        }
        return answers;
    }
    /// Watches the values.
    std::shared_ptr<Answers> watch(std::shared_ptr<Answers> answers = {},
                                   void** handle = nullptr) const {
        return send(streamRequest(), std::move(answers), handle);
    }
    /// Retrieves one value.
    std::shared_ptr<Answers> retrieve(const std::string& path = "") const {
        return send(Request("retrieve", path));
    }
    void cancel(void* handle) const { handler_->cancelRequest(handle); }

    static Request streamRequest(char const* format = mimetypes::JSON_TYPE,
                                 const std::string& path = "") {
        Request request("retrieve", path);
        request.setMimeType(std::string(format));
        headers::appendTracingInfo(request, "/test", "screen");
        headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
        return request;
    }

private:
    const std::unique_ptr<IResourceHandler> handler_;
};

}  // namespace kova::test
