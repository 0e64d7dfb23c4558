#include "streams/Hub.h"

#include <gtest/gtest.h>

#include <future>

#include "Watch.h"
#include "kova/kit/Observable.h"

namespace kova::kit::detail {
namespace {

using namespace std::chrono_literals;
using test::BlockingReceiver;
using test::Watch;

TEST(Hub, CloseEndsASetCallThatWaitsForQueueSpace) {
    BlockingReceiver receiver;
    Observable<int> state(0);
    state.options().queue(1).whenFull(Wait).patience(1h);
    Watch(state).watch(receiver.answers);
    receiver.waitUntilBlocked();
    state.set(1);
    std::future<void> set = std::async(std::launch::async, [&] { state.set(2); });
    EXPECT_EQ(set.wait_for(5ms), std::future_status::timeout);
    state.served()->refuse();
    set.get();
    EXPECT_EQ(state.get(), 2);
    receiver.release();
    EXPECT_EQ(receiver.answers->end(), "503 Service Unavailable: the resource is closed");
}

TEST(Hub, ClosedObservableEndsItsWatchersAndKeepsItsValue) {
    Observable<int> state(0);
    const Watch watch(state);
    const auto answers = watch.watch();
    answers->values(1);
    state.served()->refuse();
    EXPECT_EQ(answers->end(), "503 Service Unavailable: the resource is closed");
    EXPECT_EQ(state.served()->pending(), 0U);
    state.set(5);
    EXPECT_EQ(state.get(), 5);
    EXPECT_EQ(watch.watch()->end(), "503 Service Unavailable: the resource is closed");
}

TEST(Hub, DisconnectIgnoresVisitsThatAreNotRunning) {
    BlockingReceiver receiver;
    const auto source = std::make_shared<ObservableSource<int>>(0);
    const auto hub = std::make_shared<Hub>(source, StreamQueue{16, Conflate});
    const auto handler = makeHandler(hub, nullptr);
    handler->actionRequest(Watch::streamRequest(),
                           std::make_unique<test::AnswerHandler>(receiver.answers), "");
    receiver.waitUntilBlocked();
    constexpr std::size_t SLOTS = DeliveryPool::MAX_THREADS + DeliveryPool::MAX_REPLACED;
    for (std::size_t slot = 0; slot < SLOTS; ++slot) {
        hub->disconnect(slot, 0);  // visits begin with 1
    }
    EXPECT_EQ(hub->pending(), 1U);
    for (std::uint64_t visit = 1; hub->pending() == 1; visit += 2) {
        for (std::size_t slot = 0; slot < SLOTS; ++slot) {
            hub->disconnect(slot, visit);
        }
    }
    receiver.release();
    EXPECT_EQ(receiver.answers->end(),
              "503 Service Unavailable: the receiver blocks the delivery of values");
    test::waitUntilUnwatched(*hub);
    hub->refuse();
    EXPECT_TRUE(hub->waitUntilLeft());
}

}  // namespace
}  // namespace kova::kit::detail
