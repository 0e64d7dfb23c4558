#include "kova/core/StatusCodes.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace kova {
namespace {

const struct {
    unsigned short name;
    unsigned short code;
    std::string text;
} ROWS[] = {
    {statuscodes::OK, 200, "Ok"},
    {statuscodes::CREATED, 201, "Created"},
    {statuscodes::NO_CONTENT, 204, "No Content"},
    {statuscodes::MULTI_RESPONSE, 298, "Multi Response"},
    {statuscodes::STREAM, 299, "Stream"},
    {statuscodes::NOT_MODIFIED, 304, "Not Modified"},
    {statuscodes::BAD_REQUEST, 400, "Bad Request"},
    {statuscodes::UNAUTHORIZED, 401, "Unauthorized"},
    {statuscodes::FORBIDDEN, 403, "Forbidden"},
    {statuscodes::NOT_FOUND, 404, "Not Found"},
    {statuscodes::CONFLICT, 409, "Conflict"},
    {statuscodes::EXPECTATION_FAILED, 417, "Expectation Failed"},
    {statuscodes::INTERNAL_SERVER_ERROR, 500, "Internal Server Error"},
    {statuscodes::NOT_IMPLEMENTED, 501, "Not Implemented"},
    {statuscodes::BAD_GATEWAY, 502, "Bad Gateway"},
    {statuscodes::SERVICE_UNAVAILABLE, 503, "Service Unavailable"},
    {statuscodes::GATEWAY_TIMEOUT, 504, "Gateway Timeout"},
};

TEST(StatusCodesTest, ToStringReturnsTheTextOfEachKnownCode) {
    for (const auto& row : ROWS) {
        EXPECT_EQ(row.name, row.code);
        EXPECT_EQ(statuscodes::toString(row.code), row.text) << row.code;
    }
}

TEST(StatusCodesTest, ToStringReturnsUnknownForOtherCodes) {
    std::set<unsigned int> known;
    for (const auto& row : ROWS) {
        known.insert(row.code);
    }
    for (unsigned int code = 0; code <= 0xFFFF; ++code) {
        if (known.count(code) == 0) {
            ASSERT_EQ(statuscodes::toString(static_cast<unsigned short>(code)), "unknown") << code;
        }
    }
}

}  // namespace
}  // namespace kova
