#include "streams/Watchers.h"

#include <algorithm>
#include <chrono>
#include <ctime>

namespace kova::kit::detail {

std::int64_t coarseTime() noexcept {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

// --- Changes -------------------------------------------------------------------------------------

void Watchers::push(std::shared_ptr<Change> change, Garbage& garbage) {
    changes_.push_back({std::move(change), atEnd_});
    atEnd_ = 0;
    ready_.splice(ready_.end(), idle_);
    while (changes_.size() > queue.bound) {
        // The watchers whose cursors point to the released change have fallen behind. Their cursors
        // do not change, but from now on the next change counts these watchers.
        changes_[1].cursors += changes_.front().cursors;
        popOldest(garbage);
    }
    releaseOldest(garbage);
}

// Releases the oldest changes, as far as all watchers have passed them.
void Watchers::releaseOldest(Garbage& garbage) {
    while (!changes_.empty() && changes_.front().cursors == 0) {
        popOldest(garbage);
    }
}

void Watchers::popOldest(Garbage& garbage) {
    garbage.add(std::move(changes_.front().change));
    changes_.pop_front();
    ++first_;
}

void Watchers::move(Watcher& watcher, std::uint64_t cursor, Garbage& garbage) {
    leave(watcher);
    watcher.cursor = cursor;
    ++cursorsAt(cursor);
    releaseOldest(garbage);
}

void Watchers::leave(const Watcher& watcher) noexcept {
    --cursorsAt(std::max(watcher.cursor, first_));
}

// --- Watchers ------------------------------------------------------------------------------------

void Watchers::add(Watcher&& watcher) {
    std::list<Watcher>& list = watcher.snapshot ? ready_ : idle_;
    watcher.cursor = endNumber();
    ++atEnd_;
    list.push_back(std::move(watcher));
    byId_.emplace(list.back().id, std::prev(list.end()));
}

void Watchers::remove(std::uint64_t id, Garbage& garbage) {
    const auto found = byId_.find(id);
    if (found == byId_.end()) {
        return;
    }
    const Iterator watcher = found->second;
    if (watcher->isBusy) {
        markGone(*watcher, garbage);
        return;
    }
    const bool isReady = watcher->snapshot || watcher->cursor != endNumber();
    erase(isReady ? ready_ : idle_, watcher, garbage);
}

void Watchers::erase(std::list<Watcher>& list, Iterator watcher, Garbage& garbage) {
    markGone(*watcher, garbage);
    byId_.erase(watcher->id);
    garbage.watchers.splice(garbage.watchers.end(), list, watcher);
}

// Marks a watcher as removed. From now on its cursor and its snapshot keep no change alive.
void Watchers::markGone(Watcher& watcher, Garbage& garbage) {
    if (!std::exchange(watcher.isGone, true)) {
        leave(watcher);
        releaseOldest(garbage);
    }
}

// --- Visits --------------------------------------------------------------------------------------

bool Watchers::nextNeedsSnapshot(bool incremental) const noexcept {
    const Watcher& next = ready_.front();
    return !next.snapshot && next.cursor < first_ &&
           (incremental || queue.whenFull == Conflate || queue.whenFull == Wait);
}

void Watchers::begin(Visit& visit, const std::shared_ptr<Change>& snapshot, bool incremental,
                     Garbage& garbage) {
    busy_.splice(busy_.end(), ready_, ready_.begin());
    visit.watcher = std::prev(busy_.end());
    Watcher& watcher = *visit.watcher;
    watcher.isBusy = true;
    visit.isRunning = true;
    std::shared_ptr<Change> change;
    if (watcher.snapshot) {
        change = std::move(watcher.snapshot);
    } else if (watcher.cursor < first_) {
        change = catchUp(watcher, snapshot, incremental, garbage);
    } else {
        Entry& entry = changes_[watcher.cursor - first_];
        if (visit.change == entry.change) {
            change = std::move(visit.change);
        } else if (entry.cursors == 1 && watcher.cursor == first_) {
            change = std::move(entry.change);  // moved, because no other watcher needs the change
        } else {
            change = entry.change;
        }
        move(watcher, watcher.cursor + 1, garbage);
    }
    if (visit.change) {
        garbage.add(std::move(visit.change));
    }
    visit.change = std::move(change);
    visit.lost = std::exchange(watcher.lost, 0);
    watcher.delivered += visit.change ? 1 : 0;
}

// Returns the next value of a watcher that has fallen behind; null if it is disconnected.
std::shared_ptr<Change> Watchers::catchUp(Watcher& watcher, const std::shared_ptr<Change>& snapshot,
                                          bool incremental, Garbage& garbage) {
    const bool drops = dropsOldest(incremental);
    if (queue.whenFull == Disconnect) {
        move(watcher, endNumber(), garbage);
        return nullptr;
    }
    // The value that the watcher gets next replaces all changes before it.
    const std::uint64_t next = drops ? first_ : endNumber() - 1;
    const std::uint64_t skipped = next - watcher.cursor;
    (drops ? watcher.dropped : watcher.conflated) += skipped;
    watcher.lost += drops || !snapshot ? skipped : 0;
    std::shared_ptr<Change> change = drops || !snapshot ? changes_[next - first_].change : snapshot;
    move(watcher, next + 1, garbage);
    return change;
}

void Watchers::end(Visit& visit, Garbage& garbage) {
    const Iterator watcher = visit.watcher;
    visit.isRunning = false;
    watcher->isBusy = false;
    watcher->hasValue = true;
    if (!visit.isOpen || watcher->isGone) {
        erase(busy_, watcher, garbage);
        return;
    }
    const bool isReady = watcher->snapshot || watcher->cursor != endNumber();
    std::list<Watcher>& list = isReady ? ready_ : idle_;
    list.splice(list.end(), busy_, watcher);
}

std::vector<std::shared_ptr<Exchange>> Watchers::slowest() const {
    std::vector<std::shared_ptr<Exchange>> result;
    for (auto const* const list : {&ready_, &busy_}) {
        for (const Watcher& watcher : *list) {
            if (watcher.cursor <= first_ && !watcher.isGone) {
                result.push_back(watcher.exchange);
            }
        }
    }
    return result;
}

std::shared_ptr<Exchange> Watchers::visited(std::size_t slot, std::uint64_t visit) const {
    const auto found = std::find_if(busy_.begin(), busy_.end(), [&](const Watcher& watcher) {
        return watcher.slot == slot && watcher.visit == visit;
    });
    return found != busy_.end() ? found->exchange : nullptr;
}

std::vector<WatcherInfo> Watchers::infos(std::int64_t now, bool incremental) const {
    std::vector<WatcherInfo> result;
    result.reserve(byId_.size());
    for (auto const* const list : {&idle_, &ready_, &busy_}) {
        for (const Watcher& watcher : *list) {
            result.push_back(infoOf(watcher, now, incremental));
        }
    }
    return result;
}

WatcherInfo Watchers::infoOf(const Watcher& watcher, std::int64_t now, bool incremental) const {
    WatcherInfo info{watcher.clientId, watcher.peer};
    info.delivered = watcher.delivered;
    info.conflated = watcher.conflated;
    info.dropped = watcher.dropped;
    std::uint64_t next = watcher.cursor;
    if (next < first_) {
        // The watcher has fallen behind. Its counts are updated only at its next visit, so the
        // missed changes are added here.
        const bool drops = dropsOldest(incremental) || queue.whenFull == Disconnect;
        next = drops ? first_ : endNumber() - 1;
        (drops ? info.dropped : info.conflated) += next - watcher.cursor;
    }
    info.queued = static_cast<std::size_t>(endNumber() - next) + (watcher.snapshot ? 1 : 0);
    if (watcher.isBusy) {
        info.blocked = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::nanoseconds(now - watcher.since));
    }
    return info;
}

}  // namespace kova::kit::detail
