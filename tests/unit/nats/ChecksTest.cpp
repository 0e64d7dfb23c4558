#include "nats/Checks.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace kova::nats::detail {
namespace {

using namespace std::chrono_literals;
using Change = std::function<void(BrokerOptions&)>;

constexpr char const* TWO_LOGINS =
    "400 more than one login: at most one of the URL, user, token, nkey and credentialsFile";

std::string refusalOf(const Change& change, const std::string& url = "nats://a") {
    BrokerOptions options;
    change(options);
    const kit::Result<void> result = check(options, Urls::parse(url).orThrow());
    return result ? "" : std::to_string(result.error().code) + " " + result.error().message;
}

TEST(ChecksTest, OptionsInTheirRangesAreAccepted) {
    const Change changes[] = {
        [](BrokerOptions&) {},
        [](BrokerOptions& options) { options.heartbeat = 100ms; },
        [](BrokerOptions& options) { options.heartbeat = 1h; },
        [](BrokerOptions& options) { options.connectLimit = 1ms; },
        [](BrokerOptions& options) { options.user = "u"; },
        [](BrokerOptions& options) { options.user = options.password = "u"; },
        [](BrokerOptions& options) { options.credentialsFile = "c"; },
        [](BrokerOptions& options) { options.token = "t"; },
        [](BrokerOptions& options) {
            options.nkey = "U";
            options.nkeySeedFile = "seed";
        },
        [](BrokerOptions& options) {
            options.certificateFile = "c";
            options.keyFile = "k";
        },
    };
    for (const Change& change : changes) {
        EXPECT_EQ(refusalOf(change), "");
    }
    EXPECT_EQ(refusalOf([](BrokerOptions&) {}, "nats://u:p@a"), "");
}

TEST(ChecksTest, OptionsBeyondTheirRangesAreRefused) {
    EXPECT_EQ(refusalOf([](BrokerOptions& options) { options.heartbeat = 99ms; }),
              "400 a heartbeat of 99 ms, not 100 to 3600000");
    EXPECT_EQ(refusalOf([](BrokerOptions& options) { options.heartbeat = 1h + 1ms; }),
              "400 a heartbeat of 3600001 ms, not 100 to 3600000");
    EXPECT_EQ(refusalOf([](BrokerOptions& options) { options.connectLimit = 0ms; }),
              "400 connectLimit is less than 1 ms");
    EXPECT_EQ(refusalOf([](BrokerOptions& options) { options.prefix = "a b"; }).substr(0, 18),
              "400 prefix 'a b': ");
    EXPECT_EQ(refusalOf([](BrokerOptions& options) { options.inboxPrefix = ""; }).substr(0, 15),
              "400 prefix '': ");
}

TEST(ChecksTest, SecondLoginIsRefused) {
    using Login = std::string BrokerOptions::*;
    const Login logins[] = {&BrokerOptions::user, &BrokerOptions::token, &BrokerOptions::nkey,
                            &BrokerOptions::credentialsFile};
    for (const Login& first : logins) {
        for (const Login& second : logins) {
            if (first != second) {
                EXPECT_EQ(refusalOf([&](BrokerOptions& options) {
                              options.*first = options.*second = "x";
                          }),
                          TWO_LOGINS);
            }
        }
        EXPECT_EQ(refusalOf([&](BrokerOptions& options) { options.*first = "x"; }, "nats://t@a"),
                  TWO_LOGINS);
    }
}

TEST(ChecksTest, ContradictingOptionsAreRefused) {
    EXPECT_EQ(refusalOf([](BrokerOptions& options) { options.password = "p"; }),
              "400 password needs user");
    EXPECT_EQ(refusalOf([](BrokerOptions& options) { options.nkey = "U"; }),
              "400 nkey and nkeySeedFile need each other");
    EXPECT_EQ(refusalOf([](BrokerOptions& options) { options.keyFile = "k"; }),
              "400 certificateFile and keyFile need each other");
}

}  // namespace
}  // namespace kova::nats::detail
