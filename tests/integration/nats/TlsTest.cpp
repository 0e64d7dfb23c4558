// Clients and servers at a broker that requires TLS and certificates of its clients.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "contract/service/Inbox.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"
#include "support/HeldService.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using namespace std::chrono_literals;

/// A broker whose certificate and whose clients' certificates the authority "ca" has signed.
class NatsTlsTest : public ::testing::Test {
protected:
    void SetUp() override {
        makeAuthority("ca");
        makeCertificate("broker", "ca", "IP:127.0.0.1");
        makeCertificate("client", "ca", "DNS:client");
        start("broker");
        options.caFile = folder / "ca.pem";
        options.certificateFile = folder / "client.pem";
        options.keyFile = folder / "client.key";
    }

    /// Starts a broker that has a certificate, and asks clients for theirs.
    void start(const std::string& certificate, const std::string& verify = "verify: true",
               const std::string& more = {}) {
        broker.emplace(more + "tls { cert_file: \"" + (folder / (certificate + ".pem")) +
                       "\", key_file: \"" + (folder / (certificate + ".key")) + "\", ca_file: \"" +
                       (folder / "ca.pem") + "\", " + verify + " }");
    }
    void makeAuthority(const std::string& name) const {
        openssl("-keyout " + folder / (name + ".key") + " -out " + folder / (name + ".pem") +
                " -subj /CN=" + name);
    }
    void makeCertificate(const std::string& name, const std::string& authority,
                         const std::string& host) const {
        openssl("-keyout " + folder / (name + ".key") + " -out " + folder / (name + ".pem") +
                " -subj /CN=" + name + " -addext basicConstraints=critical,CA:FALSE" +
                " -addext subjectAltName=" + host + " -CA " + folder / (authority + ".pem") +
                " -CAkey " + folder / (authority + ".key"));
    }
    static void openssl(const std::string& arguments) {
        const std::string command =
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 " +
            arguments + " 2>/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }

    kit::Result<void> serving() {
        nats::ServerOptions server;
        server.servicePath = "/device";
        server.broker = options;
        return nats::Server(service, broker->url(), server).waitUntilServing(2s);
    }

    Watchdog watchdog{"a broker with TLS is used"};
    const TemporaryFolder folder;
    HeldService service;
    std::optional<Broker> broker;
    nats::BrokerOptions options;
};

TEST_F(NatsTlsTest, ClientWithItsCertificateIsServed) {
    nats::ServerOptions serverOptions;
    serverOptions.servicePath = "/device";
    serverOptions.broker = options;
    const nats::Server server(service, broker->url(), serverOptions);
    server.waitUntilServing(30s).orThrow();
    nats::ConnectOptions clientOptions;
    clientOptions.broker = options;
    clientOptions.patience = 30s;
    const auto client = nats::connect(broker->url(), "/device", "", clientOptions).orThrow();
    service.onRequest = [this](std::size_t number) { service.answer(number); };
    const Inbox inbox;
    client->actionRequest(Request("retrieve", "/state"), inbox.handler());
    EXPECT_EQ(inbox.waitForLast().back(), "completed");
}

TEST_F(NatsTlsTest, ClientWithoutACertificateIsRefused) {
    options.certificateFile = options.keyFile = "";
    const kit::Result<void> result = serving();
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, 503);
    EXPECT_EQ(result.error().message.find("no connection to nats://"), 0U)
        << result.error().message;
}

TEST_F(NatsTlsTest, CertificateIsTheLogin) {
    start("broker", "verify_and_map: true",
          R"(authorization { users: [ { user: "CN=client" } ] }
)");
    EXPECT_TRUE(serving());
    makeCertificate("guest", "ca", "DNS:guest");
    options.certificateFile = folder / "guest.pem";
    options.keyFile = folder / "guest.key";
    const kit::Result<void> result = serving();
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, 401) << result.error().message;
}

TEST_F(NatsTlsTest, OtherCertificatesAreRefused) {
    makeAuthority("stranger");
    options.caFile = folder / "stranger.pem";
    EXPECT_FALSE(serving()) << "the broker's certificate has another authority";
    options.caFile = folder / "ca.pem";
    makeCertificate("other", "stranger", "DNS:client");
    options.certificateFile = folder / "other.pem";
    options.keyFile = folder / "other.key";
    EXPECT_FALSE(serving()) << "the client's certificate has another authority";
}

TEST_F(NatsTlsTest, BrokerWithTheNameOfAnotherHostIsRefused) {
    makeCertificate("elsewhere", "ca", "DNS:elsewhere");
    start("elsewhere");
    const kit::Result<void> result = serving();
    ASSERT_FALSE(result);
    EXPECT_NE(result.error().message.find("mismatch"), std::string::npos) << result.error().message;
}

TEST_F(NatsTlsTest, MissingFileIsReported) {
    options.caFile = folder / "missing.pem";
    const kit::Result<void> result = serving();
    ASSERT_FALSE(result);
    EXPECT_NE(result.error().message.find("no connection to nats://"), std::string::npos)
        << result.error().message;
}

}  // namespace
}  // namespace kova::test
