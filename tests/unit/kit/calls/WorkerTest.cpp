#include "kova/kit/Worker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kova/kit/Calls.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"
#include "support/Threads.h"
#include "support/Traces.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using kova::testing::record;
using kova::testing::Recording;
using Events = Recording::Events;

const Request REQUEST("retrieve", "/state");

class WorkerTest : public ::testing::Test {
protected:
    Subscription start(const Executor& executor, const Recording& into, std::size_t queue = 1024) {
        return calls.start(REQUEST, into.receiver(), {executor, 0ms, false, queue});
    }

    test::HeldService service;
    Calls calls{service};
    Recording recording = record();
};

TEST_F(WorkerTest, FunctionsRunInOrderOnTheWorkerThread) {
    std::vector<int> order;
    std::set<std::thread::id> threads;
    Worker worker;
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(worker.tryPost([&, i] {
            order.push_back(i);
            threads.insert(std::this_thread::get_id());
        }));
    }
    worker.stop();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(threads.size(), 1U);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
}

TEST_F(WorkerTest, InlineExecutorRunsFunctionsImmediately) {
    std::thread::id thread;
    EXPECT_TRUE(Executor().tryPost([&] { thread = std::this_thread::get_id(); }));
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(WorkerTest, TwoThreadsRunFunctionsConcurrently) {
    Worker worker({2});
    test::Barrier both(3);
    worker.tryPost([&] { both.wait(); });
    worker.tryPost([&] { both.wait(); });
    both.wait();
    worker.stop();
    SUCCEED() << "otherwise the barrier is not passed";
}

TEST_F(WorkerTest, CallbacksRunOnTheWorkerThreads) {
    Worker worker;
    std::set<std::thread::id> threads;
    recording.onEvent([&](const std::string&) { threads.insert(std::this_thread::get_id()); });
    const Subscription call = start(worker, recording);
    service.answer(1);
    EXPECT_EQ(recording.waitFor(2), (Events{"value 200", "completed"}));
    worker.stop();
    EXPECT_EQ(threads.size(), 1U);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
}

TEST_F(WorkerTest, CallbacksOfACallDoNotOverlap) {
    constexpr int VALUES = 200;
    Worker worker({4, 16});
    std::atomic<int> inside{0};
    recording.onEvent([&](const std::string&) {
        EXPECT_EQ(inside.fetch_add(1), 0);
        inside.fetch_sub(1);
    });
    const Subscription call = start(worker, recording);
    for (int i = 0; i < VALUES; ++i) {
        service[1].onNext(Response(static_cast<unsigned short>(i)));
    }
    service.take(1)->onCompleted();
    const Events events = recording.waitFor(VALUES + 1);
    ASSERT_EQ(events.size(), VALUES + 1U);
    for (int i = 0; i < VALUES; ++i) {
        EXPECT_EQ(events[static_cast<std::size_t>(i)], "value " + std::to_string(i));
    }
    EXPECT_EQ(events.back(), "completed");
}

TEST_F(WorkerTest, FullWorkerRejectsCallsAndFunctions) {
    Worker worker({1, 2});
    const Recording second = record();
    const Recording third = record();
    const Subscription a = start(worker, recording);
    const Subscription b = start(worker, second);
    const Subscription c = start(worker, third);
    EXPECT_EQ(third.events(), (Events{"refused: 503 Service Unavailable: the executor is full"}));
    EXPECT_FALSE(worker.tryPost([] {}));
    // The end of a call frees its place.
    service.answer(1);
    recording.waitUntilDestroyed();
    while (!worker.tryPost([] {})) {
        std::this_thread::yield();
    }
    EXPECT_EQ(second.events(), Events{});
}

TEST_F(WorkerTest, CallWithASlowReceiverEndsAsLost) {
    Worker worker;
    std::promise<void> goOn;
    worker.tryPost([&] { goOn.get_future().wait(); });
    const Subscription call = start(worker, recording, 2);
    EXPECT_FALSE(service[1].onNext(Response(1)));
    EXPECT_FALSE(service[1].onNext(Response(2)));
    EXPECT_TRUE(service[1].onNext(Response(3)));
    goOn.set_value();
    EXPECT_EQ(recording.waitFor(3),
              (Events{"value 1", "value 2",
                      "lost: 503 Service Unavailable: 2 values wait for the receiver of retrieve "
                      "'/state'"}));
    EXPECT_EQ(service.waitForCancelled(1), (std::vector<std::size_t>{1}));
}

TEST_F(WorkerTest, CancellationDiscardsQueuedValues) {
    Worker worker;
    std::promise<void> goOn;
    worker.tryPost([&] { goOn.get_future().wait(); });
    Subscription call = start(worker, recording);
    service[1].onNext(Response(1));
    call.cancel();
    goOn.set_value();
    EXPECT_EQ(recording.waitFor(1),
              (Events{"cancelled: 503 Service Unavailable: cancelled: retrieve '/state'"}));
}

TEST_F(WorkerTest, StopEndsThePendingCalls) {
    Worker worker;
    const Subscription call = start(worker, recording);
    worker.stop();
    EXPECT_EQ(recording.events(),
              (Events{"cancelled: 503 Service Unavailable: the executor was stopped"}));
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    EXPECT_FALSE(worker.tryPost([] {}));
    const Recording late = record();
    const Subscription refused = start(worker, late);
    EXPECT_EQ(late.events(), (Events{"refused: 503 Service Unavailable: the executor is full"}));
}

TEST_F(WorkerTest, LongStopIsTraced) {
    test::Traces traces("KOVA_KIT_CALLS", 5);
    Worker worker;
    std::promise<void> goOn;
    ASSERT_TRUE(worker.tryPost([&] { goOn.get_future().wait(); }));
    std::thread stopping([&] { worker.stop(); });
    const std::string end = " has waited 1 s for the end of a worker";
    bool isTraced = false;
    while (!isTraced) {  // the function that blocks is traced, too
        std::this_thread::yield();
        for (const test::Traces::Trace& trace : traces.take()) {
            isTraced = isTraced || trace.text.find(end) != std::string::npos;
        }
    }
    goOn.set_value();
    stopping.join();
    EXPECT_FALSE(worker.tryPost([] {}));
}

TEST_F(WorkerTest, CanBeDestroyedInsideACallback) {
    auto worker = std::make_unique<Worker>(WorkerOptions{2});
    std::promise<void> destroyed;
    recording.onEvent([&](const std::string& event) {
        if (event == "value 200") {
            worker.reset();
            destroyed.set_value();
        }
    });
    const Subscription call = start(*worker, recording);
    service[1].onNext(Response(200));
    destroyed.get_future().wait();
    EXPECT_EQ(
        recording.waitFor(2),
        (Events{"value 200", "cancelled: 503 Service Unavailable: the executor was stopped"}));
}

TEST_F(WorkerTest, CallsAndWorkerCanBeDestroyedInAnyOrder) {
    auto other = std::make_unique<Calls>(service);
    Worker worker;
    Subscription call = other->start(REQUEST, recording.receiver(), {worker});
    other.reset();
    EXPECT_FALSE(call.pending());
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_EQ(recording.events(), Events{});
}

}  // namespace
}  // namespace kova::kit
