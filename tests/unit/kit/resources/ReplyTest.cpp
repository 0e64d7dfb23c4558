#include "kova/kit/Reply.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "kova/kit/Resource.h"
#include "kova/testing/Recording.h"

namespace kova::kit {
namespace {

using kova::testing::record;
using kova::testing::Recording;
using Events = Recording::Events;

class ReplyTest : public ::testing::Test {
protected:
    Recording recording = record();
    Resource resource;
    std::optional<Reply<int>> kept;
};

TEST_F(ReplyTest, AskIsValidAfterTheClientHasDestroyedItsRequest) {
    auto request = std::make_unique<Request>("retrieve", "/mount/a path that has its own memory");
    recording.onEvent([&](const std::string& event) {
        if (event == "completed") {
            request.reset();
        }
    });
    std::string seen;
    resource.on(command::retrieve, "{name}",
                [&](const Ask& ask, const std::string&, Reply<int> reply) {
                    std::thread([reply = std::move(reply)]() mutable { reply.value(1); }).join();
                    seen = ask.command() + ' ' + ask.request().getPath();
                });
    resource.handler()->actionRequest(*request, recording.handler(),
                                      "a path that has its own memory");
    EXPECT_EQ(request, nullptr);
    EXPECT_EQ(seen, "retrieve /mount/a path that has its own memory");
}

TEST_F(ReplyTest, AssignmentAnswersTheFormerRequestWith500) {
    resource.on(command::retrieve, "",
                [&](const Ask&, Reply<int> reply) { kept = std::move(reply); });
    const auto handler = resource.handler();
    handler->actionRequest(Request("retrieve", "/mount"), recording.handler(), "");
    const Recording second = record();
    handler->actionRequest(Request("retrieve", "/mount"), second.handler(), "");
    EXPECT_EQ(recording.events(), (Events{"error 500 the service did not answer the request"}));
    EXPECT_TRUE(kept->value(2));
    EXPECT_EQ(second.events(), (Events{"value 200 2", "completed"}));
}

TEST_F(ReplyTest, MovedFromReplyIsClosed) {
    resource.on(command::retrieve, "", [&](const Ask&, Reply<int> reply) {
        kept.emplace(std::move(reply));
        // NOLINTNEXTLINE(bugprone-use-after-move): this is what the test checks
        EXPECT_FALSE(reply.isOpen() || reply.value(1) || reply.fail({500, "no"}));
        EXPECT_FALSE(reply.progress(1));
        reply.onCancel([] {});
    });
    resource.handler()->actionRequest(Request("retrieve", "/mount"), recording.handler(), "");
    EXPECT_TRUE(kept->isOpen());
}

TEST_F(ReplyTest, ReplyMayOutliveItsResource) {
    {
        Resource temporary;
        temporary.on(command::retrieve, "",
                     [&](const Ask&, Reply<int> reply) { kept.emplace(std::move(reply)); });
        temporary.handler()->actionRequest(Request("retrieve", "/mount"), recording.handler(), "");
    }
    EXPECT_FALSE(kept->isOpen());
    EXPECT_FALSE(kept->progress(1));
    EXPECT_FALSE(kept->value(1));
    EXPECT_EQ(recording.events(), (Events{"error 503 the resource is closed"}));
}

TEST_F(ReplyTest, VoidReplyMaySendProgressBeforeItCompletes) {
    resource.on(command::remove, "", [](const Ask&, Reply<void> reply) {
        EXPECT_TRUE(reply.progress(1));
        EXPECT_TRUE(reply.done());
        EXPECT_FALSE(reply.done());
    });
    resource.handler()->actionRequest(Request("delete", "/mount"), recording.handler(), "");
    EXPECT_EQ(recording.events(), (Events{"value 298 1", "completed"}));
}

}  // namespace
}  // namespace kova::kit
