#include "server/Listening.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/HeldService.h"
#include "support/TemporaryFolder.h"

namespace kova::http::detail {
namespace {

using Services = std::map<std::string, IKovaApi*>;

class ListeningTest : public ::testing::Test {
protected:
    ListeningTest() { options.directory = folder / "k"; }

    /// Returns the paths of the services, and the address of the socket; or the error.
    std::string listenAt(const std::string& address, const std::vector<std::string>& paths) {
        Services services;
        for (const std::string& path : paths) {
            services[path] = &service;
        }
        try {
            const Listening listening = listen(services, address, options);
            std::string text;
            for (const auto& [path, served] : listening.services) {
                text += "'" + path + "' ";
                EXPECT_EQ(served, &service);
            }
            return text + listening.socket->address().toString();
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
    }

    kova::test::TemporaryFolder folder;
    kova::test::HeldService service;
    EndpointOptions options;
};

TEST_F(ListeningTest, AddressOfASocketLeavesTheServicesUnchanged) {
    const std::string address = "unix:" + folder / "s";
    EXPECT_EQ(listenAt(address, {""}), "'' " + address);
    EXPECT_EQ(listenAt(address, {"a b", "/c"}), "'/c' 'a b' " + address);
}

TEST_F(ListeningTest, RegisteredServiceHasThePathOfTheAddress) {
    EXPECT_EQ(listenAt("kova:/device", {""}), "'/device' unix:" + options.directory + "/device");
}

TEST_F(ListeningTest, RegisteredServicesKeepTheirPaths) {
    EXPECT_EQ(listenAt("kova:", {"/b", "/a"}), "'/a' '/b' unix:" + options.directory + "/a");
}

TEST_F(ListeningTest, MissingAndSurplusPathsAreRefused) {
    EXPECT_EQ(listenAt("kova:", {""}),
              "address 'kova:': a service path follows, as in 'kova:/device'");
    EXPECT_EQ(listenAt("kova:/a", {"/a"}),
              "address 'kova:/a': the services have paths already, so none follows");
    EXPECT_EQ(listenAt("kova:/a", {"", "/b"}),
              "address 'kova:/a': the services have paths already, so none follows");
    EXPECT_EQ(listenAt("unix:" + folder / "s", {}), "an endpoint needs a service");
}

TEST_F(ListeningTest, PathsThatCannotBeRegisteredAreRefused) {
    for (char const* const path : {"device", "/", "/a/", "//a", "/a$", "/a?b", "/a#b", "/[a"}) {
        const std::string reason =
            std::string(": the service path '") + path +
            "' does not begin with '/', or has an empty part or one of $ ? # [";
        EXPECT_EQ(listenAt(std::string("kova:") + path, {""}),
                  std::string("address 'kova:") + path + "'" + reason);
        EXPECT_EQ(listenAt("kova:", {path}), "address 'kova:'" + reason);
    }
    EXPECT_EQ(listenAt("kova:", {"", "/b"}),
              "address 'kova:': the service path '' does not begin with '/', or has an empty part "
              "or one of $ ? # [");
}

TEST_F(ListeningTest, UnusableAddressesHaveAReason) {
    EXPECT_EQ(listenAt("http://localhost", {""}),
              "address 'http://localhost': it begins with 'unix:' or 'tcp:'");
    EXPECT_EQ(listenAt("systemd:web", {""}), "no service manager has handed over sockets");
}

TEST_F(ListeningTest, AddressThatOtherMachinesReachNeedsAnOption) {
    EXPECT_EQ(listenAt("tcp:0.0.0.0:0", {""}),
              "address 'tcp:0.0.0.0:0': other machines reach it; set allowsRemote to serve them");
    options.allowsRemote = true;
    EXPECT_EQ(listenAt("tcp:0.0.0.0:0", {""}).find("'' tcp:0.0.0.0:"), 0U);
}

}  // namespace
}  // namespace kova::http::detail
