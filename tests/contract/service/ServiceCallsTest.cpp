// The order of events, cancellation, destruction of clients, and calls from inside callbacks.
#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "contract/service/ServiceContract.h"
#include "support/Threads.h"

namespace kova::test {
namespace {

using Events = Inbox::Events;

Response textValue(unsigned short status, const std::string& text) {
    return {status, Payload::createFromString(text)};
}

std::string nextOf(unsigned short status, const std::string& text) {
    return "next " + describe(textValue(status, text));
}

// Values and terminating events

TEST_P(ServiceContract, ValuesArriveInTheirOrder) {
    constexpr int COUNT = 1000;
    sendAndWait(inbox);
    Events expected;
    const HeldService::Handler handler = service.take(1);
    for (int i = 0; i < COUNT; ++i) {
        EXPECT_FALSE(handler->onNext(textValue(200, std::to_string(i))));
        expected.push_back(nextOf(200, std::to_string(i)));
    }
    handler->onCompleted();
    expected.emplace_back("completed");
    EXPECT_EQ(inbox.waitForLast(), expected);
}

TEST_P(ServiceContract, ValueArrivesBeforeTheTerminatingEvent) {
    sendAndWait(inbox);
    service[1].onNext(textValue(200, "first"));
    EXPECT_EQ(inbox.waitFor(1), (Events{nextOf(200, "first")}));
    service[1].onNext(textValue(200, "second"));
    EXPECT_EQ(inbox.waitFor(2), (Events{nextOf(200, "first"), nextOf(200, "second")}));
    service.take(1)->onError(Response::createErrorResponse(500, "broken"));
    EXPECT_EQ(inbox.waitForLast().size(), 3U);
    EXPECT_EQ(inbox.events().back().substr(0, 9), "error 500");
}

TEST_P(ServiceContract, RequestCanCompleteWithoutAValue) {
    sendAndWait(inbox);
    service.take(1)->onCompleted();
    EXPECT_EQ(inbox.waitForLast(), (Events{"completed"}));
}

TEST_P(ServiceContract, AnswerSentInsideActionRequestArrives) {
    service.onRequest = [this](std::size_t number) { service.answer(number, textValue(200, "x")); };
    send(inbox);
    EXPECT_EQ(inbox.waitForLast(), (Events{nextOf(200, "x"), "completed"}));
}

TEST_P(ServiceContract, OnlyTheFirstTerminatingEventArrives) {
    sendAndWait(inbox);
    {
        const HeldService::Handler handler = service.take(1);
        handler->onCompleted();
        handler->onError(Response::createErrorResponse(500, "too late"));
        handler->onCompleted();
        handler->onNext(Response(200));
    }
    EXPECT_EQ(inbox.waitForLast(), (Events{"completed"}));
}

TEST_P(ServiceContract, RequestThatTheServiceRefusesEndsWithAnError) {
    service.rejects = true;
    send(inbox);
    const Response expected = Response::createErrorResponse(503, "the service refuses requests");
    EXPECT_EQ(inbox.waitForLast(), (Events{"error " + describe(expected)}));
}

TEST_P(ServiceContract, RequestWhoseHandlerTheServiceDestroysEndsWithAnError) {
    sendAndWait(inbox);
    service[1].onNext(textValue(200, "before"));
    service.take(1).reset();
    const Response expected =
        Response::createErrorResponse(500, "the service dropped retrieve '/state'");
    EXPECT_EQ(inbox.waitForLast(), (Events{nextOf(200, "before"), "error " + describe(expected)}));
}

// With some transports `onNext` returns true to the service, with others the request is cancelled.
TEST_P(ServiceContract, HandlerThatWantsNoFurtherValuesGetsTheTerminatingEvent) {
    inbox.onEvent([](const std::string&) { return true; });
    sendAndWait(inbox);
    HeldService::Handler handler = service.take(1);  // a local variable outlives the call
    if (handler->onNext(textValue(200, "enough"))) {
        handler->onCompleted();
    } else {
        service.waitForCancelled(1);
    }
    handler.reset();
    EXPECT_EQ(inbox.waitForLast(), (Events{nextOf(200, "enough"), "completed"}));
}

// Cancellation

TEST_P(ServiceContract, CancellationReachesTheServiceAndSendsNoEvent) {
    void* const handle = sendAndWait(inbox);
    ASSERT_NE(handle, IKovaApi::UNDEFINED_REQUEST_HANDLE);
    client->cancelRequest(handle);
    EXPECT_EQ(service.waitForCancelled(1), (std::vector<std::size_t>{1}));
    EXPECT_EQ(inbox.waitForLast(), Events{});
}

TEST_P(ServiceContract, CancellationAfterAValueSendsNoFurtherEvent) {
    void* const handle = sendAndWait(inbox);
    service[1].onNext(textValue(200, "first"));
    inbox.waitFor(1);
    client->cancelRequest(handle);
    EXPECT_EQ(service.waitForCancelled(1), (std::vector<std::size_t>{1}));
    EXPECT_EQ(inbox.waitForLast(), (Events{nextOf(200, "first")}));
}

// The requests of a client arrive in their order. So when the second request has arrived, the first
// one has arrived before or never will.
TEST_P(ServiceContract, CancellationDirectlyAfterTheRequestLeavesNoPendingRequest) {
    client->cancelRequest(send(inbox));
    EXPECT_EQ(inbox.waitForLast(), Events{});
    const Inbox second;
    send(second, Request("retrieve", "/second"));
    service.waitForRequests(1);
    if (service.request(1).getPath() == "/state") {
        service.waitForRequests(2);
        EXPECT_EQ(service.waitForCancelled(1), (std::vector<std::size_t>{1}));
        service.answer(2);
    } else {
        service.answer(1);
        EXPECT_EQ(cancelledWhilePending(), std::vector<std::size_t>{});
    }
    EXPECT_EQ(second.waitForLast().back(), "completed");
}

TEST_P(ServiceContract, CancellationFromInsideOnNextEndsTheRequest) {
    std::atomic<void*> handle{nullptr};
    inbox.onEvent([&](const std::string&) {
        client->cancelRequest(handle);
        return false;
    });
    handle = sendAndWait(inbox);
    const HeldService::Handler handler = service.take(1);  // a local variable outlives the call
    handler->onNext(textValue(200, "first"));
    EXPECT_EQ(service.waitForCancelled(1), (std::vector<std::size_t>{1}));
    EXPECT_EQ(inbox.waitForLast(), (Events{nextOf(200, "first")}));
}

TEST_P(ServiceContract, SecondCancellationHasNoEffect) {
    void* const handle = sendAndWait(inbox);
    client->cancelRequest(handle);
    client->cancelRequest(handle);
    service.waitForCancelled(1);
    client->cancelRequest(handle);
    EXPECT_EQ(answered(Response(200)).back(), "completed");
    EXPECT_EQ(cancelledWhilePending(), (std::vector<std::size_t>{1}));
}

TEST_P(ServiceContract, CancellationAfterTheTerminatingEventHasNoEffect) {
    void* const handle = sendAndWait(inbox);
    service.answer(1);
    EXPECT_EQ(inbox.waitForLast().back(), "completed");
    const Inbox other;
    sendAndWait(other);
    client->cancelRequest(handle);
    service.answer(2);
    EXPECT_EQ(other.waitForLast().back(), "completed");
    EXPECT_EQ(cancelledWhilePending(), std::vector<std::size_t>{});
}

TEST_P(ServiceContract, CancellationOfAnUnknownHandleIsIgnored) {
    sendAndWait(inbox);
    client->cancelRequest(IKovaApi::UNDEFINED_REQUEST_HANDLE);
    client->cancelRequest(HeldService::toHandle(0x7654321));
    service.answer(1);
    EXPECT_EQ(inbox.waitForLast().back(), "completed");
    EXPECT_EQ(cancelledWhilePending(), std::vector<std::size_t>{});
}

// Calls from inside callbacks, and several at once

TEST_P(ServiceContract, RequestsCanBeSentFromInsideCallbacks) {
    const Inbox fromValue;
    const Inbox fromEnd;
    inbox.onEvent([&](const std::string& event) {
        send(event == "completed" ? fromEnd : fromValue);
        return false;
    });
    sendAndWait(inbox);
    service[1].onNext(Response(200));
    service.waitForRequests(2);
    service.answer(2, textValue(200, "two"));
    service.take(1)->onCompleted();
    service.waitForRequests(3);
    service.answer(3, textValue(200, "three"));
    EXPECT_EQ(fromValue.waitForLast(), (Events{nextOf(200, "two"), "completed"}));
    EXPECT_EQ(fromEnd.waitForLast(), (Events{nextOf(200, "three"), "completed"}));
}

TEST_P(ServiceContract, RequestsCanBeAnsweredInAnyOrder) {
    const std::vector<Inbox> inboxes(10);
    for (const Inbox& each : inboxes) {
        sendAndWait(each);
    }
    for (std::size_t number = inboxes.size(); number > 0; --number) {
        service.answer(number, textValue(200, std::to_string(number)));
        EXPECT_EQ(inboxes[number - 1].waitForLast(),
                  (Events{nextOf(200, std::to_string(number)), "completed"}));
    }
}

TEST_P(ServiceContract, FourThreadsSendRequestsAtOnce) {
    constexpr std::size_t REQUESTS_OF_A_THREAD = 25;
    service.onRequest = [this](std::size_t number) {
        service.answer(number, textValue(200, service.request(number).getPath()));
    };
    std::vector<std::vector<Inbox>> inboxes;
    for (int thread = 0; thread < 4; ++thread) {
        inboxes.emplace_back(REQUESTS_OF_A_THREAD);
    }
    const auto pathOf = [](int thread, std::size_t i) {
        return "/" + std::to_string(thread) + "/" + std::to_string(i);
    };
    runOnThreads(4, [&](int thread) {
        for (std::size_t i = 0; i < REQUESTS_OF_A_THREAD; ++i) {
            send(inboxes[static_cast<std::size_t>(thread)][i],
                 Request("retrieve", pathOf(thread, i)));
        }
    });
    for (int thread = 0; thread < 4; ++thread) {
        for (std::size_t i = 0; i < REQUESTS_OF_A_THREAD; ++i) {
            EXPECT_EQ(inboxes[static_cast<std::size_t>(thread)][i].waitForLast(),
                      (Events{nextOf(200, pathOf(thread, i)), "completed"}));
        }
    }
}

TEST_P(ServiceContract, HundredStreamsRunAtTheSameTime) {
    const std::vector<Inbox> inboxes(100);
    for (const Inbox& each : inboxes) {
        sendAndWait(each);
    }
    for (int round = 0; round < 3; ++round) {
        for (std::size_t number = 1; number <= inboxes.size(); ++number) {
            service[number].onNext(textValue(200, std::to_string(round)));
        }
    }
    for (std::size_t number = 1; number <= inboxes.size(); ++number) {
        service.take(number)->onCompleted();
        EXPECT_EQ(inboxes[number - 1].waitForLast(),
                  (Events{nextOf(200, "0"), nextOf(200, "1"), nextOf(200, "2"), "completed"}));
    }
}

// Destruction of a client

TEST_P(ServiceContract, DestructionOfTheClientCancelsItsRequestsSilently) {
    const Inbox other;
    sendAndWait(inbox);
    sendAndWait(other);
    service[1].onNext(textValue(200, "before"));
    inbox.waitFor(1);
    client.reset();
    EXPECT_EQ(inbox.waitForLast(), (Events{nextOf(200, "before")}));
    EXPECT_EQ(other.waitForLast(), Events{});
    std::vector<std::size_t> cancelled = service.waitForCancelled(2);
    std::sort(cancelled.begin(), cancelled.end());
    EXPECT_EQ(cancelled, (std::vector<std::size_t>{1, 2}));
}

TEST_P(ServiceContract, ClientCanBeDestroyedFromInsideACallback) {
    const Inbox other;
    inbox.onEvent([&](const std::string&) {
        client.reset();
        return false;
    });
    sendAndWait(inbox);
    sendAndWait(other);
    const HeldService::Handler handler = service.take(1);  // a local variable outlives the call
    handler->onNext(textValue(200, "only"));
    EXPECT_EQ(service.waitForCancelled(2).size(), 2U);
    EXPECT_EQ(inbox.waitForLast(), (Events{nextOf(200, "only")}));
    EXPECT_EQ(other.waitForLast(), Events{});
}

TEST_P(ServiceContract, DestructionOfTheClientWaitsForARunningCallback) {
    std::promise<void> entered;
    std::promise<void> released;
    std::atomic<bool> isDestroying{false};
    std::atomic<bool> hasLeft{false};
    inbox.onEvent([&](const std::string&) {
        entered.set_value();
        released.get_future().wait();
        hasLeft = true;
        return false;
    });
    sendAndWait(inbox);
    const HeldService::Handler handler = service.take(1);
    std::thread sender([&] { handler->onNext(Response(200)); });
    entered.get_future().wait();
    std::thread releaser([&] {
        while (!isDestroying) {
            std::this_thread::yield();
        }
        for (int i = 0; i < 1000; ++i) {
            std::this_thread::yield();  // gives a wrong destructor the time to return too early
        }
        released.set_value();
    });
    isDestroying = true;
    client.reset();
    EXPECT_TRUE(hasLeft);
    sender.join();
    releaser.join();
}

TEST_P(ServiceContract, DestructionOfAClientKeepsTheRequestsOfOtherClients) {
    std::unique_ptr<IKovaApi> second = transport->connect();
    const Inbox own;
    sendAndWait(inbox);
    second->actionRequest(Request("retrieve", "/own"), own.handler());
    service.waitForRequests(2);
    client.reset();
    EXPECT_EQ(service.waitForCancelled(1), (std::vector<std::size_t>{1}));
    service.answer(2, textValue(200, "still here"));
    EXPECT_EQ(own.waitForLast(), (Events{nextOf(200, "still here"), "completed"}));
    EXPECT_EQ(inbox.waitForLast(), Events{});
    second.reset();
}

}  // namespace
}  // namespace kova::test
