#include "calls/CallTable.h"

#include <sched.h>

#include <mutex>
#include <new>

#include "calls/PendingCall.h"
#include "calls/Threads.h"

namespace kova::kit::detail {

namespace {

static_assert(sizeof(void*) >= sizeof(std::uint64_t), "a handle holds a number of 64 bits");

// The number of handles that a shard reserves at once.
constexpr std::uint64_t CHUNK = 4096;
constexpr std::size_t SMALLEST_TABLE = 8;

std::uint64_t takeNumbers() noexcept {
    static std::atomic<std::uint64_t> next{1};  // no request has the handle 0
    return next.fetch_add(CHUNK, std::memory_order_relaxed);
}

// Returns the shard for the next call of the current thread. Successive calls of a thread are in
// different shards, so threads that cancel them rarely contend.
std::size_t nextShard() noexcept {
    ThreadRecord& thread = thisThread();
    return thread.id * std::size_t{7} + thread.calls++;
}

}  // namespace

void GiveBack::operator()(PendingCall* call) const noexcept {
    call->release();
}

void CallTable::SpinLock::lockSlowly() noexcept {
    do {
        for (int spin = 0; locked_.load(std::memory_order_relaxed); ++spin) {
            if (spin > 100) {
                sched_yield();
            }
        }
    } while (locked_.exchange(true, std::memory_order_acquire));
}

void CallTable::grow(Shard& shard) {
    std::vector<PendingCall*> former(shard.buckets.empty() ? SMALLEST_TABLE
                                                           : 2 * shard.buckets.size());
    former.swap(shard.buckets);
    for (PendingCall* call : former) {
        while (call != nullptr) {
            PendingCall* const next = call->nextInTable;
            PendingCall*& bucket = bucketOf(shard, call->handle);
            call->nextInTable = bucket;
            bucket = call;
            call = next;
        }
    }
}

bool CallTable::link(PendingCall& call) {
    const std::size_t index = nextShard() % SHARDS;
    Shard& shard = shards_[index];
    const std::lock_guard<SpinLock> guard(shard.lock);
    if (shard.closed) {
        return false;
    }
    if (shard.count >= shard.buckets.size()) {
        try {
            grow(shard);
        } catch (const std::bad_alloc&) {
            if (shard.buckets.empty()) {
                return false;
            }  // otherwise the shard keeps its buckets, and their lists become longer
        }
    }
    if (shard.nextNumber == shard.endNumber) {
        shard.nextNumber = takeNumbers();
        shard.endNumber = shard.nextNumber + CHUNK;
    }
    // A handle is a number in the form of a pointer, which is never dereferenced.
    const std::uint64_t number = (shard.nextNumber++ << SHARD_BITS) | index;
    call.handle = reinterpret_cast<void*>(number);  // NOLINT(performance-no-int-to-ptr)
    PendingCall*& bucket = bucketOf(shard, call.handle);
    call.nextInTable = bucket;
    bucket = &call;
    ++shard.count;
    return true;
}

void CallTable::remove(PendingCall& call) noexcept {
    bool isLast = false;
    {
        Shard& shard = shardOf(call.handle);
        const std::lock_guard<SpinLock> guard(shard.lock);
        PendingCall** at = &bucketOf(shard, call.handle);
        while (*at != nullptr && *at != &call) {
            at = &(*at)->nextInTable;
        }
        if (*at == nullptr) {
            return;
        }
        *at = call.nextInTable;
        --shard.count;
        isLast = isAwaited(shard);
    }
    if (isLast) {
        wakeWaiting();
    }
}

bool CallTable::enter(std::size_t& place) noexcept {
    place = nextShard() % SHARDS;
    Shard& shard = shards_[place];
    const std::lock_guard<SpinLock> guard(shard.lock);
    shard.count += shard.closed ? 0 : 1;
    return !shard.closed;
}

void CallTable::leave(std::size_t place) noexcept {
    bool isLast = false;
    {
        Shard& shard = shards_[place];
        const std::lock_guard<SpinLock> guard(shard.lock);
        --shard.count;
        isLast = isAwaited(shard);
    }
    if (isLast) {
        wakeWaiting();
    }
}

// No wake-up is lost, because `remove` and the count of the calls both lock the shard. Either the
// thread that calls `awaitSize` and then counts the calls sees that the call is removed, or
// `remove` sees the new size.
void CallTable::awaitSize(std::size_t size) noexcept {
    std::size_t former = awaited_.load(std::memory_order_relaxed);
    while (former < size &&
           !awaited_.compare_exchange_weak(former, size, std::memory_order_relaxed)) {
    }
}

CallReference CallTable::find(void* handle) noexcept {
    Shard& shard = shardOf(handle);
    const std::lock_guard<SpinLock> guard(shard.lock);
    PendingCall* call = shard.buckets.empty() ? nullptr : bucketOf(shard, handle);
    while (call != nullptr && call->handle != handle) {
        call = call->nextInTable;
    }
    if (call != nullptr) {
        call->hold();
    }
    return CallReference(call);
}

std::vector<CallReference> CallTable::collect(bool (*filter)(const PendingCall&, void*),
                                              void* user) {
    std::vector<CallReference> found;
    for (Shard& shard : shards_) {
        const std::lock_guard<SpinLock> guard(shard.lock);
        for (PendingCall* call : shard.buckets) {
            for (; call != nullptr; call = call->nextInTable) {
                if (filter(*call, user)) {
                    call->hold();
                    found.emplace_back(call);
                }
            }
        }
    }
    return found;
}

std::vector<CallReference> CallTable::collectAll() {
    return collect([](const PendingCall&, void*) { return true; }, nullptr);
}

// The counts are read under the locks, so a thread whose removed call is no longer counted has also
// stopped using the table.
std::size_t CallTable::size() const noexcept {
    std::size_t size = 0;
    for (const Shard& shard : shards_) {
        const std::lock_guard<SpinLock> guard(shard.lock);
        size += shard.count;
    }
    return size;
}

void CallTable::close() noexcept {
    for (Shard& shard : shards_) {
        const std::lock_guard<SpinLock> guard(shard.lock);
        shard.closed = true;
    }
}

}  // namespace kova::kit::detail
