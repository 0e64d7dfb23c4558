#include "server/RequestHead.h"

#include <gtest/gtest.h>

#include <string>

namespace kova::http::detail {
namespace {

TEST(RequestHeadTest, EachFieldCountsAsItsTextAndThirtyTwoBytes) {
    RequestHead fits(40);
    fits.add("name", "abcd");
    EXPECT_FALSE(fits.isTooLong());
    RequestHead exceeds(39);
    exceeds.add("name", "abcd");
    EXPECT_TRUE(exceeds.isTooLong());
    EXPECT_EQ(exceeds.refusal()->status, 431U);
}

TEST(RequestHeadTest, HeadThatIsTooLongStoresNoFurtherFields) {
    RequestHead head(100);
    head.add("x", std::string(100, 'x'));
    head.add(":path", "/a");
    EXPECT_EQ(head.path(), "");
}

}  // namespace
}  // namespace kova::http::detail
