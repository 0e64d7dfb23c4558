// Tests streams that a resource serves below its own path.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Watch.h"
#include "kova/kit/Events.h"
#include "kova/kit/Observable.h"
#include "kova/kit/ObservableList.h"
#include "kova/kit/ObservableMap.h"
#include "kova/kit/Resource.h"
#include "support/Reports.h"

namespace kova::kit {
namespace {

using test::Answers;
using test::waitUntilUnwatched;
using test::Watch;
using Texts = std::vector<std::string>;

Request watching(const std::string& path) {
    return Watch::streamRequest(mimetypes::JSON_TYPE, path);
}

class StreamRouteTest : public testing::Test {
protected:
    StreamRouteTest() {
        level.onWrite([](const int& wanted) -> Result<void> {
            return wanted <= 100 ? Result<void>() : Error{409, "too loud"};
        });
        resource->mount("audio/level", level);
    }
    /// Returns the reason why the resource refuses the stream.
    std::string refusal(const std::string& path, const detail::Streaming& stream) {
        try {
            resource->mount(path, stream);
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
        return "accepted";
    }

    test::Reports reports;
    std::optional<Observable<int>> observable{30};
    Observable<int>& level = *observable;
    std::optional<Resource> resource{std::in_place};
};

TEST_F(StreamRouteTest, ClientsRetrieveWatchAndUpdateTheValue) {
    const Watch client(*resource);
    EXPECT_EQ(client.retrieve("audio/level")->values(1), Texts{"30"});
    const auto answers = client.send(watching("audio/level"));
    EXPECT_EQ(answers->values(1), Texts{"30"});
    const auto update = [&](const std::string& json) {
        return client.send(Request("update", "audio/level", Payload::createFromJSON(json)))->end();
    };
    EXPECT_EQ(update("50"), "completed");
    EXPECT_EQ(update("101"), "409 Conflict: too loud");
    EXPECT_EQ(answers->values(2), (Texts{"30", "50"}));
    EXPECT_EQ(answers->last().getStatusCode(), 299);
}

TEST_F(StreamRouteTest, ElementsOfAListAreBelowItsPath) {
    ObservableMap<int> map;
    map.set("one/a", 1);
    ObservableList<int> list({7, 8});
    resource->mount("", map).mount("list", list);
    const Watch client(*resource);
    EXPECT_EQ(client.retrieve()->values(1), Texts{R"({"one/a":1})"});
    EXPECT_EQ(client.retrieve("one/a")->values(1), Texts{"1"});
    EXPECT_EQ(client.retrieve("list")->values(1), Texts{"[7,8]"});
    EXPECT_EQ(client.retrieve("list/1")->values(1), Texts{"8"});
    EXPECT_EQ(client.retrieve("audio/level")->values(1), Texts{"30"}) << "literal text first";
    EXPECT_EQ(client.retrieve("list/2")->end(), "404 Not Found: path 'list/2' not found");
}

TEST_F(StreamRouteTest, UnknownPathsAndCommandsAreRefused) {
    const Watch client(*resource);
    EXPECT_EQ(client.retrieve("audio/level/x")->end(),
              "404 Not Found: path 'audio/level/x' not found; did you mean 'audio/level'?");
    EXPECT_EQ(client.send(Request("insert", "audio/level"))->end(),
              "400 Bad Request: command 'insert' not supported for path 'audio/level'; supported: "
              "retrieve, update");
}

TEST_F(StreamRouteTest, AmbiguousStreamIsRefused) {
    const Observable<int> other;
    const ObservableMap<int> map;
    resource->on(command::insert, "tracks/{id:rest}", [](const Ask&, std::string_view) {});
    resource->on(command::insert, "files", [](const Ask&) {});
    EXPECT_EQ(refusal("audio/level", other),
              "template 'audio/level' matches the same paths as 'audio/level'");
    EXPECT_EQ(refusal("files", other),
              "template 'files' matches the same paths as 'files' for the command 'insert'");
    EXPECT_EQ(refusal("tracks", map),
              "template 'tracks/{element:rest}' matches the same paths as 'tracks/{id:rest}' for "
              "the command 'insert'");
    EXPECT_EQ(refusal("tracks", other), "accepted") << "an observable has no elements";
    EXPECT_EQ(refusal("{zone}/level", other),
              "template '{zone}/level': the path of a stream has no parameters");
    EXPECT_EQ(refusal("audio//level", other), "template 'audio//level': an empty segment");
}

TEST_F(StreamRouteTest, AmbiguousFunctionIsRefused) {
    EXPECT_THROW(resource->on("start", "audio/level", [](const Ask&) {}), std::invalid_argument);
    resource->on(command::retrieve, "audio/{name}", [](const Ask&, std::string_view) {});
}

TEST_F(StreamRouteTest, MountingAfterTheFirstRequestThrows) {
    const Events<int> events;
    Watch(*resource).retrieve("audio/level");
    EXPECT_THROW(resource->mount("events", events), std::logic_error);
}

TEST_F(StreamRouteTest, OperationsOfTheResourceIncludeThoseOfItsStream) {
    const ObservableMap<int> map;
    resource->mount("", map).on("start", "scan", [](const Ask&) {});
    Texts lines;
    for (const Operation& operation : resource->operations()) {
        lines.push_back(operation.command + " " + operation.path +
                        (operation.streams ? " streams" : ""));
    }
    EXPECT_EQ(lines, (Texts{"retrieve audio/level streams", "update audio/level",
                            "retrieve  streams", "retrieve {key}", "start scan"}));
    EXPECT_NE(resource->operations()[1].bodySchema, nullptr);
}

TEST_F(StreamRouteTest, CancelledStreamHasNoWatcher) {
    const Watch client(*resource);
    void* handle = nullptr;
    const auto answers = client.send(watching("audio/level"), nullptr, &handle);
    answers->values(1);
    client.cancel(handle);
    client.cancel(handle);
    EXPECT_EQ(answers->endsWhenDestroyed(), 0U);
    waitUntilUnwatched(level);
}

TEST_F(StreamRouteTest, StreamEndsWhenItsReceiverWantsNoMoreValues) {
    const auto answers = std::make_shared<Answers>();
    answers->onValue = [](const Response&) { return true; };
    const Watch client(*resource);
    client.send(watching("audio/level"), answers);
    EXPECT_EQ(answers->end(), "completed");
    waitUntilUnwatched(level);
}

TEST_F(StreamRouteTest, DestroyedResourceEndsTheStreamsOfItsClients) {
    const Watch client(*resource);
    const Watch other(level);
    const auto answers = client.send(watching("audio/level"));
    const auto direct = other.watch();
    answers->values(1);
    direct->values(1);
    resource.reset();
    EXPECT_EQ(answers->end(), "503 Service Unavailable: the resource is closed");
    EXPECT_EQ(client.retrieve("audio/level")->end(),
              "503 Service Unavailable: the resource is closed");
    level.set(31);
    EXPECT_EQ(direct->values(2), (Texts{"30", "31"})) << "mounted elsewhere, too";
    while (level.watchers().size() != 1) {
        std::this_thread::yield();
    }
}

TEST_F(StreamRouteTest, DestroyedStreamEndsItsWatchersAndAnswers503) {
    resource->on(command::retrieve, "name", [](const Ask&) { return "amplifier"; });
    const Watch client(*resource);
    const auto answers = client.send(watching("audio/level"));
    answers->values(1);
    observable.reset();
    EXPECT_EQ(answers->end(), "503 Service Unavailable: the resource is closed");
    EXPECT_EQ(answers->endsWhenDestroyed(), 1U);
    EXPECT_EQ(client.retrieve("audio/level")->end(),
              "503 Service Unavailable: the resource is closed");
    EXPECT_EQ(client.retrieve("name")->values(1), Texts{R"("amplifier")"});
}

TEST_F(StreamRouteTest, StreamsAndCancellationsOfManyThreadsLeaveNoWatcher) {
    const Watch client(*resource);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i) {
                void* handle = nullptr;
                const auto answers = client.send(watching("audio/level"), nullptr, &handle);
                level.set(i);
                client.cancel(handle);
                EXPECT_EQ(answers->endsWhenDestroyed(), 0U);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    waitUntilUnwatched(level);
}

}  // namespace
}  // namespace kova::kit
