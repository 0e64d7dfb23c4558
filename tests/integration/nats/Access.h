#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "contract/service/Inbox.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"
#include "support/HeldService.h"

namespace kova::test {

/// Expects a text of `Access` that begins with one text and contains the other.
inline void expectError(const std::string& error, const std::string& begin,
                        const std::string& part) {
    EXPECT_EQ(error.substr(0, begin.size()), begin) << error;
    EXPECT_NE(error.find(part), std::string::npos) << error;
}

/// A broker with a configuration, a server of "/device" at it, and clients with other options.
class Access {
public:
    explicit Access(std::string configuration) : broker(std::move(configuration)) {
        service.onRequest = [this](std::size_t number) { service.answer(number); };
    }

    /// Serves from now on. Throws if the broker does not let it.
    void serve(const nats::BrokerOptions& options) {
        server_ = std::make_unique<nats::Server>(service, broker.url(), serverOptions(options));
        server_->waitUntilServing(std::chrono::seconds(30)).orThrow();
    }
    /// Returns "serving", or the code and the text of the error of a further server.
    std::string attemptToServe(const nats::BrokerOptions& options,
                               std::chrono::milliseconds limit = std::chrono::seconds(20)) {
        const nats::Server further(service, broker.url(), serverOptions(options));
        const kit::Result<void> serving = further.waitUntilServing(limit);
        return serving ? "serving"
                       : std::to_string(serving.error().code) + " " + serving.error().message;
    }
    /// Returns a client of the server.
    std::unique_ptr<IKovaApi> connect(
        const nats::BrokerOptions& options,
        std::chrono::milliseconds patience = std::chrono::seconds(20)) const {
        nats::ConnectOptions client;
        client.broker = options;
        client.patience = patience;
        return nats::connect(broker.url(), "/device", "", client).orThrow();
    }
    /// Returns the end of a request of a new client: "completed" or "error CODE ...".
    std::string ask(const nats::BrokerOptions& options,
                    std::chrono::milliseconds patience = std::chrono::seconds(20)) const {
        return ask(*connect(options, patience));
    }
    /// Returns the end of a request of this client.
    static std::string ask(IKovaApi& client) {
        const Inbox inbox;
        client.actionRequest(Request("retrieve", "/state"), inbox.handler());
        return inbox.waitForLast().back();
    }

    HeldService service;
    Broker broker;

private:
    static nats::ServerOptions serverOptions(const nats::BrokerOptions& options) {
        nats::ServerOptions server;
        server.servicePath = "/device";
        server.broker = options;
        return server;
    }

    std::unique_ptr<nats::Server> server_;
};

}  // namespace kova::test
