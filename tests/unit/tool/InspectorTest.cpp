#include "Inspector.h"

#include <gmock/gmock.h>

#include <CLI/CLI.hpp>
#include "kova/kit/InspectionViews.h"
#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;

class InspectorTest : public ToolFixture {
protected:
    std::ostringstream errors;
    Context context{{errors}, {errors}, -1, -1};
    Inspector inspector{context, Target::ofService(address).orThrow(), std::chrono::seconds(10)};
};

TEST_F(InspectorTest, ReadReturnsAValueOfTheService) {
    const auto version = inspector.read<kit::VersionView>("version");
    ASSERT_TRUE(version);
    EXPECT_EQ(version->name, "player");
    EXPECT_EQ(inspector.status(), DONE);
}

TEST_F(InspectorTest, PathThatTheServiceLacksIsReportedAsMissingInspection) {
    EXPECT_FALSE(inspector.ask(kit::command::retrieve, "none"));
    EXPECT_EQ(inspector.status(), REFUSED);
    EXPECT_THAT(errors.str(), HasSubstr("built without ServiceBuilder::inspect"));
}

TEST_F(InspectorTest, ValueOfAnUnexpectedTypeIsReportedAsAFailureOfTheService) {
    EXPECT_FALSE(inspector.read<int>("version"));
    EXPECT_EQ(inspector.status(), FAILED);
    EXPECT_THAT(errors.str(), HasSubstr("the service answers with something else"));
}

TEST_F(InspectorTest, UnknownServiceIsReported) {
    ::setenv("KOVA_RUNTIME_DIR", folder.path().c_str(), 1);
    const Inspector none(context, Target::ofService("kova:/none").orThrow(),
                         std::chrono::seconds(10));
    EXPECT_EQ(none.status(), NO_SERVICE);
}

TEST_F(InspectorTest, ServiceIsNamedByTheArgumentOrTheOption) {
    for (char const* line : {"one kova:/a", "one --to kova:/a"}) {
        CLI::App app;
        std::string service;
        addServiceArgument(*app.add_subcommand("one"), service);
        app.parse(line);
        EXPECT_EQ(service, "kova:/a");
    }
}

TEST_F(InspectorTest, MissingServiceIsAUsageError) {
    bool isCalled = false;
    EXPECT_EQ(withInspector(context, {}, [&](Inspector&) { isCalled = true; }), MISUSED);
    EXPECT_THAT(errors.str(), HasSubstr("'kova ls' lists those of this machine"));
    EXPECT_FALSE(isCalled);
}

}  // namespace
}  // namespace kova::tool
