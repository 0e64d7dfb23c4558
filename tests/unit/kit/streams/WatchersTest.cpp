#include "streams/Watchers.h"

#include <gtest/gtest.h>

#include "kova/kit/Values.h"

namespace kova::kit::detail {
namespace {

using Numbers = std::vector<int>;

/// A change with a number. The class counts its living instances.
class Numbered final : public Change {
public:
    explicit Numbered(int number) : number(number) { ++alive; }
    ~Numbered() override { --alive; }

    const int number;
    static inline int alive = 0;

private:
    Result<Payload> encode(const std::string& mimeType) const override {
        return toPayload(number, mimeType);
    }
};

class WatchersTest : public testing::Test {
protected:
    void add(std::uint64_t id, int snapshot = 0) {
        Watcher watcher;
        watcher.id = id;
        watcher.clientId = std::to_string(id);
        watcher.snapshot = snapshot != 0 ? std::make_shared<Numbered>(snapshot) : nullptr;
        watchers.add(std::move(watcher));
    }
    void push(int number) {
        newest = std::make_shared<Numbered>(number);
        Garbage garbage;
        watchers.push(newest, garbage);
    }
    /// Begins the visit of the next watcher. Returns the number of its change, or 0 if it is
    /// disconnected.
    int begin(bool isState = true) {
        Garbage garbage;
        watchers.begin(visit, isState ? newest : nullptr, false, garbage);
        return visit.change ? static_cast<const Numbered&>(*visit.change).number : 0;
    }
    void end(bool isOpen = true) {
        Garbage garbage;
        visit.isOpen = isOpen;
        watchers.end(visit, garbage);
    }
    /// Visits watchers until no value waits, and returns the numbers.
    Numbers all(bool isState = true) {
        Numbers result;
        while (watchers.hasReady()) {
            result.push_back(begin(isState));
            end(result.back() != 0);
        }
        return result;
    }
    void remove(std::uint64_t id) {
        Garbage garbage;
        watchers.remove(id, garbage);
    }
    /// Returns the number of changes that are kept for watchers.
    int kept() {
        newest.reset();
        visit.change.reset();
        return Numbered::alive;
    }

    Watchers watchers;
    Watchers::Visit visit;
    std::shared_ptr<Change> newest;
};

TEST_F(WatchersTest, LastVisitMovesTheChangeOutOfTheList) {
    add(1);
    add(2);
    push(1);
    newest.reset();
    Garbage garbage;
    watchers.begin(visit, nullptr, false, garbage);
    EXPECT_EQ(visit.change.use_count(), 2);  // the second watcher needs it, too
    end();
    visit.change.reset();
    watchers.begin(visit, nullptr, false, garbage);
    EXPECT_EQ(visit.change.use_count(), 1);
    EXPECT_EQ(garbage.change, nullptr);
    EXPECT_TRUE(garbage.changes.empty());
    end();
}

TEST_F(WatchersTest, ChangeWithoutWatchersIsNotKept) {
    push(1);
    EXPECT_FALSE(watchers.hasReady());
    EXPECT_EQ(kept(), 0);
}

TEST_F(WatchersTest, WatcherGetsItsSnapshotAndThenTheChanges) {
    push(1);
    add(7, 100);
    push(2);
    push(3);
    EXPECT_EQ(all(), (Numbers{100, 2, 3}));
    EXPECT_EQ(kept(), 0);
}

TEST_F(WatchersTest, WatchersAreVisitedInTurn) {
    add(1);
    add(2);
    push(1);
    push(2);
    EXPECT_EQ(all(), (Numbers{1, 1, 2, 2}));
}

TEST_F(WatchersTest, ChangeIsReleasedWhenTheLastWatcherHasGotIt) {
    add(1);
    add(2);
    push(1);
    begin();
    EXPECT_EQ(kept(), 1);
    end();
    begin();
    EXPECT_EQ(kept(), 0);
    end();
}

TEST_F(WatchersTest, WatcherIsNotVisitedTwiceAtOnce) {
    add(1);
    push(1);
    begin();
    push(2);
    EXPECT_FALSE(watchers.hasReady());
    end();
    EXPECT_EQ(all(), Numbers{2});
}

TEST_F(WatchersTest, BlockedWatcherKeepsNoMoreChangesThanTheBound) {
    watchers.queue.bound = 4;
    add(1);
    push(0);
    begin();
    Watchers::Visit blocked = std::exchange(visit, {});
    add(2);
    for (int i = 1; i <= 100; ++i) {
        push(i);
        EXPECT_EQ(all(), Numbers{i});
    }
    EXPECT_EQ(kept(), 4 + 1) << "four wait, one is in the receiver";
    push(101);
    visit = std::move(blocked);
    end();
    EXPECT_EQ(all(), (Numbers{101, 101}));
    EXPECT_EQ(kept(), 0);
}

TEST_F(WatchersTest, DropOldestPolicyContinuesAtTheOldestKeptChange) {
    watchers.queue = {3, DropOldest};
    add(1);
    for (int i = 1; i <= 5; ++i) {
        push(i);
    }
    EXPECT_EQ(begin(), 3);
    EXPECT_EQ(visit.lost, 2U);
    end();
    EXPECT_EQ(begin(), 4);
    EXPECT_EQ(visit.lost, 0U);
    end();
    EXPECT_EQ(all(), Numbers{5});
}

TEST_F(WatchersTest, ConflatePolicyContinuesAtTheNewestEvent) {
    watchers.queue = {3, Conflate};
    add(1);
    for (int i = 1; i <= 5; ++i) {
        push(i);
    }
    EXPECT_EQ(begin(false), 5);
    EXPECT_EQ(visit.lost, 4U);
    end();
    EXPECT_FALSE(watchers.hasReady());
}

TEST_F(WatchersTest, DisconnectedWatcherIsVisitedWithoutAChange) {
    watchers.queue = {3, Disconnect};
    add(1);
    add(2);
    for (int i = 1; i <= 3; ++i) {
        push(i);
    }
    EXPECT_EQ(begin(), 1);
    end();
    push(4);
    EXPECT_EQ(begin(), 0) << "the second watcher has lost the first change";
    end(false);
    EXPECT_EQ(all(), (Numbers{2, 3, 4}));
    EXPECT_EQ(watchers.infos(0, false).size(), 1U);
}

TEST_F(WatchersTest, RemovedWatcherKeepsNoChangeAlive) {
    add(1);
    push(1);
    push(2);
    remove(1);
    EXPECT_EQ(kept(), 0);
    EXPECT_FALSE(watchers.hasReady());
    remove(1);
    EXPECT_TRUE(watchers.infos(0, false).empty());
}

TEST_F(WatchersTest, WatcherRemovedDuringAVisitIsDeletedAfterTheVisit) {
    add(1);
    push(1);
    begin();
    push(2);
    remove(1);
    remove(1);
    EXPECT_EQ(watchers.infos(0, false).size(), 1U);
    EXPECT_EQ(kept(), 0);
    end();
    EXPECT_TRUE(watchers.infos(0, false).empty());
    EXPECT_FALSE(watchers.hasReady());
}

TEST_F(WatchersTest, WatcherThatWantsNoMoreValuesIsRemoved) {
    add(1);
    push(1);
    push(2);
    begin();
    end(false);
    EXPECT_TRUE(watchers.infos(0, false).empty());
    EXPECT_EQ(kept(), 0);
}

TEST_F(WatchersTest, EachChangeIsCountedOnceForEachWatcher) {
    watchers.queue = {3, DropOldest};
    add(1, 100);
    for (int i = 1; i <= 10; ++i) {
        push(i);
        const WatcherInfo info = watchers.infos(0, false).at(0);
        EXPECT_EQ(info.delivered + info.dropped + info.conflated + info.queued,
                  static_cast<std::uint64_t>(i) + 1);
        if (i % 4 == 0) {
            begin();
            end();
        }
    }
    EXPECT_EQ(watchers.infos(0, false).at(0).clientId, "1");
}

TEST_F(WatchersTest, SmallerBoundAppliesWithTheNextChange) {
    add(1);
    for (int i = 1; i <= 10; ++i) {
        push(i);
    }
    watchers.queue = {2, DropOldest};
    push(11);
    EXPECT_EQ(all(), (Numbers{10, 11}));
}

}  // namespace
}  // namespace kova::kit::detail
