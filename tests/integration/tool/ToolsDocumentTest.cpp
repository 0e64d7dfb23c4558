// Runs the command in each row of docs/tools.md and compares its output with the row.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <memory>
#include <regex>
#include <string>

#include "kova/http/Endpoint.h"
#include "kova/kit/Inspection.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "support/Documents.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

// The service that the document describes, at a socket and in a directory of services.
class ToolsDocumentTest : public testing::Test {
protected:
    ToolsDocumentTest() {
        level.onWrite([](const int&) { return kit::Result<void>(); });
        name.onWrite([](const std::string&) { return kit::Result<void>(); });
        greeting.on(kit::command::retrieve, "{name}", [](const kit::Ask&, const std::string& whom) {
            return "Hello, " + whom + "!";
        });
        tracks.on(kit::command::insert, "", [](const kit::Ask&, const std::string&) {
            return kit::created(std::string("/tracks/1"));
        });
        tracks.on(kit::command::remove, "{id:uint}", [](const kit::Ask&, unsigned) {});
        kit::InspectionOptions options;
        options.metrics = [] { return std::string("# TYPE tracks gauge\ntracks 1\n"); };
        kit::ServiceBuilder builder;
        builder.name("player").version("1.2.0").mount("/level", level).mount("/name", name);
        builder.mount("/greeting", greeting).mount("/tracks", tracks);
        service = builder.inspect(options).build();
        EXPECT_EQ(::mkdir((folder / "run").c_str(), 0700), 0);
        const std::string path = std::string(KOVA_TOOL_FOLDER ":") + std::getenv("PATH");
        ::setenv("PATH", path.c_str(), 1);
        ::setenv("KOVA_RUNTIME_DIR", (folder / "run").c_str(), 1);
        registered = std::make_unique<http::Endpoint>(*service, "kova:/player");
        endpoint = std::make_unique<http::Endpoint>(*service, "unix:" + folder / "player.sock");
    }
    ~ToolsDocumentTest() override { ::unsetenv("KOVA_RUNTIME_DIR"); }

    // Returns the output of a command in one line.
    std::string outputOf(const std::string& command) const {
        return inOneLine(test::outputOf("cd " + folder.path() + "; { " + command + "; }"));
    }

    Watchdog watchdog{"the commands of the document run"};
    TemporaryFolder folder;
    kit::Observable<int> level{30};
    kit::Observable<std::string> name{"red"};
    kit::Resource greeting;
    kit::Resource tracks;
    std::unique_ptr<kit::Service> service;
    std::unique_ptr<http::Endpoint> registered;
    std::unique_ptr<http::Endpoint> endpoint;
};

TEST_F(ToolsDocumentTest, CommandsPrintWhatTheDocumentSays) {
    const std::string document = test::read("docs/tools.md");
    std::size_t rows = 0;
    for (char const* const heading :
         {"## Which service", "## Read and change", "## Watch", "## See what a service is and does",
          "## Measure", "## Monitor, record and compare", "## Serve a document",
          "## Convert payloads", "## In a shell"}) {
        for (const auto& row : rowsOf(document, heading)) {
            ASSERT_EQ(row.size(), 3U) << row[0];
            watchdog.enter(row[1]);
            std::string output = outputOf(codeOf(row[1]));
            // On a busy machine, a command with a time limit may print nothing: it runs again.
            while (output.empty() && !codeOf(row[2]).empty()) {
                output = outputOf(codeOf(row[1]));
            }
            EXPECT_EQ(output, codeOf(row[2])) << row[1];
            ++rows;
        }
    }
    EXPECT_EQ(rows, 39U);
}

}  // namespace
}  // namespace kova::test
