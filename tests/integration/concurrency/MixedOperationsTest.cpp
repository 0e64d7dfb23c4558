// Eight threads perform random operations on one composed service. Each request has exactly one
// outcome, and the table of pending requests contains the expected entries.
#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "ComposedService.h"
#include "support/Reports.h"
#include "support/Threads.h"
#include "support/Watchdog.h"

namespace kova {
namespace {

using test::Answering;
using test::Ticket;

constexpr int THREADS = 8;
constexpr int EPOCHS = 10;
constexpr int OPERATIONS = 250000;  // total number over all epochs and threads

using Tickets = std::vector<std::unique_ptr<std::deque<Ticket>>>;

/// Counters of events, which show at the end that each kind of event occurred.
struct Seen {
    long requests = 0;
    long values = 0;
    long terminated = 0;
    long cancelled = 0;
    long dropped = 0;
    long unknownPaths = 0;
    long leftBehind = 0;
};

class MixedOperationsTest : public testing::Test {
protected:
    template <typename Body>
    void forEachTicket(const Body& body) {
        for (const auto& part : tickets) {
            for (Ticket& ticket : *part) {
                body(ticket);
            }
        }
    }
    void mix(unsigned int epoch) {
        tickets.resize(THREADS);
        test::runOnThreads(THREADS, [&](int t) {
            test::Worker worker(*composed, epoch * THREADS + static_cast<unsigned int>(t));
            for (int i = 0; i < OPERATIONS / EPOCHS / THREADS; ++i) {
                worker.operate();
                watchdog.progress();
            }
            tickets[static_cast<std::size_t>(t)] = worker.takeTickets();
        });
    }
    void expectOneOutcomeEach() {
        forEachTicket([](const Ticket& ticket) {
            ASSERT_EQ(ticket.outcomes() + (ticket.open ? 1 : 0), ticket.refused ? 0 : 1);
            ASSERT_EQ(ticket.eventsTooLate, 0);
            ASSERT_LE(ticket.cancelCalls, 1) << "an entry was cancelled twice";
        });
    }
    /// Returns whether the table must have an entry for the request.
    static bool mustBePending(const Ticket& ticket) {
        return ticket.handle != nullptr && ticket.cancelCalls == 0 &&
               (ticket.open || ticket.dropped > 0 ||
                ticket.answering == Answering::AT_ONCE_WITH_HANDLE);
    }
    /// Returns whether the table may have an entry for the request. If another thread terminates an
    /// EARLY request before its entry is stored, the entry remains; the test cannot
    /// know whether this happened.
    static bool mayBePending(const Ticket& ticket) {
        return mustBePending(ticket) || (ticket.handle != nullptr && ticket.cancelCalls == 0 &&
                                         ticket.answering == Answering::EARLY);
    }
    /// Calls `emptying`, which must empty the table, and compares the requests that were cancelled
    /// with the expected ones.
    template <typename Emptying>
    void expectEntriesToBeCancelledBy(const Emptying& emptying) {
        struct Before {
            Ticket* ticket;
            int calls;
            bool must, may;
        };
        std::vector<Before> before;
        forEachTicket([&before](Ticket& ticket) {
            before.push_back(
                {&ticket, ticket.cancelCalls, mustBePending(ticket), mayBePending(ticket)});
        });
        emptying();
        for (const Before& row : before) {
            const int calls = row.ticket->cancelCalls - row.calls;
            ASSERT_GE(calls, row.must ? 1 : 0);
            ASSERT_LE(calls, row.may ? 1 : 0);
            seen.leftBehind += calls > 0 && row.ticket->terminations > 0 ? 1 : 0;
            watchdog.progress();
        }
        EXPECT_EQ(composed->openRequests(), 0U);
    }
    void expectAnEmptyTable() {
        forEachTicket([this](Ticket& ticket) {
            const int calls = ticket.cancelCalls;
            composed->cancel(ticket);
            ASSERT_EQ(ticket.cancelCalls, calls);
        });
        composed->shutDown();
        expectOneOutcomeEach();
    }
    void expectEveryHandlerToBeDestroyedOnce() {
        composed.reset();
        forEachTicket([this](const Ticket& ticket) {
            ASSERT_EQ(ticket.destructions, 1);
            ++seen.requests;
            seen.values += ticket.values;
            seen.terminated += ticket.terminations;
            seen.cancelled += ticket.cancelled;
            seen.dropped += ticket.dropped;
            seen.unknownPaths += ticket.terminations > 0 && ticket.values == 0 ? 1 : 0;
        });
        tickets.clear();
    }

    test::Reports reports;
    test::Watchdog watchdog{"starting"};
    Tickets tickets;
    std::unique_ptr<test::ComposedService> composed;
    Seen seen;
};

TEST_F(MixedOperationsTest, EachRequestHasOneOutcome) {
    for (int epoch = 0; epoch < EPOCHS * test::stressFactor(); ++epoch) {
        composed = std::make_unique<test::ComposedService>();
        watchdog.enter("mixing operations, epoch " + std::to_string(epoch));
        mix(static_cast<unsigned int>(epoch));
        expectOneOutcomeEach();
        if (epoch % 2 == 0) {
            watchdog.enter("cancelling all requests on two threads");
            expectEntriesToBeCancelledBy([this] {
                test::runOnThreads(2, [this](int) {
                    forEachTicket([this](Ticket& ticket) { composed->cancel(ticket); });
                });
            });
        } else {
            watchdog.enter("shutting down on all threads");
            expectEntriesToBeCancelledBy(
                [this] { test::runOnThreads(THREADS, [this](int) { composed->shutDown(); }); });
        }
        expectAnEmptyTable();
        expectEveryHandlerToBeDestroyedOnce();
        ASSERT_FALSE(HasFatalFailure());
    }
    RecordProperty("operations", OPERATIONS * test::stressFactor());
    RecordProperty("requests", std::to_string(seen.requests));
    for (const long some : {seen.requests, seen.values, seen.terminated, seen.cancelled,
                            seen.dropped, seen.unknownPaths, seen.leftBehind}) {
        EXPECT_GT(some, OPERATIONS / 200);
    }
}

}  // namespace
}  // namespace kova
