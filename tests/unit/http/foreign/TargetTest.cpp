#include "foreign/Target.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kova::http::detail {
namespace {

// "service|path", or "path" without a service.
std::string print(const Destination& destination) {
    return destination.servicePath ? *destination.servicePath + '|' + destination.path
                                   : destination.path;
}

struct Row {
    std::string text;
    std::string resource;
    std::vector<std::string> watches = {};
    std::string authority = {};
};

class AcceptedTarget : public ::testing::TestWithParam<Row> {};

TEST_P(AcceptedTarget, NamesResources) {
    const kit::Result<Target> target = Target::parse(GetParam().text);
    ASSERT_TRUE(target.ok()) << target.error().message;
    EXPECT_EQ(print(target->resource), GetParam().resource);
    EXPECT_EQ(target->authority.value_or(""), GetParam().authority);
    std::vector<std::string> watches;
    for (const Destination& each : target->watches) {
        watches.push_back(print(each));
    }
    EXPECT_EQ(watches, GetParam().watches);
}

INSTANTIATE_TEST_SUITE_P(
    TargetTest, AcceptedTarget,
    ::testing::Values(
        Row{"/", "/"}, Row{"/a/b", "/a/b"}, Row{"/a//b/../c/", "/a//b/../c/"},
        Row{"/device$/system/memory", "/device|/system/memory"}, Row{"/device$", "/device|/"},
        Row{"/device$state", "/device|/state"}, Row{"/media/player2$/t", "/media/player2|/t"},
        Row{"/a$/b$c", "/a|/b$c"}, Row{"/a%24b", "/a$b"}, Row{"/a%20b%3F%25%23", "/a b?%#"},
        Row{"/%C3%a4", "/\xC3\xA4"}, Row{"/%FF%0A", "/\xFF\n"}, Row{"/a+b", "/a+b"},
        Row{"/?watch=/a", "/", {"/a"}}, Row{"/?watch=/a&watch=/d$/b", "/", {"/a", "/d|/b"}},
        Row{"/?watch=%2Fd%24%2Fb%20c+d", "/", {"/d|/b c d"}},
        Row{"http://127.0.0.1:80/a", "/a", {}, "127.0.0.1:80"}, Row{"HTTP://host", "/", {}, "host"},
        Row{"http://host?watch=/a", "/", {"/a"}, "host"}));

class RejectedTarget : public ::testing::TestWithParam<std::string> {};

TEST_P(RejectedTarget, IsABadRequest) {
    const kit::Result<Target> target = Target::parse(GetParam());
    ASSERT_FALSE(target.ok());
    EXPECT_EQ(target.error().code, 400);
    EXPECT_EQ(target.error().message.rfind("the target ", 0), 0U) << target.error().message;
}

INSTANTIATE_TEST_SUITE_P(TargetTest, RejectedTarget,
                         ::testing::Values("", "*", "a", "host:80", "https://host/a",
                                           "ftp://host/a", "/a%2Fb", "/a%2fb", "/%00", "/a$%2F",
                                           "/%2F$/a", "/%", "/%1", "/%1g", "/%g1", "/a b", "/a#b",
                                           "/a\tb", "/a\x7F", "/\xC3\xA4", std::string("/a\0b", 4),
                                           "/?", "/?x", "/?watch", "/?watch=", "/?watch=a",
                                           "/?watch=/a&x=1", "/?watch=/a&&watch=/b", "/?watch=%00",
                                           "/?watch=/%", "/a?watch=/a", "/d$/?watch=/a", "/a?"));

TEST(TargetTest, NumberOfWatchedPathsIsLimited) {
    std::string text = "/?watch=/0";
    for (std::size_t i = 1; i < MAX_WATCHES; ++i) {
        text += "&watch=/a";
    }
    ASSERT_TRUE(Target::parse(text).ok());
    EXPECT_EQ(Target::parse(text)->watches.size(), MAX_WATCHES);
    EXPECT_FALSE(Target::parse(text + "&watch=/a").ok());
}

}  // namespace
}  // namespace kova::http::detail
