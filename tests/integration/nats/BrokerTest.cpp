// Clients and servers at a broker: losses, limits, malformed messages.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Peer.h"
#include "contract/service/Inbox.h"
#include "kova/kit/Peer.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"
#include "support/HeldService.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using namespace std::chrono_literals;
using Events = Inbox::Events;

constexpr auto HEARTBEAT = 1000ms;

/// Returns whether the text begins with one text and contains the other.
bool isError(const std::string& event, int code, const std::string& part) {
    return event.find("error " + std::to_string(code)) == 0 &&
           event.find(part) != std::string::npos;
}

/// A broker, a server and a client, with a heartbeat of one second.
class NatsBrokerTest : public ::testing::Test {
protected:
    NatsBrokerTest() {
        serverOptions.servicePath = "/device";
        serverOptions.broker.heartbeat = HEARTBEAT;
        clientOptions.broker.heartbeat = HEARTBEAT;
        clientOptions.patience = 20s;
    }

    void begin(const std::string& configuration = {}) {
        broker.emplace(configuration);
        server = std::make_unique<nats::Server>(service, broker->url(), serverOptions);
        server->waitUntilServing(30s).orThrow();
        client = nats::connect(broker->url(), "/device", "", clientOptions).orThrow();
    }
    void* send(const Inbox& target, const Request& request = Request("retrieve", "/state")) const {
        return client->actionRequest(request, target.handler());
    }
    /// Sends a request that the service answers, and returns the events.
    Events ask() {
        service.onRequest = [this](std::size_t number) { service.answer(number); };
        const Inbox own;
        send(own);
        return own.waitForLast();
    }
    static std::string payload(std::size_t size) { return std::string(size, 'x'); }

    Watchdog watchdog{"a broker is used"};
    HeldService service;
    std::optional<Broker> broker;
    nats::ServerOptions serverOptions;
    nats::ConnectOptions clientOptions;
    std::unique_ptr<nats::Server> server;
    std::unique_ptr<IKovaApi> client;
    Inbox inbox;
};

// Losses

TEST_F(NatsBrokerTest, SlowReaderGetsEveryValueInOrder) {
    constexpr int COUNT = 5000;
    clientOptions.window = 16;
    serverOptions.queuedBytes = 64 * 1024 * 1024;
    std::promise<void> released;
    std::shared_future<void> gate = released.get_future();
    inbox.onEvent([gate](const std::string&) {
        gate.wait();
        return false;
    });
    begin();
    send(inbox);
    service.waitForRequests(1);
    const HeldService::Handler handler = service.take(1);
    Events expected;
    for (int i = 0; i < COUNT; ++i) {
        const Response value(200, Payload::createFromString(std::to_string(i)));
        ASSERT_FALSE(handler->onNext(value));
        expected.push_back("next " + describe(value));
    }
    handler->onCompleted();
    expected.emplace_back("completed");
    released.set_value();
    EXPECT_EQ(inbox.waitForLast(), expected);
}

TEST_F(NatsBrokerTest, ServerSendsNoMoreValuesThanItWasGranted) {
    begin();
    Peer peer(broker->url());
    peer.subscribe("answers");
    peer.send("kova.device.@q", requestFrame(Request("retrieve", "/state"), 2), "answers");
    const std::string control = peer.receive().reply;  // the acknowledgement
    service.waitForRequests(1);
    for (int i = 0; i < 5; ++i) {
        service[1].onNext(Response(200));
    }
    // More values would arrive before the next heartbeat, which has the number of the latest one.
    std::size_t values = 0;
    std::string received;
    for (;;) {
        const Peer::Received message = peer.receive();
        if (message.data[1] == 3) {
            break;
        }
        received += message.data.substr(10);
    }
    EXPECT_EQ(eventsOf(received).size(), 2U);
    peer.send(control, frame(5, 3));
    while (values < 3) {
        const Peer::Received message = peer.receive();
        values += message.data[1] == 2 ? 1 : 0;
        received += message.data[1] == 2 ? message.data.substr(10) : "";
        if (eventsOf(received).size() == 5) {
            break;
        }
    }
    EXPECT_EQ(eventsOf(received), Events(5, "next 200"));
    peer.send(control, frame(4, 0));
    EXPECT_EQ(service.waitForCancelled(1), std::vector<std::size_t>{1});
}

TEST_F(NatsBrokerTest, RestartedBrokerEndsRequestsAsLostAndServesLaterOnes) {
    begin();
    send(inbox);
    service.waitForRequests(1);
    broker->stop();
    const Events events = inbox.waitForLast();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_TRUE(isError(events[0], 503, "lost: the connection to nats://127.0.0.1:")) << events[0];
    EXPECT_EQ(service.waitForCancelled(1), std::vector<std::size_t>{1});
    broker->start();
    ASSERT_TRUE(server->waitUntilServing(30s));
    EXPECT_EQ(ask().back(), "completed");
}

TEST_F(NatsBrokerTest, FrozenBrokerEndsRequestsAsLost) {
    begin();
    send(inbox);
    service.waitForRequests(1);
    broker->freeze();
    const Events events = inbox.waitForLast();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_TRUE(isError(events[0], 503, "lost: ")) << events[0];
    broker->thaw();
}

TEST_F(NatsBrokerTest, ServerWhoseHandlerBlocksSendsHeartbeats) {
    std::promise<void> released;
    service.onRequest = [&](std::size_t number) {
        released.get_future().wait();
        service.answer(number);
    };
    begin();
    Peer peer(broker->url());
    peer.subscribe("answers");
    peer.send("kova.device.@q", requestFrame(Request("retrieve", "/state"), 2), "answers");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(peer.receive().data, frame(3, 0));
    }
    released.set_value();
    std::string data;
    while (data.size() <= frame(3, 0).size()) {
        data = peer.receive().data;
    }
    EXPECT_EQ(eventsOf(data.substr(10)), (Events{"next 200", "completed"}));
}

TEST_F(NatsBrokerTest, ClientWhoseHandlerBlocksSendsHeartbeats) {
    std::promise<void> released;
    std::shared_future<void> gate = released.get_future();
    inbox.onEvent([gate](const std::string&) {
        gate.wait();
        return false;
    });
    begin();
    Peer peer(broker->url());
    peer.subscribe("kova.@c.>");
    send(inbox);
    service.waitForRequests(1);
    service[1].onNext(Response(200));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(peer.receive().data, frame(3, 0));
    }
    released.set_value();
    service.take(1)->onCompleted();
    EXPECT_EQ(inbox.waitForLast().back(), "completed");
}

// Servers

// No timer of the client ends within an hour, and the earlier request is still open.
TEST_F(NatsBrokerTest, RequestWithoutAServerFailsAtOnce) {
    clientOptions.broker.heartbeat = clientOptions.patience = 1h;
    begin();
    const Inbox earlier;
    send(earlier);
    service.waitForRequests(1);
    const auto other = nats::connect(broker->url(), "/device", "car-18", clientOptions).orThrow();
    other->actionRequest(Request("retrieve", "/state"), inbox.handler());
    const Events events = inbox.waitForLast();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_TRUE(isError(events[0], 503, "no server of '/device' named 'car-18'")) << events[0];
    EXPECT_EQ(earlier.events(), Events{});
    service.answer(1);
    EXPECT_EQ(earlier.waitForLast().back(), "completed");
}

TEST_F(NatsBrokerTest, ServersOfAServicePathShareTheRequests) {
    begin();
    HeldService other;
    nats::Server second(other, broker->url(), serverOptions);
    second.waitUntilServing(30s).orThrow();
    std::atomic<int> mine{0};
    std::atomic<int> others{0};
    service.onRequest = [&](std::size_t number) {
        ++mine;
        service.answer(number);
    };
    other.onRequest = [&](std::size_t number) {
        ++others;
        other.answer(number);
    };
    constexpr int COUNT = 200;
    const std::vector<Inbox> inboxes(COUNT);
    for (const Inbox& each : inboxes) {
        send(each);
    }
    for (const Inbox& each : inboxes) {
        EXPECT_EQ(each.waitForLast().back(), "completed");
    }
    EXPECT_EQ(mine + others, COUNT);
    EXPECT_GT(mine, 0);
    EXPECT_GT(others, 0);
}

TEST_F(NatsBrokerTest, InstanceGetsItsOwnRequests) {
    serverOptions.instance = "car-17";
    begin();
    HeldService other;
    serverOptions.instance = "car-18";
    nats::Server second(other, broker->url(), serverOptions);
    second.waitUntilServing(30s).orThrow();
    client = nats::connect(broker->url(), "/device", "car-18", clientOptions).orThrow();
    other.onRequest = [&](std::size_t number) { other.answer(number, Response(218)); };
    for (int i = 0; i < 10; ++i) {
        const Inbox own;
        send(own);
        EXPECT_EQ(own.waitForLast().front().substr(0, 8), "next 218");
    }
}

// The server is a peer that acknowledges the request and then is silent, as one that is killed.
TEST_F(NatsBrokerTest, ServerThatFallsSilentIsLostWithinTwoHeartbeats) {
    broker.emplace();
    Peer silent(broker->url());
    silent.subscribe("kova.device.@q");
    client = nats::connect(broker->url(), "/device", "", clientOptions).orThrow();
    send(inbox);
    const std::string answers = silent.receive().reply;
    const auto begun = std::chrono::steady_clock::now();
    silent.send(answers, frame(3, 0), "kova.@c.silent.1");
    const std::string event = inbox.waitForLast().at(0);
    const auto duration = std::chrono::steady_clock::now() - begun;
    EXPECT_TRUE(isError(event, 503, "lost: the server of '/device' is silent")) << event;
    EXPECT_GE(duration, 3 * HEARTBEAT / 2);
    EXPECT_LT(duration, 2 * HEARTBEAT + 1s);  // a second for a machine that is busy
}

TEST_F(NatsBrokerTest, AnswerStaysWithItsServer) {
    begin();
    HeldService other;
    nats::Server second(other, broker->url(), serverOptions);
    second.waitUntilServing(30s).orThrow();
    std::promise<HeldService*> chosen;
    service.onRequest = [&](std::size_t) { chosen.set_value(&service); };
    other.onRequest = [&](std::size_t) { chosen.set_value(&other); };
    send(inbox);
    HeldService& owner = *chosen.get_future().get();
    Events expected;
    for (unsigned short i = 0; i < 100; ++i) {
        const Response value(static_cast<unsigned short>(200 + i));
        owner[1].onNext(value);
        expected.push_back("next " + describe(value));
    }
    owner.take(1)->onCompleted();
    expected.emplace_back("completed");
    EXPECT_EQ(inbox.waitForLast(), expected);
}

TEST_F(NatsBrokerTest, StoppedServerEndsItsRequests) {
    begin();
    send(inbox);
    service.waitForRequests(1);
    EXPECT_TRUE(server->stop(0ms).empty());
    const Events events = inbox.waitForLast();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_TRUE(isError(events[0], 503, "lost: the server stops")) << events[0];
    const Inbox later;
    send(later);
    EXPECT_TRUE(isError(later.waitForLast().at(0), 503, "no server of '/device'"));
}

TEST_F(NatsBrokerTest, StopWaitsForPendingRequests) {
    begin();
    send(inbox);
    service.waitForRequests(1);
    std::thread stopper([this] { EXPECT_TRUE(server->stop(20s).empty()); });
    service.answer(1);
    EXPECT_EQ(inbox.waitForLast().back(), "completed");
    stopper.join();
}

// The connection is made and prepared on another thread.
TEST_F(NatsBrokerTest, ClientMayEndAtAnyTimeWhileItConnects) {
    begin();
    for (int i = 0; i < 100; ++i) {
        const auto other = nats::connect(broker->url(), "/device", "", clientOptions).orThrow();
        std::this_thread::sleep_for(i * 50us);
    }
    EXPECT_EQ(ask().back(), "completed");
}

TEST_F(NatsBrokerTest, ClientThatIsGoneIsNoticed) {
    begin();
    Peer peer(broker->url());
    // Nobody receives the answers, so the broker itself answers the acknowledgement.
    peer.send("kova.device.@q", requestFrame(Request("retrieve", "/state"), 1), "nobody");
    EXPECT_EQ(service.waitForCancelled(1), std::vector<std::size_t>{1});
}

TEST_F(NatsBrokerTest, SilentClientIsCancelled) {
    begin();
    Peer peer(broker->url());
    peer.subscribe("answers");
    peer.send("kova.device.@q", requestFrame(Request("retrieve", "/state"), 1), "answers");
    EXPECT_EQ(service.waitForCancelled(1), std::vector<std::size_t>{1});
}

TEST_F(NatsBrokerTest, RequestsFromTheBrokerAreNotThoseOfTheOwnUser) {
    std::promise<kit::Peer> peer;
    service.onRequest = [&](std::size_t number) {
        peer.set_value(kit::peerOf(service.request(number)));
        service.answer(number);
    };
    begin();
    send(inbox);
    inbox.waitForLast();
    const kit::Peer seen = peer.get_future().get();
    EXPECT_EQ(seen.uid, -1);
    EXPECT_EQ(seen.address.substr(0, 5), "nats:");
}

// Limits

TEST_F(NatsBrokerTest, RequestUpToTheLimitOfTheBrokerArrives) {
    begin("max_payload: 10000");
    service.onRequest = [this](std::size_t number) { service.answer(number); };
    const std::size_t frameSize =
        requestFrame(Request("update", "/", Payload::createFromString("")), 1).size();
    const std::size_t fits = 10000 - frameSize;
    const auto update = [&](std::size_t size) {
        const Inbox own;
        send(own, Request("update", "/", Payload::createFromString(payload(size))));
        return own.waitForLast().back();
    };
    EXPECT_EQ(update(fits), "completed");
    const std::string refused = update(fits + 1);
    EXPECT_TRUE(isError(refused, 413, "the request has 10001 bytes, the broker allows 10000"))
        << refused;
    EXPECT_EQ(ask().back(), "completed");
}

TEST_F(NatsBrokerTest, ValueBeyondTheLimitOfTheBrokerEndsItsRequest) {
    begin("max_payload: 10000");
    const auto value = [&](std::size_t size) {
        return Response(200, Payload::createFromString(payload(size)));
    };
    std::string record;
    wire::appendEvent(record, wire::RecordKind::next, value(0), true).orThrow();
    const std::size_t fits = 10000 - 10 - record.size();
    const auto answered = [&](std::size_t size) {
        service.onRequest = [&, size](std::size_t number) { service.answer(number, value(size)); };
        const Inbox own;
        send(own);
        return own.waitForLast().back();
    };
    EXPECT_EQ(answered(fits), "completed");
    const std::string refused = answered(fits + 1);
    EXPECT_TRUE(isError(refused, 413, "the broker allows 9990")) << refused;
    EXPECT_EQ(ask().back(), "completed");
}

TEST_F(NatsBrokerTest, FurtherRequestThanAllowedIsRefused) {
    serverOptions.requests = 2;
    begin();
    const Inbox others[2];
    send(others[0]);
    send(others[1]);
    service.waitForRequests(2);
    send(inbox);
    EXPECT_TRUE(isError(inbox.waitForLast().at(0), 429, "too many pending requests"));
    service.answer(1);
    EXPECT_EQ(others[0].waitForLast().back(), "completed");
    EXPECT_EQ(ask().back(), "completed");
}

// Malformed messages

TEST_F(NatsBrokerTest, MalformedMessagesDoNotDisturbOtherRequests) {
    begin();
    send(inbox);
    service.waitForRequests(1);
    Peer peer(broker->url());
    peer.subscribe(">");
    const std::string request = requestFrame(Request("retrieve", "/"), 1);
    const std::vector<std::string> malformed = {"",
                                                "x",
                                                std::string(9, '\1'),
                                                frame(1, 1),
                                                frame(1, 0, request.substr(10)),
                                                request + "x",
                                                request.substr(0, request.size() - 1),
                                                frame(2, 1),
                                                frame(255, 1),
                                                std::string(5000, '\xFF')};
    std::vector<std::string> subjects = {"kova.device.@q", "kova.@c.x.1"};
    service[1].onNext(Response(200));
    for (std::string control; control.empty();) {
        const Peer::Received received = peer.receive();
        control = received.reply;
        if (!control.empty()) {
            subjects.push_back(control.substr(0, control.rfind('.')) + ".99");
            subjects.push_back(control.substr(0, control.rfind('.')) + ".x");
            subjects.push_back(received.subject.substr(0, received.subject.rfind('.')) + ".99");
            subjects.push_back(received.subject.substr(0, received.subject.rfind('.')) + ".x");
        }
    }
    for (const std::string& subject : subjects) {
        for (const std::string& message : malformed) {
            peer.send(subject, message);
            peer.send(subject, message, "kova.answers");
        }
    }
    service.take(1)->onCompleted();
    EXPECT_EQ(inbox.waitForLast().back(), "completed");
    EXPECT_EQ(ask().back(), "completed");
}

TEST_F(NatsBrokerTest, MalformedRequestIsAnsweredWith400) {
    begin();
    Peer peer(broker->url());
    peer.subscribe("answers");
    for (const std::string& message : {std::string("x"), frame(4, 0), frame(1, 1, "abcd")}) {
        peer.send("kova.device.@q", message, "answers");
        const Events events = eventsOf(peer.receive().data.substr(10));
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events[0].substr(0, 9), "error 400");
    }
}

}  // namespace
}  // namespace kova::test
