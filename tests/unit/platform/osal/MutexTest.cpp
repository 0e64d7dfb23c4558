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
    bool locked = true;
    std::thread([&] {
        locked = mutex.try_lock();
        if (locked) {
            mutex.unlock();
        }
    }).join();
    EXPECT_FALSE(locked);
    mutex.unlock();
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(MutexTest, RecursiveMutexNeedsAsManyUnlocksAsLocks) {
    osal::Mutex mutex(true);
    mutex.lock();
    mutex.lock();
    mutex.unlock();
    bool locked = true;
    std::thread([&] {
        locked = mutex.try_lock();
        if (locked) {
            mutex.unlock();
        }
    }).join();
    EXPECT_FALSE(locked);
    mutex.unlock();
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(MutexDeathTest, LockingANonRecursiveMutexTwiceAborts) {
    EXPECT_DEATH(
        {
            osal::Mutex mutex;
            mutex.lock();
            mutex.lock();
        },
        "");
}

TEST(MutexDeathTest, UnlockingAnUnlockedMutexAborts) {
    EXPECT_DEATH(
        {
            osal::Mutex mutex;
            mutex.unlock();
        },
        "");
}

}  // namespace
