#include "client/Dialer.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>

#include "UnixSocket.h"
#include "support/Http2Peer.h"
#include "support/OtherUser.h"
#include "support/Watchdog.h"

namespace kova::http::detail {
namespace {

using namespace std::chrono_literals;

class DialerTest : public ::testing::Test {
protected:
    ~DialerTest() override {
        onLoop([&] { dialer.reset(); });
        loop->stop();
    }
    template <typename Function>
    void onLoop(Function function) {
        std::promise<void> done;
        loop->post([&] {
            function();
            done.set_value();
        });
        done.get_future().wait();
    }
    void dial(const std::string& address, bool onlyTrusted = false) {
        onLoop([&] {
            dialer = std::make_unique<Dialer>(
                *loop, *Address::parse(address),
                [&](wire::FileDescriptor socket) { connected.set_value(std::move(socket)); },
                onlyTrusted);
            dialer->start();
            reason = dialer->reason();
        });
    }

    test::Watchdog watchdog{"a dialer connects"};
    test::UnixListener listener;
    const std::shared_ptr<wire::EventLoop> loop = wire::EventLoop::start("test-loop");
    std::promise<wire::FileDescriptor> connected;
    std::string reason;
    std::unique_ptr<Dialer> dialer;
};

TEST_F(DialerTest, UnixSocketIsConnectedInsideStart) {
    listener.listen();
    dial(listener.address());
    EXPECT_EQ(connected.get_future().wait_for(0s), std::future_status::ready);
}

TEST_F(DialerTest, ServerOfThisUserIsTrusted) {
    listener.listen();
    dial(listener.address(), true);
    EXPECT_EQ(connected.get_future().wait_for(0s), std::future_status::ready);
}

TEST_F(DialerTest, ServerOfAnotherUserIsNotTrusted) {
    KOVA_SKIP_UNLESS_ROOT();
    const wire::FileDescriptor server(::socket(AF_UNIX, SOCK_STREAM, 0));
    const std::string path = listener.address().substr(5);
    const sockaddr_un address = toUnixAddress(path);
    ASSERT_EQ(::bind(server.get(), reinterpret_cast<sockaddr const*>(&address), sizeof address), 0);
    {
        const kova::test::OtherUser alice(kova::test::OtherUser::ALICE);
        ASSERT_EQ(::listen(server.get(), 1), 0);
    }
    dial(listener.address(), true);
    EXPECT_EQ(reason, "Operation not permitted");
    ::unlink(path.c_str());
}

TEST_F(DialerTest, TcpSocketIsConnected) {
    const wire::FileDescriptor server(::socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(::bind(server.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(::listen(server.get(), 1), 0);
    ::getsockname(server.get(), reinterpret_cast<sockaddr*>(&address), &size);
    dial("tcp:127.0.0.1:" + std::to_string(ntohs(address.sin_port)));
    EXPECT_TRUE(connected.get_future().get());
}

TEST_F(DialerTest, RefusedTcpConnectionIsTriedAgain) {
    const wire::FileDescriptor server(::socket(AF_INET6, SOCK_STREAM, 0));
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_loopback;
    socklen_t size = sizeof address;
    if (::bind(server.get(), reinterpret_cast<sockaddr*>(&address), size) != 0) {
        GTEST_SKIP() << "the system has no IPv6";
    }
    ::getsockname(server.get(), reinterpret_cast<sockaddr*>(&address), &size);
    dial("tcp:[::1]:" + std::to_string(ntohs(address.sin6_port)));
    ASSERT_EQ(::listen(server.get(), 1), 0);
    EXPECT_TRUE(connected.get_future().get());
}

TEST_F(DialerTest, MissingSocketIsTriedAgainUntilItExists) {
    const auto begin = std::chrono::steady_clock::now();
    dial(listener.address());
    EXPECT_EQ(reason, "No such file or directory");
    listener.listen();
    EXPECT_TRUE(connected.get_future().get());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, Dialer::FIRST_DELAY / 2);
}

TEST_F(DialerTest, FullQueueOfAUnixSocketIsTriedAgain) {
    listener.listen(0);
    dial(listener.address());
    const wire::FileDescriptor first = connected.get_future().get();
    connected = {};
    dial(listener.address());
    EXPECT_EQ(reason, "Resource temporarily unavailable");
    ::close(listener.accept());
    EXPECT_TRUE(connected.get_future().get());
}

TEST_F(DialerTest, StopForgetsTheDelay) {
    dial(listener.address());
    onLoop([&] {
        dialer->stop();
        EXPECT_EQ(dialer->reason(), "no answer");
        listener.listen();
        dialer->start();
    });
    EXPECT_EQ(connected.get_future().wait_for(0s), std::future_status::ready);
}

TEST_F(DialerTest, SecondConnectionIsDelayedUntilTheDelayIsForgotten) {
    listener.listen();
    dial(listener.address());
    ASSERT_TRUE(connected.get_future().get());
    connected = {};
    std::future<wire::FileDescriptor> again = connected.get_future();
    onLoop([&] {
        dialer->start();
        EXPECT_EQ(again.wait_for(0s), std::future_status::timeout);
    });
    ASSERT_TRUE(again.get());
    connected = {};
    onLoop([&] {
        dialer->forgetDelay();
        dialer->start();
        EXPECT_EQ(connected.get_future().wait_for(0s), std::future_status::ready);
    });
}

}  // namespace
}  // namespace kova::http::detail
