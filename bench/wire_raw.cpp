// The least that a request can cost: 100 bytes each way between a blocking client and a server that
// waits with epoll.
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>

#include "support/Wire.h"

namespace kova::bench {

namespace {

void watch(int epoll, int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    require(epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) == 0, "epoll_ctl");
}

void answer(int client) {
    std::array<char, 4096> bytes;
    const ssize_t count = ::recv(client, bytes.data(), bytes.size(), 0);
    if (count <= 0) {
        ::close(client);
    } else {
        ::send(client, bytes.data(), static_cast<std::size_t>(count), MSG_NOSIGNAL);
    }
}

void serve(const std::string& path) {
    const int listener = listenAt(path);
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    watch(epoll, listener);
    for (;;) {
        epoll_event event{};
        if (epoll_wait(epoll, &event, 1, -1) == 1) {
            if (event.data.fd == listener) {
                watch(epoll, ::accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
            } else {
                answer(event.data.fd);
            }
        }
    }
}

class Client {
public:
    explicit Client(const std::string& path) : socket_(connectTo(path)) {}
    ~Client() { ::close(socket_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void call() {
        std::array<char, 4096> bytes;
        ::send(socket_, payload_.data(), payload_.size(), MSG_NOSIGNAL);
        require(::recv(socket_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(WIRE_BYTES),
                "raw");
    }

private:
    const int socket_;
    const std::string payload_ = wirePayload();
};

WireServer server("raw", serve);

// Each case has this contestant, because its time is the unit of the goals.
const struct Entries {
    Entries() {
        for (char const* const name :
             {"blocking call", "callback sends the next", "another thread waits", "64 in flight",
              "HTTP/1.1, answered at once", "HTTP/1.1, answered later"}) {
            wireContest(name, "raw", server, 100, [] {
                return [client = std::make_shared<Client>(server.path())](std::size_t count) {
                    while (count-- > 0) {
                        client->call();
                    }
                };
            });
        }
    }
} ENTRIES;

}  // namespace

}  // namespace kova::bench
