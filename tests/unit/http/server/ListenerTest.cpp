#include "server/Listener.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>

#include "DirectoryLock.h"
#include "Served.h"
#include "UnixSocket.h"
#include "support/OtherUser.h"
#include "support/Threads.h"

namespace kova::http::detail {
namespace {

class ListenerTest : public ::testing::Test {
protected:
    std::unique_ptr<Listener> listen(unsigned mode = 0660) const {
        return std::make_unique<Listener>(*Address::parse(directory.address()), mode);
    }
    int errorOfListen() const {
        try {
            listen();
            return 0;
        } catch (const std::system_error& error) {
            return error.code().value();
        }
    }
    /// Leaves the file of a socket that nobody serves.
    void leaveFile() const {
        const wire::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        std::strcpy(name.sun_path, path.c_str());
        ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&name), sizeof name), 0);
    }
    bool exists() const { return ::access(path.c_str(), F_OK) == 0; }

    test::SocketDirectory directory;
    const std::string path = directory.path("s");
};

TEST_F(ListenerTest, FileExistsAsLongAsTheListener) {
    auto listener = listen();
    EXPECT_TRUE(exists());
    listener.reset();
    EXPECT_FALSE(exists());
}

TEST_F(ListenerTest, FileHasTheModeWhateverTheUmaskIs) {
    const mode_t former = ::umask(0077);
    const auto listener = listen(0666);
    ::umask(former);
    struct stat status {};
    ASSERT_EQ(::lstat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0666U);
}

TEST_F(ListenerTest, FileOfADeadProcessIsReplaced) {
    leaveFile();
    const auto listener = listen();
    EXPECT_NO_THROW(test::SocketClient{directory.address()});
}

TEST_F(ListenerTest, PathInUseIsRefusedAndStaysUsable) {
    const auto first = listen();
    EXPECT_EQ(errorOfListen(), EADDRINUSE);
    EXPECT_NO_THROW(test::SocketClient{directory.address()});
}

TEST_F(ListenerTest, ReaderOfTheDirectoryCannotDelayAListener) {
    const wire::FileDescriptor reader(::open(directory.path("").c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(reader.get(), LOCK_EX), 0);
    EXPECT_EQ(errorOfListen(), 0);
}

TEST_F(ListenerTest, ListenerNeedsTheLockOfTheDirectory) {
    const DirectoryLock held = DirectoryLock::ofSocket(path);
    EXPECT_EQ(errorOfListen(), EADDRINUSE);
    EXPECT_FALSE(exists());
}

TEST_F(ListenerTest, OtherKindsOfFilesAreNeverReplaced) {
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(errorOfListen(), EADDRINUSE);
    ASSERT_EQ(::unlink(path.c_str()), 0);
    ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(errorOfListen(), EADDRINUSE);
    ASSERT_EQ(::rmdir(path.c_str()), 0);
    const wire::FileDescriptor datagrams(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un name = toUnixAddress(path);
    ASSERT_EQ(::bind(datagrams.get(), reinterpret_cast<sockaddr const*>(&name), sizeof name), 0);
    EXPECT_EQ(errorOfListen(), EADDRINUSE);
    EXPECT_TRUE(exists());
}

TEST_F(ListenerTest, LinkToASocketIsNotReplaced) {
    const std::string other = directory.path("other");
    {
        const wire::FileDescriptor dead(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_un name = toUnixAddress(other);
        ASSERT_EQ(::bind(dead.get(), reinterpret_cast<sockaddr const*>(&name), sizeof name), 0);
    }
    ASSERT_EQ(::symlink(other.c_str(), path.c_str()), 0);
    EXPECT_EQ(errorOfListen(), EADDRINUSE);
    struct stat status {};
    EXPECT_EQ(::lstat(other.c_str(), &status), 0);
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
    ::unlink(other.c_str());
}

TEST_F(ListenerTest, SocketOfAnotherUserIsNotReplaced) {
    KOVA_SKIP_UNLESS_ROOT();
    leaveFile();
    ASSERT_EQ(::lchown(path.c_str(), kova::test::OtherUser::ALICE, 0), 0);
    EXPECT_EQ(errorOfListen(), EADDRINUSE);
    EXPECT_TRUE(exists());
}

TEST_F(ListenerTest, FileThatIsNotASocketIsNeverRemoved) {
    std::FILE* const file = std::fopen(path.c_str(), "w");
    std::fclose(file);
    EXPECT_EQ(errorOfListen(), EADDRINUSE);
    EXPECT_TRUE(exists());
}

TEST_F(ListenerTest, LinkThatLeadsNowhereIsNotReplaced) {
    ASSERT_EQ(::symlink("/nowhere/at/all", path.c_str()), 0);
    EXPECT_EQ(errorOfListen(), EADDRINUSE);
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
}

TEST_F(ListenerTest, MissingDirectoryIsAnError) {
    const Address address = *Address::parse("unix:" + directory.path("missing/s"));
    try {
        const Listener listener(address, 0660);
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), ENOENT);
    }
}

TEST_F(ListenerTest, DestructorDoesNotRemoveAFileOfALaterListener) {
    auto first = listen();
    ASSERT_EQ(::unlink(path.c_str()), 0);
    const auto second = listen();
    first.reset();
    EXPECT_TRUE(exists());
    EXPECT_NO_THROW(test::SocketClient{directory.address()});
}

TEST_F(ListenerTest, OnlyOneOfSeveralStartersGetsAPath) {
    for (int round = 0; round < 20; ++round) {
        leaveFile();
        std::atomic<int> winners{0};
        kova::test::Barrier finish(4);
        kova::test::runOnThreads(4, [&](int) {
            std::unique_ptr<Listener> mine;
            try {
                mine = listen();
                ++winners;
            } catch (const std::system_error& error) {
                EXPECT_EQ(error.code().value(), EADDRINUSE);
            }
            finish.wait();
        });
        EXPECT_EQ(winners, 1);
    }
}

TEST_F(ListenerTest, PortInUseIsRefused) {
    const Listener first(*Address::parse("tcp:127.0.0.1:0"), 0);
    EXPECT_NE(first.address().port, 0);
    EXPECT_THROW(Listener(first.address(), 0), std::system_error);
}

TEST_F(ListenerTest, PortZeroOfIpv6BecomesThePortThatTheSystemChose) {
    const Listener listener(*Address::parse("tcp:[::1]:0"), 0);
    EXPECT_NE(listener.address().port, 0);
}

}  // namespace
}  // namespace kova::http::detail
