#include "kova/core/Errors.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "support/Reports.h"

namespace kova {
namespace {

const struct {
    int name;
    int number;
    std::string format;
    unsigned int arguments;
    unsigned short status;
} ROWS[] = {
    {errors::NoError, 0, "No error", 0, 200},
    {errors::PathAlreadyRegistered, 1, "the path '%s' is already registered", 1, 409},
    {errors::PathNotFound, 2, "path '%s' not found", 1, 404},
    {errors::PathNotValid, 3, "path '%s' not valid", 1, 400},
    {errors::PathNotConfigured, 4, "path '%s' not configured", 1, 503},
    {errors::NullPointerNotAllowed, 5, "null pointer not allowed for %s", 1, 403},
    {errors::UndefinedHandle, 6, "handle %p is undefined", 1, 409},
    {errors::RequestFailed, 7, "request failed, reason = %s", 1, 410},
    {errors::UriFormatError, 8, "uri '%s' has errorneous format", 1, 400},
    {errors::PayloadConversionFailed, 9, "can't convert payload: '%s'", 1, 409},
    {errors::InvalidParameter, 10, "parameter '%s' is invalid", 1, 400},
    {errors::DeserializationError, 11, "error on deserialization for '%s'", 1, 409},
    {errors::MissingRequiredValue, 12, "missing required value '%s'", 1, 400},
    {errors::UnexpectedDataFormat, 13,
     "data is not in the expected format for '%s' because of '%s'", 2, 409},
    {errors::CommandNotSupported, 14, "command '%s' not supported for path '%s'", 2, 400},
    {errors::PathParameterMissing, 15, "path parameter missing for '%s'", 1, 400},
    {errors::UndefinedMimeType, 16, "undefined mime-type '%s'", 1, 500},
    {errors::ElementNotFound, 17, "unable to find element with id '%s'", 1, 404},
    {errors::InvalidJsonConfiguration, 18, "json configuration file invalid: '%s'", 1, 400},
    {errors::UnexpectedResponse, 19, "received unexpected response: %s", 1, 417},
    {errors::InternalServerError, 20, "Internal error in server implementation: %s", 1, 500},
};

TEST(ErrorsTest, CatalogueContainsEveryError) {
    EXPECT_STREQ(errors::Error.name(), "kova::errors::Error");
    ASSERT_EQ(errors::Error.size(), std::size(ROWS));
    for (const auto& row : ROWS) {
        EXPECT_EQ(row.name, row.number);
        zel::ErrorID const* const id = errors::Error.find(row.number);
        ASSERT_NE(id, nullptr) << row.number;
        EXPECT_EQ(id->number, row.number);
        EXPECT_EQ(id->format, row.format);
        EXPECT_EQ(id->arguments, row.arguments) << row.number;
    }
}

TEST(ErrorsTest, EachErrorHasTheExpectedStatusCode) {
    for (const auto& row : ROWS) {
        EXPECT_EQ(errors::error2StatusCode(row.number), row.status) << row.number;
    }
}

TEST(ErrorsTest, NumbersOutsideTheCatalogueAreServerErrors) {
    for (const int number :
         {-1, 21, 200, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(errors::error2StatusCode(number), 500) << number;
        EXPECT_EQ(errors::Error.find(number), nullptr) << number;
    }
}

TEST(ErrorsTest, ReportsContainTheFormattedMessage) {
    test::Reports reports;
    const zel::ErrorOutput output("src/core/api/Errors", 1, true);
    output(errors::Error, errors::UnexpectedDataFormat, "Date", std::string("month 13"));
    int object = 0;
    output(errors::Error, errors::UndefinedHandle, static_cast<void const*>(&object));
    output(errors::Error, errors::UndefinedHandle, static_cast<void const*>(nullptr));
    char handle[64];
    std::snprintf(handle, sizeof handle, "handle %p is undefined", static_cast<void*>(&object));
    char noHandle[64];
    std::snprintf(noHandle, sizeof noHandle, "handle %p is undefined", static_cast<void*>(nullptr));

    const std::vector<test::Reports::Report> taken = reports.take();
    ASSERT_EQ(taken.size(), 3U);
    EXPECT_EQ(taken[0].type, "kova::errors::Error");
    EXPECT_EQ(taken[0].number, errors::UnexpectedDataFormat);
    EXPECT_EQ(taken[0].reason,
              "data is not in the expected format for 'Date' because of 'month 13'");
    EXPECT_EQ(taken[1].reason, handle);
    EXPECT_EQ(taken[2].reason, noHandle);
}

}  // namespace
}  // namespace kova
