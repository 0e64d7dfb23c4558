#pragma once

#include <nats/nats.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "kova/kit/Result.h"

namespace kova::nats::detail {

struct MessageDeleter {
    void operator()(natsMsg* message) const noexcept { natsMsg_Destroy(message); }
};
/// A received message.
using Message = std::unique_ptr<natsMsg, MessageDeleter>;

class Link;

/// An event of a connection.
struct Event {
    enum class Kind : std::uint8_t {
        connected,  ///< messages may arrive and be sent; not all channels are subscribed yet
        ready,      ///< all channels are subscribed
        message,
        refused,  ///< the broker has not permitted something; `error` has its text
        drained,  ///< the last message of the channel has arrived
        failed,   ///< the connection could not be made
        closed,   ///< the connection is lost
    };
    Kind kind = Kind::message;
    std::uint64_t epoch = 0;  ///< the number of the connection
    int channel = 0;
    Message message = {};
    kit::Error error = {};
    std::shared_ptr<Link> link = {};  ///< of `connected`
};

/// The events of connections, between the threads of libnats and the thread that handles them.
///
/// Messages are dropped while more than `LONGEST` bytes wait; the numbers of the messages of an
/// answer then reveal the loss. Any thread may call any function.
class Inbound {
public:
    /// The highest number of bytes of messages that wait.
    static constexpr std::size_t LONGEST = std::size_t{64} * 1024 * 1024;

    /// `wake` is called when there are events again, under a lock.
    explicit Inbound(std::function<void()> wake, std::size_t longest = LONGEST)
        : wake_(std::move(wake)), longest_(longest) {}

    /// Adds an event, or destroys it after `close`.
    void push(Event event) noexcept;
    /// Returns the events that have been added, and forgets them.
    std::vector<Event> take();
    /// Drops all events. `wake` is not called any more.
    void close() noexcept;
    bool isClosed() const;

private:
    const std::function<void()> wake_;
    const std::size_t longest_;
    mutable std::mutex mutex_;
    std::vector<Event> events_;
    std::size_t bytes_ = 0;
    bool isClosed_ = false;
};

}  // namespace kova::nats::detail
