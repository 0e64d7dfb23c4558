#include "DirectoryLock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#include "support/OtherUser.h"
#include "support/TemporaryFolder.h"
#include "support/Threads.h"

namespace kova::http::detail {
namespace {

using kova::test::OtherUser;

class DirectoryLockTest : public ::testing::Test {
protected:
    DirectoryLockTest() { ::chmod(folder.path().c_str(), 01777); }

    DirectoryLock lock() const { return DirectoryLock::ofSocket(folder / "socket"); }
    int errorOfLock() const {
        try {
            lock();
            return 0;
        } catch (const std::system_error& error) {
            return error.code().value();
        }
    }
    std::string file() const { return folder / DirectoryLock::fileName(); }
    bool exists() const {
        struct stat status {};
        return ::lstat(file().c_str(), &status) == 0;
    }

    const kova::test::TemporaryFolder folder;
};

TEST_F(DirectoryLockTest, FileOfThisUserExistsAsLongAsTheObject) {
    {
        const DirectoryLock held = lock();
        struct stat status {};
        ASSERT_EQ(::lstat(file().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0600U);
    }
    EXPECT_FALSE(exists());
}

TEST_F(DirectoryLockTest, SecondObjectGetsAnError) {
    const DirectoryLock held = lock();
    EXPECT_EQ(errorOfLock(), EADDRINUSE);
    EXPECT_TRUE(exists());
}

TEST_F(DirectoryLockTest, FileThatAKilledProcessHasLeftIsUsed) {
    kova::test::writeFile(file(), "");
    ASSERT_EQ(::chmod(file().c_str(), 0600), 0);
    EXPECT_EQ(errorOfLock(), 0);
}

TEST_F(DirectoryLockTest, OnlyOneOfSeveralThreadsHasTheLock) {
    std::atomic<int> inside{0};
    kova::test::runOnThreads(4, [&](int) {
        for (int round = 0; round < 20; ++round) {
            const DirectoryLock held = lock();
            EXPECT_EQ(++inside, 1);
            std::this_thread::yield();
            --inside;
        }
    });
    EXPECT_EQ(inside, 0);
}

// The child lives until the test has got the lock once more.
TEST_F(DirectoryLockTest, ForkedChildDoesNotKeepIt) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    std::optional<DirectoryLock> held(lock());
    const pid_t child = ::fork();
    if (child == 0) {
        char byte = 0;
        ::close(pipe[1]);
        ::_exit(::read(pipe[0], &byte, 1) == 0 ? 0 : 1);
    }
    held.reset();
    EXPECT_EQ(errorOfLock(), 0);
    ::close(pipe[1]);
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    ::close(pipe[0]);
}

TEST_F(DirectoryLockTest, LockOfTheDirectoryItselfHasNoEffect) {
    const wire::FileDescriptor reader(::open(folder.path().c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(reader.get(), LOCK_EX), 0);
    EXPECT_EQ(errorOfLock(), 0);
}

TEST_F(DirectoryLockTest, LinkIsNotFollowed) {
    ASSERT_EQ(::symlink((folder / "other").c_str(), file().c_str()), 0);
    EXPECT_EQ(errorOfLock(), ELOOP);
}

TEST_F(DirectoryLockTest, FileThatOthersMayOpenIsRefused) {
    kova::test::writeFile(file(), "");
    ASSERT_EQ(::chmod(file().c_str(), 0644), 0);
    EXPECT_EQ(errorOfLock(), EPERM);
}

TEST_F(DirectoryLockTest, UsersDoNotWaitForEachOther) {
    KOVA_SKIP_UNLESS_ROOT();
    const DirectoryLock held = lock();
    const OtherUser alice(OtherUser::ALICE);
    EXPECT_EQ(errorOfLock(), 0);
}

TEST_F(DirectoryLockTest, MissingDirectoryIsAnError) {
    EXPECT_THROW(DirectoryLock::ofSocket(folder / "missing/socket"), std::system_error);
}

}  // namespace
}  // namespace kova::http::detail
