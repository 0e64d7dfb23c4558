#pragma once

#include <nats/nats.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kova/kit/Result.h"
#include "kova/nats/BrokerOptions.h"
#include "nats/Inbound.h"
#include "nats/Urls.h"

namespace kova::nats::detail {

/// A subject to subscribe to.
struct Channel {
    int number = 0;  ///< the name of the channel in events
    std::string subject;
    std::string queue = {};  ///< the group whose members share the messages; empty means none
};

/// One connection to a broker. It is never repaired: when it is lost, it ends, so that nothing is
/// sent later than the caller believes.
///
/// The threads of libnats only add to the `Inbound`. The object lives until libnats has made its
/// last call. Any thread may call any function.
class Link : public std::enable_shared_from_this<Link> {
public:
    /// Connects, subscribes and reports `connected`, `ready` or `failed`. Blocks. `epoch` is the
    /// number of the connection in its events.
    static std::shared_ptr<Link> open(std::shared_ptr<Inbound> inbound, const Urls& urls,
                                      const BrokerOptions& options,
                                      const std::vector<Channel>& channels, std::uint64_t epoch);
    /// Lets libnats allocate its record of errors of this thread, which it makes at the first error
    /// otherwise. Without memory it would then end the process.
    static void prepareThread() noexcept;
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /// Sends a message. Returns false if the connection is lost or the message is too long. An
    /// empty `reply` means none.
    bool publish(const std::string& subject, const std::string& reply,
                 std::string_view data) noexcept;
    /// Sends a message with the header fields of an error in the services protocol of NATS.
    /// Returns what `publish` returns.
    bool publishError(const std::string& subject, const kit::Error& error,
                      std::string_view data) noexcept;
    /// Returns the highest number of bytes of a message.
    std::size_t longestMessage() const noexcept;
    /// Returns the URLs of the servers of the broker that are known.
    std::vector<std::string> servers() const;
    /// Stops a channel: messages that the broker has sent already still arrive, then `drained`.
    /// Waits for them, at most for `limit`.
    void drain(int channel, std::chrono::milliseconds limit) noexcept;
    /// Waits until the broker has received what was sent, at most for `limit`.
    void flush(std::chrono::milliseconds limit) noexcept;
    /// Closes the connection, and waits until libnats has made its last call. No event follows.
    void close() noexcept;

private:
    struct Subscription {
        Link* link;
        int channel;
        natsSubscription* handle;
    };
    struct Callbacks;

    Link(std::shared_ptr<Inbound> inbound, std::uint64_t epoch) noexcept
        : inbound_(std::move(inbound)), epoch_(epoch) {}
    std::optional<kit::Error> connect(const Urls& urls, const BrokerOptions& options);
    std::optional<kit::Error> subscribe(const Channel& channel);
    std::optional<kit::Error> refusal() const;
    void push(Event::Kind kind, int channel = 0, Message message = nullptr,
              kit::Error error = {}) noexcept;
    void expectCallback();
    void onLastCallback() noexcept;

    const std::shared_ptr<Inbound> inbound_;
    const std::uint64_t epoch_;
    natsConnection* connection_ = nullptr;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::list<Subscription> subscriptions_;
    int expected_ = 0;            ///< the last calls of libnats that have not been made
    std::shared_ptr<Link> self_;  ///< while calls are expected
};

}  // namespace kova::nats::detail
