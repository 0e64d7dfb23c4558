#include <gtest/gtest.h>

#include <cstdlib>

// Runs all tests. A program without tests fails, so that missing tests are noticed. Death tests use
// the style "threadsafe", which starts the program again, unless the environment sets another
// style. An emulator cannot start the program again.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (std::getenv("GTEST_DEATH_TEST_STYLE") == nullptr) {
        testing::FLAGS_gtest_death_test_style = "threadsafe";
    }
    const int result = RUN_ALL_TESTS();
    return testing::UnitTest::GetInstance()->test_to_run_count() == 0 ? 1 : result;
}
