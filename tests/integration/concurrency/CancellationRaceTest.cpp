// Threads cancel requests while other threads answer them.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "ComposedService.h"
#include "support/Reports.h"
#include "support/Threads.h"
#include "support/Watchdog.h"

namespace kova {
namespace {

using test::Answer;
using test::Ticket;

constexpr int THREADS = 4;
constexpr int ROUNDS = 40;
constexpr std::size_t REQUESTS = 50;  // per round, enough for collisions of the threads

class CancellationRaceTest : public testing::TestWithParam<Answer> {
protected:
    using Round = std::array<Ticket, REQUESTS>;

    /// Answers or cancels all requests of a round in a random order. Two threads answer, the others
    /// cancel.
    void play(int thread, Round& round, std::minstd_rand& random) {
        std::array<std::size_t, REQUESTS> order{};
        std::iota(order.begin(), order.end(), 0U);
        std::shuffle(order.begin(), order.end(), random);
        for (const std::size_t i : order) {
            if (thread < 2) {
                composed.resources[0]->answer(random(), GetParam());
            } else {
                composed.cancel(round[i]);
            }
            watchdog.progress();
        }
    }
    void expectOneOutcomeEach(Round& round) {
        for (Ticket& ticket : round) {
            ASSERT_EQ(ticket.outcomes() + (ticket.open ? 1 : 0), 1);
            ASSERT_EQ(ticket.eventsTooLate, 0);
            ASSERT_FALSE(ticket.open) << "a request was neither answered nor cancelled";
            ASSERT_LE(ticket.cancelCalls, 1) << "one entry was cancelled by both threads";
            const int calls = ticket.cancelCalls;
            composed.cancel(ticket);
            ASSERT_EQ(ticket.cancelCalls, calls) << "the entry was not removed";
            ASSERT_EQ(ticket.destructions, 1);
            cancelled += ticket.cancelled;
        }
    }

    int all() const { return static_cast<int>(rounds.size() * REQUESTS); }
    void begin() {
        rounds.push_back(std::make_unique<Round>());
        for (Ticket& ticket : *rounds.back()) {
            composed.ask(ticket);
        }
    }
    /// Sets whether another round is needed. After the minimum of rounds, the test continues until
    /// an answer has arrived before its cancellation, for at most 100 times as many rounds. With
    /// fewer processors than threads that may take long.
    void decide() {
        const auto least = static_cast<std::size_t>(ROUNDS * test::stressFactor());
        const bool met = GetParam() == Answer::VALUE || cancelled < all();
        goesOn = rounds.size() < (met ? least : 100 * least);
    }

    test::Reports reports;
    test::Watchdog watchdog{"starting"};
    std::vector<std::unique_ptr<Round>> rounds;
    test::ComposedService composed;
    int cancelled = 0;
    bool goesOn = true;
};

TEST_P(CancellationRaceTest, EachRequestHasOneOutcome) {
    test::Barrier start(THREADS);
    test::Barrier end(THREADS);
    test::Barrier decided(THREADS);
    test::runOnThreads(THREADS, [&](int thread) {
        std::minstd_rand random(static_cast<unsigned int>(thread) + 1);
        while (goesOn) {
            if (thread == 0) {
                watchdog.enter("cancelling requests that are being answered");
                begin();
            }
            start.wait();
            play(thread, *rounds.back(), random);
            end.wait();
            if (thread == 0) {
                expectOneOutcomeEach(*rounds.back());
                decide();
            }
            decided.wait();
        }
    });
    EXPECT_EQ(cancelled == all(), GetParam() == Answer::VALUE) << cancelled << " of " << all();
    composed.shutDown();
    EXPECT_EQ(composed.openRequests(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Against, CancellationRaceTest,
                         testing::Values(Answer::VALUE, Answer::COMPLETION, Answer::ERROR,
                                         Answer::DROP));

}  // namespace
}  // namespace kova
