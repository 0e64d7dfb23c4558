#include "nats/server/Discovery.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace kova::nats::detail {
namespace {

using namespace std::chrono_literals;

constexpr Discovery::Clock::time_point START{1'700'000'000s};

ServerOptions device() {
    ServerOptions options;
    options.servicePath = "/device";
    options.instance = "car-17";
    options.version = "1.2.3";
    options.description = "a car";
    return options;
}

Discovery make(const ServerOptions& options = device()) {
    return Discovery::make(options, "ID", {"kova.device.@q", "kova.device.car-17.@q"}, START)
        .orThrow();
}

TEST(DiscoveryTest, SubjectsHaveAnyVerbAndTheNamesOfTheServer) {
    EXPECT_EQ(make().subjects(),
              (std::vector<std::string>{"$SRV.*", "$SRV.*.device", "$SRV.*.device.ID"}));
}

TEST(DiscoveryTest, PingIsAnsweredWithTheIdentity) {
    const std::string expected = R"({"type":"io.nats.micro.v1.ping_response","name":"device",)"
                                 R"("id":"ID","version":"1.2.3",)"
                                 R"("metadata":{"instance":"car-17","service_path":"/device"}})";
    for (char const* const subject : {"$SRV.PING", "$SRV.PING.device", "$SRV.PING.device.ID"}) {
        EXPECT_EQ(make().answer(subject), expected) << subject;
    }
}

TEST(DiscoveryTest, InfoListsTheEndpoints) {
    EXPECT_EQ(make().answer("$SRV.INFO"),
              R"({"type":"io.nats.micro.v1.info_response","name":"device","id":"ID",)"
              R"("version":"1.2.3","metadata":{"instance":"car-17","service_path":"/device"},)"
              R"("description":"a car","endpoints":[{"name":"any","subject":"kova.device.@q",)"
              R"("queue_group":"q","metadata":{}},{"name":"instance",)"
              R"("subject":"kova.device.car-17.@q","queue_group":"q","metadata":{}}]})");
}

TEST(DiscoveryTest, ServerWithoutAnInstanceHasOneEndpoint) {
    ServerOptions options = device();
    options.instance = "";
    const Discovery discovery =
        Discovery::make(options, "ID", {"kova.device.@q", ""}, START).orThrow();
    EXPECT_EQ(discovery.answer("$SRV.INFO"),
              R"({"type":"io.nats.micro.v1.info_response","name":"device","id":"ID",)"
              R"("version":"1.2.3","metadata":{"service_path":"/device"},"description":"a car",)"
              R"("endpoints":[{"name":"any","subject":"kova.device.@q","queue_group":"q",)"
              R"("metadata":{}}]})");
}

TEST(DiscoveryTest, StatsCountRequestsErrorsAndTimesOfEachEndpoint) {
    Discovery discovery = make();
    for (int i = 0; i < 3; ++i) {
        discovery.countRequest(Discovery::ANY);
    }
    discovery.countAnswer(Discovery::ANY, 100ns);
    discovery.countAnswer(Discovery::ANY, 301ns);
    discovery.countError(Discovery::ANY, {404, "first"});
    discovery.countError(Discovery::ANY, {409, "second"});
    EXPECT_EQ(discovery.answer("$SRV.STATS.device"),
              R"({"type":"io.nats.micro.v1.stats_response","name":"device","id":"ID",)"
              R"("version":"1.2.3","metadata":{"instance":"car-17","service_path":"/device"},)"
              R"("started":"2023-11-14T22:13:20.000Z","endpoints":[{"name":"any",)"
              R"("subject":"kova.device.@q","queue_group":"q","num_requests":3,"num_errors":2,)"
              R"("last_error":"409 Conflict: second","processing_time":401,)"
              R"("average_processing_time":200},{"name":"instance",)"
              R"("subject":"kova.device.car-17.@q","queue_group":"q","num_requests":0,)"
              R"("num_errors":0,"last_error":"","processing_time":0,)"
              R"("average_processing_time":0}]})");
}

TEST(DiscoveryTest, OtherVerbsAreNotAnswered) {
    for (char const* const subject : {"$SRV.SCHEMA", "$SRV.ping", "$SRV.", "$SRV", ""}) {
        EXPECT_EQ(make().answer(subject), std::nullopt) << subject;
    }
}

TEST(DiscoveryTest, NameIsMadeOfTheServicePath) {
    for (const auto& [path, name] : std::vector<std::pair<std::string, std::string>>{
             {"/", "kova"}, {"/a/b", "a_b"}, {"/a.b c/", "a_b_c"}, {"/\xC3\xA4", "kova"}}) {
        ServerOptions options;
        options.servicePath = path;
        EXPECT_EQ(make(options).subjects().at(1), "$SRV.*." + name) << path;
    }
}

TEST(DiscoveryTest, NameWithOtherCharactersIsRefused) {
    ServerOptions options;
    options.name = "my-service_1";
    EXPECT_TRUE(Discovery::make(options, "ID", {"s", ""}));
    for (char const* const name : {"a.b", "a b", "*", ">", "\xC3\xA4"}) {
        options.name = name;
        const auto made = Discovery::make(options, "ID", {"s", ""});
        ASSERT_FALSE(made) << name;
        EXPECT_EQ(made.error().code, 400);
    }
}

TEST(DiscoveryTest, OnlySemanticVersionsAreAccepted) {
    ServerOptions options;
    for (char const* const version :
         {"0.0.0", "1.2.3", "10.20.30", "1.0.0-rc.1", "1.0.0+build-5", "1.0.0-rc.1+b"}) {
        options.version = version;
        EXPECT_TRUE(Discovery::make(options, "ID", {"s", ""})) << version;
    }
    for (char const* const version : {"", "1", "1.2", "1.2.", "1.2.3.4", "01.2.3", "1.2.3-",
                                      "1.2.3+", "v1.2.3", "1.2.3-a_b", "1.2.3 ", "-1.2.3"}) {
        options.version = version;
        EXPECT_FALSE(Discovery::make(options, "ID", {"s", ""})) << version;
    }
}

}  // namespace
}  // namespace kova::nats::detail
