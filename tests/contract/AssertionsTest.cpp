#include "contract/Assertions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Documents.h"

namespace kova::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(AssertionsTest, EveryTestHasAnAssertion) {
    std::vector<Function> helpers;
    for (const std::string& header : filesBelow("tests", ".h")) {
        const std::vector<Function> functions = functionsIn(read(header));
        helpers.insert(helpers.end(), functions.begin(), functions.end());
    }
    for (const std::string& file : filesBelow("tests", ".cpp")) {
        for (const std::string& test : testsWithoutAssertion(read(file), helpers)) {
            ADD_FAILURE() << file << ':' << test << " asserts nothing";
        }
    }
}

TEST(AssertionsTest, TestWithoutAnAssertionIsReported) {
    EXPECT_THAT(testsWithoutAssertion("\nTEST(A, B) {\n    call();\n}\n", {}),
                ElementsAre("2: A, B"));
    for (char const* const macro : {"TEST", "TEST_F", "TEST_P", "TYPED_TEST"}) {
        EXPECT_THAT(testsWithoutAssertion(std::string(macro) + "(A, B) { if (a) { b(); } }", {}),
                    ElementsAre("1: A, B"));
    }
}

TEST(AssertionsTest, AssertionsInTextAndCommentsDoNotCount) {
    for (char const* const body : {"// EXPECT_EQ", "/* EXPECT_EQ( */", "print(\"EXPECT_EQ(\\\"\");",
                                   "print(R\"x(EXPECT_EQ()x\");", "print('\\'', \"ASSERT_EQ\");"}) {
        EXPECT_THAT(testsWithoutAssertion("TEST(A, B) {\n" + std::string(body) + "\n}", {}),
                    ElementsAre("1: A, B"))
            << body;
    }
}

TEST(AssertionsTest, EveryKindOfAssertionCounts) {
    for (char const* const body :
         {"EXPECT_EQ(1, f());", "ASSERT_TRUE(f());", "EXPECT_DEATH(f(), \"\");", "FAIL() << f();",
          "ADD_FAILURE();", "static_assert(f());", "for (;;) { EXPECT_TRUE(f(1'000)); }"}) {
        EXPECT_THAT(testsWithoutAssertion("TEST(A, B) { " + std::string(body) + " }", {}),
                    IsEmpty())
            << body;
    }
}

TEST(AssertionsTest, CallsOfAssertingFunctionsCountAsAssertions) {
    const std::string direct = "void check(int a) { EXPECT_EQ(a, 1); }\n";
    const std::string indirect =
        "void all(F (*f)()) const noexcept {\n if (f()) { check(1); }\n}\n";
    const std::string test = "TEST(A, B) { all(f); }\n";
    EXPECT_THAT(testsWithoutAssertion(direct + indirect + test, {}), IsEmpty());
    EXPECT_THAT(testsWithoutAssertion(test, functionsIn(direct + indirect)), IsEmpty());
    EXPECT_THAT(testsWithoutAssertion(test, functionsIn(indirect)), ElementsAre("1: A, B"));
}

}  // namespace
}  // namespace kova::test
