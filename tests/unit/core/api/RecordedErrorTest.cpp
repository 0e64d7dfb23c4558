#include "api/RecordedError.h"

#include <gtest/gtest.h>

#include <string>

#include "kova/core/Errors.h"
#include "support/Reports.h"
#include "zel/ErrorOutput.h"

namespace kova::detail {
namespace {

void report(char const* parameter) {
    zel::ErrorOutput("file", 1, true)(errors::Error, errors::InvalidParameter, parameter);
}

class RecordedErrorTest : public testing::Test {
protected:
    RecordedErrorTest() { zel::ErrorStorage::current().acknowledge(); }

    test::Reports reports;
};

TEST_F(RecordedErrorTest, HasNoReasonBeforeAnErrorIsRecorded) {
    const RecordedError error;
    EXPECT_STREQ(error.reason(), "");
}

TEST_F(RecordedErrorTest, ReturnsAndAcknowledgesTheError) {
    RecordedError error;
    report("new");
    EXPECT_STREQ(error.reason(), "parameter 'new' is invalid");
    error.acknowledge();
    EXPECT_FALSE(zel::ErrorStorage::current().hasError());
}

TEST_F(RecordedErrorTest, IgnoresAnOlderError) {
    report("old");
    RecordedError error;
    EXPECT_STREQ(error.reason(), "");
    error.acknowledge();
    EXPECT_EQ(zel::ErrorStorage::current().reason(), "parameter 'old' is invalid");
}

TEST_F(RecordedErrorTest, ShowsANewErrorEqualToTheOlderError) {
    report("same");
    const RecordedError error;
    report("same");
    EXPECT_STREQ(error.reason(), "parameter 'same' is invalid");
}

/// The error storage of a platform that does not count errors.
struct PlainStorage {
    const std::string& reason() const { return text; }
    void acknowledge() { text.clear(); }

    std::string text;
};

TEST(PlainRecordedErrorTest, AssumesThatTheCallRecordedTheLatestError) {
    PlainStorage storage{"latest"};
    BasicRecordedError error(storage);
    EXPECT_STREQ(error.reason(), "latest");
    error.acknowledge();
    EXPECT_EQ(storage.text, "");
}

}  // namespace
}  // namespace kova::detail
