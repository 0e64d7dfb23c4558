#include "Words.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>

#include "MockDocument.h"
#include "tool/JsonTree.h"
#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using test::openApi;
using test::operation;
using testing::HasSubstr;
using testing::StartsWith;

class MockTest : public ToolFixture {
protected:
    MockTest() { test::writeFile(file, openApi("{'/a': {'get': " + operation("", "{}") + "}}")); }

    const std::string file = folder / "a.json";
    const std::string socket = "unix:" + folder / "mock";
};

TEST_F(MockTest, ServesUntilInterrupted) {
    interrupt();
    EXPECT_EQ(run({"mock", file, socket, "tcp:127.0.0.1:0"}), DONE);
    EXPECT_THAT(out, StartsWith(socket + "\ntcp:127.0.0.1:"));
    EXPECT_EQ(err, "serving; Ctrl-C ends it\n");
}

// Watches a stream of the mock, whose values are equal.
TEST_F(MockTest, RepeatSendsTheValueAgain) {
    test::writeFile(file, openApi("{'/a': {'get': " + operation("", "{}", "2XX", true) + "}}"));
    std::thread client([this] {
        std::unique_ptr<http::Endpoint> unused;
        std::ostringstream outStream;
        std::ostringstream errStream;
        Context context{{outStream}, {errStream}};
        int status = NO_SERVICE;
        while (status == NO_SERVICE) {
            status = runProgram({"watch", "--to", socket, "/a", "--count", "3"}, context);
        }
        EXPECT_EQ(status, DONE) << errStream.str();
        EXPECT_EQ(outStream.str(), "{}\n{}\n{}\n");
        interrupt();
    });
    EXPECT_EQ(run({"mock", file, socket, "--repeat", "1ms"}), DONE);
    client.join();
}

TEST_F(MockTest, OtherOperationsAreNamed) {
    test::writeFile(file,
                    openApi("{'/a': {'x-kova-operations': [{'command': 'play', 'path': '/a'}]}}"));
    interrupt();
    EXPECT_EQ(run({"mock", file, socket}), DONE);
    EXPECT_EQ(err, "not served: play /a\nserving; Ctrl-C ends it\n");
}

TEST_F(MockTest, DocumentCanBeStandardInput) {
    setInput(openApi("{}"));
    interrupt();
    EXPECT_EQ(run({"mock", "-", socket}), DONE);
}

TEST_F(MockTest, UnusableDocumentsAndAddressesAreUsageErrors) {
    test::writeFile(folder / "b.json", "{");
    test::writeFile(folder / "c.json", openApi("{'/a': {'patch': {}}}"));
    test::writeFile(folder / "d.json", std::string(MockDocument::MOST_BYTES + 1, ' '));
    struct Row {
        std::vector<std::string> words;
        std::string message;
    };
    for (const Row& row :
         {Row{{"mock"}, "FILE"},
          {{"mock", folder / "missing", socket}, "No such file"},
          {{"mock", folder / "b.json", socket}, "b.json: the document is not JSON: "},
          {{"mock", folder / "c.json", socket},
           "c.json: paths./a.patch: the member is not supported"},
          {{"mock", folder / "d.json", socket}, "d.json': File too large"},
          {{"mock", "/dev/zero", socket}, "/dev/zero': File too large"},
          {{"mock", file, "nowhere"}, "nowhere"},
          {{"mock", file, address}, "Address already in use"}}) {
        EXPECT_EQ(run(row.words), MISUSED) << row.message;
        EXPECT_THAT(err, HasSubstr(row.message));
        EXPECT_EQ(out, "");
    }
}

}  // namespace
}  // namespace kova::tool
