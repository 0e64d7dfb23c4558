#include <gtest/gtest.h>

#include <string>

#include "support/FailingAllocations.h"
#include "support/Trees.h"
#include "util/config/Dictionary.h"

namespace {

using kova::test::FailingAllocations;
using namespace util::config;

TEST(DictionaryTest, NewDictionaryIsEmpty) {
    const Dictionary dictionary;
    EXPECT_TRUE(dictionary.isDictionary());
    EXPECT_EQ(dictionary.size(), 0U);
    EXPECT_TRUE(dictionary.begin() == dictionary.end());
}

TEST(DictionaryTest, EntriesAreFoundByTheirKey) {
    Dictionary dictionary;
    EXPECT_FALSE(dictionary.add("one", new ValueInt(1)));
    EXPECT_FALSE(dictionary.add(std::string("two"), new ValueInt(2)));
    EXPECT_FALSE(dictionary.set("three", new ValueInt(3)));
    EXPECT_FALSE(dictionary.set(std::string("four"), new ValueInt(4)));
    EXPECT_EQ(dictionary.size(), 4U);
    EXPECT_TRUE(dictionary.hasKey("one"));
    EXPECT_TRUE(dictionary.hasKey(std::string("two")));
    EXPECT_FALSE(dictionary.hasKey("five"));
    EXPECT_EQ(dictionary["three"], ValueInt(3));
    EXPECT_EQ(dictionary[std::string("four")], ValueInt(4));
    EXPECT_TRUE(dictionary["five"].isUndefined());
}

TEST(DictionaryTest, EntriesAreOrderedByTheBytesOfTheirKeys) {
    Dictionary dictionary;
    for (char const* key : {"b", "é", "", "a", "ab", "B", "\x7F"}) {
        dictionary.add(key, Value::getNull());
    }
    std::string order;
    for (const auto& [key, child] : dictionary) {
        EXPECT_TRUE(child->isNull());
        order += key + ",";
    }
    EXPECT_EQ(order, ",B,a,ab,b,\x7F,é,");
}

TEST(DictionaryTest, KeysMayContainAnyByte) {
    Dictionary dictionary;
    const std::string zero("a\0b", 3);
    dictionary.add(zero, new ValueInt(1));
    dictionary.add("a", new ValueInt(2));
    EXPECT_EQ(dictionary[zero], ValueInt(1));
    EXPECT_EQ(dictionary["a"], ValueInt(2));
}

TEST(DictionaryTest, AddAndSetReplaceAnExistingEntry) {
    Dictionary dictionary;
    dictionary.add("k", new ValueInt(1));
    const long before = FailingAllocations::liveBlocks();
    EXPECT_FALSE(dictionary.add("k", new ValueInt(2)));
    EXPECT_EQ(dictionary["k"], ValueInt(2));
    EXPECT_FALSE(dictionary.set("k", new ValueInt(3)));
    EXPECT_EQ(dictionary["k"], ValueInt(3));
    EXPECT_EQ(dictionary.size(), 1U);
    EXPECT_EQ(FailingAllocations::liveBlocks(), before);
    EXPECT_FALSE(dictionary.set("k", dictionary.entries().begin()->second));
    EXPECT_EQ(dictionary["k"], ValueInt(3));
}

TEST(DictionaryTest, NullIsNotAdded) {
    Dictionary dictionary;
    EXPECT_TRUE(dictionary.add("k", nullptr));
    EXPECT_TRUE(dictionary.set("k", nullptr));
    EXPECT_FALSE(dictionary.hasKey("k"));
    dictionary.add("k", new ValueInt(1));
    EXPECT_TRUE(dictionary.set("k", nullptr));
    EXPECT_EQ(dictionary["k"], ValueInt(1));
}

TEST(DictionaryTest, NullKeyFailsAndDestroysTheValue) {
    Dictionary dictionary;
    char const* const none = nullptr;
    const long before = FailingAllocations::liveBlocks();
    EXPECT_TRUE(dictionary.add(none, new ValueInt(1)));
    EXPECT_TRUE(dictionary.set(none, new ValueInt(1)));
    EXPECT_TRUE(dictionary.remove(none, true));
    EXPECT_EQ(FailingAllocations::liveBlocks(), before);
    EXPECT_EQ(dictionary.size(), 0U);
}

TEST(DictionaryTest, RemoveDestroysTheChildOnlyIfTheFlagIsSet) {
    Dictionary dictionary;
    dictionary.add("a", new ValueInt(1));
    dictionary.add("b", new ValueInt(2));
    dictionary.add("c", Value::getBool(true));
    const std::unique_ptr<Value> kept(dictionary.entries().find("a")->second);
    EXPECT_FALSE(dictionary.remove("a", false));
    EXPECT_EQ(*kept, ValueInt(1));
    EXPECT_FALSE(dictionary.remove(std::string("b"), true));
    EXPECT_FALSE(dictionary.remove("c", true));
    EXPECT_TRUE(dictionary.remove("c", true));
    EXPECT_EQ(dictionary.size(), 0U);
}

TEST(DictionaryTest, ClearDestroysEveryChild) {
    const long before = FailingAllocations::liveBlocks();
    {
        Dictionary dictionary;
        dictionary.add("a", new ValueInt(1));
        dictionary.add("b", kova::test::deepTree(3).release());
        dictionary.add("c", Value::getNull());
        dictionary.clear();
        EXPECT_EQ(dictionary.size(), 0U);
        dictionary.add("d", new ValueInt(2));
        EXPECT_EQ(dictionary.toJson(true), R"({"d":2})");
    }
    EXPECT_EQ(FailingAllocations::liveBlocks(), before);
}

TEST(DictionaryTest, SwapExchangesTheEntries) {
    Dictionary a;
    Dictionary b;
    a.add("k", new ValueInt(1));
    a.swap(b);
    EXPECT_EQ(a.toJson(true), "{}");
    EXPECT_EQ(b.toJson(true), R"({"k":1})");
}

TEST(DictionaryTest, TreeMayContainADerivedDictionary) {
    struct Derived : Dictionary {};
    const long before = FailingAllocations::liveBlocks();
    {
        Array root;
        auto* derived = new Derived;
        derived->add("k", new ValueInt(1));
        root.add(derived);
        EXPECT_EQ(root.toJson(true), R"([{"k":1}])");
    }
    EXPECT_EQ(FailingAllocations::liveBlocks(), before);
}

TEST(DictionaryTest, AddWithoutMemoryDestroysOnlyTheNewValue) {
    Dictionary dictionary;
    for (int i = 0; i < 300; ++i) {
        const std::string key =
            "a key of more than fifteen bytes " + std::to_string(i * 7919 % 300);
        for (long successes = 0;; ++successes) {
            auto value = std::make_unique<ValueInt>(i);
            const long before = FailingAllocations::liveBlocks();
            const unsigned long size = dictionary.size();
            bool failed = false;
            {
                const FailingAllocations failing(successes);
                failed = dictionary.add(key, value.release());
            }
            if (!failed) {
                break;
            }
            ASSERT_LE(FailingAllocations::liveBlocks(),
                      before + 2);  // reserved capacity may remain
            ASSERT_EQ(dictionary.size(), size);
            ASSERT_FALSE(dictionary.hasKey(key));
        }
        ASSERT_EQ(dictionary[key], ValueInt(i));
    }
    EXPECT_EQ(dictionary.size(), 300U);
}

}  // namespace
