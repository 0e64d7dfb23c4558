// Tests with receivers that block, and with threads that set, watch, cancel and destroy at the same
// time. KOVA_STRESS multiplies the number of operations.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/StaticComposedKovaService.h"
#include "kova/kit/Calls.h"
#include "kova/kit/Client.h"
#include "kova/kit/Events.h"
#include "kova/kit/Observable.h"
#include "kova/kit/ObservableList.h"
#include "kova/kit/ObservableMap.h"
#include "support/Threads.h"
#include "support/Watchdog.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;

Request streamRequest() {
    Request request("retrieve", "");
    request.setMimeType(mimetypes::AXOBin);
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    return request;
}

/// Counts the values and ends of many receivers.
struct Counts {
    std::atomic<long> values{0};
    std::atomic<long> ends{0};
    std::atomic<long> alive{0};
};

/// Checks that the numbers arrive in order, and counts them.
class Ordered : public IResponseHandler<Response> {
public:
    explicit Ordered(Counts& counts, bool gapless = false) : counts_(counts), gapless_(gapless) {
        ++counts_.alive;
    }
    ~Ordered() override { --counts_.alive; }
    bool onNext(const Response& value) override {
        EXPECT_EQ(inside_++, 0) << "two values at the same time";
        EXPECT_FALSE(ended_) << "a value after the end";
        const int number = fromPayload<int>(value.getPayload()).valueOr(-1);
        EXPECT_GT(number, last_);
        EXPECT_TRUE(!gapless_ || last_ < 0 || number == last_ + 1) << number << " after " << last_;
        last_ = number;
        ++counts_.values;
        --inside_;
        return false;
    }
    void onError(const Response&) override { end(); }
    void onCompleted() override { end(); }

private:
    void end() {
        EXPECT_FALSE(std::exchange(ended_, true)) << "a second end";
        ++counts_.ends;
    }

    Counts& counts_;
    const bool gapless_;
    std::atomic<int> inside_{0};
    int last_ = -1;
    bool ended_ = false;
};

/// A receiver that blocks until it is released.
class Blocking : public IResponseHandler<Response> {
public:
    Blocking(std::atomic<bool>& released, std::atomic<int>& blocked, std::atomic<int>& errors)
        : released_(released), blocked_(blocked), errors_(errors) {}
    bool onNext(const Response&) override {
        ++blocked_;
        while (!released_) {
            std::this_thread::sleep_for(1ms);
        }
        --blocked_;
        return false;
    }
    void onError(const Response& error) override {
        EXPECT_EQ(error.getStatusCode(), 503);
        ++errors_;
    }
    void onCompleted() override { ADD_FAILURE() << "completed"; }

private:
    std::atomic<bool>& released_;
    std::atomic<int>& blocked_;
    std::atomic<int>& errors_;
};

/// A value that counts its living instances.
struct Alive {
    int number = 0;

    Alive() { ++count; }
    explicit Alive(int value) : number(value) { ++count; }
    Alive(const Alive& other) : number(other.number) { ++count; }
    Alive& operator=(const Alive&) = default;
    ~Alive() { --count; }
    static inline std::atomic<int> count{0};
};

}  // namespace

namespace detail {
template <>
struct Codec<Alive> : Codec<int> {
    template <class Out>
    static bool write(Out& out, const Alive& value) {
        return Codec<int>::write(out, value.number);
    }
    template <class In>
    static bool read(In& in, Alive& value) {
        return Codec<int>::read(in, value.number);
    }
};
template <>
struct SchemaOf<Alive> : SchemaOf<int> {};
}  // namespace detail

namespace {

class StreamHazardsTest : public testing::Test {
protected:
    template <typename Object>
    void watch(const Object& object, std::unique_ptr<IResponseHandler<Response>> handler) {
        handlers_.push_back(object.handler());
        handlers_.back()->actionRequest(streamRequest(), std::move(handler), "");
    }
    void blockWith(const detail::Streaming& object, int count) {
        for (int i = 0; i < count; ++i) {
            watch(object, std::make_unique<Blocking>(released, blocked, errors));
        }
    }
    template <typename Predicate>
    void waitUntil(Predicate predicate) {
        while (!predicate()) {
            std::this_thread::yield();
        }
        watchdog.progress();
    }

    test::Watchdog watchdog{"delivering values"};
    Counts counts;
    std::atomic<bool> released{false};
    std::atomic<int> blocked{0};
    std::atomic<int> errors{0};

private:
    std::vector<std::unique_ptr<IResourceHandler>> handlers_;
};

TEST_F(StreamHazardsTest, BlockedWatcherDoesNotAffectAThousandOthers) {
    constexpr int WATCHERS = 1000;
    const int values = 20 * test::stressFactor();
    Observable<Alive> state;
    blockWith(state, 1);
    waitUntil([&] { return blocked == 1; });
    for (int i = 0; i < WATCHERS; ++i) {
        watch(state, std::make_unique<Ordered>(counts, true));
    }
    waitUntil([&] { return counts.values == WATCHERS; });
    for (int i = 1; i <= values; ++i) {
        state.set(Alive(i));
        waitUntil([&] { return counts.values == WATCHERS * (i + 1); });
        EXPECT_LE(Alive::count, 16 + 3) << "the queue, the value, and those being delivered";
    }
    EXPECT_EQ(blocked, 1);
    released = true;
}

TEST_F(StreamHazardsTest, MoreBlockedWatchersThanThreadsDoNotAffectOthers) {
    constexpr int BLOCKING = 20;
    Observable<int> state(0);
    blockWith(state, BLOCKING);
    waitUntil([&] { return blocked == BLOCKING; });
    for (int i = 0; i < 100; ++i) {
        watch(state, std::make_unique<Ordered>(counts, true));
    }
    for (int i = 1; i <= 10; ++i) {
        state.set(i);
        waitUntil([&] { return counts.values == 100 * (i + 1); });
    }
    EXPECT_EQ(errors, 0) << "they get the error when they return";
    released = true;
    waitUntil([&] { return errors >= BLOCKING - 16; });
    waitUntil([&] { return state.watchers().size() == 120U - static_cast<unsigned>(errors); });
}

TEST_F(StreamHazardsTest, BlockedWatcherDoesNotDelayOtherStreams) {
    Observable<int> blockedState(0);
    Observable<int> state(0);
    blockWith(blockedState, 4);
    watch(state, std::make_unique<Ordered>(counts, true));
    for (int i = 1; i <= 50; ++i) {
        state.set(i);
        waitUntil([&] { return counts.values == i + 1; });
    }
    EXPECT_EQ(errors, 0);
    released = true;
}

// Checks that the counts of each watcher add up, and that each watcher gets the last value.
TEST_F(StreamHazardsTest, WatcherCountsAddUpWhileThreadsSetWatchAndCancel) {
    const int rounds = 300 * test::stressFactor();
    Observable<int> state(0);
    std::atomic<bool> stop{false};
    test::runOnThreads(5, [&](int thread) {
        if (thread < 2) {
            for (int i = 0; i < rounds * 10; ++i) {
                state.modify([](int& value) { ++value; });
            }
            return;
        }
        const auto handler = state.handler();
        std::minstd_rand random(static_cast<unsigned>(thread));
        for (int i = 0; i < rounds; ++i) {
            void* const first =
                handler->actionRequest(streamRequest(), std::make_unique<Ordered>(counts), "");
            void* const second =
                handler->actionRequest(streamRequest(), std::make_unique<Ordered>(counts), "");
            if (random() % 2 == 0) {
                std::this_thread::yield();
            }
            handler->cancelRequest(first);
            handler->cancelRequest(first);
            handler->cancelRequest(second);
            watchdog.progress();
        }
    });
    EXPECT_EQ(state.get(), 2 * rounds * 10) << "no modification is lost";
    waitUntil([&] { return counts.alive == 0; });
    EXPECT_EQ(counts.ends, 0);
    waitUntil([&] { return state.watchers().empty(); });
}

TEST_F(StreamHazardsTest, EveryEventIsDeliveredOrCounted) {
    const int events = 2000 * test::stressFactor();
    for (const WhenFull policy : {Wait, Conflate, DropOldest}) {
        Counts own;
        Events<int> stream;
        stream.options().queue(8).whenFull(policy).patience(1min);
        for (int i = 0; i < 5; ++i) {
            watch(stream, std::make_unique<Ordered>(own, policy == Wait));
        }
        for (int i = 0; i < events; ++i) {
            stream.send(i);
        }
        waitUntil([&] {
            for (const WatcherInfo& info : stream.watchers()) {
                if (info.queued != 0) {
                    return false;
                }
            }
            return true;
        });
        ASSERT_EQ(stream.watchers().size(), 5U);
        for (const WatcherInfo& info : stream.watchers()) {
            EXPECT_EQ(info.delivered + info.conflated + info.dropped,
                      static_cast<std::uint64_t>(events));
            EXPECT_TRUE(policy != Wait || info.delivered == static_cast<std::uint64_t>(events));
        }
    }
}

TEST_F(StreamHazardsTest, DestructionDuringDeliveryEndsEachWatcherOnce) {
    const int rounds = 100 * test::stressFactor();
    for (int i = 0; i < rounds; ++i) {
        constexpr int WATCHERS = 20;
        Counts own;
        {
            Observable<int> state(0);
            for (int w = 0; w < WATCHERS; ++w) {
                watch(state, std::make_unique<Ordered>(own));
            }
            for (int value = 1; value < i % 20; ++value) {
                state.set(value);
            }
        }
        EXPECT_EQ(own.ends, WATCHERS);
        EXPECT_EQ(own.alive, 0);
        watchdog.progress();
    }
}

// Checks that applying the changes to the snapshot gives the original list.
TEST_F(StreamHazardsTest, CopyOfAListIsExactWhileThreadsChangeIt) {
    ObservableList<int> list;
    ObservableMap<int> map;
    std::map<std::string, std::unique_ptr<IResourceHandler>> mounts;
    mounts["/list"] = list.handler();
    mounts["/map"] = map.handler();
    StaticComposedKovaService service(std::move(mounts));
    Client client(service);
    std::atomic<int> finished{0};
    const int changes = 500 * test::stressFactor();
    test::runOnThreads(4, [&](int thread) {
        if (thread < 2) {
            std::minstd_rand random(static_cast<unsigned>(thread) + 1);
            for (int i = 0; i < changes; ++i) {
                const std::size_t at = random() % 20;
                if (list.size() > 15) {
                    list.remove(at);
                } else if (!list.set(at, i)) {
                    list.append(i);
                }
                map.set(std::to_string(at), i);
                map.remove(std::to_string(random() % 20));
            }
            if (++finished == 2) {
                list.append(-1);
                map.set("last", -1);
            }
            return;
        }
        std::vector<int> copy;
        std::map<std::string, int> copyOfMap;
        std::atomic<bool> listDone{false};
        std::atomic<bool> mapDone{false};
        Subscription ofList = client.watch<ListChange<int>>("/list")
                                  .onValue([&](const ListChange<int>& change) {
                                      EXPECT_TRUE(change.applyTo(copy));
                                      listDone = !copy.empty() && copy.back() == -1;
                                  })
                                  .start();
        Subscription ofMap = client.watch<MapChange<int>>("/map")
                                 .onValue([&](const MapChange<int>& change) {
                                     EXPECT_TRUE(change.applyTo(copyOfMap));
                                     mapDone = copyOfMap.count("last") != 0;
                                 })
                                 .start();
        waitUntil([&] { return listDone && mapDone; });
        ofList.reset();
        ofMap.reset();
        EXPECT_EQ(copy, list.get());
        EXPECT_EQ(copyOfMap, map.get());
    });
}

}  // namespace
}  // namespace kova::kit
