#include "directory/Registration.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "DirectoryLock.h"
#include "support/Threads.h"
#include "unit/http/directory/Fixture.h"

namespace kova::http::detail {
namespace {

using test::OtherUser;
using Paths = std::vector<std::string>;

class RegistrationTest : public test::SocketDirectoryTest {
protected:
    std::unique_ptr<Registration> add(const Paths& services = {"/device"},
                                      unsigned mode = 0660) const {
        return std::make_unique<Registration>(path, services, mode);
    }
    /// Returns the code and the text of the error.
    std::pair<int, std::string> errorOfAdd(const Paths& services = {"/device"}) const {
        try {
            add(services);
            return {0, "registered"};
        } catch (const std::system_error& error) {
            const std::string text = error.what();
            return {error.code().value(), text.substr(0, text.rfind(": "))};
        }
    }
    bool isServed(const std::string& name) const { return bool(connectToPath(*this / name)); }
    const std::string device = *this / "device";
};

TEST_F(RegistrationTest, FileExistsAsLongAsTheObject) {
    auto registration = add();
    EXPECT_TRUE(isServed("device"));
    EXPECT_EQ(registration->address().toString(), "unix:" + device);
    registration.reset();
    EXPECT_FALSE(exists(device));
}

TEST_F(RegistrationTest, EachServiceHasAFileOfTheSameSocket) {
    auto registration = add({"/device", "/media/player", "/\xE4"});
    for (char const* const name : {"device", "media+player", "%E4"}) {
        EXPECT_TRUE(isServed(name)) << name;
    }
    registration.reset();
    for (char const* const name : {"device", "media+player", "%E4"}) {
        EXPECT_FALSE(exists(*this / name)) << name;
    }
}

TEST_F(RegistrationTest, DestructorLeavesTheDirectoryEmpty) {
    add().reset();
    EXPECT_EQ(::rmdir(path.c_str()), 0);
}

// Each round leaves one more descriptor to the registration.
TEST_F(RegistrationTest, ExhaustedDescriptorsAreTheReasonOfTheError) {
    make();
    rlimit former{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &former), 0);
    int error = EMFILE;
    for (rlim_t left = 0; left < 8 && error != 0; ++left) {
        const wire::FileDescriptor next(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        const rlimit limit{static_cast<rlim_t>(next.get()) + 1 + left, former.rlim_max};
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
        error = errorOfAdd().first;
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &former), 0);
        EXPECT_TRUE(error == EMFILE || error == 0) << error << " with " << left;
        EXPECT_FALSE(exists(device));
    }
    EXPECT_EQ(error, 0);
}

TEST_F(RegistrationTest, FileHasTheModeWhateverTheUmaskIs) {
    const mode_t former = ::umask(0077);
    const auto registration = add({"/device"}, 0666);
    ::umask(former);
    EXPECT_EQ(modeOf(device), 0666U);
}

TEST_F(RegistrationTest, NameThatIsServedIsRefused) {
    const auto first = add();
    EXPECT_EQ(errorOfAdd(), std::pair(EADDRINUSE, "'" + device + "' is served by another process"));
    EXPECT_TRUE(isServed("device"));
}

TEST_F(RegistrationTest, NothingIsRegisteredIfOneNameIsRefused) {
    const auto first = add({"/b"});
    EXPECT_EQ(errorOfAdd({"/a", "/b", "/c"}).first, EADDRINUSE);
    EXPECT_FALSE(exists(*this / "a"));
    EXPECT_FALSE(exists(*this / "c"));
    EXPECT_TRUE(isServed("b"));
}

TEST_F(RegistrationTest, FileOfADeadProcessIsReplaced) {
    make();
    bindSocket(device);
    const auto registration = add();
    EXPECT_TRUE(isServed("device"));
}

TEST_F(RegistrationTest, TemporaryFileOfADeadProcessIsReplaced) {
    make();
    bindSocket(*this / (".new-" + std::to_string(::geteuid())));
    const auto registration = add();
    EXPECT_TRUE(isServed("device"));
}

TEST_F(RegistrationTest, FileThatIsNotASocketIsNeverReplaced) {
    make();
    kova::test::writeFile(device, "text");
    EXPECT_EQ(errorOfAdd(), std::pair(EADDRINUSE, "'" + device + "' is not a socket"));
    EXPECT_EQ(kova::test::readFile(device), "text");
}

TEST_F(RegistrationTest, LinkIsNeitherFollowedNorReplaced) {
    make();
    bindSocket(folder / "dead");
    ASSERT_EQ(::symlink("../dead", device.c_str()), 0);
    EXPECT_EQ(errorOfAdd(), std::pair(EADDRINUSE, "'" + device + "' is not a socket"));
    EXPECT_TRUE(exists(device));
    EXPECT_TRUE(exists(folder / "dead"));
}

TEST_F(RegistrationTest, DestructorDoesNotRemoveAFileOfALaterRegistration) {
    auto first = add();
    ASSERT_EQ(::unlink(device.c_str()), 0);
    const auto second = add();
    first.reset();
    EXPECT_TRUE(isServed("device"));
}

TEST_F(RegistrationTest, LongestPathIsRegisteredAndALongerOneIsRefused) {
    const std::size_t longest = LONGEST_SOCKET_PATH - path.size() - 1;
    EXPECT_TRUE(add({"/" + std::string(longest, 'a')}));
    const std::string longer = "/" + std::string(longest + 1, 'a');
    EXPECT_EQ(errorOfAdd({"/device", longer}).first, ENAMETOOLONG);
    EXPECT_FALSE(exists(device));
}

TEST_F(RegistrationTest, DirectoryPathThatIsTooLongForASocketInItIsRefused) {
    const std::string deep =
        folder / std::string(LONGEST_SOCKET_PATH - folder.path().size() - 3, 'd');
    EXPECT_THROW(Registration(deep, {"/a"}, 0660), std::system_error);
    EXPECT_FALSE(exists(deep + "/a"));
}

TEST_F(RegistrationTest, DirectoryThatOthersMayWriteIsRefused) {
    make(0777);
    EXPECT_EQ(errorOfAdd().first, EPERM);
}

TEST_F(RegistrationTest, LockThatIsHeldForLongIsAnError) {
    make();
    const DirectoryLock held = DirectoryLock::ofSocket(device);
    EXPECT_EQ(errorOfAdd(),
              std::pair(EADDRINUSE, "lock '" + (*this / DirectoryLock::fileName()) + "' is held"));
}

TEST_F(RegistrationTest, OnlyOneOfSeveralStartersGetsAName) {
    make();
    for (int round = 0; round < 20; ++round) {
        ::unlink(device.c_str());
        bindSocket(device);
        std::atomic<int> winners{0};
        kova::test::Barrier finish(4);
        kova::test::runOnThreads(4, [&](int) {
            std::unique_ptr<Registration> mine;
            try {
                mine = add();
                ++winners;
            } catch (const std::system_error& error) {
                EXPECT_EQ(error.code().value(), EADDRINUSE);
            }
            finish.wait();
        });
        EXPECT_EQ(winners, 1);
    }
}

TEST_F(RegistrationTest, FileOfAnotherUserIsNeverReplaced) {
    KOVA_SKIP_UNLESS_ROOT();
    make(01777);
    {
        const OtherUser alice(OtherUser::ALICE);
        bindSocket(device);
    }
    const std::pair refused(EADDRINUSE, "'" + device + "' belongs to the user 12345");
    EXPECT_EQ(errorOfAdd(), refused);
    {
        const OtherUser bob(OtherUser::BOB);
        EXPECT_EQ(errorOfAdd(), refused);
    }
    const OtherUser alice(OtherUser::ALICE);
    EXPECT_EQ(errorOfAdd().second, "registered");
}

TEST_F(RegistrationTest, UsersOfAStickyDirectoryDoNotWaitForEachOther) {
    KOVA_SKIP_UNLESS_ROOT();
    make(01777);
    std::optional<DirectoryLock> ofAlice;
    {
        const OtherUser alice(OtherUser::ALICE);
        ofAlice.emplace(DirectoryLock::ofSocket(device));
    }
    const OtherUser bob(OtherUser::BOB);
    EXPECT_TRUE(add({"/bob"}));
}

TEST_F(RegistrationTest, LockFileOfAnotherUserIsRefused) {
    KOVA_SKIP_UNLESS_ROOT();
    make(01777);
    {
        const OtherUser alice(OtherUser::ALICE);
        kova::test::writeFile(*this / ".lock-12346", "");
        setMode(*this / ".lock-12346", 0666);
    }
    const OtherUser bob(OtherUser::BOB);
    const int error = errorOfAdd().first;
    EXPECT_TRUE(error == EPERM || error == EACCES) << error;  // EACCES with fs.protected_regular
}

}  // namespace
}  // namespace kova::http::detail
