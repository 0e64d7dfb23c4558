// Threads send and cancel requests to resources, jobs and slots, while others answer them, exchange
// handlers and stop the service. Every request that was not cancelled has exactly one end, and
// nothing is left.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/testing/Script.h"
#include "support/Reports.h"
#include "support/Watchdog.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;

constexpr int THREADS = 4;
constexpr int REQUESTS = 1000;

/// The sums over all response handlers.
struct Counts {
    std::atomic<long> sent{0};
    std::atomic<long> cancelled{0};
    std::atomic<long> ends{0};
    std::atomic<long> living{0};
};

/// A response handler that counts, wants at most two values, and fails the test if it gets an event
/// after its end.
class Counting : public IResponseHandler<Response> {
public:
    explicit Counting(Counts& counts) : counts_(counts) { ++counts_.living; }
    ~Counting() override { --counts_.living; }
    Counting(const Counting&) = delete;
    Counting& operator=(const Counting&) = delete;

    bool onNext(const Response&) override {
        EXPECT_EQ(ends_, 0) << "a value after the end";
        return ++values_ == 2;
    }
    void onError(const Response&) override { end(); }
    void onCompleted() override { end(); }

private:
    void end() {
        EXPECT_EQ(ends_++, 0) << "a second end";
        ++counts_.ends;
    }
    Counts& counts_;
    int values_ = 0;
    int ends_ = 0;
};

/// Answers replies on threads of its own until it is destroyed.
class Answerers {
public:
    Answerers() {
        for (std::thread& thread : threads_) {
            thread = std::thread([this] { run(); });
        }
    }
    ~Answerers() {
        stopped_ = true;
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    Answerers(const Answerers&) = delete;
    Answerers& operator=(const Answerers&) = delete;

    void add(Reply<int> reply) {
        const std::lock_guard<std::mutex> guard(mutex_);
        replies_.push_back(std::move(reply));
    }

private:
    void run() {
        while (!stopped_) {
            std::optional<Reply<int>> reply = take();
            if (reply) {
                reply->progress(1);
                reply->value(2);
            } else {
                std::this_thread::yield();
            }
        }
    }
    std::optional<Reply<int>> take() {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (replies_.empty()) {
            return std::nullopt;
        }
        std::optional<Reply<int>> reply(std::move(replies_.front()));
        replies_.pop_front();
        return reply;
    }

    std::mutex mutex_;
    std::deque<Reply<int>> replies_;
    std::atomic<bool> stopped_{false};
    std::array<std::thread, 2> threads_;
};

class ResourceRacesTest : public ::testing::Test {
protected:
    /// A resource with functions that answer at once, later, never, by a job, or throw.
    std::unique_ptr<Resource> makeResource() {
        auto resource = std::make_unique<Resource>();
        resource->on(command::retrieve, "now", [](const Ask&) { return 1; });
        resource->on(command::retrieve, "later",
                     [this](const Ask&, Reply<int> reply) { answerers.add(std::move(reply)); });
        resource->on(command::retrieve, "never", [this](const Ask&, Reply<int> reply) {
            const std::lock_guard<std::mutex> guard(mutex);
            kept.push_back(std::make_unique<Reply<int>>(std::move(reply)));
        });
        resource->on(command::retrieve, "job", worker, [](Job& job) {
            job.progress(1);
            return job.sleep(1ms) ? 1 : 2;
        });
        resource->on(command::retrieve, "exception",
                     [](const Ask&) -> int { throw std::runtime_error("oops"); });
        return resource;
    }
    /// Sends requests below `mount` from several threads, and cancels some of them.
    void load(IKovaApi& api, const std::string& mount, bool withExceptions = false) {
        std::vector<std::thread> threads;
        for (unsigned t = 0; t < THREADS; ++t) {
            threads.emplace_back([&, t, withExceptions] {
                std::mt19937 random(t);
                for (int i = 0; i < REQUESTS; ++i) {
                    sendOne(api, mount + PATHS[random() % (withExceptions ? 5 : 4)],
                            random() % 3 == 0);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    void sendOne(IKovaApi& api, const std::string& path, bool isCancelled) {
        ++counts.sent;
        void* const handle =
            api.actionRequest(Request("retrieve", path), std::make_unique<Counting>(counts));
        if (isCancelled && handle != nullptr) {
            ++counts.cancelled;
            api.cancelRequest(handle);
        }
    }
    /// Checks that each request has its end, and that its response handler is destroyed.
    void expectNothingLeft() {
        const auto until = std::chrono::steady_clock::now() + 20s;
        while (counts.living != 0 && std::chrono::steady_clock::now() < until) {
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_EQ(counts.living, 0);
        EXPECT_LE(counts.ends, counts.sent);
        EXPECT_GE(counts.ends, counts.sent - counts.cancelled);
    }

    static constexpr std::array<char const*, 5> PATHS{"/now", "/later", "/never", "/job",
                                                      "/exception"};
    test::Watchdog watchdog{"requests race"};
    Counts counts;
    std::mutex mutex;
    std::vector<std::unique_ptr<Reply<int>>> kept;
    Answerers answerers;
    Worker worker{{2, 100'000}};
};

TEST_F(ResourceRacesTest, RacingAnswersAndCancellationsEndEachRequestOnce) {
    test::Reports reports;
    const auto resource = makeResource();
    ServiceBuilder builder;
    const auto service = builder.mount("/r", *resource).build();
    load(*service, "/r", true);
    EXPECT_TRUE(service->stop(20s).empty());
    expectNothingLeft();
    reports.take();
}

TEST_F(ResourceRacesTest, ResourceMayBeDestroyedUnderLoad) {
    auto resource = makeResource();
    ServiceBuilder builder;
    const auto service = builder.mount("/r", *resource).build();
    std::thread destroyer([&] {
        std::this_thread::sleep_for(3ms);
        resource.reset();
    });
    load(*service, "/r");
    destroyer.join();
    EXPECT_TRUE(service->stop(20s).empty());
    expectNothingLeft();
}

TEST_F(ResourceRacesTest, TwoThreadsMayStopAServiceUnderLoad) {
    const auto resource = makeResource();
    ServiceBuilder builder;
    const auto service = builder.mount("/r", *resource).build();
    std::vector<std::thread> stoppers;
    for (int i = 0; i < 2; ++i) {
        stoppers.emplace_back([&] {
            std::this_thread::sleep_for(3ms);
            EXPECT_TRUE(service->stop(20s).empty());
        });
    }
    load(*service, "/r");
    for (std::thread& stopper : stoppers) {
        stopper.join();
    }
    expectNothingLeft();
}

TEST_F(ResourceRacesTest, SlotHandlerMayBeExchangedUnderLoad) {
    ServiceBuilder builder;
    Slot slot = builder.slot("/r");
    const auto service = builder.build();
    std::atomic<bool> stopped{false};
    std::thread exchanger([&] {
        for (unsigned i = 0; !stopped; ++i) {
            if (i % 3 == 0) {
                slot.clear();
            } else if (i % 3 == 1) {
                kova::testing::Script script;
                script.value(Response(298)).elsewhere().value(Response(200)).complete();
                slot.set(script.handler());
            } else {
                const auto resource = makeResource();
                slot.set(*resource);
                std::this_thread::sleep_for(1ms);
            }
        }
    });
    load(*service, "/r");
    stopped = true;
    exchanger.join();
    slot.clear();
    EXPECT_TRUE(service->stop(20s).empty());
    expectNothingLeft();
}

TEST_F(ResourceRacesTest, FunctionsMayClearTheirOwnSlot) {
    ServiceBuilder builder;
    Slot slot = builder.slot("/r");
    const auto service = builder.build();
    for (int round = 0; round < 50; ++round) {
        Resource resource;
        resource.on(command::retrieve, "now", [&](const Ask&) {
            slot.clear();
            return 1;
        });
        slot.set(resource);
        std::vector<std::thread> threads;
        for (int t = 0; t < THREADS; ++t) {
            threads.emplace_back([&] { sendOne(*service, "/r/now", false); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    EXPECT_EQ(counts.ends, counts.sent);
    expectNothingLeft();
}

TEST_F(ResourceRacesTest, FunctionsMayStopTheirOwnService) {
    std::unique_ptr<Service> service;
    Resource resource;
    resource.on(command::retrieve, "stop", [&](const Ask&) { service->stop(20s); });
    resource.on(command::retrieve, "job", worker, [&](Job&) { service->stop(20s); });
    ServiceBuilder builder;
    service = builder.mount("/r", resource).build();
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back(
            [&, t] { sendOne(*service, t % 2 == 0 ? "/r/stop" : "/r/job", false); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(service->stop(20s).empty());
    expectNothingLeft();
}

TEST_F(ResourceRacesTest, FunctionsMaySendRequestsToTheirOwnService) {
    std::unique_ptr<Service> service;
    Resource resource;
    resource.on(command::retrieve, "now", [](const Ask&) { return 1; });
    resource.on(command::retrieve, "outer", [&](const Ask&) {
        sendOne(*service, "/r/now", false);
        return 1;
    });
    ServiceBuilder builder;
    service = builder.mount("/r", resource).build();
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < REQUESTS; ++i) {
                sendOne(*service, "/r/outer", false);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counts.sent, 2 * THREADS * REQUESTS);
    EXPECT_EQ(counts.ends, counts.sent);
    expectNothingLeft();
}

}  // namespace
}  // namespace kova::kit
