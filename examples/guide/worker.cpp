// A resource that sends its responses from its own thread.
#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/response_handlers.h"

using kova::Request;
using kova::Response;
using Handler = std::unique_ptr<kova::IResponseHandler<Response>>;

class Sensors : public kova::IResourceHandler {
public:
    using Measure = std::function<std::optional<std::string>(const std::string& name)>;

    explicit Sensors(Measure measure) : measure_(std::move(measure)), worker_([this] { work(); }) {}
    ~Sensors() override {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            stopping_ = true;
        }
        wake_.notify_one();
        worker_.join();
    }

    void* actionRequest(const Request& request, Handler&& handler,
                        const std::string& path) override {
        void* handle = nullptr;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            // A handle is a number that is never dereferenced.
            handle = reinterpret_cast<void*>(++lastHandle_);  // NOLINT(performance-no-int-to-ptr)
            jobs_.push_back({handle, request, path, std::move(handler)});
        }
        wake_.notify_one();
        return handle;
    }
    void cancelRequest(void* handle) override {
        std::optional<Job> cancelled;  // destroyed after the lock is released
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = std::find_if(jobs_.begin(), jobs_.end(),
                                        [handle](const Job& job) { return job.handle == handle; });
        if (found != jobs_.end()) {
            cancelled = std::move(*found);
            jobs_.erase(found);
        } else if (running_ == handle) {
            running_ = nullptr;
        }
    }

private:
    struct Job {
        void* handle;
        Request request;  // a copy: the caller's request does not outlive the call
        std::string name;
        Handler handler;
    };

    void work() {
        while (const std::optional<Job> job = take()) {
            const auto value = measure_(job->name);
            if (!finish(job->handle)) {
                continue;  // cancelled during the measurement
            }
            if (value) {
                job->handler->onNext({200, kova::Payload::createFromString(*value)});
                job->handler->onCompleted();
            } else {
                const std::string reason = "path '" + job->request.getPath() + "' does not answer";
                job->handler->onError(Response::createErrorResponse(503, reason.c_str()));
            }
        }
    }

    // Returns the next job, or nothing if the handler is being destroyed.
    std::optional<Job> take() {
        std::unique_lock<std::mutex> lock(mutex_);
        wake_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
        if (stopping_) {
            return std::nullopt;
        }
        std::optional<Job> job(std::move(jobs_.front()));
        jobs_.pop_front();
        running_ = job->handle;
        return job;
    }

    // Returns whether the request still waits for the response.
    bool finish(void* handle) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return std::exchange(running_, nullptr) == handle;
    }

    const Measure measure_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Job> jobs_;
    void* running_ = nullptr;
    std::uintptr_t lastHandle_ = 0;  // handles are never reused
    bool stopping_ = false;
    std::thread worker_;  // last, so that the other members exist before it starts
};

void* ask(kova::IKovaApi& service, const std::string& name, const std::function<void()>& over) {
    using Printer = kova::responsehandlers::FuncResponseHandler<Response>;
    const auto next = [name](const Response& value) {
        std::cout << name << ": " << value.toString() << '\n';
        return false;
    };
    const auto error = [name, over](const Response& response) {
        std::cout << name << ": " << response.getErrorMessageWithCode() << '\n';
        over();
    };
    return service.actionRequest(Request("retrieve", "/air/" + name),
                                 std::make_unique<Printer>(next, error, over));
}

int main() {
    // The sensors respond only when they are warm.
    std::promise<void> warm;
    const auto measure = [isWarm = warm.get_future().share()](const std::string& name) {
        isWarm.wait();
        return name == "dust" ? std::nullopt : std::optional<std::string>(name + " is low");
    };
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
    handlers["/air"] = std::make_unique<Sensors>(measure);
    kova::StaticComposedKovaService service(std::move(handlers));

    std::promise<void> done;
    ask(service, "ozone", [] {});
    void* const carbon = ask(service, "carbon", [] {});
    ask(service, "dust", [&done] { done.set_value(); });
    std::cout << "three requests are pending\n";
    service.cancelRequest(carbon);
    std::cout << "one is cancelled\n";
    warm.set_value();
    done.get_future().wait();
    service.shutdown();
}
