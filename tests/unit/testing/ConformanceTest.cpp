#include "kova/testing/Conformance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/kit/Resource.h"
#include "kova/kit/Worker.h"
#include "kova/testing/Script.h"

namespace kova::testing {
namespace {

using namespace std::chrono_literals;
using Findings = std::vector<std::string>;
using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;
using ::testing::Contains;

/// A correct handler that answers from a thread of its own after 5 ms, with the places at which
/// a fault can be planted.
class Delayed : public IResourceHandler {
public:
    struct Faults {
        bool answersTwice = false;
        bool neverEnds = false;
        bool valueAfterTheEnd = false;
        bool throws = false;
        bool ignoresCancel = false;
        bool leaks = false;
        bool endsAfterCancel = false;
        bool throwsOnEmptyPath = false;
        bool wrongFormat = false;
        bool cancelEndsToo = false;
        bool ignoresEnough = false;
        bool dropsWithoutAnEnd = false;
        bool acceptsEveryPath = false;
        bool hangs = false;
    };
    explicit Delayed(const Faults& faults) : faults_(faults) {}
    ~Delayed() override {
        destroyed_.set_value();
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    Delayed(const Delayed&) = delete;
    Delayed& operator=(const Delayed&) = delete;

    void* actionRequest(const Request& request, ResponseHandler&& handler,
                        const std::string& path) override {
        plantBefore(path);
        if ((path != "state" && !faults_.acceptsEveryPath) || request.getCommand() != "retrieve") {
            handler->onError(Response::createErrorResponse(404, "no"));
            return nullptr;
        }
        const auto pending = std::make_shared<Pending>();
        pending->handler = std::move(handler);
        pending->format = mimetypes::JSON_TYPE;
        std::string wanted;
        if (!request.getMimeTypeHeader().get(wanted) && !faults_.wrongFormat) {
            pending->format = wanted;
        }
        const std::lock_guard<std::mutex> guard(mutex_);
        const std::uintptr_t number = ++last_;
        requests_[number] = pending;
        threads_.emplace_back([this, number, pending] { answer(number, pending); });
        return reinterpret_cast<void*>(number);
    }
    void cancelRequest(void* handle) override {
        std::shared_ptr<Pending> pending;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            const auto found = requests_.find(reinterpret_cast<std::uintptr_t>(handle));
            if (found == requests_.end() || faults_.ignoresCancel || faults_.endsAfterCancel) {
                return;
            }
            pending = std::move(found->second);
            requests_.erase(found);
        }
        if (faults_.cancelEndsToo) {
            // Sends an end, unless the answer was already sent. The answer then follows as a second
            // end.
            const std::lock_guard<std::mutex> guard(pending->mutex);
            if (pending->handler) {
                pending->handler->onCompleted();
            }
            return;
        }
        pending->isCancelled = true;
        const std::lock_guard<std::mutex> guard(pending->mutex);
        pending->handler.reset();
    }

private:
    struct Pending {
        std::mutex mutex;
        ResponseHandler handler;
        std::string format;
        std::atomic<bool> isCancelled{false};
    };

    void plantBefore(const std::string& path) const {
        if (faults_.throws) {
            throw std::runtime_error("oops");
        }
        if (faults_.throwsOnEmptyPath && path.at(0) == '/') {
            return;
        }
        if (faults_.hangs) {
            std::promise<void>().get_future().wait();
        }
    }
    void answer(std::uintptr_t number, const std::shared_ptr<Pending>& pending) {
        if (faults_.endsAfterCancel) {
            isDestroyed_.wait();
        }
        std::this_thread::sleep_for(5ms);
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            const bool isPending = requests_.erase(number) != 0;
            if (!isPending && !faults_.cancelEndsToo) {
                return;
            }
        }
        const std::lock_guard<std::mutex> guard(pending->mutex);
        if (pending->handler && !faults_.dropsWithoutAnEnd) {
            send(*pending->handler, pending->format);
        }
        if (faults_.neverEnds || faults_.ignoresCancel || faults_.leaks) {
            keep(std::move(pending->handler));
        }
        pending->handler.reset();
    }
    void send(IResponseHandler<Response>& handler, const std::string& format) const {
        const Response value(200, kit::toPayload(1, format).value());
        if (handler.onNext(value) && faults_.ignoresEnough) {
            handler.onNext(value);
        }
        if (faults_.neverEnds || faults_.ignoresCancel) {
            return;
        }
        handler.onCompleted();
        if (faults_.answersTwice) {
            handler.onCompleted();
        }
        if (faults_.valueAfterTheEnd) {
            handler.onNext(value);
        }
    }
    void keep(ResponseHandler handler) {
        if (faults_.leaks) {
            static std::mutex mutex;
            static std::vector<ResponseHandler> leaked;
            const std::lock_guard<std::mutex> guard(mutex);
            leaked.push_back(std::move(handler));
            return;
        }
        const std::lock_guard<std::mutex> guard(mutex_);
        kept_.push_back(std::move(handler));
    }

    const Faults faults_;
    std::mutex mutex_;
    std::uintptr_t last_ = 0;
    std::map<std::uintptr_t, std::shared_ptr<Pending>> requests_;
    std::vector<ResponseHandler> kept_;
    std::vector<std::thread> threads_;
    std::promise<void> destroyed_;
    const std::shared_future<void> isDestroyed_{destroyed_.get_future()};
};

// The limit is long, so that a correct handler also passes on a busy machine.
ConformanceOptions optionsFor(const std::string& path) {
    ConformanceOptions options;
    options.path = path;
    options.limit = 30s;
    return options;
}

Findings findingsOf(bool Delayed::Faults::*fault) {
    Delayed::Faults faults;
    if (fault != nullptr) {
        faults.*fault = true;
    }
    ConformanceOptions options = optionsFor("state");
    // With these faults, a check waits until a time limit has passed.
    if (faults.neverEnds || faults.ignoresCancel || faults.leaks || faults.endsAfterCancel) {
        options.limit = 100ms;
    }
    if (faults.hangs) {
        options.checkLimit = 100ms;
    }
    return conformance([faults] { return std::make_unique<Delayed>(faults); }, options);
}

TEST(ConformanceTest, FindsNothingInACorrectHandler) {
    EXPECT_EQ(findingsOf(nullptr), Findings{});
}

struct Planted {
    char const* name;
    bool Delayed::Faults::*fault;
    char const* finding;
};

class ConformanceFaults : public ::testing::TestWithParam<Planted> {};

TEST_P(ConformanceFaults, ConformanceReportsEachFault) {
    EXPECT_THAT(findingsOf(GetParam().fault), Contains(std::string(GetParam().finding)));
}

using Faults = Delayed::Faults;
const Planted PLANTED[] = {
    {"AnswersTwice", &Faults::answersTwice, "request: sends an event after the end"},
    {"NeverEnds", &Faults::neverEnds, "request: does not end the request"},
    {"ValueAfterTheEnd", &Faults::valueAfterTheEnd, "request: sends an event after the end"},
    {"Throws", &Faults::throws, "request: throws: oops"},
    {"IgnoresCancel", &Faults::ignoresCancel, "cancellation: ignores the cancellation"},
    {"LeaksTheResponseHandler", &Faults::leaks, "request: leaves a response handler behind"},
    {"EndsAfterCancel", &Faults::endsAfterCancel,
     "cancellation: sends an event after the cancellation"},
    {"ThrowsOnTheEmptyPath", &Faults::throwsOnEmptyPath,
     "request on the mount path: throws: basic_string::at: __n (which is 0) >= this->size() "
     "(which is 0)"},
    {"WrongFormat", &Faults::wrongFormat,
     "request of the binary format: answers in the format application/json instead of "
     "application/vnd.axobin"},
    {"SecondEndAtACancellation", &Faults::cancelEndsToo,
     "requests at once: sends an event after the end"},
    {"IgnoresThatTheReceiverHasEnough", &Faults::ignoresEnough,
     "receiver that wants no more: sends a value after onNext returned true"},
    {"DropsWithoutAnEnd", &Faults::dropsWithoutAnEnd,
     "request: destroys the response handler without an end"},
    {"AcceptsEveryPath", &Faults::acceptsEveryPath, "unknown path: is not answered with an error"},
    {"DoesNotReturn", &Faults::hangs, "request: does not return"},
};
INSTANTIATE_TEST_SUITE_P(Planted, ConformanceFaults, ::testing::ValuesIn(PLANTED),
                         [](const auto& info) { return std::string(info.param.name); });

// --- Handlers of the kit -------------------------------------------------------------------------

/// A handler that owns its resource.
class Owner : public IResourceHandler {
public:
    explicit Owner(const std::function<void(kit::Resource&)>& fill) {
        fill(resource_);
        handler_ = resource_.handler();
    }
    void* actionRequest(const Request& request, ResponseHandler&& handler,
                        const std::string& path) override {
        return handler_->actionRequest(request, std::move(handler), path);
    }
    void cancelRequest(void* handle) override { handler_->cancelRequest(handle); }

private:
    kit::Resource resource_;
    std::unique_ptr<IResourceHandler> handler_;
};

Findings findingsOf(const std::function<void(kit::Resource&)>& fill) {
    return conformance([fill] { return std::make_unique<Owner>(fill); }, optionsFor("state"));
}

TEST(ConformanceTest, FindsNothingInAResourceThatAnswersAtOnce) {
    EXPECT_EQ(findingsOf([](kit::Resource& resource) {
                  resource.on(kit::command::retrieve, "state", [](const kit::Ask&) { return 7; });
              }),
              Findings{});
}

TEST(ConformanceTest, FindsNothingInAResourceThatAnswersFromAnotherThread) {
    EXPECT_EQ(findingsOf([](kit::Resource& resource) {
                  resource.on(kit::command::retrieve, "state",
                              [](const kit::Ask&, kit::Reply<int> reply) {
                                  std::thread([reply = std::move(reply)]() mutable {
                                      reply.progress(1);
                                      reply.value(2);
                                  }).detach();
                              });
              }),
              Findings{});
}

TEST(ConformanceTest, FindsNothingInAResourceThatAnswersWithAJob) {
    kit::Worker worker({2});
    EXPECT_EQ(findingsOf([&](kit::Resource& resource) {
                  resource.on(kit::command::retrieve, "state", worker, [](kit::Job& job) {
                      job.progress(1);
                      job.sleep(1ms);
                      return 2;
                  });
              }),
              Findings{});
}

TEST(ConformanceTest, FindsNothingInAStreamThatIsCancelled) {
    const auto fill = [](kit::Resource& resource) {
        resource.on(kit::command::retrieve, "state", [](const kit::Ask&, kit::Reply<int> reply) {
            std::thread([reply = std::move(reply)]() mutable {
                while (reply.progress(1)) {
                    std::this_thread::sleep_for(1ms);
                }
            }).detach();
        });
    };
    ConformanceOptions options = optionsFor("state");
    options.endless = true;
    EXPECT_EQ(conformance([fill] { return std::make_unique<Owner>(fill); }, options), Findings{});
}

TEST(ConformanceTest, HandlerThatDoesNotEndAnUnknownPathIsReported) {
    ConformanceOptions options;
    options.endless = true;
    options.limit = 10ms;
    Script script;
    script.wait();
    const Findings findings = conformance([script] { return script.handler(); }, options);
    EXPECT_THAT(findings, Contains("unknown path: does not end the request"));
    EXPECT_THAT(findings, ::testing::Not(Contains("cancellation: ignores the cancellation")));
}

}  // namespace
}  // namespace kova::testing
