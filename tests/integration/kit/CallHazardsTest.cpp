// Hazards of the core's contract. Each test shows a hazard with the core alone, and then that
// `kit::Calls` prevents it.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Sensors.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/kit/Calls.h"
#include "kova/testing/Recording.h"
#include "support/Reports.h"
#include "support/Service.h"
#include "support/Threads.h"

namespace kova {
namespace {

using namespace std::chrono_literals;
using kova::testing::record;
using kova::testing::Recording;
using Handler = std::unique_ptr<IResponseHandler<Response>>;
using Events = Recording::Events;

const Request REQUEST("retrieve", "/air/ozone");

/// A composed service with one resource at "/air", and calls in front of it.
template <typename Resource>
struct Composed {
    template <typename... Arguments>
    explicit Composed(Arguments&&... arguments) : service(mount(arguments...)), calls(service) {}

    template <typename... Arguments>
    std::map<std::string, std::unique_ptr<IResourceHandler>> mount(Arguments&... arguments) {
        std::map<std::string, std::unique_ptr<IResourceHandler>> handlers;
        auto own = std::make_unique<Resource>(arguments...);
        resource = own.get();
        handlers["/air"] = std::move(own);
        return handlers;
    }

    Resource* resource = nullptr;
    StaticComposedKovaService service;
    kit::Calls calls;
};

/// A response handler that is always at the same address.
class SameAddress : public IResponseHandler<Response> {
public:
    explicit SameAddress(std::function<void()> onValue) : onValue_(std::move(onValue)) {}
    bool onNext(const Response&) override {
        onValue_();
        return false;
    }
    void onError(const Response&) override {}
    void onCompleted() override {}

    static void* operator new(std::size_t size) {
        static std::aligned_storage_t<256> memory;
        EXPECT_LE(size, sizeof memory);
        return &memory;
    }
    static void operator delete(void*) {}

private:
    std::function<void()> onValue_;
};

// --- 1: the callback runs after the cancellation -------------------------------------------------

/// A callback that blocks until the test lets it continue.
struct Inside {
    std::promise<void> begun;
    std::promise<void> goOn;
    std::atomic<bool> left{false};

    Handler handler() {
        return std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
            [this](const Response&) {
                begun.set_value();
                goOn.get_future().wait();
                left = true;
                return false;
            },
            [](const Response&) {}, [] {});
    }
};

TEST(CallHazardsTest, CoreRunsCallbacksAfterCancelRequest) {
    Inside inside;  // outlives the threads of the resource, which may use it after the cancellation
    Composed<test::Sensors> composed(6);
    void* const handle = composed.service.actionRequest(REQUEST, inside.handler());
    inside.begun.get_future().wait();
    composed.service.cancelRequest(handle);
    EXPECT_FALSE(inside.left) << "what the callback uses must not be freed yet";
    inside.goOn.set_value();
}

TEST(CallHazardsTest, NoCallbackRunsAfterResetOfASubscription) {
    Composed<test::Sensors> composed(6);
    Inside inside;
    void* const handle = composed.calls.actionRequest(REQUEST, inside.handler());
    inside.begun.get_future().wait();
    std::thread resetting([&] {
        composed.calls.reset(handle);
        EXPECT_TRUE(inside.left);
    });
    inside.goOn.set_value();
    resetting.join();
}

// --- 2: the answer arrives before `actionRequest` returns ----------------------------------------

/// A resource that answers on another thread before it returns its handle.
class Overtaking : public test::ScriptedResource {
public:
    Overtaking() {
        handle = this;
        onRequest = [](IResponseHandler<Response>& handler) {
            std::thread([&handler] { handler.onCompleted(); }).join();
        };
    }
};

TEST(CallHazardsTest, AnswerBeforeActionRequestReturnsLeavesAStaleEntryInTheCore) {
    Composed<Overtaking> composed;
    composed.service.actionRequest(REQUEST, record().handler());
    composed.service.shutdown();
    EXPECT_EQ(composed.resource->cancelled.size(), 1U) << "the entry of a finished request";
}

TEST(CallHazardsTest, AnswerBeforeActionRequestReturnsLeavesNoStaleEntryWithCalls) {
    Composed<Overtaking> composed;
    const Recording recording = record();
    composed.calls.actionRequest(REQUEST, recording.handler());
    EXPECT_EQ(recording.events(), (Events{"completed"}));
    EXPECT_EQ(composed.resource->cancelled.size(), 1U) << "the entry is removed at once";
    composed.service.shutdown();
    EXPECT_EQ(composed.resource->cancelled.size(), 1U);
}

TEST(CallHazardsTest, StaleEntryInTheCorePreventsALaterCancellation) {
    Composed<test::ScriptedResource> composed;
    test::ScriptedResource& resource = *composed.resource;
    resource.handle = &resource;
    resource.onRequest = [&](IResponseHandler<Response>& handler) { handler.onCompleted(); };
    composed.service.actionRequest(REQUEST, std::make_unique<SameAddress>([] {}));
    resource.asked.clear();
    resource.onRequest = nullptr;
    resource.handle = &composed;
    void* const second =
        composed.service.actionRequest(REQUEST, std::make_unique<SameAddress>([] {}));
    composed.service.cancelRequest(second);
    EXPECT_EQ(resource.cancelled, (std::vector<void*>{&resource})) << "the finished request";
    resource.asked.clear();
}

/// Sends requests in a tight loop, waits for their answers, and returns the number of entries that
/// remain in the table of the service.
template <typename Send>
int entriesAfter(Composed<test::Sensors>& composed, int requests, Send send) {
    const Recording recording = record();
    for (int i = 0; i < requests; ++i) {
        send(recording);
    }
    recording.waitFor(2 * static_cast<std::size_t>(requests));
    EXPECT_TRUE(recording.waitUntilDestroyed());
    EXPECT_TRUE(composed.calls.close(30s).empty());
    const int before = composed.resource->cancellations;
    composed.service.shutdown();
    return composed.resource->cancellations - before;
}

TEST(CallHazardsTest, ManyEarlyAnswersLeaveStaleEntriesInTheCore) {
    int entries = 0;
    for (int round = 0; entries == 0 && round < 100; ++round) {
        Composed<test::Sensors> composed(6);
        entries = entriesAfter(composed, 3000, [&](const Recording& recording) {
            composed.service.actionRequest(REQUEST, recording.handler());
        });
    }
    EXPECT_GT(entries, 0);
}

TEST(CallHazardsTest, ManyEarlyAnswersLeaveNoStaleEntriesWithCalls) {
    Composed<test::Sensors> composed(6);
    const int requests = 3000 * test::stressFactor();
    EXPECT_EQ(entriesAfter(composed, requests,
                           [&](const Recording& recording) {
                               composed.calls.actionRequest(REQUEST, recording.handler());
                           }),
              0);
}

// --- 3: a late cancellation cancels another request ----------------------------------------------

TEST(CallHazardsTest, LateCancellationInTheCoreCancelsALaterRequestWithTheSameHandle) {
    Composed<test::ScriptedResource> composed;
    test::ScriptedResource& resource = *composed.resource;
    resource.handle = &resource;
    void* const first =
        composed.service.actionRequest(REQUEST, std::make_unique<SameAddress>([] {}));
    resource.asked.front().handler->onCompleted();
    resource.asked.clear();
    resource.handle = &composed;
    void* const stranger =
        composed.service.actionRequest(REQUEST, std::make_unique<SameAddress>([] {}));
    EXPECT_EQ(first, stranger);
    composed.service.cancelRequest(first);
    EXPECT_EQ(resource.cancelled, (std::vector<void*>{&composed}));
}

TEST(CallHazardsTest, LateCancellationOfCallsHasNoEffect) {
    Composed<test::ScriptedResource> composed;
    test::ScriptedResource& resource = *composed.resource;
    resource.handle = &resource;
    void* const first = composed.calls.actionRequest(REQUEST, std::make_unique<SameAddress>([] {}));
    resource.asked.front().handler->onCompleted();
    resource.asked.clear();
    void* const stranger =
        composed.calls.actionRequest(REQUEST, std::make_unique<SameAddress>([] {}));
    EXPECT_NE(first, stranger);
    composed.calls.cancelRequest(first);
    EXPECT_TRUE(resource.cancelled.empty());
    composed.calls.cancelRequest(stranger);
    EXPECT_EQ(resource.cancelled.size(), 1U);
    resource.asked.clear();
}

// --- 4: the client gets no end -------------------------------------------------------------------

TEST(CallHazardsTest, CallsReportADroppedRequestAndTheCoreDoesNot) {
    Composed<test::ScriptedResource> composed;
    composed.resource->handle = composed.resource;
    const Recording core = record();
    composed.service.actionRequest(REQUEST, core.handler());
    composed.resource->asked.clear();
    EXPECT_EQ(core.events(), Events{});
    EXPECT_EQ(core.living(), 0U);

    const Recording recording = record();
    composed.calls.actionRequest(REQUEST, recording.handler());
    composed.resource->asked.clear();
    EXPECT_EQ(recording.waitFor(1),
              (Events{"error 500 the service dropped retrieve '/air/ozone'"}));
}

TEST(CallHazardsTest, CallsReportARejectedRequestAndTheCoreDoesNot) {
    Composed<test::ScriptedResource> composed;
    composed.service.shutdown();
    const Recording core = record();
    composed.service.actionRequest(REQUEST, core.handler());
    EXPECT_EQ(core.events(), Events{});

    const Recording recording = record();
    composed.calls.actionRequest(REQUEST, recording.handler());
    EXPECT_EQ(recording.events(), (Events{"error 503 the service refuses requests"}));
}

TEST(CallHazardsTest, CallsReportAShutdownAndTheCoreDoesNot) {
    Composed<test::ScriptedResource> composed;
    composed.resource->handle = composed.resource;
    composed.resource->onCancel = [&](void*) { composed.resource->asked.pop_front(); };
    const Recording core = record();
    const Recording recording = record();
    composed.service.actionRequest(REQUEST, core.handler());
    composed.calls.actionRequest(REQUEST, recording.handler());
    composed.service.shutdown();
    EXPECT_EQ(core.events(), Events{});
    EXPECT_EQ(recording.waitFor(1),
              (Events{"error 500 the service dropped retrieve '/air/ozone'"}));
}

TEST(CallHazardsTest, UnansweredRequestEndsAtItsDeadline) {
    Composed<test::ScriptedResource> composed;
    const Recording recording = record();
    auto call = composed.calls.start(REQUEST, recording.receiver(), {{}, 1ms});
    EXPECT_EQ(recording.waitFor(1), (Events{"timed out: 504 Gateway Timeout: no answer within 1 ms "
                                            "to retrieve '/air/ozone'"}));
    call.reset();
    composed.resource->asked.clear();
}

TEST(CallHazardsTest, SecondAnswerIsIgnored) {
    Composed<test::ScriptedResource> composed;
    test::Reports reports;
    const Recording recording = record();
    composed.calls.actionRequest(REQUEST, recording.handler());
    auto& handler = *composed.resource->asked.front().handler;
    handler.onNext(Response(200));
    handler.onCompleted();
    handler.onNext(Response(200));
    handler.onCompleted();
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
}

// --- 7: locks of the resource --------------------------------------------------------------------

/// A resource that destroys its requests, and is cancelled, while it holds its lock.
class Locking : public IResourceHandler {
public:
    void* actionRequest(const Request&, Handler&& handler, const std::string&) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        handler_ = std::move(handler);
        return this;
    }
    void cancelRequest(void*) override { drop(); }
    void drop() {
        const std::lock_guard<std::mutex> guard(mutex_);
        handler_.reset();
    }

private:
    std::mutex mutex_;
    Handler handler_;
};

TEST(CallHazardsTest, ResourceMayDropARequestWhileItHoldsItsLock) {
    Composed<Locking> composed;
    const Recording recording = record();
    recording.onEvent([&](const std::string&) { composed.resource->drop(); });
    composed.calls.actionRequest(REQUEST, recording.handler());
    composed.resource->drop();
    EXPECT_EQ(recording.waitFor(1),
              (Events{"error 500 the service dropped retrieve '/air/ozone'"}));
    EXPECT_TRUE(recording.waitUntilDestroyed());
    EXPECT_TRUE(composed.calls.close(30s).empty());
}

}  // namespace
}  // namespace kova
