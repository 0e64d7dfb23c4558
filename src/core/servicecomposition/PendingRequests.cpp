#include "servicecomposition/PendingRequests.h"

#include <mutex>
#include <utility>

namespace kova::detail {

void PendingRequests::add(void* serviceHandle, void* resourceHandle, IResourceHandler* handler) {
    // Set before locking so that a concurrent remove() takes the slow path; set again under the
    // lock because another thread may have cleared it meanwhile.
    mayHoldEntries_.store(true, std::memory_order_release);
    const std::lock_guard<osal::Mutex> guard(mutex_);
    if (spare_.empty()) {
        table_.emplace(serviceHandle, Entry{resourceHandle, handler});
    } else {
        spare_.key() = serviceHandle;
        spare_.mapped() = {resourceHandle, handler};
        spare_ = table_.insert(std::move(spare_)).node;
    }
    mayHoldEntries_.store(true, std::memory_order_release);
}

std::optional<PendingRequests::Entry> PendingRequests::take(void* serviceHandle) noexcept {
    Table::node_type former;  // destroyed after the mutex is unlocked
    const std::lock_guard<osal::Mutex> guard(mutex_);
    Table::node_type node = table_.extract(serviceHandle);
    mayHoldEntries_.store(!table_.empty(), std::memory_order_release);
    if (node.empty()) {
        return std::nullopt;
    }
    const Entry entry = node.mapped();
    former = std::exchange(spare_, std::move(node));
    return entry;
}

PendingRequests::Table PendingRequests::takeAll() noexcept {
    Table taken;
    const std::lock_guard<osal::Mutex> guard(mutex_);
    taken.swap(table_);
    mayHoldEntries_.store(false, std::memory_order_release);
    return taken;
}

}  // namespace kova::detail
