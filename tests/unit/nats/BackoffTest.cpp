#include "nats/Backoff.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>

namespace kova::nats::detail {
namespace {

using namespace std::chrono_literals;

TEST(BackoffTest, DelaysGrowToTheLongest) {
    for (int repetition = 0; repetition < 100; ++repetition) {
        Backoff backoff;
        for (const auto expected : {20ms, 40ms, 80ms, 160ms, 320ms, 640ms, 1000ms, 1000ms}) {
            const auto delay = backoff.next();
            EXPECT_GE(delay, expected / 2);
            EXPECT_LE(delay, expected);
        }
    }
}

TEST(BackoffTest, ResetBeginsWithTheFirstDelay) {
    Backoff backoff;
    for (int i = 0; i < 10; ++i) {
        EXPECT_GT(backoff.next().count(), 0) << i;
    }
    backoff.reset();
    EXPECT_LE(backoff.next(), Backoff::FIRST);
}

// Two equal delays of 10 to 20 ms, in microseconds, have a probability of 1 in 10 000; a hundred
// have none.
TEST(BackoffTest, ClientsHaveDifferentDelays) {
    std::set<std::chrono::microseconds> delays;
    for (int i = 0; i < 100; ++i) {
        delays.insert(Backoff().next());
    }
    EXPECT_GT(delays.size(), 1U);
}

}  // namespace
}  // namespace kova::nats::detail
