// The part of the hub that runs on threads of the pool.
#include <cstdint>
#include <string>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "streams/Hub.h"
#include "streams/Refusals.h"

namespace kova::kit::detail {

namespace {

/// The number of visits after which a thread continues with another stream.
constexpr std::size_t VISITS = 256;

template <typename T>
void addEntry(Response& response, char const* key, const T& value) {
    if (Result<Tree> tree = toTree(value)) {
        response.add2header(key, tree->release());
    }
}

}  // namespace

void Hub::deliver(DeliverySlot& slot) {
    const Gate::Entry entry(gate());
    if (!entry) {
        return;
    }
    Watchers::Visit visit;
    Garbage garbage;
    std::size_t left = VISITS;
    while (goOn(visit, slot, left, garbage)) {
        garbage.clear();
        visit.isOpen = send(visit);
        slot.leave();
    }
    if (!slot.ownsTask.load(std::memory_order_relaxed)) {
        submitIfReady();
    }
}

// Called after the pool has taken the task away from this thread. The last watcher that this thread
// visited may have new values, for which the task must be submitted.
void Hub::submitIfReady() {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (isClosed_ || !watchers_.hasReady() || std::exchange(isScheduled_, true)) {
            return;
        }
    }
    DeliveryPool::instance().submit(std::static_pointer_cast<Hub>(shared_from_this()));
}

// Ends a visit and begins the next one. Returns false if this thread has nothing left to do.
bool Hub::goOn(Watchers::Visit& visit, DeliverySlot& slot, std::size_t& left, Garbage& garbage) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (visit.isRunning) {
        watchers_.end(visit, garbage);
        wakeSetters();
    }
    if (left == 0 || !watchers_.hasReady() || !slot.ownsTask.load(std::memory_order_relaxed)) {
        return false;
    }
    --left;
    slot.enter();
    const bool incremental = source_->isIncremental();
    if (watchers_.nextNeedsSnapshot(incremental)) {
        snapshotLocked();
    }
    watchers_.begin(visit, snapshot_, incremental, garbage);
    visit.watcher->slot = slot.number;
    visit.watcher->visit = slot.visit.load(std::memory_order_relaxed);
    visit.watcher->since = coarseTime();
    wakeSetters();
    return true;
}

// Calls the receiver. Returns whether the receiver wants further values.
bool Hub::send(const Watchers::Visit& visit) const {
    const auto watcher = visit.watcher;
    Exchange& exchange = *watcher->exchange;
    if (!visit.change) {
        exchange.abort(disconnected("the receiver did not keep up: its queue is full"));
        return false;
    }
    const Change::Form& form = visit.change->form(watcher->format);
    if (form.failed) {
        exchange.fail(form.response);
        return false;
    }
    if (watcher->hasValue && visit.lost == 0) {
        return exchange.nextWhileHeld(form.response);
    }
    // Each watcher gets a separate header, because the receiver may change it.
    Response response(form.response.getStatusCode(), form.response.getPayload());
    if (!watcher->hasValue) {
        addEntry(response, STREAM_QUEUE, announcedQueue().toString());
    }
    if (visit.lost != 0) {
        addEntry(response, STREAM_LOST, visit.lost);
    }
    return exchange.next(response);
}

// Returns the queue for the header entry `STREAM_QUEUE`. The queue of a transport cannot replace
// changes of a list or map by the whole list or map, so the policy is then `Disconnect`.
StreamQueue Hub::announcedQueue() const {
    StreamQueue announced = queue();
    if (source_->isIncremental() &&
        (announced.whenFull == Conflate || announced.whenFull == DropOldest)) {
        announced.whenFull = Disconnect;
    }
    return announced;
}

void Hub::release() {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        isScheduled_ = false;
    }
    submitIfReady();
}

void Hub::disconnect(std::size_t slot, std::uint64_t visit) {
    std::shared_ptr<Exchange> exchange;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        exchange = watchers_.visited(slot, visit);
    }
    if (exchange) {
        exchange->abort(disconnected("the receiver blocks the delivery of values"));
    }
}

}  // namespace kova::kit::detail
