#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "client/RemoteService.h"
#include "integration/http/chaos/Chaos.h"
#include "integration/http/chaos/Proxy.h"
#include "kova/core/response_handlers.h"
#include "kova/http/Connect.h"
#include "support/SocketClient.h"

namespace kova::http::test {

/// Clients that behave well: each sends its next request when it has received the answer to the one
/// before.
class Neighbours {
public:
    explicit Neighbours(const std::string& address) {
        for (int i = 0; i < 10; ++i) {
            clients_.push_back(connect(address).orThrow());
        }
        for (const auto& client : clients_) {
            send(*client);
        }
    }
    ~Neighbours() { isOver_ = true; }
    Neighbours(const Neighbours&) = delete;
    Neighbours& operator=(const Neighbours&) = delete;

    /// Sends a value to each stream of the service.
    void push() {
        clients_.front()->actionRequest(Request("update", "/push"), handler([] {}));
    }
    /// Returns the number of requests that have been answered in the time.
    long answeredIn(std::chrono::milliseconds time) const {
        const long before = answered_;
        std::this_thread::sleep_for(time);
        return answered_ - before;
    }

private:
    template <typename Function>
    static std::unique_ptr<IResponseHandler<Response>> handler(Function onCompleted) {
        return std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
            [](const Response&) { return false; }, [](const Response&) {}, onCompleted);
    }
    void send(IKovaApi& client) {
        client.actionRequest(Request("retrieve", "/echo"), handler([this, &client] {
                                 ++answered_;
                                 if (!isOver_) {
                                     send(client);
                                 }
                             }));
    }

    std::atomic<long> answered_{0};
    std::atomic<bool> isOver_{false};
    std::vector<std::unique_ptr<IKovaApi>>
        clients_;  // destroyed first, because the response handlers use the other members
};

/// A client with streams whose network stops reading after 2000 bytes.
class StalledReader {
public:
    explicit StalledReader(const std::string& serverPath)
        : proxy_(serverPath, Proxy::Then::blackHole, 2000),
          client_(std::make_unique<detail::RemoteService>(*Address::parse(proxy_.address()),
                                                          detail::ClientSettings{})) {
        for (int i = 0; i < 20; ++i) {
            client_->actionRequest(Request("retrieve", "/stream/stalled"),
                                   std::make_unique<CountingHandler>(outcome_));
        }
    }

private:
    Outcome outcome_;
    Proxy proxy_;
    std::unique_ptr<detail::RemoteService> client_;
};

/// Clients that send a request over HTTP/1.1, one byte every 10 ms, and begin again if the endpoint
/// closes the connection.
class SlowWriters {
public:
    explicit SlowWriters(const std::string& address)
        : address_(address), thread_([this] { write(); }) {}
    ~SlowWriters() {
        isOver_ = true;
        thread_.join();
    }
    SlowWriters(const SlowWriters&) = delete;
    SlowWriters& operator=(const SlowWriters&) = delete;

private:
    void write() {
        const std::string request = "GET /echo HTTP/1.1\r\nX-Slow: " + std::string(1000, 'x');
        std::vector<std::unique_ptr<kova::test::SocketClient>> clients(20);
        for (std::size_t at = 0; !isOver_; ++at) {
            for (auto& client : clients) {
                if (!client || ::send(client->descriptor(), &request[at % request.size()], 1,
                                      MSG_NOSIGNAL) != 1) {
                    client = std::make_unique<kova::test::SocketClient>(address_);
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    const std::string address_;
    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

}  // namespace kova::http::test
