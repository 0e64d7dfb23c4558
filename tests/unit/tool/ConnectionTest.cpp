#include "Connection.h"

#include <gmock/gmock.h>

#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;

class ConnectionTest : public ToolFixture {
protected:
    static kit::Result<std::unique_ptr<IKovaApi>> connect(const std::string& text,
                                                          const BrokerAccess& access = {}) {
        return connectTo(Target::ofService(text).orThrow(), access, {});
    }
};

TEST_F(ConnectionTest, ServiceAtASocketAnswers) {
    const auto connected = connect(address).orThrow();
    EXPECT_EQ(kit::Client(*connected).retrieve<int>("/level").get().orThrow(), 30);
}

TEST_F(ConnectionTest, LongestValueIsALimit) {
    const std::string name(1000, 'a');
    for (const std::size_t longest : {std::size_t{100}, std::size_t{10'000}}) {
        const auto connected =
            connectTo(Target::ofService(address).orThrow(), {}, {std::chrono::seconds(1), longest})
                .orThrow();
        const auto answer =
            kit::Client(*connected).retrieve<std::string>("/greeting/" + name).get();
        EXPECT_EQ(answer.ok(), longest > 1000);
    }
}

#ifdef KOVA_TOOL_NATS
TEST_F(ConnectionTest, MalformedAddressOfABrokerIsRefused) {
    for (char const* text :
         {"nats://ho st", "nats://host:0", "nats://host:port", "nats://a,,b", "tls://[::1"}) {
        const auto connected = connect(text);
        ASSERT_FALSE(connected.ok()) << text;
        EXPECT_EQ(connected.error().code, 400) << text;
        EXPECT_THAT(connected.error().message, HasSubstr("nats://HOST:PORT")) << text;
    }
}

TEST_F(ConnectionTest, AccessIsPassedToTheLibrary) {
    BrokerAccess access;
    access.prefix = "a..b";
    const auto connected = connect("nats://127.0.0.1", access);
    ASSERT_FALSE(connected.ok());
    EXPECT_THAT(connected.error().message, HasSubstr("prefix 'a..b'"));
    access = {"user", "password", "token", "nkey", "seed",   "creds",
              "ca",   "cert",     "key",   "x",    "_INBOX", std::chrono::seconds(3)};
    const nats::BrokerOptions options = brokerOptionsOf(access);
    EXPECT_EQ(options.user + ' ' + options.password + ' ' + options.token, "user password token");
    EXPECT_EQ(options.nkey + ' ' + options.nkeySeedFile, "nkey seed");
    EXPECT_EQ(options.credentialsFile, "creds");
    EXPECT_EQ(options.caFile + ' ' + options.certificateFile + ' ' + options.keyFile,
              "ca cert key");
    EXPECT_EQ(options.prefix + ' ' + options.inboxPrefix, "x _INBOX");
    EXPECT_EQ(options.heartbeat, std::chrono::seconds(3));
}
#else
TEST_F(ConnectionTest, ProgramWithoutTheLibraryRefusesBrokers) {
    const auto connected = connect("nats://127.0.0.1/device");
    ASSERT_FALSE(connected.ok());
    EXPECT_EQ(connected.error().code, 400);
    EXPECT_THAT(connected.error().message, HasSubstr("this kova was built without libkova_nats"));
}
#endif

}  // namespace
}  // namespace kova::tool
