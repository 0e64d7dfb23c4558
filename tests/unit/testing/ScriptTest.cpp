#include "kova/testing/Script.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

#include "kova/testing/Recording.h"

namespace kova::testing {
namespace {

using Events = Recording::Events;

class ScriptTest : public ::testing::Test {
protected:
    void* send() {
        return handler->actionRequest(Request("retrieve", "/state"), recording.handler(), "");
    }

    Recording recording = record();
    Script script;
    std::unique_ptr<IResourceHandler> handler = script.handler();
};

TEST_F(ScriptTest, PlaysItsEventsForEachRequest) {
    script.value(Response(298)).value(Response(200)).complete();
    EXPECT_EQ(send(), nullptr);
    EXPECT_EQ(recording.events(), (Events{"value 298", "value 200", "completed"}));
    send();
    EXPECT_EQ(recording.events().size(), 6U);
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_EQ(script.requests().size(), 2U);
    EXPECT_EQ(script.requests().front().getPath(), "/state");
    EXPECT_EQ(script.pending(), 0U);
}

TEST_F(ScriptTest, ErrorEndsTheRequest) {
    script.error(Response::createErrorResponse(404, "no")).value(Response(200));
    send();
    EXPECT_EQ(recording.events(), (Events{"error 404 no"}));
}

TEST_F(ScriptTest, DropDestroysTheResponseHandlerWithoutAnEvent) {
    script.drop();
    send();
    EXPECT_EQ(recording.events(), Events{});
    EXPECT_EQ(recording.living(), 0U);
}

TEST_F(ScriptTest, RequestsWaitUntilGoIsCalled) {
    script.value(Response(201)).wait().value(Response(202)).wait().complete();
    EXPECT_NE(send(), nullptr);
    send();
    EXPECT_EQ(script.pending(), 2U);
    script.go();
    EXPECT_EQ(recording.events(), (Events{"value 201", "value 201", "value 202", "value 202"}));
    script.go();
    EXPECT_EQ(script.pending(), 0U);
    script.go();
    EXPECT_EQ(recording.events().size(), 6U);
}

TEST_F(ScriptTest, RequestWithoutAnEndIsPendingUntilItIsCancelled) {
    script.value(Response(200));
    void* const handle = send();
    script.go();
    EXPECT_EQ(recording.living(), 1U);
    handler->cancelRequest(handle);
    handler->cancelRequest(handle);
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_EQ(script.cancelled(), 1U);
    EXPECT_EQ(recording.events(), (Events{"value 200"}));
}

TEST_F(ScriptTest, CancellationFromInsideAnEventStopsTheScript) {
    script.wait().value(Response(200)).value(Response(200)).complete();
    void* const handle = send();
    recording.onEvent([&](const std::string&) { handler->cancelRequest(handle); });
    script.go();
    EXPECT_EQ(recording.events(), (Events{"value 200"}));
    EXPECT_EQ(recording.living(), 0U);
}

TEST_F(ScriptTest, EventsAfterElsewhereComeFromAThreadThatTheHandlerJoins) {
    script.value(Response(200)).elsewhere().complete();
    std::thread::id first;
    std::thread::id last;
    recording.onEvent([&](const std::string& event) {
        (event == "completed" ? last : first) = std::this_thread::get_id();
    });
    send();
    handler.reset();
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
    EXPECT_EQ(first, std::this_thread::get_id());
    EXPECT_NE(last, std::this_thread::get_id());
}

}  // namespace
}  // namespace kova::testing
