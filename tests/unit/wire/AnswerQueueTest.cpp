#include "wire/AnswerQueue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kova/kit/Tree.h"
#include "kova/kit/Values.h"
#include "support/RecordTexts.h"
#include "support/Threads.h"
#include "support/Watchdog.h"
#include "wire/EventLoop.h"

namespace kova::wire {
namespace {

using namespace std::chrono_literals;
using Taken = AnswerQueue::Taken;
using Events = std::vector<std::string>;

class AnswerQueueTest : public ::testing::Test, public AnswerReader {
protected:
    /// Stops the loop before the destructor runs, because the loop calls virtual functions of this
    /// object.
    void TearDown() override { loop->stop(); }

    void use(std::size_t bytes = 1'000'000, std::chrono::milliseconds patience = 20s) {
        queue = std::make_shared<AnswerQueue>(ready, AnswerQueue::Limits{bytes, patience});
        queue->reader = this;
    }
    /// Sends the first value, whose header names the terms.
    void begin(const std::string& terms) {
        Response first(100);
        first.add2header(kit::STREAM_QUEUE, kit::toTree(terms)->release());
        EXPECT_TRUE(queue->next(first));
    }
    bool next(unsigned short code) { return queue->next(Response(code)); }
    /// Takes all records, and returns their bytes.
    std::string takeAll() {
        std::string all;
        std::string record;
        while ((last = queue->take(record)) == Taken::record) {
            all += record;
        }
        return all;
    }
    Events events() { return test::eventsOf(takeAll()); }
    void onRecords() override {
        ++told;
        EXPECT_TRUE(loop->isLoopThread());
    }
    /// Waits until the loop has done what was posted.
    void awaitLoop() {
        std::promise<void> done;
        loop->post([&] { done.set_value(); });
        done.get_future().wait();
    }

    kova::test::Watchdog watchdog{"a queue is used"};
    const std::shared_ptr<EventLoop> loop = EventLoop::start("test-loop");
    std::atomic<int> bursts{0};
    const std::shared_ptr<ReadyQueues> ready =
        std::make_shared<ReadyQueues>(loop, [this] { ++bursts; });
    std::shared_ptr<AnswerQueue> queue;
    Taken last = Taken::nothing;
    std::atomic<int> told{0};
};

TEST_F(AnswerQueueTest, RecordsAreTakenInTheirOrder) {
    use();
    next(1);
    next(2);
    queue->completed();
    EXPECT_EQ(events(), (Events{"next 1", "next 2", "completed"}));
    EXPECT_EQ(last, Taken::end);
}

TEST_F(AnswerQueueTest, NothingFollowsTheEnd) {
    use();
    queue->error(Response::createErrorResponse(404, "gone"));
    EXPECT_FALSE(next(1));
    queue->completed();
    EXPECT_EQ(events(), Events{"error 404 gone"});
}

// The end that is sent has the version, whichever thread has sent it.
TEST_F(AnswerQueueTest, OneOfTwoSimultaneousEndsIsSent) {
    std::vector<std::shared_ptr<AnswerQueue>> queues(10'000);
    for (auto& each : queues) {
        use();
        each = queue;
    }
    kova::test::Barrier start(2);
    kova::test::runOnThreads(2, [&](int thread) {
        const Response error = Response::createErrorResponse(500, thread == 0 ? "zero" : "one");
        start.wait();
        for (const auto& each : queues) {
            each->error(error);
        }
    });
    for (const auto& each : queues) {
        queue = each;
        const Events sent = events();
        ASSERT_EQ(sent.size(), 1U);
        EXPECT_TRUE(sent[0] == "error 500 zero" || sent[0] == "error 500 one") << sent[0];
    }
}

TEST_F(AnswerQueueTest, ReaderIsNotifiedOnlyAfterItFoundTheQueueEmpty) {
    use();
    next(1);
    awaitLoop();
    EXPECT_EQ(told, 0);  // the reader expects the first record anyway
    EXPECT_EQ(events(), Events{"next 1"});
    next(2);
    next(3);
    awaitLoop();
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(queue->hasMore());
    takeAll();
    EXPECT_FALSE(queue->hasMore());
    queue->completed();
    awaitLoop();
    EXPECT_EQ(told, 2);
}

TEST_F(AnswerQueueTest, ReadersOfManyQueuesAreNotifiedInAtMostTwoBursts) {
    std::promise<void> hold;
    const std::shared_future<void> held = hold.get_future().share();
    loop->post([held] { held.wait(); });
    std::vector<std::shared_ptr<AnswerQueue>> queues;
    for (int i = 0; i < 100; ++i) {
        queues.push_back(std::make_shared<AnswerQueue>(ready, AnswerQueue::Limits{}));
        queues.back()->reader = this;
        EXPECT_FALSE(queues.back()->hasMore());
        queues.back()->next(Response(1));
    }
    hold.set_value();
    awaitLoop();
    EXPECT_EQ(told, 100);
    EXPECT_LE(bursts, 2);
}

TEST_F(AnswerQueueTest, ClosedQueueRefusesValuesAndNotifiesNoReader) {
    use();
    EXPECT_FALSE(queue->hasMore());
    queue->close();
    EXPECT_FALSE(next(1));
    queue->completed();
    awaitLoop();
    EXPECT_EQ(told, 0);
    EXPECT_EQ(queue->bytes(), 0U);
}

TEST_F(AnswerQueueTest, StreamEndsOneBytePastTheLimitOfBytes) {
    use();
    next(1);
    const std::size_t size = queue->bytes();
    next(2);
    const std::size_t both = queue->bytes();
    use(both);
    EXPECT_TRUE(next(1));
    EXPECT_TRUE(next(2));
    EXPECT_EQ(events(), (Events{"next 1", "next 2"}));
    use(both - 1);
    EXPECT_TRUE(next(1));
    EXPECT_FALSE(next(2));
    EXPECT_TRUE(queue->isGivenUp());
    EXPECT_FALSE(next(3));
    EXPECT_EQ(events(), (Events{"next 1",
                                "error 503 lost: the client does not read the answer: its queue "
                                "is full"}));
    EXPECT_GT(size, 0U);
}

TEST_F(AnswerQueueTest, SingleValueMayBeLongerThanTheLimit) {
    use(1);
    EXPECT_TRUE(next(1));
    EXPECT_FALSE(queue->isGivenUp());
}

TEST_F(AnswerQueueTest, TermsAreNotSentToTheClient) {
    use();
    begin("2 disconnect");
    EXPECT_EQ(takeAll().find(kit::STREAM_QUEUE), std::string::npos);
}

TEST_F(AnswerQueueTest, FirstValueSetsTheBound) {
    use();
    begin("2 disconnect");
    EXPECT_TRUE(next(1));
    EXPECT_FALSE(next(2));
}

TEST_F(AnswerQueueTest, TermsThatAreUnknownAreIgnored) {
    for (char const* terms : {"", "2", "2 ", "x conflate", "0 conflate", "2 other", "-1 wait"}) {
        use();
        begin(terms);
        for (unsigned short code = 0; code < 100; ++code) {
            EXPECT_TRUE(next(code)) << terms;
        }
    }
}

TEST_F(AnswerQueueTest, ConflateKeepsTheFirstAndTheNewestRecord) {
    use();
    begin("3 conflate");
    for (unsigned short code = 1; code <= 3; ++code) {
        EXPECT_TRUE(next(code));
    }
    std::string all = takeAll();
    EXPECT_EQ(test::eventsOf(all), (Events{"next 100", "next 3"}));
    for (unsigned short code = 4; code <= 9; ++code) {
        next(code);
    }
    const std::size_t bytes = queue->bytes();
    const std::string newest = takeAll();
    EXPECT_EQ(bytes, newest.size());
    all += newest;
    EXPECT_EQ(test::eventsOf(all), (Events{"next 100", "next 3", "next 7", "next 8", "next 9"}));
}

TEST_F(AnswerQueueTest, DropOldestCountsTheLostValues) {
    use();
    begin("3 drop-oldest");
    for (unsigned short code = 1; code <= 5; ++code) {
        EXPECT_TRUE(next(code));
    }
    const std::string all = takeAll();
    EXPECT_EQ(test::eventsOf(all), (Events{"next 100", "next 4", "next 5"}));
    RecordReader reader(1000);
    reader.add(all);
    std::vector<unsigned long> lost;
    for (int i = 0; i < 3; ++i) {
        unsigned long count = 0;
        const Response value = (*reader.next())->toResponse().orThrow();
        lost.push_back(value.getHeaderValue(kit::STREAM_LOST).get(count) ? 0 : count);
    }
    EXPECT_EQ(lost, (std::vector<unsigned long>{0, 3, 0}));
}

TEST_F(AnswerQueueTest, DroppedValuePassesItsDroppedCountToTheNextValue) {
    use();
    begin("2 drop-oldest");
    Response value(1);
    value.add2header(kit::STREAM_LOST, kit::toTree(7)->release());
    queue->next(value);
    next(2);  // drops `value`, before which 7 were lost
    std::string record;
    queue->take(record);
    const std::string rest = takeAll();
    RecordReader reader(1000);
    reader.add(record + rest);
    ASSERT_TRUE(reader.next().ok());
    unsigned long count = 0;
    const Response second = (*reader.next())->toResponse().orThrow();
    EXPECT_FALSE(second.getHeaderValue(kit::STREAM_LOST).get(count));
    EXPECT_EQ(count, 8U);
    unsigned long unchanged = 0;
    EXPECT_FALSE(value.getHeaderValue(kit::STREAM_LOST).get(unchanged));
    EXPECT_EQ(unchanged, 7U);  // the header of the service's value is not written
}

TEST_F(AnswerQueueTest, WaitingSenderGoesOnWhenThereIsSpace) {
    use();
    begin("2 wait");
    next(1);
    auto sent = std::async(std::launch::async, [&] { return next(2); });
    std::string record;
    EXPECT_EQ(queue->take(record), Taken::record);
    EXPECT_TRUE(sent.get());
    EXPECT_EQ(test::eventsOf(record + takeAll()), (Events{"next 100", "next 1", "next 2"}));
}

TEST_F(AnswerQueueTest, SenderWaitsOnlyForTheGivenTime) {
    use(1'000'000, 20ms);
    begin("1 wait");
    EXPECT_FALSE(next(1));
    EXPECT_TRUE(queue->isGivenUp());
}

TEST_F(AnswerQueueTest, WaitingSenderGoesOnWhenTheQueueIsClosed) {
    use();
    begin("1 wait");
    auto sent = std::async(std::launch::async, [&] { return next(1); });
    queue->close();
    EXPECT_FALSE(sent.get());
    EXPECT_FALSE(queue->isGivenUp());
}

TEST_F(AnswerQueueTest, ThreadOfTheLoopDoesNotWaitButKeepsTheLimitOfTheBytes) {
    use();
    begin("1 wait");
    takeAll();
    std::promise<std::size_t> count;
    loop->post([&] {
        std::size_t sent = 0;
        while (next(1)) {
            ++sent;
        }
        count.set_value(sent);
    });
    EXPECT_GT(count.get_future().get(), 1000U);
    EXPECT_LE(queue->bytes(), 1'000'200U);
}

TEST_F(AnswerQueueTest, GivenUpQueueNotifiesAReaderThatHasNotReadYet) {
    use();
    begin("1 disconnect");
    awaitLoop();
    EXPECT_EQ(told, 0);
    next(1);
    awaitLoop();
    EXPECT_EQ(told, 1);
}

TEST_F(AnswerQueueTest, ClosedListOfQueuesKeepsNoQueue) {
    use();
    EXPECT_FALSE(queue->hasMore());
    ready->close();
    next(1);
    const std::weak_ptr<AnswerQueue> observed = queue;
    queue.reset();
    EXPECT_TRUE(observed.expired());
}

TEST_F(AnswerQueueTest, ReaderMissesNoRecordOfAnotherThread) {
    constexpr int COUNT = 20'000;
    use(100'000'000);
    EXPECT_FALSE(queue->hasMore());
    std::promise<void> over;
    struct Counter : AnswerReader {
        void onRecords() override {
            std::string record;
            Taken taken = Taken::record;
            while ((taken = queue->take(record)) == Taken::record) {
                ++records;
            }
            if (taken == Taken::end) {
                over->set_value();
            }
        }
        AnswerQueue* queue = nullptr;
        std::promise<void>* over = nullptr;
        int records = 0;
    } counter;
    counter.queue = queue.get();
    counter.over = &over;
    queue->reader = &counter;
    std::thread sender([&] {
        for (int i = 0; i < COUNT; ++i) {
            queue->next(Response(200));
        }
        queue->completed();
    });
    over.get_future().wait();
    awaitLoop();  // the loop may still be inside the reader
    sender.join();
    EXPECT_EQ(counter.records, COUNT + 1);
}

}  // namespace
}  // namespace kova::wire
