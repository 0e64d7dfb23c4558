#include "kova/core/Response.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "support/Trees.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace kova {
namespace {

using util::config::Dictionary;
using util::config::ValueInt;

TEST(ResponseTest, ConstructorsStoreTheirArguments) {
    const Payload payload = Payload::createFromString("body");
    auto header = std::make_shared<Dictionary>();
    header->add("key", new ValueInt(1));

    EXPECT_EQ(Response().getStatusCode(), 0);
    EXPECT_EQ(Response(201).getStatusCode(), 201);
    EXPECT_EQ(Response(200, payload).getPayload().data(), payload.data());
    EXPECT_EQ(Response(200, Payload(payload)).getPayload().data(), payload.data());
    EXPECT_EQ(&Response(200, header).getHeader(), header.get());
    EXPECT_EQ(&Response(200, payload, header).getHeader(), header.get());
    const Response both(200, Payload(payload), header);
    EXPECT_EQ(&both.getHeader(), header.get());
    EXPECT_EQ(both.getPayload().data(), payload.data());
}

TEST(ResponseTest, ResponseWithAnErrorMessageIsAnErrorResponseWithAnyCode) {
    EXPECT_FALSE(Response(500).isErrorResponse());
    Response fine(200);
    fine.setErrorMessage("x");
    EXPECT_TRUE(fine.isErrorResponse());

    Response response(404);
    response.setErrorMessage("x");
    EXPECT_TRUE(response.isErrorResponse());
    EXPECT_EQ(response.getErrorMessageWithCode(), "404 Not Found: x");
    EXPECT_EQ(response.getErrorMessage(), std::optional<std::string>("x"));
    std::string message;
    EXPECT_FALSE(response.getErrorMessage(message));
    EXPECT_EQ(message, "x");
}

TEST(ResponseTest, NonStringEntryIsNotAnErrorMessage) {
    Response response(500);
    response.add2header("$errorMsg", new ValueInt(5));
    EXPECT_FALSE(response.isErrorResponse());
    EXPECT_EQ(response.getErrorMessage(), std::nullopt);
}

TEST(ResponseTest, GetErrorMessageWithoutAMessageLeavesItsOutputUnchanged) {
    const Response response(500);
    std::string message = "before";
    EXPECT_TRUE(response.getErrorMessage(message));
    EXPECT_EQ(message, "before");
    EXPECT_EQ(response.getErrorMessageWithCode(), "500 Internal Server Error");
}

TEST(ResponseTest, ErrorResponseWithoutTextHasNoHeader) {
    for (const Response& response :
         {Response::createErrorResponse(500, ""), Response::createErrorResponse(500, nullptr),
          Response::createErrorResponse(500)}) {
        EXPECT_EQ(response.getStatusCode(), 500);
        EXPECT_EQ(&response.getHeader(), &util::config::Value::getUndefined());
        EXPECT_FALSE(response.isErrorResponse());
    }
    const Response response = Response::createErrorResponse(404, "path '/a' not found");
    EXPECT_EQ(response.getErrorMessageWithCode(), "404 Not Found: path '/a' not found");
    EXPECT_EQ(kova::test::toJson(response.getHeader()), R"({"$errorMsg":"path '/a' not found"})");
    EXPECT_TRUE(response.getPayload().isEmpty());
}

TEST(ResponseTest, PrintsAsOneLine) {
    Response response(200, Payload::createFromJSON("[1]"));
    EXPECT_EQ(response.toString(), "sc=200 header='' payload='[1]'");
    response.setErrorMessage("x");
    EXPECT_EQ(response.toString(), R"(sc=200 header='{"$errorMsg":"x"}' payload='[1]')");
}

}  // namespace
}  // namespace kova
