#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "support/Reports.h"
#include "zel/ErrorOutput.h"
#include "zel/ErrorStorage.h"

namespace {

using zel::ErrorOutput;
using zel::ErrorStorage;

constexpr zel::ErrorID TABLE[] = {{0, "'%s' of a text that does not fit a small string", 1}};
constexpr zel::ErrorType TYPE("Test", TABLE);

TEST(ErrorStorageConcurrentTest, ThreadDoesNotSeeErrorsOfOtherThreads) {
    kova::test::Reports reports;
    ErrorOutput("src/Here", 1, true)(TYPE, 0, "here");
    std::thread([] {
        EXPECT_FALSE(ErrorStorage::current().hasError());
        ErrorOutput("src/There", 2, true)(TYPE, 0, "there");
        EXPECT_STREQ(ErrorStorage::current().file(), "src/There");
        ErrorStorage::current().acknowledge();
    }).join();
    EXPECT_STREQ(ErrorStorage::current().file(), "src/Here");
    EXPECT_EQ(reports.take().size(), 2U);
}

// A thread-local object whose destructor reports an error.
struct Late {
    ~Late() {
        ErrorOutput("src/Late", 3, true)(TYPE, 0, "late");
        keptLate = ErrorStorage::current().hasError();
    }
    void touch() {}
    static bool keptLate;
};
bool Late::keptLate = true;

TEST(ErrorStorageConcurrentTest, ReportAtThreadExitReachesOnlyTheSink) {
    kova::test::Reports reports;
    std::thread([] {
        thread_local Late late;  // constructed before the storage, so destroyed after it is closed
        late.touch();
        ErrorOutput("src/Early", 2, true)(TYPE, 0, "early");
        EXPECT_TRUE(ErrorStorage::current().hasError());
    }).join();
    const auto taken = reports.take();
    ASSERT_EQ(taken.size(), 2U);
    EXPECT_EQ(taken[1].file, "src/Late");
    EXPECT_FALSE(Late::keptLate);
}

}  // namespace
