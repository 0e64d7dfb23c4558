#include "server/ServerContext.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/HeldService.h"

namespace kova::http::detail {
namespace {

kit::Peer user(long uid, long pid = 1) {
    return {uid, 1000, pid, "unix:"};
}
kit::Peer address(const std::string& text) {
    return {-1, -1, -1, text};
}

TEST(PeerLimitTest, EachPeerHasItsOwnCount) {
    PeerLimit limit(2);
    EXPECT_TRUE(limit.add(user(1)));
    EXPECT_TRUE(limit.add(user(1)));
    EXPECT_FALSE(limit.add(user(1)));
    EXPECT_TRUE(limit.add(user(2)));
    limit.remove(user(1));
    EXPECT_TRUE(limit.add(user(1)));
}

TEST(PeerLimitTest, CountExistsOnlyWhileItIsNotZero) {
    PeerLimit limit(1);
    limit.add(user(1));
    limit.remove(user(1));
    EXPECT_EQ(limit.size(), 0U);
    PeerLimit none(0);
    EXPECT_FALSE(none.add(user(1)));
    EXPECT_EQ(none.size(), 0U);
}

TEST(PeerLimitTest, PeerIsAUserOrAnAddressWithoutItsPort) {
    PeerLimit limit(1);
    EXPECT_TRUE(limit.add(user(1000, 1)));
    EXPECT_FALSE(limit.add(user(1000, 2)));
    EXPECT_TRUE(limit.add(address("127.0.0.1:1")));
    EXPECT_FALSE(limit.add(address("127.0.0.1:2")));
    EXPECT_TRUE(limit.add(address("127.0.0.2:1")));
    EXPECT_TRUE(limit.add(address("[::1]:1")));
    EXPECT_FALSE(limit.add(address("[::1]:2")));
    limit.remove(address("[::1]:3"));
    EXPECT_EQ(limit.size(), 3U);
}

TEST(ServedServicesTest, RootNamesTheOnlyService) {
    kova::test::HeldService service;
    const ServedServices one({{"/a", &service}});
    EXPECT_NE(one.find("/"), nullptr);
    EXPECT_EQ(one.find("/"), one.find("/a"));
    const ServedServices two({{"/a", &service}, {"/b", &service}});
    EXPECT_EQ(two.find("/"), nullptr);
    EXPECT_NE(two.find("/a"), two.find("/b"));
}

TEST(ServedServicesTest, PathIsPercentDecoded) {
    kova::test::HeldService service;
    const ServedServices services({{"/a b", &service}, {"/\xc3\xa4", &service}});
    EXPECT_NE(services.find("/a%20b"), nullptr);
    EXPECT_NE(services.find("/%c3%A4"), nullptr);
    for (char const* path : {"", "/a", "/a%2", "/a%", "/a%2x", "/a%x0", "/a%20b/"}) {
        EXPECT_EQ(services.find(path), nullptr) << path;
    }
}

TEST(ServedServicesTest, NullIsNotAService) {
    EXPECT_THROW(ServedServices({{"/a", nullptr}}), std::invalid_argument);
    EXPECT_THROW(ServedServices({}), std::invalid_argument);
}

}  // namespace
}  // namespace kova::http::detail
