#include "servicecomposition/PendingRequests.h"

#include <mutex>

namespace kova::detail {

void PendingRequests::add(void* serviceHandle, const Entry& entry) {
    // Set before locking so that a concurrent remove() takes the slow path; set again under the
    // lock because another thread may have cleared it meanwhile.
    mayHoldEntries_.store(true, std::memory_order_release);
    const std::lock_guard<osal::Mutex> guard(mutex_);
    table_.emplace(serviceHandle, entry);
    mayHoldEntries_.store(true, std::memory_order_release);
}

bool PendingRequests::erase(void* serviceHandle) noexcept {
    const std::lock_guard<osal::Mutex> guard(mutex_);
    const bool found = table_.erase(serviceHandle) != 0;
    mayHoldEntries_.store(!table_.empty(), std::memory_order_release);
    return found;
}

std::optional<PendingRequests::Entry> PendingRequests::take(void* serviceHandle) noexcept {
    Table::node_type node;  // destroyed after the mutex is unlocked
    const std::lock_guard<osal::Mutex> guard(mutex_);
    node = table_.extract(serviceHandle);
    mayHoldEntries_.store(!table_.empty(), std::memory_order_release);
    return node.empty() ? std::nullopt : std::optional<Entry>(node.mapped());
}

PendingRequests::Table PendingRequests::takeAll() noexcept {
    Table taken;
    const std::lock_guard<osal::Mutex> guard(mutex_);
    taken.swap(table_);
    mayHoldEntries_.store(false, std::memory_order_release);
    return taken;
}

}  // namespace kova::detail
