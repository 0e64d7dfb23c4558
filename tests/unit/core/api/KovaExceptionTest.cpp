#include "kova/core/KovaException.h"

#include <gtest/gtest.h>

#include <string>

namespace kova {
namespace {

TEST(KovaExceptionTest, MessageContainsCodeAndErrorMessage) {
    struct {
        Response response;
        std::string message;
    } const rows[] = {
        {Response::createErrorResponse(404, "path '/a' not found"),
         "404 Not Found path '/a' not found"},
        {Response(500), "500 Internal Server Error"},
        {Response(201), "201 Created"},
        {Response(202), "202 unknown"},
    };
    for (const auto& row : rows) {
        const KovaException exception(row.response);
        EXPECT_EQ(exception.what(), row.message);
        EXPECT_EQ(exception.createErrorMessage(), row.message);
        EXPECT_EQ(exception.getErrorCode(), row.response.getStatusCode());
    }
}

TEST(KovaExceptionTest, DerivesFromStdExceptionAndStoresTheResponse) {
    try {
        throw KovaException(Response::createErrorResponse(409, "taken"));
    } catch (const std::exception& exception) {
        EXPECT_STREQ(exception.what(), "409 Conflict taken");
        const auto& own = dynamic_cast<const KovaException&>(exception);
        EXPECT_EQ(own.getResponse().getErrorMessage(), "taken");
    }
}

}  // namespace
}  // namespace kova
