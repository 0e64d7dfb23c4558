#include "Live.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Answer.h"
#include "kova/core/headers.h"
#include "kova/kit/Service.h"
#include "support/Reports.h"

namespace device {
namespace {

using kova::Request;
using std::chrono::milliseconds;
using test::Answer;

constexpr milliseconds SOON(1);
constexpr milliseconds NEVER = std::chrono::hours(1);

/// A service whose value "/live/count" counts how often it was read.
class LiveTest : public testing::Test {
protected:
    void serve(milliseconds interval) {
        auto live = std::make_unique<Live>();
        live->add<int>("count", [this]() -> kova::kit::Result<int> {
            const int count = ++reads;
            return fails ? kova::kit::Result<int>(kova::kit::Error{503, "broken"}) : count;
        });
        live->start(interval);
        service = kova::kit::ServiceBuilder().mount("/live", std::move(live)).build();
    }
    void* watch(const std::shared_ptr<Answer>& answer) {
        Request request("retrieve", "/live/count");
        kova::headers::appendResponseSemantic(request, kova::headers::PERSISTENT_STREAM);
        return service->actionRequest(request, answer->receiver());
    }
    std::shared_ptr<Answer> retrieve() {
        return test::ask(*service, Request("retrieve", "/live/count"));
    }

    kova::test::Reports reports;
    std::atomic<int> reads{0};
    std::atomic<bool> fails{false};
    std::unique_ptr<kova::kit::Service> service;
};

TEST_F(LiveTest, ValueIsReadAtEachRequest) {
    serve(NEVER);
    EXPECT_EQ(retrieve()->text(), "1");
    EXPECT_EQ(retrieve()->text(), "2");
    EXPECT_EQ(retrieve()->code(), 200);
}

TEST_F(LiveTest, StreamBeginsWithTheValueOfThisMoment) {
    serve(NEVER);
    retrieve();
    const auto answer = std::make_shared<Answer>();
    EXPECT_NE(watch(answer), nullptr);
    answer->awaitValues(1);
    EXPECT_EQ(answer->text(), "2");
    EXPECT_EQ(answer->code(), 299);
    EXPECT_EQ(answer->values().size(), 1U);
}

TEST_F(LiveTest, StreamContinuesAtEveryInterval) {
    serve(SOON);
    const auto answer = std::make_shared<Answer>();
    watch(answer);
    answer->awaitValues(5);
    EXPECT_EQ(answer->code(), 299);
    EXPECT_EQ(answer->ends(), 0);
}

TEST_F(LiveTest, ValueThatCannotBeReadIsAnsweredWithTheError) {
    serve(NEVER);
    fails = true;
    EXPECT_EQ(retrieve()->error(), "broken");
    const auto answer = std::make_shared<Answer>();
    watch(answer);
    EXPECT_EQ(answer->error(), "broken");
    EXPECT_EQ(answer->code(), 503);
    EXPECT_TRUE(answer->released());
}

TEST_F(LiveTest, ValueThatCannotBeReadIsSkippedInAStream) {
    serve(SOON);
    const auto answer = std::make_shared<Answer>();
    watch(answer);
    answer->awaitValues(2);
    fails = true;
    const int before = reads;
    while (reads < before + 5) {
        std::this_thread::yield();
    }
    fails = false;
    answer->awaitValues(answer->values().size() + 2);
    EXPECT_EQ(answer->ends(), 0);
}

TEST_F(LiveTest, StreamCompletesWhenTheResponseHandlerStopsIt) {
    serve(SOON);
    for (const unsigned long enough : {1UL, 2UL, 5UL}) {
        const auto answer = std::make_shared<Answer>();
        answer->onNext = [enough](unsigned long count) { return count == enough; };
        watch(answer);
        answer->awaitRelease();
        EXPECT_EQ(answer->values().size(), enough);
        EXPECT_EQ(answer->ends(), 1);
    }
}

TEST_F(LiveTest, CancelledStreamIsReleasedAndNoLongerRead) {
    serve(SOON);
    const auto answer = std::make_shared<Answer>();
    void* const handle = watch(answer);
    answer->awaitValues(2);
    service->cancelRequest(handle);
    answer->awaitRelease();
    EXPECT_EQ(answer->ends(), 0);
    service->cancelRequest(handle);
    retrieve();  // still served
}

TEST_F(LiveTest, RequestsAreServedWhileAResponseHandlerBlocks) {
    serve(SOON);
    std::promise<void> entered;
    std::promise<void> proceed;
    const auto held = std::make_shared<Answer>();
    held->onNext = [&](unsigned long count) {
        if (count == 2) {
            entered.set_value();
            proceed.get_future().wait();
        }
        return false;
    };
    watch(held);
    entered.get_future().wait();
    EXPECT_EQ(retrieve()->code(), 200);
    const auto other = std::make_shared<Answer>();
    watch(other);
    other->awaitValues(5);
    proceed.set_value();
    service.reset();
    EXPECT_TRUE(held->released());
}

TEST_F(LiveTest, ResponseHandlerMayCancelItsOwnStream) {
    serve(SOON);
    const auto answer = std::make_shared<Answer>();
    std::promise<void*> handle;
    std::shared_future<void*> opened = handle.get_future();
    answer->onNext = [this, opened](unsigned long count) {
        if (count == 2) {
            service->cancelRequest(opened.get());
        }
        return false;
    };
    handle.set_value(watch(answer));
    answer->awaitRelease();
    EXPECT_EQ(answer->values().size(), 2U);
    EXPECT_EQ(answer->ends(), 0) << "a cancelled request gets no further event";
}

TEST_F(LiveTest, IntervalOfZeroIsRefused) {
    Live live;
    EXPECT_THROW(live.start(milliseconds(0)), std::invalid_argument);
}

TEST_F(LiveTest, ConcurrentStreamsAndCancellationsAreSafe) {
    serve(SOON);
    constexpr unsigned int THREADS = 4;
    std::vector<std::shared_ptr<Answer>> answers(THREADS * 50);
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < THREADS; ++t) {
        threads.emplace_back([this, t, &answers] {
            std::mt19937 random(t);
            for (unsigned int i = 0; i < 50; ++i) {
                auto& answer = answers[t * 50 + i];
                answer = std::make_shared<Answer>();
                const unsigned long enough = random() % 4;
                answer->onNext = [enough](unsigned long count) { return count == enough; };
                void* const handle = watch(answer);
                answer->awaitValues(1);
                if (random() % 3 != 0) {
                    service->cancelRequest(handle);
                    answer->awaitRelease();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    service.reset();
    for (const auto& answer : answers) {
        EXPECT_TRUE(answer->released());
        EXPECT_LE(answer->ends(), 1);
    }
}

}  // namespace
}  // namespace device
