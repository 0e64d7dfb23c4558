#include "server/ResetLimit.h"

#include <gtest/gtest.h>

#include <chrono>

namespace kova::http::detail {
namespace {

using namespace std::chrono_literals;

TEST(ResetLimitTest, BurstIsAllowedAndOneMoreIsNot) {
    ResetLimit limit(3, 10);
    const ResetLimit::TimePoint now(1h);
    EXPECT_TRUE(limit.add(now));
    EXPECT_TRUE(limit.add(now));
    EXPECT_TRUE(limit.add(now));
    EXPECT_FALSE(limit.add(now));
}

TEST(ResetLimitTest, RateIsAllowedForEver) {
    ResetLimit limit(2, 10);
    ResetLimit::TimePoint now(1h);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_TRUE(limit.add(now)) << i;
        now += 101ms;
    }
}

TEST(ResetLimitTest, FasterThanTheRateIsNotAllowedForEver) {
    ResetLimit limit(2, 10);
    ResetLimit::TimePoint now(1h);
    int allowed = 0;
    while (limit.add(now)) {
        ++allowed;
        now += 90ms;
    }
    EXPECT_GT(allowed, 2);
    EXPECT_LT(allowed, 30);
}

TEST(ResetLimitTest, QuietTimeAddsNoMoreThanTheBurst) {
    ResetLimit limit(2, 10);
    EXPECT_TRUE(limit.add(ResetLimit::TimePoint(1h)));
    const ResetLimit::TimePoint later(9h);
    EXPECT_TRUE(limit.add(later));
    EXPECT_TRUE(limit.add(later));
    EXPECT_FALSE(limit.add(later));
}

}  // namespace
}  // namespace kova::http::detail
