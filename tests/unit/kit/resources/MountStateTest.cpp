#include "resources/MountState.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

namespace kova::kit::detail {
namespace {

TEST(MountStateTest, ListsRunningJobs) {
    MountState mount(nullptr);
    const std::string command = "insert";
    const std::string path = "/library/scan";
    std::optional<MountState::Running> first(std::in_place, mount, command, path, "hmi");
    {
        const MountState::Running second(mount, command, path, "");
        EXPECT_EQ(mount.jobs().size(), 2U);
    }
    const std::vector<CallInfo> jobs = mount.jobs();
    ASSERT_EQ(jobs.size(), 1U);
    EXPECT_EQ(jobs[0].command, "insert");
    EXPECT_EQ(jobs[0].path, "/library/scan");
    EXPECT_EQ(jobs[0].client, "hmi");
    EXPECT_EQ(jobs[0].phase, CallInfo::Phase::inService);
    EXPECT_EQ(jobs[0].thread, ::syscall(SYS_gettid));
    EXPECT_GE(jobs[0].age.count(), 0);
    first.reset();
    EXPECT_TRUE(mount.jobs().empty());
}

TEST(MountStateTest, ReturnsTheFunctionForUncaughtExceptions) {
    EXPECT_FALSE(MountState(nullptr).onUncaught());
    const MountState mount([](const Error& error) { return Error{400, error.message}; });
    EXPECT_EQ(mount.onUncaught()({500, "oops"}).code, 400);
}

}  // namespace
}  // namespace kova::kit::detail
