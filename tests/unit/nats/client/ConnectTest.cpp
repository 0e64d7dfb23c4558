#include "kova/nats/Connect.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "contract/service/Inbox.h"
#include "kova/nats/Server.h"
#include "nats/Frames.h"
#include "support/HeldService.h"

namespace kova::nats {
namespace {

// Nothing listens at this port.
constexpr char const* NOWHERE = "nats://127.0.0.1:1";

std::string refusalOf(const std::string& url, const std::string& path,
                      const ConnectOptions& options = {}) {
    const auto service = connect(url, path, "", options);
    return service ? "accepted" : std::to_string(service.error().code);
}

TEST(NatsConnectTest, MalformedArgumentsAreRefused) {
    EXPECT_EQ(refusalOf(NOWHERE, "/device"), "accepted");
    EXPECT_EQ(refusalOf("http://a", "/device"), "400");
    EXPECT_EQ(refusalOf(NOWHERE, "device"), "400");
    ConnectOptions options;
    options.broker.prefix = "";
    EXPECT_EQ(refusalOf(NOWHERE, "/device", options), "400");
}

TEST(NatsConnectTest, WindowsInTheirRangeAreAccepted) {
    ConnectOptions options;
    for (const std::uint32_t window : {1U, std::uint32_t{detail::MOST_CREDIT}}) {
        options.window = window;
        EXPECT_EQ(refusalOf(NOWHERE, "/device", options), "accepted");
    }
    for (const std::uint32_t window : {0U, std::uint32_t{detail::MOST_CREDIT + 1}}) {
        options.window = window;
        EXPECT_EQ(refusalOf(NOWHERE, "/device", options), "400");
    }
}

TEST(NatsConnectTest, RequestWithoutABrokerIsLostAfterThePatience) {
    ConnectOptions options;
    options.patience = std::chrono::milliseconds(50);
    const auto service = connect(NOWHERE, "/device", "", options).orThrow();
    const test::Inbox inbox;
    service->actionRequest(Request("retrieve", "/state"), inbox.handler());
    const std::string event = inbox.waitForLast().at(0);
    EXPECT_NE(event.find("error 503"), std::string::npos) << event;
    EXPECT_NE(event.find("lost: no connection to nats://127.0.0.1:1: "), std::string::npos)
        << event;
}

TEST(NatsConnectTest, RequestThatWaitsForABrokerCanBeCancelled) {
    const auto service = connect(NOWHERE, "/device").orThrow();
    const test::Inbox inbox;
    service->cancelRequest(service->actionRequest(Request("retrieve", "/state"), inbox.handler()));
    EXPECT_EQ(inbox.waitForLast(), test::Inbox::Events{});
}

TEST(NatsServerTest, MalformedArgumentsAreRefused) {
    test::HeldService service;
    ServerOptions options;
    EXPECT_THROW(Server(service, "http://a", options), std::invalid_argument);
    options.servicePath = "device";
    EXPECT_THROW(Server(service, NOWHERE, options), std::invalid_argument);
    options.servicePath = "/device";
    options.broker.heartbeat = std::chrono::milliseconds(1);
    EXPECT_THROW(Server(service, NOWHERE, options), std::invalid_argument);
}

TEST(NatsServerTest, ServerWithoutABrokerSaysSoAndEnds) {
    test::HeldService service;
    Server server(service, NOWHERE);
    const kit::Result<void> serving = server.waitUntilServing(std::chrono::milliseconds(50));
    ASSERT_FALSE(serving);
    EXPECT_EQ(serving.error().code, 503);
    EXPECT_TRUE(server.stop(std::chrono::milliseconds(0)).empty());
}

}  // namespace
}  // namespace kova::nats
