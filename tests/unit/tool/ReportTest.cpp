#include "Report.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace kova::tool {
namespace {

using kit::End;

class ReportTest : public testing::Test {
protected:
    std::ostringstream errors;
    Context context{{errors}, {errors}, 0, -1};
    const Target target{"unix:s", "", "/level"};
};

TEST_F(ReportTest, AdviceIsOnTheNextLine) {
    printError(context, "no\x1b", "do that");
    EXPECT_EQ(errors.str(), "kova: no\uFFFD\n      do that\n");
}

TEST_F(ReportTest, UsageErrorHasItsReason) {
    EXPECT_EQ(misused(context, {400, "which service?"}), MISUSED);
    EXPECT_EQ(errors.str(), "kova: which service?\n");
}

TEST_F(ReportTest, UnknownServiceIsNotAUsageError) {
    EXPECT_EQ(reportOpen(context, {400, "malformed"}), MISUSED);
    EXPECT_EQ(errors.str(), "kova: malformed\n");
    EXPECT_EQ(reportOpen(context, {404, "no such service"}), NO_SERVICE);
    EXPECT_EQ(errors.str(),
              "kova: malformed\nkova: no such service\n"
              "      start the service, or name its socket with --to unix:SOCKET\n");
    errors.str("");
    EXPECT_EQ(reportOpen(context, {403, "not trusted"}), NO_SERVICE);
    EXPECT_EQ(errors.str(),
              "kova: not trusted\n"
              "      only services of root and of your own user are opened; the owner of the "
              "directory decides who may connect\n");
}

TEST_F(ReportTest, CompletedRequestIsNotReported) {
    EXPECT_EQ(reportEnd(context, target, End()), DONE);
    EXPECT_EQ(errors.str(), "");
}

TEST_F(ReportTest, MissingServiceIsReportedWithoutACode) {
    const End end(End::Kind::failed, {503, "lost: no connection to unix:s: no"});
    EXPECT_EQ(reportEnd(context, target, end), NO_SERVICE);
    EXPECT_EQ(errors.str(),
              "kova: no connection to unix:s: no\n"
              "      start the service, or name another one with --to; 'kova ls' lists those of "
              "this machine\n");
}

TEST_F(ReportTest, ReportOfALostConnectionHasTheReasonWithoutTheCode) {
    const End end(End::Kind::failed, {503, "lost: closed"});
    EXPECT_EQ(reportEnd(context, target, end), NO_SERVICE);
    EXPECT_EQ(errors.str().substr(0, 19), "kova: lost: closed\n");
}

TEST_F(ReportTest, ReportOfAForbiddenRequestNamesTheTokenVariable) {
    const End end(End::Kind::failed, {403, "not for you"});
    EXPECT_EQ(reportEnd(context, target, end), REFUSED);
    EXPECT_EQ(errors.str(),
              "kova: 403 Forbidden: not for you\n"
              "      the variable ZEL_CONFIG_KOVA_AGT has the token that requests carry\n");
}

TEST_F(ReportTest, AdviceForABrokerNamesItsAddressAndItsLogin) {
    const Target remote{"nats://broker", "/device", "/level"};
    EXPECT_EQ(reportEnd(context, remote, End(End::Kind::failed, {503, "no server of /device"})),
              NO_SERVICE);
    EXPECT_EQ(errors.str(),
              "kova: no server of /device\n"
              "      check the address of the broker and the path of the service, and whether the "
              "service runs\n");
    errors.str("");
    EXPECT_EQ(reportEnd(context, remote, End(End::Kind::failed, {401, "no"})), REFUSED);
    EXPECT_EQ(errors.str(),
              "kova: 401 Unauthorized: no\n"
              "      --user, --nkey, --creds, --cert and the variables KOVA_NATS_PASSWORD and "
              "KOVA_NATS_TOKEN log in to a broker; ZEL_CONFIG_KOVA_AGT has the token for the "
              "service\n");
}

}  // namespace
}  // namespace kova::tool
