#include "kova/kit/Inspection.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/MimeTypes.h"
#include "kova/kit/Client.h"
#include "kova/kit/InspectionViews.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/testing/Recording.h"
#include "support/Reports.h"
#include "tracing/Channel.h"
#include "tracing/SharedChannelMap.h"

namespace kova::kit {
namespace {

using kova::testing::record;
using kova::testing::Recording;
using Events = Recording::Events;

constexpr char const* HOSTILE = "/a\"<script>'\xC3\xA4\xFF";
constexpr char const* HOSTILE_SHOWN = "/a\"<script>'\xC3\xA4\xEF\xBF\xBD";

struct Entry {
    int level = 0;
};
KOVA_FIELDS(Entry, level)

class InspectionStateTest : public ::testing::TestWithParam<char const*> {
protected:
    void build(InspectionOptions options = {}) {
        list.on(command::insert, "{id:uint}",
                [](const Ask&, unsigned, const Entry& e) { return e; });
        kept.on(command::retrieve, "",
                [this](const Ask&, Reply<int> reply) { replies.push_back(std::move(reply)); });
        ServiceBuilder builder;
        builder.name("player").version("1.2.0").mount("/list", list).mount(HOSTILE, kept);
        service = builder.inspect(std::move(options)).build();
    }
    Client client(const std::string& accept, const std::string& clientId = "test") const {
        ClientOptions options;
        options.clientId = clientId;
        options.accept = accept;
        return Client(*service, options);
    }
    template <typename T>
    Result<T> get(const std::string& path) const {
        return client(GetParam()).retrieve<T>(path).get();
    }
    Events eventsOf(char const* command, const std::string& path,
                    const Payload& payload = {}) const {
        const Recording recording = record();
        service->actionRequest(Request(command, path, payload), recording.handler());
        return recording.events();
    }
    Events update(const std::string& json) const {
        return eventsOf("update", "/.kova/trace", Payload::createFromJSON(json));
    }

    std::vector<Reply<int>> replies;
    Resource list;
    Resource kept;
    std::unique_ptr<Service> service;
};

// --- Each path, in both formats ------------------------------------------------------------------

TEST_P(InspectionStateTest, ResourcesListMountsAndOperations) {
    build();
    const auto mounts = get<std::vector<MountView>>("/.kova/resources").orThrow();
    ASSERT_EQ(mounts.size(), 3U);
    EXPECT_EQ(mounts[0].path, "/");
    EXPECT_EQ(mounts[1].path, HOSTILE_SHOWN);
    EXPECT_EQ(mounts[2].path, "/list");
    const OperationView& insert = mounts[2].operations.at(0);
    EXPECT_EQ(insert.command, "insert");
    EXPECT_EQ(insert.path, "{id:uint}");
    EXPECT_FALSE(insert.streams);
    ASSERT_EQ(insert.schemas.count("body"), 1U);
    ASSERT_EQ(insert.schemas.count("value"), 1U);
    const Tree shown = fromPayload<Tree>(insert.schemas.at("body")).orThrow();
    EXPECT_EQ(*shown, *fromPayload<Tree>(schemaOf<Entry>()).orThrow());
}

TEST_P(InspectionStateTest, OpenapiDescribesAllOtherMounts) {
    build();
    using Object = std::map<std::string, Payload>;
    const auto document = get<Object>("/.kova/openapi").orThrow();
    const auto paths = fromPayload<Object>(document.at("paths")).orThrow();
    EXPECT_EQ(paths.count("/list/{id}"), 1U);
    EXPECT_EQ(paths.count("/a%22%3Cscript%3E'%C3%A4%FF"), 1U);
    EXPECT_EQ(paths.count("/"), 1U);
    EXPECT_EQ(paths.size(), 3U);
    const auto info = fromPayload<std::map<std::string, std::string>>(document.at("info"));
    EXPECT_EQ(info.orThrow().at("title"), "player");
}

TEST_P(InspectionStateTest, PendingListsUnfinishedRequests) {
    build();
    Client slow = client(GetParam(), "hmi\"<script>\xFF");
    Subscription call = slow.retrieve<int>(HOSTILE).start();
    const auto pending = get<std::vector<PendingView>>("/.kova/pending").orThrow();
    ASSERT_EQ(pending.size(), 1U);
    EXPECT_EQ(pending[0].path, HOSTILE_SHOWN);
    EXPECT_EQ(pending[0].command, "retrieve");
    EXPECT_EQ(pending[0].client, "hmi\"<script>\xEF\xBF\xBD");
    EXPECT_EQ(pending[0].phase, "pending");
    EXPECT_EQ(pending[0].thread, 0);
    EXPECT_GE(pending[0].age.count(), 0);
    call.reset();
    EXPECT_TRUE(get<std::vector<PendingView>>("/.kova/pending").orThrow().empty());
}

TEST_P(InspectionStateTest, TraceListsChannelsAndLevels) {
    build();
    const tracing::Channel channel("INSPECT_SHOW\xFF", 3, tracing::Channel::SHARED);
    const auto channels = get<std::vector<ChannelView>>("/.kova/trace").orThrow();
    const auto found = std::find_if(channels.begin(), channels.end(), [](const ChannelView& view) {
        return view.name == "INSPECT_SHOW\xEF\xBF\xBD";
    });
    ASSERT_NE(found, channels.end());
    EXPECT_EQ(found->level, 3);
}

TEST_P(InspectionStateTest, UpdateOfTraceChangesLevels) {
    build();
    const tracing::Channel channel("INSPECT_SET", 7, tracing::Channel::SHARED);
    const auto change = client(GetParam())
                            .update<TraceChange>("/.kova/trace", TraceLevel{"INSPECT_SE*", 2})
                            .get()
                            .orThrow();
    EXPECT_EQ(change.channels, 1U);
    EXPECT_EQ(channel.level(), 2);
    EXPECT_EQ(tracing::Channel("INSPECT_SECOND", 7, tracing::Channel::SHARED).level(), 2);
}

TEST_P(InspectionStateTest, VersionDescribesTheProcess) {
    build();
    const VersionView view = get<VersionView>("/.kova/version").orThrow();
    EXPECT_EQ(view.name, "player");
    EXPECT_EQ(view.version, "1.2.0");
    EXPECT_EQ(view.kova, KOVA_VERSION);
    EXPECT_EQ(view.pid, ::getpid());
    EXPECT_GE(view.uptime.count(), 0);
}

TEST_P(InspectionStateTest, MetricsAreThePlainTextThatTheFunctionReturns) {
    InspectionOptions options;
    options.metrics = [] { return std::string("# HELP up\nup 1\n"); };
    build(options);
    const Payload payload = client(GetParam()).retrieve<Payload>("/.kova/metrics").get().orThrow();
    EXPECT_EQ(payload.getMimeType(), mimetypes::PLAIN_TEXT_TYPE);
    std::string text;
    EXPECT_FALSE(Payload::createStringFrom(payload, text, true));
    EXPECT_EQ(text, "# HELP up\nup 1\n");
}

INSTANTIATE_TEST_SUITE_P(Formats, InspectionStateTest,
                         ::testing::Values(mimetypes::JSON_TYPE, mimetypes::AXOBIN_TYPE),
                         [](const auto& row) {
                             return row.param == std::string(mimetypes::JSON_TYPE) ? "Json"
                                                                                   : "Binary";
                         });

// --- What does not depend on the format ----------------------------------------------------------

using InspectionPathsTest = InspectionStateTest;

TEST_F(InspectionPathsTest, OperationsWithStreamsAreMarked) {
    Observable<int> state;
    service = ServiceBuilder().mount("/state", state).inspect().build();
    const Payload answer = Client(*service).retrieve<Payload>("/.kova/resources").get().orThrow();
    const auto mounts = fromPayload<std::vector<MountView>>(answer).orThrow();
    EXPECT_TRUE(mounts.at(1).operations.at(0).streams);
    EXPECT_NE(eventsOf("retrieve", "/.kova/openapi").at(0).find("text/event-stream"),
              std::string::npos);
}

TEST_F(InspectionPathsTest, InspectionIsNotMountedByDefault) {
    service = ServiceBuilder().mount("/list", list).build();
    EXPECT_EQ(eventsOf("retrieve", "/.kova/version"),
              (Events{"error 404 path '/.kova/version' not found"}));
}

TEST_F(InspectionPathsTest, RootDoesNotListTheInspectionMount) {
    service = ServiceBuilder().mount("/list", list).inspect().build();
    EXPECT_EQ(eventsOf("retrieve", "/"), (Events{R"(value 200 ["/list"])", "completed"}));
}

TEST_F(InspectionPathsTest, MetricsMayBeRequestedAsPlainText) {
    InspectionOptions options;
    options.metrics = [] { return std::string("up 1\n"); };
    build(options);
    EXPECT_TRUE(client(mimetypes::PLAIN_TEXT_TYPE).retrieve<Payload>("/.kova/metrics").get().ok());
    EXPECT_EQ(
        client(mimetypes::PLAIN_TEXT_TYPE).retrieve<Payload>("/.kova/version").get().error().code,
        400);
}

TEST_F(InspectionPathsTest, MetricsPathIsUnknownWithoutAFunction) {
    build();
    EXPECT_EQ(eventsOf("retrieve", "/.kova/metrics").at(0).substr(0, 9), "error 404");
}

TEST_F(InspectionPathsTest, ExceptionOfTheMetricsFunctionIsAnsweredWith500) {
    test::Reports reports;
    InspectionOptions options;
    options.metrics = []() -> std::string { throw std::runtime_error("oops"); };
    build(options);
    EXPECT_EQ(
        eventsOf("retrieve", "/.kova/metrics"),
        (Events{"error 500 Internal error in server implementation: retrieve 'metrics': oops"}));
}

TEST_F(InspectionPathsTest, ErrorForAnUnknownPathSuggestsASimilarPath) {
    build();
    EXPECT_EQ(eventsOf("retrieve", "/.kova/pendin"),
              (Events{"error 404 path '/.kova/pendin' not found; did you mean 'pending'?"}));
}

struct RefusedRow {
    char const* name;
    std::string body;
    char const* reason;
};

const RefusedRow REFUSED[] = {
    {"LevelTooLow", R"({"pattern":"A","level":-1})", "level: expected 0 to 7, found -1"},
    {"LevelTooHigh", R"({"pattern":"A","level":8})", "level: expected 0 to 7, found 8"},
    {"LevelIsText", R"({"pattern":"A","level":"2"})", "level: expected an integer"},
    {"NoLevel", R"({"pattern":"A"})", "level"},
    {"UnknownField", R"({"pattern":"A","level":2,"for":"ever"})", "for"},
    {"NoPattern", R"({"pattern":"","level":2})", "pattern: expected 1 to 128 bytes, found 0"},
    {"LongPattern", R"({"pattern":")" + std::string(129, 'A') + R"(","level":2})",
     "pattern: expected 1 to 128 bytes, found 129"},
    {"NoObject", "[]", "expected a struct, found an array"}};

class InspectionRefusals : public InspectionStateTest {};

TEST_F(InspectionRefusals, InvalidLevelsAndPatternsAreAnsweredWithAReason) {
    build();
    for (const RefusedRow& row : REFUSED) {
        const Events events = update(row.body);
        ASSERT_EQ(events.size(), 1U) << row.name;
        EXPECT_EQ(events[0].substr(0, 9), "error 400") << row.name;
        EXPECT_NE(events[0].find(row.reason), std::string::npos) << row.name << ": " << events[0];
    }
}

TEST_F(InspectionRefusals, HundredAndFirstPatternIsRejected) {
    build();
    EXPECT_EQ(update(R"({"pattern":")" + std::string(128, 'A') + R"(","level":7})").at(0),
              R"(value 200 {"channels":0})");
    for (int i = 1; i < 100; ++i) {
        EXPECT_EQ(update(R"({"pattern":"NONE_)" + std::to_string(i) + R"(","level":7})").at(0),
                  R"(value 200 {"channels":0})");
    }
    EXPECT_EQ(update(R"({"pattern":"NONE_100","level":7})"),
              (Events{"error 400 pattern: 100 others are set already"}));
    EXPECT_EQ(update(R"({"pattern":"NONE_1","level":7})").size(), 2U);
}

// --- Peers ---------------------------------------------------------------------------------------

struct PeerRow {
    char const* name;
    long uid;
    bool isAllowed;
};

const PeerRow PEERS[] = {{"Own", static_cast<long>(::geteuid()), true},
                         {"Root", 0, true},
                         {"Stranger", static_cast<long>(::geteuid()) + 1, false},
                         {"Unknown", -1, false}};

TEST_F(InspectionPathsTest, OwnUserAndRootMayInspectTheService) {
    build();
    for (const PeerRow& row : PEERS) {
        Peer peer;
        peer.uid = row.uid;
        const PeerScope scope(peer);
        const Events events = eventsOf("retrieve", "/.kova/pending");
        EXPECT_EQ(events.at(0) == "value 200 []", row.isAllowed) << row.name << ": " << events[0];
    }
}

TEST_F(InspectionPathsTest, OtherUsersAreAnsweredWith403) {
    build();
    const Peer stranger{12345, 12345, 1, "127.0.0.1:41034"};
    const PeerScope scope(stranger);
    for (char const* const path : {"/.kova", "/.kova/pendin", "/.kova/trace"}) {
        for (char const* const command : {"retrieve", "update", "what"}) {
            EXPECT_EQ(eventsOf(command, path), (Events{std::string("error 403 ") + command + " '" +
                                                       path + "' is not allowed to this peer"}));
        }
    }
}

TEST_F(InspectionPathsTest, IsAllowedFunctionReplacesTheDefaultRule) {
    InspectionOptions options;
    options.isAllowed = [](const Peer& peer) { return peer.address == "panel"; };
    build(options);
    EXPECT_EQ(eventsOf("retrieve", "/.kova/pending").at(0).substr(0, 9), "error 403");
    const Peer panel{-1, -1, -1, "panel"};
    const PeerScope scope(panel);
    EXPECT_EQ(eventsOf("retrieve", "/.kova/pending").at(0), "value 200 []");
}

TEST_F(InspectionPathsTest, ExceptionOfIsAllowedIsAnsweredWith500) {
    test::Reports reports;
    InspectionOptions options;
    options.isAllowed = [](const Peer&) -> bool { throw std::runtime_error("oops"); };
    build(options);
    EXPECT_EQ(eventsOf("retrieve", "/.kova/trace"),
              (Events{"error 500 Internal error in server implementation: "
                      "retrieve '/.kova/trace': oops"}));
}

// --- Threads -------------------------------------------------------------------------------------

TEST_F(InspectionPathsTest, JobIsListedWithItsClientAndThread) {
    Worker worker;
    std::vector<PendingView> seen;
    Resource jobs;
    jobs.on(command::retrieve, "", worker, [&](Job&) {
        const Payload pending =
            Client(*service).retrieve<Payload>("/.kova/pending").get().orThrow();
        seen = fromPayload<std::vector<PendingView>>(pending).orThrow();
        return 1;
    });
    service = ServiceBuilder().mount("/job", jobs).inspect().build();
    ClientOptions options;
    options.clientId = "hmi";
    EXPECT_EQ(Client(*service, options).retrieve<int>("/job").get().orThrow(), 1);
    const auto job = std::find_if(seen.begin(), seen.end(),
                                  [](const PendingView& view) { return view.thread != 0; });
    ASSERT_NE(job, seen.end());
    EXPECT_EQ(job->path, "/job");
    EXPECT_EQ(job->client, "hmi");
    EXPECT_EQ(job->phase, "in the service");
}

TEST_F(InspectionPathsTest, SeveralThreadsInspectTheServiceAtOnce) {
    InspectionOptions options;
    options.metrics = [] { return std::string("up 1\n"); };
    build(options);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this, i] {
            for (int k = 0; k < 20; ++k) {
                for (char const* const path :
                     {"resources", "openapi", "pending", "trace", "version", "metrics"}) {
                    const std::string full = std::string("/.kova/") + path;
                    EXPECT_EQ(eventsOf("retrieve", full).back(), "completed") << full;
                }
                EXPECT_EQ(update(R"({"pattern":"INSPECT_T)" + std::to_string(i) + R"(","level":7})")
                              .back(),
                          "completed");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace kova::kit
