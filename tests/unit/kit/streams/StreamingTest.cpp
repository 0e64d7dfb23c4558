#include "kova/kit/resources/Streaming.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "Watch.h"
#include "kova/kit/Observable.h"
#include "kova/kit/ObservableList.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using test::BlockingReceiver;
using test::Watch;
using Texts = std::vector<std::string>;

/// An observable and a watcher that blocks while it receives its snapshot, the value 0.
class StreamingTest : public testing::Test {
protected:
    void block() {
        watch_.watch(blocking.answers);
        blocking.waitUntilBlocked();
    }
    void setUpTo(int last) {
        for (int i = 1; i <= last; ++i) {
            level.set(i);
        }
    }
    WatcherInfo info() { return level.watchers().at(0); }

    BlockingReceiver blocking;
    Observable<int> level{0};

private:
    Watch watch_{level};
};

TEST(StreamQueue, ToStringNamesTheBoundAndThePolicy) {
    EXPECT_EQ((StreamQueue{16, Conflate}).toString(), "16 conflate");
    EXPECT_EQ((StreamQueue{1, Wait}).toString(), "1 wait");
    EXPECT_EQ((StreamQueue{2, DropOldest}).toString(), "2 drop-oldest");
    EXPECT_EQ((StreamQueue{3, Disconnect}).toString(), "3 disconnect");
}

TEST_F(StreamingTest, QueueBoundZeroCountsAsOne) {
    level.options().queue(0);
    EXPECT_EQ(level.options().current().bound, 1U);
}

TEST_F(StreamingTest, ConflateKeepsAllChangesUpToTheBound) {
    block();
    setUpTo(16);
    EXPECT_EQ(info().queued, 16U);
    blocking.release();
    EXPECT_EQ(blocking.answers->valuesUntil("16").size(), 17U);
}

TEST_F(StreamingTest, ConflateSkipsToTheNewestChangeBeyondTheBound) {
    block();
    setUpTo(17);
    EXPECT_EQ(info().delivered, 1U);
    EXPECT_EQ(info().conflated, 16U);
    EXPECT_EQ(info().queued, 1U);
    blocking.release();
    EXPECT_EQ(blocking.answers->valuesUntil("17"), (Texts{"0", "17"}));
    EXPECT_EQ(blocking.lost(), 0) << "a newer value replaced them";
    EXPECT_EQ(info().conflated, 16U);
    EXPECT_EQ(info().dropped, 0U);
}

TEST_F(StreamingTest, DropOldestKeepsTheNewestChanges) {
    level.options().queue(4).whenFull(DropOldest);
    block();
    setUpTo(10);
    EXPECT_EQ(info().dropped, 6U);
    EXPECT_EQ(info().queued, 4U);
    blocking.release();
    EXPECT_EQ(blocking.answers->valuesUntil("10"), (Texts{"0", "7", "8", "9", "10"}));
    EXPECT_EQ(blocking.lost(), 6);
    EXPECT_EQ(info().dropped, 6U);
    EXPECT_EQ(info().delivered, 5U);
}

TEST_F(StreamingTest, DisconnectPolicyEndsTheStreamOfASlowWatcher) {
    level.options().queue(4).whenFull(Disconnect);
    block();
    setUpTo(5);
    blocking.release();
    EXPECT_EQ(blocking.answers->end(),
              "503 Service Unavailable: the receiver did not keep up: its queue is full");
    EXPECT_EQ(blocking.answers->values(1), Texts{"0"});
}

TEST_F(StreamingTest, WaitDelaysTheSetterUntilThereIsSpace) {
    level.options().queue(4).whenFull(Wait).patience(1min);
    block();
    setUpTo(4);
    std::future<void> fifth = std::async(std::launch::async, [&] { level.set(5); });
    EXPECT_EQ(fifth.wait_for(20ms), std::future_status::timeout);
    EXPECT_EQ(level.get(), 4);
    blocking.release();
    fifth.get();
    EXPECT_EQ(blocking.answers->valuesUntil("5"), (Texts{"0", "1", "2", "3", "4", "5"}));
}

TEST_F(StreamingTest, WaitDisconnectsAWatcherWhenThePatienceHasPassed) {
    level.options().queue(4).whenFull(Wait).patience(1ms);
    block();
    setUpTo(4);
    level.set(5);
    EXPECT_EQ(level.get(), 5);
    blocking.release();
    EXPECT_EQ(blocking.answers->end(),
              "503 Service Unavailable: the receiver did not keep up in time");
    EXPECT_EQ(blocking.answers->values(1), Texts{"0"});
}

TEST_F(StreamingTest, SetterDoesNotWaitForADisconnectedWatcher) {
    level.options().queue(1).whenFull(Wait).patience(1ms);
    block();
    setUpTo(2);  // disconnects the watcher
    level.options().patience(1h);
    setUpTo(100);
    EXPECT_EQ(level.get(), 100);
    blocking.release();
}

TEST_F(StreamingTest, SetInsideAReceiverDoesNotWait) {
    level.options().queue(1).whenFull(Wait).patience(1h);
    const auto answers = std::make_shared<test::Answers>();
    answers->onValue = [&](const Response& value) {
        if (*fromPayload<int>(value.getPayload()) == 0) {
            setUpTo(10);
        }
        return false;
    };
    Watch(level).watch(answers);
    EXPECT_EQ(answers->valuesUntil("10"), (Texts{"0", "10"}));
    EXPECT_EQ(info().conflated, 9U);
}

// The time is that of a coarse clock, whose ticks are up to 10 ms apart.
TEST_F(StreamingTest, WatcherInfoContainsTheTimeInsideTheReceiver) {
    const auto begin = std::chrono::steady_clock::now();
    block();
    while (info().blocked < 8ms) {
        std::this_thread::yield();
    }
    const auto blocked = info().blocked;
    EXPECT_LE(blocked, std::chrono::steady_clock::now() - begin + 10ms);
    blocking.release();
    blocking.answers->values(1);
    while (info().blocked > 0ms) {
        std::this_thread::yield();
    }
    EXPECT_EQ(info().clientId, "screen");
    EXPECT_EQ(info().peer.pid, Peer::self().pid);
}

TEST_F(StreamingTest, SlowWatcherOfAListGetsTheWholeListAgain) {
    for (const WhenFull policy : {Conflate, DropOldest}) {
        BlockingReceiver receiver;
        ObservableList<int> list;
        list.options().queue(2).whenFull(policy);
        Watch(list).watch(receiver.answers);
        receiver.waitUntilBlocked();
        for (int i = 1; i <= 4; ++i) {
            list.append(i);
        }
        receiver.release();
        EXPECT_EQ(receiver.answers->valuesUntil(R"({"whole":[1,2,3,4]})").size(), 2U);
        list.remove(0);
        EXPECT_EQ(receiver.answers->values(3).back(), R"({"kind":"REMOVED","index":0})");
    }
}

}  // namespace
}  // namespace kova::kit
