#include "servicecomposition/ServiceResponseHandler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/StaticComposedKovaServiceImpl.h"
#include "kova/core/response_handlers.h"
#include "support/Allocations.h"
#include "support/Reports.h"
#include "support/Service.h"
#include "support/Traces.h"

namespace kova::detail {
namespace {

using Handler = std::unique_ptr<IResponseHandler<Response>>;
using Log = std::vector<std::string>;

constexpr std::uint16_t THROWING = 500;

/// The client's response handler. It logs its events and its destruction.
class Client : public IResponseHandler<Response> {
public:
    Client(Log& log, bool answer) : log_(log), answer_(answer) {}
    ~Client() override { log_.emplace_back("destroyed"); }

    bool onNext(const Response& value) override {
        log_.push_back("next " + std::to_string(value.getStatusCode()));
        if (value.getStatusCode() == THROWING) {
            throw 1;
        }
        return answer_;
    }
    void onError(const Response& error) override {
        log_.push_back("error " + std::to_string(error.getStatusCode()));
    }
    void onCompleted() override { log_.emplace_back("completed"); }

private:
    Log& log_;
    bool answer_;
};

/// A service without mounts, and the flag that it sets at the shutdown.
struct Setting {
    StaticComposedKovaServiceImpl service{{}};
    std::atomic<bool> shutdown{false};
};

Handler oneObject(Setting& setting, Handler client) {
    return std::make_unique<ServiceResponseHandler>(setting.service, setting.shutdown,
                                                    std::move(client));
}

Handler nestedPair(Setting& setting, Handler client) {
    void* const handle = client.get();
    auto clearing = std::make_unique<responsehandlers::DoOnTerminationResponseHandler<Response>>(
        [&setting, handle] { setting.service.requestDone(handle); }, std::move(client));
    return std::make_unique<responsehandlers::FilteringResponseHandler<Response>>(
        std::move(clearing), [&setting](const Response&) { return !setting.shutdown; });
}

struct Event {
    char const* name;
    std::function<std::string(Setting&, IResponseHandler<Response>&)> send;
};

std::string sendNext(IResponseHandler<Response>& handler, std::uint16_t status) {
    try {
        return handler.onNext(Response(status)) ? "true" : "false";
    } catch (int) {
        return "thrown";
    }
}

const Event EVENTS[] = {
    {"next", [](Setting&, IResponseHandler<Response>& handler) { return sendNext(handler, 200); }},
    {"throw",
     [](Setting&, IResponseHandler<Response>& handler) { return sendNext(handler, THROWING); }},
    {"error",
     [](Setting&, IResponseHandler<Response>& handler) {
         handler.onError(Response(404));
         return "sent";
     }},
    {"completed",
     [](Setting&, IResponseHandler<Response>& handler) {
         handler.onCompleted();
         return "sent";
     }},
    {"shutdown",
     [](Setting& setting, IResponseHandler<Response>&) {
         setting.shutdown = true;
         return "set";
     }},
};

/// A sequence of events, and one event that the trace sink sends while it receives a trace.
struct Play {
    std::vector<Event const*> events;
    bool answer = false;
    Event const* fromSink = nullptr;
    std::size_t atTrace = 0;
};

std::string nameOf(const Play& play) {
    std::string name = play.answer ? "true:" : "false:";
    for (Event const* const event : play.events) {
        name += std::string(" ") + event->name;
    }
    return name;
}

/// Replaces the address of the client's handler, which differs from run to run.
std::string withoutAddress(std::string text, void const* address) {
    char digits[32];
    std::snprintf(digits, sizeof(digits), "%p", address);
    const std::size_t at = text.find(digits);
    return at == std::string::npos ? text : text.replace(at, std::string(digits).size(), "HANDLE");
}

void setLevels(int level) {
    ::tracing::SharedChannelMap::instance().setLevel("KOVA_*", level);
}

/// Plays the events and returns all observable effects, in order.
Log observe(Handler (*make)(Setting&, Handler), const Play& play) {
    Log log;
    test::Reports reports;
    const test::Traces levels("KOVA_*", 0);
    Setting setting;
    auto client = std::make_unique<Client>(log, play.answer);
    void const* const address = client.get();
    Handler handler = make(setting, std::move(client));
    std::size_t traces = 0;
    ::tracing::setSink([&](const ::tracing::Message& message) {
        log.push_back(std::string(message.channel) + " " + std::to_string(message.level) + " " +
                      withoutAddress(std::string(message.text), address));
        if (play.fromSink != nullptr && traces++ == play.atTrace) {
            setLevels(::tracing::Channel::SILENT);
            log.push_back(play.fromSink->send(setting, *handler));
            setLevels(0);
        }
    });
    for (Event const* const event : play.events) {
        log.push_back(event->send(setting, *handler));
        for (const test::Reports::Report& report : reports.take()) {
            log.push_back(report.file + " " + std::to_string(report.line) + " " + report.reason);
        }
    }
    handler.reset();
    return log;
}

std::vector<Play> playsOfUpTo(std::size_t longest) {
    std::vector<Play> plays{{}};
    for (std::size_t i = 0; plays[i].events.size() < longest; ++i) {
        for (const Event& event : EVENTS) {
            Play longer = plays[i];
            longer.events.push_back(&event);
            plays.push_back(std::move(longer));
        }
    }
    return plays;
}

TEST(ServiceResponseHandlerTest, MatchesTheNestedWrappersForAllEventSequences) {
    const std::vector<Play> plays = playsOfUpTo(5);
    ASSERT_EQ(plays.size(), 1 + 5 + 25 + 125 + 625 + 3125);
    for (Play play : plays) {
        for (const bool answer : {false, true}) {
            play.answer = answer;
            ASSERT_EQ(observe(oneObject, play), observe(nestedPair, play)) << nameOf(play);
        }
    }
}

TEST(ServiceResponseHandlerTest, MatchesTheNestedWrappersForEventsSentByTheTraceSink) {
    for (Play play : playsOfUpTo(2)) {
        for (const Event& event : EVENTS) {
            play.fromSink = &event;
            for (play.atTrace = 0; play.atTrace < 5; ++play.atTrace) {
                ASSERT_EQ(observe(oneObject, play), observe(nestedPair, play))
                    << nameOf(play) << ", " << event.name << " at trace " << play.atTrace;
            }
        }
    }
}

TEST(ServiceResponseHandlerTest, TerminationIsTracedTwiceBeforeItIsForwarded) {
    const Event& completed = EVENTS[3];
    const std::string terminating =
        "KOVA_RESPONSEHANDLERS 2 Terminating responsehandler with event 'onCompleted'";
    const std::string service = "KOVA_SERVICE_COMPOSED_STATIC ";
    const std::string late =
        "KOVA_RESPONSEHANDLERS 3 Called onCompleted on responsehandler that is already terminated";
    Play play;
    play.events = {&completed, &completed};
    EXPECT_EQ(observe(oneObject, play),
              (Log{terminating, terminating, service + "2 [requestDone] handle HANDLE",
                   service + "3 [requestDone] handle HANDLE unknown", "completed", "sent", late,
                   "sent", "destroyed"}));
}

TEST(ServiceResponseHandlerTest, DestructionSendsNoEvent) {
    Log log;
    Setting setting;
    oneObject(setting, std::make_unique<Client>(log, false)).reset();
    EXPECT_EQ(log, Log{"destroyed"});
}

/// A resource that answers before `actionRequest` returns.
class Immediate : public IResourceHandler {
public:
    void* actionRequest(const Request& /*request*/, Handler&& handler,
                        const std::string& /*resourcePath*/) override {
        handler->onNext(response_);
        handler->onCompleted();
        return nullptr;
    }
    void cancelRequest(void* /*handle*/) override {}

private:
    const Response response_{200};
};

/// A resource whose request is pending until `answer` is called.
class Later : public IResourceHandler {
public:
    void* actionRequest(const Request& /*request*/, Handler&& handler,
                        const std::string& /*resourcePath*/) override {
        handler_ = std::move(handler);
        return this;
    }
    void cancelRequest(void* /*handle*/) override { handler_.reset(); }
    void answer() {
        handler_->onCompleted();
        handler_.reset();
    }

private:
    Handler handler_;
};

/// A response handler that ignores its events.
class Silent : public IResponseHandler<Response> {
public:
    bool onNext(const Response& /*value*/) override { return false; }
    void onError(const Response& /*error*/) override {}
    void onCompleted() override {}
};

TEST(ServiceAllocationTest, RequestAllocatesOneObjectBesidesTheClientsHandler) {
    std::map<std::string, std::unique_ptr<IResourceHandler>> handlers;
    handlers["/now"] = std::make_unique<Immediate>();
    auto owned = std::make_unique<Later>();
    Later& later = *owned;
    handlers["/later"] = std::move(owned);
    StaticComposedKovaService service(std::move(handlers));
    const Request now("retrieve", "/now/a");
    const Request pending("retrieve", "/later/a");
    // The first pending request allocates its entry, which the later ones reuse.
    service.actionRequest(pending, std::make_unique<Silent>());
    later.answer();

    std::size_t before = test::allocations();
    service.actionRequest(now, std::make_unique<Silent>());
    EXPECT_EQ(test::allocations() - before, 2U);
    before = test::allocations();
    service.actionRequest(pending, std::make_unique<Silent>());
    later.answer();
    EXPECT_EQ(test::allocations() - before, 2U);
    before = test::allocations();
    service.cancelRequest(service.actionRequest(pending, std::make_unique<Silent>()));
    EXPECT_EQ(test::allocations() - before, 2U);
}

}  // namespace
}  // namespace kova::detail
