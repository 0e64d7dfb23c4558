#include "servicecomposition/PendingRequests.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "support/Threads.h"

namespace kova::detail {
namespace {

/// Returns a handle: an address that is never dereferenced.
void* handleOf(std::uintptr_t number) {
    return reinterpret_cast<void*>(number);
}

TEST(PendingRequestsTest, TakeRemovesTheEntry) {
    PendingRequests requests;
    requests.add(handleOf(1), handleOf(10), nullptr);
    const auto entry = requests.take(handleOf(1));
    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->resourceHandle, handleOf(10));
    EXPECT_FALSE(requests.take(handleOf(1)).has_value());
}

TEST(PendingRequestsTest, RemoveReturnsWhetherThereWasAnEntry) {
    PendingRequests requests;
    EXPECT_FALSE(requests.remove(handleOf(1)));
    requests.add(handleOf(1), handleOf(10), nullptr);
    EXPECT_FALSE(requests.remove(handleOf(2)));
    EXPECT_TRUE(requests.remove(handleOf(1)));
    EXPECT_FALSE(requests.remove(handleOf(1)));
}

TEST(PendingRequestsTest, SecondEntryOfAHandleIsNotStored) {
    PendingRequests requests;
    requests.add(handleOf(1), handleOf(10), nullptr);
    requests.add(handleOf(1), handleOf(20), nullptr);
    EXPECT_EQ(requests.take(handleOf(1))->resourceHandle, handleOf(10));
    EXPECT_FALSE(requests.remove(handleOf(1)));
}

TEST(PendingRequestsTest, ReusedNodeHasTheHandlesOfTheNewEntry) {
    PendingRequests requests;
    IResourceHandler* const handler = static_cast<IResourceHandler*>(handleOf(99));
    requests.add(handleOf(1), handleOf(10), nullptr);
    requests.add(handleOf(2), handleOf(20), nullptr);
    EXPECT_TRUE(requests.remove(handleOf(1)));
    EXPECT_TRUE(requests.remove(handleOf(2)));
    requests.add(handleOf(3), handleOf(30), handler);
    requests.add(handleOf(4), handleOf(40), nullptr);
    EXPECT_FALSE(requests.take(handleOf(2)).has_value());
    const auto entry = requests.take(handleOf(3));
    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->resourceHandle, handleOf(30));
    EXPECT_EQ(entry->handler, handler);
    EXPECT_EQ(requests.take(handleOf(4))->resourceHandle, handleOf(40));
}

TEST(PendingRequestsTest, ReusedNodeDoesNotReplaceAnEntry) {
    PendingRequests requests;
    requests.add(handleOf(1), handleOf(10), nullptr);
    requests.add(handleOf(2), handleOf(20), nullptr);
    EXPECT_TRUE(requests.remove(handleOf(2)));
    requests.add(handleOf(1), handleOf(30), nullptr);
    requests.add(handleOf(3), handleOf(40), nullptr);
    EXPECT_EQ(requests.take(handleOf(1))->resourceHandle, handleOf(10));
    EXPECT_EQ(requests.take(handleOf(3))->resourceHandle, handleOf(40));
    EXPECT_TRUE(requests.takeAll().empty());
}

TEST(PendingRequestsTest, TakeAllReturnsEntriesInAscendingHandleOrder) {
    PendingRequests requests;
    for (const std::uintptr_t number : {3U, 1U, 2U}) {
        requests.add(handleOf(number), handleOf(10 * number), nullptr);
    }
    std::vector<void*> taken;
    for (const auto& [serviceHandle, entry] : requests.takeAll()) {
        taken.push_back(serviceHandle);
        taken.push_back(entry.resourceHandle);
    }
    EXPECT_EQ(taken, (std::vector<void*>{handleOf(1), handleOf(10), handleOf(2), handleOf(20),
                                         handleOf(3), handleOf(30)}));
    EXPECT_TRUE(requests.takeAll().empty());
    EXPECT_FALSE(requests.remove(handleOf(1)));
}

TEST(PendingRequestsTest, ThreadsFindTheEntriesThatTheyAdd) {
    constexpr int THREADS = 4;
    constexpr std::uintptr_t ROUNDS = 20000;
    PendingRequests requests;
    std::atomic<int> lost{0};
    test::runOnThreads(THREADS, [&](int thread) {
        for (std::uintptr_t round = 1; round <= ROUNDS; ++round) {
            void* const handle = handleOf(round * THREADS + static_cast<std::uintptr_t>(thread));
            requests.add(handle, handle, nullptr);
            if (round % 2 == 0 ? !requests.remove(handle) : !requests.take(handle)) {
                ++lost;
            }
        }
    });
    EXPECT_EQ(lost, 0);
    EXPECT_TRUE(requests.takeAll().empty());
}

}  // namespace
}  // namespace kova::detail
