#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "config/NodeBlocks.h"
#include "support/FailingAllocations.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace {

using kova::test::FailingAllocations;
using util::config::Array;
using util::config::Dictionary;
using util::config::NodeBlocks;
using util::config::NodeReleases;
using util::config::Value;
using util::config::ValueFloat;
using util::config::ValueInt;
using util::config::ValueString;
using util::config::ValueUnicodeString;

constexpr std::size_t SIZE_OF_INT = NodeBlocks::sizeOf<ValueInt>();

// Returns `count` integer nodes with the values 0, 1, 2, ...
std::vector<std::unique_ptr<Value>> integers(int count) {
    NodeBlocks blocks(static_cast<std::size_t>(count) * SIZE_OF_INT);
    std::vector<std::unique_ptr<Value>> nodes;
    for (int i = 0; i < count; ++i) {
        nodes.emplace_back(blocks.make<ValueInt>(i));
    }
    return nodes;
}

TEST(NodeBlocksTest, NodesOutliveTheNodeBlocksObject) {
    for (const int count : {1, 10, 100, 1000, 10000}) {
        const auto nodes = integers(count);
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(*nodes[static_cast<std::size_t>(i)], ValueInt(i));
        }
    }
}

TEST(NodeBlocksTest, LargeTreesUseFewBlocks) {
    for (const auto& [count, most] : {std::pair(1, 1L), {100, 1L}, {10000, 60L}}) {
        std::vector<std::unique_ptr<Value>> nodes;
        nodes.reserve(static_cast<std::size_t>(count));
        const long before = FailingAllocations::liveBlocks();
        NodeBlocks blocks(static_cast<std::size_t>(count) * SIZE_OF_INT);
        for (int i = 0; i < count; ++i) {
            nodes.emplace_back(blocks.make<ValueInt>(i));
        }
        EXPECT_LE(FailingAllocations::liveBlocks() - before, most) << count;
    }
}

TEST(NodeBlocksTest, DeletingTheLastNodeFreesTheBlock) {
    for (const int count : {3, 100, 10000}) {
        const long before = FailingAllocations::liveBlocks();
        {
            auto nodes = integers(count);
            std::shuffle(nodes.begin(), nodes.end(), std::mt19937(1));
            const long all = FailingAllocations::liveBlocks();
            nodes.resize(nodes.size() - 1);
            EXPECT_LE(FailingAllocations::liveBlocks(), all);
            nodes.resize(1);
            // The block of the last node, and that of the vector.
            EXPECT_EQ(FailingAllocations::liveBlocks(), before + 2) << count;
        }
        EXPECT_EQ(FailingAllocations::liveBlocks(), before) << count;
    }
}

// Returns one node of each type that NodeBlocks creates, and one node allocated separately.
std::vector<Value*> nodesOfEveryKind(std::size_t total) {
    constexpr char const* LONG = "a text that lies outside of its node";
    NodeBlocks blocks(total);
    return {blocks.make<ValueInt>(1),
            new ValueString(LONG),
            blocks.make<ValueFloat>(0.5),
            blocks.make<ValueString>(LONG),
            blocks.make<ValueUnicodeString>(util::UnicodeString8{LONG}),
            blocks.make<Array>(),
            blocks.make<Dictionary>()};
}

TEST(NodeBlocksTest, NodeReleasesFreesNodesOfEveryType) {
    const long before = FailingAllocations::liveBlocks();
    {
        NodeReleases releases;
        for (const std::size_t total : {std::size_t{1000}, NodeBlocks::SIZE + 1}) {
            const std::vector<Value*> first = nodesOfEveryKind(total);
            const std::vector<Value*> second = nodesOfEveryKind(total);
            for (std::size_t i = 0; i < first.size(); ++i) {
                releases.destroy(first[i]);
                releases.destroy(second[i]);
            }
        }
    }
    EXPECT_EQ(FailingAllocations::liveBlocks(), before);
}

TEST(NodeBlocksTest, NodeReleasesDestroysOnlyTheGivenNodes) {
    const long before = FailingAllocations::liveBlocks();
    {
        auto nodes = integers(100);
        const std::unique_ptr<Value> kept = std::move(nodes[50]);
        nodes.erase(nodes.begin() + 50);
        NodeReleases releases;
        for (std::unique_ptr<Value>& node : nodes) {
            releases.destroy(node.release());
        }
        EXPECT_EQ(*kept, ValueInt(50));
    }
    EXPECT_EQ(FailingAllocations::liveBlocks(), before);
}

TEST(NodeBlocksTest, NodesCanBeDeletedWhileTheBlockIsFilled) {
    for (const std::size_t total : {50 * SIZE_OF_INT, 10000 * SIZE_OF_INT}) {
        const long before = FailingAllocations::liveBlocks();
        {
            NodeBlocks blocks(total);
            for (int i = 0; i < 1000; ++i) {
                delete blocks.make<ValueInt>(i);
            }
        }
        EXPECT_EQ(FailingAllocations::liveBlocks(), before);
    }
}

TEST(NodeBlocksTest, MakeReturnsNullWithoutMemory) {
    for (const std::size_t total : {2 * NodeBlocks::sizeOf<ValueString>(), std::size_t{100000}}) {
        NodeBlocks blocks(total);
        {
            const FailingAllocations failing(0);
            EXPECT_EQ(blocks.make<ValueInt>(1), nullptr);
        }
        const std::unique_ptr<Value> first(blocks.make<ValueString>("first"));
        std::vector<std::unique_ptr<Value>> nodes(1000);
        std::size_t made = 0;
        {
            const FailingAllocations failing(0);
            while (made < nodes.size() &&
                   (nodes[made].reset(blocks.make<ValueInt>(2)), nodes[made])) {
                ++made;
            }
        }
        EXPECT_GE(made, 1U);
        EXPECT_LT(made, 200U);
        EXPECT_EQ(*first, ValueString("first"));
        const std::unique_ptr<Value> later(blocks.make<ValueInt>(3));
        EXPECT_EQ(*later, ValueInt(3));
    }
}

TEST(NodeBlocksTest, ThreadsMayDeleteNodesOfTheSameBlockConcurrently) {
    for (const int count : {100, 10000}) {
        auto nodes = integers(count);
        std::vector<std::thread> threads;
        const std::size_t part = nodes.size() / 4;
        for (std::size_t i = 0; i < 4; ++i) {
            std::vector<std::unique_ptr<Value>> share;
            for (std::size_t n = i; n < 4 * part; n += 4) {
                share.push_back(std::move(nodes[n]));
            }
            threads.emplace_back([mine = std::move(share)]() mutable { mine.clear(); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(std::count(nodes.begin(), nodes.end(), nullptr), count);
    }
}

}  // namespace
