// Requests to all instances of a service path, at a broker.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Peer.h"
#include "contract/service/Inbox.h"
#include "kova/core/headers.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"
#include "support/HeldService.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using namespace std::chrono_literals;
using Events = Inbox::Events;

std::string next(const std::string& instance, const std::string& status = "200") {
    return "next " + status + " '' without payload {\"$instance\":\"" + instance + "\"}";
}

Request streamRequest() {
    Request request("retrieve", "/state");
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    return request;
}

/// One instance: a service that answers when the test says so, and its server.
struct Car {
    Car(const std::string& url, const std::string& name, std::chrono::milliseconds heartbeat) {
        nats::ServerOptions options;
        options.servicePath = "/car";
        options.instance = name;
        options.broker.heartbeat = heartbeat;
        server = std::make_unique<nats::Server>(service, url, options);
        server->waitUntilServing(30s).orThrow();
    }

    HeldService service;
    std::unique_ptr<nats::Server> server;
};

/// A broker with cars, and a client of all cars that searches for further ones each 200 ms.
class AllInstancesTest : public ::testing::Test {
protected:
    AllInstancesTest() {
        options.broker.heartbeat = 200ms;
        options.patience = 20s;
        client = nats::connect(broker.url(), "/car", nats::ALL_INSTANCES, options).orThrow();
    }

    Car& start(const std::string& name) {
        cars[name] = std::make_unique<Car>(broker.url(), name, options.broker.heartbeat);
        return *cars[name];
    }
    void* send(const Request& request) { return client->actionRequest(request, inbox.handler()); }
    /// Waits for `count` events, and returns them in alphabetical order.
    Events sortedEvents(std::size_t count) {
        inbox.waitFor(count);
        Events events = inbox.events();
        std::sort(events.begin(), events.end());
        return events;
    }
    /// Returns whether one of the events begins with one text and contains the other.
    static bool hasEvent(const Events& events, const std::string& begin, const std::string& part) {
        return std::any_of(events.begin(), events.end(), [&](const std::string& event) {
            return event.find(begin) == 0 && event.find(part) != std::string::npos;
        });
    }

    Watchdog watchdog{"all instances are asked"};
    Broker broker;
    nats::ConnectOptions options;
    std::map<std::string, std::unique_ptr<Car>> cars;
    std::unique_ptr<IKovaApi> client;
    Inbox inbox;
};

TEST_F(AllInstancesTest, EachInstanceAnswersARequestOnce) {
    for (char const* name : {"a", "b", "c"}) {
        Car& car = start(name);
        car.service.onRequest = [&car](std::size_t number) { car.service.answer(number); };
    }
    send(Request("update", "/state"));
    EXPECT_EQ(inbox.waitForLast().back(), "completed");
    EXPECT_EQ(sortedEvents(4), (Events{"completed", next("a"), next("b"), next("c")}));
    for (const auto& [name, car] : cars) {
        EXPECT_EQ(car->service.request(1).getCommand(), "update") << name;
        EXPECT_THROW(car->service.request(2), std::out_of_range) << name;
    }
}

TEST_F(AllInstancesTest, ServersWithoutInstanceNameAreNotAsked) {
    Car& unnamed = start("");
    Car& named = start("a");
    named.service.onRequest = [&](std::size_t number) { named.service.answer(number); };
    send(Request("retrieve", "/state"));
    EXPECT_EQ(inbox.waitForLast(), (Events{next("a"), "completed"}));
    EXPECT_THROW(unnamed.service.request(1), std::out_of_range);
}

TEST_F(AllInstancesTest, WithoutAnInstanceTheRequestFailsAtOnce) {
    send(streamRequest());
    EXPECT_TRUE(hasEvent(inbox.waitForLast(), "error 503", "no server of '/car'"));
}

TEST_F(AllInstancesTest, InstancesThatDoNotAnswerASearchAreNotWaitedFor) {
    Peer peer(broker.url());
    peer.subscribe("kova.car.@a");
    send(Request("retrieve", "/state"));
    EXPECT_TRUE(hasEvent(inbox.waitForLast(), "error 503", ""));
    EXPECT_EQ(inbox.events().size(), 1U);
    EXPECT_EQ(peer.receive().data, frame(6, 0));
}

TEST_F(AllInstancesTest, ErrorOfAnInstanceIsAValue) {
    Car& good = start("a");
    Car& bad = start("b");
    good.service.onRequest = [&](std::size_t number) { good.service.answer(number); };
    bad.service.onRequest = [&](std::size_t number) {
        bad.service.take(number)->onError(Response::createErrorResponse(404, "no such state"));
    };
    send(Request("retrieve", "/state"));
    inbox.waitForLast();
    const Events events = sortedEvents(3);
    EXPECT_EQ(events[0], "completed");
    EXPECT_EQ(events[1], next("a"));
    EXPECT_TRUE(hasEvent(events, "next 404", "\"no such state\""));
    EXPECT_TRUE(hasEvent(events, "next 404", "\"$instance\":\"b\""));
}

TEST_F(AllInstancesTest, NewInstancesJoinAStream) {
    Car& first = start("a");
    send(streamRequest());
    first.service.waitForRequests(1);
    first.service[1].onNext(Response(200));
    EXPECT_EQ(sortedEvents(1), (Events{next("a")}));
    Car& second = start("b");
    second.service.waitForRequests(1);
    second.service[1].onNext(Response(201));
    first.service[1].onNext(Response(202));
    EXPECT_EQ(sortedEvents(3), (Events{next("a"), next("b", "201"), next("a", "202")}));
}

TEST_F(AllInstancesTest, InstanceThatWasLostJoinsAStreamAgain) {
    start("a").service.onRequest = [this](std::size_t number) {
        cars["a"]->service[number].onNext(Response(200));
    };
    start("b");
    send(streamRequest());
    cars["b"]->service.waitForRequests(1);
    inbox.waitFor(1);
    cars.erase("a");
    EXPECT_TRUE(hasEvent(sortedEvents(2), "next 503", "\"$instance\":\"a\""));
    Car& again = start("a");
    again.service.waitForRequests(1);
    again.service[1].onNext(Response(201));
    EXPECT_TRUE(hasEvent(sortedEvents(3), next("a", "201"), ""));
}

TEST_F(AllInstancesTest, StreamSurvivesARestartOfTheBroker) {
    Car& car = start("a");
    send(streamRequest());
    car.service.waitForRequests(1);
    broker.stop();
    inbox.waitFor(1);
    EXPECT_TRUE(hasEvent(inbox.events(), "next 503", "lost: "));
    broker.start();
    car.service.waitForRequests(2);
    car.service[2].onNext(Response(201));
    EXPECT_TRUE(hasEvent(sortedEvents(2), next("a", "201"), ""));
}

TEST_F(AllInstancesTest, ChangeIsNotSentAgainToAnInstanceThatWasLost) {
    Car& lost = start("a");
    Car& other = start("b");
    send(Request("update", "/state"));
    lost.service.waitForRequests(1);
    other.service.waitForRequests(1);
    cars.erase("a");
    inbox.waitFor(1);
    EXPECT_TRUE(hasEvent(inbox.events(), "next 503", "\"$instance\":\"a\""));
    Car& again = start("a");
    other.service.answer(1);
    EXPECT_EQ(inbox.waitForLast().back(), "completed");
    EXPECT_THROW(again.service.request(1), std::out_of_range);
}

TEST_F(AllInstancesTest, CancellationReachesEachInstance) {
    Car& first = start("a");
    Car& second = start("b");
    void* const handle = send(streamRequest());
    first.service.waitForRequests(1);
    second.service.waitForRequests(1);
    client->cancelRequest(handle);
    EXPECT_EQ(first.service.waitForCancelled(1), std::vector<std::size_t>{1});
    EXPECT_EQ(second.service.waitForCancelled(1), std::vector<std::size_t>{1});
    EXPECT_TRUE(inbox.events().empty());
}

TEST_F(AllInstancesTest, DestructionCancelsAtEachInstance) {
    Car& car = start("a");
    send(streamRequest());
    car.service.waitForRequests(1);
    client.reset();
    EXPECT_EQ(car.service.waitForCancelled(1), std::vector<std::size_t>{1});
    EXPECT_TRUE(inbox.events().empty());
}

TEST_F(AllInstancesTest, HandlerThatWantsNoMoreEndsTheRequestEverywhere) {
    inbox.onEvent([](const std::string& event) { return event.find("next") == 0; });
    Car& first = start("a");
    Car& second = start("b");
    send(streamRequest());
    first.service.waitForRequests(1);
    second.service.waitForRequests(1);
    first.service[1].onNext(Response(200));
    EXPECT_EQ(inbox.waitForLast(), (Events{next("a"), "completed"}));
    EXPECT_EQ(first.service.waitForCancelled(1), std::vector<std::size_t>{1});
    EXPECT_EQ(second.service.waitForCancelled(1), std::vector<std::size_t>{1});
}

TEST_F(AllInstancesTest, MalformedAnswersToASearchDoNotHideInstances) {
    Peer peer(broker.url());
    peer.subscribe("kova.car.@a");
    send(streamRequest());
    const std::string reply = peer.receive().reply;
    for (const std::string& answer :
         {std::string(), frame(7, 0), frame(7, 0, "\xFF"), frame(7, 0, std::string(257, 'x')),
          frame(2, 1), frame(9, 0)}) {
        peer.send(reply, answer);
    }
    peer.send(reply, frame(7, 0, "gone"));  // an instance without a server
    inbox.waitFor(1);
    EXPECT_TRUE(hasEvent(inbox.events(), "next 503", "\"$instance\":\"gone\""));
    Car& car = start("a");
    car.service.waitForRequests(1);
    car.service[1].onNext(Response(200));
    EXPECT_TRUE(hasEvent(sortedEvents(2), next("a"), ""));
}

TEST_F(AllInstancesTest, MessagesThatAreNoSearchAreIgnored) {
    Car& car = start("a");
    car.service.onRequest = [&](std::size_t number) { car.service.answer(number); };
    Peer peer(broker.url());
    peer.subscribe("answers");
    for (const std::string& message : {std::string(), frame(1, 0), frame(6, 0, "x"), frame(7, 0)}) {
        peer.send("kova.car.@a", message, "answers");
    }
    peer.send("kova.car.@a", frame(6, 0));  // without a reply
    peer.send("kova.car.@a", frame(6, 0), "answers");
    EXPECT_EQ(peer.receive().data, frame(7, 0, "a"));  // the only answer so far
}

TEST_F(AllInstancesTest, NamesThatMeanNoInstanceAreRefused) {
    HeldService service;
    for (char const* name : {"*", "\xFF"}) {
        nats::ServerOptions options;
        options.instance = name;
        EXPECT_THROW(nats::Server(service, broker.url(), options), std::invalid_argument);
    }
}

TEST_F(AllInstancesTest, GatheringIsLimited) {
    const auto codeWith = [this](std::chrono::milliseconds gathering) {
        nats::ConnectOptions own;
        own.gathering = gathering;
        const auto made = nats::connect(broker.url(), "/car", nats::ALL_INSTANCES, own);
        return made ? 0 : static_cast<int>(made.error().code);
    };
    EXPECT_EQ(codeWith(0ms), 400);
    EXPECT_EQ(codeWith(1ms), 0);
    EXPECT_EQ(codeWith(60'000ms), 0);
    EXPECT_EQ(codeWith(60'001ms), 400);
}

}  // namespace
}  // namespace kova::test
