#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/FailingAllocations.h"
#include "support/SmallStack.h"
#include "support/Trees.h"
#include "util/config/Value.h"

namespace {

using kova::test::deepTree;
using kova::test::FailingAllocations;
using kova::test::parseTree;
using kova::test::RandomTrees;
using kova::test::Tree;
using namespace util::config;

// Returns nodes that are pairwise different.
std::vector<Tree> differentNodes() {
    std::vector<Tree> nodes;
    for (Value* node : std::initializer_list<Value*>{
             &Value::getUndefined(), Value::getNull(), Value::getBool(false), Value::getBool(true),
             new ValueInt(0), new ValueInt(-1), new ValueInt(~0UL), new ValueInt(1L << 62U),
             new ValueFloat(0.0), new ValueFloat(1.5), new ValueString(""), new ValueString("a"),
             new ValueString(std::string("a\0", 2)),
             new ValueUnicodeString(util::UnicodeString8{"a"})}) {
        nodes.emplace_back(node);
    }
    for (char const* text :
         {"[]", "{}", "[0]", "[1]", "[0,0]", "[[]]", "[{}]", R"({"a":1})", R"({"b":1})",
          R"({"a":2})", R"({"a":1,"b":1})", R"({"a":{}})", R"({"a":[]})", R"([[1,2],[3]])",
          R"([[1],[2,3]])", R"({"a":{"b":{"c":1}}})", R"({"a":{"b":{"c":2}}})"}) {
        nodes.push_back(parseTree(text));
    }
    return nodes;
}

TEST(TreeTest, NodesAreEqualOnlyToTheirCopies) {
    const std::vector<Tree> nodes = differentNodes();
    for (const Tree& a : nodes) {
        const std::unique_ptr<Value> copy(a->clone());
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(copy->kind(), a->kind());
        for (const Tree& b : nodes) {
            EXPECT_EQ(*copy == *b, &a == &b) << copy->toJson(true) << " and " << b->toJson(true);
            EXPECT_EQ(*copy != *b, &a != &b) << copy->toJson(true) << " and " << b->toJson(true);
        }
    }
}

TEST(TreeTest, FloatsCompareAsNumbers) {
    EXPECT_EQ(ValueFloat(0.0), ValueFloat(-0.0));
    EXPECT_NE(ValueFloat(NAN), ValueFloat(NAN));
    EXPECT_NE(static_cast<const Value&>(ValueInt(1)), ValueFloat(1.0));
}

TEST(TreeTest, CopyIsIndependentOfTheOriginal) {
    const Tree original = parseTree(R"({"a":[1,{"b":"text"}]})");
    const std::unique_ptr<Value> copy(original->clone());
    copy->getEditableArray("a")->add(new ValueInt(2));
    EXPECT_EQ(original->toJson(true), R"({"a":[1,{"b":"text"}]})");
    EXPECT_EQ(copy->toJson(true), R"({"a":[1,{"b":"text"},2]})");
}

TEST(TreeTest, CloneOfASharedNodeCanBeDeleted) {
    for (const Value* node : {static_cast<const Value*>(Value::getNull()),
                              static_cast<const Value*>(Value::getBool(true)),
                              static_cast<const Value*>(&Value::getUndefined())}) {
        const std::unique_ptr<Value> copy(node->clone());
        ASSERT_NE(copy, nullptr);
        EXPECT_FALSE(copy->isShared());
        EXPECT_EQ(*copy, *node);
    }
}

TEST(TreeTest, CloneOfAContainerContainsTheSameSharedNodes) {
    Array array;
    array.add(Value::getNull());
    array.add(Value::getBool(false));
    array.add(Value::getBool(true)->clone());
    array.add(&Value::getUndefined());
    const std::unique_ptr<Value> copy(array.clone());
    EXPECT_EQ(&(*copy)[0], Value::getNull());
    EXPECT_EQ(&(*copy)[1], Value::getBool(false));
    EXPECT_EQ(&(*copy)[2], Value::getBool(true));
    EXPECT_EQ(&(*copy)[3], &Value::getUndefined());
    EXPECT_EQ(copy->arraySize(), 4U);
}

TEST(TreeTest, RandomTreesEqualTheirClones) {
    RandomTrees trees(3);
    for (int i = 0; i < 500; ++i) {
        const Tree tree = trees.next();
        const std::unique_ptr<Value> copy(tree->clone());
        ASSERT_EQ(*copy, *tree);
        ASSERT_EQ(copy->toJson(true), tree->toJson(true));
    }
}

TEST(TreeTest, DeepTreesAreCopiedAndComparedWithoutRecursion) {
    kova::test::runOnSmallStack([] {
        const Tree tree = deepTree(1000000);
        const std::unique_ptr<Value> copy(tree->clone());
        ASSERT_NE(copy, nullptr);
        EXPECT_TRUE(*copy == *tree);
        EXPECT_FALSE(*copy == *deepTree(999999));
    });
}

TEST(TreeTest, CloneWithoutMemoryReturnsNullAndLeaksNothing) {
    const Tree tree = parseTree(
        R"({"a string of more than fifteen bytes":[1,2.5,"another rather long string",[[null]]]})");
    const long before = FailingAllocations::liveBlocks();
    Value* copy = nullptr;
    const long failures = kova::test::failEveryAllocation([&] {
        copy = tree->clone();
        return copy != nullptr || FailingAllocations::liveBlocks() != before;
    });
    const Tree owner(copy);
    ASSERT_NE(copy, nullptr);
    EXPECT_GT(failures, 8);
    EXPECT_EQ(*copy, *tree);
}

}  // namespace
