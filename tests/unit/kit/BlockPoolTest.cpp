#include "kova/kit/resources/BlockPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "support/Allocations.h"
#include "support/Threads.h"

namespace kova::kit::detail {
namespace {

std::vector<void*> allocateMany(std::size_t count, std::size_t size) {
    std::vector<void*> blocks;
    blocks.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        blocks.push_back(std::memset(allocateBlock(size), 0x5A, size));
    }
    return blocks;
}

void releaseAll(const std::vector<void*>& blocks) {
    for (void* const block : blocks) {
        releaseBlock(block);
    }
}

TEST(BlockPool, BlocksAreAlignedAndDoNotOverlap) {
    for (const std::size_t size : {0U, 1U, 63U, 64U, 65U, 1024U, 1025U, 5000U}) {
        const std::vector<void*> blocks = allocateMany(10, size);
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(blocks[i]) % alignof(std::max_align_t), 0U);
            std::memset(blocks[i], static_cast<int>(i), size);
        }
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            for (std::size_t at = 0; at < size; ++at) {
                ASSERT_EQ(static_cast<unsigned char*>(blocks[i])[at], i);
            }
        }
        releaseAll(blocks);
    }
}

TEST(BlockPool, ReleasedBlocksAreReused) {
    releaseAll(allocateMany(50, 200));
    const std::size_t before = test::allocations();
    std::vector<void*> blocks;
    for (int round = 0; round < 10; ++round) {
        void* const block = allocateBlock(200);
        void* const other = allocateBlock(193);
        releaseBlock(block);
        releaseBlock(other);
    }
    EXPECT_EQ(test::allocations(), before);
}

TEST(BlockPool, LargeBlocksAreFreedWhenTheyAreReleased) {
    releaseBlock(allocateBlock(1025));
    const std::size_t before = test::allocations();
    releaseBlock(allocateBlock(1025));
    EXPECT_EQ(test::allocations(), before + 1);
}

TEST(BlockPool, BlocksReleasedByAnotherThreadAreReused) {
    // One thread keeps fewer blocks than this, so the others become shared.
    const std::vector<void*> blocks = allocateMany(640, 300);
    std::thread([&] { releaseAll(blocks); }).join();
    const std::size_t before = test::allocations();
    std::vector<void*> again;
    again.reserve(640);
    const std::size_t reserved = test::allocations() - before;
    for (int i = 0; i < 600; ++i) {
        again.push_back(allocateBlock(300));
    }
    EXPECT_EQ(test::allocations(), before + reserved);
    releaseAll(again);
}

TEST(BlockPool, NumberOfSharedBlocksIsBounded) {
    // There are more blocks than threads share. The rest is freed, which AddressSanitizer and
    // valgrind check.
    releaseAll(allocateMany(5000, 60));
    const std::size_t before = test::allocations();
    const std::vector<void*> again = allocateMany(5000, 60);
    EXPECT_GT(test::allocations(), before + 2000);
    releaseAll(again);
}

TEST(BlockPool, ThreadsMayReleaseBlocksOfOtherThreads) {
    constexpr std::size_t THREADS = 4;
    constexpr int ROUNDS = 100;
    std::vector<std::vector<void*>> mail(THREADS);
    std::atomic<int> wrong{0};
    test::Barrier barrier(THREADS);
    test::runOnThreads(THREADS, [&](int thread) {
        const auto own = static_cast<std::size_t>(thread);
        const std::size_t other = (own + 1) % THREADS;
        for (int round = 0; round < ROUNDS; ++round) {
            mail[own] = allocateMany(100, 500);
            for (void* const block : mail[own]) {
                *static_cast<std::size_t*>(block) = own;
            }
            barrier.wait();
            for (void* const block : mail[other]) {
                wrong += *static_cast<std::size_t*>(block) != other ? 1 : 0;
            }
            releaseAll(mail[other]);
            barrier.wait();
        }
    });
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace kova::kit::detail
