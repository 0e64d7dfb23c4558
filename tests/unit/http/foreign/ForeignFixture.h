#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "foreign/ForeignServer.h"
#include "foreign/JsonText.h"
#include "kova/kit/Calls.h"
#include "support/HeldService.h"
#include "support/Watchdog.h"

namespace kova::http::detail {

/// A service that answers at once. "/echo" answers with a text of the request; "/empty" completes
/// without a value; "/missing" fails with 404; every other path goes to `held`.
class EchoService : public IKovaApi {
public:
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        if (request.getPath() == "/echo") {
            const std::string header =
                request.getHeader().isDictionary() ? toAsciiJson(request.getHeader()) : "";
            handler->onNext(
                Response(200, Payload::createFromString(
                                  request.getCommand() + ' ' + request.getPayload().getMimeType() +
                                  " '" + std::string(bytesOf(request.getPayload())) + "' " +
                                  header + ' ' + std::to_string(kit::peerOf(request).uid))));
            handler->onCompleted();
        } else if (request.getPath() == "/empty") {
            handler->onCompleted();
        } else if (request.getPath() == "/missing") {
            handler->onError(Response::createErrorResponse(404, "no such lamp"));
        } else {
            return held.actionRequest(request, std::move(handler));
        }
        std::unique_ptr<IResponseHandler<Response>> destroyed = std::move(handler);
        return UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void* handle) override { held.cancelRequest(handle); }

    test::HeldService held;
};

/// A client's end of a connection.
class TestSocket {
public:
    explicit TestSocket(int number) : socket_(number) {}

    void send(std::string_view bytes) const {
        ASSERT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }
    /// Reads until the text ends with `end`, or the connection is closed. Returns what was read.
    std::string readUntil(std::string_view end) {
        std::string text;
        std::array<char, 4096> bytes;
        while (text.size() < end.size() ||
               text.compare(text.size() - end.size(), end.size(), end)) {
            const ssize_t count = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
            if (count <= 0) {
                return text;
            }
            text.append(bytes.data(), static_cast<std::size_t>(count));
        }
        return text;
    }
    std::string readAll() {
        std::string text;
        std::array<char, 4096> bytes;
        for (ssize_t count = 0;
             (count = ::recv(socket_.get(), bytes.data(), bytes.size(), 0)) > 0;) {
            text.append(bytes.data(), static_cast<std::size_t>(count));
        }
        return text;
    }
    void close() { socket_.reset(); }
    int number() const { return socket_.get(); }

private:
    wire::FileDescriptor socket_;
};

/// A server on a loop, whose clients are the other ends of socket pairs.
class ForeignFixture {
public:
    explicit ForeignFixture(ForeignTerms terms = {}) {
        if (terms.services.empty()) {
            terms.services["/device"] = &calls;
        }
        onLoop([&] { server = std::make_unique<ForeignServer>(loop, std::move(terms)); });
    }
    ~ForeignFixture() {
        onLoop([&] { server.reset(); });
        loop->stop();
    }
    ForeignFixture(const ForeignFixture&) = delete;
    ForeignFixture& operator=(const ForeignFixture&) = delete;

    template <typename Function>
    void onLoop(Function function) {
        std::promise<void> done;
        loop->post([&] {
            function();
            done.set_value();
        });
        done.get_future().wait();
    }
    /// Returns a new connection. The bytes wait in it before the server knows the connection, so
    /// that no time limit applies to the sender.
    TestSocket connect(const kit::Peer& peer = unixPeer(), std::string_view bytes = {}) {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()),
                  0);
        const int flags = ::fcntl(ends[0], F_GETFL);
        ::fcntl(ends[0], F_SETFL, flags & ~O_NONBLOCK);
        TestSocket client(ends[0]);
        client.send(bytes);
        onLoop([&] { server->adopt(wire::FileDescriptor(ends[1]), peer); });
        return client;
    }
    /// Sends bytes over a new connection, and returns all bytes that arrive until the connection
    /// ends.
    std::string exchange(std::string_view bytes, const kit::Peer& peer = unixPeer()) {
        TestSocket socket = connect(peer);
        socket.send(bytes);
        return socket.readAll();
    }
    /// Returns the answer to a request with these further fields, each with its line end.
    std::string get(const std::string& target, const std::string& fields = "",
                    const kit::Peer& peer = unixPeer()) {
        return exchange("GET " + target + " HTTP/1.1\r\nHost: localhost:8080\r\n" + fields +
                            "Connection: close\r\n\r\n",
                        peer);
    }
    std::size_t connections() {
        std::size_t count = 0;
        onLoop([&] { count = server->connections(); });
        return count;
    }
    /// Accepts connections at a listening socket.
    void accept(int listener, const kit::Peer& peer) {
        onLoop([&] {
            loop->add(listener, EPOLLIN, [this, listener, peer](std::uint32_t) {
                const int socket =
                    ::accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
                if (socket >= 0) {
                    server->adopt(wire::FileDescriptor(socket), peer);
                }
            });
        });
    }

    static kit::Peer unixPeer() {
        kit::Peer peer = kit::Peer::self();
        peer.address = "unix:";
        return peer;
    }
    static kit::Peer tcpPeer() { return {-1, -1, -1, "127.0.0.1:40000"}; }

    test::Watchdog watchdog{"a foreign client waits"};
    EchoService service;
    test::HeldService& held = service.held;
    kit::Calls calls{service};
    const std::shared_ptr<wire::EventLoop> loop = wire::EventLoop::start("test-loop");
    std::unique_ptr<ForeignServer> server;
};

/// Returns the status of an answer, and its body.
inline std::string statusAndBody(const std::string& answer) {
    const std::size_t end = answer.find("\r\n\r\n");
    return answer.size() < 12 || end == std::string::npos
               ? answer
               : answer.substr(9, 3) + ' ' + answer.substr(end + 4);
}

}  // namespace kova::http::detail
