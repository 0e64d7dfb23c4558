#include "values/IdleBuffer.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/FailingAllocations.h"

namespace {

using kova::kit::detail::BufferLoan;
using kova::test::FailingAllocations;

// Returns the number of blocks of memory that writing `size` bytes leaves allocated.
long blocksKeptAfter(std::size_t size) {
    const long before = FailingAllocations::liveBlocks();
    {
        BufferLoan loan;
        EXPECT_EQ(loan.bytes().size(), 0U);
        EXPECT_NE(loan.bytes().extend(size), nullptr);
    }
    return FailingAllocations::liveBlocks() - before;
}

TEST(IdleBufferTest, ThreadReusesItsBuffer) {
    std::thread([] {
        EXPECT_GT(blocksKeptAfter(100), 0);
        EXPECT_EQ(blocksKeptAfter(200), 0) << "the second loan is the same buffer";
    }).join();
}

TEST(IdleBufferTest, TwoLoansAtTheSameTimeUseDifferentBuffers) {
    std::thread([] {
        BufferLoan first;
        BufferLoan second;
        EXPECT_NE(&first.bytes(), &second.bytes());
    }).join();
}

TEST(IdleBufferTest, LargeBufferIsFreedAfterItsUse) {
    std::thread([] {
        EXPECT_EQ(blocksKeptAfter(BufferLoan::MAX_KEPT + 1), 0);
        EXPECT_GT(blocksKeptAfter(BufferLoan::MAX_KEPT), 0);
    }).join();
}

// The destructor counts the blocks of the thread that ends, and borrows a buffer again. The thread
// has already destroyed the thread-local objects that were created later.
struct BlocksAtTheEnd {
    ~BlocksAtTheEnd() {
        if (out != nullptr) {
            *out = FailingAllocations::liveBlocks();
            EXPECT_EQ(blocksKeptAfter(100), 0) << "a closed thread keeps no buffer";
        }
    }
    long* out = nullptr;
};

thread_local BlocksAtTheEnd t_blocks;

// Runs `work` on a thread, and returns the number of blocks at the end of the thread.
template <class Work>
long blocksAtTheEndOf(Work work) {
    long blocks = 0;
    std::thread([&] {
        t_blocks.out = &blocks;
        work();
    }).join();
    return blocks;
}

TEST(IdleBufferTest, EndOfAThreadFreesItsBuffer) {
    const auto borrow = [] { EXPECT_GT(blocksKeptAfter(100), 0); };
    const long once = blocksAtTheEndOf(borrow);
    EXPECT_EQ(blocksAtTheEndOf(borrow), once);
}

}  // namespace
