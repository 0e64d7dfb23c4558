#include "server/Activation.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "Served.h"
#include "UnixSocket.h"

namespace kova::http::detail {
namespace {

constexpr pid_t SELF = 4711;

struct Row {
    ActivationVariables variables;
    std::string result;
};

class HandedOverSockets : public ::testing::TestWithParam<Row> {};

TEST_P(HandedOverSockets, AreThoseOfTheVariables) {
    const auto sockets = handedOverSockets(GetParam().variables, SELF);
    std::string text;
    if (sockets) {
        for (const HandedOverSocket& socket : *sockets) {
            text += std::to_string(socket.descriptor) + " " + socket.name + ";";
        }
    } else {
        EXPECT_EQ(sockets.error().code, 400);
        text = sockets.error().message;
    }
    EXPECT_EQ(text, GetParam().result);
}

std::string notACount(const std::string& count) {
    return "LISTEN_FDS '" + count + "' is not a number of sockets from 1 to 1024";
}

INSTANTIATE_TEST_SUITE_P(
    ActivationTest, HandedOverSockets,
    ::testing::Values(
        Row{{"4711", "1", nullptr}, "3 unknown;"}, Row{{"4711", "1", "web"}, "3 web;"},
        Row{{"4711", "3", "a:b:a"}, "3 a;4 b;5 a;"}, Row{{"4711", "2", ":"}, "3 ;4 ;"},
        Row{{nullptr, nullptr, nullptr}, "no service manager has handed over sockets"},
        Row{{"4711", nullptr, "a"}, "no service manager has handed over sockets"},
        Row{{nullptr, "1", "a"}, "no service manager has handed over sockets"},
        Row{{"4712", "1", "a"}, "the sockets of LISTEN_PID '4712' are not for this process"},
        Row{{"", "1", "a"}, "the sockets of LISTEN_PID '' are not for this process"},
        Row{{"4711x", "1", "a"}, "the sockets of LISTEN_PID '4711x' are not for this process"},
        Row{{"99999999999999999999", "1", "a"},
            "the sockets of LISTEN_PID '99999999999999999999' are not for this process"},
        Row{{"4711", "", nullptr}, notACount("")}, Row{{"4711", "0", nullptr}, notACount("0")},
        Row{{"4711", "-1", nullptr}, notACount("-1")},
        Row{{"4711", " 1", nullptr}, notACount(" 1")},
        Row{{"4711", "1 ", nullptr}, notACount("1 ")},
        Row{{"4711", "one", nullptr}, notACount("one")},
        Row{{"4711", "1025", nullptr}, notACount("1025")},
        Row{{"4711", "99999999999999999999", nullptr}, notACount("99999999999999999999")},
        Row{{"4711", "2", "a"}, "LISTEN_FDNAMES 'a' has not 2 names"},
        Row{{"4711", "1", "a:b"}, "LISTEN_FDNAMES 'a:b' has not 1 names"},
        Row{{"4711", "2", ""}, "LISTEN_FDNAMES '' has not 2 names"}));

TEST(HandedOverSocketsTest, HighestNumberIsAccepted) {
    const auto sockets = handedOverSockets({"4711", "1024", nullptr}, SELF);
    ASSERT_TRUE(sockets);
    EXPECT_EQ(sockets->back().descriptor, 1026);
}

/// Acts as the service manager: puts sockets at the descriptors from 3 on, and sets the variables.
/// The destructor restores the descriptors and removes the variables.
class ActivationTest : public ::testing::Test {
protected:
    static constexpr int FIRST = 3;
    static constexpr std::size_t MOST = 3;

    ActivationTest() {
        for (std::size_t i = 0; i < MOST; ++i) {
            former.at(i) = ::fcntl(FIRST + static_cast<int>(i), F_DUPFD_CLOEXEC, 100);
        }
    }
    ~ActivationTest() override {
        for (std::size_t i = 0; i < MOST; ++i) {
            const int descriptor = FIRST + static_cast<int>(i);
            ::close(descriptor);
            if (former.at(i) >= 0) {
                ::dup3(former.at(i), descriptor, O_CLOEXEC);
                ::close(former.at(i));
            }
        }
        for (char const* const name : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) {
            ::unsetenv(name);
        }
    }
    /// Hands over copies of the sockets.
    void handOver(const std::vector<int>& sockets, char const* names) const {
        for (std::size_t i = 0; i < sockets.size(); ++i) {
            ASSERT_EQ(::dup2(sockets[i], FIRST + static_cast<int>(i)), FIRST + static_cast<int>(i));
        }
        ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
        ::setenv("LISTEN_FDS", std::to_string(sockets.size()).c_str(), 1);
        ::setenv("LISTEN_FDNAMES", names, 1);
    }
    wire::FileDescriptor bindTo(int type, const sockaddr* address, socklen_t size) const {
        // Above the descriptors that are handed over.
        const wire::FileDescriptor low(::socket(address->sa_family, type | SOCK_CLOEXEC, 0));
        wire::FileDescriptor socket(::fcntl(low.get(), F_DUPFD_CLOEXEC, 100));
        if (::bind(socket.get(), address, size) != 0) {
            throw std::runtime_error("cannot bind");
        }
        return socket;
    }
    wire::FileDescriptor unixSocket(const std::string& path, int type = SOCK_STREAM) const {
        const sockaddr_un address = toUnixAddress(path);
        wire::FileDescriptor socket =
            bindTo(type, reinterpret_cast<sockaddr const*>(&address), sizeof address);
        ::listen(socket.get(), 8);
        return socket;
    }
    wire::FileDescriptor abstractSocket() const {
        const std::string name = std::string(1, '\0') + "kova-" + std::to_string(::getpid());
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.data(), name.size());
        wire::FileDescriptor socket =
            bindTo(SOCK_STREAM, reinterpret_cast<sockaddr const*>(&address),
                   static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size()));
        ::listen(socket.get(), 8);
        return socket;
    }
    static std::string errorOf(const std::string& name) {
        try {
            const ActivatedSocket socket(name);
            return "usable";
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
    }

    test::SocketDirectory directory;
    const std::string path = directory.path("s");
    std::array<int, MOST> former{};
};

TEST_F(ActivationTest, SingleSocketNeedsNoName) {
    handOver({unixSocket(path).get()}, "web");
    const ActivatedSocket socket("");
    EXPECT_EQ(socket.address().toString(), "unix:" + path);
    EXPECT_TRUE(connectToPath(path));
}

TEST_F(ActivationTest, NameSelectsASocket) {
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const wire::FileDescriptor tcp =
        bindTo(SOCK_STREAM, reinterpret_cast<sockaddr const*>(&v4), sizeof v4);
    ASSERT_EQ(::listen(tcp.get(), 8), 0);
    handOver({unixSocket(path).get(), tcp.get()}, "local:web");
    EXPECT_EQ(ActivatedSocket("local").address().path, path);
    const Address address = ActivatedSocket("web").address();
    EXPECT_EQ(address.host, "127.0.0.1");
    EXPECT_NE(address.port, 0);
}

TEST_F(ActivationTest, SocketOfIpv6HasItsAddress) {
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_addr = in6addr_loopback;
    const wire::FileDescriptor tcp =
        bindTo(SOCK_STREAM, reinterpret_cast<sockaddr const*>(&v6), sizeof v6);
    ASSERT_EQ(::listen(tcp.get(), 8), 0);
    handOver({tcp.get()}, "web");
    EXPECT_EQ(ActivatedSocket("").address().host, "::1");
}

TEST_F(ActivationTest, LongestPathIsReadWithoutAZeroByteAtItsEnd) {
    const std::string longest =
        directory.path("") + std::string(LONGEST_SOCKET_PATH + 1 - directory.path("").size(), 'a');
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, longest.data(), longest.size());
    const wire::FileDescriptor socket =
        bindTo(SOCK_STREAM, reinterpret_cast<sockaddr const*>(&address), sizeof address);
    ASSERT_EQ(::listen(socket.get(), 8), 0);
    handOver({socket.get()}, "web");
    EXPECT_EQ(ActivatedSocket("").address().path, longest);
    ::unlink((longest).c_str());
}

TEST_F(ActivationTest, AllDescriptorsGetCloseOnExecAndTheSocketDoesNotBlock) {
    handOver({unixSocket(path).get(), unixSocket(directory.path("t")).get()}, "a:b");
    const ActivatedSocket socket("b");
    for (const int descriptor : {3, 4, socket.descriptor()}) {
        EXPECT_EQ(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC) << descriptor;
    }
    EXPECT_NE(::fcntl(socket.descriptor(), F_GETFL) & O_NONBLOCK, 0);
    ::unlink(directory.path("t").c_str());
}

TEST_F(ActivationTest, SocketIsUsedByOneObjectAtATimeAndStaysOpen) {
    handOver({unixSocket(path).get()}, "web");
    auto first = std::make_unique<ActivatedSocket>("web");
    try {
        const ActivatedSocket second("web");
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), EADDRINUSE);
    }
    first.reset();
    const wire::FileDescriptor waiting = connectToPath(path);
    EXPECT_TRUE(waiting) << "the file and the queue are those of the service manager";
    const ActivatedSocket third("web");
    EXPECT_TRUE(wire::FileDescriptor(::accept(third.descriptor(), nullptr, nullptr)));
}

TEST_F(ActivationTest, UnusableSocketsAreErrors) {
    EXPECT_EQ(errorOf(""), "no service manager has handed over sockets");
    handOver({unixSocket(path, SOCK_SEQPACKET).get()}, "a");
    EXPECT_EQ(errorOf("a"), "the socket 'a' of the service manager is not a stream socket");
    ::unlink(path.c_str());
    handOver({unixSocket(path, SOCK_DGRAM).get()}, "a");
    EXPECT_EQ(errorOf("a"), "the socket 'a' of the service manager is not a stream socket");
    int pair[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    handOver({pair[0]}, "a");
    EXPECT_EQ(errorOf("a"), "the socket 'a' of the service manager does not listen");
    ::close(pair[0]);
    ::close(pair[1]);
    handOver({::fileno(stderr)}, "a");
    EXPECT_EQ(errorOf("a"), "the socket 'a' of the service manager is not a socket");
    ::close(3);
    EXPECT_EQ(errorOf("a"), "the socket 'a' of the service manager is not a socket");
    handOver({abstractSocket().get()}, "a");
    EXPECT_EQ(errorOf("a"), "the socket 'a' of the service manager has neither a path nor a port");
}

TEST_F(ActivationTest, NameThatNoSocketOrSeveralSocketsHaveIsAnError) {
    const wire::FileDescriptor socket = unixSocket(path);
    handOver({socket.get(), socket.get(), socket.get()}, "a:b:b");
    EXPECT_EQ(errorOf("c"),
              "the service manager has handed over no sockets with the name 'c'; there is a, b, b");
    EXPECT_EQ(errorOf("b"),
              "the service manager has handed over 2 sockets with the name 'b'; give each a name "
              "of its own: a, b, b");
    EXPECT_EQ(
        errorOf(""),
        "the service manager has handed over 3 sockets; give each a name of its own: a, b, b");
    EXPECT_EQ(errorOf("a"), "usable");
}

TEST_F(ActivationTest, ExhaustedDescriptorsAreTheReasonOfTheError) {
    const wire::FileDescriptor socket = unixSocket(directory.path("s"));
    handOver({socket.get()}, "s");
    rlimit former{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &former), 0);
    const int next = wire::FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)).get();
    const rlimit limit{static_cast<rlim_t>(next), former.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    int error = 0;
    try {
        const ActivatedSocket activated("s");
    } catch (const std::system_error& failure) {
        error = failure.code().value();
    }
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &former), 0);
    EXPECT_EQ(error, EMFILE);
    EXPECT_NO_THROW(ActivatedSocket("s"));
}

}  // namespace
}  // namespace kova::http::detail
