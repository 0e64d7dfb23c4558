#include "ExitStatus.h"

#include <gtest/gtest.h>

namespace kova::tool {
namespace {

using kit::End;

TEST(ExitStatusTest, EachEndOfARequestHasAnExitStatus) {
    EXPECT_EQ(exitStatusOf(End()), DONE);
    EXPECT_EQ(exitStatusOf(End(End::Kind::timedOut, {504, "late"})), TIMED_OUT);
    EXPECT_EQ(exitStatusOf(End(End::Kind::cancelled, {503, "cancelled"})), INTERRUPTED);
    EXPECT_EQ(exitStatusOf(End(End::Kind::lost, {503, "lost"})), NO_SERVICE);
    EXPECT_EQ(exitStatusOf(End(End::Kind::dropped, {500, "dropped"})), FAILED);
    EXPECT_EQ(exitStatusOf(End(End::Kind::refused, {503, "full"})), FAILED);
}

TEST(ExitStatusTest, CodeOfAnErrorDecidesTheExitStatus) {
    const auto statusOf = [](unsigned short code, char const* message) {
        return exitStatusOf(End(End::Kind::failed, {code, message}));
    };
    EXPECT_EQ(statusOf(400, "no"), REFUSED);
    EXPECT_EQ(statusOf(499, "no"), REFUSED);
    EXPECT_EQ(statusOf(500, "no"), FAILED);
    EXPECT_EQ(statusOf(399, "no"), FAILED);
    EXPECT_EQ(statusOf(503, "too hot"), FAILED);
    EXPECT_EQ(statusOf(503, "lost: no connection"), NO_SERVICE);
    EXPECT_EQ(statusOf(500, "lost: it"), FAILED);
    EXPECT_EQ(statusOf(503, "no server of /device"), NO_SERVICE);
    EXPECT_EQ(statusOf(503, "no servers"), FAILED);
}

}  // namespace
}  // namespace kova::tool
