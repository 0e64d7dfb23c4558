#include "kova/testing/Recording.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace kova::testing {
namespace {

using namespace std::chrono_literals;
using Events = Recording::Events;

TEST(RecordingTest, ResponseHandlerRecordsItsEvents) {
    const Recording recording = record();
    auto handler = recording.handler();
    EXPECT_FALSE(handler->onNext(Response(200)));
    EXPECT_FALSE(handler->onNext({299, Payload::createFromString("on")}));
    handler->onError(Response::createErrorResponse(404, "no such lamp"));
    handler->onError(Response(500));
    handler->onCompleted();
    EXPECT_EQ(recording.events(), (Events{"value 200", "value 299 on", "error 404 no such lamp",
                                          "error 500 -", "completed"}));
}

TEST(RecordingTest, ReceiverRecordsItsEvents) {
    const Recording recording = record();
    auto receiver = recording.receiver();
    EXPECT_TRUE(receiver->onValue(Response(200)).ok());
    receiver->onEnd(kit::End(kit::End::Kind::dropped, {500, "gone"}));
    EXPECT_EQ(recording.events(),
              (Events{"value 200", "dropped: 500 Internal Server Error: gone"}));
}

TEST(RecordingTest, CountsLivingHandlers) {
    const Recording recording = record();
    auto handler = recording.handler();
    const auto receiver = recording.receiver();
    EXPECT_EQ(recording.living(), 2U);
    EXPECT_FALSE(recording.waitUntilDestroyed(0ms));
    handler.reset();
    EXPECT_EQ(recording.living(), 1U);
}

TEST(RecordingTest, WaitForWaitsForEventsOfAnotherThread) {
    const Recording recording = record();
    std::thread sending([handler = recording.handler()] { handler->onCompleted(); });
    EXPECT_EQ(recording.waitFor(1), (Events{"completed"}));
    sending.join();
    EXPECT_EQ(recording.waitFor(2, 0ms).size(), 1U);
}

TEST(RecordingTest, OnEventFunctionIsCalledForEachEvent) {
    const Recording recording = record();
    std::vector<std::string> seen;
    recording.onEvent([&](const std::string& event) {
        seen.push_back(event);
        EXPECT_EQ(recording.events().back(), event) << "no lock is held";
    });
    recording.handler()->onCompleted();
    EXPECT_EQ(seen, (std::vector<std::string>{"completed"}));
}

}  // namespace
}  // namespace kova::testing
