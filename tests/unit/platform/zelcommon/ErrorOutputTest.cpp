#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/Allocations.h"
#include "support/Reports.h"
#include "zel/ErrorOutput.h"
#include "zel/ErrorStorage.h"

namespace {

using kova::test::Reports;
using testing::HasSubstr;
using zel::ErrorOutput;
using zel::ErrorStorage;

constexpr zel::ErrorID TABLE[] = {
    {0, "nothing to say", 0},
    {1, "'%s'", 1},
    {2, "at %p", 1},
    {3, "%s and %s", 2},
    {4, "100%% of %s, 5% off, %d, %", 1},
    {5, "%s %p %s", 3},
    {6, "", 0},
    {7, "a sentence that is far too long for the small buffer of a string: %s", 1},
};
constexpr zel::ErrorType TYPE("Test", TABLE);

const ErrorOutput output("src/Somewhere", 42, true);

class ErrorOutputTest : public testing::Test {
protected:
    ~ErrorOutputTest() override {
        ErrorOutput::setSink({});
        ErrorStorage::current().acknowledge();
    }

    // Reports an error and returns the output of the default sink.
    template <typename... Arguments>
    static std::string written(int number, const Arguments&... arguments) {
        testing::internal::CaptureStderr();
        output(TYPE, number, arguments...);
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(ErrorOutputTest, SinkReceivesAllFieldsOfTheReport) {
    Reports reports;
    output(TYPE, 1, "engine");
    const auto taken = reports.take();
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_EQ(taken[0].type, "Test");
    EXPECT_EQ(taken[0].number, 1);
    EXPECT_EQ(taken[0].reason, "'engine'");
    EXPECT_EQ(taken[0].file, "src/Somewhere");
    EXPECT_EQ(taken[0].line, 42);
}

TEST_F(ErrorOutputTest, FormatFieldsAreReplacedByTheArguments) {
    Reports reports;
    char const* const none = nullptr;
    void const* const address = reinterpret_cast<void const*>(0x1F0);
    const std::string text = "a text";
    output(TYPE, 0);
    output(TYPE, 1, text);
    output(TYPE, 1, std::string_view(text).substr(2));
    output(TYPE, 1, "");
    output(TYPE, 1, none);
    output(TYPE, 1, std::string("a\0b", 3));
    output(TYPE, 1, "%s %p %n");
    output(TYPE, 2, address);
    output(TYPE, 2, static_cast<void const*>(nullptr));
    output(TYPE, 3, "one", text);
    output(TYPE, 4, "it");
    output(TYPE, 5, "a", address, "b");
    output(TYPE, 6);
    std::vector<std::string> reasons;
    for (const auto& report : reports.take()) {
        reasons.push_back(report.reason);
    }
    EXPECT_EQ(reasons, (std::vector<std::string>{"nothing to say", "'a text'", "'text'", "''",
                                                 "'(null)'", std::string("'a\0b'", 5), "'%s %p %n'",
                                                 "at 0x1f0", "at (nil)", "one and a text",
                                                 "100% of it, 5% off, %d, %", "a 0x1f0 b", ""}));
}

TEST_F(ErrorOutputTest, MissingAndMismatchedArgumentsArePrintedAsQuestionMarks) {
    Reports reports;
    void const* const address = reinterpret_cast<void const*>(0x1F0);
    output(TYPE, 1);
    output(TYPE, 3, "one");
    output(TYPE, 1, address);
    output(TYPE, 2, "text");
    output(TYPE, 5, address, "text", "last");
    output(TYPE, 0, "too many", address);
    std::vector<std::string> reasons;
    for (const auto& report : reports.take()) {
        reasons.push_back(report.reason);
    }
    EXPECT_EQ(reasons, (std::vector<std::string>{"'?'", "one and ?", "'?'", "at ?", "? ? last",
                                                 "nothing to say"}));
}

TEST_F(ErrorOutputTest, NumberOutsideTheCatalogueIsReportedAsUnknown) {
    Reports reports;
    for (const int number : {-1, 8, 1000000}) {
        output(TYPE, number, "text");
        const auto taken = reports.take();
        ASSERT_EQ(taken.size(), 1U);
        EXPECT_EQ(taken[0].reason, "unknown error");
        EXPECT_EQ(taken[0].number, number);
    }
}

TEST_F(ErrorOutputTest, ReportIsStoredOnlyIfKeepIsTrue) {
    Reports reports;
    output(TYPE, 1, "kept");
    ErrorOutput("src/Elsewhere", 7, false)(TYPE, 1, "passing");
    EXPECT_EQ(reports.take().size(), 2U);
    EXPECT_EQ(ErrorStorage::current().reason(), "'kept'");
    EXPECT_EQ(ErrorStorage::current().line(), 42);
}

TEST_F(ErrorOutputTest, MessageOfTheLatestErrorCanBeAnArgument) {
    Reports reports;
    output(TYPE, 7, "first");
    output(TYPE, 7, ErrorStorage::current().reason());
    EXPECT_THAT(ErrorStorage::current().reason(), HasSubstr("string: a sentence"));
}

TEST_F(ErrorOutputTest, DefaultSinkWritesOneLine) {
    EXPECT_EQ(written(3, "one", "two"), "src/Somewhere:42: Test 3: one and two\n");
    EXPECT_EQ(written(-5), "src/Somewhere:42: Test -5: unknown error\n");
    EXPECT_EQ(written(6), "src/Somewhere:42: Test 6: \n");
}

TEST_F(ErrorOutputTest, ControlCharactersAreReplacedByBlanksInTheLine) {
    EXPECT_EQ(written(1, std::string("a\nb\r\x1B[2J\0\x7F\tc", 12)),
              "src/Somewhere:42: Test 1: 'a b  [2J   c'\n");
    EXPECT_EQ(written(1, "\xC3\xBC\xFF"), "src/Somewhere:42: Test 1: '\xC3\xBC\xFF'\n");
}

TEST_F(ErrorOutputTest, DefaultSinkDoesNotTruncateLongMessages) {
    const std::string text(100000, 'x');
    EXPECT_EQ(written(1, text), "src/Somewhere:42: Test 1: '" + text + "'\n");
}

TEST_F(ErrorOutputTest, SetSinkReturnsTheFormerSink) {
    int first = 0;
    int second = 0;
    EXPECT_FALSE(ErrorOutput::setSink([&](const zel::ErrorReport&) { ++first; }));
    ErrorOutput::Sink former = ErrorOutput::setSink([&](const zel::ErrorReport&) { ++second; });
    output(TYPE, 0);
    ErrorOutput::setSink(std::move(former));
    output(TYPE, 0);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
    EXPECT_TRUE(ErrorOutput::setSink({}));
    EXPECT_EQ(written(0), "src/Somewhere:42: Test 0: nothing to say\n");
    EXPECT_FALSE(ErrorOutput::setSink({}));
}

TEST_F(ErrorOutputTest, ReportIsStoredEvenIfTheSinkThrows) {
    ErrorOutput::setSink([](const zel::ErrorReport&) { throw std::runtime_error("no disk"); });
    EXPECT_NO_THROW(output(TYPE, 1, "kept"));
    EXPECT_EQ(ErrorStorage::current().reason(), "'kept'");
    ErrorOutput::setSink([](const zel::ErrorReport&) { throw 1; });
    EXPECT_NO_THROW(output(TYPE, 1, "again"));
    EXPECT_EQ(ErrorStorage::current().reason(), "'again'");
}

TEST_F(ErrorOutputTest, ReportsFromTheSinkGoToTheDefaultSink) {
    int calls = 0;
    ErrorOutput::setSink([&calls](const zel::ErrorReport&) {
        ++calls;
        output(TYPE, 1, "from the sink");
    });
    EXPECT_EQ(written(1, "from the caller"), "src/Somewhere:42: Test 1: 'from the sink'\n");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(ErrorStorage::current().reason(), "'from the caller'");
    EXPECT_NE(written(0), "");
    EXPECT_EQ(calls, 2) << "the sink is no longer installed";
}

TEST_F(ErrorOutputTest, SinkIsCalledAgainAfterItReportedAndThrew) {
    int calls = 0;
    ErrorOutput::setSink([&calls](const zel::ErrorReport&) {
        ++calls;
        output(TYPE, 0);
        throw std::runtime_error("no disk");
    });
    EXPECT_NE(written(0), "");
    EXPECT_NE(written(0), "");
    EXPECT_EQ(calls, 2);
}

TEST_F(ErrorOutputTest, SinkCanReplaceItself) {
    int later = 0;
    const auto witness = std::make_shared<int>(0);
    ErrorOutput::setSink([&later, witness](const zel::ErrorReport&) {
        ErrorOutput::setSink([&later](const zel::ErrorReport&) { ++later; });
        ++*witness;  // the replaced sink is not destroyed during its call
    });
    output(TYPE, 0);
    EXPECT_EQ(*witness, 1);
    EXPECT_EQ(witness.use_count(), 1) << "the replaced sink was not destroyed";
    output(TYPE, 0);
    EXPECT_EQ(later, 1);
}

TEST_F(ErrorOutputTest, ReportPreservesErrno) {
    ErrorOutput::setSink([](const zel::ErrorReport&) { errno = EIO; });
    errno = ENOENT;
    output(TYPE, 0);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ErrorOutputTest, UnformattedTextIsReportedWhenMemoryRunsOut) {
    char seen[128] = "";
    ErrorOutput::setSink(
        [&seen](const zel::ErrorReport& report) { report.reason.copy(seen, sizeof(seen) - 1); });
    {
        const kova::test::NoMemory noMemory;
        output(TYPE, 7, "and it does not fit");
    }
    EXPECT_STREQ(seen, TABLE[7].format);
    EXPECT_TRUE(ErrorStorage::current().hasError());
    EXPECT_EQ(ErrorStorage::current().number(), 7);
}

}  // namespace
