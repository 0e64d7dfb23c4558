#include "kova/kit/Chain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "kova/kit/Middleware.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"

namespace kova::kit {
namespace {

using Events = testing::Recording::Events;
using Handler = std::unique_ptr<IResponseHandler<Response>>;

const Request REQUEST("retrieve", "/state");

/// An observer that appends its calls to a list.
class Noting : public Observer<std::string> {
public:
    Noting(std::string name, Events& events) : name_(std::move(name)), events_(events) {}

    Result<void> begin(const Ask& ask, std::string& state) override {
        state = name_ + ' ' + std::string(ask.path());
        if (refuses) {
            return Error{409, "refused by " + name_};
        }
        events_.push_back("begin " + state);
        return {};
    }
    void value(const Response& value, std::string& state) override {
        events_.push_back("value " + state + ' ' + std::to_string(value.getStatusCode()));
    }
    void end(const Outcome& outcome, std::string& state) noexcept override {
        events_.push_back("end " + state + ' ' + std::to_string(outcome.code) +
                          (outcome.error != nullptr ? " error" : ""));
    }

    bool refuses = false;

private:
    const std::string name_;
    Events& events_;
};

/// A chain with two observers, "a" and "b".
struct Chained {
    Chained() { chain.use(a).use(b); }

    void* send(const Request& request = REQUEST) {
        return chain.actionRequest(request, recording.handler());
    }

    Events seen;
    std::shared_ptr<Noting> a = std::make_shared<Noting>("a", seen);
    std::shared_ptr<Noting> b = std::make_shared<Noting>("b", seen);
    test::HeldService service;
    Chain chain{service};
    testing::Recording recording = testing::record();
};

TEST(Chain, EmptyChainForwardsToTheService) {
    test::HeldService service;
    Chain chain(service);
    auto recording = testing::record();
    EXPECT_NE(chain.actionRequest(REQUEST, recording.handler()), nullptr);
    service.answer(1);
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
}

TEST(Chain, FirstObserverIsTheOutermost) {
    Chained chained;
    chained.send();
    chained.service.answer(1, Response(299));
    EXPECT_EQ(chained.seen, (Events{"begin a /state", "begin b /state", "value b /state 299",
                                    "value a /state 299", "end b /state 299", "end a /state 299"}));
    EXPECT_EQ(chained.recording.events(), (Events{"value 299", "completed"}));
}

TEST(Chain, ObserversSeeTheErrorOfTheService) {
    Chained chained;
    chained.send();
    chained.service.take(1)->onError(Response::createErrorResponse(404, "no state"));
    EXPECT_EQ(chained.seen[2], "end b /state 404 error");
    EXPECT_EQ(chained.seen.size(), 4U);
    EXPECT_EQ(chained.recording.events(), (Events{"error 404 no state"}));
}

TEST(Chain, CompletionWithoutAValueHasTheCode204) {
    Chained chained;
    chained.send();
    chained.service.take(1)->onCompleted();
    EXPECT_EQ(chained.seen[2], "end b /state 204");
}

TEST(Chain, RequestDroppedByTheServiceEndsWith500) {
    Chained chained;
    chained.send();
    chained.service.take(1).reset();
    EXPECT_EQ(chained.recording.waitFor(1),
              (Events{"error 500 the service dropped retrieve '/state'"}));
    EXPECT_EQ(chained.seen[2], "end b /state 500 error");
}

TEST(Chain, RequestRejectedByTheServiceEndsWith503) {
    Chained chained;
    chained.service.rejects = true;
    EXPECT_EQ(chained.send(), nullptr);
    EXPECT_EQ(chained.recording.events(), (Events{"error 503 the service refuses requests"}));
    EXPECT_EQ(chained.seen[2], "end b /state 503 error");
    EXPECT_EQ(chained.recording.living(), 0U);
}

TEST(Chain, AnswerInsideActionRequestIsObservedOnce) {
    Chained chained;
    chained.service.onRequest = [&](std::size_t number) { chained.service.answer(number); };
    EXPECT_EQ(chained.send(), nullptr);
    EXPECT_EQ(chained.seen.size(), 6U);
    EXPECT_EQ(chained.recording.events(), (Events{"value 200", "completed"}));
}

TEST(Chain, ObserversSeeACancelledRequestEndOnce) {
    Chained chained;
    void* const handle = chained.send();
    chained.chain.cancelRequest(handle);
    chained.chain.cancelRequest(handle);
    chained.service.take(1).reset();
    EXPECT_EQ(chained.seen,
              (Events{"begin a /state", "begin b /state", "end b /state 0", "end a /state 0"}));
    EXPECT_EQ(chained.recording.events(), Events());
    EXPECT_EQ(chained.service.cancelled(), (std::vector<std::size_t>{1}));
}

TEST(Chain, LateCancellationIsIgnored) {
    Chained chained;
    void* const handle = chained.send();
    chained.service.answer(1);
    chained.send();
    chained.chain.cancelRequest(handle);
    chained.service.answer(2);
    EXPECT_EQ(chained.recording.events().size(), 4U);
    EXPECT_EQ(chained.seen.size(), 12U);
}

TEST(Chain, ObserverIsNotCalledForTheEndOfARequestThatItRejected) {
    Chained chained;
    chained.b->refuses = true;
    EXPECT_EQ(chained.send(), nullptr);
    EXPECT_EQ(chained.seen, (Events{"begin a /state", "end a /state 409 error"}));
    EXPECT_EQ(chained.recording.events(), (Events{"error 409 refused by b"}));
    EXPECT_EQ(chained.recording.living(), 0U);
}

TEST(Chain, ReturnValueOfTheReceiverReachesTheService) {
    class Sated : public IResponseHandler<Response> {
    public:
        bool onNext(const Response&) override { return true; }
        void onError(const Response&) override {}
        void onCompleted() override {}
    };
    Chained chained;
    chained.chain.actionRequest(REQUEST, std::make_unique<Sated>());
    EXPECT_TRUE(chained.service[1].onNext(Response(200)));
    chained.service[1].onCompleted();
}

// --- Functions -----------------------------------------------------------------------------------

TEST(ChainFunction, RefusedRequestIsAnsweredWithTheError) {
    test::HeldService service;
    Chain chain(service);
    chain.use(
        [](Ask& ask, Next next) { return ask.path() == "/open" ? next(ask) : refuse(403, "no"); });
    auto recording = testing::record();
    EXPECT_EQ(chain.actionRequest(REQUEST, recording.handler()), nullptr);
    EXPECT_EQ(recording.events(), (Events{"error 403 no"}));
    EXPECT_NE(chain.actionRequest({"retrieve", "/open"}, recording.handler()), nullptr);
    EXPECT_EQ(service.request(1).getPath(), "/open");
    service.answer(1);
}

TEST(ChainFunction, ForwardsAChangedRequest) {
    Events seen;
    test::HeldService service;
    Chain chain(service);
    chain.use(std::make_shared<Noting>("a", seen));
    chain.use([](const Ask& ask, Next next) {
        return next(Request(ask.command(), "/v2" + std::string(ask.path())));
    });
    chain.use(std::make_shared<Noting>("b", seen));
    auto recording = testing::record();
    chain.actionRequest(REQUEST, recording.handler());
    EXPECT_EQ(service.request(1).getPath(), "/v2/state");
    EXPECT_EQ(seen, (Events{"begin a /state", "begin b /v2/state"}));
    service.answer(1);
    EXPECT_EQ(seen.size(), 6U);
}

TEST(ChainFunction, SecondCallOfNextIsIgnored) {
    test::HeldService service;
    Chain chain(service);
    chain.use([](Ask& ask, Next next) {
        next(ask);
        next(ask);
        return refuse(403, "too late");
    });
    auto recording = testing::record();
    chain.actionRequest(REQUEST, recording.handler());
    service.answer(1);
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
    EXPECT_THROW(service.request(2), std::out_of_range);
}

TEST(ChainFunction, ReturningTheVerdictOfAnEarlierRequestIsAnsweredWith500) {
    test::HeldService service;
    Chain chain(service);
    std::optional<Verdict> old;
    chain.use([&](Ask& ask, Next next) {
        if (!old) {
            old = next(ask);
        }
        return *old;
    });
    auto recording = testing::record();
    chain.actionRequest(REQUEST, recording.handler());
    service.answer(1);
    chain.actionRequest(REQUEST, recording.handler());
    EXPECT_EQ(recording.events().back(), "error 500 a middleware did not pass the request on");
}

TEST(ChainFunction, ExceptionPropagatesAndEndsTheRequest) {
    Events seen;
    test::HeldService service;
    Chain chain(service);
    chain.use(std::make_shared<Noting>("a", seen));
    chain.use([](Ask&, Next) -> Verdict { throw std::runtime_error("broken"); });
    auto recording = testing::record();
    EXPECT_THROW(chain.actionRequest(REQUEST, recording.handler()), std::runtime_error);
    EXPECT_EQ(seen, (Events{"begin a /state", "end a /state 0"}));
    EXPECT_EQ(recording.living(), 0U);
}

// --- Use and lifetime ----------------------------------------------------------------------------

TEST(Chain, MiddlewareCannotBeAddedAfterTheFirstRequest) {
    test::HeldService service;
    Chain chain(service);
    auto recording = testing::record();
    chain.actionRequest(REQUEST, recording.handler());
    service.answer(1);
    Events seen;
    EXPECT_THROW(chain.use(std::make_shared<Noting>("a", seen)), std::logic_error);
    EXPECT_THROW(chain.use(deadline(std::chrono::seconds(1))), std::logic_error);
    EXPECT_THROW(chain.use([](Ask& ask, Next next) { return next(ask); }), std::logic_error);
    EXPECT_THROW(chain.use(faults({})), std::logic_error);
}

TEST(Chain, ChainMayForwardToAnotherChain) {
    Events seen;
    test::HeldService service;
    Chain inner(service);
    inner.use(std::make_shared<Noting>("inner", seen));
    Chain outer(static_cast<IKovaApi&>(inner));
    outer.use(std::make_shared<Noting>("outer", seen));
    auto recording = testing::record();
    void* const handle = outer.actionRequest(REQUEST, recording.handler());
    outer.cancelRequest(handle);
    EXPECT_EQ(seen, (Events{"begin outer /state", "begin inner /state", "end outer /state 0",
                            "end inner /state 0"}));
}

TEST(Chain, CustomFrontRunsInTheOrderOfTheChain) {
    class Renaming : public IKovaApi {
    public:
        explicit Renaming(IKovaApi& next) : next_(next) {}
        void* actionRequest(const Request& request, Handler&& handler) override {
            return next_.actionRequest({request.getCommand(), "/renamed"}, std::move(handler));
        }
        void cancelRequest(void* handle) override { next_.cancelRequest(handle); }

    private:
        IKovaApi& next_;
    };
    Events seen;
    test::HeldService service;
    Chain chain(service);
    chain.use(std::make_shared<Noting>("a", seen));
    chain.use([](IKovaApi& next) { return std::make_unique<Renaming>(next); });
    chain.use(std::make_shared<Noting>("b", seen));
    auto recording = testing::record();
    void* const handle = chain.actionRequest(REQUEST, recording.handler());
    EXPECT_EQ(seen, (Events{"begin a /state", "begin b /renamed"}));
    chain.cancelRequest(handle);
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(seen,
              (Events{"begin a /state", "begin b /renamed", "end a /state 0", "end b /renamed 0"}));
}

TEST(Chain, CallbackMaySendARequestThroughTheChain) {
    Chained chained;
    auto inner = testing::record();
    chained.recording.onEvent([&](const std::string& event) {
        if (event == "completed") {
            chained.chain.actionRequest({"retrieve", "/next"}, inner.handler());
        }
    });
    chained.send();
    chained.service.answer(1);
    chained.service.answer(2);
    EXPECT_EQ(inner.events(), (Events{"value 200", "completed"}));
    EXPECT_EQ(chained.seen.size(), 12U);
}

TEST(Chain, CallbackMayCancelItsRequest) {
    Chained chained;
    void* const handle = chained.send();
    chained.recording.onEvent([&](const std::string&) { chained.chain.cancelRequest(handle); });
    chained.service[1].onNext(Response(299));
    chained.service[1].onNext(Response(299));
    EXPECT_EQ(chained.recording.events(), (Events{"value 299"}));
    EXPECT_EQ(chained.seen.back(), "end a /state 0");
    EXPECT_EQ(chained.seen.size(), 6U);
}

TEST(Chain, MayBeDestroyedInACallback) {
    test::HeldService service;
    Events seen;
    auto chain = std::make_unique<Chain>(service);
    chain->use(std::make_shared<Noting>("a", seen));
    auto recording = testing::record();
    recording.onEvent([&](const std::string&) { chain.reset(); });
    chain->actionRequest(REQUEST, recording.handler());
    service[1].onNext(Response(299));
    service.take(1).reset();
    EXPECT_EQ(seen, (Events{"begin a /state", "value a /state 299", "end a /state 0"}));
    EXPECT_EQ(recording.living(), 0U);
}

TEST(Chain, DestructionCancelsPendingRequestsWithoutAnEnd) {
    test::HeldService service;
    Events seen;
    auto recording = testing::record();
    {
        Chain chain(service);
        chain.use(std::make_shared<Noting>("a", seen));
        chain.actionRequest(REQUEST, recording.handler());
    }
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_EQ(seen.back(), "end a /state 0");
    service.take(1).reset();
}

}  // namespace
}  // namespace kova::kit
