#include "kova/kit/MonitorViews.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/headers.h"
#include "kova/kit/Client.h"
#include "kova/kit/Inspection.h"
#include "kova/kit/Peer.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/kit/Stream.h"
#include "kova/testing/Recording.h"
#include "util/config/Scalars.h"

namespace kova::kit {
namespace {

using kova::testing::record;
using kova::testing::Recording;
using Texts = std::vector<std::string>;

constexpr std::chrono::seconds PATIENCE(60);
constexpr char const* REQUESTS = "/.kova/monitor";
constexpr char const* EVENTS = "/.kova/monitor/events";

class MonitorTest : public ::testing::Test {
protected:
    MonitorTest() {
        paths.on(command::retrieve, "one", [](const Ask&) { return 1; });
        paths.on(command::update, "large", [](const Ask& ask) {
            return static_cast<int>(ask.request().getPayload().size());
        });
        paths.on(command::retrieve, "kept",
                 [this](const Ask&, Reply<int> reply) { replies.push_back(std::move(reply)); });
        service = ServiceBuilder().mount("/", paths).inspect().build();
    }
    /// Sends a request that is answered at once.
    Recording::Events ask(const Request& request) const {
        const Recording recording = record();
        service->actionRequest(request, recording.handler());
        return recording.events();
    }
    Client client() const {
        ClientOptions options;
        options.accept = mimetypes::AXOBIN_TYPE;
        options.clientId = "watcher";
        options.deadline = std::chrono::milliseconds(0);
        return Client(*service, options);
    }

    std::vector<Reply<int>> replies;
    Resource paths;
    std::unique_ptr<Service> service;
};

/// Reads a stream of the monitor until an item fulfils a condition.
template <typename Batch, typename Item, std::vector<Item> Batch::*LIST>
class Reader {
public:
    Reader(const Client& client, char const* path) : stream_(client.watch<Batch>(path)) { next(); }

    /// Reads the next value of the stream.
    void next() {
        const Batch batch = stream_.wait(PATIENCE).orThrow();
        lost += position == 0 ? 0 : batch.first - position;
        position = batch.first + (batch.*LIST).size();
        items.insert(items.end(), (batch.*LIST).begin(), (batch.*LIST).end());
    }
    /// Reads until there are this number of items.
    void await(std::size_t count) {
        while (items.size() < count) {
            next();
        }
    }

    std::vector<Item> items;
    std::uint64_t lost = 0;
    std::uint64_t position = 0;

private:
    Stream<Batch> stream_;
};
using RequestReader = Reader<MonitoredRequests, MonitoredRequest, &MonitoredRequests::requests>;
using EventReader = Reader<MonitoredEvents, MonitoredEvent, &MonitoredEvents::events>;

Texts kindsOf(const std::vector<MonitoredEvent>& events) {
    Texts kinds;
    for (const MonitoredEvent& event : events) {
        kinds.push_back(event.kind);
    }
    return kinds;
}

// --- Requests ------------------------------------------------------------------------------------

TEST_F(MonitorTest, EndedRequestIsReported) {
    const Client watcher = client();
    RequestReader reader(watcher, REQUESTS);
    Request request("retrieve", "/one", Payload::createFromJSON("null"));
    request.add2header(headers::CLIENT_ID, new util::config::ValueString("hmi\xFF"));
    ask(request);
    ask(Request("delete", "/no\xFFwhere"));
    reader.await(2);
    const MonitoredRequest& first = reader.items[0];
    EXPECT_EQ(first.command, "retrieve");
    EXPECT_EQ(first.path, "/one");
    EXPECT_EQ(first.client, "hmi\xEF\xBF\xBD");
    EXPECT_EQ(first.uid, static_cast<std::int64_t>(::geteuid()));
    EXPECT_EQ(first.pid, static_cast<std::int64_t>(::getpid()));
    EXPECT_EQ(first.end, "completed");
    EXPECT_EQ(first.code, 200);
    EXPECT_EQ(first.values, 1U);
    EXPECT_EQ(first.requestBytes, 4U);
    EXPECT_EQ(first.answerBytes, 1U);
    EXPECT_GT(first.start, 1'600'000'000'000'000);
    EXPECT_GE(first.duration, 0);
    EXPECT_EQ(reader.items[1].path, "/no\xEF\xBF\xBDwhere");
    EXPECT_EQ(reader.items[1].end, "failed");
    EXPECT_EQ(reader.items[1].code, 404);
    EXPECT_EQ(reader.items[1].values, 0U);
    EXPECT_GT(reader.items[1].id, first.id);
}

TEST_F(MonitorTest, CancelledRequestIsReported) {
    const Client watcher = client();
    RequestReader reader(watcher, REQUESTS);
    const Recording recording = record();
    void* const handle = service->actionRequest(Request("retrieve", "/kept"), recording.handler());
    service->cancelRequest(handle);
    reader.await(1);
    EXPECT_EQ(reader.items[0].end, "cancelled");
    EXPECT_EQ(reader.items[0].code, 204);
}

TEST_F(MonitorTest, RequestsOfTheMonitorItselfAreNotReported) {
    const Client watcher = client();
    RequestReader reader(watcher, REQUESTS);
    EventReader events(watcher, "//.kova//monitor/events");
    ask(Request("retrieve", "/.kova/monitor"));
    ask(Request("retrieve", "//.kova//monitor//none"));
    ask(Request("retrieve", "/.kova/version"));
    reader.await(1);
    events.await(3);
    EXPECT_EQ(reader.items[0].path, "/.kova/version");
    EXPECT_EQ(events.items[0].path, "/.kova/version");
    EXPECT_EQ(events.items.size(), 3U);
}

TEST_F(MonitorTest, EachOfTenThousandRequestsIsReportedOnce) {
    const Client watcher = client();
    RequestReader reader(watcher, REQUESTS);
    for (int i = 0; i < 10000; ++i) {
        ask(Request("retrieve", "/one"));
        if (i % 256 == 255) {  // waits until the reader has received nearly all
            reader.await(static_cast<std::size_t>(i));
        }
    }
    reader.await(10000);
    std::set<std::uint64_t> ids;
    for (const MonitoredRequest& request : reader.items) {
        ids.insert(request.id);
    }
    EXPECT_EQ(ids.size(), 10000U);
    EXPECT_EQ(reader.items.size(), 10000U);
    EXPECT_EQ(reader.lost, 0U);
}

TEST_F(MonitorTest, RequestsBeforeTheFirstWatcherAreNotReported) {
    ask(Request("retrieve", "/one"));
    const Client watcher = client();
    RequestReader reader(watcher, REQUESTS);
    EXPECT_EQ(reader.position, 1U);
    ask(Request("retrieve", "/kept/none"));
    reader.await(1);
    EXPECT_EQ(reader.items[0].path, "/kept/none");
}

// --- Events --------------------------------------------------------------------------------------

TEST_F(MonitorTest, EventsHaveHeadersAndPayloads) {
    const Client watcher = client();
    EventReader reader(watcher, EVENTS);
    Request request("update", "/large", Payload::createFromJSON("\"text\""));
    request.add2header(headers::AUTH_TOKEN, new util::config::ValueString("secret"));
    request.add2header("$key", new util::config::ValueString("value"));
    ask(request);
    ask(Request("retrieve", "/nowhere"));
    reader.await(5);
    EXPECT_EQ(kindsOf(reader.items), (Texts{"request", "value", "completed", "request", "failed"}));
    const MonitoredEvent& asked = reader.items[0];
    EXPECT_EQ(asked.command, "update");
    EXPECT_EQ(asked.path, "/large");
    EXPECT_EQ(asked.header, "{\"$key\":\"value\"}");
    EXPECT_EQ(asked.type, mimetypes::JSON_TYPE);
    EXPECT_EQ(asked.payload, "\"text\"");
    EXPECT_EQ(asked.uid, static_cast<std::int64_t>(::geteuid()));
    EXPECT_EQ(reader.items[1].code, 200);
    EXPECT_EQ(reader.items[1].payload, "6");
    EXPECT_EQ(reader.items[1].id, asked.id);
    EXPECT_EQ(reader.items[4].code, 404);
    EXPECT_NE(reader.items[4].header.find("nowhere"), std::string::npos);
    EXPECT_FALSE(request.getHeaderValue(headers::AUTH_TOKEN).isUndefined());
}

TEST_F(MonitorTest, PayloadBeyondTheLimitIsReportedByItsSizeOnly) {
    constexpr std::size_t LIMIT = std::size_t{4} * 1024 * 1024;
    const Client watcher = client();
    EventReader reader(watcher, EVENTS);
    for (const std::size_t size : {LIMIT, LIMIT + 1}) {
        ask(Request("update", "/large", Payload::createFromString(std::string(size, 'a'))));
    }
    while (reader.items.size() < 6) {
        reader.next();
    }
    EXPECT_EQ(reader.items[0].payload.size(), LIMIT);
    EXPECT_EQ(reader.items[0].bytes, LIMIT);
    EXPECT_EQ(reader.items[3].payload.size(), 0U);
    EXPECT_EQ(reader.items[3].bytes, LIMIT + 1);
}

// A batch has at most 256 events. Fewer fit into 64 KiB if each second one has a header of 200
// bytes.
TEST_F(MonitorTest, BatchesAreBoundedByTheSizeOfTheHeaders) {
    constexpr std::size_t COUNT = 1000;
    const Client watcher = client();
    Stream<MonitoredEvents> stream(watcher.watch<MonitoredEvents>(EVENTS));
    stream.wait(PATIENCE).orThrow();
    Request request("delete", "/nowhere");
    request.add2header("$key", new util::config::ValueString(std::string(200, 'a')));
    for (std::size_t i = 0; i < COUNT; ++i) {
        ask(request);
    }
    std::size_t largest = 0;
    for (std::size_t seen = 0; seen < 2 * COUNT;) {
        const std::size_t size = stream.wait(PATIENCE).orThrow().events.size();
        largest = std::max(largest, size);
        seen += size;
    }
    EXPECT_LT(largest, 200U);
}

TEST_F(MonitorTest, EventsAreSentOnlyInTheBinaryFormat) {
    Request request("retrieve", EVENTS);
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    EXPECT_EQ(ask(request), (Recording::Events{"error 400 events are only in the format " +
                                               std::string(mimetypes::AXOBIN_TYPE)}));
}

TEST_F(MonitorTest, SlowReceiverLosesBatchesAndCanCountTheLostItems) {
    const Client watcher = client();
    std::promise<void> entered;
    std::promise<void> released;
    const std::shared_future<void> release = released.get_future().share();
    std::promise<void> finished;
    constexpr std::uint64_t ALL = std::uint64_t{7000} * 3;  // the queue has at most 64 * 256 events
    std::uint64_t next = 0;
    std::uint64_t seen = 0;
    std::uint64_t lost = 0;
    const Subscription call = watcher.watch<MonitoredEvents>(EVENTS)
                                  .onValue([&](const MonitoredEvents& batch) {
                                      if (next == 0) {
                                          next = batch.first;
                                          entered.set_value();
                                          release.wait();
                                          return;
                                      }
                                      lost += batch.first - next;
                                      seen += batch.events.size();
                                      next = batch.first + batch.events.size();
                                      if (next == ALL + 1) {
                                          finished.set_value();
                                      }
                                  })
                                  .start();
    entered.get_future().wait();
    for (std::uint64_t i = 0; i < ALL / 3; ++i) {
        ask(Request("retrieve", "/one"));
    }
    released.set_value();
    finished.get_future().wait();
    EXPECT_GT(lost, 0U);
    EXPECT_EQ(lost + seen, ALL);
}

// --- Peers ---------------------------------------------------------------------------------------

TEST_F(MonitorTest, RequestsOfOtherUsersAreAnsweredWith403) {
    const Peer stranger{static_cast<long>(::geteuid()) + 1, 1, 1, "unix:"};
    const PeerScope scope(stranger);
    for (char const* const path : {REQUESTS, EVENTS}) {
        Request request("retrieve", path);
        headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
        EXPECT_EQ(ask(request), (Recording::Events{"error 403 retrieve '" + std::string(path) +
                                                   "' is not allowed to this peer"}));
    }
}

TEST_F(MonitorTest, StopOfTheServiceEndsTheStreams) {
    const Client watcher = client();
    std::promise<End> ended;
    const Subscription call = watcher.watch<MonitoredRequests>(REQUESTS)
                                  .onEnd([&](const End& end) { ended.set_value(end); })
                                  .start();
    service->stop(std::chrono::milliseconds(0));
    EXPECT_EQ(ended.get_future().get().error().code, 503);
    ask(Request("retrieve", "/one"));
    service.reset();
}

}  // namespace
}  // namespace kova::kit
