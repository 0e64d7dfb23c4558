#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "kova/kit/Export.h"
#include "kova/kit/Peer.h"

namespace kova::kit {

namespace detail {
class Hub;
}

/// The policy for a further change when the queue of a watcher is full.
enum WhenFull : std::uint8_t {
    /// `set` and the other functions that change the value wait until there is space, at most for
    /// the patience of the options. Then the watcher is disconnected with 503. Inside a receiver
    /// that a thread of the kit calls, these functions do not wait, and the watcher gets only the
    /// newest change.
    Wait,
    /// All queued changes are replaced by the newest value. For a list or map they are replaced by
    /// the whole list or map.
    Conflate,
    /// The oldest change is dropped. A list or map does the same as for `Conflate`, because its
    /// changes build on each other.
    DropOldest,
    /// The watcher is disconnected with 503.
    Disconnect
};

/// Of the first value of a stream: the bound and the policy of the queue in front of this watcher,
/// such as "16 conflate". The words of the policies are "wait", "conflate", "drop-oldest" and
/// "disconnect". An endpoint that has a queue of its own for the stream adopts both, and removes
/// the entry. A list or map names "disconnect" in place of the two policies that drop changes,
/// because its changes build on each other and only the list or map itself can replace them.
constexpr char const* STREAM_QUEUE = "$stream-queue";
/// Of a value that follows dropped changes: the number of changes that were dropped since the value
/// before it.
constexpr char const* STREAM_LOST = "$stream-lost";

/// The bound and the policy of a queue.
///
///     const kova::kit::StreamQueue queue{16, kova::kit::Conflate};
///     queue.toString();  // "16 conflate"
struct StreamQueue {
    /// The number of changes that may wait for one watcher; at least 1.
    std::size_t bound = 16;
    /// The policy when more come.
    WhenFull whenFull = Conflate;

    /// Returns the text of the header entry `STREAM_QUEUE`.
    KOVA_KIT_API std::string toString() const;
};

/// The options of an `Observable` or another stream. A change applies to all watchers at once.
///
/// A handle: the functions change the stream that returned it, which must outlive the handle. Any
/// thread may call any function.
///
///     const auto keepAll = [](kova::kit::StreamOptions options) {
///         options.queue(1000).whenFull(kova::kit::DropOldest);
///     };
class KOVA_KIT_API StreamOptions {
public:
    /// Returns the options of a stream. Used only by the kit.
    explicit StreamOptions(detail::Hub& hub) noexcept : hub_(&hub) {}

    /// Sets the number of changes that may wait for a watcher; 0 counts as 1.
    StreamOptions& queue(std::size_t bound);
    /// Sets the policy when more come.
    StreamOptions& whenFull(WhenFull policy);
    /// Sets how long a change waits for a watcher, with the policy `Wait`. The default is 1 s.
    StreamOptions& patience(std::chrono::milliseconds limit);
    /// Returns the bound and the policy.
    StreamQueue current() const;

private:
    detail::Hub* hub_;
};

/// One watcher of a stream, as the function `watchers` returns it.
///
/// A plain value type. Of the changes since the watcher came, and its snapshot, each is counted
/// once: as delivered, conflated, dropped or queued.
struct WatcherInfo {
    /// The header entry "$client-id" of its request. The client chooses it freely.
    std::string clientId;
    /// The peer of its request.
    Peer peer;
    /// The number of values that its receiver got, with one that it is getting.
    std::uint64_t delivered = 0;
    /// The number of changes that were replaced by a newer value, or by the whole list or map.
    std::uint64_t conflated = 0;
    /// The number of changes that were dropped.
    std::uint64_t dropped = 0;
    /// The number of changes that wait.
    std::size_t queued = 0;
    /// The time for which its receiver has not returned, to about 4 ms; 0 if it is not running.
    std::chrono::milliseconds blocked{0};
};

}  // namespace kova::kit
