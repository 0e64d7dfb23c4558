#include "fields/IdleParser.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "support/FailingAllocations.h"

namespace {

using kova::test::FailingAllocations;
using util::json::ParserLoan;

// Returns the number of memory blocks that remain allocated after a text was read.
long blocksKeptAfter(const std::string& text) {
    const long before = FailingAllocations::liveBlocks();
    EXPECT_NE(ParserLoan().parse(text), nullptr);
    return FailingAllocations::liveBlocks() - before;
}

TEST(IdleParserTest, ThreadKeepsOneParser) {
    std::thread([] {
        EXPECT_GT(blocksKeptAfter("[1]"), 0);
        EXPECT_EQ(blocksKeptAfter("[2]"), 0) << "the second loan is the same parser";
    }).join();
}

TEST(IdleParserTest, ParserOfALargeTextIsFreedAfterItsUse) {
    std::thread([] {
        const std::string large = '"' + std::string(ParserLoan::MAX_KEPT, 'x') + '"';
        EXPECT_EQ(blocksKeptAfter(large), 0);
        const std::string limit = '"' + std::string(ParserLoan::MAX_KEPT - 2, 'x') + '"';
        EXPECT_GT(blocksKeptAfter(limit), 0);
    }).join();
}

// Counts the memory blocks of its thread in its destructor. It is destroyed at the end of the
// thread, after the objects that were created later.
struct BlocksAtTheEnd {
    ~BlocksAtTheEnd() {
        if (out != nullptr) {
            *out = FailingAllocations::liveBlocks();
        }
    }
    long* out = nullptr;
};

thread_local BlocksAtTheEnd t_blocks;

// Runs `work` on a thread and returns the number of memory blocks at the end of the thread.
template <class Work>
long blocksAtTheEndOf(Work work) {
    long blocks = 0;
    std::thread([&] {
        t_blocks.out = &blocks;
        work();
    }).join();
    return blocks;
}

TEST(IdleParserTest, EndOfAThreadFreesItsParser) {
    bool isParsed = false;
    const long without = blocksAtTheEndOf([] {});
    EXPECT_EQ(blocksAtTheEndOf([&] { isParsed = ParserLoan().parse("[1]") != nullptr; }), without);
    EXPECT_TRUE(isParsed);
}

TEST(IdleParserTest, ParserIsUsableAfterAMalformedText) {
    std::thread([] {
        for (char const* const text : {"[", "", "[1}"}) {
            EXPECT_EQ(ParserLoan().parse(text), nullptr) << text;
            EXPECT_NE(ParserLoan().parse("[1]"), nullptr);
        }
    }).join();
}

TEST(IdleParserTest, ParserIsUsableAfterAFailedAllocation) {
    std::thread([] {
        for (long successes = 0; successes < 20; ++successes) {
            {
                const FailingAllocations failing(successes);
                static_cast<void>(ParserLoan().parse("[1,2,3]"));
            }
            EXPECT_NE(ParserLoan().parse("[1,2,3]"), nullptr) << successes;
        }
    }).join();
}

}  // namespace
