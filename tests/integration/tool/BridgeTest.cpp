// `kova bridge` between processes: a service, its endpoint, the bridge, the broker and clients.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "RunningTool.h"
#include "kova/http/Connect.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Client.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"
#include "support/HeldService.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Strings = std::vector<std::string>;

// The document of a service with the integer /level and the text /secret/key.
constexpr char const* DOCUMENT = R"({"openapi": "3.1.0", "info": {"title": "t", "version": "1"},
"paths": {
"/level": {
  "get": {"responses": {"2XX": {"description": "",
    "content": {"application/json": {"schema": {"type": "integer"}},
                "text/event-stream": {"schema": {"type": "integer"}}}}}},
  "put": {"requestBody": {"content": {"application/json": {"schema": {"type": "integer"}}}},
    "responses": {"2XX": {"description": ""}}}},
"/secret/key": {
  "get": {"responses": {"2XX": {"description": "",
    "content": {"application/json": {"schema": {"type": "string"}}}}}}}}})";

class BridgeTest : public testing::Test {
protected:
    BridgeTest() { writeFile(folder / "service.json", DOCUMENT); }

    /// Starts a program that prints a line when it serves.
    static std::unique_ptr<RunningTool> serve(const Strings& words) {
        auto tool = std::make_unique<RunningTool>(words);
        tool->awaitOutput("\n");
        return tool;
    }
    std::unique_ptr<RunningTool> startService() const {
        return serve({"mock", folder / "service.json", socket});
    }
    // Runs the program, and returns its exit status.
    int run(const Strings& words) {
        RunningTool tool(words);
        const int status = tool.wait();
        out = tool.out;
        err = tool.err;
        return status;
    }
    std::string at(const std::string& path) const { return remote + "$" + path; }

    Watchdog watchdog{"the bridge runs"};
    TemporaryFolder folder;
    Broker broker;
    const std::string socket = "unix:" + folder / "service";
    const std::string back = "unix:" + folder / "back";
    const std::string remote = broker.url() + "/player";
    std::string out;
    std::string err;
};

TEST_F(BridgeTest, ServiceIsCarriedToTheBrokerAndBack) {
    const auto service = startService();
    const auto there = serve({"bridge", socket, remote});
    EXPECT_EQ(there->out, remote + "\n");
    const auto home = serve({"bridge", remote, back});
    EXPECT_EQ(home->out, back + "\n");
    EXPECT_EQ(run({"put", at("/level"), "44"}), 0) << err;
    EXPECT_EQ(run({"get", back + "$/level"}), 0) << err;
    EXPECT_EQ(out, "44\n");
    RunningTool watch({"watch", back + "$/level", "--count", "2"});
    watch.awaitOutput("44\n");
    EXPECT_EQ(run({"put", socket + "$/level", "45"}), 0) << err;
    EXPECT_EQ(watch.wait(), 0) << watch.err;
    EXPECT_EQ(watch.out, "44\n45\n");
    EXPECT_EQ(run({"get", back + "$/nowhere"}), 4);
    EXPECT_THAT(err, StartsWith("kova: 404 Not Found"));
}

TEST_F(BridgeTest, ServicePathComesFromTheServiceIfTheBrokerHasNone) {
    HeldService held;
    held.onRequest = [&held](std::size_t number) { held.answer(number); };
    const http::Endpoint endpoint({{"/held", &held}}, socket);
    const auto bridge = serve({"bridge", socket + "$/held", broker.url()});
    EXPECT_EQ(bridge->out, broker.url() + "/held\n");
    EXPECT_EQ(run({"get", broker.url() + "/held$/level"}), 0) << err;
    const auto root = serve({"bridge", broker.url() + "/held", back});
    const auto nameless =
        serve({"bridge", back, "nats://127.0.0.1:" + std::to_string(broker.port())});
    EXPECT_EQ(nameless->out, broker.url() + "/\n");
    EXPECT_EQ(run({"get", broker.url() + "$/level"}), 0) << err;
}

TEST_F(BridgeTest, RefusedRequestsEndWithAReason) {
    const auto service = startService();
    const auto bridge = serve({"bridge", socket, remote, "--deny", "/secret"});
    EXPECT_EQ(run({"get", at("/level")}), 0) << err;
    for (char const* path : {"/secret", "/secret/key", "//secret//key", "/.kova/version"}) {
        EXPECT_EQ(run({"get", at(path)}), 4) << path;
        EXPECT_THAT(err, StartsWith("kova: 403 Forbidden: the bridge does not carry")) << path;
    }
    EXPECT_EQ(run({"get", socket + "$/secret/key"}), 0) << err;
    EXPECT_EQ(run({"tree", remote}), 4);
    EXPECT_THAT(err, HasSubstr("through kova bridge --inspection"));
}

TEST_F(BridgeTest, InspectionPassesOnRequest) {
    const auto service = startService();
    const auto bridge = serve({"bridge", socket, remote, "--inspection"});
    EXPECT_EQ(run({"tree", remote}), 0) << err;
    EXPECT_THAT(out, HasSubstr("/secret/key"));
}

TEST_F(BridgeTest, OnlyAllowedPathsPassWithoutChanges) {
    const auto service = startService();
    const auto first = serve({"bridge", socket, remote, "--allow", "/level", "--read-only"});
    const auto second = serve({"bridge", remote, back, "--allow", "/**"});
    for (const std::string& address : {remote, back}) {
        EXPECT_EQ(run({"get", address + "$/level"}), 0) << err;
        EXPECT_EQ(run({"watch", address + "$/level", "--count", "1"}), 0) << err;
        EXPECT_EQ(run({"put", address + "$/level", "1"}), 4);
        EXPECT_THAT(err, HasSubstr("403 Forbidden: the bridge only carries retrievals"));
        EXPECT_EQ(run({"get", address + "$/secret/key"}), 4);
    }
    const auto two = serve({"bridge", socket, remote + "2", "--allow", "/level", "--allow",
                            "/secret", "--deny", "/secret/a*", "--deny", "/secret/b*"});
    EXPECT_EQ(run({"get", remote + "2$/level"}), 0) << err;
    EXPECT_EQ(run({"get", remote + "2$/secret/key"}), 0) << err;
    EXPECT_EQ(run({"get", remote + "2$/secret/ab"}), 4);
    EXPECT_EQ(run({"get", remote + "2$/secret/bc"}), 4);
    EXPECT_THAT(err, HasSubstr("403"));
}

TEST_F(BridgeTest, InstanceIsReachedByItsName) {
    HeldService held;
    held.onRequest = [&held](std::size_t number) { held.answer(number); };
    const http::Endpoint endpoint(held, socket);
    const auto bridge = serve({"bridge", socket, remote, "--instance", "car-17"});
    EXPECT_EQ(bridge->out, remote + "/car-17\n");
    const auto one = nats::connect(broker.url(), "/player", "car-17").orThrow();
    EXPECT_TRUE(kit::Client(*one).call<Payload>("retrieve", "/level").get().ok());
    const auto other = nats::connect(broker.url(), "/player", "car-18").orThrow();
    EXPECT_FALSE(kit::Client(*other).call<Payload>("retrieve", "/level").get().ok());
}

TEST_F(BridgeTest, CancellationPassesBothBridges) {
    HeldService held;
    const http::Endpoint endpoint(held, socket);
    const auto there = serve({"bridge", socket, remote});
    const auto home = serve({"bridge", remote, back});
    RunningTool get({"get", back + "$/slow"});
    held.waitForRequests(1);
    get.signal(SIGINT);
    EXPECT_EQ(get.wait(), 130);
    held.waitForCancelled(1);
}

TEST_F(BridgeTest, KilledServiceEndsItsRequestsAsLostAndTheNextOneIsAnswered) {
    auto service = startService();
    const auto bridge = serve({"bridge", socket, remote});
    RunningTool watch({"watch", at("/level")});
    watch.awaitOutput("0\n");
    service->signal(SIGKILL);
    EXPECT_EQ(service->wait(), -SIGKILL);
    EXPECT_EQ(watch.wait(), 3);
    EXPECT_THAT(watch.err, HasSubstr("lost: "));
    EXPECT_EQ(run({"get", at("/level")}), 3);
    service = startService();
    EXPECT_EQ(run({"get", at("/level")}), 0) << err;
}

TEST_F(BridgeTest, RestartedBrokerEndsRequestsAsLostAndServesLaterOnes) {
    const auto service = startService();
    const auto there = serve({"bridge", socket, remote});
    const auto home = serve({"bridge", remote, back});
    RunningTool watch({"watch", back + "$/level"});
    watch.awaitOutput("0\n");
    broker.stop();
    EXPECT_EQ(watch.wait(), 3);
    EXPECT_THAT(watch.err, HasSubstr("lost: "));
    EXPECT_EQ(run({"get", back + "$/level"}), 3);
    broker.start();
    while (run({"get", back + "$/level"}) != 0) {
        ASSERT_THAT(err, testing::AnyOf(HasSubstr("no server"), HasSubstr("no connection"))) << err;
    }
    EXPECT_EQ(out, "0\n");
}

TEST_F(BridgeTest, BrokerMayStartAfterTheBridge) {
    const auto service = startService();
    broker.stop();
    RunningTool bridge({"bridge", socket, remote});
    broker.start();
    bridge.awaitOutput("\n");
    EXPECT_EQ(run({"get", at("/level")}), 0) << err;
}

TEST_F(BridgeTest, SignalEndsTheBridgeCleanly) {
    const auto service = startService();
    for (const int signal : {SIGINT, SIGTERM}) {
        const auto there = serve({"bridge", socket, remote});
        const auto home = serve({"bridge", remote, back});
        EXPECT_EQ(run({"get", back + "$/level"}), 0) << err;
        home->signal(signal);
        EXPECT_EQ(home->wait(), 0) << home->err;
        EXPECT_FALSE(std::filesystem::exists(folder / "back"));
        there->signal(signal);
        EXPECT_EQ(there->wait(), 0) << there->err;
        EXPECT_EQ(run({"get", at("/level")}), 3);
        EXPECT_THAT(err, HasSubstr("no server"));
    }
}

TEST_F(BridgeTest, LoginThatTheBrokerRefusesEndsTheBridge) {
    const Broker closed("authorization { user: device, password: secret }");
    EXPECT_EQ(run({"bridge", socket, closed.url() + "/player"}), 4);
    EXPECT_THAT(err, StartsWith("kova: 401"));
    EXPECT_THAT(err, HasSubstr("KOVA_NATS_PASSWORD"));
    EXPECT_EQ(out, "");
}

}  // namespace
}  // namespace kova::test
