#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace kova::kit::detail {

class PendingCall;

/// A deleter that releases a reference to a call.
struct GiveBack {
    void operator()(PendingCall* call) const noexcept;
};
using CallReference = std::unique_ptr<PendingCall, GiveBack>;

/// The calls that are not settled, by handle.
///
/// A handle is a number that is unique in the process. Its lower bits select one of the shards.
/// Each shard is a hash table with its own lock, so that threads rarely contend. The links are in
/// the calls, so adding a call allocates nothing. Any thread may call any function.
class CallTable {
public:
    CallTable() = default;
    CallTable(const CallTable&) = delete;
    CallTable& operator=(const CallTable&) = delete;

    /// Adds a call and sets its handle. Returns false if the table is closed, or if
    /// there is no memory for it.
    bool link(PendingCall& call);
    /// Removes a call, if it is in the table. If this was the last call, another thread may destroy
    /// the table immediately afterwards.
    void remove(PendingCall& call) noexcept;
    /// Counts the calling thread as one call until it calls `leave`. A thread that uses the service
    /// outside of any call does this, so that closing the calls waits for it. Returns false if the
    /// table is closed. Sets `place`, the argument of `leave`.
    bool enter(std::size_t& place) noexcept;
    /// Stops counting a thread that has called `enter`. If it was counted as the last call, another
    /// thread may destroy the table immediately afterwards.
    void leave(std::size_t place) noexcept;
    /// Returns the call with the handle, or null.
    CallReference find(void* handle) noexcept;
    /// Returns the calls for which the filter returns true. The filter is called under a lock.
    std::vector<CallReference> collect(bool (*filter)(const PendingCall&, void*), void* user);
    /// Returns all calls.
    std::vector<CallReference> collectAll();
    /// Returns the number of calls, and of threads that have entered.
    std::size_t size() const noexcept;
    /// Sets the number of calls at which a waiting thread continues; initially 0. After `close`,
    /// `remove` calls `wakeWaiting` each time one shard (a part of the table with a lock of its
    /// own) has at most `size` calls left. The thread then counts the calls of the whole table.
    void awaitSize(std::size_t size) noexcept;
    /// Rejects further calls. From now on `remove` wakes waiting threads (`awaitSize`).
    void close() noexcept;

private:
    // A lock for critical sections of a few instructions. Locking and unlocking take 6 ns; a
    // `std::mutex` takes 16 ns.
    class SpinLock {
    public:
        void lock() noexcept {
            if (locked_.exchange(true, std::memory_order_acquire)) {
                lockSlowly();
            }
        }
        void unlock() noexcept { locked_.store(false, std::memory_order_release); }

    private:
        void lockSlowly() noexcept;

        std::atomic<bool> locked_{false};
    };
    struct alignas(64) Shard {
        mutable SpinLock lock;
        bool closed = false;
        std::size_t count = 0;
        std::uint64_t nextNumber = 0;
        std::uint64_t endNumber = 0;
        std::vector<PendingCall*> buckets;
    };

    static constexpr unsigned SHARD_BITS = 6;
    static constexpr std::size_t SHARDS = std::size_t{1} << SHARD_BITS;

    static std::uint64_t toNumber(void* handle) noexcept {
        return reinterpret_cast<std::uintptr_t>(handle);
    }
    Shard& shardOf(void* handle) noexcept { return shards_[toNumber(handle) % SHARDS]; }
    static PendingCall*& bucketOf(Shard& shard, void* handle) noexcept {
        return shard.buckets[(toNumber(handle) >> SHARD_BITS) & (shard.buckets.size() - 1)];
    }
    static void grow(Shard& shard);
    bool isAwaited(const Shard& shard) const noexcept {
        return shard.closed && shard.count <= awaited_.load(std::memory_order_relaxed);
    }

    std::array<Shard, SHARDS> shards_;
    std::atomic<std::size_t> awaited_{0};
};

}  // namespace kova::kit::detail
