#include "calls/Deadlines.h"

#include <algorithm>
#include <string>
#include <vector>

#include "calls/CallTable.h"
#include "calls/PendingCall.h"
#include "calls/Threads.h"

namespace kova::kit::detail {

namespace {

constexpr std::chrono::milliseconds SHORTEST_PAUSE{1};

struct Search {
    Deadlines::TimePoint now;
    Deadlines::TimePoint next;
};

// A filter for the table: returns whether the deadline of the call has passed. If not, records the
// deadline if it is the earliest one so far.
bool isOver(const PendingCall& call, void* user) {
    auto& search = *static_cast<Search*>(user);
    const Deadlines::TimePoint due = call.deadline();
    if (due <= search.now) {
        return true;
    }
    search.next = std::min(search.next, due);
    return false;
}

}  // namespace

Deadlines::Deadlines(CallTable& table, osal::Clock* clock) : table_(table), clock_(clock) {
    if (clock != nullptr) {
        ownTimer_ = std::make_unique<osal::AlarmTimer>(*clock);
    }
}

void Deadlines::prepare() {
    std::call_once(prepared_, [this] {
        osal::AlarmTimer& timer = ownTimer_ ? *ownTimer_ : osal::Alarm::DEFAULT_TIMER;
        alarm_ = std::make_unique<osal::Alarm>(
            timer, [](void* user) { static_cast<Deadlines*>(user)->expired(); }, this);
        probe_ = std::make_unique<osal::Alarm>(
            timer, [](void*) { thisThread().callsAlarms = true; }, nullptr);
        static_cast<void>(probe_->arm(std::chrono::milliseconds(0)));
    });
}

void Deadlines::add(TimePoint due) {
    prepare();
    if (due.time_since_epoch().count() >= earliest_.load(std::memory_order_relaxed)) {
        return;
    }
    arm(due, now());
}

void Deadlines::arm(TimePoint due, TimePoint now) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (due.time_since_epoch().count() >= earliest_.load(std::memory_order_relaxed)) {
        return;
    }
    earliest_.store(due.time_since_epoch().count(), std::memory_order_relaxed);
    // `arm` fails only in a child process of fork(2) that cannot start a thread.
    static_cast<void>(alarm_->arm(std::chrono::ceil<std::chrono::milliseconds>(due - now)));
}

// If a call is added during the search of the table, either the search finds the call, or `add`
// compares its deadline with the value that was stored before the search. The lock of the shard
// determines which of the two happens.
void Deadlines::expired() {
    const TimePoint begin = now();
    earliest_.store(TimePoint::max().time_since_epoch().count(), std::memory_order_relaxed);
    Search search{begin, TimePoint::max()};
    for (const CallReference& call : table_.collect(isOver, &search)) {
        call->end(End::Kind::timedOut,
                  {statuscodes::GATEWAY_TIMEOUT, "no answer within " +
                                                     std::to_string(call->timeout().count()) +
                                                     " ms to " + call->describe()});
    }
    if (search.next != TimePoint::max()) {
        const TimePoint end = now();
        const auto pause = std::max<TimePoint::duration>(SHORTEST_PAUSE, 9 * (end - begin));
        arm(std::max(search.next, end + pause), end);
    }
}

}  // namespace kova::kit::detail
