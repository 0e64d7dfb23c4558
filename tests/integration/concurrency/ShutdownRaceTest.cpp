// Two thousand services, each shut down while other threads use it.
#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <memory>
#include <string>

#include "ComposedService.h"
#include "support/Reports.h"
#include "support/Threads.h"
#include "support/Watchdog.h"

namespace kova {
namespace {

using test::Answering;
using test::ComposedService;
using test::Moment;
using test::ShutdownWatch;
using test::Ticket;
using test::Worker;

constexpr int THREADS = 4;
constexpr int ROUNDS = 2000;
constexpr int OPERATIONS = 24;  // per thread and round, about half of them after the shutdown

/// Where shutdown() is called from. The rounds use the values in turn.
enum class From { OUTSIDE, TWO_THREADS, VALUE, COMPLETION, REQUEST, CANCELLATION };
constexpr int ORIGINS = 6;

/// Sends a request and calls shutdown() in one of its callbacks.
void shutDownFrom(From from, ComposedService& composed, Worker& worker) {
    Ticket& ticket = worker.makeTicket();
    const Moment moment = from == From::VALUE        ? Moment::VALUE
                          : from == From::COMPLETION ? Moment::COMPLETION
                          : from == From::REQUEST    ? Moment::REQUEST
                                                     : Moment::CANCELLATION;
    ticket.script = [&composed, moment](Moment now) {
        if (now == moment) {
            composed.shutDown();
        }
    };
    const bool atOnce = from == From::VALUE || from == From::COMPLETION;
    ticket.answering = atOnce ? Answering::AT_ONCE : Answering::LATE;
    composed.ask(ticket);
    if (from == From::CANCELLATION) {
        composed.cancel(ticket);
        if (!composed.shutdownCalled) {
            composed.shutDown();  // another thread terminated the request earlier
        }
    }
}

class ShutdownRaceTest : public testing::Test {
protected:
    void play(int thread, int round) {
        Worker worker(*composed, static_cast<unsigned int>(round * THREADS + thread));
        const auto from = static_cast<From>(round % ORIGINS);
        ShutdownWatch::returnedHere = false;
        for (int i = 0; i < OPERATIONS; ++i) {
            if (i == (round / ORIGINS) % OPERATIONS &&
                thread < (from == From::TWO_THREADS ? 2 : 1)) {
                from <= From::TWO_THREADS ? composed->shutDown()
                                          : shutDownFrom(from, *composed, worker);
            }
            worker.operate();
            watchdog.progress();
        }
        tickets[static_cast<std::size_t>(thread)] = worker.takeTickets();
    }
    void expectGuaranteesOfShutdown() {
        EXPECT_EQ(ShutdownWatch::valuesAfterwards, 0) << "on a thread where shutdown() returned";
        EXPECT_EQ(composed->valuesThroughShutdown(), 0) << "sent after shutdown() returned";
        for (const auto& part : tickets) {
            for (const Ticket& ticket : *part) {
                ASSERT_EQ(ticket.outcomes() + (ticket.open ? 1 : 0), ticket.refused ? 0 : 1);
                ASSERT_EQ(ticket.eventsTooLate, 0);
                ASSERT_LE(ticket.cancelCalls, 1);
                ASSERT_FALSE(ticket.open && ticket.storedBeforeShutdown);
                refused += ticket.refused ? 1 : 0;
                storedTooLate += ticket.open ? 1 : 0;
            }
        }
    }
    void expectSecondShutdownToCancelTheRest() {
        composed->shutDown();
        EXPECT_EQ(composed->openRequests(), 0U);
        composed.reset();
        for (const auto& part : tickets) {
            for (const Ticket& ticket : *part) {
                ASSERT_EQ(ticket.destructions, 1);
                ASSERT_EQ(ticket.outcomes(), ticket.refused ? 0 : 1);
            }
        }
    }

    test::Reports reports;
    test::Watchdog watchdog{"starting"};
    std::array<std::unique_ptr<std::deque<Ticket>>, THREADS> tickets;
    std::unique_ptr<ComposedService> composed;
    long refused = 0;
    long storedTooLate = 0;
};

TEST_F(ShutdownRaceTest, NoValueArrivesAfterShutdown) {
    const int rounds = ROUNDS * test::stressFactor();
    test::Barrier start(THREADS);
    test::Barrier end(THREADS);
    ShutdownWatch::valuesAfterwards = 0;
    test::runOnThreads(THREADS, [&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            if (thread == 0) {
                composed = std::make_unique<ComposedService>();
                watchdog.enter("shutting down, round " + std::to_string(round));
            }
            start.wait();
            play(thread, round);
            end.wait();
            if (thread == 0) {
                expectGuaranteesOfShutdown();
                expectSecondShutdownToCancelTheRest();
            }
        }
    });
    RecordProperty("storedTooLate", std::to_string(storedTooLate));
    EXPECT_GT(refused, rounds);
}

}  // namespace
}  // namespace kova
