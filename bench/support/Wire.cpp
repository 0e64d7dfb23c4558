#include "support/Wire.h"

#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace kova::bench {

namespace {

double secondsOf(clockid_t clock) {
    timespec time{};
    require(clock_gettime(clock, &time) == 0, "clock_gettime");
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

int makeSocket() {
    const int made = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(made >= 0, "socket");
    return made;
}

// Returns false if nothing listens at the path.
bool tryToConnect(int socket, const std::string& path) {
    const sockaddr_un address = addressOf(path);
    return ::connect(socket, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0;
}

}  // namespace

void require(bool isGood, char const* what) {
    if (!isGood) {
        std::perror(what);
        std::_Exit(1);
    }
}

WireServer::WireServer(std::string name, Serve serve, WireServer const* between)
    : name_(std::move(name)), serve_(std::move(serve)), between_(between) {
    all().push_back(this);
}

std::vector<WireServer*>& WireServer::all() {
    static std::vector<WireServer*> servers;
    return servers;
}

double WireServer::processorTime() const {
    return secondsOf(clock_) + (between_ != nullptr ? secondsOf(between_->clock_) : 0) +
           secondsOf(CLOCK_PROCESS_CPUTIME_ID);
}

void WireServer::startAll(const std::string& folder) {
    for (WireServer* const server : all()) {
        server->start(folder);
    }
    for (WireServer* const server : all()) {
        const int socket = makeSocket();
        while (!tryToConnect(socket, server->path_)) {
            ::usleep(1000);
        }
        ::close(socket);
    }
}

void WireServer::start(const std::string& folder) {
    path_ = folder + "/" + name_;
    process_ = ::fork();
    require(process_ >= 0, "fork");
    if (process_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve_(path_);
        std::_Exit(0);
    }
    require(clock_getcpuclockid(process_, &clock_) == 0, "clock_getcpuclockid");
}

void WireServer::stopAll() {
    for (WireServer* const server : all()) {
        ::kill(server->process_, SIGKILL);
        ::waitpid(server->process_, nullptr, 0);
        ::unlink(server->path_.c_str());
    }
}

int connectTo(const std::string& path) {
    const int socket = makeSocket();
    require(tryToConnect(socket, path), "connect");
    return socket;
}

int freePort() {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    require(::bind(socket, reinterpret_cast<sockaddr const*>(&address), size) == 0, "bind");
    require(::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) == 0,
            "getsockname");
    ::close(socket);
    return ntohs(address.sin_port);
}

int listenAt(const std::string& path) {
    const int socket = makeSocket();
    const sockaddr_un address = addressOf(path);
    require(::bind(socket, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0,
            "bind");
    require(::listen(socket, 64) == 0, "listen");
    return socket;
}

}  // namespace kova::bench
