#pragma once

#include <nats/nats.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kova/kit/Result.h"
#include "kova/nats/BrokerOptions.h"
#include "nats/Backoff.h"
#include "nats/Link.h"
#include "nats/Urls.h"
#include "wire/EventLoop.h"

namespace kova::nats::detail {

/// Keeps a connection to a broker: connects, and connects again when the connection is lost.
///
/// All functions belong to the thread of the loop. The owner is called there. A connection is made
/// on a thread of its own, because libnats blocks meanwhile.
class Broker {
public:
    class Owner {
    public:
        /// All channels are subscribed.
        virtual void onReady() = 0;
        /// A message has arrived.
        virtual void onMessage(int channel, natsMsg& message) = 0;
        /// All messages of a channel that is drained have arrived.
        virtual void onDrained(int channel) = 0;
        /// The broker has not permitted a subject.
        virtual void onRefused(const kit::Error& error) = 0;
        /// The connection is lost, or could not be made. Another attempt follows.
        virtual void onLost(const kit::Error& error) = 0;

    protected:
        ~Owner() = default;
    };

    /// The owner must outlive the object.
    Broker(std::shared_ptr<wire::EventLoop> loop, Urls urls, BrokerOptions options,
           std::vector<Channel> channels, Owner& owner);
    ~Broker() { close(); }
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    /// Begins to connect.
    void start();
    /// Calls the owner for all events that have occurred. Owners call it before they conclude from
    /// a silence that a peer is gone.
    void handleEvents();
    /// The current connection; null if it is lost. It may not be ready yet.
    const std::shared_ptr<Link>& link() const noexcept { return link_; }
    bool isReady() const noexcept { return isReady_; }
    /// Sends a message. Returns false if the connection is lost.
    bool publish(const std::string& subject, const std::string& reply, std::string_view data);
    /// Closes the connection for lack of memory. Another one follows, as after every loss.
    void giveUp() noexcept;
    /// Closes the connection after the broker has received what was sent. The owner is not called
    /// any more. Waits for an attempt to connect at most `DIAL_LIMIT`; a longer attempt ends later,
    /// by itself.
    void close() noexcept;
    /// The URLs of the broker, for messages.
    const std::string& shown() const noexcept { return urls_.shown; }

    static constexpr std::chrono::milliseconds DIAL_LIMIT{200};
    static constexpr std::chrono::milliseconds FLUSH_LIMIT{500};

private:
    // What the thread that connects shares with the object.
    struct Dial {
        std::mutex mutex;
        std::condition_variable changed;
        bool isOver = false;
        bool isAbandoned = false;    ///< the thread must close the connection itself
        std::shared_ptr<Link> link;  ///< null if the attempt has failed
    };

    static void run(const std::shared_ptr<Dial>& dial, const std::shared_ptr<Inbound>& inbound,
                    const Urls& urls, const BrokerOptions& options,
                    const std::vector<Channel>& channels, std::uint64_t epoch);
    void dial();
    Urls knownUrls() const;
    void handle(Event& event);
    void lose(const kit::Error& error);
    void dialLater();

    const std::shared_ptr<wire::EventLoop> loop_;
    const Urls urls_;
    const BrokerOptions options_;
    const std::vector<Channel> channels_;
    Owner& owner_;
    std::shared_ptr<Inbound> inbound_;
    std::vector<std::string> discovered_;  ///< servers that the broker has announced
    std::uint64_t epoch_ = 0;              ///< the number of the latest attempt
    std::shared_ptr<Dial> dial_;           ///< the latest attempt
    std::shared_ptr<Link> link_;
    bool isReady_ = false;
    bool isClosed_ = false;
    Backoff backoff_;
    std::optional<wire::EventLoop::TimerId> timer_;
    const std::shared_ptr<Broker*> self_;  ///< for posted functions: null when the object is gone
};

}  // namespace kova::nats::detail
