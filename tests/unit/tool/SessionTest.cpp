#include "Session.h"

#include <gtest/gtest.h>

#include "kova/core/RequestInfo.h"
#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

class SessionTest : public ToolFixture {
protected:
    Context context{{sink_}, {sink_}, -1, -1};
    kit::Result<std::unique_ptr<Session>> open(const std::string& service) {
        return Session::open(Target::ofService(service).orThrow(), context, {});
    }
    Answer ask(Session& session, const std::string& path, const AskPolicy& policy = {}) {
        return session.ask(session.client().makeDraft("retrieve", path, Payload()), policy);
    }

private:
    std::ostringstream sink_;
};

TEST_F(SessionTest, UnknownServiceOfThisMachineIsNotFound) {
    ::setenv("KOVA_RUNTIME_DIR", folder.path().c_str(), 1);
    const auto session = open("kova:/nowhere");
    ASSERT_FALSE(session.ok());
    EXPECT_EQ(session.error().code, 404);
}

TEST_F(SessionTest, RegisteredServiceIsFoundByItsPath) {
    ::setenv("KOVA_RUNTIME_DIR", folder.path().c_str(), 1);
    const http::Endpoint registered(service, "kova:/player");
    const auto session = open("kova:/player");
    ASSERT_TRUE(session.ok()) << session.error().message;
    EXPECT_TRUE(ask(**session, "/level").end.ok());
}

TEST_F(SessionTest, OneConnectionServesSeveralRequests) {
    const auto session = open(address);
    for (int i = 0; i < 2; ++i) {
        const Answer answer = ask(**session, "/level");
        EXPECT_TRUE(answer.end.ok());
        ASSERT_TRUE(answer.value);
        EXPECT_EQ(answer.value->getStatusCode(), 200);
    }
    EXPECT_EQ(endpoint.connections(), 1U);
}

TEST_F(SessionTest, ErrorAfterTheFirstValueEndsTheRequest) {
    held.onRequest = [this](std::size_t number) {
        held[number].onNext(Response(200));
        held[number].onError(Response::createErrorResponse(500, "late"));
    };
    const auto session = open(address);
    AskPolicy policy;
    policy.firstValueOnly = true;
    policy.endLimit = std::chrono::minutes(1);
    const Answer answer = ask(**session, "/held", policy);
    EXPECT_EQ(answer.end.error().code, 500);
}

TEST_F(SessionTest, CompletionWithoutAValueIsAnAnswer) {
    held.onRequest = [this](std::size_t number) { held.take(number)->onCompleted(); };
    const auto session = open(address);
    const Answer answer = ask(**session, "/held");
    EXPECT_TRUE(answer.end.ok());
    EXPECT_FALSE(answer.value);
}

TEST_F(SessionTest, RequestsCarryTheNameOfTheProgram) {
    held.onRequest = [this](std::size_t number) { held.answer(number); };
    const auto session = open(address);
    EXPECT_TRUE(ask(**session, "/held").end.ok());
    EXPECT_EQ(RequestInfo(held.request(1)).getClientId(), "kova");
}

}  // namespace
}  // namespace kova::tool
