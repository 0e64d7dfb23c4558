// While one thread blocks in a callback, other threads can use the service. Each kind of callback
// is tested.
#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <future>
#include <memory>
#include <thread>

#include "ComposedService.h"
#include "support/Reports.h"
#include "support/Watchdog.h"

namespace kova {
namespace {

using test::Answer;
using test::Answering;
using test::Moment;
using test::Ticket;

class BlockedCallbackTest : public testing::TestWithParam<Moment> {
protected:
    BlockedCallbackTest() {
        ticket.script = [this](Moment moment) {
            if (moment == GetParam()) {
                entered.set_value();
                released.get_future().wait();
                left = true;
            }
        };
        ticket.answering = GetParam() == Moment::REQUEST ? Answering::EARLY : Answering::LATE;
    }
    /// Drives the request to the callback under test, which then blocks.
    void provoke() {
        composed.ask(ticket);
        if (GetParam() == Moment::CANCELLATION) {
            composed.cancel(ticket);
        } else {
            composed.resources[0]->answer(
                0, GetParam() == Moment::ERROR ? Answer::ERROR : Answer::COMPLETION);
        }
    }
    /// Performs thousands of operations of all kinds on all four resources.
    void operate() {
        test::Worker worker(composed, 1);
        for (int i = 0; i < 4000; ++i) {
            worker.operate();
            watchdog.progress();
        }
        tickets = worker.takeTickets();
    }

    test::Reports reports;
    test::Watchdog watchdog{"bringing a callback to block"};
    std::unique_ptr<std::deque<Ticket>> tickets;
    Ticket ticket;
    test::ComposedService composed;
    std::promise<void> entered;
    std::promise<void> released;
    std::atomic<bool> left{false};
};

TEST_P(BlockedCallbackTest, OtherThreadsUseTheServiceWhileACallbackBlocks) {
    std::thread blocked([this] { provoke(); });
    entered.get_future().wait();
    watchdog.enter("operating while a callback blocks");
    operate();
    watchdog.enter("shutting down while a callback blocks");
    composed.shutDown();
    EXPECT_FALSE(left) << "the callback did not block during the operations";
    released.set_value();
    blocked.join();
    composed.service->shutdown();
    EXPECT_EQ(composed.openRequests(), 0U);
    for (const Ticket& other : *tickets) {
        ASSERT_EQ(other.outcomes(), other.refused ? 0 : 1);
    }
    EXPECT_EQ(ticket.outcomes(), 1);
}

INSTANTIATE_TEST_SUITE_P(In, BlockedCallbackTest,
                         testing::Values(Moment::VALUE, Moment::COMPLETION, Moment::ERROR,
                                         Moment::REQUEST, Moment::CANCELLATION));

}  // namespace
}  // namespace kova
