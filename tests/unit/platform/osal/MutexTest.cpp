#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

#include "osal/Mutex.h"

namespace {

TEST(MutexTest, OnlyOneThreadHoldsTheLock) {
    osal::Mutex mutex;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 10000; ++i) {
                const std::lock_guard<osal::Mutex> guard(mutex);
                ++counter;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, 40000);
}

TEST(MutexTest, TryLockFailsWhileAnotherThreadHoldsTheLock) {
    osal::Mutex mutex;
    mutex.lock();
    bool taken = true;
    std::thread([&] {
        taken = mutex.try_lock();
        if (taken) {
            mutex.unlock();
        }
    }).join();
    EXPECT_FALSE(taken);
    mutex.unlock();
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(MutexTest, RecursiveMutexIsFreeAfterAsManyUnlocksAsLocks) {
    osal::Mutex mutex(true);
    mutex.lock();
    mutex.lock();
    mutex.unlock();
    bool taken = true;
    std::thread([&] {
        taken = mutex.try_lock();
        if (taken) {
            mutex.unlock();
        }
    }).join();
    EXPECT_FALSE(taken);
    mutex.unlock();
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(MutexDeathTest, LockingAgainWithoutRecursionStopsTheProcess) {
    EXPECT_DEATH(
        {
            osal::Mutex mutex;
            mutex.lock();
            mutex.lock();
        },
        "");
}

TEST(MutexDeathTest, UnlockingWhatIsNotHeldStopsTheProcess) {
    EXPECT_DEATH(
        {
            osal::Mutex mutex;
            mutex.unlock();
        },
        "");
}

}  // namespace
