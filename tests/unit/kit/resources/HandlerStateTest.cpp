#include "resources/HandlerState.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "kova/testing/Recording.h"
#include "support/Reports.h"

namespace kova::kit::detail {
namespace {

using namespace std::chrono_literals;
using kova::testing::record;
using kova::testing::Recording;
using Events = Recording::Events;

/// A resource handler made of two functions. It counts its cancellations.
class Scripted : public IResourceHandler {
public:
    struct State {
        std::function<void*(ResponseHandler)> serve;
        std::function<void(void*)> cancel = [](void*) {};
        std::function<void()> destroyed = [] {};
    };
    explicit Scripted(State& state) : state_(state) {}
    ~Scripted() override { state_.destroyed(); }
    Scripted(const Scripted&) = delete;
    Scripted& operator=(const Scripted&) = delete;

    void* actionRequest(const Request&, ResponseHandler&& handler, const std::string&) override {
        return state_.serve(std::move(handler));
    }
    void cancelRequest(void* handle) override { state_.cancel(handle); }

private:
    State& state_;
};

class HandlerStateTest : public ::testing::Test {
protected:
    HandlerStateTest()
        : served(std::make_shared<HandlerState>(std::make_unique<Scripted>(state))) {}
    void* send() {
        return served->actionRequest(Request("retrieve", "/mount"), recording.handler(), "", mount);
    }

    Scripted::State state;
    Recording recording = record();
    std::shared_ptr<MountState> mount = std::make_shared<MountState>(nullptr);
    std::shared_ptr<Served> served;
    ResponseHandler kept;
};

TEST_F(HandlerStateTest, SecondEndIsIgnored) {
    state.serve = [](ResponseHandler handler) -> void* {
        handler->onNext(Response(200));
        handler->onCompleted();
        handler->onError(Response::createErrorResponse(500, "late"));
        handler->onNext(Response(200));
        return nullptr;
    };
    send();
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
    EXPECT_EQ(served->pending(), 0U);
}

TEST_F(HandlerStateTest, DroppedResponseHandlerAnswers500) {
    state.serve = [](const ResponseHandler&) -> void* { return nullptr; };
    send();
    EXPECT_EQ(recording.events(), (Events{"error 500 the service did not answer the request"}));
}

TEST_F(HandlerStateTest, ExceptionEndsARequestWhoseHandlerWasKept) {
    test::Reports reports;
    state.serve = [&](ResponseHandler handler) -> void* {
        kept = std::move(handler);
        throw std::runtime_error("oops");
    };
    EXPECT_EQ(send(), nullptr);
    kept->onCompleted();
    EXPECT_EQ(recording.events(), (Events{"error 500 Internal error in server implementation: "
                                          "retrieve '/mount': oops"}));
    EXPECT_EQ(reports.take().size(), 1U);
    EXPECT_EQ(served->pending(), 0U);
}

TEST_F(HandlerStateTest, CancellationReachesTheHandlerOnce) {
    int cancelled = 0;
    state.serve = [&](ResponseHandler handler) -> void* {
        kept = std::move(handler);
        return &kept;
    };
    state.cancel = [&](void* handle) { cancelled += handle == &kept ? 1 : 100; };
    void* const handle = send();
    served->cancelRequest(handle);
    served->cancelRequest(handle);
    served->refuse();
    EXPECT_EQ(cancelled, 1);
    EXPECT_FALSE(recording.living());
    EXPECT_TRUE(kept->onNext(Response(200)));
}

TEST_F(HandlerStateTest, RequestThatHasEndedIsNotCancelled) {
    int cancelled = 0;
    state.serve = [&](ResponseHandler handler) -> void* {
        kept = std::move(handler);
        return &kept;
    };
    state.cancel = [&](void*) { ++cancelled; };
    void* const handle = send();
    kept->onCompleted();
    served->cancelRequest(handle);
    EXPECT_EQ(cancelled, 0);
}

TEST_F(HandlerStateTest, HandlerMayDropARequestThatIsCancelledDuringAValue) {
    state.serve = [&](ResponseHandler handler) -> void* {
        kept = std::move(handler);
        return &kept;
    };
    state.cancel = [&](void*) { kept.reset(); };
    void* const handle = send();
    recording.onEvent([&](const std::string&) { served->cancelRequest(handle); });
    IResponseHandler<Response>& sender = *kept;
    EXPECT_TRUE(sender.onNext(Response(200)));
    EXPECT_EQ(recording.living(), 0U);
}

// A handler may send values under a lock that its cancellation acquires, too.
TEST_F(HandlerStateTest, HandlerIsNotCancelledWhenTheReceiverWantsNoMoreValues) {
    struct Sated : IResponseHandler<Response> {
        explicit Sated(int& ends) : ends(ends) {}
        bool onNext(const Response&) override { return true; }
        void onError(const Response&) override { ends += 100; }
        void onCompleted() override { ++ends; }
        int& ends;
    };
    int cancelled = 0;
    int ends = 0;
    state.serve = [&](ResponseHandler handler) {
        kept = std::move(handler);
        return &state;
    };
    state.cancel = [&](void*) { ++cancelled; };
    EXPECT_NE(served->actionRequest(Request("retrieve", "/mount"), std::make_unique<Sated>(ends),
                                    "", mount),
              nullptr);
    EXPECT_TRUE(kept->onNext(Response(200)));
    kept->onCompleted();
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(cancelled, 0);
}

TEST_F(HandlerStateTest, RemovalDestroysTheHandlerOnTheCurrentThread) {
    std::thread::id destroyer;
    state.destroyed = [&] { destroyer = std::this_thread::get_id(); };
    // A reference like that of a thread that has just served a request.
    const std::shared_ptr<Served> late = served;
    remove(*served);
    EXPECT_EQ(destroyer, std::this_thread::get_id());
    send();
    EXPECT_EQ(recording.events(), (Events{"error 503 the resource is closed"}));
}

TEST_F(HandlerStateTest, RemovalInsideAFunctionOfTheHandlerDefersItsDestruction) {
    bool isDestroyed = false;
    state.destroyed = [&] { isDestroyed = true; };
    state.serve = [&](ResponseHandler handler) -> void* {
        remove(*served);
        EXPECT_FALSE(isDestroyed);
        handler->onCompleted();
        return nullptr;
    };
    send();
    EXPECT_EQ(recording.events(), (Events{"completed"}));
    served.reset();
    EXPECT_TRUE(isDestroyed);
}

TEST_F(HandlerStateTest, SettingTheSameHandlerAgainDoesNotCloseIt) {
    SlotState slot;
    slot.set(served);
    slot.set(served);
    EXPECT_FALSE(served->gate().isClosed());
    slot.set(nullptr);
    EXPECT_TRUE(served->gate().isClosed());
}

TEST_F(HandlerStateTest, EmptySlotAnswers503) {
    const auto slot = std::make_shared<SlotState>();
    const auto handler = makeHandler(slot, mount);
    handler->actionRequest(Request("retrieve", "/mount"), recording.handler(), "");
    EXPECT_EQ(recording.events(), (Events{"error 503 nothing is mounted here now"}));
    handler->cancelRequest(&state);
}

}  // namespace
}  // namespace kova::kit::detail
