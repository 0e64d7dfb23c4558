#include "kova/kit/Answer.h"

#include <gtest/gtest.h>

#include <string>

#include "kova/core/Errors.h"
#include "kova/testing/Recording.h"
#include "support/Reports.h"

namespace kova::kit {
namespace {

TEST(Answer, CreatedHasTheCode201) {
    const Answered<std::string> answer = created(std::string("text"));
    EXPECT_EQ(answer.code, 201);
    EXPECT_EQ(answer.value, "text");
    EXPECT_EQ(answered(204, 1).code, 204);
}

TEST(Answer, NotFoundErrorContainsThePath) {
    const Request request("retrieve", "/playlist/9");
    const Error error = notFound(Ask(request, "9"));
    EXPECT_EQ(error.code, 404);
    EXPECT_EQ(error.message, "path '/playlist/9' not found");
}

TEST(Answer, CataloguedErrorContainsItsArgumentsInOrder) {
    EXPECT_EQ(catalogued(errors::CommandNotSupported, "delete", "/state").message,
              "command 'delete' not supported for path '/state'");
    EXPECT_EQ(catalogued(errors::PathNotFound, "/%s/100%", "unused").message,
              "path '/%s/100%' not found");
    EXPECT_EQ(catalogued(errors::PathNotFound).message, "path '' not found");
}

TEST(Answer, UnknownErrorNumberReturnsAnEmptyMessage) {
    const Error error = catalogued(-1, "unused");
    EXPECT_EQ(error.message, "");
    EXPECT_GE(error.code, 400);
}

TEST(Answer, FailReportsTheErrorAndEndsTheRequest) {
    test::Reports reports;
    const auto recording = kova::testing::record();
    fail(*recording.handler(), errors::PathNotFound, "/nowhere");
    EXPECT_EQ(recording.events(),
              (kova::testing::Recording::Events{"error 404 path '/nowhere' not found"}));
    const auto seen = reports.take();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].number, errors::PathNotFound);
}

}  // namespace
}  // namespace kova::kit
