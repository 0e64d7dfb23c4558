#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/IKovaApi.h"
#include "support/RetainedMemory.h"

namespace device::test {

/// Collects the events of one request, so that a test can wait for them and check them. Waiting has
/// no time limit: ctest stops a test that hangs.
class Answer : public std::enable_shared_from_this<Answer> {
public:
    using Handler = std::unique_ptr<kova::IResponseHandler<kova::Response>>;

    /// Called for every value with the number of values so far, on the sending thread. Returns true
    /// to stop the stream.
    std::function<bool(unsigned long)> onNext = [](unsigned long) { return false; };

    /// Returns a response handler that passes its events to this object.
    Handler receiver() { return std::make_unique<Receiver>(shared_from_this()); }

    void awaitValues(unsigned long count) {
        await([&] { return values_.size() >= count; });
    }
    void awaitEnd() {
        await([&] { return ends_ > 0; });
    }
    /// Waits until the response handler is destroyed.
    void awaitRelease() {
        await([&] { return released_; });
    }

    std::vector<kova::Response> values() const { return locked(values_); }
    bool released() const { return locked(released_); }
    /// Returns the number of terminating events.
    int ends() const { return locked(ends_); }
    /// Returns the status of the error. Without an error, returns the status of the latest value,
    /// or 0.
    unsigned short code() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return error_            ? error_->getStatusCode()
               : values_.empty() ? static_cast<unsigned short>(0)
                                 : values_.back().getStatusCode();
    }
    /// Returns the payload of the latest value as JSON text.
    std::string text() const {
        std::string text;
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!values_.empty() && !values_.back().getPayload().isEmpty()) {
            kova::Payload::createStringFrom(values_.back().getPayload(), text, true);
        }
        return text;
    }
    std::string error() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return error_ ? error_->getErrorMessage().value_or("") : "";
    }

private:
    class Receiver : public kova::IResponseHandler<kova::Response> {
    public:
        explicit Receiver(std::shared_ptr<Answer> answer) : answer_(std::move(answer)) {}
        ~Receiver() override {
            answer_->note([&] { answer_->released_ = true; });
        }
        static void operator delete(void* memory) { retainedMemory.retain(memory); }
        bool onNext(const kova::Response& value) override {
            unsigned long count = 0;
            answer_->note([&] {
                answer_->values_.push_back(value);
                count = answer_->values_.size();
            });
            return answer_->onNext(count);
        }
        void onError(const kova::Response& error) override {
            answer_->note([&] {
                answer_->error_ = error;
                ++answer_->ends_;
            });
        }
        void onCompleted() override {
            answer_->note([&] { ++answer_->ends_; });
        }

    private:
        std::shared_ptr<Answer> answer_;
    };

    template <typename Change>
    void note(const Change& change) {
        const std::lock_guard<std::mutex> guard(mutex_);
        change();
        changed_.notify_all();
    }
    template <typename Condition>
    void await(const Condition& condition) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, condition);
    }
    template <typename T>
    T locked(const T& member) const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return member;
    }

    static inline kova::test::RetainedMemory retainedMemory;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<kova::Response> values_;
    std::optional<kova::Response> error_;
    int ends_ = 0;
    bool released_ = false;
};

/// Sends a request. Its events may arrive after the return.
inline std::shared_ptr<Answer> ask(kova::IKovaApi& service, const kova::Request& request) {
    auto answer = std::make_shared<Answer>();
    service.actionRequest(request, answer->receiver());
    return answer;
}

}  // namespace device::test
