// Each allocation of a thread of the server's process fails once, while a client performs the
// operation of the test row. All other clients are still served.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Peer.h"
#include "contract/service/Inbox.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Answerer.h"
#include "support/Broker.h"
#include "support/FailingThread.h"
#include "support/Reports.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

constexpr char const* LOOP = Answerer::LOOP;
constexpr char const* SENDER = Answerer::SENDER;
constexpr char const* COMPLETED = "completed";

std::string ask(IKovaApi& client, const Request& request = Request("retrieve", "/now")) {
    const Inbox inbox;
    client.actionRequest(request, inbox.handler());
    return inbox.waitForLast().back();
}

/// A broker, a server, a client whose requests may be lost, and another client.
class FailingMemoryOfServer : public ::testing::Test {
protected:
    FailingMemoryOfServer() {
        // A request whose message was dropped ends after two heartbeats.
        serverOptions.broker.heartbeat = 100ms;
        serverOptions.servicePath = "/device";
        serverOptions.instance = "one";
        serverOptions.isDiscoverable = true;
        clientOptions.broker.heartbeat = 100ms;
        clientOptions.gathering = 20ms;
        neighbour = connect();
    }
    std::unique_ptr<nats::Server> serve() {
        auto server = std::make_unique<nats::Server>(service, broker.url(), serverOptions);
        server->waitUntilServing(30s).orThrow();
        return server;
    }
    std::unique_ptr<IKovaApi> connect(const std::string& instance = {}) const {
        return nats::connect(broker.url(), "/device", instance, clientOptions).orThrow();
    }
    /// Sends requests until one is answered.
    static void waitUntilServed(IKovaApi& client) {
        while (ask(client) != COMPLETED) {
            std::this_thread::yield();
        }
    }
    /// Calls `act` repeatedly: in the first call the first allocation fails, in the second call the
    /// second one, and so on, until none fails.
    void failEach(const std::function<void()>& act) {
        long count = 0;
        for (bool hasFailed = true; hasFailed; ++count) {
            watchdog.enter("allocation " + std::to_string(count) + " fails");
            FailingThread::failAfter(count);
            act();
            hasFailed = FailingThread::stop();
            waitUntilServed(*neighbour);
        }
        EXPECT_GT(count, 1);
        RecordProperty("allocations", static_cast<int>(count - 1));
    }

    Watchdog watchdog{"memory fails"};
    const Reports reports;
    Answerer service;
    Broker broker;
    nats::ServerOptions serverOptions;
    nats::ConnectOptions clientOptions;
    std::unique_ptr<IKovaApi> neighbour;
    long next = 0;
};

struct Parts {
    IKovaApi& client;
    IKovaApi& all;
    Peer& peer;
    const Answerer& service;
};
struct Row {
    char const* name;
    char const* thread;
    std::function<void(const Parts&)> act;
};

// Sends a message, and waits until the server has handled it.
void send(const Parts& parts, const std::string& subject, const std::string& data) {
    parts.peer.send(subject, data, "answers");
    ask(parts.client);
}

const std::vector<Row> ROWS = {
    {"RequestAnsweredAtOnce", LOOP, [](const Parts& parts) { ask(parts.client); }},
    {"RequestAnsweredLater", LOOP,
     [](const Parts& parts) {
         ask(parts.client, {"retrieve", "/later"});
     }},
    {"Body", LOOP,
     [](const Parts& parts) {
         ask(parts.client,
             {"update", "/now", Payload::createFromString(std::string(300'000, 'x'))});
     }},
    {"Cancellation", LOOP,
     [](const Parts& parts) {
         const Inbox inbox;
         parts.client.cancelRequest(
             parts.client.actionRequest(Request("retrieve", "/kept"), inbox.handler()));
         ask(parts.client);
     }},
    {"SilentClient", LOOP,
     [](const Parts& parts) {
         const std::string heartbeat = "\0\0\0\x64"s;  // 100 ms
         send(parts, "kova.device.@q",
              frame(1, 1, heartbeat + recordOf(Request("retrieve", "/kept"))));
         while (parts.service.kept() != 0) {
             std::this_thread::yield();
         }
     }},
    {"Refusal", LOOP, [](const Parts& parts) { send(parts, "kova.device.@q", "no frame"); }},
    {"Search", LOOP, [](const Parts& parts) { ask(parts.all); }},
    {"Discovery", LOOP,
     [](const Parts& parts) {
         send(parts, "$SRV.INFO", "");
         send(parts, "$SRV.STATS", "");
     }},
    {"SentAnswer", SENDER,
     [](const Parts& parts) {
         ask(parts.client, {"retrieve", "/later"});
     }},
};

class NatsFailingMemory : public FailingMemoryOfServer,
                          public ::testing::WithParamInterface<Row> {};

TEST_P(NatsFailingMemory, OtherClientsAreStillServed) {
    const auto server = serve();
    const auto client = connect();
    const auto all = connect("*");
    Peer peer(broker.url());
    ASSERT_EQ(ask(*neighbour, Request("retrieve", GetParam().thread)), COMPLETED);
    failEach([&] { GetParam().act({*client, *all, peer, service}); });
}

TEST_F(FailingMemoryOfServer, ServerConnectsAgain) {
    const auto server = serve();
    const auto client = connect();
    ASSERT_EQ(ask(*client, Request("retrieve", LOOP)), COMPLETED);
    failEach([&] {
        broker.stop();
        broker.start();
        waitUntilServed(*client);
    });
}

// `stop` also allocates memory.
TEST_F(FailingMemoryOfServer, StopSucceedsIfAnAllocationFails) {
    const auto other = serve();
    serverOptions.instance = "two";
    failEach([&] {
        FailingThread::stop();
        const auto server = serve();
        const auto client = connect("two");
        EXPECT_EQ(ask(*client, Request("retrieve", LOOP)), COMPLETED);
        const Inbox inbox;
        client->actionRequest(Request("retrieve", "/kept"), inbox.handler());
        ask(*client);
        FailingThread::failAfter(next++);
        EXPECT_TRUE(server->stop(0ms).empty());
    });
}

INSTANTIATE_TEST_SUITE_P(Rows, NatsFailingMemory, ::testing::ValuesIn(ROWS),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace kova::test
