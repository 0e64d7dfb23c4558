// Tests a console with a quiet journal.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "Console.h"
#include "ConsoleFixture.h"
#include "kova/core/MimeTypes.h"

namespace device {
namespace {

using kova::Payload;
using kova::Response;

class QuietConsoleTest : public test::ConsoleFixture {
protected:
    QuietConsoleTest() {
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
    Journal quietJournal{payloads, &errors};
    Console quietConsole{*quietService, "/device", quietJournal, [] { return true; }};
};

TEST_F(QuietConsoleTest, PrintsOnlyThePayloadOfAResponse) {
    answer = Response(200, Payload::createFromJSON("{\"a\": 1}"));
    execute("retrieve /r");
    EXPECT_EQ(payloads.str(), "{\"a\": 1}\n");
    answer = Response(204);
    execute("retrieve /r");
    EXPECT_EQ(payloads.str(), "");
    EXPECT_EQ(errors.str(), "");
}

TEST_F(QuietConsoleTest, PrintsTheListOfResourcesAsOneArray) {
    execute("list");
    EXPECT_EQ(payloads.str(), "[\"kova:/device$/r\"]\n");
}

TEST_F(QuietConsoleTest, ReportsAnUnreadablePayload) {
    unsigned char const byte = 0xff;
    answer = Response(200, Payload::createFromRaw(&byte, 1, kova::mimetypes::AXOBIN_TYPE));
    execute("retrieve /r");
    EXPECT_EQ(payloads.str(), "");
    EXPECT_EQ(errors.str(), "the payload cannot be read\n");
    EXPECT_EQ(quietJournal.exitStatus(), exitstatus::FAILED);
}

TEST_F(QuietConsoleTest, WritesErrorsToTheErrorStream) {
    for (char const* const line : {"wait", "cancel", "shutdown", "retrieve /r", "connect"}) {
        execute(line);
        EXPECT_EQ(payloads.str(), "") << line;
        EXPECT_EQ(errors.str().empty(), std::string(line) == "shutdown") << line;
    }
    EXPECT_FALSE(quietConsole.connect("1.0.0"));
    EXPECT_EQ(payloads.str(), "");
}

}  // namespace
}  // namespace device
