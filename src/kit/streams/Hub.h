#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kova/kit/resources/Streaming.h"
#include "resources/Served.h"
#include "streams/DeliveryPool.h"
#include "streams/Watchers.h"

namespace kova::kit::detail {

/// The shared state of an `Observable` or another stream: the data, the watchers and the changes.
///
/// One mutex guards the data and the watchers. It is not held while the hub calls a function of the
/// user, of an exchange or of the pool. A change wakes at most one thread of the pool. The thread
/// visits one watcher after the other, each with one change, and holds the lock once for each
/// visit. The thread stays inside the gate for several visits, so closing the gate waits for the
/// thread.
class Hub final : public Served, public PooledTask {
public:
    Hub(std::shared_ptr<StreamSource> source, const StreamQueue& queue);

    /// @{
    /// The implementations of the functions `publish` and `readLocked` in `Streaming.h`.
    bool publish(std::shared_ptr<Change> change, bool (*apply)(void*), void* user);
    void read(void (*function)(void*), void* user) const;
    /// @}

    void setBound(std::size_t bound);
    void setPolicy(WhenFull policy);
    void setPatience(std::chrono::milliseconds patience);
    StreamQueue queue() const;
    std::vector<WatcherInfo> watchers() const;
    bool isWatched() const;

    std::vector<Operation> operations() const override;
    void deliver(DeliverySlot& slot) override;
    void release() override;
    void disconnect(std::size_t slot, std::uint64_t visit) override;

private:
    using Lock = std::unique_lock<std::mutex>;

    std::shared_ptr<Exchange> serve(Incoming incoming) override;
    void stopping() noexcept override;

    std::shared_ptr<Exchange> dispatch(const Incoming& incoming, ResponseHandler& handler);
    std::shared_ptr<Exchange> watch(const Ask& ask, ResponseHandler& handler, StreamFormat format);
    Result<Response> retrieve(const Ask& ask, StreamFormat format);
    Error refuseCommand(const Ask& ask) const;

    std::vector<std::shared_ptr<Exchange>> waitForSpace(Lock& lock);
    void wakeSetters() noexcept;
    void remove(std::uint64_t id);
    void submitIfReady();
    bool goOn(Watchers::Visit& visit, DeliverySlot& slot, std::size_t& left, Garbage& garbage);
    StreamQueue announcedQueue() const;
    bool send(const Watchers::Visit& visit) const;
    std::shared_ptr<Change> snapshotLocked();

    const std::shared_ptr<StreamSource> source_;
    mutable std::mutex mutex_;
    std::condition_variable space_;
    Watchers watchers_;
    /// The whole value, list or map after the latest change, or null. Created when a watcher needs
    /// it.
    std::shared_ptr<Change> snapshot_;
    std::chrono::milliseconds patience_{1000};
    std::atomic<std::uint64_t> lastId_{0};
    std::size_t waiting_ = 0;
    /// Whether the threads that wait in `set` were already notified. Avoids a second notification,
    /// which is a system call.
    bool isNotified_ = false;
    /// Whether the task is submitted to the pool.
    bool isScheduled_ = false;
    bool isClosed_ = false;
};

}  // namespace kova::kit::detail
