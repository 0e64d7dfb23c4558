#include "kova/core/StaticComposedKovaServiceImpl.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kova/core/Errors.h"
#include "kova/core/StaticComposedKovaService.h"
#include "support/Reports.h"
#include "support/Service.h"
#include "support/Traces.h"
#include "zel/ErrorStorage.h"

namespace kova {
namespace {

using test::Mounts;
using Traced = std::vector<test::Traces::Trace>;

constexpr char const* CHANNEL = "KOVA_SERVICE_COMPOSED_STATIC";

/// Stores the events of a request for the root.
struct Answer {
    std::vector<Response> values;
    std::optional<Response> error;
    int completed = 0;

    std::unique_ptr<IResponseHandler<Response>> handler() {
        return std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
            [this](const Response& value) {
                values.push_back(value);
                return false;
            },
            [this](const Response& value) { error = value; }, [this] { ++completed; });
    }
};

std::string bytesOf(const Response& response) {
    std::string bytes;
    response.getPayload().getBlob().toString(bytes);
    return bytes;
}

class RootHandlerTest : public testing::Test {
protected:
    void TearDown() override { servicecomp::overrideMimeTypeFunc({}); }

    /// Returns a service with the mounts /b and /a that answers requests of its root in `mimeType`.
    static std::unique_ptr<StaticComposedKovaService> make(const std::string& mimeType) {
        servicecomp::overrideMimeTypeFunc([mimeType](const Request&) { return mimeType; });
        return std::make_unique<StaticComposedKovaService>(Mounts({"/b", "/a"}).take());
    }
    Answer answer;
};

TEST_F(RootHandlerTest, ListsTheMountsInAscendingOrderAsJson) {
    const auto service = make("application/json");
    test::Traces traces(CHANNEL, 1);
    EXPECT_EQ(service->actionRequest(Request("retrieve", "/"), answer.handler()), nullptr);
    ASSERT_EQ(answer.values.size(), 1U);
    EXPECT_EQ(answer.values[0].getStatusCode(), 200);
    EXPECT_EQ(answer.values[0].getPayload().getMimeType(), "application/json");
    EXPECT_EQ(bytesOf(answer.values[0]), R"(["/a","/b"])");
    EXPECT_EQ(answer.completed, 1);
    Traced atLevelOne;
    for (const auto& trace : traces.take()) {
        if (trace.level == 1) {
            atLevelOne.push_back(trace);
        }
    }
    EXPECT_EQ(atLevelOne,
              (Traced{{1, "[RootHandler::actionRequest] mime_type: application/json"},
                      {1, "[RootHandler] sendUpdate: " + answer.values[0].toString()}}));
}

TEST_F(RootHandlerTest, ListsTheMountsInTheBinaryFormat) {
    const auto service = make("application/vnd.axobin");
    service->actionRequest(Request("retrieve", "/"), answer.handler());
    ASSERT_EQ(answer.values.size(), 1U);
    EXPECT_EQ(bytesOf(answer.values[0]), "\x9F\x62/a\x62/b\xFF");
}

TEST_F(RootHandlerTest, ServiceWithoutMountsListsNothing) {
    servicecomp::overrideMimeTypeFunc([](const Request&) { return "application/json"; });
    StaticComposedKovaService service({});
    service.actionRequest(Request("retrieve", "/"), answer.handler());
    ASSERT_EQ(answer.values.size(), 1U);
    EXPECT_EQ(bytesOf(answer.values[0]), "[]");
}

TEST_F(RootHandlerTest, MimeTypeFunctionIsCopiedAtConstruction) {
    servicecomp::overrideMimeTypeFunc([](const Request& request) {
        std::string type;
        return request.getMimeTypeHeader().get(type) ? std::string("application/json") : type;
    });
    StaticComposedKovaService service(Mounts({"/a"}).take());
    servicecomp::overrideMimeTypeFunc([](const Request&) { return "x/y"; });
    Request request("retrieve", "/");
    request.setMimeType(mimetypes::AXOBin);
    service.actionRequest(request, answer.handler());
    ASSERT_EQ(answer.values.size(), 1U);
    EXPECT_EQ(answer.values[0].getPayload().getMimeType(), "application/vnd.axobin");
}

TEST_F(RootHandlerTest, EveryCommandExceptRetrieveIsRejected) {
    const auto service = make("application/json");
    for (char const* const command : {"update", "insert", "delete", "Retrieve", ""}) {
        Answer refused;
        test::Traces traces(CHANNEL, 3);
        EXPECT_EQ(service->actionRequest(Request(command, "/"), refused.handler()), nullptr);
        EXPECT_TRUE(refused.values.empty());
        ASSERT_TRUE(refused.error) << command;
        EXPECT_EQ(refused.error->getErrorMessageWithCode(),
                  "400 Bad Request: Service Root read-only");
        const auto seen = traces.take();
        ASSERT_FALSE(seen.empty());
        EXPECT_EQ(seen[0],
                  (test::Traces::Trace{3, "[RootHandler::actionRequest] wrong request: command " +
                                              std::string(command) + " illegal"}));
    }
}

TEST_F(RootHandlerTest, MimeTypeWithoutSerializerIsAnsweredWith500) {
    for (char const* const mimeType : {"plain/text", "application/vnd.msgpack", "x/y", ""}) {
        const auto service = make(mimeType);
        test::Reports reports;
        test::Traces traces(CHANNEL, 4);
        Answer failed;
        EXPECT_EQ(service->actionRequest(Request("retrieve", "/"), failed.handler()), nullptr);
        EXPECT_TRUE(failed.values.empty());
        EXPECT_EQ(failed.completed, 0);
        ASSERT_TRUE(failed.error) << mimeType;
        EXPECT_EQ(failed.error->getErrorMessageWithCode(),
                  "500 Internal Server Error: Unable to serialize resource list");
        EXPECT_FALSE(zel::ErrorStorage::current().hasError());
        EXPECT_EQ(traces.take(), (Traced{{4,
                                          "[RootHandler::sendUpdate] can't serialize the body, "
                                          "reason='undefined mime-type '" +
                                              std::string(mimeType) + "''"}}));
    }
}

TEST_F(RootHandlerTest, FailingSerializerIsAnsweredWith500) {
    // JSON has no form for a mount path that is not UTF-8.
    servicecomp::overrideMimeTypeFunc([](const Request&) { return "application/json"; });
    StaticComposedKovaService service(Mounts({"/a", "/\xFF"}).take());
    test::Reports reports;
    test::Traces traces(CHANNEL, 4);
    service.actionRequest(Request("retrieve", "/"), answer.handler());
    EXPECT_TRUE(answer.values.empty());
    ASSERT_TRUE(answer.error);
    EXPECT_EQ(answer.error->getStatusCode(), 500);
    EXPECT_EQ(traces.take(),
              (Traced{{4,
                       "[RootHandler::sendUpdate] can't serialize the body, reason='[1]: expected "
                       "UTF-8, found other bytes (byte 6)'"}}));
    EXPECT_TRUE(reports.take().empty()) << "the sink was called";
    EXPECT_FALSE(zel::ErrorStorage::current().hasError()) << "not acknowledged";
}

TEST_F(RootHandlerTest, SuccessfulAnswerKeepsAnOlderErrorOfTheThread) {
    const auto service = make("application/json");
    test::Reports reports;
    zel::ErrorOutput("src/Test", 1, true)(errors::Error, errors::RequestFailed, "older");
    const std::string older = zel::ErrorStorage::current().reason();
    service->actionRequest(Request("retrieve", "/"), answer.handler());
    ASSERT_EQ(answer.values.size(), 1U);
    EXPECT_EQ(zel::ErrorStorage::current().reason(), older);
}

TEST_F(RootHandlerTest, MountAtTheRootReplacesTheRootHandler) {
    Mounts mounts({"/"});
    auto& root = mounts["/"];
    StaticComposedKovaService service(mounts.take());
    service.actionRequest(Request("retrieve", "/"), answer.handler());
    EXPECT_EQ(root.asked.size(), 1U);
}

TEST_F(RootHandlerTest, PathOfSeveralSeparatorsIsNotTheRoot) {
    const auto service = make("application/json");
    test::Reports reports;
    service->actionRequest(Request("retrieve", "//"), answer.handler());
    ASSERT_TRUE(answer.error);
    EXPECT_EQ(answer.error->getStatusCode(), 404);
}

TEST(RootHandlerDeathTest, RootRequestNeedsAMimeTypeFunction) {
    EXPECT_DEATH(
        {
            StaticComposedKovaService service(Mounts({"/a"}).take());
            Answer answer;
            service.actionRequest(Request("retrieve", "/"), answer.handler());
        },
        "bad_function_call");
}

}  // namespace
}  // namespace kova
