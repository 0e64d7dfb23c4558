#include "kova/kit/Events.h"

#include <gtest/gtest.h>

#include "Watch.h"

namespace kova::kit {
namespace {

using test::Watch;
using Texts = std::vector<std::string>;

TEST(Events, WatcherGetsOnlyEventsAfterItsRequest) {
    Events<std::string> alarms;
    alarms.send("before");
    const auto answers = Watch(alarms).watch();
    alarms.send("fire");
    alarms.send("water");
    EXPECT_EQ(answers->values(2), (Texts{"\"fire\"", "\"water\""}));
    EXPECT_EQ(answers->last().getStatusCode(), 299);
}

TEST(Events, SingleValueCannotBeRetrieved) {
    Events<int> alarms;
    EXPECT_EQ(Watch(alarms).retrieve()->end(),
              "400 Bad Request: '' has no value, only a stream: set the header entry "
              "\"$response-semantic\" to \"persistent-stream\"");
    ASSERT_EQ(alarms.operations().size(), 1U);
    EXPECT_TRUE(alarms.operations()[0].streams);
}

TEST(Events, DefaultQueueHolds64Events) {
    Events<int> alarms;
    EXPECT_EQ(alarms.options().current().toString(), "64 disconnect");
    test::BlockingReceiver blocking;
    Events<int> kept;
    Watch(kept).watch(blocking.answers);
    kept.send(0);
    blocking.waitUntilBlocked();
    for (int i = 1; i <= 64; ++i) {
        kept.send(i);
    }
    blocking.release();
    EXPECT_EQ(blocking.answers->valuesUntil("64").size(), 65U);
    EXPECT_FALSE(blocking.answers->hasEnd());
}

TEST(Events, WatcherWithAFullQueueIsDisconnected) {
    test::BlockingReceiver blocking;
    Events<int> alarms;
    Watch(alarms).watch(blocking.answers);
    alarms.send(0);
    blocking.waitUntilBlocked();
    for (int i = 1; i <= 65; ++i) {
        alarms.send(i);
    }
    blocking.release();
    EXPECT_EQ(blocking.answers->end(),
              "503 Service Unavailable: the receiver did not keep up: its queue is full");
    EXPECT_EQ(blocking.answers->values(1), Texts{"0"});
    EXPECT_EQ(blocking.answers->endsWhenDestroyed(), 1U);
    test::waitUntilUnwatched(alarms);
}

TEST(Events, HeaderContainsTheNumberOfDroppedEvents) {
    test::BlockingReceiver blocking;
    Events<int> alarms;
    alarms.options().queue(3).whenFull(DropOldest);
    Watch(alarms).watch(blocking.answers);
    alarms.send(0);
    blocking.waitUntilBlocked();
    for (int i = 1; i <= 10; ++i) {
        alarms.send(i);
    }
    blocking.release();
    EXPECT_EQ(blocking.answers->valuesUntil("10"), (Texts{"0", "8", "9", "10"}));
    EXPECT_EQ(blocking.lost(), 7);
}

TEST(Events, ConflateKeepsTheNewestEventAndCountsTheOthers) {
    test::BlockingReceiver blocking;
    Events<int> alarms;
    alarms.options().queue(3).whenFull(Conflate);
    Watch(alarms).watch(blocking.answers);
    alarms.send(0);
    blocking.waitUntilBlocked();
    for (int i = 1; i <= 10; ++i) {
        alarms.send(i);
    }
    blocking.release();
    EXPECT_EQ(blocking.answers->valuesUntil("10"), (Texts{"0", "10"}));
    EXPECT_EQ(blocking.lost(), 9);
}

}  // namespace
}  // namespace kova::kit
