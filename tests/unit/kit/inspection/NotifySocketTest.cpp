#include "inspection/NotifySocket.h"

#include <gtest/gtest.h>

#include <string>

#include "support/NotifyReceiver.h"

namespace kova::kit::detail {
namespace {

using kova::test::abstractSocket;
using kova::test::NotifyReceiver;

TEST(NotifySocketTest, MessageReachesAnAbstractSocket) {
    NotifyReceiver receiver(abstractSocket("socket"));
    const NotifySocket socket(receiver.name());
    EXPECT_TRUE(socket.isOpen());
    EXPECT_TRUE(socket.send("READY=1"));
    EXPECT_EQ(receiver.receive(), "READY=1");
}

TEST(NotifySocketTest, MessageReachesThePathOfASocket) {
    NotifyReceiver receiver(::testing::TempDir() + "kova-notify-" + std::to_string(::getpid()));
    const NotifySocket socket(receiver.name());
    EXPECT_TRUE(socket.send("READY=1"));
    EXPECT_EQ(receiver.receive(), "READY=1");
}

TEST(NotifySocketTest, InvalidSocketNameCannotBeOpened) {
    for (const std::string& name :
         {std::string(), std::string("/"), std::string("@"), std::string("relative/path"),
          std::string("vsock:2:1234"), '/' + std::string(107, 'a')}) {
        const NotifySocket socket(name);
        EXPECT_FALSE(socket.isOpen()) << name;
        EXPECT_FALSE(socket.send("READY=1")) << name;
    }
    EXPECT_TRUE(NotifySocket('/' + std::string(106, 'a')).isOpen());
}

TEST(NotifySocketTest, SendingToAnUnboundSocketFails) {
    const NotifySocket socket(abstractSocket("nobody"));
    EXPECT_TRUE(socket.isOpen());
    EXPECT_FALSE(socket.send("READY=1"));
}

}  // namespace
}  // namespace kova::kit::detail
