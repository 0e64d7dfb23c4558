#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kova/kit/StreamOptions.h"
#include "kova/kit/resources/Change.h"
#include "resources/Exchange.h"

namespace kova::kit::detail {

/// A client that watches a stream. The lock of the hub guards the members that are marked
/// "Guarded". The other members do not change.
struct Watcher {
    std::shared_ptr<Exchange> exchange;
    StreamFormat format = StreamFormat::json;
    std::uint64_t id = 0;
    std::string clientId;
    Peer peer;

    /// A value that the watcher gets before the change at its cursor, or null. Guarded.
    std::shared_ptr<Change> snapshot;
    /// The number of the change that the watcher gets next. Guarded.
    std::uint64_t cursor = 0;
    std::uint64_t delivered = 0;  ///< Guarded.
    std::uint64_t conflated = 0;  ///< Guarded.
    std::uint64_t dropped = 0;    ///< Guarded.
    std::uint64_t lost = 0;       ///< Changes dropped since the last value. Guarded.
    std::int64_t since = 0;       ///< The time when the receiver was called. Guarded.
    std::size_t slot = 0;         ///< The thread that calls its receiver. Guarded.
    std::uint64_t visit = 0;      ///< The visit of that thread. Guarded.
    bool isBusy = false;          ///< Whether a thread is calling the receiver. Guarded.
    bool isGone = false;          ///< Whether the visiting thread must remove it. Guarded.
    bool hasValue = false;        ///< Whether it has got a value. Used by the visiting thread.
};

/// Objects that are destroyed after the lock of the hub has been released.
struct Garbage {
    std::list<Watcher> watchers;
    std::shared_ptr<Change> change;
    std::vector<std::shared_ptr<Change>> changes;

    void add(std::shared_ptr<Change>&& last) {
        if (!last) {
            return;  // a visit owns the change
        }
        if (!change) {
            change = std::move(last);
        } else {
            changes.push_back(std::move(last));
        }
    }
    void clear() noexcept {
        watchers.clear();
        change.reset();
        changes.clear();
    }
};

/// The watchers of a stream, and the changes that at least one watcher has not got yet. The changes
/// are in one list, and each watcher has a cursor into it.
///
/// A new change costs no work for each watcher, and no memory is allocated for each watcher and
/// value. Each change counts the cursors that point to it, and is released when the last watcher
/// has passed it. The list has at most `StreamQueue::bound` changes. When one more is added, the
/// oldest change is released. The watchers whose cursors pointed to it find out at their next visit
/// that they have fallen behind.
///
/// Not synchronized: the hub has a lock.
class Watchers {
public:
    using Iterator = std::list<Watcher>::iterator;

    /// The state of a visit: a thread delivers one value to one watcher.
    struct Visit {
        Iterator watcher;
        std::shared_ptr<Change> change;  ///< Null if the watcher is disconnected.
        std::uint64_t lost = 0;          ///< The changes dropped since the last value.
        bool isRunning = false;          ///< Between `begin` and `end`.
        bool isOpen = false;             ///< Set by the visiting thread: the receiver wants more.
    };

    StreamQueue queue;

    /// Adds a watcher that gets `watcher.snapshot`, if there is one, and then later changes.
    void add(Watcher&& watcher);
    /// Adds a change, which all watchers will get.
    void push(std::shared_ptr<Change> change, Garbage& garbage);
    /// Returns whether adding a change would release the oldest change before all watchers have got
    /// it.
    bool isFull() const noexcept { return changes_.size() >= queue.bound; }
    bool isEmpty() const noexcept { return byId_.empty(); }
    bool isHalfEmpty() const noexcept { return changes_.size() <= queue.bound / 2; }
    /// Returns whether a value waits for a watcher that no thread visits.
    bool hasReady() const noexcept { return !ready_.empty(); }

    /// Begins the visit of the next watcher. `snapshot` is the whole value, list or map, or null
    /// for events. With `incremental`, a watcher that has lost a change needs the snapshot.
    void begin(Visit& visit, const std::shared_ptr<Change>& snapshot, bool incremental,
               Garbage& garbage);
    /// Returns whether the next visit needs the snapshot.
    bool nextNeedsSnapshot(bool incremental) const noexcept;
    /// Ends a visit.
    void end(Visit& visit, Garbage& garbage);
    /// Removes a watcher, if it is still in the list. If a thread is visiting the watcher, that
    /// thread removes it at the end of the visit.
    void remove(std::uint64_t id, Garbage& garbage);

    /// Returns the exchanges of the watchers that have not got the oldest change.
    std::vector<std::shared_ptr<Exchange>> slowest() const;
    /// Returns the exchange of the watcher that the thread of the slot is visiting, or null if this
    /// visit has ended.
    std::shared_ptr<Exchange> visited(std::size_t slot, std::uint64_t visit) const;
    std::vector<WatcherInfo> infos(std::int64_t now, bool incremental) const;

private:
    struct Entry {
        std::shared_ptr<Change> change;
        /// The number of watchers whose cursors point to this change.
        std::size_t cursors;
    };

    std::uint64_t endNumber() const noexcept { return first_ + changes_.size(); }
    std::size_t& cursorsAt(std::uint64_t number) noexcept {
        return number == endNumber() ? atEnd_ : changes_[number - first_].cursors;
    }
    bool dropsOldest(bool incremental) const noexcept {
        return queue.whenFull == DropOldest && !incremental;
    }
    WatcherInfo infoOf(const Watcher& watcher, std::int64_t now, bool incremental) const;
    void move(Watcher& watcher, std::uint64_t cursor, Garbage& garbage);
    void leave(const Watcher& watcher) noexcept;
    void releaseOldest(Garbage& garbage);
    void popOldest(Garbage& garbage);
    std::shared_ptr<Change> catchUp(Watcher& watcher, const std::shared_ptr<Change>& snapshot,
                                    bool incremental, Garbage& garbage);
    void erase(std::list<Watcher>& list, Iterator watcher, Garbage& garbage);
    void markGone(Watcher& watcher, Garbage& garbage);

    std::deque<Entry> changes_;
    /// The number of the oldest change in the list.
    std::uint64_t first_ = 0;
    /// The number of watchers whose cursor has passed the newest change.
    std::size_t atEnd_ = 0;
    std::list<Watcher> idle_;
    std::list<Watcher> ready_;
    std::list<Watcher> busy_;
    std::unordered_map<std::uint64_t, Iterator> byId_;
};

/// Returns the monotonic time in nanoseconds, with a resolution of about 4 ms. Takes about 5 ns.
std::int64_t coarseTime() noexcept;

}  // namespace kova::kit::detail
