#include <gtest/gtest.h>

#include <cstdlib>

#include "osal/Environment.h"

namespace {

TEST(EnvironmentTest, VariableThatIsSetGivesItsText) {
    ASSERT_EQ(setenv("KOVA_TEST_VARIABLE", "a value", 1), 0);
    EXPECT_EQ(osal::Environment::getVariable("KOVA_TEST_VARIABLE"), "a value");
}

TEST(EnvironmentTest, VariableThatIsNotSetGivesAnEmptyText) {
    ASSERT_EQ(unsetenv("KOVA_TEST_VARIABLE"), 0);
    EXPECT_EQ(osal::Environment::getVariable("KOVA_TEST_VARIABLE"), "");
}

TEST(EnvironmentTest, NoNameGivesAnEmptyText) {
    EXPECT_EQ(osal::Environment::getVariable(nullptr), "");
}

}  // namespace
