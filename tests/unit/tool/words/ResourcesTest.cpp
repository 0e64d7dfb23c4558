#include "Words.h"

#include <gmock/gmock.h>

#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ResourcesTest : public ToolFixture {};

TEST_F(ResourcesTest, TreeListsPathsWordsAndTypes) {
    EXPECT_EQ(run({"tree", address}), DONE);
    EXPECT_EQ(out,
              "/                  get            string[]\n"
              "/greeting/{name}   get            string\n"
              "/level             get watch put  integer\n"
              "/tracks            insert         string\n"
              "/tracks/{id:uint}  delete\n");
}

TEST_F(ResourcesTest, TreeListsMountsThatDescribeNoOperations) {
    kit::ServiceBuilder builder;
    builder.mount("/legacy", held).mount("/level", service.level);
    const auto other = builder.inspect().build();
    const std::string place = "unix:" + folder / "other";
    const http::Endpoint served(*other, place);
    EXPECT_EQ(run({"tree", place}), DONE);
    EXPECT_THAT(out, HasSubstr("/legacy"));
    EXPECT_THAT(out, HasSubstr("/level"));
}

TEST_F(ResourcesTest, TreeFitsANarrowTerminal) {
    size = [] { return Screen::Size{20, 24}; };
    EXPECT_EQ(runAt({"tree"}), DONE);
    EXPECT_THAT(out, HasSubstr("\n/lev…  get …  integ…\n"));
}

TEST_F(ResourcesTest, DescribePrintsTheSchemas) {
    EXPECT_EQ(runAt({"describe", "/level"}), DONE);
    EXPECT_THAT(out, StartsWith("/level\n  get watch\n    value: {"));
    EXPECT_THAT(out, HasSubstr("\n  put\n    body: {"));
    EXPECT_THAT(out, HasSubstr("\"type\":\"integer\""));
}

TEST_F(ResourcesTest, DescribeFindsTemplates) {
    EXPECT_EQ(run({"describe", address + "$/tracks/17"}), DONE);
    EXPECT_THAT(out, StartsWith("/tracks/{id:uint}\n  delete\n"));
    EXPECT_EQ(runAt({"describe", "/tracks/{id:uint}"}), DONE);
    EXPECT_THAT(out, StartsWith("/tracks/{id:uint}\n  delete\n"));
}

TEST_F(ResourcesTest, DescribeOfAnUnknownPathSaysHowToListTheResources) {
    EXPECT_EQ(runAt({"describe", "/tracks/17/name"}), REFUSED);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "kova: the service describes no resource '/tracks/17/name'\n      'kova tree " +
                       address + "' lists those that it describes\n");
}

TEST_F(ResourcesTest, UsageErrorsAreReported) {
    EXPECT_EQ(run({"tree"}), MISUSED);
    EXPECT_EQ(run({"tree", "/level"}), NO_SERVICE);
    EXPECT_EQ(run({"describe", "/level"}), MISUSED);
}

}  // namespace
}  // namespace kova::tool
