// The client program of nghttp2 against an endpoint.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "Records.h"
#include "kova/http/Endpoint.h"
#include "support/HeldService.h"

namespace kova::http {
namespace {

/// Runs a command and returns what it prints.
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
        detail::appendRequest(record, Request("retrieve", "/state")).orThrow();
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

TEST_F(NghttpTest, RequestInRecordsIsAnswered) {
    const std::string output =
        outputOf("nghttp -v -H ':method: POST'" + type + "-d " + body + " " + url("/"));
    EXPECT_NE(output.find(":status: 200"), std::string::npos) << output;
    EXPECT_NE(output.find("an answer"), std::string::npos) << output;
    EXPECT_EQ(service.request(1).getPath(), "/state");
}

TEST_F(NghttpTest, GetIsNotAllowed) {
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

}  // namespace
}  // namespace kova::http
