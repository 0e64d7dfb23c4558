#include "directory/SocketDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>
#include <vector>

#include "directory/ServiceName.h"
#include "unit/http/directory/Fixture.h"

namespace kova::http::detail {
namespace {

using test::OtherUser;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class SocketDirectoryTest : public test::SocketDirectoryTest {
protected:
    kit::Error errorOfOpen() const {
        const auto directory = SocketDirectory::open(path);
        return directory ? kit::Error{200, "opened"} : directory.error();
    }
    std::string errorOfCreate() const {
        try {
            SocketDirectory::create(path);
            return "created";
        } catch (const std::system_error& error) {
            return error.what();
        }
    }
    kit::Result<std::string> find(const std::string& service) const {
        return SocketDirectory::open(path).orThrow().find(service);
    }
    std::string errorOfFind(const std::string& service) const {
        const auto found = find(service);
        return found ? "found" : found.error().toString();
    }
};

TEST_F(SocketDirectoryTest, IsCreatedWithAModeThatTheUmaskDoesNotNarrow) {
    const mode_t former = ::umask(0077);
    SocketDirectory::create(path);
    ::umask(former);
    EXPECT_EQ(modeOf(path), ::geteuid() == 0 ? 0755U : 0700U);
}

TEST_F(SocketDirectoryTest, IsPrivateIfAUserOtherThanRootCreatesIt) {
    KOVA_SKIP_UNLESS_ROOT();
    const OtherUser alice(OtherUser::ALICE);
    SocketDirectory::create(path);
    EXPECT_EQ(modeOf(path), 0700U);
}

TEST_F(SocketDirectoryTest, RootOfTheFileSystemKeepsItsSlash) {
    for (char const* const name : {"/", "//"}) {
        const auto directory = SocketDirectory::open(name);
        EXPECT_TRUE(directory || directory.error().code != statuscodes::NOT_FOUND);
    }
}

TEST_F(SocketDirectoryTest, ExistingDirectoryKeepsItsMode) {
    make(0750);
    SocketDirectory::create(path + "///");
    EXPECT_EQ(modeOf(path), 0750U);
}

TEST_F(SocketDirectoryTest, MissingDirectoryIsNotFound) {
    EXPECT_EQ(errorOfOpen().toString(), "404 Not Found: '" + path + "' does not exist");
}

TEST_F(SocketDirectoryTest, MissingParentIsAnError) {
    EXPECT_THROW(SocketDirectory::create(folder / "a/b"), std::system_error);
}

TEST_F(SocketDirectoryTest, FileInPlaceOfTheDirectoryIsAnError) {
    kova::test::writeFile(path, "");
    EXPECT_EQ(errorOfOpen().message, "'" + path + "' cannot be opened: Not a directory");
    EXPECT_EQ(errorOfCreate(), "directory '" + path + "': Not a directory");
}

TEST_F(SocketDirectoryTest, LinkIsNotFollowed) {
    ASSERT_EQ(::symlink("/tmp", path.c_str()), 0);
    EXPECT_EQ(errorOfOpen().code, 403);
    EXPECT_EQ(SocketDirectory::open(path + "/").error().code, 403);
    EXPECT_EQ(errorOfCreate(), "directory '" + path + "': Not a directory");
}

struct ModeRow {
    mode_t mode;
    bool isTrusted;
};

class DirectoryMode : public SocketDirectoryTest, public ::testing::WithParamInterface<ModeRow> {};

TEST_P(DirectoryMode, DecidesWhetherTheDirectoryIsTrusted) {
    make(GetParam().mode);
    EXPECT_EQ(errorOfOpen().code, GetParam().isTrusted ? 200 : 403);
    EXPECT_EQ(errorOfCreate(), GetParam().isTrusted
                                   ? "created"
                                   : "directory '" + path +
                                         "' is not trusted: other users may write in it: "
                                         "Operation not permitted");
}

INSTANTIATE_TEST_SUITE_P(SocketDirectoryTest, DirectoryMode,
                         ::testing::Values(ModeRow{0700, true}, ModeRow{0755, true},
                                           ModeRow{0775, false}, ModeRow{0757, false},
                                           ModeRow{0777, false}, ModeRow{01777, true},
                                           ModeRow{01775, true}));

TEST_F(SocketDirectoryTest, DirectoryOfAnotherUserIsNotTrusted) {
    KOVA_SKIP_UNLESS_ROOT();
    make();
    ASSERT_EQ(::chown(path.c_str(), OtherUser::ALICE, 0), 0);
    const std::string reason = "' is not trusted: belongs to the user 12345";
    EXPECT_EQ(errorOfOpen().toString(), "403 Forbidden: '" + path + reason);
    EXPECT_THAT(errorOfCreate(), HasSubstr(reason));
    const OtherUser alice(OtherUser::ALICE);
    EXPECT_EQ(errorOfOpen().code, 200);
}

TEST_F(SocketDirectoryTest, DirectoryThatMayNotBeReadIsForbidden) {
    KOVA_SKIP_UNLESS_ROOT();
    make(0700);
    const OtherUser alice(OtherUser::ALICE);
    EXPECT_EQ(errorOfOpen().toString(),
              "403 Forbidden: '" + path + "' cannot be opened: Permission denied");
}

TEST_F(SocketDirectoryTest, ServicesAreInAscendingOrder) {
    make();
    for (char const* const name : {"radio", "media+player2", "device", "%2E", "media"}) {
        bindSocket(*this / name);
    }
    EXPECT_THAT(SocketDirectory::open(path)->services(),
                ElementsAre("/.", "/device", "/media", "/media/player2", "/radio"));
}

TEST_F(SocketDirectoryTest, OnlyTrustedSocketsWithANameAreServices) {
    make();
    bindSocket(*this / "device");
    bindSocket(*this / ".new-0");
    bindSocket(*this / "no%name");
    kova::test::writeFile(*this / "file", "");
    ASSERT_EQ(::symlink("device", (*this / "link").c_str()), 0);
    ASSERT_EQ(::mkdir((*this / "folder").c_str(), 0755), 0);
    ASSERT_EQ(::mkfifo((*this / "pipe").c_str(), 0600), 0);
    EXPECT_THAT(SocketDirectory::open(path)->services(), ElementsAre("/device"));
}

TEST_F(SocketDirectoryTest, LimitedNumberOfNamesIsRead) {
    make();
    bindSocket(*this / "s0");
    for (std::size_t i = 1; i < SocketDirectory::MAX_NAMES; ++i) {
        ASSERT_EQ(::link((*this / "s0").c_str(), (*this / ("s" + std::to_string(i))).c_str()), 0);
    }
    EXPECT_EQ(SocketDirectory::open(path)->services().size(), SocketDirectory::MAX_NAMES);
    ASSERT_EQ(::link((*this / "s0").c_str(), (*this / "more").c_str()), 0);
    EXPECT_EQ(SocketDirectory::open(path)->services().size(), SocketDirectory::MAX_NAMES);
}

TEST_F(SocketDirectoryTest, ServedSocketIsFound) {
    make();
    const wire::FileDescriptor socket = listenAt(*this / "media+player2");
    EXPECT_EQ(find("/media/player2").orThrow(), *this / "media+player2");
}

TEST_F(SocketDirectoryTest, SocketWhoseQueueIsFullIsFound) {
    make();
    const wire::FileDescriptor socket = listenAt(*this / "device", 0);
    const wire::FileDescriptor first = connectToPath(*this / "device");
    ASSERT_FALSE(connectToPath(*this / "device"));
    ASSERT_EQ(errno, EAGAIN);
    EXPECT_TRUE(find("/device"));
}

TEST_F(SocketDirectoryTest, SocketThatDoesNotExistIsNotFound) {
    make();
    EXPECT_EQ(errorOfFind("/device"), "404 Not Found: '" + (*this / "device") + "' does not exist");
}

TEST_F(SocketDirectoryTest, PathThatIsTooLongForASocketIsNotFound) {
    make();
    EXPECT_THAT(errorOfFind("/" + std::string(LONGEST_SOCKET_PATH - path.size(), 'a')),
                HasSubstr("404 Not Found: "));
    EXPECT_THAT(errorOfFind("/" + std::string(100000, 'a')), HasSubstr("404 Not Found: "));
}

TEST_F(SocketDirectoryTest, LongestPathOfASocketIsFound) {
    make();
    const std::string name(LONGEST_SOCKET_PATH - path.size() - 1, 'a');
    const wire::FileDescriptor socket = listenAt(*this / name);
    EXPECT_TRUE(find("/" + name));
}

TEST_F(SocketDirectoryTest, SocketThatNobodyServesIsUnavailable) {
    make();
    bindSocket(*this / "device");
    EXPECT_EQ(errorOfFind("/device"),
              "503 Service Unavailable: no process serves '" + (*this / "device") + "'");
}

TEST_F(SocketDirectoryTest, LinkToAServedSocketIsNotTrusted) {
    make();
    const wire::FileDescriptor socket = listenAt(folder / "elsewhere");
    ASSERT_EQ(::symlink("../elsewhere", (*this / "device").c_str()), 0);
    EXPECT_EQ(errorOfFind("/device"),
              "403 Forbidden: '" + (*this / "device") + "' is not a socket");
}

TEST_F(SocketDirectoryTest, SocketOfAnotherUserIsNotTrusted) {
    KOVA_SKIP_UNLESS_ROOT();
    make(01777);
    wire::FileDescriptor socket;
    {
        const OtherUser alice(OtherUser::ALICE);
        socket = listenAt(*this / "device");
    }
    ASSERT_EQ(::chmod((*this / "device").c_str(), 0666), 0);
    const std::string reason =
        "403 Forbidden: '" + (*this / "device") + "' belongs to the user 12345";
    EXPECT_EQ(errorOfFind("/device"), reason);
    EXPECT_TRUE(SocketDirectory::open(path)->services().empty());
    {
        const OtherUser bob(OtherUser::BOB);
        EXPECT_EQ(errorOfFind("/device"), reason);
    }
    const OtherUser alice(OtherUser::ALICE);
    EXPECT_TRUE(find("/device"));
}

TEST_F(SocketDirectoryTest, SocketThatAnotherUserServesIsNotTrusted) {
    KOVA_SKIP_UNLESS_ROOT();
    make();
    const wire::FileDescriptor socket = bindSocket(*this / "device");
    {
        const OtherUser alice(OtherUser::ALICE);
        ASSERT_EQ(::listen(socket.get(), 8), 0);
    }
    EXPECT_EQ(errorOfFind("/device"),
              "403 Forbidden: '" + (*this / "device") + "' is served by the user 12345");
}

TEST_F(SocketDirectoryTest, SocketOfRootIsTrustedByAllUsersThatMayConnect) {
    KOVA_SKIP_UNLESS_ROOT();
    make();
    const wire::FileDescriptor socket = listenAt(*this / "device");
    setMode(*this / "device", 0666);
    {
        const OtherUser alice(OtherUser::ALICE);
        EXPECT_TRUE(find("/device"));
    }
    setMode(*this / "device", 0600);
    const OtherUser alice(OtherUser::ALICE);
    EXPECT_EQ(errorOfFind("/device"),
              "403 Forbidden: '" + (*this / "device") + "' does not allow this process to connect");
}

}  // namespace
}  // namespace kova::http::detail
