#pragma once

#include <array>
#include <cstddef>
#include <mutex>

#include "kova/kit/Peer.h"

namespace kova::kit::detail {

/// Counts the requests of each peer. A peer is identified by a user, a process and an address.
///
/// A count exists only while it is not 0, so there are at most as many counts as requests. The
/// counts are in a hash table whose shards have separate locks. Any thread may call any function.
class PeerCounts {
public:
    /// The count of one peer.
    struct Count;

    PeerCounts() = default;
    ~PeerCounts();
    PeerCounts(const PeerCounts&) = delete;
    PeerCounts& operator=(const PeerCounts&) = delete;

    /// Adds 1 to the count of the peer. Returns the count, for `remove`. If the count has already
    /// reached `limit`, returns null.
    Count* add(const Peer& peer, std::size_t limit);
    /// Subtracts 1 from the count. Removes the count if it is then 0.
    void remove(Count* count) noexcept;
    /// Returns the number of peers whose count is not 0.
    std::size_t size() const;

private:
    static constexpr std::size_t SHARDS = 256;
    struct Shard {
        mutable std::mutex mutex;
        Count* first = nullptr;
    };

    std::array<Shard, SHARDS> shards_;
};

}  // namespace kova::kit::detail
