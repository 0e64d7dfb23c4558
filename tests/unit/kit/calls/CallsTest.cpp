#include "kova/kit/Calls.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/headers.h"
#include "kova/kit/Loop.h"
#include "kova/testing/ManualClock.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"
#include "support/Traces.h"
#include "support/Watchdog.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using kova::testing::record;
using kova::testing::Recording;
using test::HeldService;
using Events = Recording::Events;

const Request REQUEST("retrieve", "/state");

class CallsTest : public ::testing::Test {
protected:
    void* send() { return calls.actionRequest(REQUEST, recording.handler()); }
    Subscription start(const CallOptions& options = {}) {
        return calls.start(REQUEST, recording.receiver(), options);
    }

    kova::testing::ManualClock clock;
    HeldService service;
    std::size_t requests = 0;
    Loop loop;
    Recording recording = record();
    Calls calls{service, {0ms, &clock}};
};

// --- As an IKovaApi ------------------------------------------------------------------------------

TEST_F(CallsTest, AnswerReachesTheResponseHandler) {
    EXPECT_NE(send(), IKovaApi::UNDEFINED_REQUEST_HANDLE);
    service.answer(1, {200, Payload::createFromString("on")});
    EXPECT_EQ(recording.events(), (Events{"value 200 on", "completed"}));
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_TRUE(calls.pending().empty());
}

TEST_F(CallsTest, ErrorOfTheServiceArrivesUnchanged) {
    send();
    service.take(1)->onError(Response::createErrorResponse(404, "no such lamp"));
    EXPECT_EQ(recording.events(), (Events{"error 404 no such lamp"}));
}

TEST_F(CallsTest, RequestAnsweredImmediatelyHasNoHandle) {
    service.onRequest = [this](std::size_t number) { service.answer(number); };
    EXPECT_EQ(send(), IKovaApi::UNDEFINED_REQUEST_HANDLE);
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
}

TEST_F(CallsTest, RejectionByTheServiceIsReportedAsAnError) {
    service.rejects = true;
    EXPECT_EQ(send(), IKovaApi::UNDEFINED_REQUEST_HANDLE);
    EXPECT_EQ(recording.events(), (Events{"error 503 the service refuses requests"}));
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_TRUE(calls.pending().empty());
}

TEST_F(CallsTest, DroppedRequestIsReportedAsAnError) {
    std::promise<std::thread::id> thread;
    recording.onEvent([&](const std::string&) { thread.set_value(std::this_thread::get_id()); });
    send();
    service.take(1).reset();
    EXPECT_NE(thread.get_future().get(), std::this_thread::get_id());
    EXPECT_EQ(recording.events(), (Events{"error 500 the service dropped retrieve '/state'"}));
    // The cancellation removes the entry that a composed service keeps for such a request.
    EXPECT_EQ(service.waitForCancelled(1), (std::vector<std::size_t>{1}));
}

TEST_F(CallsTest, PendingReturnsTheClientIdIfTheOptionIsSet) {
    Request request("retrieve", "/state");
    headers::appendTracingInfo(request, "/home", "panel");
    calls.actionRequest(request, recording.handler());
    ASSERT_EQ(calls.pending().size(), 1U);
    EXPECT_EQ(calls.pending()[0].client, "");

    CallsOptions options;
    options.keepsClientId = true;
    Calls keeping(service, options);
    keeping.actionRequest(request, recording.handler());
    ASSERT_EQ(keeping.pending().size(), 1U);
    EXPECT_EQ(keeping.pending()[0].client, "panel");
    EXPECT_EQ(keeping.pending()[0].path, "/state");
    keeping.actionRequest({"retrieve", "/other"}, recording.handler());
    EXPECT_EQ(keeping.pending().size(), 2U);
    for (const CallInfo& call : keeping.pending()) {
        EXPECT_EQ(call.client, call.path == "/other" ? "" : "panel");
    }
}

TEST_F(CallsTest, CancelRequestSendsNoEventAndDestroysTheHandler) {
    void* const handle = send();
    calls.cancelRequest(handle);
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    EXPECT_EQ(recording.living(), 0U);
    service.answer(1);
    EXPECT_EQ(recording.events(), Events{});
    EXPECT_TRUE(calls.pending().empty());
}

TEST_F(CallsTest, SecondAndLateCancellationsHaveNoEffect) {
    void* const first = send();
    calls.cancelRequest(first);
    calls.cancelRequest(first);
    void* const second = send();
    service.answer(2);
    calls.cancelRequest(second);
    calls.reset(second);
    EXPECT_FALSE(calls.cancel(second));
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
}

TEST_F(CallsTest, UnknownHandlesAreIgnored) {
    calls.cancelRequest(nullptr);
    calls.reset(this);
    EXPECT_FALSE(calls.cancel(&service));
    void* const other = send();
    Calls another(service);
    another.cancelRequest(other);
    EXPECT_TRUE(service.cancelled().empty());
}

TEST_F(CallsTest, HandlesAreNotReused) {
    std::set<void*> handles;
    for (std::size_t i = 1; i <= 10000; ++i) {
        EXPECT_TRUE(handles.insert(send()).second);
        service.answer(i);
    }
    Calls another(service);
    EXPECT_TRUE(handles.insert(another.actionRequest(REQUEST, recording.handler())).second);
}

TEST_F(CallsTest, EventsAfterTheEndAreIgnoredAndTraced) {
    test::Traces traces("KOVA_KIT_CALLS", 3);
    send();
    const auto handler = service.take(1);
    handler->onCompleted();
    EXPECT_TRUE(handler->onNext(Response(200)));
    handler->onError(Response::createErrorResponse(500, "again"));
    handler->onCompleted();
    EXPECT_EQ(recording.events(), (Events{"completed"}));
    EXPECT_EQ(traces.take(),
              (std::vector<test::Traces::Trace>{{3, "late value of retrieve '/state' ignored"},
                                                {3, "late end of retrieve '/state' ignored"},
                                                {3, "late end of retrieve '/state' ignored"}}));
}

// --- Cancellation before the service has returned ------------------------------------------------

TEST_F(CallsTest, RequestAnsweredBeforeTheServiceReturnsIsCancelledAfterwards) {
    service.onRequest = [this](std::size_t number) { service.answer(number); };
    send();
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
}

TEST_F(CallsTest, CancellationBeforeTheServiceReturnsIsNotLost) {
    service.onRequest = [this](std::size_t) {
        EXPECT_EQ(calls.close(0ms).size(), 0U) << "the call that this thread is inside of";
        EXPECT_TRUE(service.cancelled().empty());
    };
    EXPECT_EQ(send(), IKovaApi::UNDEFINED_REQUEST_HANDLE);
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    EXPECT_EQ(recording.events(), Events{});
    EXPECT_EQ(recording.living(), 0U);
}

// --- Ends of started calls -----------------------------------------------------------------------

TEST_F(CallsTest, ReceiverGetsValuesAndTheEnd) {
    const Subscription call = start();
    EXPECT_TRUE(call.pending());
    service.answer(1);
    EXPECT_FALSE(call.pending());
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
}

TEST_F(CallsTest, ReceiverGetsTheErrorOfTheService) {
    const Subscription call = start();
    service.take(1)->onError(Response::createErrorResponse(404, "no such lamp"));
    EXPECT_EQ(recording.events(), (Events{"failed: 404 Not Found: no such lamp"}));
}

TEST_F(CallsTest, CompletionWithoutAValueCancelsTheRequestAtTheService) {
    // Without a value, a composed service may have stored its entry for the request only after the
    // end. The cancellation removes such an entry.
    const Subscription first = start();
    service.take(1)->onCompleted();
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    const Subscription second = start();
    service.answer(2);
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
}

TEST_F(CallsTest, ValueRejectedByTheReceiverEndsTheCall) {
    struct Strict : Receiver {
        explicit Strict(std::string& end) : end(end) {}
        Result<void> onValue(const Response&) override { return Error{400, "level: no integer"}; }
        void onEnd(const End& last) override { end = last.toString(); }
        std::string& end;
    };
    for (const Executor& executor : {Executor(), Executor(loop)}) {
        std::string end;
        const Subscription call = calls.start(REQUEST, std::make_unique<Strict>(end), {executor});
        service.answer(++requests);
        loop.runReady();
        EXPECT_EQ(end, "failed: 400 Bad Request: level: no integer");
    }
}

TEST_F(CallsTest, DeadlineEndsTheCall) {
    const Subscription call = start({{}, 500ms});
    clock.advance(499ms);
    EXPECT_TRUE(call.pending());
    clock.advance(1ms);
    EXPECT_FALSE(call.pending());
    EXPECT_EQ(recording.waitFor(1), (Events{"timed out: 504 Gateway Timeout: no answer within 500 "
                                            "ms to retrieve '/state'"}));
    EXPECT_EQ(service.waitForCancelled(1), (std::vector<std::size_t>{1}));
}

TEST_F(CallsTest, EarlierDeadlineExpiresFirst) {
    std::vector<Recording> recordings;
    std::vector<Subscription> all;
    for (const int ms : {300, 100, 200}) {
        recordings.push_back(record());
        all.push_back(calls.start(REQUEST, recordings.back().receiver(),
                                  {{}, std::chrono::milliseconds(ms)}));
    }
    const auto pending = [&] {
        return std::vector<bool>{all[0].pending(), all[1].pending(), all[2].pending()};
    };
    clock.advance(100ms);
    EXPECT_EQ(pending(), (std::vector<bool>{true, false, true}));
    clock.advance(100ms);
    EXPECT_EQ(pending(), (std::vector<bool>{true, false, false}));
    clock.advance(100ms);
    EXPECT_EQ(pending(), (std::vector<bool>{false, false, false}));
}

TEST_F(CallsTest, AnswerCancelsTheDeadline) {
    const Subscription call = start({{}, 500ms});
    service.answer(1);
    clock.advance(500ms);
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
    EXPECT_TRUE(service.cancelled().empty());
}

TEST_F(CallsTest, DeadlineOptionAppliesToActionRequest) {
    kova::testing::ManualClock other;
    Calls limited(service, {200ms, &other});
    limited.actionRequest(REQUEST, recording.handler());
    other.advance(200ms);
    EXPECT_EQ(recording.waitFor(1),
              (Events{"error 504 no answer within 200 ms to retrieve '/state'"}));
}

TEST_F(CallsTest, LostConnectionEndsAllCalls) {
    const Subscription call = start();
    calls.lose("connection reset");
    EXPECT_EQ(recording.waitFor(1), (Events{"lost: 503 Service Unavailable: connection reset"}));
    EXPECT_EQ(service.waitForCancelled(1), (std::vector<std::size_t>{1}));
    const Subscription next = start();
    EXPECT_TRUE(next.pending());
}

TEST_F(CallsTest, CancelEndsTheCallWithAnError) {
    void* const handle = send();
    EXPECT_TRUE(calls.cancel(handle));
    EXPECT_FALSE(calls.cancel(handle));
    EXPECT_EQ(recording.waitFor(1), (Events{"error 503 cancelled: retrieve '/state'"}));
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
}

TEST_F(CallsTest, PendingRequestWithoutAHandleCanBeCancelled) {
    struct Handleless : IKovaApi {
        std::unique_ptr<IResponseHandler<Response>> kept;
        void* actionRequest(const Request&,
                            std::unique_ptr<IResponseHandler<Response>>&& handler) override {
            kept = std::move(handler);
            return UNDEFINED_REQUEST_HANDLE;
        }
        void cancelRequest(void*) override { ADD_FAILURE() << "there is no handle"; }
    } handleless;
    Calls front(handleless);
    void* const handle = front.actionRequest(REQUEST, recording.handler());
    EXPECT_NE(handle, IKovaApi::UNDEFINED_REQUEST_HANDLE);
    front.cancelRequest(handle);
    EXPECT_EQ(recording.living(), 0U);
}

// --- Closing -------------------------------------------------------------------------------------

TEST_F(CallsTest, CloseEndsCallsSilentlyAndRejectsNewOnes) {
    Subscription call = start();
    EXPECT_TRUE(calls.close(1s).empty());
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    EXPECT_EQ(recording.events(), Events{});
    EXPECT_EQ(recording.living(), 0U);
    call = start();
    EXPECT_EQ(recording.events(), (Events{"refused: 503 Service Unavailable: closed"}));
    EXPECT_FALSE(call.pending());
}

TEST_F(CallsTest, CloseReturnsACallWithABlockedCallback) {
    std::promise<void> inside;
    std::promise<void> goOn;
    recording.onEvent([&](const std::string&) {
        inside.set_value();
        goOn.get_future().wait();
    });
    send();
    std::thread answering([&] { service[1].onNext(Response(200)); });
    inside.get_future().wait();
    const std::vector<CallInfo> stuck = calls.close(1ms);
    ASSERT_EQ(stuck.size(), 1U);
    EXPECT_EQ(stuck[0].command, "retrieve");
    EXPECT_EQ(stuck[0].path, "/state");
    EXPECT_EQ(stuck[0].phase, CallInfo::Phase::inCallback);
    EXPECT_NE(stuck[0].thread, 0);
    EXPECT_EQ(stuck[0].toString(), "retrieve '/state', " + std::to_string(stuck[0].age.count()) +
                                       " ms, in a callback on thread " +
                                       std::to_string(stuck[0].thread));
    goOn.set_value();
    answering.join();
    EXPECT_TRUE(calls.close(1ms).empty());
}

TEST_F(CallsTest, CloseReturnsACallWithABlockedService) {
    std::promise<void> goOn;
    service.onRequest = [&](std::size_t) { goOn.get_future().wait(); };
    std::thread sending([&] { send(); });
    service.waitForRequests(1);
    const std::vector<CallInfo> stuck = calls.close(1ms);
    ASSERT_EQ(stuck.size(), 1U);
    EXPECT_EQ(stuck[0].phase, CallInfo::Phase::inService);
    goOn.set_value();
    sending.join();
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    EXPECT_TRUE(calls.close(1ms).empty());
}

TEST_F(CallsTest, CloseReturnsACallWhoseCancellationBlocksInTheService) {
    std::promise<void> inside;
    std::promise<void> goOn;
    service.onCancel = [&](std::size_t) {
        inside.set_value();
        goOn.get_future().wait();
    };
    void* const handle = send();
    std::thread cancelling([&] { calls.cancelRequest(handle); });
    inside.get_future().wait();
    const std::vector<CallInfo> stuck = calls.close(1ms);
    ASSERT_EQ(stuck.size(), 1U);
    EXPECT_EQ(stuck[0].phase, CallInfo::Phase::cancelling);
    goOn.set_value();
    cancelling.join();
    EXPECT_TRUE(calls.close(1ms).empty());
}

TEST_F(CallsTest, LongCloseIsTracedWithThePendingCalls) {
    test::Traces traces("KOVA_KIT_CALLS", 5);
    std::promise<void> goOn;
    const std::shared_future<void> gone = goOn.get_future().share();
    service.onRequest = [&](std::size_t) { gone.wait(); };
    std::thread first([&] { send(); });
    std::thread second([&] { send(); });
    service.waitForRequests(2);
    std::thread closing([&] { EXPECT_TRUE(calls.close(1min).empty()); });
    std::vector<test::Traces::Trace> seen;
    while (seen.empty()) {
        std::this_thread::yield();
        seen = traces.take();
    }
    goOn.set_value();
    for (std::thread* const thread : {&first, &second, &closing}) {
        thread->join();
    }
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].level, 5);
    for (char const* const part : {" has waited 1 s for retrieve '/state', ",
                                   " ms, in the service on thread ", "; retrieve '/state', "}) {
        EXPECT_NE(seen[0].text.find(part), std::string::npos) << seen[0].text;
    }
}

TEST_F(CallsTest, TwoServiceThreadsCanStopTheCallsAtTheSameTime) {
    const test::Watchdog watchdog("two threads stop the calls that they serve");
    service.onRequest = [&](std::size_t number) {
        service.waitForRequests(2);
        EXPECT_TRUE(calls.stop("over", 1min).empty()) << number;
    };
    std::thread first([&] { send(); });
    std::thread second([&] { send(); });
    first.join();
    second.join();
    EXPECT_TRUE(calls.stop("over", 1min).empty());
    EXPECT_EQ(recording.events(), (Events{"error 503 over", "error 503 over"}));
}

// The kit's thread gets the ends and the cancellations in batches.
TEST_F(CallsTest, StopEndsEachCallOnceAndThenCancelsItsRequest) {
    constexpr std::size_t CALLS = 700;
    std::vector<std::size_t> ends(CALLS + 1);
    std::vector<std::size_t> endsAtCancellation;
    std::set<std::thread::id> threads;
    service.onCancel = [&](std::size_t number) { endsAtCancellation.push_back(ends[number]); };
    std::vector<Recording> recordings;
    for (std::size_t number = 1; number <= CALLS; ++number) {
        recordings.push_back(record());
        recordings.back().onEvent([&, number](const std::string&) {
            ++ends[number];
            threads.insert(std::this_thread::get_id());
        });
        calls.actionRequest(REQUEST, recordings.back().handler());
    }
    EXPECT_TRUE(calls.stop("over", 1min).empty());
    EXPECT_EQ(std::vector<std::size_t>(ends.begin() + 1, ends.end()),
              std::vector<std::size_t>(CALLS, 1));
    EXPECT_EQ(endsAtCancellation, std::vector<std::size_t>(CALLS, 1));
    EXPECT_EQ(threads.size(), 1U);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
}

TEST_F(CallsTest, StopDoesNotWaitForResponseHandlersByDefault) {
    send();
    EXPECT_TRUE(calls.stop("over", 1min).empty());
}

TEST_F(CallsTest, AwaitsReleaseMakesStopWaitForResponseHandlers) {
    CallsOptions options;
    options.awaitsRelease = true;
    Calls waiting(service, options);
    waiting.actionRequest(REQUEST, recording.handler());
    EXPECT_EQ(waiting.stop("over", 1ms).size(), 1U);
    EXPECT_EQ(recording.waitFor(1), (Events{"error 503 over"}));
    std::thread releasing([&] { service.take(1).reset(); });
    EXPECT_TRUE(waiting.stop("over", 1min).empty());
    releasing.join();
}

TEST_F(CallsTest, CanBeDestroyedInsideACallback) {
    auto own = std::make_unique<Calls>(service);
    recording.onEvent([&](const std::string&) { own.reset(); });
    own->actionRequest(REQUEST, recording.handler());
    service.answer(1);
    EXPECT_EQ(recording.events(), (Events{"value 200"}));
    EXPECT_EQ(recording.living(), 0U);
}

TEST_F(CallsTest, CanBeDestroyedInsideACallbackOfActionRequest) {
    auto own = std::make_unique<Calls>(service);
    service.onRequest = [&](std::size_t number) { service.answer(number); };
    recording.onEvent([&](const std::string&) { own.reset(); });
    own->actionRequest(REQUEST, recording.handler());
    EXPECT_EQ(recording.events(), (Events{"value 200"}));
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
}

TEST_F(CallsTest, PendingReturnsTheUnfinishedCalls) {
    send();
    const std::vector<CallInfo> pending = calls.pending();
    ASSERT_EQ(pending.size(), 1U);
    EXPECT_EQ(pending[0].phase, CallInfo::Phase::pending);
    EXPECT_EQ(pending[0].thread, 0);
}

}  // namespace
}  // namespace kova::kit
