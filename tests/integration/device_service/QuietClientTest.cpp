// Tests a client with a quiet display.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "Client.h"
#include "ClientFixture.h"
#include "Console.h"
#include "kova/core/MimeTypes.h"

namespace device {
namespace {

using kova::Payload;
using kova::Response;

class QuietClientTest : public test::ClientFixture {
protected:
    QuietClientTest() {
        quietResource.onRequest = [this](kova::IResponseHandler<Response>& handler) {
            handler.onNext(answer);
            handler.onCompleted();
        };
    }
    void execute(const std::string& line) {
        payloads.str("");
        errors.str("");
        quietConsole.execute(line);
    }

    Response answer{200};
    std::ostringstream payloads;
    std::ostringstream errors;
    kova::test::Mounts quietMounts{{"/r"}};
    kova::test::ScriptedResource& quietResource = quietMounts["/r"];
    const std::unique_ptr<kova::kit::Service> quietService = test::serviceOf(quietMounts);
    Client quietClient{*quietService, "/device", [] { return true; }, Display(payloads, errors)};
    Console quietConsole{quietClient};
};

TEST_F(QuietClientTest, PrintsOnlyThePayloadOfAResponse) {
    answer = Response(200, Payload::createFromJSON("{\"a\": 1}"));
    execute("retrieve /r");
    EXPECT_EQ(payloads.str(), "{\"a\": 1}\n");
    answer = Response(204);
    execute("retrieve /r");
    EXPECT_EQ(payloads.str(), "");
    EXPECT_EQ(errors.str(), "");
}

TEST_F(QuietClientTest, PrintsTheListOfResourcesAsOneArray) {
    execute("list");
    EXPECT_EQ(payloads.str(), "[\"kova:/device$/r\"]\n");
}

TEST_F(QuietClientTest, ReportsAnUnreadablePayload) {
    unsigned char const byte = 0xff;
    answer = Response(200, Payload::createFromRaw(&byte, 1, kova::mimetypes::AXOBIN_TYPE));
    execute("retrieve /r");
    EXPECT_EQ(payloads.str(), "");
    EXPECT_EQ(errors.str(), "the payload cannot be read\n");
    EXPECT_EQ(quietClient.exitStatus(), exitstatus::FAILED);
}

TEST_F(QuietClientTest, WritesErrorsToTheErrorStream) {
    for (char const* const line : {"wait", "cancel", "shutdown", "retrieve /r", "connect"}) {
        execute(line);
        EXPECT_EQ(payloads.str(), "") << line;
        EXPECT_EQ(errors.str().empty(), std::string(line) == "shutdown") << line;
    }
    EXPECT_FALSE(quietClient.connect("1.0.0"));
    EXPECT_EQ(payloads.str(), "");
}

}  // namespace
}  // namespace device
