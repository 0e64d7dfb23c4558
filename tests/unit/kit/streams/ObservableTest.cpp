#include "kova/kit/Observable.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <optional>
#include <stdexcept>

#include "Watch.h"
#include "kova/core/KovaException.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/kit/Client.h"
#include "support/Reports.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using test::Answers;
using test::Watch;
using Texts = std::vector<std::string>;

struct State {
    int position = 0;
    std::string title = "silence";
};
KOVA_FIELDS(State, position, title)

/// A value with a greater alignment than memory usually has.
struct alignas(256) Wide {
    int number = 0;
};
KOVA_FIELDS(Wide, number)

/// A number that counts how often it is written.
struct Counted {
    int number = 0;
    static inline std::atomic<int> writes{0};
};

Request update(const std::string& json) {
    return {"update", "", Payload::createFromJSON(json)};
}

// --- Values --------------------------------------------------------------------------------------

TEST(Observable, ValuesOfOverAlignedTypesAreAligned) {
    std::vector<std::shared_ptr<detail::ValueChange<Wide>>> changes;
    for (int number = 0; number < 8; ++number) {
        changes.push_back(detail::makeChange<detail::ValueChange<Wide>>(Wide{number}));
        const auto address = reinterpret_cast<std::uintptr_t>(&changes.back()->value);
        EXPECT_EQ(address % alignof(Wide), 0U);
    }
}

TEST(Observable, GetReturnsTheLatestValue) {
    Observable<int> level(30);
    EXPECT_EQ(level.get(), 30);
    level.set(40);
    EXPECT_EQ(level.get(), 40);
    level.modify([](int& value) { ++value; });
    EXPECT_EQ(level.get(), 41);
}

TEST(Observable, ModifyRepeatsItsFunctionAfterAConcurrentSet) {
    Observable<int> level(1);
    int calls = 0;
    level.modify([&](int& value) {
        if (++calls == 1) {
            level.set(10);  // simulates a `set` of another thread
        }
        ++value;
    });
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(level.get(), 11);
}

TEST(Observable, RetrieveReturnsTheValueOnce) {
    Observable<State> state;
    const auto answers = Watch(state).retrieve();
    EXPECT_EQ(answers->end(), "completed");
    EXPECT_EQ(answers->values(1), Texts{R"({"position":0,"title":"silence"})"});
    EXPECT_EQ(answers->last().getStatusCode(), 200);
    EXPECT_TRUE(answers->last().getHeader().isUndefined());
}

TEST(Observable, RetrieveReturnsTheFormatThatTheClientAccepts) {
    Observable<int> level(30);
    Request request("retrieve", "");
    request.setMimeType(mimetypes::AXOBin);
    const auto answers = Watch(level).send(request);
    EXPECT_EQ(answers->end(), "completed");
    EXPECT_EQ(answers->last().getPayload().getMimeType(), mimetypes::AXOBIN_TYPE);
    EXPECT_EQ(fromPayload<int>(answers->last().getPayload()).valueOr(0), 30);
}

TEST(Observable, RejectsUnknownFormatsCommandsAndPaths) {
    Observable<int> level(30);
    const Watch watch(level);
    Request unknown("retrieve", "");
    unknown.setMimeType(std::string("text/html"));
    EXPECT_EQ(watch.send(unknown)->end(),
              "400 Bad Request: undefined mime-type 'text/html'; there are: application/json, "
              "application/vnd.axobin");
    EXPECT_EQ(watch.send(update("5"))->end(),
              "400 Bad Request: command 'update' not supported for path ''; supported: retrieve");
    EXPECT_EQ(watch.send(Request("start", ""))->end(),
              "400 Bad Request: command 'start' not supported for path ''; supported: retrieve");
    EXPECT_EQ(watch.retrieve("left")->end(), "404 Not Found: path 'left' not found");
    EXPECT_EQ(watch.send(Request("update", "left"))->end(), "404 Not Found: path 'left' not found");
}

TEST(Observable, ValueThatJsonCannotExpressIsAnsweredWith500) {
    Observable<double> level(std::numeric_limits<double>::quiet_NaN());
    const Watch watch(level);
    const std::string error =
        "500 Internal Server Error: expected a finite number, found nan (byte 0)";
    EXPECT_EQ(watch.retrieve()->end(), error);
    EXPECT_EQ(watch.watch()->end(), error);
    EXPECT_EQ(watch.send(Watch::streamRequest(mimetypes::AXOBIN_TYPE))->values(1).size(), 1U);
}

TEST(Observable, OperationsContainUpdateOnlyIfWritable) {
    Observable<int> level;
    ASSERT_EQ(level.operations().size(), 1U);
    EXPECT_EQ(level.operations()[0].command, "retrieve");
    EXPECT_TRUE(level.operations()[0].streams);
    EXPECT_FALSE(level.operations()[0].valueSchema().isEmpty());
    level.onWrite([](const int&) { return Result<void>(); });
    ASSERT_EQ(level.operations().size(), 2U);
    EXPECT_EQ(level.operations()[1].command, "update");
    EXPECT_FALSE(level.operations()[1].bodySchema().isEmpty());
}

// --- Writing -------------------------------------------------------------------------------------

TEST(Observable, AcceptedWriteBecomesTheValue) {
    Observable<int> level(30);
    level.onWrite([](const int& wanted) -> Result<void> {
        return wanted <= 100 ? Result<void>() : Error{409, "too loud"};
    });
    const Watch watch(level);
    const auto answers = watch.watch();
    EXPECT_EQ(watch.send(update("50"))->end(), "completed");
    EXPECT_EQ(answers->values(2), (Texts{"30", "50"}));
    EXPECT_EQ(level.get(), 50);
    EXPECT_EQ(watch.send(update("101"))->end(), "409 Conflict: too loud");
    EXPECT_EQ(watch.send(update("\"loud\""))->end(),
              "400 Bad Request: expected an integer of 32 bits, found \"loud\" (byte 0)");
    EXPECT_EQ(level.get(), 50);
}

TEST(Observable, EmptyWriteFunctionMakesTheValueReadOnlyAgain) {
    Observable<int> level(30);
    level.onWrite([](const int&) { return Result<void>(); });
    level.onWrite(nullptr);
    EXPECT_EQ(Watch(level).send(update("50"))->end(),
              "400 Bad Request: command 'update' not supported for path ''; supported: retrieve");
}

TEST(Observable, ExceptionOfTheWriteFunctionIsTheAnswer) {
    const test::Reports reports;
    Observable<int> level(30);
    level.onWrite([](const int& wanted) -> Result<void> {
        if (wanted == 1) {
            throw KovaException(Response::createErrorResponse(403, "not you"));
        }
        throw std::runtime_error("broken");
    });
    const Watch watch(level);
    EXPECT_EQ(watch.send(update("1"))->end(), "403 Forbidden: not you");
    EXPECT_NE(watch.send(update("2"))->end().find("broken"), std::string::npos);
    EXPECT_EQ(level.get(), 30);
}

// --- Streams -------------------------------------------------------------------------------------

TEST(Observable, StreamBeginsWithTheValueAndContinuesWithEachChange) {
    Observable<int> level(30);
    const auto answers = Watch(level).watch();
    answers->values(1);
    EXPECT_EQ(answers->last().getStatusCode(), 299);
    level.set(31);
    level.set(32);
    EXPECT_EQ(answers->values(3), (Texts{"30", "31", "32"}));
    EXPECT_EQ(answers->last().getStatusCode(), 299);
}

TEST(Observable, HeaderOfTheFirstValueDescribesTheQueue) {
    Observable<int> level(30);
    level.options().queue(7).whenFull(DropOldest);
    const auto answers = Watch(level).watch();
    answers->values(1);
    std::string queue;
    EXPECT_FALSE(answers->last().getHeaderValue(STREAM_QUEUE).get(queue));
    EXPECT_EQ(queue, "7 drop-oldest");
    level.set(31);
    answers->values(2);
    EXPECT_TRUE(answers->last().getHeader().isUndefined());
}

TEST(Observable, DefaultQueueHolds16ChangesAndThenConflates) {
    Observable<int> level(30);
    EXPECT_EQ(level.options().current().toString(), "16 conflate");
}

}  // namespace

namespace detail {
/// Writes the number and counts the call.
template <>
struct Codec<Counted> {
    static constexpr Kind KIND = Kind::Number;
    template <class In>
    static bool read(In& in, Counted& out) {
        return Codec<int>::read(in, out.number);
    }
    template <class Out>
    static bool write(Out& out, const Counted& value) {
        ++Counted::writes;
        return Codec<int>::write(out, value.number);
    }
};
template <>
struct SchemaOf<Counted> : SchemaOf<int> {};
}  // namespace detail

namespace {

TEST(Observable, ValueIsEncodedOnceForAllWatchersOfAFormat) {
    Counted::writes = 0;
    Observable<Counted> counted;
    const Watch watch(counted);
    std::vector<std::shared_ptr<Answers>> all;
    for (int i = 0; i < 20; ++i) {
        all.push_back(watch.send(
            Watch::streamRequest(i % 2 == 0 ? mimetypes::JSON_TYPE : mimetypes::AXOBIN_TYPE)));
        all.back()->values(1);
    }
    EXPECT_EQ(Counted::writes, 2);
    counted.set({5});
    for (const auto& answers : all) {
        EXPECT_EQ(answers->values(2).back(), "5");
    }
    EXPECT_EQ(Counted::writes, 4);
    EXPECT_EQ(all[0]->last().getPayload().data(), all[2]->last().getPayload().data());
}

TEST(Observable, WatcherThatWantsNoMoreValuesGetsACompletion) {
    Observable<int> level(30);
    const auto answers = std::make_shared<Answers>();
    answers->onValue = [](const Response&) { return true; };
    Watch(level).watch(answers);
    EXPECT_EQ(answers->end(), "completed");
    EXPECT_EQ(answers->endsWhenDestroyed(), 1U);
    test::waitUntilUnwatched(level);
}

TEST(Observable, CancelledWatcherGetsNoEnd) {
    Observable<int> level(30);
    const Watch watch(level);
    void* handle = nullptr;
    const auto answers = watch.watch({}, &handle);
    answers->values(1);
    watch.cancel(handle);
    EXPECT_EQ(answers->endsWhenDestroyed(), 0U);
    level.set(31);
    EXPECT_EQ(answers->values(1).size(), 1U);
}

TEST(Observable, HandlerAnswers503AfterTheObservableIsDestroyed) {
    std::optional<Observable<int>> level(30);
    const Watch watch(*level);
    const auto answers = watch.watch();
    answers->values(1);
    level.reset();
    EXPECT_TRUE(answers->hasEnd());
    EXPECT_EQ(answers->end(), "503 Service Unavailable: the resource is closed");
    EXPECT_EQ(watch.retrieve()->end(), "503 Service Unavailable: the resource is closed");
}

TEST(Observable, ServesAClientThroughAComposedService) {
    Observable<State> state;
    std::map<std::string, std::unique_ptr<IResourceHandler>> mounts;
    mounts["/state"] = state.handler();
    StaticComposedKovaService service(std::move(mounts));
    Client client(service);
    EXPECT_EQ(client.retrieve<State>("/state").get()->position, 0);
    std::promise<void> arrived;
    Subscription watch = client.watch<State>("/state")
                             .onValue([&](const State& value) {
                                 if (value.position == 3) {
                                     arrived.set_value();
                                 }
                             })
                             .start();
    state.modify([](State& value) { value.position = 3; });
    arrived.get_future().wait();
    watch.reset();
}

// --- Callbacks -----------------------------------------------------------------------------------

TEST(Observable, MayBeSetInsideAReceiver) {
    Observable<int> level(0);
    level.options().queue(100);
    const auto answers = std::make_shared<Answers>();
    answers->onValue = [&](const Response& value) {
        const int number = *fromPayload<int>(value.getPayload());
        if (number < 5) {
            level.set(number + 1);
        }
        return false;
    };
    Watch(level).watch(answers);
    EXPECT_EQ(answers->values(6), (Texts{"0", "1", "2", "3", "4", "5"}));
}

TEST(Observable, ReceiverMayCancelItsOwnStream) {
    Observable<int> level(0);
    const Watch watch(level);
    std::promise<void*> handle;
    std::future<void*> handleOf = handle.get_future();
    const auto answers = std::make_shared<Answers>();
    answers->onValue = [&](const Response&) {
        watch.cancel(handleOf.get());
        return false;
    };
    void* own = nullptr;
    watch.watch(answers, &own);
    handle.set_value(own);
    EXPECT_EQ(answers->endsWhenDestroyed(), 0U);
}

TEST(Observable, MayBeDestroyedInsideAReceiver) {
    auto level = std::make_unique<Observable<int>>(0);
    const Watch watch(*level);
    const auto answers = std::make_shared<Answers>();
    const auto other = watch.watch();
    other->values(1);
    answers->onValue = [&](const Response&) {
        level.reset();
        return false;
    };
    watch.watch(answers);
    EXPECT_EQ(answers->end(), "503 Service Unavailable: the resource is closed");
    EXPECT_EQ(other->end(), "503 Service Unavailable: the resource is closed");
    EXPECT_EQ(answers->endsWhenDestroyed(), 1U);
}

TEST(Observable, DestructorWaitsForARunningReceiver) {
    auto level = std::make_unique<Observable<int>>(0);
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<bool> left{false};
    const auto answers = std::make_shared<Answers>();
    answers->onValue = [&](const Response&) {
        entered.set_value();
        mayLeave.get_future().wait();
        left = true;
        return false;
    };
    Watch(*level).watch(answers);
    entered.get_future().wait();
    std::future<bool> destroyed = std::async(std::launch::async, [&] {
        level.reset();
        return left.load();
    });
    EXPECT_EQ(destroyed.wait_for(20ms), std::future_status::timeout);
    mayLeave.set_value();
    EXPECT_TRUE(destroyed.get());
    EXPECT_EQ(answers->end(), "503 Service Unavailable: the resource is closed");
}

}  // namespace
}  // namespace kova::kit
