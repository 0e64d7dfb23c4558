#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <random>
#include <string>

#include "kova/http/Address.h"
#include "wire/EventLoop.h"
#include "wire/FileDescriptor.h"

namespace kova::http::detail {

/// Connects a socket to an address, without blocking.
///
/// The second attempt is delayed by 10 ms. Each further delay is twice the one before, but at most
/// a second. A random part of up to half of the delay is left out, so that the clients of a server
/// that was restarted do not all connect at once. All functions belong to the thread of the loop.
class Dialer {
public:
    using OnConnected = std::function<void(wire::FileDescriptor)>;

    static constexpr std::chrono::milliseconds FIRST_DELAY{10};
    static constexpr std::chrono::milliseconds LONGEST_DELAY{1000};

    /// `onConnected` gets the connected socket, on the thread of the loop. It may be called inside
    /// `start`. With `onlyTrusted`, a socket that is not served by root or by the user of this
    /// process counts as a failed attempt.
    Dialer(wire::EventLoop& loop, const Address& address, OnConnected onConnected,
           bool onlyTrusted = false);
    ~Dialer() { stop(); }
    Dialer(const Dialer&) = delete;
    Dialer& operator=(const Dialer&) = delete;

    /// Tries until a socket is connected, or until `stop`. Does nothing if it is trying already.
    void start();
    /// Gives up, and forgets the delay.
    void stop() noexcept;
    /// Forgets the delay, so that the next `start` tries at once.
    void forgetDelay() noexcept { delay_ = std::chrono::milliseconds(0); }
    /// Returns the reason why no socket is connected.
    const std::string& reason() const noexcept { return reason_; }

private:
    void attempt();
    void watch(wire::FileDescriptor socket);
    void finish();
    void connected(wire::FileDescriptor socket);
    void fail(int error);
    void retry();
    std::chrono::milliseconds jitter();

    wire::EventLoop& loop_;
    const Address address_;
    const OnConnected onConnected_;
    const bool onlyTrusted_;
    wire::FileDescriptor socket_;  ///< the socket that is being connected
    std::optional<wire::EventLoop::TimerId> timer_;
    std::chrono::milliseconds delay_{0};  ///< before the next attempt
    std::string reason_ = "no answer";
    std::minstd_rand random_;
};

}  // namespace kova::http::detail
