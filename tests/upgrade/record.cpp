// Writes a connection between this release's client and endpoint to the standard output, for
// tests/upgrade/recorded.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <thread>
#include <vector>

#include "kova/http/Connect.h"
#include "kova/http/Endpoint.h"
#include "support/Http2Peer.h"
#include "support/SocketClient.h"
#include "upgrade/RecordedConnection.h"

namespace kova::test {
namespace {

/// Moves the bytes that are ready from one socket to the other, and appends them to the turns.
/// Returns false if the connection is closed.
bool move(int from, int to, bool isOfClient, std::vector<Turn>& turns) {
    std::array<char, 65536> buffer;
    const ssize_t count = ::recv(from, buffer.data(), buffer.size(), 0);
    if (count <= 0) {
        return false;
    }
    const std::string bytes(buffer.data(), static_cast<std::size_t>(count));
    if (turns.empty() || turns.back().isOfClient != isOfClient) {
        turns.push_back({isOfClient, {}});
    }
    turns.back().bytes += bytes;
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t part = ::send(to, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (part <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(part);
    }
    return true;
}

/// Forwards a connection until one side closes it. Returns its turns.
std::vector<Turn> forward(int client, int server) {
    std::vector<Turn> turns;
    std::array<pollfd, 2> sockets{{{client, POLLIN, 0}, {server, POLLIN, 0}}};
    bool isOpen = true;
    while (isOpen && ::poll(sockets.data(), sockets.size(), -1) > 0) {
        if (sockets[0].revents != 0) {
            isOpen = move(client, server, true, turns);
        }
        if (isOpen && sockets[1].revents != 0) {
            isOpen = move(server, client, false, turns);
        }
    }
    return turns;
}

int record() {
    SampleService service;
    UnixListener listener;
    listener.listen();
    const http::Endpoint endpoint(service, listener.address() + ".endpoint");
    std::vector<Turn> turns;
    std::thread proxy([&] {
        const int client = listener.accept();
        const SocketClient server(endpoint.address());
        turns = forward(client, server.descriptor());
        ::close(client);
    });
    bool haveAllEnded = true;
    {
        const auto api = http::connect(listener.address()).orThrow();
        for (const Request& request : sampleRequests()) {
            haveAllEnded = !Events(*api, request).wait().empty() && haveAllEnded;
        }
    }
    proxy.join();
    std::cout << "# One connection: kova::http::connect (>) and kova::http::Endpoint (<).\n";
    write(std::cout, turns);
    return haveAllEnded ? 0 : 1;
}

}  // namespace
}  // namespace kova::test

int main() {
    return kova::test::record();
}
