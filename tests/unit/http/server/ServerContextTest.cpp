#include "server/ServerContext.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/HeldService.h"

namespace kova::http::detail {
namespace {

TEST(PeerLimitTest, EachPeerHasItsOwnNumber) {
    PeerLimit limit(2);
    EXPECT_TRUE(limit.add("a"));
    EXPECT_TRUE(limit.add("a"));
    EXPECT_FALSE(limit.add("a"));
    EXPECT_TRUE(limit.add("b"));
    limit.remove("a");
    EXPECT_TRUE(limit.add("a"));
}

TEST(PeerLimitTest, NumberExistsOnlyWhileItIsNotZero) {
    PeerLimit limit(1);
    limit.add("a");
    limit.remove("a");
    EXPECT_EQ(limit.size(), 0U);
    PeerLimit none(0);
    EXPECT_FALSE(none.add("a"));
    EXPECT_EQ(none.size(), 0U);
}

TEST(PeerLimitTest, PeerIsAUserOrAnAddressWithoutItsPort) {
    EXPECT_EQ(PeerLimit::keyOf({1000, 1000, 1, "unix:"}), PeerLimit::keyOf({1000, 7, 2, "unix:"}));
    EXPECT_NE(PeerLimit::keyOf({1000, 1000, 1, "unix:"}),
              PeerLimit::keyOf({1001, 1000, 1, "unix:"}));
    EXPECT_EQ(PeerLimit::keyOf({-1, -1, -1, "127.0.0.1:1"}), "127.0.0.1");
    EXPECT_EQ(PeerLimit::keyOf({-1, -1, -1, "[::1]:1"}), "[::1]");
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
