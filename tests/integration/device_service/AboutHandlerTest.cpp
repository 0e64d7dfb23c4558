#include "AboutHandler.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <utility>

#include "Answer.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/headers.h"
#include "support/Reports.h"
#include "util/config/Scalars.h"

namespace device {
namespace {

using kova::Request;

class AboutHandlerTest : public testing::Test {
protected:
    AboutHandlerTest() {
        std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
        handlers["/about"] =
            std::make_unique<AboutHandler>(std::vector<std::string>{"1.0.2", "2.0.0"});
        service = std::make_unique<kova::StaticComposedKovaService>(std::move(handlers));
    }

    kova::test::Reports reports;
    std::unique_ptr<kova::StaticComposedKovaService> service;
};

struct StatusRow {
    char const* command;
    char const* path;
    unsigned short code;
    char const* answer;  // payload or error message
};

void PrintTo(const StatusRow& row, std::ostream* out) {
    *out << row.command << ' ' << row.path;
}

constexpr StatusRow ROWS[] = {
    {"retrieve", "/about", 200, R"(["request","versions"])"},
    {"retrieve", "/about/versions", 200, R"(["1.0.2","2.0.0"])"},
    {"retrieve", "/about/request", 200, R"({"client":"","service":"","token":"none"})"},
    {"retrieve", "/about/request/x", 404, "path '/about/request/x' not found"},
    {"retrieve", "/about/nothing", 404, "path '/about/nothing' not found"},
    {"update", "/about/versions", 400, "command 'update' not supported for path '/about/versions'"},
    {"delete", "/about", 400, "command 'delete' not supported for path '/about'"},
};

TEST_F(AboutHandlerTest, RespondsWithTheExpectedStatusAndPayload) {
    for (const StatusRow& row : ROWS) {
        SCOPED_TRACE(testing::PrintToString(row));
        const auto answer = test::ask(*service, Request(row.command, row.path));
        EXPECT_EQ(answer->code(), row.code);
        EXPECT_EQ(answer->error() + answer->text(), row.answer);
        EXPECT_EQ(answer->ends(), 1);
        EXPECT_TRUE(answer->released());
    }
}

TEST_F(AboutHandlerTest, RespondsInTheAcceptedMimeType) {
    for (char const* const path : {"/about", "/about/versions", "/about/request"}) {
        Request request("retrieve", path);
        request.setMimeType("application/vnd.axobin");
        const auto answer = test::ask(*service, request);
        EXPECT_EQ(answer->values().at(0).getPayload().getMimeType(), "application/vnd.axobin");
        request.setMimeType("plain/text");
        EXPECT_EQ(test::ask(*service, request)->code(), 400);
    }
}

TEST_F(AboutHandlerTest, DescribesTheRequestWithoutTheToken) {
    Request request("retrieve", "/about/request");
    kova::headers::appendTracingInfo(request, "/device", "me");
    request.add2header(kova::headers::AUTH_TOKEN, new util::config::ValueString("secret"));
    const auto answer = test::ask(*service, request);
    EXPECT_EQ(answer->text(), R"({"client":"me","service":"/device","token":"given"})");
    EXPECT_EQ(answer->values().at(0).getHeader().toJson(true),
              R"({"$client-id":"me","$request-command":"retrieve",)"
              R"("$request-path":"/about/request","$service-path":"/device"})");
}

TEST_F(AboutHandlerTest, NonTextTokenCountsAsMissing) {
    Request request("retrieve", "/about/request");
    request.add2header(kova::headers::AUTH_TOKEN, new util::config::ValueInt(5));
    EXPECT_EQ(test::ask(*service, request)->text(), R"({"client":"","service":"","token":"none"})");
}

}  // namespace
}  // namespace device
