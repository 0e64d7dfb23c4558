#include "nats/Names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <string>

namespace kova::nats::detail {
namespace {

TEST(NamesTest, UniqueNamesDifferAndAreTokens) {
    std::set<std::string> names;
    for (int i = 0; i < 1000; ++i) {
        const std::string name = uniqueName();
        EXPECT_EQ(name.size(), 22U);
        EXPECT_TRUE(std::all_of(name.begin(), name.end(),
                                [](unsigned char c) { return c < 128 && std::isalnum(c) != 0; }));
        names.insert(name);
    }
    EXPECT_EQ(names.size(), 1000U);
}

TEST(NamesTest, SubjectIsTheFirstTextBetweenQuotes) {
    EXPECT_EQ(quotedIn(R"(Permissions Violation for Publish to "a.b")"), "a.b");
    EXPECT_EQ(quotedIn(R"(Violation for Subscription to "a" using queue "q")"), "a");
    for (char const* text : {"", "no quotes", "one \" only", "\"\""}) {
        EXPECT_EQ(quotedIn(text), "");
    }
}

}  // namespace
}  // namespace kova::nats::detail
