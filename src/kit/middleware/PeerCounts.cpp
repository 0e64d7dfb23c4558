#include "middleware/PeerCounts.h"

#include <functional>
#include <new>

#include "kova/kit/resources/BlockPool.h"

namespace kova::kit::detail {

struct PeerCounts::Count {
    Count(const Peer& peer, std::size_t hash) : peer(peer), hash(hash) {}

    const Peer peer;
    const std::size_t hash;
    std::size_t number = 1;
    Count* next = nullptr;
};

namespace {

std::size_t hashOf(const Peer& peer) noexcept {
    constexpr std::size_t PRIME = 1'000'003;
    std::size_t hash = std::hash<std::string>()(peer.address);
    hash = hash * PRIME ^ static_cast<std::size_t>(peer.uid);
    hash = hash * PRIME ^ static_cast<std::size_t>(peer.pid);
    return hash ^ (hash >> 32U);
}

bool isSame(const Peer& a, const Peer& b) noexcept {
    return a.uid == b.uid && a.pid == b.pid && a.address == b.address;
}

void destroy(PeerCounts::Count* count) noexcept {
    count->~Count();
    releaseBlock(count);
}

}  // namespace

PeerCounts::~PeerCounts() {
    for (Shard& shard : shards_) {
        while (shard.first != nullptr) {
            Count* const count = shard.first;
            shard.first = count->next;
            destroy(count);
        }
    }
}

PeerCounts::Count* PeerCounts::add(const Peer& peer, std::size_t limit) {
    const std::size_t hash = hashOf(peer);
    Shard& shard = shards_[hash % SHARDS];
    const std::lock_guard<std::mutex> guard(shard.mutex);
    for (Count* count = shard.first; count != nullptr; count = count->next) {
        if (count->hash == hash && isSame(count->peer, peer)) {
            if (count->number >= limit) {
                return nullptr;
            }
            ++count->number;
            return count;
        }
    }
    if (limit == 0) {
        return nullptr;
    }
    void* const memory = allocateBlock(sizeof(Count));
    Count* count = nullptr;
    try {
        count = ::new (memory) Count(peer, hash);
    } catch (...) {
        releaseBlock(memory);
        throw;
    }
    count->next = shard.first;
    shard.first = count;
    return count;
}

void PeerCounts::remove(Count* count) noexcept {
    Shard& shard = shards_[count->hash % SHARDS];
    const std::lock_guard<std::mutex> guard(shard.mutex);
    if (--count->number != 0) {
        return;
    }
    Count** at = &shard.first;
    while (*at != count) {
        at = &(*at)->next;
    }
    *at = count->next;
    destroy(count);
}

std::size_t PeerCounts::size() const {
    std::size_t size = 0;
    for (const Shard& shard : shards_) {
        const std::lock_guard<std::mutex> guard(shard.mutex);
        for (const Count* count = shard.first; count != nullptr; count = count->next) {
            ++size;
        }
    }
    return size;
}

}  // namespace kova::kit::detail
