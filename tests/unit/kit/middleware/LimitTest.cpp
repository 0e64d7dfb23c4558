#include <gtest/gtest.h>

#include <thread>

#include "kova/core/headers.h"
#include "kova/kit/Middleware.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"

namespace kova::kit {
namespace {

using Events = testing::Recording::Events;

struct Limited {
    explicit Limited(const LimitOptions& options) { chain.use(limit(options)); }

    /// Sends a request. Returns its handle. If the request is rejected, returns null and stores the
    /// text in `refusal`.
    void* send(const Request& request = {"retrieve", "/state"}) {
        auto recording = testing::record();
        void* const handle = chain.actionRequest(request, recording.handler());
        const Events events = recording.events();
        refusal = events.empty() ? "" : events[0];
        return handle;
    }
    void* sendAs(const Peer& peer) {
        const PeerScope scope(peer);
        return send();
    }

    std::string refusal;
    test::HeldService service;
    Chain chain{service};
};

Request stream() {
    Request request("retrieve", "/state");
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    return request;
}

LimitOptions bounds(std::size_t pending, std::size_t perPeer, std::size_t streams) {
    LimitOptions options;
    options.pending = pending;
    options.perPeer = perPeer;
    options.streams = streams;
    return options;
}

TEST(Limit, AllRequestsAreAcceptedWithoutBounds) {
    Limited limited({});
    for (int i = 0; i < 1000; ++i) {
        EXPECT_NE(limited.send(stream()), nullptr);
    }
}

TEST(Limit, RequestBeyondTheBoundIsRejected) {
    Limited limited(bounds(2, 0, 0));
    limited.send();
    void* const second = limited.send();
    EXPECT_NE(second, nullptr);
    EXPECT_EQ(limited.send(), nullptr);
    EXPECT_EQ(limited.refusal, "error 503 too many pending requests: at most 2");
    limited.service.answer(1);
    EXPECT_NE(limited.send(), nullptr);
    EXPECT_EQ(limited.send(), nullptr);
    limited.chain.cancelRequest(second);
    limited.chain.cancelRequest(second);
    EXPECT_NE(limited.send(), nullptr);
    EXPECT_EQ(limited.send(), nullptr);
}

TEST(Limit, ImmediateAnswersAndRejectionsDoNotCount) {
    Limited limited(bounds(1, 1, 1));
    limited.service.onRequest = [&](std::size_t number) { limited.service.answer(number); };
    for (int i = 0; i < 3; ++i) {
        limited.send(stream());
        EXPECT_EQ(limited.refusal, "value 200");
    }
    limited.service.rejects = true;
    limited.send(stream());
    limited.service.rejects = false;
    limited.send(stream());
    EXPECT_EQ(limited.refusal, "value 200");
}

TEST(Limit, RequestFromAnEndCallbackUsesThePlaceOfTheEndedRequest) {
    Limited limited(bounds(1, 1, 0));
    auto first = testing::record();
    void* next = nullptr;
    first.onEvent([&](const std::string& event) {
        if (event == "completed") {
            next = limited.send();
        }
    });
    limited.chain.actionRequest({"retrieve", "/state"}, first.handler());
    limited.service.answer(1);
    EXPECT_NE(next, nullptr);
}

TEST(Limit, CountsEachPeerByUserProcessAndAddress) {
    Limited limited(bounds(0, 1, 0));
    const Peer peers[] = {{1000, 100, 7, "unix:"},
                          {1001, 100, 7, "unix:"},
                          {1000, 100, 8, "unix:"},
                          {1000, 100, 7, "[2001:db8:85a3:1234:5678:8a2e:370:7334]:41034"},
                          Peer::self()};
    for (const Peer& peer : peers) {
        EXPECT_NE(limited.sendAs(peer), nullptr);
        EXPECT_EQ(limited.sendAs(peer), nullptr);
        EXPECT_EQ(limited.refusal, "error 503 too many pending requests of the peer: at most 1");
    }
    Peer otherGroup = peers[0];
    otherGroup.gid = 5;
    EXPECT_EQ(limited.sendAs(otherGroup), nullptr);
    limited.service.answer(1);
    EXPECT_NE(limited.sendAs(otherGroup), nullptr);
}

TEST(Limit, ClientIdDoesNotAffectTheBound) {
    Limited limited(bounds(0, 1, 0));
    Request first("retrieve", "/state");
    headers::appendTracingInfo(first, "/home", "a");
    Request second("retrieve", "/state");
    headers::appendTracingInfo(second, "/home", "b");
    EXPECT_NE(limited.send(first), nullptr);
    EXPECT_EQ(limited.send(second), nullptr);
}

TEST(Limit, StreamsHaveASeparateBound) {
    Limited limited(bounds(3, 0, 1));
    void* const handle = limited.send(stream());
    EXPECT_EQ(limited.send(stream()), nullptr);
    EXPECT_EQ(limited.refusal, "error 503 too many streams: at most 1");
    limited.service[1].onNext(Response(299));
    EXPECT_EQ(limited.send(stream()), nullptr);
    EXPECT_NE(limited.send(), nullptr);
    EXPECT_NE(limited.send(), nullptr);
    EXPECT_EQ(limited.send(), nullptr);
    limited.chain.cancelRequest(handle);
    EXPECT_NE(limited.send(stream()), nullptr);
}

TEST(Limit, RejectedRequestIsNotCounted) {
    Limited limited(bounds(2, 1, 0));
    EXPECT_NE(limited.send(), nullptr);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(limited.send(), nullptr);
        EXPECT_EQ(limited.refusal, "error 503 too many pending requests of the peer: at most 1");
    }
    EXPECT_NE(limited.sendAs({1, 1, 1, ""}), nullptr);
}

TEST(Limit, DroppedRequestCountsUntilItsEndIsDelivered) {
    Limited limited(bounds(1, 0, 0));
    limited.send();
    limited.service.take(1).reset();  // answered with 500 on the thread of the kit
    void* handle = nullptr;
    while (handle == nullptr) {
        handle = limited.send();
        std::this_thread::yield();
    }
    EXPECT_EQ(limited.send(), nullptr);
}

}  // namespace
}  // namespace kova::kit
