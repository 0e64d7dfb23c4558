#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Watch.h"
#include "kova/kit/Polled.h"
#include "support/Reports.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using test::Answers;
using test::waitUntilUnwatched;
using test::Watch;
using Texts = std::vector<std::string>;

/// A value that counts how often it is read.
class PollingTest : public testing::Test {
protected:
    Result<int> read() {
        const int count = ++reads;
        return fails ? Result<int>(Error{503, "broken"}) : count;
    }
    void serve(std::chrono::milliseconds interval) {
        polled.emplace([this] { return read(); }, interval);
        client.emplace(*polled);
    }
    /// Waits until another alarm on the same thread has expired `count` times, with an interval of
    /// 1 ms.
    static void awaitAlarms(int count) {
        std::atomic<int> expired{0};
        FunctionalAlarm alarm([&] { ++expired; });
        ASSERT_FALSE(alarm.start(1, true));
        while (expired < count) {
            std::this_thread::yield();
        }
    }
    void awaitReads(int count) const {
        while (reads < count) {
            std::this_thread::yield();
        }
    }

    test::Reports reports;
    std::atomic<int> reads{0};
    std::atomic<bool> fails{false};
    std::optional<Polled<int>> polled;
    std::optional<Watch> client;
};

TEST_F(PollingTest, ValueIsReadAtEachRequest) {
    serve(1h);
    EXPECT_EQ(client->retrieve()->values(1), Texts{"1"});
    const auto second = client->retrieve();
    EXPECT_EQ(second->values(1), Texts{"2"});
    EXPECT_EQ(second->last().getStatusCode(), 200);
    EXPECT_EQ(second->end(), "completed");
}

TEST_F(PollingTest, EachStreamBeginsWithANewValue) {
    serve(1h);
    client->retrieve();
    const auto first = client->watch();
    EXPECT_EQ(first->values(1), Texts{"2"});
    EXPECT_EQ(client->watch()->values(1), Texts{"3"});
    EXPECT_EQ(first->last().getStatusCode(), 299);
    EXPECT_EQ(first->values(1).size(), 1U) << "no value for the watcher that was there";
}

TEST_F(PollingTest, StreamGetsAValueAtEveryInterval) {
    serve(1ms);
    polled->options().queue(100000);  // large, so that no value is dropped if a thread is late
    const auto answers = client->watch();
    const Texts values = answers->values(5);
    EXPECT_EQ(values[0], "1");
    EXPECT_EQ(values[1], "2");
    EXPECT_FALSE(answers->hasEnd());
}

TEST_F(PollingTest, ValueIsNotReadWhileNoClientWatches) {
    serve(1ms);
    for (int round = 0; round < 3; ++round) {
        void* handle = nullptr;
        client->watch(nullptr, &handle)->values(3);
        EXPECT_TRUE(polled->isWatched());
        client->cancel(handle);
        waitUntilUnwatched(*polled);
        EXPECT_FALSE(polled->isWatched());
        awaitAlarms(2);  // waits for the end of a poll that has already begun
        const int before = reads;
        awaitAlarms(20);
        EXPECT_EQ(reads, before);
    }
}

TEST_F(PollingTest, RequestIsAnsweredWithTheErrorOfTheFunction) {
    serve(1h);
    fails = true;
    EXPECT_EQ(client->retrieve()->end(), "503 Service Unavailable: broken");
    EXPECT_EQ(client->watch()->end(), "503 Service Unavailable: broken");
    EXPECT_FALSE(polled->isWatched());
}

TEST_F(PollingTest, ErrorAtAnIntervalIsSkipped) {
    serve(1ms);
    const auto answers = client->watch();
    answers->values(2);
    fails = true;
    awaitReads(reads + 5);
    fails = false;
    const std::size_t before = answers->values(0).size();
    EXPECT_GE(answers->values(before + 2).size(), before + 2);
    EXPECT_FALSE(answers->hasEnd());
}

TEST_F(PollingTest, ExceptionIsReportedAndTheStreamContinues) {
    std::atomic<bool> throws{false};
    Polled<int> value(
        [&]() -> Result<int> {
            if (throws.exchange(false)) {
                throw std::runtime_error("the bus is busy");
            }
            return ++reads;
        },
        1ms);
    const Watch watch(value);
    const auto answers = watch.watch();
    answers->values(1);
    throws = true;
    while (throws) {
        std::this_thread::yield();
    }
    answers->values(answers->values(0).size() + 2);
    std::vector<test::Reports::Report> taken;
    for (; taken.empty(); taken = reports.take()) {
        std::this_thread::yield();
    }
    EXPECT_NE(taken[0].reason.find("the bus is busy"), std::string::npos);
    EXPECT_FALSE(answers->hasEnd());
}

TEST_F(PollingTest, IntervalOutOfRangeIsRefused) {
    for (const std::chrono::milliseconds interval :
         {0ms, -1ms, std::chrono::milliseconds(std::int64_t{1} << 32)}) {
        EXPECT_THROW(serve(interval), std::invalid_argument) << interval.count();
    }
    serve(std::chrono::milliseconds(std::numeric_limits<std::uint32_t>::max()));
}

TEST_F(PollingTest, OnlyOperationIsRetrieve) {
    serve(1h);
    ASSERT_EQ(polled->operations().size(), 1U);
    EXPECT_EQ(polled->operations()[0].command, "retrieve");
    EXPECT_TRUE(polled->operations()[0].streams);
    EXPECT_NE(polled->operations()[0].valueSchema, nullptr);
}

TEST_F(PollingTest, DestructorEndsStreamsAndWaitsForTheFunction) {
    const auto answers = std::make_shared<Answers>();
    std::promise<void> entered;
    std::atomic<bool> left{false};
    std::optional<Polled<int>> value(
        std::in_place,
        [&]() -> Result<int> {
            if (++reads == 2) {
                entered.set_value();
                answers->end();  // waits until the destructor has ended the stream
                left = true;
            }
            return reads.load();
        },
        1ms);
    const Watch watch(*value);
    watch.watch(answers);
    entered.get_future().wait();
    value.reset();
    EXPECT_TRUE(left);
    EXPECT_EQ(answers->end(), "503 Service Unavailable: the resource is closed");
    EXPECT_EQ(watch.retrieve()->end(), "503 Service Unavailable: the resource is closed");
}

TEST_F(PollingTest, FunctionMayDestroyThePolledObject) {
    // The function destroys the object during the request (1) or at an interval (2).
    for (const int last : {1, 2}) {
        reads = 0;
        std::optional<Polled<int>> value;
        std::promise<void> destroyed;
        value.emplace(
            [&]() -> Result<int> {
                if (++reads == last) {
                    value.reset();
                    destroyed.set_value();
                }
                return 7;
            },
            1ms);
        const Watch watch(*value);
        const auto answers = watch.watch();
        destroyed.get_future().wait();
        EXPECT_EQ(answers->end(), "503 Service Unavailable: the resource is closed");
    }
}

TEST_F(PollingTest, EachStreamOfManyThreadsGetsItsValues) {
    serve(1ms);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                void* handle = nullptr;
                const auto answers = client->watch(nullptr, &handle);
                answers->values(1 + static_cast<std::size_t>(i % 2));
                client->cancel(handle);
                EXPECT_EQ(answers->endsWhenDestroyed(), 0U);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    waitUntilUnwatched(*polled);
}

}  // namespace
}  // namespace kova::kit
