#include "kova/kit/Result.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kova/core/Commands.h"
#include "kova/core/KovaException.h"
#include "kova/kit/Command.h"

namespace kova::kit {
namespace {

Result<int> half(int value) {
    if (value % 2 != 0) {
        return Error{statuscodes::BAD_REQUEST, "an odd number"};
    }
    return value / 2;
}

TEST(ResultTest, ContainsTheValue) {
    const Result<int> result = half(8);
    ASSERT_TRUE(result.ok());
    EXPECT_TRUE(static_cast<bool>(result));
    EXPECT_EQ(*result, 4);
    EXPECT_EQ(result.value(), 4);
    EXPECT_EQ(result.orThrow(), 4);
    EXPECT_EQ(result.valueOr(9), 4);
}

TEST(ResultTest, InPlaceConstructorValueInitializesTheValue) {
    const Result<int> number(std::in_place);
    EXPECT_EQ(number.value(), 0);
    const Result<std::string> text(std::in_place);
    EXPECT_EQ(text.value(), "");
}

TEST(ResultTest, ContainsTheError) {
    const Result<int> result = half(7);
    ASSERT_FALSE(result.ok());
    EXPECT_FALSE(static_cast<bool>(result));
    EXPECT_EQ(result.error(), (Error{400, "an odd number"}));
    EXPECT_EQ(result.valueOr(9), 9);
}

TEST(ResultTest, AccessToAMissingValueThrowsTheError) {
    try {
        static_cast<void>(half(7).orThrow());
        FAIL() << "no exception";
    } catch (const KovaException& error) {
        EXPECT_EQ(error.getErrorCode(), 400);
        EXPECT_STREQ(error.what(), "400 Bad Request an odd number");
    }
    EXPECT_THROW(static_cast<void>(half(7).value()), KovaException);
}

TEST(ResultTest, ValueCanBeMovedOut) {
    Result<std::unique_ptr<int>> result(std::make_unique<int>(5));
    EXPECT_EQ(*result->get(), 5);
    const std::unique_ptr<int> taken = std::move(result).orThrow();
    EXPECT_EQ(*taken, 5);
}

TEST(ResultTest, ValueCanBeModifiedInPlace) {
    Result<std::string> result(std::string("a"));
    result->push_back('b');
    *result += 'c';
    result.value() += 'd';
    EXPECT_EQ(*result, "abcd");
}

TEST(ResultTest, DefaultVoidResultIsASuccess) {
    const Result<void> success;
    EXPECT_TRUE(success.ok());
    EXPECT_NO_THROW(success.orThrow());
    const Result<void> failure = Error{503, "closed"};
    EXPECT_FALSE(failure.ok());
    EXPECT_EQ(failure.error().message, "closed");
    EXPECT_THROW(failure.orThrow(), KovaException);
}

TEST(ErrorTest, ConvertsToAResponseAndBack) {
    const Error error{404, "no such lamp"};
    const Response response = error.toResponse();
    EXPECT_TRUE(response.isErrorResponse());
    EXPECT_EQ(Error::of(response), error);
    EXPECT_EQ(error.toString(), "404 Not Found: no such lamp");
}

TEST(ErrorTest, TextOfTheCodeReplacesAnEmptyMessage) {
    const Error error{504, ""};
    EXPECT_TRUE(error.toResponse().isErrorResponse());
    EXPECT_EQ(Error::of(error.toResponse()), (Error{504, "Gateway Timeout"}));
    EXPECT_EQ(error.toString(), "504 Gateway Timeout");
}

TEST(ErrorTest, ErrorOfAResponseWithoutAMessageHasOnlyACode) {
    EXPECT_EQ(Error::of(Response(201)), (Error{201, ""}));
}

TEST(CommandTest, CommandWordsEqualThoseOfTheCore) {
    EXPECT_EQ(command::retrieve, commands::RETRIEVE);
    EXPECT_EQ(command::update, commands::UPDATE);
    EXPECT_EQ(command::insert, commands::INSERT);
    EXPECT_EQ(command::remove, commands::DELETE);
}

}  // namespace
}  // namespace kova::kit
