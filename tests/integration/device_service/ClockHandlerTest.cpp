#include "ClockHandler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <map>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Answer.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/headers.h"
#include "osal/AlarmTimer.h"
#include "support/ManualClock.h"
#include "support/Reports.h"

namespace device {
namespace {

using kova::Payload;
using kova::Request;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::system_clock;
using test::Answer;

constexpr milliseconds INTERVAL(10);

/// A manual clock that records whether the timer's thread waits for an alarm.
class RecordingClock : public kova::test::ManualClock {
public:
    void waitUntil(TimePoint deadline) override {
        idle_ = deadline == TimePoint::max();
        ManualClock::waitUntil(deadline);
    }
    /// Returns whether no alarm is armed.
    bool isIdle() {
        settle();
        return idle_;
    }

private:
    std::atomic<bool> idle_{false};
};

/// A service with a ClockHandler whose time is that of a manual clock.
class ClockHandlerTest : public testing::Test {
protected:
    ClockHandlerTest() { serve(INTERVAL, timer); }

    void serve(milliseconds interval, osal::AlarmTimer& alarms) {
        service.reset();
        auto resource = std::make_unique<ClockHandler>(
            [this] { return toDateTime(system_clock::time_point(clock.now().time_since_epoch())); },
            interval, alarms);
        handler = resource.get();
        std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
        handlers["/clock"] = std::move(resource);
        service = std::make_unique<kova::StaticComposedKovaService>(std::move(handlers));
    }
    static Request watching(const std::string& path) {
        Request request("retrieve", path);
        kova::headers::appendResponseSemantic(request, kova::headers::PERSISTENT_STREAM);
        return request;
    }
    static Request after(const std::string& duration) {
        return {"retrieve", "/clock/in", Payload::createFromJSON("\"" + duration + "\"")};
    }
    void* open(const std::shared_ptr<Answer>& answer, const Request& request) {
        return service->actionRequest(request, answer->receiver());
    }
    void* openStream(const std::shared_ptr<Answer>& answer) {
        return open(answer, watching("/clock"));
    }

    kova::test::Reports reports;
    RecordingClock clock;
    osal::AlarmTimer timer{clock};
    osal::AlarmTimer quickTimer;
    ClockHandler* handler = nullptr;
    std::unique_ptr<kova::StaticComposedKovaService> service;
};

// Points in time

struct TimeRow {
    milliseconds sinceEpoch;
    char const* text;
};

void PrintTo(const TimeRow& row, std::ostream* out) {
    *out << row.sinceEpoch.count() << " ms";
}

constexpr TimeRow TIMES[] = {
    {milliseconds(0), "1970-01-01T00:00:00.000Z"},
    {milliseconds(-1), "1969-12-31T23:59:59.999Z"},
    {milliseconds(951782399999), "2000-02-28T23:59:59.999Z"},
    {milliseconds(951782400000), "2000-02-29T00:00:00.000Z"},
    {milliseconds(1552034109042), "2019-03-08T08:35:09.042Z"},
    {milliseconds(9214646399999), "2261-12-31T23:59:59.999Z"},
};

TEST(ClockHandlerTimeTest, TimePointIsConvertedToUtc) {
    for (const TimeRow& row : TIMES) {
        SCOPED_TRACE(testing::PrintToString(row));
        EXPECT_EQ(toDateTime(system_clock::time_point(row.sinceEpoch)).toString(), row.text);
    }
}

// Single responses

struct StatusRow {
    char const* command;
    char const* path;
    char const* payload;
    unsigned short code;
    char const* answer;  // payload or error message
};

void PrintTo(const StatusRow& row, std::ostream* out) {
    *out << row.command << ' ' << row.path << ' ' << row.payload;
}

constexpr char const* NO_DURATION =
    "path '/clock/in': the payload is no duration without years and months, such as "
    "\"P0000-00-01T02:03:04\"";

const StatusRow ROWS[] = {
    {"retrieve", "/clock", "", 200, "\"1970-01-01T01:00:00.000Z\""},
    {"retrieve", "/clock/", "5", 200, "\"1970-01-01T01:00:00.000Z\""},
    {"retrieve", "/clock/in", "\"P0000-00-00T00:00:00\"", 200, "\"1970-01-01T01:00:00.000Z\""},
    {"retrieve", "/clock/in", "", 400, NO_DURATION},
    {"retrieve", "/clock/in", "1", 400, NO_DURATION},
    {"retrieve", "/clock/in", "\"PT1S\"", 400, NO_DURATION},
    {"retrieve", "/clock/in", "\"P0000-00-00T00:00:60\"", 400, NO_DURATION},
    {"retrieve", "/clock/in", "\"P0001-00-00T00:00:01\"", 400, NO_DURATION},
    {"retrieve", "/clock/in", "\"P0000-01-00T00:00:01\"", 400, NO_DURATION},
    {"retrieve", "/clock/in", "{\"open\":", 400, NO_DURATION},
    {"retrieve", "/clock/at", "", 404, "path '/clock/at' not found"},
    {"retrieve", "/clock/in/x", "", 404, "path '/clock/in/x' not found"},
    {"update", "/clock", "1", 400, "command 'update' not supported for path '/clock'"},
    {"delete", "/clock/in", "", 400, "command 'delete' not supported for path '/clock/in'"},
};

TEST_F(ClockHandlerTest, RespondsWithTheExpectedStatusAndPayload) {
    for (const StatusRow& row : ROWS) {
        SCOPED_TRACE(testing::PrintToString(row));
        const std::string payload = row.payload;
        const auto answer = std::make_shared<Answer>();
        EXPECT_EQ(
            open(answer, Request(row.command, row.path,
                                 payload.empty() ? Payload() : Payload::createFromJSON(payload))),
            nullptr);
        EXPECT_EQ(answer->code(), row.code);
        EXPECT_EQ(answer->error() + answer->text(), row.answer);
        EXPECT_EQ(answer->ends(), 1);
        EXPECT_TRUE(answer->released());
    }
}

TEST_F(ClockHandlerTest, RespondsInTheAcceptedMimeType) {
    for (Request request : {Request("retrieve", "/clock"), watching("/clock"),
                            after("P0000-00-00T00:00:00"), after("P0000-00-00T00:00:01")}) {
        request.setMimeType("application/vnd.axobin");
        const auto answer = test::ask(*service, request);
        clock.advance(seconds(1));
        EXPECT_EQ(answer->values().at(0).getPayload().getMimeType(), "application/vnd.axobin");
        EXPECT_EQ(answer->text().substr(0, 17), "\"1970-01-01T01:00");
        request.setMimeType("plain/text");
        EXPECT_EQ(test::ask(*service, request)->code(), 400)
            << "at once, not when the alarm is due";
    }
}

// Streams

TEST_F(ClockHandlerTest, StreamSendsTheTimeAtEveryInterval) {
    const auto answer = std::make_shared<Answer>();
    EXPECT_NE(openStream(answer), nullptr);
    for (char const* const time :
         {"\"1970-01-01T01:00:00.000Z\"", "\"1970-01-01T01:00:00.010Z\"",
          "\"1970-01-01T01:00:00.020Z\"", "\"1970-01-01T01:00:00.030Z\""}) {
        EXPECT_EQ(answer->text(), time);
        EXPECT_EQ(answer->code(), 299);
        clock.advance(INTERVAL);
    }
    EXPECT_EQ(answer->values().size(), 5U);
    EXPECT_EQ(answer->ends(), 0);
}

TEST_F(ClockHandlerTest, StreamCompletesWhenTheResponseHandlerStopsIt) {
    for (const unsigned long enough : {1UL, 2UL, 3UL}) {
        const auto answer = std::make_shared<Answer>();
        answer->onNext = [enough](unsigned long count) { return count == enough; };
        void* const handle = openStream(answer);
        EXPECT_EQ(handle == nullptr, enough == 1);
        for (unsigned long i = 0; i < 5; ++i) {
            clock.advance(INTERVAL);
        }
        EXPECT_TRUE(answer->released());
        EXPECT_EQ(answer->values().size(), enough);
        EXPECT_EQ(answer->ends(), 1);
        EXPECT_TRUE(clock.isIdle());
    }
}

TEST_F(ClockHandlerTest, AlarmFailureEndsTheStreamWithAnError) {
    serve(milliseconds(0), timer);
    const auto answer = std::make_shared<Answer>();
    EXPECT_EQ(openStream(answer), nullptr);
    EXPECT_EQ(answer->values().size(), 1U);
    EXPECT_EQ(answer->error(), "path '/clock': the clock stands still");
    EXPECT_TRUE(answer->released());
}

// Alarms

TEST_F(ClockHandlerTest, DelayedRequestReturnsTheTimeAfterTheDuration) {
    for (const bool watch : {false, true}) {
        Request request = after("P0000-00-00T00:00:02");
        if (watch) {
            kova::headers::appendResponseSemantic(request, kova::headers::PERSISTENT_STREAM);
        }
        const auto answer = std::make_shared<Answer>();
        EXPECT_NE(open(answer, request), nullptr);
        clock.advance(milliseconds(1999));
        EXPECT_EQ(answer->code(), 0);
        clock.advance(milliseconds(1));
        EXPECT_EQ(answer->code(), watch ? 299 : 200);
        EXPECT_EQ(answer->values().size(), 1U);
        EXPECT_EQ(answer->ends(), 1);
        EXPECT_TRUE(answer->released());
        EXPECT_TRUE(clock.isIdle());
    }
}

TEST_F(ClockHandlerTest, EveryFieldOfTheDurationIsAdded) {
    const auto answer = std::make_shared<Answer>();
    open(answer, after("P0000-00-31T23:59:59"));
    clock.advance(hours(32 * 24) - seconds(1) - milliseconds(1));
    EXPECT_EQ(answer->code(), 0);
    clock.advance(milliseconds(1));
    EXPECT_EQ(answer->text(), "\"1970-02-02T00:59:59.000Z\"");
}

TEST_F(ClockHandlerTest, BinaryDurationIsAccepted) {
    const std::string bytes = "\x74P0000-00-00T00:00:01";
    const auto answer = test::ask(
        *service,
        Request("retrieve", "/clock/in",
                Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                       bytes.size(), "application/vnd.axobin")));
    clock.advance(seconds(1));
    EXPECT_EQ(answer->code(), 200);
}

// Cancellation

TEST_F(ClockHandlerTest, CancelledRequestIsReleased) {
    for (const Request& request : {watching("/clock"), after("P0000-00-31T00:00:00")}) {
        const auto answer = std::make_shared<Answer>();
        void* const handle = open(answer, request);
        EXPECT_FALSE(clock.isIdle());
        const std::size_t before = answer->values().size();
        service->cancelRequest(handle);
        EXPECT_TRUE(answer->released());
        EXPECT_TRUE(clock.isIdle()) << "its alarm is gone as well";
        EXPECT_EQ(answer->values().size(), before);
        EXPECT_EQ(answer->ends(), 0);
    }
}

TEST_F(ClockHandlerTest, UnknownHandlesAreIgnored) {
    const auto answer = std::make_shared<Answer>();
    openStream(answer);
    handler->cancelRequest(nullptr);
    handler->cancelRequest(this);
    clock.advance(INTERVAL);
    EXPECT_EQ(answer->values().size(), 2U);
}

// Blocks the alarm thread inside a response handler until `proceed` is set. Must outlive the
// request.
struct BlockingHandler {
    BlockingHandler(unsigned long at, bool enough) {
        answer->onNext = [this, at, enough](unsigned long count) {
            if (count == at) {
                entered.set_value();
                proceed.get_future().wait();
            }
            return enough && count == at;
        };
    }

    std::shared_ptr<Answer> answer = std::make_shared<Answer>();
    std::promise<void> entered;
    std::promise<void> proceed;
};

TEST_F(ClockHandlerTest, CancellationDoesNotWaitForAResponseHandler) {
    serve(INTERVAL, quickTimer);
    for (const bool enough : {false, true}) {
        BlockingHandler held(2, enough);
        void* const handle = openStream(held.answer);
        held.entered.get_future().wait();
        service->cancelRequest(handle);
        EXPECT_FALSE(held.answer->released());
        held.proceed.set_value();
        held.answer->awaitRelease();
        EXPECT_EQ(held.answer->values().size(), 2U);
        EXPECT_EQ(held.answer->ends(), 0);
    }
}

TEST_F(ClockHandlerTest, RequestsAreServedWhileAResponseHandlerBlocks) {
    serve(INTERVAL, quickTimer);
    BlockingHandler held(2, false);
    openStream(held.answer);
    held.entered.get_future().wait();
    EXPECT_EQ(test::ask(*service, Request("retrieve", "/clock"))->code(), 200);
    const auto other = std::make_shared<Answer>();
    service->cancelRequest(openStream(other));
    EXPECT_TRUE(other->released());
    held.proceed.set_value();
    service.reset();
}

TEST_F(ClockHandlerTest, ResponseHandlerMayCancelItsOwnRequest) {
    for (const bool enough : {false, true}) {
        const auto answer = std::make_shared<Answer>();
        void* handle = nullptr;
        answer->onNext = [this, enough, &handle](unsigned long count) {
            if (count == 2) {
                service->cancelRequest(handle);
            }
            return enough && count == 2;
        };
        handle = openStream(answer);
        clock.advance(INTERVAL);
        clock.advance(INTERVAL);
        EXPECT_TRUE(answer->released());
        EXPECT_EQ(answer->values().size(), 2U);
        EXPECT_EQ(answer->ends(), 0) << "a cancelled request gets no further event";
    }
}

TEST_F(ClockHandlerTest, ResponseHandlerMaySendRequests) {
    const auto stream = std::make_shared<Answer>();
    const auto alarm = std::make_shared<Answer>();
    const auto outer = std::make_shared<Answer>();
    outer->onNext = [&](unsigned long count) {
        if (count == 2) {
            openStream(stream);
            open(alarm, after("P0000-00-00T00:00:01"));
        }
        return false;
    };
    openStream(outer);
    clock.advance(INTERVAL);
    clock.advance(seconds(1));
    EXPECT_EQ(stream->values().size(), 2U);
    EXPECT_EQ(alarm->ends(), 1);
}

// Shutdown and destruction

TEST_F(ClockHandlerTest, ShutdownReleasesAllRequests) {
    const auto stream = std::make_shared<Answer>();
    const auto alarm = std::make_shared<Answer>();
    openStream(stream);
    open(alarm, after("P0000-00-00T00:00:01"));
    service->shutdown();
    for (const auto& answer : {stream, alarm}) {
        EXPECT_TRUE(answer->released());
        EXPECT_EQ(answer->ends(), 0);
    }
    EXPECT_TRUE(clock.isIdle());
}

TEST_F(ClockHandlerTest, ResponseHandlerMayShutTheServiceDown) {
    const auto answer = std::make_shared<Answer>();
    answer->onNext = [this](unsigned long count) {
        if (count == 2) {
            service->shutdown();
        }
        return false;
    };
    openStream(answer);
    clock.advance(INTERVAL);
    EXPECT_TRUE(answer->released());
    EXPECT_EQ(answer->values().size(), 2U);
}

TEST_F(ClockHandlerTest, DestructionReleasesPendingRequests) {
    const auto stream = std::make_shared<Answer>();
    const auto alarm = std::make_shared<Answer>();
    openStream(stream);
    open(alarm, after("P0000-00-00T00:00:01"));
    service.reset();
    for (const auto& answer : {stream, alarm}) {
        EXPECT_TRUE(answer->released());
        EXPECT_EQ(answer->ends(), 0);
    }
}

TEST_F(ClockHandlerTest, DestructionWaitsForTheRunningResponseHandler) {
    serve(INTERVAL, quickTimer);
    BlockingHandler held(2, true);
    openStream(held.answer);
    held.entered.get_future().wait();
    std::thread destroyer([this] { service.reset(); });
    held.proceed.set_value();
    destroyer.join();
    EXPECT_TRUE(held.answer->released());
    EXPECT_EQ(held.answer->ends(), 1) << "the service takes the end while it is destroyed";
}

TEST_F(ClockHandlerTest, RequestDuringTheDestructionIsReleased) {
    serve(INTERVAL, quickTimer);
    const auto outer = std::make_shared<Answer>();
    std::promise<void> entered;
    std::shared_ptr<Answer> last;
    outer->onNext = [&, resource = handler](unsigned long count) {
        if (count == 2) {
            entered.set_value();
            void* handle = nullptr;
            do {  // until the destructor, which waits for this response handler, has begun
                last = std::make_shared<Answer>();
                handle = resource->actionRequest(watching("/clock"), last->receiver(), "");
            } while (handle != nullptr);
        }
        return false;
    };
    openStream(outer);
    entered.get_future().wait();
    service.reset();
    EXPECT_TRUE(last->released());
    EXPECT_EQ(last->values().size(), 1U);
    EXPECT_EQ(last->ends(), 0);
}

TEST_F(ClockHandlerTest, DestructionIsSafeWhileRequestsArriveAndEnd) {
    for (unsigned long round = 0; round < 50; ++round) {
        serve(milliseconds(1), quickTimer);
        std::vector<std::shared_ptr<Answer>> answers;
        for (unsigned long i = 0; i < 5; ++i) {
            answers.push_back(std::make_shared<Answer>());
            answers.back()->onNext = [=](unsigned long count) {
                return count == 2 + i + round % 3;
            };
            openStream(answers.back());
        }
        answers[round % 5]->awaitValues(1 + round % 2);
        if (round % 2 == 0) {
            service->shutdown();
        }
        service.reset();
        for (const auto& answer : answers) {
            EXPECT_TRUE(answer->released());
            EXPECT_LE(answer->ends(), 1);
        }
    }
}

TEST_F(ClockHandlerTest, ConcurrentRequestsAndCancellationsAreSafe) {
    serve(milliseconds(1), quickTimer);
    constexpr unsigned int THREADS = 4;
    std::vector<std::shared_ptr<Answer>> answers(THREADS * 50);
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < THREADS; ++t) {
        threads.emplace_back([this, t, &answers] {
            std::mt19937 random(t);
            for (unsigned int i = 0; i < 50; ++i) {
                auto& answer = answers[t * 50 + i];
                answer = std::make_shared<Answer>();
                const unsigned long enough = random() % 4;
                answer->onNext = [enough](unsigned long count) { return count == enough; };
                void* const handle = openStream(answer);
                answer->awaitValues(enough == 1 ? 1 : 1 + random() % 2);
                if (random() % 3 != 0) {
                    service->cancelRequest(handle);
                    answer->awaitRelease();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    service->shutdown();
    service.reset();
    for (const auto& answer : answers) {
        EXPECT_TRUE(answer->released());
        EXPECT_LE(answer->ends(), 1);
    }
}

}  // namespace
}  // namespace device
