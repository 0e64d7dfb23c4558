#include "kova/kit/Loop.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <memory>
#include <thread>
#include <vector>

#include "kova/kit/Calls.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using kova::testing::record;
using kova::testing::Recording;
using Events = Recording::Events;

const Request REQUEST("retrieve", "/state");

class LoopTest : public ::testing::Test {
protected:
    Subscription start() { return calls.start(REQUEST, recording.receiver(), {loop}); }
    bool isReadable() const {
        pollfd descriptor{loop.fd(), POLLIN, 0};
        return ::poll(&descriptor, 1, 0) == 1;
    }

    test::HeldService service;
    Calls calls{service};
    Loop loop;
    Recording recording = record();
};

TEST_F(LoopTest, DescriptorIsReadableWhileACallbackIsReady) {
    EXPECT_FALSE(isReadable());
    loop.tryPost([] {});
    loop.tryPost([] {});
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(loop.runReady(), 2U);
    EXPECT_FALSE(isReadable());
    EXPECT_EQ(loop.runReady(), 0U);
}

TEST_F(LoopTest, CallbacksRunInRunReady) {
    std::vector<std::thread::id> threads;
    recording.onEvent([&](const std::string&) { threads.push_back(std::this_thread::get_id()); });
    const Subscription call = start();
    std::thread([&] { service.answer(1); }).join();
    EXPECT_EQ(recording.events(), Events{});
    EXPECT_GE(loop.runFor(30s), 1U);
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
    EXPECT_EQ(threads, (std::vector<std::thread::id>(2, std::this_thread::get_id())));
}

TEST_F(LoopTest, FunctionPostedInACallbackRunsInTheNextRunReady) {
    int runs = 0;
    loop.tryPost([&] {
        ++runs;
        loop.tryPost([&] { ++runs; });
        EXPECT_EQ(loop.runReady(), 0U) << "not inside a callback";
    });
    EXPECT_EQ(loop.runReady(), 1U);
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(loop.runReady(), 1U);
    EXPECT_EQ(runs, 2);
}

TEST_F(LoopTest, ResetBeforeRunReadySuppressesTheCallbacks) {
    Subscription call = start();
    service.answer(1);
    call.reset();
    EXPECT_EQ(recording.living(), 0U);
    loop.runReady();
    EXPECT_EQ(recording.events(), Events{});
}

TEST_F(LoopTest, FullLoopRejectsACall) {
    Loop small({1});
    const Subscription first = calls.start(REQUEST, record().receiver(), {small});
    const Subscription second = calls.start(REQUEST, recording.receiver(), {small});
    EXPECT_EQ(recording.events(),
              (Events{"refused: 503 Service Unavailable: the executor is full"}));
}

TEST_F(LoopTest, StopDeliversTheEndsOfPendingCalls) {
    const Subscription call = start();
    loop.stop();
    EXPECT_EQ(recording.events(),
              (Events{"cancelled: 503 Service Unavailable: the executor was stopped"}));
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
}

TEST_F(LoopTest, CanBeDestroyedInsideACallback) {
    auto own = std::make_unique<Loop>();
    recording.onEvent([&](const std::string& event) {
        if (event == "value 200") {
            own.reset();
        }
    });
    const Subscription call = calls.start(REQUEST, recording.receiver(), {*own});
    service[1].onNext(Response(200));
    own->runReady();
    EXPECT_EQ(
        recording.waitFor(2),
        (Events{"value 200", "cancelled: 503 Service Unavailable: the executor was stopped"}));
}

}  // namespace
}  // namespace kova::kit
