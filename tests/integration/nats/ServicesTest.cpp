// A server as a client of the services protocol sees it that is not kova's (foreign/services.js).
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <string>

#include "contract/service/Inbox.h"
#include "kova/kit/Result.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"
#include "support/HeldService.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using namespace std::chrono_literals;

/// Runs a command, and returns what it has printed and its exit status.
std::string outputOf(const std::string& command) {
    std::FILE* const program = ::popen(command.c_str(), "r");
    std::string output;
    std::array<char, 256> bytes{};
    for (std::size_t size = 0; (size = std::fread(bytes.data(), 1, bytes.size(), program)) > 0;) {
        output.append(bytes.data(), size);
    }
    return output + "status " + std::to_string(::pclose(program)) + "\n";
}

TEST(NatsServicesTest, ForeignClientFindsTheServerAndReadsItsFigures) {
    const Watchdog watchdog{"a foreign client asks", 120s};
    const Broker broker;
    HeldService service;
    service.onRequest = [&](std::size_t number) {
        if (number == 3) {
            service.take(number)->onError(kit::Error{404, "no such state"}.toResponse());
        } else {
            service.answer(number);
        }
    };
    nats::ServerOptions options;
    options.servicePath = "/device";
    options.instance = "car-17";
    options.isDiscoverable = true;
    options.version = "1.2.3";
    options.description = "a car";
    const nats::Server server(service, broker.url(), options);
    server.waitUntilServing(30s).orThrow();
    const auto client = nats::connect(broker.url(), "/device", "car-17").orThrow();
    for (int i = 0; i < 3; ++i) {
        const Inbox inbox;
        client->actionRequest(Request("retrieve", "/state"), inbox.handler());
        inbox.waitForLast();
    }
    EXPECT_EQ(outputOf("cd '" KOVA_FOREIGN "' && node services.js " + broker.url() +
                       " kova.device.@q 2>&1"),
              "refused 400 a message of 5 bytes, at least 10 expected\n"
              "io.nats.micro.v1.ping_response device 1.2.3 /device car-17\n"
              "a car\n"
              "any kova.device.@q q\n"
              "instance kova.device.car-17.@q q\n"
              "true\n"
              "1 1 400 Bad Request: a message of 5 bytes, at least 10 expected false false\n"
              "3 1 404 Not Found: no such state true true\n"
              "other 503\n"
              "status 0\n");
}

TEST(NatsServicesTest, ServerIsNotDiscoverableByDefault) {
    const Watchdog watchdog{"a foreign client asks", 120s};
    const Broker broker;
    HeldService service;
    nats::ServerOptions options;
    options.servicePath = "/device";
    const nats::Server server(service, broker.url(), options);
    server.waitUntilServing(30s).orThrow();
    const std::string output = outputOf("cd '" KOVA_FOREIGN "' && node services.js " +
                                        broker.url() + " kova.device.@q 2>&1");
    EXPECT_EQ(output.find("io.nats.micro"), std::string::npos) << output;
    EXPECT_EQ(output.find("refused 400"), 0U) << output;
}

}  // namespace
}  // namespace kova::test
