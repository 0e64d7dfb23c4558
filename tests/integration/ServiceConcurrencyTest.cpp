// Many threads on one composed service: every request has exactly one outcome, whatever mixes.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kova/core/StaticComposedKovaService.h"
#include "support/Graveyard.h"
#include "support/Reports.h"

namespace kova {
namespace {

constexpr int THREADS = 8;

struct Counts {
    std::atomic<long> asked{0};
    std::atomic<long> refused{0};
    std::atomic<long> terminated{0};
    std::atomic<long> terminatedTwice{0};
    std::atomic<long> valuesAfterTermination{0};
    std::atomic<long> destroyed{0};
    std::atomic<long> destroyedOpen{0};
};

thread_local long valuesOnThisThread = 0;

test::Graveyard graveyard;

/// The caller's side of one request. Counts what arrives, and now and then calls back.
class CountingHandler : public IResponseHandler<Response> {
public:
    CountingHandler(Counts& counts, std::function<void()> reentry)
        : counts_(counts), reentry_(std::move(reentry)) {}
    ~CountingHandler() override {
        ++counts_.destroyed;
        counts_.destroyedOpen += terminated_ ? 0 : 1;
    }
    static void operator delete(void* memory) { graveyard.bury(memory); }

    bool onNext(const Response&) override {
        ++valuesOnThisThread;
        counts_.valuesAfterTermination += terminated_ ? 1 : 0;
        return false;
    }
    void onError(const Response&) override { terminate(); }
    void onCompleted() override { terminate(); }

private:
    void terminate() {
        counts_.terminatedTwice += terminated_ ? 1 : 0;
        terminated_ = true;
        ++counts_.terminated;
        if (reentry_) {
            reentry_();
        }
    }

    Counts& counts_;
    std::function<void()> reentry_;
    bool terminated_ = false;
};

/// A resource whose requests any thread may answer. While one thread has a response handler in hand
/// its entry stays without it, so that a cancellation meanwhile is noted.
class SharedResource : public IResourceHandler {
public:
    using Handler = std::unique_ptr<IResponseHandler<Response>>;

    void* actionRequest(const Request& request, Handler&& handler, const std::string&) override {
        if (request.getCommand() == "update") {
            handler->onNext(Response(200));
            handler->onCompleted();
            return nullptr;
        }
        const std::lock_guard<std::mutex> guard(mutex_);
        void* const handle = reinterpret_cast<void*>(++last_);
        open_[handle].handler = std::move(handler);
        return handle;
    }
    void cancelRequest(void* handle) override {
        Handler cancelled;
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = open_.find(handle);
        if (found == open_.end()) {
            return;
        }
        found->second.cancelled = true;
        cancelled = std::move(found->second.handler);
        if (cancelled) {
            open_.erase(found);
            ++cancelled_;
        }
    }
    /// Sends a value to some request, and terminates it when told so.
    void answer(bool terminate) {
        auto [handle, handler] = takeAny();
        if (handler) {
            handler->onNext(Response(299));
            if (terminate) {
                handler->onCompleted();
            }
            giveBack(handle, std::move(handler), terminate);
        }
    }
    long cancelled() const { return cancelled_; }
    std::size_t open() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return open_.size();
    }

private:
    struct Entry {
        Handler handler;
        bool cancelled = false;
    };

    std::pair<void*, Handler> takeAny() {
        const std::lock_guard<std::mutex> guard(mutex_);
        for (auto& [handle, entry] : open_) {
            if (entry.handler) {
                return {handle, std::move(entry.handler)};
            }
        }
        return {};
    }
    void giveBack(void* handle, Handler handler, bool terminated) {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = open_.find(handle);
        if (terminated || found->second.cancelled) {
            cancelled_ += terminated ? 0 : 1;
            open_.erase(found);
        } else {
            found->second.handler = std::move(handler);
        }
    }

    std::mutex mutex_;
    std::unordered_map<void*, Entry> open_;
    std::uintptr_t last_ = 0;
    std::atomic<long> cancelled_{0};
};

class ServiceConcurrencyTest : public testing::Test {
protected:
    ServiceConcurrencyTest() {
        std::map<std::string, std::unique_ptr<IResourceHandler>> handlers;
        for (std::size_t i = 0; i < resources.size(); ++i) {
            auto resource = std::make_unique<SharedResource>();
            resources[i] = resource.get();
            handlers["/r" + std::to_string(i)] = std::move(resource);
        }
        service = std::make_unique<StaticComposedKovaService>(std::move(handlers));
    }

    /// Returns the handle, or null when nothing stays pending.
    void* ask(const std::string& command, const std::string& path,
              std::function<void()> reentry = {}) {
        std::unique_ptr<IResponseHandler<Response>> handler =
            std::make_unique<CountingHandler>(counts, std::move(reentry));
        ++counts.asked;
        void* const handle = service->actionRequest(Request(command, path), std::move(handler));
        counts.refused += handler ? 1 : 0;
        return handle;
    }
    void mixedOperation(std::mt19937& random, std::vector<void*>& handles) {
        SharedResource& resource = *resources[random() % resources.size()];
        const std::string path = "/r" + std::to_string(random() % resources.size()) + "/x/y";
        switch (random() % 8) {
            case 0:
            case 1:
                handles.push_back(ask("retrieve", path));
                break;
            case 2:
                handles.push_back(ask("retrieve", path, [this, path] { ask("update", path); }));
                break;
            case 3:
                ask("update", path, [this, path] { ask("retrieve", path); });
                break;
            case 4:
                ask("retrieve", "/nowhere");
                break;
            case 5:
                if (!handles.empty()) {
                    service->cancelRequest(handles.back());
                    handles.pop_back();
                }
                break;
            case 6:
                resource.answer(false);
                break;
            default:
                resource.answer(true);
                break;
        }
    }
    long openRequests() {
        long open = 0;
        for (SharedResource* const resource : resources) {
            open += static_cast<long>(resource->open());
        }
        return open;
    }
    long cancelledRequests() const {
        long cancelled = 0;
        for (const SharedResource* const resource : resources) {
            cancelled += resource->cancelled();
        }
        return cancelled;
    }
    /// Every request was terminated, cancelled, refused or is still open, and none twice.
    void expectOneOutcomeEach() {
        EXPECT_EQ(counts.terminatedTwice, 0);
        EXPECT_EQ(counts.valuesAfterTermination, 0);
        EXPECT_EQ(counts.asked,
                  counts.terminated + cancelledRequests() + counts.refused + openRequests());
    }

    test::Reports reports;
    Counts counts;
    std::array<SharedResource*, 4> resources{};
    std::unique_ptr<StaticComposedKovaService> service;
};

void runOnAllThreads(const std::function<void(int)>& body) {
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back(body, t);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(ServiceConcurrencyTest, EveryRequestHasExactlyOneOutcome) {
    runOnAllThreads([this](int t) {
        std::mt19937 random(static_cast<unsigned int>(t));
        std::vector<void*> handles;
        for (int i = 0; i < 5000; ++i) {
            mixedOperation(random, handles);
        }
    });
    expectOneOutcomeEach();
    EXPECT_GT(counts.terminated, 0);
    EXPECT_GT(cancelledRequests(), 0);

    service->shutdown();
    expectOneOutcomeEach();
    const long open = openRequests();
    service.reset();
    EXPECT_EQ(counts.destroyed, counts.asked);
    EXPECT_EQ(counts.destroyedOpen, counts.asked - counts.terminated);
    EXPECT_EQ(open, 0) << "every pending request was cancelled by shutdown";
}

TEST_F(ServiceConcurrencyTest, NoValueArrivesOnTheThreadThatShutTheServiceDown) {
    long afterShutdown = -1;
    runOnAllThreads([&](int t) {
        std::mt19937 random(100 + static_cast<unsigned int>(t));
        std::vector<void*> handles;
        for (int i = 0; i < 3000; ++i) {
            mixedOperation(random, handles);
            if (t == 0 && i == 1500) {
                service->shutdown();
                valuesOnThisThread = 0;
            }
        }
        if (t == 0) {
            afterShutdown = valuesOnThisThread;
        }
    });
    EXPECT_EQ(afterShutdown, 0);
    EXPECT_GT(counts.refused, 0);
    expectOneOutcomeEach();
}

TEST_F(ServiceConcurrencyTest, CancellationRacesTermination) {
    for (int round = 0; round < 500; ++round) {
        void* const handle = ask("retrieve", "/r0");
        std::thread canceller([&] { service->cancelRequest(handle); });
        std::thread answerer([&] { resources[0]->answer(true); });
        canceller.join();
        answerer.join();
        expectOneOutcomeEach();
        ASSERT_EQ(openRequests(), 0);
    }
}

TEST_F(ServiceConcurrencyTest, OneBlockedCallbackDoesNotHoldUpTheOthers) {
    std::mutex gate;
    gate.lock();
    std::thread blocked(
        [&] { ask("update", "/r0", [&gate] { const std::lock_guard<std::mutex> guard(gate); }); });
    runOnAllThreads([this](int t) {
        std::mt19937 random(200 + static_cast<unsigned int>(t));
        std::vector<void*> handles;
        for (int i = 0; i < 500; ++i) {
            mixedOperation(random, handles);
        }
    });
    gate.unlock();
    blocked.join();
    expectOneOutcomeEach();
}

}  // namespace
}  // namespace kova
