#include "Words.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class ServicesTest : public ToolFixture {
protected:
    ServicesTest() {
        EXPECT_EQ(::mkdir((folder / "run").c_str(), 0700), 0);
        ::setenv("KOVA_RUNTIME_DIR", (folder / "run").c_str(), 1);
    }
    ~ServicesTest() override { ::unsetenv("KOVA_RUNTIME_DIR"); }
};

TEST_F(ServicesTest, EachServiceIsALineOfJson) {
    const http::Endpoint registered(service, "kova:/player");
    EXPECT_EQ(run({"ls", "--deadline", "0"}), DONE);
    EXPECT_THAT(out,
                HasSubstr("{\"service\":\"kova:/player\",\"version\":\"1.2.0\",\"uptimeMs\":"));
    EXPECT_THAT(out, HasSubstr(",\"pending\":0,\"address\":\"unix:"));
    EXPECT_EQ(err, "");
}

TEST_F(ServicesTest, TerminalShowsATable) {
    const http::Endpoint registered(service, "kova:/player");
    outIsTerminal = true;
    size = [] { return Screen::Size{120, 24}; };
    EXPECT_EQ(run({"ls", "--deadline", "0"}), DONE);
    EXPECT_THAT(out, HasSubstr("SERVICE       VERSION  UP"));
    EXPECT_THAT(out, HasSubstr("kova:/player  1.2.0    "));
}

TEST_F(ServicesTest, SilentServiceIsListedWithAnError) {
    const http::Endpoint registered(held, "kova:/silent");
    EXPECT_EQ(run({"ls", "--deadline", "2s"}), DONE);
    EXPECT_THAT(out, HasSubstr("{\"service\":\"kova:/silent\",\"address\":\"unix:"));
    EXPECT_THAT(out, HasSubstr("\"error\":\"504"));
}

TEST_F(ServicesTest, SocketThatNoProcessServesIsMarked) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    (folder / "run/dead").copy(name.sun_path, sizeof name.sun_path - 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&name), sizeof name), 0);
    ::close(socket);
    EXPECT_EQ(run({"ls"}), DONE);
    EXPECT_THAT(out, HasSubstr("{\"service\":\"kova:/dead\",\"address\":\"unix:"));
    EXPECT_THAT(out, HasSubstr(",\"error\":\"no process serves '"));
}

TEST_F(ServicesTest, EmptyDirectoryGivesExitStatusThree) {
    ::setenv("KOVA_RUNTIME_DIR", (folder / "none").c_str(), 1);
    EXPECT_EQ(run({"ls"}), NO_SERVICE);
    EXPECT_EQ(out, "");
    EXPECT_THAT(err, HasSubstr("kova: no service is registered in " + folder / "none"));
    EXPECT_THAT(err, HasSubstr("--to unix:SOCKET"));
}

TEST_F(ServicesTest, AddressIsAUsageErrorThatSaysWhatToDo) {
    EXPECT_EQ(run({"ls", "nats://broker"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("'nats://broker': ls lists the services of this machine"));
    EXPECT_THAT(err, HasSubstr("kova tree nats://HOST/SERVICE"));
}

TEST_F(ServicesTest, InterruptEndsTheWait) {
    const http::Endpoint registered(held, "kova:/silent");
    held.onRequest = [this](std::size_t number) {
        if (number == 2) {
            interrupt();
        }
    };
    EXPECT_EQ(run({"ls", "--deadline", "0"}), INTERRUPTED);
}

}  // namespace
}  // namespace kova::tool
