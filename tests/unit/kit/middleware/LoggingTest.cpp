#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>

#include "kova/core/headers.h"
#include "kova/kit/Middleware.h"
#include "kova/testing/Recording.h"
#include "kova/testing/Traces.h"
#include "support/HeldService.h"
#include "tracing/Channel.h"
#include "util/config/Scalars.h"

namespace kova::kit {
namespace {

constexpr char const* TRACEPARENT = "00-4bf92f3577b34da6a3ce929d0e0e4736-00f067aa0ba902b7-01";

struct Logged {
    Logged() { chain.use(logging("LOGGING_TEST")); }

    /// Sends a request that is answered with `answer`, and returns the lines that were written.
    std::vector<testing::Traces::Trace> lines(const Request& request, const Response& answer) {
        testing::Traces traces("LOGGING_TEST", 2);
        auto recording = testing::record();
        chain.actionRequest(request, recording.handler());
        const auto handler = service.take(++sent);
        if (answer.isErrorResponse()) {
            handler->onError(answer);
        } else {
            handler->onNext(answer);
            handler->onCompleted();
        }
        return traces.take();
    }
    std::string line(const Request& request, const Response& answer = Response(200)) {
        const auto all = lines(request, answer);
        return all.size() == 1 ? all[0].text : "not one line";
    }

    std::size_t sent = 0;
    test::HeldService service;
    Chain chain{service};
};

TEST(Logging, WritesOneLineWhenTheRequestEnds) {
    Logged logged;
    Request request("retrieve", "/state");
    headers::appendTracingInfo(request, "/home", "hmi");
    request.add2header("traceparent", new util::config::ValueString(TRACEPARENT));
    const Peer peer{1000, 100, 4711, "unix:"};
    const PeerScope scope(peer);
    const auto lines = logged.lines(request, Response(201));
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, 2);
    const std::string text = std::regex_replace(lines[0].text, std::regex("ms=\\d+\\.\\d{3}"), "T");
    EXPECT_EQ(text,
              "client=\"hmi\" uid=1000 pid=4711 address=\"unix:\" command=\"retrieve\" "
              "path=\"/state\" code=201 T traceparent=\"" +
                  std::string(TRACEPARENT) + '"');
}

TEST(Logging, LocalRequestIsLoggedWithTheNumbersOfItsProcess) {
    Logged logged;
    const std::string text =
        logged.line({"update", "/state"}, Response::createErrorResponse(404, "no"));
    EXPECT_EQ(text.find("client=\"\" uid=" + std::to_string(::geteuid()) +
                        " pid=" + std::to_string(::getpid()) +
                        " address=\"\" command=\"update\" path=\"/state\" code=404 ms="),
              0U)
        << text;
    EXPECT_EQ(text.find("traceparent"), std::string::npos);
}

TEST(Logging, CancelledRequestIsLoggedWithoutACode) {
    Logged logged;
    testing::Traces traces("LOGGING_TEST", 2);
    auto recording = testing::record();
    logged.chain.cancelRequest(
        logged.chain.actionRequest({"retrieve", "/state"}, recording.handler()));
    const auto lines = traces.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines[0].text.find(" code=cancelled ms="), std::string::npos) << lines[0].text;
}

TEST(Logging, HostileTextsCannotForgeLogEntries) {
    const std::pair<std::string, std::string> rows[] = {
        {"/a\" code=200", "/a\\x22 code=200"},
        {"/a\nclient=\"x\"", "/a\\x0aclient=\\x22x\\x22"},
        {"/a\r\x1b[2J", "/a\\x0d\\x1b[2J"},
        {"/a\\x22", "/a\\x5cx22"},
        {std::string("/a\0b", 4), "/a\\x00b"},
        {"/\x7f\x80\xff\xc2\x85", "/\\x7f\\x80\\xff\\xc2\\x85"},
        {"/100%s%n", "/100%s%n"},
        {std::string(256, 'a'), std::string(256, 'a')},
        {std::string(257, 'a'), std::string(256, 'a') + "..."},
    };
    Logged logged;
    for (const auto& [text, escaped] : rows) {
        Request request(text, text);
        headers::appendTracingInfo(request, "/home", text);
        request.add2header("traceparent", new util::config::ValueString(text));
        const std::string line = logged.line(request);
        for (char const* const name : {"client", " command", " path", " traceparent"}) {
            EXPECT_NE(line.find(name + ("=\"" + escaped + '"')), std::string::npos) << line;
        }
        EXPECT_EQ(line.find('\n'), std::string::npos);
    }
}

TEST(Logging, HeaderEntriesThatAreNotStringsAreIgnored) {
    Logged logged;
    Request request("retrieve", "/state");
    request.add2header("traceparent", new util::config::ValueInt(5));
    EXPECT_EQ(logged.line(request).find("traceparent"), std::string::npos);
}

TEST(Logging, RequestSentBeforeTheChannelIsOpenIsNotLogged) {
    Logged logged;
    auto recording = testing::record();
    logged.chain.actionRequest({"retrieve", "/state"}, recording.handler());
    testing::Traces traces("LOGGING_TEST", 2);
    logged.service.answer(1);
    EXPECT_EQ(traces.take().size(), 0U);
}

TEST(Logging, WritesToAChannelObject) {
    const ::tracing::Channel channel("LOGGING_TEST_OWN", 4, ::tracing::Channel::SHARED);
    test::HeldService service;
    Chain chain(service);
    chain.use(logging(channel, 3)).use(logging(channel, 5));
    testing::Traces traces("LOGGING_TEST_OWN", 4);
    auto recording = testing::record();
    chain.actionRequest({"retrieve", "/state"}, recording.handler());
    service.answer(1);
    const auto lines = traces.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, 5);
}

}  // namespace
}  // namespace kova::kit
