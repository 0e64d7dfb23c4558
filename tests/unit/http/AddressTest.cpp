#include "kova/http/Address.h"

#include <gtest/gtest.h>

#include <string>

namespace kova::http {
namespace {

TEST(AddressTest, UnixSocketHasAPath) {
    const kit::Result<Address> address = Address::parse("unix:/run/kova/player.sock");
    ASSERT_TRUE(address.ok());
    EXPECT_EQ(address->path, "/run/kova/player.sock");
    EXPECT_TRUE(address->isUnix());
    EXPECT_TRUE(address->isLocal());
}

TEST(AddressTest, LongestPathOfASocketIsAccepted) {
    EXPECT_TRUE(Address::parse("unix:" + std::string(107, 'a')).ok());
    EXPECT_FALSE(Address::parse("unix:" + std::string(108, 'a')).ok());
}

TEST(AddressTest, TcpHasAHostAndAPort) {
    const kit::Result<Address> address = Address::parse("tcp:127.0.0.1:8080");
    ASSERT_TRUE(address.ok());
    EXPECT_EQ(address->host, "127.0.0.1");
    EXPECT_EQ(address->port, 8080);
    EXPECT_FALSE(address->isUnix());
}

class AcceptedAddress : public ::testing::TestWithParam<char const*> {};

TEST_P(AcceptedAddress, IsPrintedAsItIsWritten) {
    const kit::Result<Address> address = Address::parse(GetParam());
    ASSERT_TRUE(address.ok()) << address.error().message;
    EXPECT_EQ(address->toString(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(AddressTest, AcceptedAddress,
                         ::testing::Values("unix:relative.sock", "unix:/a b", "tcp:0.0.0.0:0",
                                           "tcp:127.0.0.1:65535", "tcp:[::1]:1",
                                           "tcp:[fe80::1]:80"));

class RejectedAddress : public ::testing::TestWithParam<char const*> {};

TEST_P(RejectedAddress, GivesAReason) {
    const kit::Result<Address> address = Address::parse(GetParam());
    ASSERT_FALSE(address.ok());
    EXPECT_EQ(address.error().code, 400);
    EXPECT_EQ(address.error().message.find("address '" + std::string(GetParam()) + "': "), 0U)
        << address.error().message;
}

INSTANTIATE_TEST_SUITE_P(AddressTest, RejectedAddress,
                         ::testing::Values("", "unix:", "/run/a.sock", "tcp:", "tcp:127.0.0.1",
                                           "tcp:127.0.0.1:", "tcp:127.0.0.1:65536",
                                           "tcp:127.0.0.1:+1", "tcp:127.0.0.1:80x",
                                           "tcp:example.org:80", "tcp:::1:80", "tcp:[::1:80",
                                           "tcp:[]:80", "tcp::80", "http://127.0.0.1:80"));

TEST(AddressTest, ZeroByteInAPathIsRejected) {
    EXPECT_FALSE(Address::parse(std::string("unix:a\0b", 8)).ok());
}

TEST(AddressTest, LocalhostIsTheLoopbackAddress) {
    EXPECT_EQ(Address::parse("tcp:localhost:80")->toString(), "tcp:127.0.0.1:80");
}

TEST(AddressTest, OnlyLoopbackAddressesAreLocal) {
    EXPECT_TRUE(Address::parse("tcp:127.8.9.1:80")->isLocal());
    EXPECT_TRUE(Address::parse("tcp:[::1]:80")->isLocal());
    EXPECT_FALSE(Address::parse("tcp:0.0.0.0:80")->isLocal());
    EXPECT_FALSE(Address::parse("tcp:[::]:80")->isLocal());
    EXPECT_FALSE(Address::parse("tcp:192.0.2.1:80")->isLocal());
}

}  // namespace
}  // namespace kova::http
