#include "nats/Urls.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kova::nats::detail {
namespace {

TEST(UrlsTest, UrlsAreReadWithoutTheirLogins) {
    const Urls one = Urls::parse("nats://broker:4222").orThrow();
    EXPECT_EQ(one.all, std::vector<std::string>{"nats://broker:4222"});
    EXPECT_EQ(one.shown, "nats://broker:4222");
    EXPECT_FALSE(one.isTls);
    EXPECT_FALSE(one.hasLogin);

    const Urls several = Urls::parse("nats://u:p@a,tls://[::1]:1,c_d.e-f:65535").orThrow();
    EXPECT_EQ(several.all,
              (std::vector<std::string>{"nats://u:p@a", "tls://[::1]:1", "c_d.e-f:65535"}));
    EXPECT_EQ(several.shown, "nats://a,tls://[::1]:1,nats://c_d.e-f:65535");
    EXPECT_TRUE(several.isTls);
    EXPECT_TRUE(several.hasLogin);
}

TEST(UrlsTest, MalformedUrlsAreRefusedWithoutTheirText) {
    for (char const* text : {"", ",", "nats://", "http://a", "nats://a:0", "nats://a:65536",
                             "nats://a:x", "nats://a:", "nats://a b", "nats://a,", "nats://[::1",
                             "nats://[]", "nats://a/path", "nats://secret@"}) {
        const kit::Result<Urls> urls = Urls::parse(text);
        ASSERT_FALSE(urls) << text;
        EXPECT_EQ(urls.error().code, 400);
        EXPECT_EQ(urls.error().message.find("secret"), std::string::npos);
    }
}

TEST(UrlsTest, TextUpToTheLimitIsAccepted) {
    EXPECT_TRUE(Urls::parse(std::string(Urls::LONGEST, 'a')));
    EXPECT_FALSE(Urls::parse(std::string(Urls::LONGEST + 1, 'a')));
}

}  // namespace
}  // namespace kova::nats::detail
