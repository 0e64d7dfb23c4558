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

/// The policy for the queue of a watcher: what happens if a change arrives while the queue is full.
enum WhenFull : std::uint8_t {
    /// `set` and the other functions that change the value wait until the queue has space. If it
    /// has none after the time that `StreamOptions::patience` sets, the watcher is disconnected
    /// with 503. Inside a receiver that a thread of the kit calls, these functions do not wait, and
    /// the watcher gets only the newest change.
    Wait,
    /// All queued changes are replaced by the newest value. For a list or map they are replaced by
    /// the whole list or map.
    Conflate,
    /// The oldest change in the queue is dropped. For a list or map this policy acts like
    /// `Conflate`, because each change applies to the result of the change before it.
    DropOldest,
    /// The watcher is disconnected with 503.
    Disconnect
};

/// The header entry of the first value of a stream. It contains the bound and the policy of the
/// watcher's queue, such as "16 conflate". The words of the policies are "wait", "conflate",
/// "drop-oldest" and "disconnect". If a transport has its own queue for the stream, it uses this
/// bound and policy for that queue, and removes the entry. A list or map states "disconnect" in
/// place of "conflate" and "drop-oldest", because each of its changes applies to the result of the
/// change before it, and a transport cannot replace changes by the whole list or map.
constexpr char const* STREAM_QUEUE = "$stream-queue";
/// The header entry of a value before which changes were dropped. It contains the number of changes
/// that were dropped since the preceding value.
constexpr char const* STREAM_LOST = "$stream-lost";

/// The bound and the policy of a watcher's queue.
///
///     const kova::kit::StreamQueue queue{16, kova::kit::Conflate};
///     queue.toString();  // "16 conflate"
struct StreamQueue {
    /// The maximum number of changes in the queue of a watcher; at least 1.
    std::size_t bound = 16;
    /// The policy for changes that arrive while the queue is full.
    WhenFull whenFull = Conflate;

    /// Returns the text of the header entry `STREAM_QUEUE`.
    KOVA_KIT_API std::string toString() const;
};

/// The options of an `Observable` or another stream. A changed option applies to all watchers at
/// once.
///
/// A handle: the functions change the stream that returned the handle. The stream must outlive the
/// handle. Any thread may call any function.
///
///     const auto keepAll = [](kova::kit::StreamOptions options) {
///         options.queue(1000).whenFull(kova::kit::DropOldest);
///     };
class KOVA_KIT_API StreamOptions {
public:
    /// Returns the options of a stream. Used only by the kit.
    explicit StreamOptions(detail::Hub& hub) noexcept : hub_(&hub) {}

    /// Sets the maximum number of changes in the queue of a watcher; 0 counts as 1.
    StreamOptions& queue(std::size_t bound);
    /// Sets the policy for changes that arrive while the queue is full.
    StreamOptions& whenFull(WhenFull policy);
    /// Sets how long, with the policy `Wait`, a change waits for space in the queue of a watcher.
    /// The default is 1 s.
    StreamOptions& patience(std::chrono::milliseconds limit);
    /// Returns the bound and the policy.
    StreamQueue current() const;

private:
    detail::Hub* hub_;
};

/// The description of one watcher of a stream, which the function `watchers` returns.
///
/// A plain value type. The snapshot and each change since the watcher was added are counted exactly
/// once: as delivered, conflated, dropped or queued.
struct WatcherInfo {
    /// The header entry "$client-id" of its request. The client can choose any text.
    std::string clientId;
    /// The process that sent the request of the watcher.
    Peer peer;
    /// The number of values that were passed to the receiver, including a value that the receiver
    /// is currently processing.
    std::uint64_t delivered = 0;
    /// The number of changes that were replaced by a newer value, or by the whole list or map.
    std::uint64_t conflated = 0;
    /// The number of changes that were dropped.
    std::uint64_t dropped = 0;
    /// The number of changes that wait in the queue of the watcher.
    std::size_t queued = 0;
    /// The time for which the receiver has been running, with a resolution of about 4 ms; 0 if the
    /// receiver is not running.
    std::chrono::milliseconds blocked{0};
};

}  // namespace kova::kit
