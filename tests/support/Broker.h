#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/TemporaryFolder.h"

namespace kova::test {

/// A `nats-server` on a free port of the loopback interface, which the destructor ends.
///
/// The configuration is the text of the server's configuration file, without an address. A broker
/// that is started again has the same port.
class Broker {
public:
    explicit Broker(std::string configuration = {}) : configuration_(std::move(configuration)) {
        start();
    }
    ~Broker() { stop(); }
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    /// Returns "nats://127.0.0.1:PORT". `login` is "USER:PASSWORD", a token, or empty.
    std::string url(const std::string& login = {}) const {
        return "nats://" + (login.empty() ? "" : login + "@") + "127.0.0.1:" + port_;
    }
    int port() const { return std::stoi(port_); }
    /// Returns a file in the folder of the broker, which exists as long as the object.
    std::string file(const std::string& name) const { return folder_ / name; }

    /// Starts the server again after `stop`, and waits until it listens.
    void start() {
        const std::string ports = folder_ / "ports";
        std::filesystem::remove_all(ports);
        std::filesystem::create_directory(ports);
        writeFile(folder_ / "broker.conf", configuration_);
        spawn({"nats-server", "-a", "127.0.0.1", "-p", port_.empty() ? "-1" : port_, "-c",
               folder_ / "broker.conf", "--ports_file_dir", ports, "-l", folder_ / "log"});
        port_ = awaitPort(ports);
    }
    /// Ends the server with a signal, and waits for its end.
    void stop(int signal = SIGKILL) {
        if (process_ > 0) {
            ::kill(process_, signal);
            wait();
        }
    }
    /// @{
    /// Stops and continues the process, as a partition of the network does.
    void freeze() const { ::kill(process_, SIGSTOP); }
    void thaw() const { ::kill(process_, SIGCONT); }
    /// @}

private:
    void spawn(const std::vector<std::string>& arguments) {
        std::vector<char*> words;
        for (const std::string& argument : arguments) {
            words.push_back(const_cast<char*>(argument.c_str()));
        }
        words.push_back(nullptr);
        process_ = ::fork();
        if (process_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that crashes leaves no broker behind
            ::execvp(words[0], words.data());
            ::_exit(127);
        }
        if (process_ < 0) {
            throw std::runtime_error("cannot start nats-server");
        }
    }
    void wait() {
        int status = 0;
        ::waitpid(process_, &status, 0);
        process_ = -1;
    }

    // The server writes {"nats":["nats://127.0.0.1:PORT"]} when it listens.
    std::string awaitPort(const std::string& folder) {
        const std::string begin = "127.0.0.1:";
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (std::chrono::steady_clock::now() < deadline && isRunning()) {
            for (const auto& entry : std::filesystem::directory_iterator(folder)) {
                const std::string text = readFile(entry.path().string());
                const std::size_t at = text.find(begin);
                const std::size_t end = text.find('"', at);
                if (at != std::string::npos && end != std::string::npos) {
                    return text.substr(at + begin.size(), end - at - begin.size());
                }
            }
            std::this_thread::yield();
        }
        throw std::runtime_error("nats-server does not listen: " + readFile(folder_ / "log"));
    }
    bool isRunning() {
        int status = 0;
        if (::waitpid(process_, &status, WNOHANG) != process_) {
            return true;
        }
        process_ = -1;
        return false;
    }

    const TemporaryFolder folder_;
    const std::string configuration_;
    std::string port_;
    pid_t process_ = -1;
};

}  // namespace kova::test
