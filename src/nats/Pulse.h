#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "nats/Link.h"
#include "wire/EventLoop.h"

namespace kova::nats::detail {

/// What one end of an open request sends: the owner tells the object of each message, and
/// `Heartbeats` sends a message when the owner has sent none for some time.
///
/// The number in a heartbeat is that of a message that has been sent completely, so a heartbeat may
/// overtake no message that it counts.
struct Pulse {
    using Clock = std::chrono::steady_clock;

    Pulse(std::shared_ptr<Link> link, std::string subject, std::string reply,
          std::chrono::milliseconds heartbeat)
        : link(std::move(link)),
          subject(std::move(subject)),
          reply(std::move(reply)),
          heartbeat(heartbeat) {}

    void onSent(std::uint64_t number) noexcept {
        latest = number;
        sentAt = Clock::now().time_since_epoch().count();
    }

    const std::shared_ptr<Link> link;
    const std::string subject;
    const std::string reply;  ///< empty if the message needs none
    const std::chrono::milliseconds heartbeat;
    std::atomic<std::uint64_t> latest{0};  ///< the number of the latest message
    std::atomic<Clock::rep> sentAt{Clock::now().time_since_epoch().count()};
    std::atomic<bool> isOver{false};
};

/// Sends the heartbeats of all open requests of the process, on a thread of its own, so that a
/// response handler or a resource handler that blocks does not make its process look dead.
///
/// A heartbeat is sent when nothing was sent for half of its time. Any thread may call any
/// function.
class Heartbeats {
public:
    /// Returns the only object of the process, which exists while it is used. Throws
    /// `std::system_error`.
    static std::shared_ptr<Heartbeats> shared();
    ~Heartbeats();
    Heartbeats(const Heartbeats&) = delete;
    Heartbeats& operator=(const Heartbeats&) = delete;

    /// Sends heartbeats until the pulse is over.
    void add(std::shared_ptr<Pulse> pulse);

    /// The number of checks in the time of a heartbeat. An end of a request counts as lost when it
    /// has been silent for `2 * CHECKS - 1` checks, so that it is reported within two heartbeats.
    static constexpr int CHECKS = 4;

private:
    Heartbeats();
    void check(std::uint64_t round);
    static void beat(Pulse& pulse);
    void arm(std::chrono::milliseconds period);

    const std::shared_ptr<wire::EventLoop> loop_;
    std::mutex mutex_;
    std::vector<std::shared_ptr<Pulse>> pulses_;
    std::chrono::milliseconds period_{0};  ///< of the armed check; 0 if none is armed
    std::uint64_t round_ = 0;              ///< the number of the armed check
};

}  // namespace kova::nats::detail
