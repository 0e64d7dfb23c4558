#include <gtest/gtest.h>

#include <new>
#include <string>

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

TEST_F(ErrorStorageTest, ErrorNumberZeroIsStored) {
    zel::ErrorOutput("src/First", 1, true)(TYPE, 0);
    EXPECT_TRUE(ErrorStorage::current().hasError());
}

TEST_F(ErrorStorageTest, AcknowledgeEmptiesTheStorage) {
    zel::ErrorOutput("src/First", 1, true)(TYPE, 1, "first");
    ErrorStorage::current().acknowledge();
    expectEmpty();
    ErrorStorage::current().acknowledge();
    expectEmpty();
}

/// Counts how often the message is formatted and how many objects exist.
class Details final : public zel::ErrorDetails {
public:
    explicit Details(char const* text) noexcept : text_(text) { ++alive; }
    ~Details() override { --alive; }
    void describe(std::string& out) const override {
        ++described;
        if (text_ == nullptr) {
            throw std::bad_alloc();
        }
        out += text_;
    }

    static inline int alive = 0;
    static inline int described = 0;

private:
    char const* text_;
};

class LazyErrorStorageTest : public ErrorStorageTest {
protected:
    LazyErrorStorageTest() { Details::described = 0; }
    static void record(char const* text) {
        ErrorStorage::current().record<Details>(TYPE, 1, "src/Lazy", 3, text);
    }
};

TEST_F(LazyErrorStorageTest, RecordedErrorIsStoredWithoutAReport) {
    zel::ErrorOutput("src/First", 1, true)(TYPE, 1, "first");
    reports_.take();
    record("second");
    const ErrorStorage& storage = ErrorStorage::current();
    EXPECT_EQ(storage.type(), &TYPE);
    EXPECT_EQ(storage.number(), 1);
    EXPECT_EQ(storage.reason(), "second");
    EXPECT_STREQ(storage.file(), "src/Lazy");
    EXPECT_EQ(storage.line(), 3);
    EXPECT_TRUE(reports_.take().empty());
}

TEST_F(LazyErrorStorageTest, MessageIsFormattedOnceWhenItIsRead) {
    record("text");
    EXPECT_TRUE(ErrorStorage::current().hasError());
    EXPECT_EQ(Details::described, 0);
    const std::string& reason = ErrorStorage::current().reason();
    EXPECT_EQ(&ErrorStorage::current().reason(), &reason);
    EXPECT_EQ(reason, "text");
    EXPECT_EQ(Details::described, 1);
    EXPECT_EQ(Details::alive, 0) << "not needed any longer";
}

TEST_F(LazyErrorStorageTest, DetailsAreDestroyedWithTheirError) {
    record("first");
    record("second");
    EXPECT_EQ(Details::alive, 1);
    zel::ErrorOutput("src/First", 1, true)(TYPE, 1, "third");
    EXPECT_EQ(Details::alive, 0);
    EXPECT_EQ(ErrorStorage::current().reason(), "'third'");
    record("fourth");
    ErrorStorage::current().acknowledge();
    EXPECT_EQ(Details::alive, 0);
    expectEmpty();
    EXPECT_EQ(Details::described, 0);
}

TEST_F(LazyErrorStorageTest, MessageIsEmptyWithoutMemory) {
    record(nullptr);
    EXPECT_EQ(ErrorStorage::current().reason(), "");
    EXPECT_EQ(ErrorStorage::current().reason(), "");
    EXPECT_TRUE(ErrorStorage::current().hasError());
    EXPECT_EQ(Details::described, 1);
}

TEST_F(LazyErrorStorageTest, CountChangesWithEachError) {
    const unsigned long before = ErrorStorage::current().count();
    record("first");
    record("second");
    zel::ErrorOutput("src/First", 1, true)(TYPE, 1, "third");
    ErrorStorage::current().acknowledge();
    EXPECT_EQ(ErrorStorage::current().count(), before + 3);
    zel::ErrorOutput("src/First", 1, false)(TYPE, 1, "not kept");
    EXPECT_EQ(ErrorStorage::current().count(), before + 3);
}

}  // namespace
