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

    /// Stores an entry. An entry that the handle already has is kept.
    void add(void* serviceHandle, const Entry& entry);
    /// Removes the entry of the handle. Returns whether there was one.
    bool remove(void* serviceHandle) noexcept;
    /// Removes and returns the entry of the handle, if there is one.
    std::optional<Entry> take(void* serviceHandle) noexcept;
    /// Removes and returns all entries.
    Table takeAll() noexcept;

private:
    osal::Mutex mutex_{false};
    Table table_;
    /// False only while the table is empty and no thread is adding to it. Read without the mutex.
    std::atomic<bool> mayHoldEntries_{false};
};

}  // namespace kova::detail
