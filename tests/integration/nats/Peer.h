#pragma once

#include <nats/nats.h>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "support/RecordTexts.h"

namespace kova::test {

/// A connection to a broker that is not kova's: it sends and receives any bytes.
class Peer {
public:
    explicit Peer(const std::string& url) {
        check(natsConnection_ConnectTo(&connection_, url.c_str()));
    }
    ~Peer() {
        natsSubscription_Destroy(subscription_);
        natsConnection_Destroy(connection_);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void send(const std::string& subject, std::string_view data, const std::string& reply = {}) {
        check(reply.empty()
                  ? natsConnection_Publish(connection_, subject.c_str(), data.data(), size(data))
                  : natsConnection_PublishRequest(connection_, subject.c_str(), reply.c_str(),
                                                  data.data(), size(data)));
        check(natsConnection_Flush(connection_));
    }
    /// Receives messages of the subject from now on.
    void subscribe(const std::string& subject) {
        check(natsConnection_SubscribeSync(&subscription_, connection_, subject.c_str()));
        check(natsConnection_Flush(connection_));
    }
    struct Received {
        std::string subject;
        std::string reply;
        std::string data;
    };
    /// Waits for the next message. Throws after 20 seconds.
    Received receive() {
        natsMsg* message = nullptr;
        check(natsSubscription_NextMsg(&message, subscription_, 20'000));
        char const* const reply = natsMsg_GetReply(message);
        Received received{natsMsg_GetSubject(message), reply != nullptr ? reply : "",
                          std::string(natsMsg_GetData(message),
                                      static_cast<std::size_t>(natsMsg_GetDataLength(message)))};
        natsMsg_Destroy(message);
        return received;
    }

private:
    static int size(std::string_view data) { return static_cast<int>(data.size()); }
    static void check(natsStatus status) {
        if (status != NATS_OK) {
            throw std::runtime_error(natsStatus_GetText(status));
        }
    }

    natsConnection* connection_ = nullptr;
    natsSubscription* subscription_ = nullptr;
};

/// Returns a frame, as docs/nats.md describes it.
inline std::string frame(int kind, std::uint64_t number, const std::string& rest = {}) {
    std::string bytes{1, static_cast<char>(kind)};
    for (int shift = 56; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<char>(number >> shift & 0xFFU));
    }
    return bytes + rest;
}

/// Returns the message of a request with a heartbeat of 1 s.
inline std::string requestFrame(const Request& request, std::uint64_t credit) {
    using namespace std::string_literals;
    return frame(1, credit, "\0\0\x03\xE8"s + recordOf(request));
}

}  // namespace kova::test
