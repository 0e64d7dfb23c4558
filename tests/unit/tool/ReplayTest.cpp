#include "Replay.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Target.h"
#include "kova/core/headers.h"
#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using std::chrono::milliseconds;

class ReplayPartTest : public ToolFixture {
protected:
    ReplayPartTest() {
        options.speed = 0;
        options.onEvent = [this](const RecordedEvent& event) { again.push_back(event); };
    }
    void add(EventKind kind, std::uint64_t id, const std::string& path = "",
             const std::string& header = "") {
        recording.events.push_back({kind, id, time += 10, "retrieve", path, 0, header, {}, 0});
    }
    CallLoop::Reason play() {
        std::ostringstream text;
        Context context{{text}, {text}};
        kit::ClientOptions client;
        client.deadline = milliseconds(0);
        const auto session = Session::open(*Target::ofService(address), context, client).orThrow();
        return replay(recording, *session, options);
    }
    std::vector<EventKind> kinds() const {
        std::vector<EventKind> result;
        for (const RecordedEvent& event : again) {
            result.push_back(event.kind);
        }
        return result;
    }

    Recording recording;
    ReplayOptions options;
    std::vector<RecordedEvent> again;
    std::int64_t time = 0;
};

TEST_F(ReplayPartTest, RequestWaitsForTheEndsOfEarlierRequests) {
    add(EventKind::request, 1, "/held/a");
    add(EventKind::completed, 1);
    add(EventKind::request, 2, "/held/b");
    add(EventKind::completed, 2);
    held.onRequest = [this](std::size_t number) { held.answer(number); };
    EXPECT_EQ(play(), CallLoop::Reason::holds);
    EXPECT_EQ(held.request(1).getPath(), "/held/a");
    EXPECT_EQ(held.request(2).getPath(), "/held/b");
    EXPECT_EQ(kinds(),
              (std::vector<EventKind>{EventKind::request, EventKind::value, EventKind::completed,
                                      EventKind::request, EventKind::value, EventKind::completed}));
}

TEST_F(ReplayPartTest, HeaderOfTheRecordingIsSent) {
    add(EventKind::request, 1, "/held/a", "{\"$client-id\":\"hmi\",\"$key\":[1]}");
    add(EventKind::completed, 1);
    held.onRequest = [this](std::size_t number) { held.answer(number); };
    EXPECT_EQ(play(), CallLoop::Reason::holds);
    std::string client;
    EXPECT_FALSE(held.request(1).getHeaderValue(headers::CLIENT_ID).get(client));
    EXPECT_EQ(client, "hmi");
    EXPECT_TRUE(held.request(1).getHeaderValue("$key").isArray());
    EXPECT_TRUE(held.request(1).getHeaderValue(headers::ACCEPT).isUndefined());
}

TEST_F(ReplayPartTest, RequestWithoutAnAnswerIsGivenUp) {
    add(EventKind::request, 1, "/held/a");
    add(EventKind::value, 1);
    add(EventKind::value, 1);
    add(EventKind::completed, 1);
    options.patience = milliseconds(1);
    EXPECT_EQ(play(), CallLoop::Reason::holds);
    EXPECT_EQ(kinds(), (std::vector<EventKind>{EventKind::request}));
}

TEST_F(ReplayPartTest, ValuesAfterACancellationAreIgnored) {
    add(EventKind::request, 1, "/held/a");
    add(EventKind::value, 1);
    add(EventKind::cancelled, 1);
    held.onRequest = [this](std::size_t number) {
        for (int i = 0; i < 3; ++i) {
            held[number].onNext(Response(299, Payload::createFromJSON("1")));
        }
    };
    EXPECT_EQ(play(), CallLoop::Reason::holds);
    EXPECT_EQ(kinds(),
              (std::vector<EventKind>{EventKind::request, EventKind::value, EventKind::cancelled}));
    held.waitForCancelled(1);
}

TEST_F(ReplayPartTest, EmptyRecordingIsReplayed) {
    EXPECT_EQ(play(), CallLoop::Reason::holds);
    EXPECT_TRUE(again.empty());
}

}  // namespace
}  // namespace kova::tool
