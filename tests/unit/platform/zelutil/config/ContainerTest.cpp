#include <gtest/gtest.h>

#include "support/FailingAllocations.h"
#include "support/SmallStack.h"
#include "support/Trees.h"
#include "util/config/Container.h"

namespace {

using kova::test::deepTree;
using kova::test::FailingAllocations;
using namespace util::config;

TEST(ContainerTest, TreeOfAMillionLevelsIsDestroyedWithoutRecursion) {
    kova::test::runOnSmallStack([] {
        const long before = FailingAllocations::liveBlocks();
        deepTree(1000000).reset();
        EXPECT_EQ(FailingAllocations::liveBlocks(), before);
    });
}

TEST(ContainerTest, DestructionDoesNotAllocate) {
    kova::test::Tree tree = kova::test::RandomTrees(1).next(8);
    const long before = FailingAllocations::liveBlocks();
    {
        const FailingAllocations failing(0);
        tree.reset();
    }
    EXPECT_LT(FailingAllocations::liveBlocks(), before);
}

TEST(ContainerTest, SharedNodesSurviveTheirContainers) {
    {
        Array array;
        array.add(Value::getNull());
        array.add(Value::getBool(true));
        array.add(&Value::getUndefined());
        Dictionary dictionary;
        dictionary.add("null", Value::getNull());
        dictionary.set("null", Value::getBool(false));
    }
    EXPECT_TRUE(Value::getNull()->isNull());
    EXPECT_TRUE(Value::getBool(true)->isBool());
    EXPECT_TRUE(Value::getUndefined().isUndefined());
}

}  // namespace
