// Tests the resource "/about" of the device.
#include <gtest/gtest.h>

#include <string>

#include "DeviceFixture.h"
#include "util/config/Scalars.h"

namespace device {
namespace {

using kova::Request;

class AboutTest : public test::DeviceFixture {};

constexpr test::StatusRow ROWS[] = {
    {"retrieve", "/about", "", 200, R"(["request","versions"])"},
    {"retrieve", "/about/versions", "", 200, R"(["1.0.2","2.0.0"])"},
    {"retrieve", "/about/request", "", 200, R"({"client":"","service":"","token":"none"})"},
    {"retrieve", "/about/request/x", "", 404, "path '/about/request/x' not found"},
    {"retrieve", "/about/nothing", "", 404, "path '/about/nothing' not found"},
    {"update", "/about/versions", "", 400,
     "command 'update' not supported for path '/about/versions'"},
    {"delete", "/about", "", 400, "command 'delete' not supported for path '/about'"},
};

TEST_F(AboutTest, RespondsWithTheExpectedStatusAndPayload) {
    for (const test::StatusRow& row : ROWS) {
        SCOPED_TRACE(testing::PrintToString(row));
        test::expectAnswer(row, *ask(row.command, row.path));
    }
}

TEST_F(AboutTest, RespondsInTheAcceptedMimeType) {
    for (char const* const path : {"/about", "/about/versions", "/about/request"}) {
        Request request("retrieve", path);
        request.setMimeType("application/vnd.axobin");
        EXPECT_EQ(ask(request)->values().at(0).getPayload().getMimeType(),
                  "application/vnd.axobin");
        request.setMimeType("plain/text");
        EXPECT_EQ(ask(request)->code(), 400);
    }
}

TEST_F(AboutTest, DescribesTheRequestWithoutTheToken) {
    Request request("retrieve", "/about/request");
    kova::headers::appendTracingInfo(request, "/device", "me");
    request.add2header(kova::headers::AUTH_TOKEN, new util::config::ValueString("secret"));
    const auto answer = ask(request);
    EXPECT_EQ(answer->text(), R"({"client":"me","service":"/device","token":"given"})");
    EXPECT_EQ(answer->values().at(0).getHeader().toJson(true),
              R"({"$client-id":"me","$request-command":"retrieve",)"
              R"("$request-path":"/about/request","$service-path":"/device"})");
}

TEST_F(AboutTest, TokenThatIsNotATextCountsAsMissing) {
    Request request("retrieve", "/about/request");
    request.add2header(kova::headers::AUTH_TOKEN, new util::config::ValueInt(5));
    EXPECT_EQ(ask(request)->text(), R"({"client":"","service":"","token":"none"})");
}

}  // namespace
}  // namespace device
