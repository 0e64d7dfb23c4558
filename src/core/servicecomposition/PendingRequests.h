#pragma once

#include <atomic>
#include <map>
#include <optional>

#include "kova/core/IResourceHandler.h"
#include "osal/Mutex.h"

namespace kova::detail {

/// The pending requests of a service, by service handle.
///
/// Any thread may use it. The mutex guards the table alone and is never held while other code is
/// called.
class PendingRequests {
public:
    /// What is needed to cancel a request. The handler is borrowed.
    struct Entry {
        void* resourceHandle;
        IResourceHandler* handler;
    };
    /// Entries by service handle.
    using Table = std::map<void*, Entry>;

    /// Stores the entry of a resource handle and its handler. An entry that the service handle
    /// already has is kept.
    void add(void* serviceHandle, void* resourceHandle, IResourceHandler* handler);
    /// Removes the entry of the handle. Returns whether there was one.
    bool remove(void* serviceHandle) noexcept {
        // Fast path: a request that is answered inside its handler is not stored yet. While no
        // request is stored, threads do not wait for each other: two threads would take twice the
        // time.
        return mayHoldEntries_.load(std::memory_order_acquire) && take(serviceHandle).has_value();
    }
    /// Removes and returns the entry of the handle, if there is one.
    std::optional<Entry> take(void* serviceHandle) noexcept;
    /// Removes and returns all entries.
    Table takeAll() noexcept;

private:
    osal::Mutex mutex_{false};
    Table table_;
    /// The node that the next entry reuses. While one request at a time is pending, no entry is
    /// allocated, which saves a sixth of the time of a request that is answered later.
    Table::node_type spare_;
    /// False only while the table is empty and no thread is adding to it. Read without the mutex.
    std::atomic<bool> mayHoldEntries_{false};
};

}  // namespace kova::detail
