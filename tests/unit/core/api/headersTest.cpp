#include "kova/core/headers.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "support/Trees.h"
#include "util/config/Scalars.h"

namespace kova::headers {
namespace {

TEST(HeadersTest, ReservedKeysAndWordsHaveTheirDocumentedTexts) {
    EXPECT_STREQ(REQUEST_COMMAND, "$request-command");
    EXPECT_STREQ(SERVICE_PATH, "$service-path");
    EXPECT_STREQ(REQUEST_PATH, "$request-path");
    EXPECT_STREQ(CLIENT_ID, "$client-id");
    EXPECT_STREQ(ACCEPT, "$accept");
    EXPECT_STREQ(AUTH_TOKEN, "$auth-token");
    EXPECT_STREQ(RESPONSE_SEMANTIC, "$response-semantic");
    EXPECT_STREQ(ERROR_MESSAGE, "$errorMsg");
    EXPECT_STREQ(PERSISTENT_STREAM, "persistent-stream");
    EXPECT_STREQ(SINGLE_RESPONSE, "single-response");
    EXPECT_STREQ(EMPTY_RESPONSE, "empty-response");
    EXPECT_STREQ(MULTI_RESPONSE, "multi-response");
}

TEST(HeadersTest, RequestInfoIsWrittenFieldByField) {
    Response response(200);
    appendRequestInfo(RequestInfo("update", "/a", "/svc", "me"), response);
    EXPECT_EQ(kova::test::toJson(response.getHeader()),
              R"({"$client-id":"me","$request-command":"update","$request-path":"/a",)"
              R"("$service-path":"/svc"})");
}

TEST(HeadersTest, EmptyFieldsAreNotWritten) {
    Response response(200);
    appendRequestInfo(RequestInfo("update", "/a", "/svc", ""), response);
    EXPECT_EQ(kova::test::toJson(response.getHeader()),
              R"({"$request-command":"update","$request-path":"/a","$service-path":"/svc"})");
    Response untouched(200);
    appendRequestInfo(RequestInfo("", "", "", ""), untouched);
    EXPECT_EQ(&untouched.getHeader(), &util::config::Value::getUndefined());
}

TEST(HeadersTest, RequestInfoReplacesExistingEntries) {
    Response response(200);
    response.add2header("$request-path", new util::config::ValueInt(1));
    appendRequestInfo(RequestInfo("", "/a", "", ""), response);
    EXPECT_EQ(kova::test::toJson(response.getHeader()), R"({"$request-path":"/a"})");
}

TEST(HeadersTest, EmptyTracingInfoIsWritten) {
    Request request("retrieve", "/a");
    appendTracingInfo(request, "", "");
    EXPECT_EQ(kova::test::toJson(request.getHeader()), R"({"$client-id":"","$service-path":""})");
    appendTracingInfo(request, "/svc", "me");
    EXPECT_EQ(kova::test::toJson(request.getHeader()),
              R"({"$client-id":"me","$service-path":"/svc"})");
}

TEST(HeadersTest, ResponseSemanticIsWrittenVerbatim) {
    for (char const* const semantic : {PERSISTENT_STREAM, "something else", ""}) {
        Request request("retrieve", "/a");
        appendResponseSemantic(request, semantic);
        std::string written = "before";
        EXPECT_FALSE(request.getHeaderValue(RESPONSE_SEMANTIC).get(written));
        EXPECT_EQ(written, semantic);
    }
}

// The agent token can be set only once per process, so each case runs in a separate process.

/// Returns the token in a request, or "(none)".
std::string tokenOfARequest() {
    Request request("retrieve", "/a");
    appendAuthInfo(request);
    std::string token;
    const bool none = request.getHeaderValue(AUTH_TOKEN).get(token);
    EXPECT_EQ(none, &request.getHeader() == &util::config::Value::getUndefined());
    return none ? "(none)" : token;
}

[[noreturn]] void exitWith(const std::string& token) {
    std::exit(tokenOfARequest() == token && !testing::Test::HasFailure() ? 0 : 1);
}

class AgentTokenDeathTest : public testing::Test {
protected:
    const testing::ExitedWithCode succeeds{0};
};

TEST_F(AgentTokenDeathTest, TokenIsInitiallyEmpty) {
    EXPECT_EXIT(exitWith("(none)"), succeeds, "");
}

TEST_F(AgentTokenDeathTest, OnlyTheFirstCallOfSetAgtSetsTheToken) {
    EXPECT_EXIT(
        {
            setAgt("a");
            setAgt("b");
            setAgt("");
            exitWith("a");
        },
        succeeds, "");
}

TEST_F(AgentTokenDeathTest, SetAgtWithAnEmptyTextUsesTheEnvironmentVariable) {
    EXPECT_EXIT(
        {
            setenv("ZEL_CONFIG_KOVA_AGT", "from outside", 1);
            setAgt("");
            setenv("ZEL_CONFIG_KOVA_AGT", "too late", 1);
            setAgt("");
            exitWith("from outside");
        },
        succeeds, "");
}

TEST_F(AgentTokenDeathTest, SetAgtWithATextIgnoresTheEnvironmentVariable) {
    EXPECT_EXIT(
        {
            setenv("ZEL_CONFIG_KOVA_AGT", "from outside", 1);
            setAgt("given");
            exitWith("given");
        },
        succeeds, "");
}

TEST_F(AgentTokenDeathTest, EmptyTokenCannotBeReplaced) {
    EXPECT_EXIT(
        {
            unsetenv("ZEL_CONFIG_KOVA_AGT");
            setAgt("");
            setAgt("late");
            exitWith("(none)");
        },
        succeeds, "");
}

}  // namespace
}  // namespace kova::headers
