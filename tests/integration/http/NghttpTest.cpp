// Tests an endpoint with HTTP/2 clients that are not part of kova: nghttp, h2load and curl.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "kova/http/Endpoint.h"
#include "support/HeldService.h"
#include "wire/Records.h"

namespace kova::http {
namespace {

/// Runs a command and returns its output.
std::string outputOf(const std::string& command) {
    std::FILE* const pipe = ::popen((command + " 2>&1").c_str(), "r");
    std::string output;
    std::array<char, 4096> bytes;
    for (std::size_t count = 0; (count = std::fread(bytes.data(), 1, bytes.size(), pipe)) > 0;) {
        output.append(bytes.data(), count);
    }
    ::pclose(pipe);
    return output;
}

class NghttpTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::system("command -v nghttp h2load >/dev/null") != 0) {
            GTEST_SKIP() << "nghttp2-client is not installed";
        }
        std::string record;
        wire::appendRequest(record, Request("retrieve", "/state")).orThrow();
        std::ofstream(body, std::ios::binary) << record;
        service.onRequest = [this](std::size_t number) {
            service.answer(number, Response(200, Payload::createFromString("an answer")));
        };
    }
    void TearDown() override { std::remove(body.c_str()); }
    std::string url(const std::string& path) const {
        return "http://" + endpoint.address().substr(std::string("tcp:").size()) + path;
    }

    kova::test::HeldService service;
    const Endpoint endpoint{service, "tcp:127.0.0.1:0"};
    const std::string body = ::testing::TempDir() + "kova-nghttp-" + std::to_string(::getpid());
    const std::string type = " -H 'content-type: application/vnd.kova.events' ";
};

TEST_F(NghttpTest, RequestWithABodyOfRecordsIsAnswered) {
    const std::string output =
        outputOf("nghttp -v -H ':method: POST'" + type + "-d " + body + " " + url("/"));
    EXPECT_NE(output.find(":status: 200"), std::string::npos) << output;
    EXPECT_NE(output.find("an answer"), std::string::npos) << output;
    EXPECT_EQ(service.request(1).getPath(), "/state");
}

TEST_F(NghttpTest, GetIsAnsweredWith405) {
    const std::string output = outputOf("nghttp -v " + url("/"));
    EXPECT_NE(output.find(":status: 405"), std::string::npos) << output;
    EXPECT_NE(output.find("allow: POST"), std::string::npos) << output;
}

TEST_F(NghttpTest, ManyRequestsOnManyConnectionsSucceed) {
    const std::string output =
        outputOf("h2load -n 2000 -c 10 -m 20" + type + "-d " + body + " " + url("/"));
    EXPECT_NE(output.find("2000 succeeded, 0 failed"), std::string::npos) << output;
    EXPECT_NE(output.find("status codes: 2000 2xx"), std::string::npos) << output;
}

struct CurlRow {
    char const* arguments;
    char const* output;
};

// No row has a body: curl 7.88 drops an answer if the server resets the stream with NO_ERROR before
// the whole body was sent. RFC 9113, section 8.1, allows the server to do so, and tells the client
// to keep the answer.
class CurlOverHttp2 : public NghttpTest, public ::testing::WithParamInterface<CurlRow> {};

TEST_P(CurlOverHttp2, IsAnsweredWithTheProtocolAndMethodToUse) {
    const std::string output = outputOf(std::string("curl -s --http2-prior-knowledge ") +
                                        "-w '%{http_version} %{http_code} %header{allow}' " +
                                        GetParam().arguments + " " + url("/state"));
    EXPECT_EQ(output, GetParam().output);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CurlOverHttp2,
    ::testing::Values(
        CurlRow{"",
                "over HTTP/2 the method is POST, with a request in records; use HTTP/1.1 for "
                "other requests\n2 405 POST"},
        CurlRow{"-I -o /dev/null", "2 405 POST"},
        CurlRow{"-X POST -H 'content-type: application/json'",
                "the content type of a request in records is application/vnd.kova.events\n2 415 "},
        CurlRow{"-X POST -H 'content-type: application/vnd.kova.events'",
                "no service has this path\n2 404 "}));

// Without prior knowledge, a client that offers an upgrade gets the answer of HTTP/1.1.
TEST_F(NghttpTest, OfferedUpgradeIsAnsweredOverHttp11) {
    EXPECT_EQ(outputOf("curl -s --http2 -w ' %{http_version} %{http_code}' " + url("/state")),
              "an answer 1.1 200");
}

}  // namespace
}  // namespace kova::http
