#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/FailingAllocations.h"
#include "util/config/Entries.h"
#include "util/config/Scalars.h"

namespace {

using util::config::Entries;
using util::config::Value;
using util::config::ValueInt;

ValueInt one(1);
ValueInt two(2);

// An Entries object and a std::map with the same operations as a reference.
struct Pair {
    Entries entries;
    std::map<std::string, Value*> expected;

    void add(const std::string& key, Value* child) {
        *entries.slot(key) = child;
        expected[key] = child;
    }
    void remove(const std::string& key) {
        entries.erase(entries.find(key));
        expected.erase(key);
    }
    void check() const {
        ASSERT_EQ(entries.size(), expected.size());
        ASSERT_TRUE(std::equal(entries.begin(), entries.end(), expected.begin(), expected.end(),
                               [](const auto& a, const auto& b) {
                                   return a.first == b.first && a.second == b.second;
                               }));
        for (const auto& [key, child] : expected) {
            const auto entry = entries.find(key);
            ASSERT_TRUE(entry != entries.end()) << key;
            ASSERT_EQ(entry->second, child) << key;
            ASSERT_TRUE(entries.find(key + "!") == entries.end()) << key;
        }
    }
};

std::vector<std::string> keysInOrder(int count) {
    std::vector<std::string> keys;
    for (int i = 0; i < count; ++i) {
        keys.push_back("key" + std::to_string(100000 + i));
    }
    return keys;
}

TEST(EntriesTest, NewListIsEmpty) {
    const Entries entries;
    EXPECT_TRUE(entries.empty());
    EXPECT_TRUE(entries.begin() == entries.end());
    EXPECT_TRUE(entries.find("") == entries.end());
}

TEST(EntriesTest, ReserveAddsNoEntries) {
    Entries entries;
    entries.reserve(1000);
    EXPECT_TRUE(entries.begin() == entries.end());
    EXPECT_TRUE(entries.find("k") == entries.end());
    *entries.slot("k") = &one;
    EXPECT_EQ(entries.begin()->first, "k");
}

TEST(EntriesTest, SlotReturnsTheChildOfAnExistingKey) {
    Entries entries;
    *entries.slot("k") = &one;
    EXPECT_EQ(*entries.slot("k"), &one);
    EXPECT_EQ(*entries.slot("new"), nullptr);
    EXPECT_EQ(entries.size(), 2U);
}

TEST(EntriesTest, AppendAddsKeysInAscendingOrder) {
    for (const unsigned long capacity : {0UL, 3UL, 50UL, 1000UL}) {
        Pair pair;
        pair.entries.reserve(capacity);
        for (const std::string& key : keysInOrder(300)) {
            *pair.entries.append(key) = &one;
            pair.expected[key] = &one;
        }
        pair.check();
        pair.add("in front", &two);
        pair.check();
    }
}

TEST(EntriesTest, ContentIsIndependentOfTheInsertionOrder) {
    for (const int count : {1, 4, 5, 64, 65, 128, 129, 1000, 5000}) {
        std::vector<std::string> keys = keysInOrder(count);
        std::vector<std::vector<std::string>> orders(3, keys);
        std::reverse(orders[1].begin(), orders[1].end());
        std::shuffle(orders[2].begin(), orders[2].end(), std::mt19937(1));
        for (const auto& order : orders) {
            Pair pair;
            for (const std::string& key : order) {
                pair.add(key, &one);
            }
            pair.check();
        }
    }
}

TEST(EntriesTest, RandomInsertionsAndRemovalsMatchStdMap) {
    std::mt19937 random(2);
    Pair pair;
    for (int i = 0; i < 20000; ++i) {
        const std::string key = "k" + std::to_string(random() % 700);
        if (random() % 100 < (i / 5000 % 2 == 0 ? 70U : 30U)) {
            pair.add(key, random() % 2 == 0 ? &one : &two);
        } else if (pair.expected.count(key) != 0) {
            pair.remove(key);
        }
        if (i % 500 == 0) {
            pair.check();
        }
    }
    pair.check();
    while (!pair.expected.empty()) {
        pair.remove(pair.expected.begin()->first);
    }
    pair.check();
    pair.add("again", &one);
    pair.check();
}

TEST(EntriesTest, SwapAndClearAffectAllEntries) {
    Entries a;
    Entries b;
    *a.slot("k") = &one;
    a.swap(b);
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(b.find("k")->second, &one);
    b.clear();
    EXPECT_TRUE(b.empty());
    EXPECT_TRUE(b.begin() == b.end());
}

TEST(EntriesTest, FailedAllocationsChangeNothing) {
    Pair pair;
    for (const std::string& key : keysInOrder(200)) {
        const std::string longKey = key + " and some more bytes";
        Value** slot = nullptr;
        kova::test::failEveryAllocation([&] {
            slot = pair.entries.slot(longKey);
            return slot != nullptr;
        });
        *slot = &one;
        pair.expected[longKey] = &one;
        pair.check();
    }
    const kova::test::FailingAllocations failing(0);
    Entries empty;
    empty.reserve(10);
}

}  // namespace
