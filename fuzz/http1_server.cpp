// An HTTP/1.1 server that receives the bytes of a hostile client over a real connection. Whatever
// the server sends begins with a status line of HTTP/1.1. Each request is cancelled at most once.
// When the connection is closed, no request is pending, and another connection is served. The first
// byte selects how the service answers and what the limits are. The rest is sent in pieces, which
// are separated by a byte 1 and a byte 0.
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <future>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "foreign/ForeignDaemon.h"
#include "kova/kit/Calls.h"
#include "support/Fuzz.h"
#include "wire/EventLoop.h"

using namespace fuzz;
using namespace kova;
using namespace kova::http;
using namespace kova::http::detail;
using namespace kova::wire;

namespace {

constexpr std::string_view PIECE_END("\1\0", 2);
constexpr std::string_view LAST_REQUEST = "GET / HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n";

/// A service that answers a request with an error or a value, drops it, or keeps it pending.
class Service : public IKovaApi {
public:
    explicit Service(std::uint8_t selection) : selection_(selection) {}
    ~Service() override { require(kept_.empty(), "a closed connection has no requests"); }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        require(request.getPath().rfind('/', 0) == 0, "a path is absolute");
        const auto owned = std::shared_ptr<IResponseHandler<Response>>(std::move(handler));
        switch ((++count_ + selection_) & 3U) {
            case 0:
                owned->onError(Response::createErrorResponse(404, request.getPath().c_str()));
                break;
            case 1:
                owned->onNext(Response(200, request.getPayload()));
                owned->onCompleted();
                break;
            case 2:
                break;
            default:
                owned->onNext(Response(298));
                kept_[owned.get()] = owned;
                return owned.get();
        }
        return UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void* handle) override {
        require(kept_.erase(handle) == 1, "a pending request is cancelled once");
    }

private:
    const std::uint8_t selection_;
    unsigned count_ = 0;
    std::map<void*, std::shared_ptr<IResponseHandler<Response>>> kept_;
};

/// The client side of a connection with non-blocking sockets.
class Client {
public:
    explicit Client(ForeignDaemon& daemon) {
        std::array<int, 2> sockets{};
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0,
                             sockets.data()) == 0,
                "the system has sockets");
        socket_ = FileDescriptor(sockets[1]);
        kit::Peer peer = kit::Peer::self();
        peer.address = "unix:";
        daemon.adopt(FileDescriptor(sockets[0]), peer);
    }
    void send(std::string_view bytes) const {
        static_cast<void>(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }
    /// Reads the bytes that have arrived. Returns whether the connection is open.
    bool receive() {
        std::array<char, 4096> bytes;
        ssize_t count = 0;
        while ((count = ::recv(socket_.get(), bytes.data(), bytes.size(), 0)) > 0) {
            received_.append(bytes.data(), static_cast<std::size_t>(count));
        }
        constexpr std::string_view STATUS = "HTTP/1.1 ";
        const std::size_t size = std::min(received_.size(), STATUS.size());
        require(received_.compare(0, size, STATUS, 0, size) == 0, "an answer has a status line");
        return count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    }
    const std::string& received() const noexcept { return received_; }

private:
    FileDescriptor socket_;
    std::string received_;
};

/// A server that counts its pending requests, and a client that is connected to it.
class Server {
public:
    Server(const std::shared_ptr<EventLoop>& loop, std::uint8_t selection)
        : service_(selection), calls_(service_), daemon_(loop, terms(selection)) {}
    ~Server() {
        daemon_.close();
        require(pending_ == 0 && daemon_.connections == 0, "a closed server has nothing open");
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void receive(std::string_view bytes) {
        for (std::size_t begin = 0; begin < bytes.size();) {
            const std::size_t end = std::min(bytes.find(PIECE_END, begin), bytes.size());
            client_.send(bytes.substr(begin, end - begin));
            turn(client_);
            begin = end + PIECE_END.size();
        }
    }
    /// Checks that another connection is served.
    void checkOther() {
        Client other(daemon_);
        other.send("BREW" + std::string(LAST_REQUEST.substr(3)));
        for (int i = 0; i < 100 && turn(other); ++i) {
        }
        require(other.received().size() > 12 && other.received().compare(9, 3, "405") == 0,
                "another connection is served");
    }

private:
    ForeignTerms terms(std::uint8_t selection) {
        ForeignTerms terms;
        terms.services["/device"] = &calls_;
        terms.options.bodyBytes = (selection & 4U) != 0 ? 16 : 100'000;
        terms.options.headerBytes = (selection & 8U) != 0 ? 250 : 16'384;
        terms.beginRequest = [this](const kit::Peer&) { return ++pending_ > 0; };
        terms.endRequest = [this](const kit::Peer&) { --pending_; };
        return terms;
    }
    bool turn(Client& client) {
        for (int i = 0; i < 3; ++i) {
            daemon_.run();
        }
        return client.receive();
    }

    Service service_;
    kit::Calls calls_;
    int pending_ = 0;
    ForeignDaemon daemon_;
    Client client_{daemon_};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static const std::shared_ptr<EventLoop> loop = EventLoop::start("fuzz-loop");
    Input input(data, size);
    std::promise<void> done;
    loop->post([&] {
        Server server(loop, input.byte());
        server.receive(input.rest());
        server.checkOther();
        done.set_value();
    });
    done.get_future().wait();
    return 0;
}
