#include <gtest/gtest.h>

#include "support/FailingAllocations.h"
#include "support/Trees.h"
#include "util/config/Array.h"

namespace {

using kova::test::FailingAllocations;
using namespace util::config;

TEST(ArrayTest, NewArrayIsEmpty) {
    const Array array;
    EXPECT_TRUE(array.isArray());
    EXPECT_EQ(array.arraySize(), 0U);
}

TEST(ArrayTest, ElementsKeepTheirOrder) {
    Array array;
    array.reserve(2);
    EXPECT_FALSE(array.add(new ValueInt(1)));
    EXPECT_FALSE(array.add(new ValueInt(3)));
    EXPECT_FALSE(array.insert(1, new ValueInt(2)));
    EXPECT_FALSE(array.insert(0, new ValueInt(0)));
    EXPECT_FALSE(array.insert(4, new ValueInt(4)));
    EXPECT_EQ(array.toJson(true), "[0,1,2,3,4]");
}

TEST(ArrayTest, InsertingPastTheEndFailsAndDestroysTheValue) {
    Array array;
    const long before = FailingAllocations::liveBlocks();
    EXPECT_TRUE(array.insert(1, new ValueInt(1)));
    EXPECT_EQ(FailingAllocations::liveBlocks(), before);
    EXPECT_EQ(array.arraySize(), 0U);
}

TEST(ArrayTest, NullIsNotAdded) {
    Array array;
    EXPECT_TRUE(array.add(nullptr));
    EXPECT_TRUE(array.insert(0, nullptr));
    array.add(new ValueInt(1));
    EXPECT_TRUE(array.set(0, nullptr));
    EXPECT_EQ(array.toJson(true), "[1]");
}

TEST(ArrayTest, SetDestroysTheReplacedElement) {
    Array array;
    array.add(new ValueInt(1));
    const long before = FailingAllocations::liveBlocks();
    EXPECT_FALSE(array.set(0, new ValueInt(2)));
    EXPECT_EQ(FailingAllocations::liveBlocks(), before);
    EXPECT_EQ(array.toJson(true), "[2]");
    EXPECT_TRUE(array.set(1, new ValueInt(3)));
    EXPECT_EQ(FailingAllocations::liveBlocks(), before);
    EXPECT_FALSE(array.set(0, array.elements()[0]));
    EXPECT_EQ(array.toJson(true), "[2]");
}

TEST(ArrayTest, RemoveDestroysTheElementOnlyIfTheFlagIsSet) {
    Array array;
    array.add(new ValueInt(1));
    array.add(new ValueInt(2));
    array.add(Value::getNull());
    const std::unique_ptr<Value> kept(array.elements()[0]);
    EXPECT_FALSE(array.remove(0, false));
    EXPECT_EQ(*kept, ValueInt(1));
    EXPECT_FALSE(array.remove(0, true));
    EXPECT_EQ(array.toJson(true), "[null]");
    EXPECT_FALSE(array.remove(0, true));
    EXPECT_TRUE(array.remove(0, true));
}

TEST(ArrayTest, ClearDestroysEveryElement) {
    const long before = FailingAllocations::liveBlocks();
    {
        Array array;
        array.add(new ValueInt(1));
        array.add(kova::test::deepTree(3).release());
        array.add(Value::getBool(true));
        array.clear();
        EXPECT_EQ(array.arraySize(), 0U);
        array.add(new ValueInt(2));
        EXPECT_EQ(array.toJson(true), "[2]");
    }
    EXPECT_EQ(FailingAllocations::liveBlocks(), before);
}

TEST(ArrayTest, SwapExchangesTheElements) {
    Array a;
    Array b;
    a.add(new ValueInt(1));
    a.swap(b);
    EXPECT_EQ(a.toJson(true), "[]");
    EXPECT_EQ(b.toJson(true), "[1]");
}

TEST(ArrayTest, AddWithoutMemoryDestroysOnlyTheNewValue) {
    Array array;
    for (int i = 0; i < 100; ++i) {
        auto value = std::make_unique<ValueInt>(i);
        const long before = FailingAllocations::liveBlocks();
        bool failed = false;
        {
            const FailingAllocations failing(0);
            failed = array.add(value.release());
        }
        if (failed) {
            EXPECT_EQ(FailingAllocations::liveBlocks(), before - 1);
            ASSERT_FALSE(array.add(new ValueInt(i)));
        }
        ASSERT_EQ(array.arraySize(), static_cast<unsigned long>(i) + 1);
        ASSERT_EQ(array[i], ValueInt(i));
    }
}

TEST(ArrayTest, FailedReserveChangesNothing) {
    Array array;
    array.add(new ValueInt(1));
    array.reserve(~0UL);
    {
        const FailingAllocations failing(0);
        array.reserve(1000);
    }
    EXPECT_EQ(array.toJson(true), "[1]");
}

}  // namespace
