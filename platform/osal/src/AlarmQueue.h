#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "osal/Alarm.h"
#include "osal/Clock.h"

namespace osal {

/// The armed alarms, the next one first: a binary heap in which each alarm knows its position, so
/// that it can be taken out from anywhere in O(log n).
///
/// Not thread-safe. Each alarm is in it at most once.
class AlarmQueue {
public:
    /// The position of an alarm that is not in the queue.
    static constexpr std::size_t NOWHERE = static_cast<std::size_t>(-1);

    /// Makes room for `count` alarms; `insert` needs no memory as long as there are no more.
    void reserve(std::size_t count);

    bool empty() const noexcept { return heap_.empty(); }
    /// The alarm that is due first, of those due at the same time the one inserted first; not to be
    /// called on an empty queue.
    Alarm& first() const noexcept { return *heap_.front().alarm; }
    /// When it is due.
    Clock::TimePoint firstDue() const noexcept { return heap_.front().due; }

    /// Puts an alarm in that is not there.
    void insert(Alarm& alarm, Clock::TimePoint due);
    /// Takes an alarm out; one that is not there is left alone.
    void remove(Alarm& alarm) noexcept;
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
