#include <gtest/gtest.h>

#include "support/Reports.h"
#include "zel/ErrorOutput.h"
#include "zel/ErrorStorage.h"

namespace {

using zel::ErrorStorage;

constexpr zel::ErrorID TABLE[] = {{0, "no error", 0}, {1, "'%s'", 1}};
constexpr zel::ErrorType TYPE("Test", TABLE);

class ErrorStorageTest : public testing::Test {
protected:
    static void expectEmpty() {
        const ErrorStorage& storage = ErrorStorage::current();
        EXPECT_FALSE(storage.hasError());
        EXPECT_EQ(storage.type(), nullptr);
        EXPECT_EQ(storage.number(), 0);
        EXPECT_EQ(storage.reason(), "");
        EXPECT_STREQ(storage.file(), "");
        EXPECT_EQ(storage.line(), 0);
    }

    kova::test::Reports reports_;
};

TEST_F(ErrorStorageTest, IsEmptyBeforeTheFirstReport) {
    expectEmpty();
}

TEST_F(ErrorStorageTest, HoldsTheLatestError) {
    zel::ErrorOutput("src/First", 1, true)(TYPE, 1, "first");
    zel::ErrorOutput("src/Second", 2, true)(TYPE, 1, "second");
    const ErrorStorage& storage = ErrorStorage::current();
    EXPECT_TRUE(storage.hasError());
    EXPECT_EQ(storage.type(), &TYPE);
    EXPECT_EQ(storage.number(), 1);
    EXPECT_EQ(storage.reason(), "'second'");
    EXPECT_STREQ(storage.file(), "src/Second");
    EXPECT_EQ(storage.line(), 2);
}

TEST_F(ErrorStorageTest, NumberZeroIsAnErrorToo) {
    zel::ErrorOutput("src/First", 1, true)(TYPE, 0);
    EXPECT_TRUE(ErrorStorage::current().hasError());
}

TEST_F(ErrorStorageTest, AcknowledgingEmptiesIt) {
    zel::ErrorOutput("src/First", 1, true)(TYPE, 1, "first");
    ErrorStorage::current().acknowledge();
    expectEmpty();
    ErrorStorage::current().acknowledge();
    expectEmpty();
}

}  // namespace
