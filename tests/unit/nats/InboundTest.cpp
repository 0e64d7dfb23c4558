#include "nats/Inbound.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "nats/MessageParts.h"

namespace kova::nats::detail {
namespace {

class InboundTest : public ::testing::Test {
protected:
    // libnats destroys messages with an object that this call makes.
    static void SetUpTestSuite() { ASSERT_EQ(nats_Open(-1), NATS_OK); }

    static Event message(const std::string& data) {
        natsMsg* made = nullptr;
        EXPECT_EQ(
            natsMsg_Create(&made, "subject", nullptr, data.data(), static_cast<int>(data.size())),
            NATS_OK);
        Event event;
        event.message = Message(made);
        return event;
    }
    /// Returns the data of the messages that wait.
    std::vector<std::string> taken() {
        std::vector<std::string> found;
        for (const Event& event : inbound.take()) {
            found.emplace_back(event.message ? dataOf(*event.message) : "no message");
        }
        return found;
    }

    int wakes = 0;
    Inbound inbound{[this] { ++wakes; }, 10};
};

using Texts = std::vector<std::string>;

TEST_F(InboundTest, EventsAreTakenOnceInTheirOrder) {
    inbound.push(message("one"));
    inbound.push(message("two"));
    EXPECT_EQ(taken(), (Texts{"one", "two"}));
    EXPECT_EQ(taken(), Texts());
}

TEST_F(InboundTest, OnlyTheFirstEventThatWaitsWakesTheReader) {
    inbound.push(message("one"));
    inbound.push(message("two"));
    EXPECT_EQ(wakes, 1);
    inbound.take();
    inbound.push(message("three"));
    EXPECT_EQ(wakes, 2);
}

TEST_F(InboundTest, MessagesUpToTheBoundWait) {
    inbound.push(message("1234"));
    inbound.push(message("567890"));
    inbound.push(message("1"));
    EXPECT_EQ(taken(), (Texts{"1234", "567890"}));
}

TEST_F(InboundTest, MessageIsAcceptedAgainWhenTheOthersAreTaken) {
    inbound.push(message("1234567890"));
    inbound.take();
    inbound.push(message("1234567890"));
    EXPECT_EQ(taken(), Texts{"1234567890"});
}

TEST_F(InboundTest, EventsWithoutAMessageAreNeverDropped) {
    inbound.push(message("1234567890"));
    Event closed;
    closed.kind = Event::Kind::closed;
    inbound.push(std::move(closed));
    EXPECT_EQ(taken(), (Texts{"1234567890", "no message"}));
}

TEST_F(InboundTest, ClosedInboundDropsWhatWaitsAndWhatComes) {
    EXPECT_FALSE(inbound.isClosed());
    inbound.push(message("one"));
    inbound.close();
    inbound.push(message("two"));
    EXPECT_TRUE(inbound.isClosed());
    EXPECT_EQ(taken(), Texts());
    EXPECT_EQ(wakes, 1);
}

}  // namespace
}  // namespace kova::nats::detail
