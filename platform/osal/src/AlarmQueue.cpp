#include "AlarmQueue.h"

#include <algorithm>

// The entries of the heap contain the due times. Therefore moving an entry accesses only the alarms
// whose position changes. `moveUp` and `moveDown` treat `position` as a hole, move the hole, and
// store the entry at its final position.

namespace osal {

void AlarmQueue::reserve(std::size_t count) {
    if (count > heap_.capacity()) {
        heap_.reserve(std::max(count, 2 * heap_.capacity()));
    }
}

void AlarmQueue::insert(Alarm& alarm, Clock::TimePoint due) {
    const Entry entry{due, inserted_++, &alarm};
    heap_.push_back(entry);
    moveUp(heap_.size() - 1, entry);
}

void AlarmQueue::remove(Alarm& alarm) noexcept {
    const std::size_t hole = alarm.position_;
    if (hole == NOWHERE) {
        return;
    }
    alarm.position_ = NOWHERE;
    const Entry last = heap_.back();
    heap_.pop_back();
    if (hole == heap_.size()) {
        return;
    }
    if (hole > 0 && last.isBefore(heap_[(hole - 1) / 2])) {
        moveUp(hole, last);
    } else {
        moveDown(hole, last);
    }
}

void AlarmQueue::clear() noexcept {
    for (const Entry& entry : heap_) {
        entry.alarm->position_ = NOWHERE;
    }
    heap_.clear();
}

void AlarmQueue::place(std::size_t position, const Entry& entry) noexcept {
    heap_[position] = entry;
    entry.alarm->position_ = position;
}

void AlarmQueue::moveUp(std::size_t position, const Entry& entry) noexcept {
    while (position > 0) {
        const std::size_t parent = (position - 1) / 2;
        if (!entry.isBefore(heap_[parent])) {
            break;
        }
        place(position, heap_[parent]);
        position = parent;
    }
    place(position, entry);
}

void AlarmQueue::moveDown(std::size_t position, const Entry& entry) noexcept {
    for (;;) {
        std::size_t child = 2 * position + 1;
        if (child + 1 < heap_.size() && heap_[child + 1].isBefore(heap_[child])) {
            ++child;
        }
        if (child >= heap_.size() || !heap_[child].isBefore(entry)) {
            break;
        }
        place(position, heap_[child]);
        position = child;
    }
    place(position, entry);
}

}  // namespace osal
