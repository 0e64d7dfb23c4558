#include <gtest/gtest.h>

#include <limits>

#include "zel/ErrorType.h"

namespace {

constexpr zel::ErrorID TABLE[] = {{0, "no error", 0}, {1, "no '%s'", 1}, {2, "no %p", 1}};
constexpr zel::ErrorType TYPE("Test", TABLE);

// Catalogues are constant expressions: they need no initialization at run time.
static_assert(TYPE.size() == 3 && TYPE.find(2) == TABLE + 2 && TYPE.find(3) == nullptr);

TEST(ErrorTypeTest, HoldsItsNameAndItsRows) {
    EXPECT_STREQ(TYPE.name(), "Test");
    EXPECT_EQ(TYPE.size(), 3U);
    for (int number = 0; number < 3; ++number) {
        ASSERT_NE(TYPE.find(number), nullptr);
        EXPECT_EQ(TYPE.find(number)->number, number);
    }
    EXPECT_STREQ(TYPE.find(1)->format, "no '%s'");
}

TEST(ErrorTypeTest, NumberOutsideTheTableHasNoRow) {
    for (const int number :
         {-1, 3, 4, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(TYPE.find(number), nullptr) << number;
    }
}

}  // namespace
