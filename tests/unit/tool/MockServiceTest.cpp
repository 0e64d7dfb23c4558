#include "MockService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kova/core/headers.h"
#include "kova/kit/Client.h"
#include "kova/kit/Describe.h"
#include "kova/kit/Peer.h"
#include "kova/testing/Recording.h"
#include "support/Watchdog.h"
#include "tool/JsonTree.h"
#include "util/config/Scalars.h"

namespace kova::tool {
namespace {

using test::openApi;
using test::operation;
using test::quoted;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Strings = std::vector<std::string>;

constexpr char const* VOLUME =
    "{'properties': {'level': {'type': 'integer', 'maximum': 100}, 'mode': {'enum': ['on', "
    "'off']}}, "
    "'required': ['level']}";

class MockServiceTest : public ::testing::Test {
protected:
    Strings send(const Request& request) {
        const auto recording = kova::testing::record();
        service.actionRequest(request, recording.handler());
        return recording.events();
    }
    // Sends a request, and returns its events.
    Strings send(const std::string& command, const std::string& path, const std::string& body = "",
                 const std::string& accept = mimetypes::JSON_TYPE) {
        Request request(command, path,
                        body.empty() ? Payload() : Payload::createFromJSON(quoted(body)));
        request.add2header(headers::ACCEPT, new util::config::ValueString(accept));
        return send(request);
    }

    test::Watchdog watchdog{"a mock serves"};
    const std::string text = openApi(
        "{'/volume': {'get': " + operation("", VOLUME, "2XX", true) +
        ", 'put': " + operation(VOLUME, "", "2XX") +
        "}, '/tracks': {'get': " + operation("", "{'items': {'type': 'string'}}") + ", 'post': " +
        operation("{'type': 'string'}", "{'type': 'string', 'minLength': 2}", "201") +
        "}, '/tracks/{id}': {'parameters': [{'in': 'path', 'name': 'id', 'schema': {'type': "
        "'integer'}}], 'get': " +
        operation("", "{'type': 'string'}") + ", 'delete': " + operation("", "", "202") +
        "}, '/rooms/{name}': {'get': " + operation("", "{'type': 'null'}", "2XX", true) +
        ", 'put': " + operation("{}", "{'type': 'integer'}", "200") + ", 'delete': " +
        operation("", "") + "}, '/rooms/all': {'get': " + operation("", "{'const': 'all'}") +
        "}, '/sum': {'get': " + operation("{'type': 'integer'}", "{'type': 'integer'}") +
        "}, '/ping': {'get': " + operation("", "") + ", 'put': {'responses': {'204': {}}}}}");
    MockService service{MockDocument::parse(text).orThrow()};
};

TEST_F(MockServiceTest, AnswersAreThoseOfTheDocument) {
    struct Row {
        char const* command;
        char const* path;
        char const* body;
        Strings events;
    };
    for (const Row& row : {
             Row{"retrieve", "/volume", "", {"value 200 {'level':0}", "completed"}},
             {"update", "/volume", "{'level': 55}", {"completed"}},
             {"retrieve", "/volume", "", {"value 200 {'level':55}", "completed"}},
             {"update",
              "/volume",
              "{'level': 'loud'}",
              {"error 400 level: expected an integer, found 'loud'"}},
             {"update",
              "/volume",
              "{'level': 101}",
              {"error 400 level: expected a number up to 100, found 101"}},
             {"update", "/volume", "{}", {"error 400 level: expected a value, found nothing"}},
             {"update", "/volume", "", {"error 400 expected a body, found nothing"}},
             {"retrieve", "/volume", "", {"value 200 {'level':55}", "completed"}},
             {"retrieve", "/tracks", "", {"value 200 []", "completed"}},
             {"insert", "/tracks", "'blue'", {"value 201 'blue'", "completed"}},
             {"insert", "/tracks", "'a'", {"value 201 'aa'", "completed"}},
             {"retrieve", "/tracks", "", {"value 200 ['blue','a']", "completed"}},
             {"retrieve", "/tracks/1", "", {"value 200 'a'", "completed"}},
             {"delete", "/tracks/0", "", {"value 202", "completed"}},
             {"retrieve", "/tracks", "", {"value 200 ['a']", "completed"}},
             {"delete", "/tracks/1", "", {"error 404 path '/tracks/1' not found"}},
             {"retrieve", "/tracks/x", "", {"error 404 path '/tracks/x' not found"}},
             {"retrieve", "/nowhere", "", {"error 404 path '/nowhere' not found"}},
             {"retrieve", "/rooms/hall", "", {"value 200 null", "completed"}},
             {"update", "/rooms/hall", "5", {"value 200 5", "completed"}},
             {"update", "/rooms/kitchen", "'a'", {"value 200 0", "completed"}},
             {"retrieve", "/rooms/hall", "", {"value 200 5", "completed"}},
             {"retrieve", "/rooms/kitchen", "", {"value 200 'a'", "completed"}},
             {"delete", "/rooms/hall", "", {"completed"}},
             {"retrieve", "/rooms/hall", "", {"error 404 path '/rooms/hall' not found"}},
             {"retrieve", "/rooms/all", "", {"value 200 'all'", "completed"}},
             {"delete", "/rooms/all", "", {"completed"}},
             {"insert",
              "/rooms/all",
              "1",
              {"error 400 command 'insert' not supported for path '/rooms/all'; supported: "
               "retrieve, "
               "delete, retrieve, update"}},
             {"update",
              "/tracks",
              "1",
              {"error 400 command 'update' not supported for path '/tracks'; supported: insert, "
               "retrieve"}},
             {"retrieve", "/sum", "1", {"value 200 0", "completed"}},
             {"retrieve", "/sum", "'a'", {"error 400 expected an integer, found 'a'"}},
             {"retrieve", "/sum", "", {"error 400 expected a body, found nothing"}},
             {"retrieve", "/ping", "", {"completed"}},
             {"update", "/ping", "", {"completed"}},
             {"update", "/ping", "1", {"completed"}},
         }) {
        Strings events = row.events;
        for (std::string& event : events) {
            const bool isText = event.find("path '") != std::string::npos;
            event = isText ? event : quoted(event);
        }
        EXPECT_EQ(send(row.command, row.path, row.body), events)
            << row.command << ' ' << row.path << ' ' << row.body;
    }
}

TEST_F(MockServiceTest, FormatsAreJsonAndBinary) {
    Request request(
        "update", "/volume",
        kit::toPayload(test::treeOf("{'level': 7, 'mode': 'off'}"), mimetypes::AXOBIN_TYPE)
            .orThrow());
    EXPECT_THAT(send(request), ElementsAre("completed"));
    EXPECT_THAT(send("retrieve", "/volume"),
                ElementsAre(quoted("value 200 {'level':7,'mode':'off'}"), "completed"));
    kit::ClientOptions options;
    options.accept = mimetypes::AXOBIN_TYPE;
    kit::Client client(service, options);
    EXPECT_EQ(client.retrieve<Payload>("/volume").get().orThrow().getMimeType(),
              mimetypes::AXOBIN_TYPE);
    EXPECT_THAT(send("retrieve", "/volume", "", "text/plain"),
                ElementsAre("error 400 the format 'text/plain' is not supported"));
}

TEST_F(MockServiceTest, BodyThatIsNotReadableIsRefused) {
    EXPECT_THAT(send("update", "/volume", "{").at(0), StartsWith("error 400 "));
    const Payload infinite =
        kit::toPayload(std::numeric_limits<double>::infinity(), mimetypes::AXOBIN_TYPE).orThrow();
    EXPECT_THAT(send(Request("update", "/rooms/hall", infinite)).at(0),
                StartsWith("error 400 expected a finite number"));
}

TEST_F(MockServiceTest, StreamHasTheCurrentValueAndEachChange) {
    for (char const* const path : {"/volume", "/rooms/hall"}) {
        const auto recording = kova::testing::record();
        Request request("retrieve", path);
        headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
        void* const handle = service.actionRequest(request, recording.handler());
        EXPECT_THAT(recording.waitFor(1).at(0), StartsWith("value 299 "));
        EXPECT_EQ(send("update", path, "{'level': 3}").back(), "completed");
        EXPECT_EQ(recording.waitFor(2).at(1), quoted("value 299 {'level':3}"));
        service.repeat();
        EXPECT_EQ(recording.waitFor(3).at(2), quoted("value 299 {'level':3}"));
        service.cancelRequest(handle);
        EXPECT_TRUE(recording.waitUntilDestroyed());
    }
}

TEST_F(MockServiceTest, StreamEndsWhenItsValueIsDeleted) {
    Request request("retrieve", "/rooms/hall");
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    const auto recording = kova::testing::record();
    service.actionRequest(request, recording.handler());
    recording.waitFor(1);
    EXPECT_THAT(send("delete", "/rooms/hall"), ElementsAre("completed"));
    EXPECT_EQ(recording.waitFor(2).at(1), "error 503 the resource is closed");
    EXPECT_THAT(send(request), ElementsAre("error 404 path '/rooms/hall' not found"));
}

TEST_F(MockServiceTest, InspectionShowsTheDocument) {
    EXPECT_THAT(send("retrieve", "/.kova/openapi"), ElementsAre("value 200 " + text, "completed"));
    EXPECT_THAT(send("retrieve", "/.kova/resources").at(0),
                HasSubstr(quoted("'command':'delete','path':'tracks/{id:int}'")));
    EXPECT_THAT(send("retrieve", "/.kova/version").at(0),
                HasSubstr(quoted("'name':'player','version':'1.2.0'")));
    EXPECT_THAT(send("retrieve", "/.kova/openapi", "", mimetypes::AXOBIN_TYPE).at(0),
                StartsWith("value 200 "));
    EXPECT_THAT(send("retrieve", "/.kova/openapi", "", "text/plain").at(0),
                StartsWith("error 400 "));
    EXPECT_THAT(send("delete", "/.kova/openapi").at(0), StartsWith("error 400 "));
}

TEST_F(MockServiceTest, InspectionIsForTheOwnUserAndRoot) {
    const kit::Peer root{0, 0, 1, "unix:"};
    const kit::Peer other{54321, 54321, 1, "unix:"};
    {
        const kit::PeerScope scope(other);
        EXPECT_THAT(send("retrieve", "/.kova/openapi").at(0), StartsWith("error 403 "));
    }
    const kit::PeerScope scope(root);
    EXPECT_THAT(send("retrieve", "/.kova/openapi").at(0), StartsWith("value 200 "));
}

TEST_F(MockServiceTest, StoppedServiceRefusesRequests) {
    EXPECT_TRUE(service.stop(std::chrono::seconds(30)).empty());
    EXPECT_THAT(send("retrieve", "/volume").at(0), StartsWith("error 503 "));
}

}  // namespace
}  // namespace kova::tool
