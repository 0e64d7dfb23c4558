#include "UnixSocket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <cerrno>
#include <string>

#include "unit/http/directory/Fixture.h"

namespace kova::http::detail {
namespace {

using test::OtherUser;

class UnixSocketTest : public test::SocketDirectoryTest {
protected:
    const std::string socketPath = folder / "s";
};

TEST_F(UnixSocketTest, LongestPathHasAnAddress) {
    const std::string longest(LONGEST_SOCKET_PATH, 'a');
    EXPECT_EQ(std::string(toUnixAddress(longest).sun_path), longest);
}

TEST_F(UnixSocketTest, ConnectsToASocketThatListens) {
    const wire::FileDescriptor server = listenAt(socketPath);
    EXPECT_TRUE(connectToPath(socketPath));
    EXPECT_FALSE(isDeadSocket(socketPath));
}

TEST_F(UnixSocketTest, SocketThatNobodyServesIsDead) {
    bindSocket(socketPath);
    EXPECT_FALSE(connectToPath(socketPath));
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_TRUE(isDeadSocket(socketPath));
}

TEST_F(UnixSocketTest, OtherFilesAreNotDeadSockets) {
    EXPECT_FALSE(isDeadSocket(socketPath)) << "missing";
    kova::test::writeFile(socketPath, "");
    EXPECT_FALSE(isDeadSocket(socketPath)) << "a file";
    bindSocket(folder / "dead");
    ASSERT_EQ(::symlink("dead", (folder / "link").c_str()), 0);
    EXPECT_FALSE(isDeadSocket(folder / "link")) << "a link to a dead socket";
}

TEST_F(UnixSocketTest, UserOfAServerIsThatOfTheProcessThatListens) {
    const wire::FileDescriptor server = listenAt(socketPath);
    EXPECT_EQ(userOfServer(connectToPath(socketPath).get()), ::geteuid());
}

TEST_F(UnixSocketTest, SocketThatIsNotConnectedHasNoUser) {
    const wire::FileDescriptor local(::socket(AF_UNIX, SOCKET_KIND, 0));
    EXPECT_EQ(userOfServer(local.get()), std::nullopt);
    const wire::FileDescriptor internet(::socket(AF_INET, SOCKET_KIND, 0));
    EXPECT_EQ(userOfServer(internet.get()), std::nullopt);
    EXPECT_EQ(userOfServer(-1), std::nullopt);
}

TEST_F(UnixSocketTest, RootAndTheOwnUserAreTrusted) {
    EXPECT_TRUE(isTrustedUser(0U));
    EXPECT_TRUE(isTrustedUser(::geteuid()));
    EXPECT_FALSE(isTrustedUser(OtherUser::ALICE));
    EXPECT_FALSE(isTrustedUser(std::nullopt));
}

}  // namespace
}  // namespace kova::http::detail
