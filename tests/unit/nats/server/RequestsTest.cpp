#include "nats/server/Requests.h"

#include <gtest/gtest.h>

#include <string>

#include "contract/service/Inbox.h"
#include "wire/Records.h"

namespace kova::nats::detail {
namespace {

std::string recordOf(const Request& request) {
    std::string record;
    wire::appendRequest(record, request).orThrow();
    return record;
}

TEST(RequestsTest, RecordOfARequestIsRead) {
    const Request sent("update", "/state", Payload::createFromString("on"));
    const Request read = readRequest(recordOf(sent)).orThrow();
    EXPECT_EQ(test::describe(read), test::describe(sent));
}

TEST(RequestsTest, OtherBytesAreRefused) {
    const std::string request = recordOf(Request("retrieve", "/"));
    std::string event;
    wire::appendCompleted(event, true);
    const struct {
        std::string bytes;
        char const* reason;
    } rows[] = {
        {"", "the message has no record of a request"},
        {request.substr(0, request.size() - 1), "the message has no record of a request"},
        {event, "the message has no record of a request"},
        {request + "x", "bytes follow the record of the request"},
        {request + request, "bytes follow the record of the request"},
    };
    for (const auto& row : rows) {
        const kit::Result<Request> result = readRequest(row.bytes);
        ASSERT_FALSE(result) << row.reason;
        EXPECT_EQ(result.error().code, 400);
        EXPECT_EQ(result.error().message, row.reason);
    }
    const kit::Result<Request> malformed = readRequest(std::string("\0\0\0\1\1", 5));
    ASSERT_FALSE(malformed);
    EXPECT_EQ(malformed.error().code, 400);
    EXPECT_NE(malformed.error().message.find("version"), std::string::npos);
}

}  // namespace
}  // namespace kova::nats::detail
