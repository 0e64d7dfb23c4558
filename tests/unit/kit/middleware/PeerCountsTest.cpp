#include "middleware/PeerCounts.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/Allocations.h"
#include "support/Threads.h"

namespace kova::kit::detail {
namespace {

constexpr std::size_t MANY = 1000;

Peer peer(long pid) {
    return {1000, 100, pid, "unix:"};
}

TEST(PeerCounts, CountsUpToTheLimit) {
    PeerCounts counts;
    EXPECT_EQ(counts.add(peer(1), 0), nullptr);
    PeerCounts::Count* const count = counts.add(peer(1), 2);
    EXPECT_EQ(counts.add(peer(1), 2), count);
    EXPECT_EQ(counts.add(peer(1), 2), nullptr);
    EXPECT_EQ(counts.size(), 1U);
    counts.remove(count);
    EXPECT_EQ(counts.add(peer(1), 2), count);
    counts.remove(count);
    counts.remove(count);
    EXPECT_EQ(counts.size(), 0U);
}

TEST(PeerCounts, IdlePeersAreRemoved) {
    PeerCounts counts;
    std::vector<PeerCounts::Count*> added;
    for (long pid = 0; pid < static_cast<long>(MANY); ++pid) {
        added.push_back(counts.add(peer(pid), 1));
        EXPECT_NE(added.back(), nullptr);
    }
    EXPECT_EQ(counts.size(), MANY);
    for (PeerCounts::Count* const count : added) {
        counts.remove(count);
    }
    EXPECT_EQ(counts.size(), 0U);
}

TEST(PeerCounts, AllocatesNothingAfterWarmUp) {
    PeerCounts counts;
    counts.remove(counts.add(peer(1), 1));
    const std::size_t before = test::allocations();
    const Peer other = peer(2);
    counts.remove(counts.add(other, 1));
    EXPECT_EQ(test::allocations(), before);
}

TEST(PeerCounts, DestructorFreesTheRemainingCounts) {
    PeerCounts counts;
    EXPECT_NE(counts.add(peer(1), MANY), nullptr);
}

TEST(PeerCounts, CountsTheRequestsOfSeveralThreads) {
    PeerCounts counts;
    test::runOnThreads(4, [&](int thread) {
        for (int i = 0; i < 2000; ++i) {
            PeerCounts::Count* const own = counts.add(peer(thread), 1);
            PeerCounts::Count* const shared = counts.add(peer(99), 4);
            ASSERT_NE(own, nullptr);
            ASSERT_NE(shared, nullptr);
            counts.remove(shared);
            counts.remove(own);
        }
    });
    EXPECT_EQ(counts.size(), 0U);
}

}  // namespace
}  // namespace kova::kit::detail
