#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "osal/Alarm.h"
#include "osal/Clock.h"

namespace osal {

/// A priority queue of the armed alarms, ordered by due time. It is a binary heap in which each
/// alarm stores its position, so that any alarm can be removed in O(log n) time.
///
/// Not thread-safe. An alarm can be in the queue only once.
class AlarmQueue {
public:
    /// The position of an alarm that is not in the queue.
    static constexpr std::size_t NOWHERE = static_cast<std::size_t>(-1);

    /// Reserves capacity for `count` alarms. `insert` does not allocate memory up to that number.
    void reserve(std::size_t count);

    /// Returns whether the queue has no alarms.
    bool empty() const noexcept { return heap_.empty(); }
    /// Returns the alarm that is due first. If several alarms are due at the same time, returns the
    /// one that was inserted first. The queue must not be empty.
    Alarm& first() const noexcept { return *heap_.front().alarm; }
    /// Returns the due time of the first alarm. The queue must not be empty.
    Clock::TimePoint firstDue() const noexcept { return heap_.front().due; }

    /// Inserts an alarm, which must not be in the queue.
    void insert(Alarm& alarm, Clock::TimePoint due);
    /// Removes an alarm. Does nothing if it is not in the queue.
    void remove(Alarm& alarm) noexcept;
    /// Removes all alarms.
    void clear() noexcept;

private:
    struct Entry {
        Clock::TimePoint due;
        std::uint64_t order;
        Alarm* alarm;

        bool isBefore(const Entry& other) const noexcept {
            return due != other.due ? due < other.due : order < other.order;
        }
    };

    void place(std::size_t position, const Entry& entry) noexcept;
    void moveUp(std::size_t position, const Entry& entry) noexcept;
    void moveDown(std::size_t position, const Entry& entry) noexcept;

    std::vector<Entry> heap_;
    std::uint64_t inserted_ = 0;
};

}  // namespace osal
