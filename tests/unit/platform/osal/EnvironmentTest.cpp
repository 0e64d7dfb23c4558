#include <gtest/gtest.h>

#include <cstdlib>

#include "osal/Environment.h"

namespace {

TEST(EnvironmentTest, ReturnsTheValueOfAVariable) {
    ASSERT_EQ(setenv("KOVA_TEST_VARIABLE", "a value", 1), 0);
    EXPECT_EQ(osal::Environment::getVariable("KOVA_TEST_VARIABLE"), "a value");
}

TEST(EnvironmentTest, ReturnsAnEmptyTextForAnUnsetVariable) {
    ASSERT_EQ(unsetenv("KOVA_TEST_VARIABLE"), 0);
    EXPECT_EQ(osal::Environment::getVariable("KOVA_TEST_VARIABLE"), "");
}

TEST(EnvironmentTest, ReturnsAnEmptyTextForANullName) {
    EXPECT_EQ(osal::Environment::getVariable(nullptr), "");
}

}  // namespace
