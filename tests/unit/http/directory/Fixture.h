#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <vector>

#include "UnixSocket.h"
#include "support/OtherUser.h"
#include "support/TemporaryFolder.h"

namespace kova::http::test {

using kova::test::OtherUser;

/// A folder in which a test has the directory of sockets "kova", which does not exist yet.
class SocketDirectoryTest : public ::testing::Test {
protected:
    SocketDirectoryTest() { ::chmod(folder.path().c_str(), 0777); }

    static void setMode(const std::string& path, mode_t mode) {
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
    }
    static mode_t modeOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777U;
    }
    static bool exists(const std::string& path) {
        struct stat status {};
        return ::lstat(path.c_str(), &status) == 0;
    }
    /// Creates the directory.
    void make(mode_t mode = 0755) const {
        ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
        setMode(path, mode);
    }
    std::string operator/(const std::string& name) const { return path + "/" + name; }

    /// Binds a socket to a path, and lets the caller listen.
    static wire::FileDescriptor bindSocket(const std::string& path) {
        wire::FileDescriptor socket(::socket(AF_UNIX, detail::SOCKET_KIND, 0));
        const sockaddr_un name = detail::toUnixAddress(path);
        if (::bind(socket.get(), reinterpret_cast<sockaddr const*>(&name), sizeof name) != 0) {
            throw std::runtime_error("cannot bind " + path);
        }
        return socket;
    }
    static wire::FileDescriptor listenAt(const std::string& path, int backlog = 8) {
        wire::FileDescriptor socket = bindSocket(path);
        ::listen(socket.get(), backlog);
        return socket;
    }

    const kova::test::TemporaryFolder folder;
    const std::string path = folder / "kova";
};

}  // namespace kova::http::test
