#include "kova/kit/End.h"

#include <gtest/gtest.h>

#include <string>

namespace kova::kit {
namespace {

TEST(EndTest, IsCompletedByDefault) {
    const End end;
    EXPECT_TRUE(end.ok());
    EXPECT_EQ(end.kind(), End::Kind::completed);
    EXPECT_EQ(end.error(), (Error{0, ""}));
    EXPECT_EQ(end.toString(), "completed");
}

TEST(EndTest, ContainsTheErrorResponseOfTheService) {
    Response response = Response::createErrorResponse(404, "no such lamp");
    const End end(response);
    EXPECT_FALSE(end.ok());
    EXPECT_EQ(end.kind(), End::Kind::failed);
    EXPECT_EQ(end.error(), (Error{404, "no such lamp"}));
    EXPECT_EQ(end.toString(), "failed: 404 Not Found: no such lamp");
}

TEST(EndTest, ErrorOfALostConnectionHasTheKindLost) {
    const End end(Response::createErrorResponse(503, "lost: the connection was closed"));
    EXPECT_EQ(end.kind(), End::Kind::lost);
    EXPECT_EQ(end.error(), (Error{503, "lost: the connection was closed"}));
    EXPECT_EQ(End(Response::createErrorResponse(500, "lost: it")).kind(), End::Kind::failed);
    EXPECT_EQ(End(Response::createErrorResponse(503, "all is lost: ")).kind(), End::Kind::failed);
}

TEST(EndTest, TimedOutEndContainsItsReason) {
    const End end(End::Kind::timedOut, {504, "no answer within 5 ms"});
    EXPECT_EQ(end.response().getStatusCode(), 504);
    EXPECT_TRUE(end.response().isErrorResponse());
    EXPECT_EQ(end.toString(), "timed out: 504 Gateway Timeout: no answer within 5 ms");
}

TEST(EndTest, ToStringReturnsATextForEachKind) {
    EXPECT_STREQ(toString(End::Kind::completed), "completed");
    EXPECT_STREQ(toString(End::Kind::failed), "failed");
    EXPECT_STREQ(toString(End::Kind::dropped), "dropped");
    EXPECT_STREQ(toString(End::Kind::refused), "refused");
    EXPECT_STREQ(toString(End::Kind::cancelled), "cancelled");
    EXPECT_STREQ(toString(End::Kind::timedOut), "timed out");
    EXPECT_STREQ(toString(End::Kind::lost), "lost");
}

}  // namespace
}  // namespace kova::kit
