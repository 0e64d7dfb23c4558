#include <gtest/gtest.h>

// A program without tests fails: a test that is not linked in must not pass.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const int result = RUN_ALL_TESTS();
    return testing::UnitTest::GetInstance()->test_to_run_count() == 0 ? 1 : result;
}
