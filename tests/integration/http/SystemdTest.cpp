// Tests endpoints at sockets that systemd-socket-activate has opened.
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kova/http/Connect.h"
#include "kova/http/Directory.h"
#include "kova/kit/Client.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::http {
namespace {

using Arguments = std::vector<std::string>;

/// A process of systemd-socket-activate, which becomes the program at the first connection.
class Activation {
public:
    explicit Activation(const Arguments& arguments) {
        std::vector<char*> words = {const_cast<char*>("systemd-socket-activate")};
        for (const std::string& argument : arguments) {
            words.push_back(const_cast<char*>(argument.c_str()));
        }
        words.push_back(nullptr);
        if (::posix_spawnp(&process_, words[0], nullptr, nullptr, words.data(), environ) != 0) {
            throw std::runtime_error("cannot start systemd-socket-activate");
        }
    }
    ~Activation() {
        if (process_ > 0) {
            stop();
        }
    }
    Activation(const Activation&) = delete;
    Activation& operator=(const Activation&) = delete;

    /// Tells the process to end, and returns its exit status, or -1 if a signal ended it.
    int stop() {
        ::kill(process_, SIGTERM);
        return wait();
    }
    int wait() {
        int status = 0;
        ::waitpid(process_, &status, 0);
        process_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t process_ = -1;
};

class SystemdTest : public ::testing::Test {
protected:
    static void awaitFile(const std::string& path) {
        while (::access(path.c_str(), F_OK) != 0) {
            std::this_thread::yield();
        }
    }
    static int levelOf(IKovaApi& service) {
        return kit::Client(service).retrieve<int>("/level").get().orThrow();
    }
    static int levelAt(const std::string& address) {
        ConnectOptions options;
        options.patience = std::chrono::seconds(30);  // the file exists before anybody listens
        return levelOf(**connect(address, options));
    }

    const test::Watchdog watchdog{"a socket is handed over"};
    const test::TemporaryFolder folder;
    const std::string first = folder / "device";
    const std::string second = folder / "b";
};

TEST_F(SystemdTest, FirstRequestStartsTheServiceAndItsFileStays) {
    Activation activation({"-l", first, ACTIVATED_SERVICE, "systemd:"});
    awaitFile(first);
    EXPECT_EQ(levelAt("unix:" + first), 30);
    EXPECT_EQ(activation.stop(), 0);
    EXPECT_EQ(::access(first.c_str(), F_OK), 0);
}

TEST_F(SystemdTest, NamesSelectTheSockets) {
    const Activation activation({"-l", first, "-l", second, "--fdname=one:two", ACTIVATED_SERVICE,
                                 "systemd:two", "systemd:one"});
    awaitFile(second);
    EXPECT_EQ(levelAt("unix:" + first), 30);
    EXPECT_EQ(levelAt("unix:" + second), 30);
}

TEST_F(SystemdTest, SocketInTheDirectoryIsFoundByItsLocator) {
    const Activation activation({"-l", first, ACTIVATED_SERVICE, "systemd:"});
    awaitFile(first);
    OpenOptions options;
    options.directories = {folder.path()};
    options.patience = std::chrono::seconds(30);  // the file exists before anybody listens
    const Opened opened = open("kova:/device$/level", options).orThrow();
    EXPECT_EQ(levelOf(*opened.service), 30);
}

TEST_F(SystemdTest, NameThatWasNotHandedOverIsAnError) {
    Activation activation({"-l", first, ACTIVATED_SERVICE, "systemd:other"});
    awaitFile(first);
    ConnectOptions options;
    options.patience = std::chrono::seconds(30);
    const auto service = connect("unix:" + first, options);
    EXPECT_FALSE(kit::Client(**service).retrieve<int>("/level").get());
    EXPECT_EQ(activation.wait(), 1);
}

TEST_F(SystemdTest, DatagramSocketIsAnError) {
    Activation activation({"--datagram", "-l", first, ACTIVATED_SERVICE, "systemd:"});
    awaitFile(first);
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    first.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::sendto(socket, "x", 1, 0, reinterpret_cast<sockaddr*>(&address), sizeof address),
              1);
    ::close(socket);
    EXPECT_EQ(activation.wait(), 1);
}

}  // namespace
}  // namespace kova::http
