#include "wire/EventLoop.h"

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/Watchdog.h"

namespace kova::wire {
namespace {

using namespace std::chrono_literals;

class EventLoopTest : public ::testing::Test {
protected:
    ~EventLoopTest() override {
        if (!isStopped) {
            loop.stop();
        }
    }
    void stop() {
        isStopped = true;
        loop.stop();
    }
    /// Runs a function on the thread of the loop, and waits for its end.
    template <typename Function>
    void onLoop(Function function) {
        std::promise<void> done;
        loop.post([&] {
            function();
            done.set_value();
        });
        done.get_future().wait();
    }

    test::Watchdog watchdog{"a loop waits"};
    bool isStopped = false;
    const std::shared_ptr<EventLoop> owned = EventLoop::start("test-loop");
    EventLoop& loop = *owned;
};

TEST_F(EventLoopTest, PostedFunctionsRunInTheirOrderOnOneThread) {
    std::vector<int> order;
    for (int i = 0; i < 100; ++i) {
        loop.post([&, i] {
            EXPECT_TRUE(loop.isLoopThread());
            order.push_back(i);
        });
    }
    onLoop([] {});
    ASSERT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_FALSE(loop.isLoopThread());
}

TEST_F(EventLoopTest, FunctionsThatWerePostedBeforeStopAreCalled) {
    int calls = 0;
    loop.post([&] { ++calls; });
    loop.post([&] { ++calls; });
    stop();
    EXPECT_EQ(calls, 2);
}

TEST_F(EventLoopTest, FunctionPostedAfterStopIsDestroyedWithoutACall) {
    const auto content = std::make_shared<bool>(false);
    stop();
    loop.post([content] { *content = true; });
    EXPECT_FALSE(*content);
    EXPECT_EQ(content.use_count(), 1);
}

/// A job that counts its runs, and waits in the first one until it is released.
class CountingJob : public EventLoop::Job {
public:
    std::promise<void> begun;
    std::promise<void> released;
    std::atomic<int> runs{0};

protected:
    void run() override {
        if (++runs == 1) {
            begun.set_value();
            released.get_future().wait();
        }
    }
};

TEST_F(EventLoopTest, JobPostedSeveralTimesBeforeItsRunRunsOnce) {
    const auto job = std::make_shared<CountingJob>();
    const auto other = std::make_shared<CountingJob>();
    other->released.set_value();
    loop.post(job);
    job->begun.get_future().wait();
    for (int i = 0; i < 3; ++i) {
        loop.post(job);
        loop.post(other);
    }
    job->released.set_value();
    std::promise<void> done;
    loop.post([&] { done.set_value(); });
    done.get_future().wait();
    EXPECT_EQ(job->runs, 2);
    EXPECT_EQ(other->runs, 1);
}

TEST_F(EventLoopTest, LoopCanBeStoppedFromInsideAFunction) {
    const std::weak_ptr<EventLoop> observed = [&] {
        const std::shared_ptr<EventLoop> own = EventLoop::start("own-loop");
        own->post([&loop = *own] { loop.stop(); });
        return std::weak_ptr<EventLoop>(own);
    }();
    while (!observed.expired()) {
        std::this_thread::yield();
    }
    EXPECT_EQ(observed.lock(), nullptr);
}

TEST_F(EventLoopTest, ReadyDescriptorIsDelivered) {
    const FileDescriptor event(eventfd(0, EFD_NONBLOCK));
    std::promise<std::uint32_t> ready;
    onLoop([&] {
        EXPECT_TRUE(loop.add(event.get(), EPOLLIN, [&](std::uint32_t events) {
            loop.remove(event.get());
            ready.set_value(events);
        }));
    });
    eventfd_write(event.get(), 1);
    EXPECT_EQ(ready.get_future().get(), static_cast<std::uint32_t>(EPOLLIN));
}

TEST_F(EventLoopTest, ChangedEventsAreDelivered) {
    const FileDescriptor event(eventfd(0, EFD_NONBLOCK));
    std::promise<std::uint32_t> ready;
    onLoop([&] {
        loop.add(event.get(), EPOLLIN, [&](std::uint32_t events) {
            loop.remove(event.get());
            ready.set_value(events);
        });
        loop.change(event.get(), EPOLLOUT);
    });
    EXPECT_EQ(ready.get_future().get(), static_cast<std::uint32_t>(EPOLLOUT));
}

TEST_F(EventLoopTest, InvalidDescriptorIsRefused) {
    onLoop([&] { EXPECT_FALSE(loop.add(-1, EPOLLIN, [](std::uint32_t) {})); });
}

// Both descriptors are ready in the same batch. The first function closes the second descriptor,
// and the system gives its number to a new one, which is not ready.
TEST_F(EventLoopTest, EventOfAClosedDescriptorDoesNotReachItsSuccessor) {
    auto first = std::make_unique<FileDescriptor>(eventfd(1, EFD_NONBLOCK));
    auto second = std::make_unique<FileDescriptor>(eventfd(1, EFD_NONBLOCK));
    int calls = 0;
    bool isSuccessorCalled = false;
    const auto replace = [&](FileDescriptor& own, std::unique_ptr<FileDescriptor>& other) {
        loop.remove(own.get());
        ++calls;
        const int number = other->get();
        loop.remove(number);
        other.reset();
        other = std::make_unique<FileDescriptor>(eventfd(0, EFD_NONBLOCK));
        EXPECT_EQ(other->get(), number);
        loop.add(number, EPOLLIN, [&](std::uint32_t) { isSuccessorCalled = true; });
    };
    onLoop([&] {
        loop.add(first->get(), EPOLLIN, [&](std::uint32_t) { replace(*first, second); });
        loop.add(second->get(), EPOLLIN, [&](std::uint32_t) { replace(*second, first); });
    });
    onLoop([] {});
    onLoop([] {});
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(isSuccessorCalled);
}

TEST_F(EventLoopTest, TimersFireInTheOrderOfTheirDeadlines) {
    std::vector<int> order;
    std::promise<void> done;
    onLoop([&] {
        // Far enough from the others that a loop that is delayed meanwhile does not swap them.
        loop.after(500ms, [&] {
            order.push_back(3);
            done.set_value();
        });
        loop.after(1ms, [&] { order.push_back(1); });
        loop.cancel(loop.after(2ms, [&] { order.push_back(2); }));
    });
    done.get_future().wait();
    EXPECT_EQ(order, (std::vector<int>{1, 3}));
}

TEST_F(EventLoopTest, TimerDoesNotFireBeforeItsDeadline) {
    std::promise<EventLoop::Clock::time_point> fired;
    EventLoop::Clock::time_point begin;
    onLoop([&] {
        begin = EventLoop::Clock::now();
        loop.after(5ms, [&] { fired.set_value(EventLoop::Clock::now()); });
    });
    EXPECT_GE(fired.get_future().get() - begin, 5ms);
}

TEST_F(EventLoopTest, FunctionsOfManyThreadsAreAllCalled) {
    std::vector<std::thread> threads;
    int count = 0;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                loop.post([&] { ++count; });
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    onLoop([] {});
    EXPECT_EQ(count, 4000);
}

// --- A borrowed loop -----------------------------------------------------------------------------

class BorrowedLoopTest : public EventLoopTest {
protected:
    /// Lets the thread rest, and borrows the loop.
    void borrow() {
        onLoop([this] { loop.restWhile([this] { return isIdle.load(); }); });
        while (!loop.borrow()) {
            std::this_thread::yield();
        }
    }

    std::atomic<bool> isIdle{true};
};

TEST_F(BorrowedLoopTest, LoopOfAThreadThatDoesNotRestCannotBeBorrowed) {
    EXPECT_FALSE(loop.borrow());
    isIdle = false;
    onLoop([this] { loop.restWhile([this] { return isIdle.load(); }); });
    onLoop([] {});
    EXPECT_FALSE(loop.borrow());
}

TEST_F(BorrowedLoopTest, OneThreadAtATimeIsTheThreadOfTheLoop) {
    borrow();
    EXPECT_TRUE(loop.isLoopThread());
    EXPECT_FALSE(loop.borrow());
    loop.giveBack();
    EXPECT_FALSE(loop.isLoopThread());
    onLoop([this] { EXPECT_TRUE(loop.isLoopThread()); });
}

TEST_F(BorrowedLoopTest, TurnDeliversEventsAndTimersOnTheBorrowingThread) {
    borrow();
    const FileDescriptor event(eventfd(1, EFD_NONBLOCK));
    std::vector<std::thread::id> threads;
    loop.add(event.get(), EPOLLIN, [&](std::uint32_t) {
        loop.remove(event.get());
        threads.push_back(std::this_thread::get_id());
    });
    loop.after(0ms, [&] { threads.push_back(std::this_thread::get_id()); });
    while (threads.size() < 2) {
        EXPECT_TRUE(loop.turn(EventLoop::Clock::time_point::max()));
    }
    EXPECT_EQ(threads, std::vector<std::thread::id>(2, std::this_thread::get_id()));
    loop.giveBack();
}

TEST_F(BorrowedLoopTest, TurnEndsWhenItIsDue) {
    borrow();
    const auto due = EventLoop::Clock::now() + 5ms;
    EXPECT_TRUE(loop.turn(due));
    EXPECT_GE(EventLoop::Clock::now(), due);
    loop.giveBack();
}

TEST_F(BorrowedLoopTest, FunctionOfAnotherThreadEndsTheTurnAndRunsOnTheThreadOfTheLoop) {
    borrow();
    std::promise<std::thread::id> ran;
    std::thread posting([&] { loop.post([&] { ran.set_value(std::this_thread::get_id()); }); });
    while (loop.turn(EventLoop::Clock::time_point::max())) {
    }
    loop.giveBack();
    EXPECT_NE(ran.get_future().get(), std::this_thread::get_id());
    posting.join();
}

TEST_F(BorrowedLoopTest, TurnEndsForAFunctionThatWasPostedBeforePoll) {
    borrow();
    std::promise<void> ran;
    std::thread([&] { loop.post([&] { ran.set_value(); }); }).join();
    loop.poll();
    EXPECT_FALSE(loop.turn(EventLoop::Clock::time_point::max()));
    loop.giveBack();
    ran.get_future().wait();
}

TEST_F(BorrowedLoopTest, GivingABusyLoopBackWakesItsThread) {
    borrow();
    const FileDescriptor event(eventfd(1, EFD_NONBLOCK));
    std::promise<std::thread::id> ready;
    loop.add(event.get(), EPOLLIN, [&](std::uint32_t) {
        loop.remove(event.get());
        ready.set_value(std::this_thread::get_id());
    });
    isIdle = false;
    loop.giveBack();
    EXPECT_NE(ready.get_future().get(), std::this_thread::get_id());
}

TEST_F(BorrowedLoopTest, RestEndsByItselfAndTheThreadWatchesAgain) {
    borrow();
    const FileDescriptor event(eventfd(1, EFD_NONBLOCK));
    std::promise<void> ready;
    loop.add(event.get(), EPOLLIN, [&](std::uint32_t) {
        loop.remove(event.get());
        ready.set_value();
    });
    loop.giveBack();
    ready.get_future().wait();
    EXPECT_TRUE(isIdle);
}

TEST_F(BorrowedLoopTest, StoppedLoopEndsTheTurn) {
    borrow();
    std::thread stopping([this] { stop(); });
    while (loop.turn(EventLoop::Clock::time_point::max())) {
    }
    loop.giveBack();
    stopping.join();
    EXPECT_FALSE(loop.borrow());
}

TEST_F(BorrowedLoopTest, FunctionPostedByTheThreadOfTheLoopRunsWithoutAnEvent) {
    std::promise<void> done;
    loop.post([&] { loop.post([&] { loop.post([&] { done.set_value(); }); }); });
    done.get_future().wait();
    EXPECT_FALSE(loop.isLoopThread());
}

}  // namespace
}  // namespace kova::wire
