#include "kova/kit/Resource.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/KovaException.h"
#include "kova/kit/Values.h"
#include "kova/testing/Recording.h"
#include "support/Reports.h"

namespace kova::kit {
namespace {

using kova::testing::record;
using kova::testing::Recording;
using Events = Recording::Events;

struct Entry {
    std::string title;
    int year = 2000;
};
KOVA_FIELDS(Entry, title, optional(year))

class ResourceTest : public ::testing::Test {
protected:
    /// Sends a request to the resource, as the service would.
    void* send(const Request& request, const std::string& path) {
        if (!handler) {
            handler = resource.handler();
        }
        return handler->actionRequest(request, recording.handler(), path);
    }
    Events eventsOf(std::string_view command, const std::string& path,
                    const Payload& body = Payload()) {
        const Request request(std::string(command), "/mount/" + path, body);
        send(request, path);
        return recording.events();
    }

    Recording recording = record();
    Resource resource;
    std::unique_ptr<IResourceHandler> handler;
};

// --- Answers -------------------------------------------------------------------------------------

TEST_F(ResourceTest, ReturnedValueIsSentWith200) {
    resource.on(command::retrieve, "", [](const Ask&) { return Entry{"one", 1969}; });
    EXPECT_EQ(eventsOf("retrieve", ""),
              (Events{R"(value 200 {"title":"one","year":1969})", "completed"}));
}

TEST_F(ResourceTest, ValueHasTheFormatThatTheClientAccepts) {
    resource.on(command::retrieve, "", [](const Ask&) { return 7; });
    Request request("retrieve", "/mount");
    request.setMimeType(mimetypes::AXOBIN_TYPE);
    send(request, "");
    EXPECT_EQ(recording.events(), (Events{"value 200 7", "completed"}));
}

TEST_F(ResourceTest, CreatedValueIsSentWith201) {
    resource.on(command::insert, "", [](const Ask&, const Entry& entry) { return created(entry); });
    EXPECT_EQ(eventsOf("insert", "", toPayload(Entry{"two", 1970}).value()),
              (Events{R"(value 201 {"title":"two","year":1970})", "completed"}));
}

TEST_F(ResourceTest, DoneCompletesWithoutAValue) {
    resource.on(command::remove, "{id:uint}",
                [](const Ask& ask, unsigned id) { return id == 1 ? done() : notFound(ask); });
    EXPECT_EQ(eventsOf("delete", "1"), (Events{"completed"}));
    EXPECT_EQ(eventsOf("delete", "2").back(), "error 404 path '/mount/2' not found");
}

TEST_F(ResourceTest, VoidFunctionCompletesWithoutAValue) {
    int level = 0;
    resource.on(command::update, "", [&](const Ask&, int wanted) { level = wanted; });
    EXPECT_EQ(eventsOf("update", "", toPayload(5).value()), (Events{"completed"}));
    EXPECT_EQ(level, 5);
}

TEST_F(ResourceTest, ErrorOfAResultEndsTheRequest) {
    resource.on(command::retrieve, "", [](const Ask&) -> Result<int> {
        return Error{409, "in use"};
    });
    EXPECT_EQ(eventsOf("retrieve", ""), (Events{"error 409 in use"}));
}

TEST_F(ResourceTest, ResponseIsSentVerbatim) {
    resource.on(command::retrieve, "", [](const Ask&) { return Response(304); });
    resource.on(command::update, "",
                [](const Ask&) { return Response::createErrorResponse(403, "no"); });
    EXPECT_EQ(eventsOf("retrieve", ""), (Events{"value 304", "completed"}));
    EXPECT_EQ(eventsOf("update", "").back(), "error 403 no");
}

TEST_F(ResourceTest, StringLiteralIsSentAsAString) {
    resource.on(command::retrieve, "", [](const Ask&) { return "text"; });
    EXPECT_EQ(eventsOf("retrieve", ""), (Events{R"(value 200 "text")", "completed"}));
}

TEST_F(ResourceTest, InfiniteNumberIsAnsweredWith500) {
    resource.on(command::retrieve, "", [](const Ask&) { return 1e308 * 10; });
    EXPECT_EQ(eventsOf("retrieve", ""),
              (Events{"error 500 expected a finite number, found inf (byte 0)"}));
}

// --- Arguments -----------------------------------------------------------------------------------

TEST_F(ResourceTest, FunctionGetsTheTemplateParametersInOrderBeforeTheBody) {
    resource.on(command::update, "{zone:uint}/{name}/{offset:int}",
                [](const Ask&, unsigned char zone, const std::string& name, long offset,
                   const std::vector<int>& body) {
                    return name + ' ' + std::to_string(zone) + ' ' + std::to_string(offset) + ' ' +
                           std::to_string(body.size());
                });
    EXPECT_EQ(eventsOf("update", "3/left/-4", toPayload(std::vector<int>{1, 2}).value()),
              (Events{R"(value 200 "left 3 -4 2")", "completed"}));
}

TEST_F(ResourceTest, NumberTooLargeForItsParameterIsAnsweredWith404) {
    resource.on(command::retrieve, "{zone:uint}",
                [](const Ask&, unsigned char zone) { return static_cast<int>(zone); });
    EXPECT_EQ(eventsOf("retrieve", "255"), (Events{"value 200 255", "completed"}));
    EXPECT_EQ(eventsOf("retrieve", "256").back(), "error 404 path '/mount/256' not found");
}

TEST_F(ResourceTest, RestParameterContainsAllRemainingSegments) {
    resource.on(command::retrieve, "files/{path:rest}",
                [](const Ask&, std::string_view path) { return std::string(path); });
    EXPECT_EQ(eventsOf("retrieve", "files/a/b/c"), (Events{R"(value 200 "a/b/c")", "completed"}));
}

TEST_F(ResourceTest, UnreadableBodyIsAnsweredWith400AndTheReason) {
    resource.on(command::insert, "", [](const Ask&, const Entry&) {});
    EXPECT_EQ(eventsOf("insert", "", Payload::createFromJSON(R"({"title":17})")),
              (Events{"error 400 title: expected a string, found 17 (byte 9)"}));
}

// --- Refusals ------------------------------------------------------------------------------------

TEST_F(ResourceTest, UnknownPathIsAnsweredWithAHint) {
    resource.on(command::retrieve, "state", [](const Ask&) { return 1; });
    resource.on(command::retrieve, "volume", [](const Ask&) { return 1; });
    EXPECT_EQ(eventsOf("retrieve", "stat").back(),
              "error 404 path '/mount/stat' not found; did you mean 'state'?");
    EXPECT_EQ(eventsOf("retrieve", "x").back(),
              "error 404 path '/mount/x' not found; below the mount there are: state, volume");
}

TEST_F(ResourceTest, UnknownCommandIsAnsweredWithTheSupportedCommands) {
    resource.on(command::retrieve, "state", [](const Ask&) { return 1; });
    resource.on(command::update, "state", [](const Ask&, int) {});
    EXPECT_EQ(eventsOf("delete", "state").back(),
              "error 400 command 'delete' not supported for path '/mount/state'; supported: "
              "retrieve, update");
}

TEST_F(ResourceTest, ErrorListsTheCommandsOfAllMatchingTemplates) {
    resource.on(command::retrieve, "all", [](const Ask&) { return 1; });
    resource.on(command::remove, "{id:uint}", [](const Ask&, unsigned) {});
    resource.on(command::update, "{name}", [](const Ask&, const std::string&, int) {});
    EXPECT_EQ(eventsOf("insert", "all").back(),
              "error 400 command 'insert' not supported for path '/mount/all'; supported: "
              "retrieve, update");
}

TEST_F(ResourceTest, UnknownFormatIsRejectedBeforeTheFunctionRuns) {
    bool hasRun = false;
    resource.on(command::update, "", [&](const Ask&) { hasRun = true; });
    Request request("update", "/mount");
    request.setMimeType("text/html");
    send(request, "");
    EXPECT_EQ(recording.events(),
              (Events{"error 400 undefined mime-type 'text/html'; there are: application/json, "
                      "application/vnd.axobin"}));
    EXPECT_FALSE(hasRun);
}

TEST_F(ResourceTest, ExceptionIsReportedAndAnsweredWith500) {
    test::Reports reports;
    resource.on(command::retrieve, "", [](const Ask&) -> int { throw std::runtime_error("oops"); });
    EXPECT_EQ(eventsOf("retrieve", ""),
              (Events{"error 500 Internal error in server implementation: retrieve '': oops"}));
    ASSERT_EQ(reports.take().size(), 1U);
}

TEST_F(ResourceTest, KovaExceptionIsAnsweredWithItsResponse) {
    resource.on(command::retrieve, "", [](const Ask&) -> int {
        throw KovaException(Response::createErrorResponse(403, "not yours"));
    });
    EXPECT_EQ(eventsOf("retrieve", ""), (Events{"error 403 not yours"}));
}

// --- Later answers -------------------------------------------------------------------------------

TEST_F(ResourceTest, ReplyAnswersLaterFromAnotherThread) {
    std::optional<Reply<double>> kept;
    resource.on(command::retrieve, "temp",
                [&](const Ask&, Reply<double> reply) { kept.emplace(std::move(reply)); });
    EXPECT_NE(send(Request("retrieve", "/mount/temp"), "temp"), nullptr);
    EXPECT_EQ(recording.events(), Events{});
    std::thread([&] {
        kept->progress(1);
        kept->value(21.5);
    }).join();
    EXPECT_EQ(recording.events(), (Events{"value 298 1", "value 200 21.5", "completed"}));
    EXPECT_FALSE(kept->isOpen());
    EXPECT_EQ(recording.living(), 0U);
}

TEST_F(ResourceTest, ImmediateReplyLeavesNoPendingRequest) {
    resource.on(command::retrieve, "", [](const Ask&, Reply<int> reply) { reply.value(3); });
    EXPECT_EQ(send(Request("retrieve", "/mount"), ""), nullptr);
    EXPECT_EQ(recording.events(), (Events{"value 200 3", "completed"}));
}

TEST_F(ResourceTest, UnusedReplyAnswers500) {
    resource.on(command::retrieve, "", [](const Ask&, const Reply<int>&) {});
    EXPECT_EQ(eventsOf("retrieve", ""),
              (Events{"error 500 the service did not answer the request"}));
}

TEST_F(ResourceTest, ExceptionOfAFunctionWithAReplyEndsTheRequest) {
    test::Reports reports;
    resource.on(command::retrieve, "",
                [](const Ask&, Reply<int>) { throw std::runtime_error("oops"); });
    EXPECT_EQ(eventsOf("retrieve", ""),
              (Events{"error 500 Internal error in server implementation: retrieve '': oops"}));
}

TEST_F(ResourceTest, ReplyDestroyedByAnExceptionAnswers500) {
    resource.on(command::retrieve, "", [](const Ask&, Reply<int> reply) {
        try {
            const Reply<int> inner(std::move(reply));
            throw std::runtime_error("oops");
        } catch (const std::runtime_error&) {
        }
    });
    EXPECT_EQ(eventsOf("retrieve", ""),
              (Events{"error 500 the service did not answer the request"}));
}

TEST_F(ResourceTest, ReplyDestroyedByAnExceptionOfAnotherThreadAnswers500) {
    resource.on(command::retrieve, "", [](const Ask&, Reply<int> reply) {
        std::thread([reply = std::move(reply)]() mutable {
            try {
                const Reply<int> inner(std::move(reply));
                throw std::runtime_error("oops");
            } catch (const std::runtime_error&) {
            }
        }).join();
    });
    EXPECT_EQ(eventsOf("retrieve", ""),
              (Events{"error 500 the service did not answer the request"}));
}

TEST_F(ResourceTest, CancellationCallsOnCancelOnce) {
    std::optional<Reply<int>> kept;
    int cancelled = 0;
    resource.on(command::retrieve, "", [&](const Ask&, Reply<int> reply) {
        reply.onCancel([&] { ++cancelled; });
        kept.emplace(std::move(reply));
    });
    void* const handle = send(Request("retrieve", "/mount"), "");
    handler->cancelRequest(handle);
    handler->cancelRequest(handle);
    EXPECT_EQ(cancelled, 1);
    EXPECT_FALSE(kept->value(3));
    EXPECT_EQ(recording.events(), Events{});
    EXPECT_EQ(recording.living(), 0U);
}

TEST_F(ResourceTest, LateCancellationDoesNotAffectTheNextRequest) {
    std::vector<Reply<int>> kept;
    resource.on(command::retrieve, "",
                [&](const Ask&, Reply<int> reply) { kept.push_back(std::move(reply)); });
    void* const first = send(Request("retrieve", "/mount"), "");
    kept.front().value(1);
    send(Request("retrieve", "/mount"), "");
    handler->cancelRequest(first);
    EXPECT_TRUE(kept.back().value(2));
}

// --- The end of the resource ---------------------------------------------------------------------

TEST_F(ResourceTest, DestroyedResourceAnswersPendingAndNewRequestsWith503) {
    std::vector<Reply<int>> kept;
    bool cancelled = false;
    std::optional<Resource> temporary(std::in_place);
    temporary->on(command::retrieve, "", [&](const Ask&, Reply<int> reply) {
        reply.onCancel([&] { cancelled = true; });
        kept.push_back(std::move(reply));
    });
    handler = temporary->handler();
    send(Request("retrieve", "/mount"), "");
    temporary.reset();
    EXPECT_EQ(recording.events(), (Events{"error 503 the resource is closed"}));
    EXPECT_TRUE(cancelled);
    send(Request("retrieve", "/mount"), "");
    EXPECT_EQ(recording.events().back(), "error 503 the resource is closed");
    EXPECT_FALSE(kept.front().value(1));
}

TEST_F(ResourceTest, ResourceMayBeDestroyedInsideItsFunction) {
    auto temporary = std::make_unique<Resource>();
    temporary->on(command::retrieve, "", [&](const Ask&) {
        temporary.reset();
        return 1;
    });
    handler = temporary->handler();
    send(Request("retrieve", "/mount"), "");
    EXPECT_EQ(recording.events(), (Events{"value 200 1", "completed"}));
    EXPECT_EQ(temporary, nullptr);
}

TEST_F(ResourceTest, AddingAFunctionAfterTheFirstRequestThrows) {
    resource.on(command::retrieve, "", [](const Ask&) { return 1; });
    send(Request("retrieve", "/mount"), "");
    EXPECT_THROW(resource.on(command::update, "", [](const Ask&) {}), std::logic_error);
}

TEST_F(ResourceTest, OperationsContainCommandsTemplatesAndSchemas) {
    resource.on(command::retrieve, "{id:uint}", [](const Ask&, unsigned) { return Entry(); });
    resource.on(command::insert, "", [](const Ask&, const Entry&) {});
    const std::vector<Operation> operations = resource.operations();
    ASSERT_EQ(operations.size(), 2U);
    EXPECT_EQ(operations[0].command, "retrieve");
    EXPECT_EQ(operations[0].path, "{id:uint}");
    EXPECT_NE(operations[0].valueSchema, nullptr);
    EXPECT_EQ(operations[0].bodySchema, nullptr);
    EXPECT_EQ(operations[1].valueSchema, nullptr);
    EXPECT_NE(operations[1].bodySchema, nullptr);
}

}  // namespace
}  // namespace kova::kit
