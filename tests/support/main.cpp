#include <gtest/gtest.h>

#include <cstdlib>

// A program without tests fails: a test that is not linked in must not pass. Death tests start the
// program anew, unless the environment asks for another style (an emulator cannot be started anew).
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (std::getenv("GTEST_DEATH_TEST_STYLE") == nullptr) {
        testing::FLAGS_gtest_death_test_style = "threadsafe";
    }
    const int result = RUN_ALL_TESTS();
    return testing::UnitTest::GetInstance()->test_to_run_count() == 0 ? 1 : result;
}
