#include "kova/kit/Subscription.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/kit/Calls.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"
#include "support/Reports.h"
#include "support/Traces.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using kova::testing::record;
using kova::testing::Recording;
using Events = Recording::Events;

const Request REQUEST("retrieve", "/state");
constexpr char const* CANCELLED =
    "cancelled: 503 Service Unavailable: cancelled: retrieve '/state'";

class SubscriptionTest : public ::testing::Test {
protected:
    Subscription start() { return start(recording); }
    Subscription start(const Recording& into) { return calls.start(REQUEST, into.receiver()); }

    test::HeldService service;
    Calls calls{service};
    Recording recording = record();
};

// Blocks inside a callback, on a thread of the service.
class Blocked {
public:
    Blocked(test::HeldService& service, std::size_t number, const Recording& recording) {
        recording.onEvent([this](const std::string&) {
            inside_.set_value();
            goOn_.get_future().wait();
        });
        thread_ = std::thread([&service, number] { service[number].onNext(Response(200)); });
        inside_.get_future().wait();
    }
    void goOn() { goOn_.set_value(); }
    ~Blocked() { thread_.join(); }
    Blocked(const Blocked&) = delete;
    Blocked& operator=(const Blocked&) = delete;

private:
    std::promise<void> inside_;
    std::promise<void> goOn_;
    std::thread thread_;
};

TEST_F(SubscriptionTest, ResetSilentlyCancelsAndDestroysTheReceiver) {
    Subscription call = start();
    call.reset();
    EXPECT_FALSE(call.pending());
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    service.answer(1);
    EXPECT_EQ(recording.events(), Events{});
    call.reset();
    call.cancel();
}

TEST_F(SubscriptionTest, DestructorResetsTheCall) {
    { const Subscription call = start(); }
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
}

TEST_F(SubscriptionTest, AssignmentResetsTheFormerCall) {
    Subscription call = start();
    call = start(record());
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    EXPECT_TRUE(call.pending());
    Subscription other = std::move(call);
    EXPECT_FALSE(call.pending());
    EXPECT_TRUE(other.pending());
}

TEST_F(SubscriptionTest, ResetWaitsForARunningCallback) {
    Subscription call = start();
    Blocked blocked(service, 1, recording);
    std::promise<void> reset;
    std::thread resetting([&] {
        call.reset();
        EXPECT_EQ(recording.living(), 0U) << "the callback has left and its receiver is destroyed";
        reset.set_value();
    });
    service.waitForCancelled(1);
    EXPECT_EQ(recording.living(), 1U);
    blocked.goOn();
    reset.get_future().wait();
    resetting.join();
}

TEST_F(SubscriptionTest, LongWaitOfResetIsTraced) {
    test::Traces traces("KOVA_KIT_CALLS", 5);
    Subscription call = start();
    Blocked blocked(service, 1, recording);
    const long runner = calls.pending().at(0).thread;
    std::thread resetting([&] {
        call.reset();
        EXPECT_EQ(recording.living(), 0U) << "the wait goes on after the trace";
    });
    std::vector<test::Traces::Trace> seen;
    while (seen.empty()) {
        std::this_thread::yield();
        seen = traces.take();
    }
    blocked.goOn();
    resetting.join();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].level, 5);
    const std::string end =
        " has waited 1 s for the callback of retrieve '/state' on thread " + std::to_string(runner);
    EXPECT_EQ(seen[0].text.substr(0, 7), "thread ");
    EXPECT_EQ(seen[0].text.substr(seen[0].text.size() - end.size()), end);
}

TEST_F(SubscriptionTest, ResetInsideItsCallbackDoesNotWait) {
    Subscription call = start();
    recording.onEvent([&](const std::string&) {
        call.reset();
        EXPECT_EQ(recording.living(), 1U) << "the receiver lives until its callback has returned";
    });
    service[1].onNext(Response(200));
    EXPECT_EQ(recording.living(), 0U);
    service.answer(1);
    EXPECT_EQ(recording.events(), (Events{"value 200"}));
}

TEST_F(SubscriptionTest, ResetInsideTheEndCallbackDoesNotWait) {
    Subscription call = start();
    recording.onEvent([&](const std::string& event) {
        if (event == "completed") {
            call.reset();
        }
    });
    service.answer(1);
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_TRUE(service.cancelled().empty());
}

TEST_F(SubscriptionTest, ServiceMayDestroyTheResponseHandlerDuringItsCallback) {
    Subscription call = start();
    service.onCancel = [&](std::size_t number) { service.take(number).reset(); };
    recording.onEvent([&](const std::string& event) {
        if (event == "value 200") {
            call.cancel();
        }
    });
    service[1].onNext(Response(200));
    EXPECT_EQ(recording.waitFor(2), (Events{"value 200", CANCELLED}));
    EXPECT_TRUE(recording.waitUntilDestroyed());
}

TEST_F(SubscriptionTest, CancelDeliversTheEndOnAnotherThread) {
    Subscription call = start();
    std::mutex lock;  // held by the thread that cancels, and acquired by the callback
    recording.onEvent([&](const std::string&) { const std::lock_guard<std::mutex> guard(lock); });
    {
        const std::lock_guard<std::mutex> guard(lock);
        call.cancel();
        call.cancel();
    }
    EXPECT_EQ(recording.waitFor(1), (Events{CANCELLED}));
    EXPECT_TRUE(recording.waitUntilDestroyed());
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    EXPECT_EQ(recording.events().size(), 1U);
}

TEST_F(SubscriptionTest, CancelDuringACallbackDeliversTheEndLater) {
    Subscription call = start();
    Blocked blocked(service, 1, recording);
    call.cancel();
    EXPECT_EQ(recording.events(), (Events{"value 200"}));
    recording.onEvent(nullptr);
    blocked.goOn();
    EXPECT_EQ(recording.waitFor(2), (Events{"value 200", CANCELLED}));
}

TEST_F(SubscriptionTest, DetachedCallContinues) {
    start().detach();
    service.answer(1);
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
}

TEST_F(SubscriptionTest, ValuesSentInsideACallbackArriveLater) {
    const Subscription call = start();
    recording.onEvent([&](const std::string& event) {
        if (event == "value 1") {
            service[1].onNext(Response(2));
            service[1].onCompleted();
            EXPECT_EQ(recording.events().size(), 1U);
        }
    });
    service[1].onNext(Response(1));
    EXPECT_EQ(recording.events(), (Events{"value 1", "value 2", "completed"}));
}

// --- Circles -------------------------------------------------------------------------------------

TEST_F(SubscriptionTest, MutualResetInTwoCallbacksDoesNotDeadlock) {
    test::Reports reports;
    test::Traces traces("KOVA_KIT_CALLS", 6);
    const Recording second = record();
    Subscription a = start();
    Subscription b = start(second);
    std::promise<void> bothInside;
    std::promise<void> otherInside;
    recording.onEvent([&](const std::string&) {
        otherInside.get_future().wait();
        bothInside.set_value();
        b.reset();
    });
    second.onEvent([&](const std::string&) {
        otherInside.set_value();
        bothInside.get_future().wait();
        a.reset();
    });
    std::thread one([&] { service[1].onNext(Response(200)); });
    std::thread two([&] { service[2].onNext(Response(200)); });
    one.join();
    two.join();
    EXPECT_EQ(recording.living() + second.living(), 0U);
    const auto texts = reports.take();
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_NE(texts[0].reason.find("wait for the callback of retrieve '/state' on thread"),
              std::string::npos);
    EXPECT_EQ(traces.take().size(), 1U);
}

TEST_F(SubscriptionTest, CyclicResetInThreeCallbacksDoesNotDeadlock) {
    test::Reports reports;
    std::vector<Recording> recordings;
    std::vector<Subscription> all;
    std::vector<std::promise<void>> inside(3);
    std::vector<std::shared_future<void>> insides;
    for (std::size_t i = 0; i < 3; ++i) {
        recordings.push_back(record());
        all.push_back(start(recordings[i]));
        insides.push_back(inside[i].get_future().share());
    }
    for (std::size_t i = 0; i < 3; ++i) {
        recordings[i].onEvent([&, i](const std::string&) {
            inside[i].set_value();
            for (const auto& other : insides) {
                other.wait();
            }
            all[(i + 1) % 3].reset();
        });
    }
    std::vector<std::thread> threads;
    for (std::size_t i = 1; i <= 3; ++i) {
        threads.emplace_back([&, i] { service[i].onNext(Response(200)); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(reports.take().size(), 1U);
}

TEST_F(SubscriptionTest, MutualResetAndDestructionDoesNotDeadlock) {
    test::Reports reports;
    auto other = std::make_unique<Calls>(service);
    const Recording second = record();
    Subscription a = start();
    Subscription b = other->start(REQUEST, second.receiver());
    std::promise<void> bothInside;
    std::promise<void> otherInside;
    recording.onEvent([&](const std::string&) {
        otherInside.get_future().wait();
        bothInside.set_value();
        other.reset();
    });
    second.onEvent([&](const std::string&) {
        otherInside.set_value();
        bothInside.get_future().wait();
        a.reset();
    });
    std::thread one([&] { service[1].onNext(Response(200)); });
    std::thread two([&] { service[2].onNext(Response(200)); });
    one.join();
    two.join();
    EXPECT_EQ(reports.take().size(), 1U);
    EXPECT_EQ(recording.living() + second.living(), 0U);
}

}  // namespace
}  // namespace kova::kit
