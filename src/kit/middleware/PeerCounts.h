#pragma once

#include <array>
#include <cstddef>
#include <mutex>

#include "kova/kit/Peer.h"

namespace kova::kit::detail {

/// The numbers of requests of peers. A peer is a user, a process and an address.
///
/// A number exists while it is not 0, so there are at most as many as requests. They are in a hash
/// table of separate locks. Any thread may call any function.
class PeerCounts {
public:
    /// The number of one peer.
    struct Count;

    PeerCounts() = default;
    ~PeerCounts();
    PeerCounts(const PeerCounts&) = delete;
    PeerCounts& operator=(const PeerCounts&) = delete;

    /// Adds 1 to the number of the peer and returns it for `remove`, or returns null if the number
    /// is `limit` already.
    Count* add(const Peer& peer, std::size_t limit);
    /// Subtracts 1.
    void remove(Count* count) noexcept;
    /// Returns the number of peers whose number is not 0.
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
