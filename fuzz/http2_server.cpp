// A server connection that receives the bytes of a hostile client. Each request that reaches the
// service is cancelled at most once, and when the connection is closed no request is pending. The
// first byte selects how the service answers; then follow frames. A frame is its type, flags,
// stream and length, of one byte each, and its content. Type 10 is followed by a stream only, and
// sends a complete request on it. After a type above 10, the rest of the input is sent unchanged.
#include <sys/socket.h>

#include <array>
#include <future>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "server/ServerConnection.h"
#include "server/ServerContext.h"
#include "support/Fuzz.h"
#include "wire/EventLoop.h"
#include "wire/Records.h"

using namespace fuzz;
using namespace kova;
using namespace kova::http;
using namespace kova::http::detail;
using namespace kova::wire;

namespace {

constexpr int WHOLE_REQUEST = 10;

/// A service that rejects a request, throws, answers it at once, or keeps it pending.
class Service : public IKovaApi {
public:
    explicit Service(std::uint8_t selection) : selection_(selection) {}
    ~Service() override { require(kept_.empty(), "a closed connection has no requests"); }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        switch ((++count_ + selection_) & 3U) {
            case 0:
                return UNDEFINED_REQUEST_HANDLE;
            case 1:
                throw std::runtime_error("the service fails");
            case 2: {
                const auto owned = std::move(handler);
                owned->onNext(Response(200, request.getPayload()));
                owned->onCompleted();
                return UNDEFINED_REQUEST_HANDLE;
            }
            default:
                break;
        }
        void* const handle = handler.get();
        kept_[handle] = std::move(handler);
        kept_[handle]->onNext(Response(298));
        return handle;
    }
    void cancelRequest(void* handle) override {
        require(kept_.erase(handle) == 1, "a pending request is cancelled once");
    }

private:
    const std::uint8_t selection_;
    unsigned count_ = 0;
    std::map<void*, std::unique_ptr<IResponseHandler<Response>>> kept_;
};

std::string wholeRequest(char stream) {
    const auto field = [](const std::string& name, const std::string& value) {
        return std::string(1, '\0') + static_cast<char>(name.size()) + name +
               static_cast<char>(value.size()) + value;
    };
    const auto frame = [&](char type, char flags, const std::string& content) {
        return std::string{0, 0, static_cast<char>(content.size()), type, flags, 0, 0, 0, stream} +
               content;
    };
    static const std::string head = field(":method", "POST") + field(":scheme", "http") +
                                    field(":path", "/") + field(":authority", "a") +
                                    field("content-type", std::string(RECORDS_TYPE));
    std::string record;
    require(appendRequest(record, Request("retrieve", "/state")).ok(), "a request is written");
    return frame(1, 4, head) + frame(0, 1, record);
}

std::string nextBytes(Input& input) {
    const std::uint8_t type = input.byte();
    if (type > WHOLE_REQUEST) {
        return input.rest();
    }
    if (type == WHOLE_REQUEST) {
        return wholeRequest(static_cast<char>(input.byte()));
    }
    const auto flags = static_cast<char>(input.byte());
    const auto stream = static_cast<char>(input.byte());
    const std::string content = input.take(input.byte());
    std::string frame{0, 0, static_cast<char>(content.size()), static_cast<char>(type), flags};
    return frame + std::string{0, 0, 0, stream} + content;
}

/// A connection without a client.
class Server {
public:
    Server(const std::shared_ptr<EventLoop>& loop, std::uint8_t selection)
        : service_(selection),
          services_({{"", &service_}}),
          context_(options(selection), *loop, services_) {
        std::array<int, 2> sockets{};
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, sockets.data()) == 0,
                "the system has sockets");
        client_ = FileDescriptor(sockets[1]);
        context_.ready = std::make_shared<ReadyQueues>(loop, nullptr);
        context_.onClosed = [this](ServerConnection&) { connection_.reset(); };
        context_.onRequestEnded = [] {};
        connection_ = std::make_unique<ServerConnection>(context_, FileDescriptor(sockets[0]),
                                                         kit::Peer::self());
        connection_->start();
    }
    ~Server() {
        if (connection_) {
            connection_->close();
        }
        require(context_.requests == 0, "a closed connection has no requests");
        require(context_.peers.size() == 0, "a closed connection counts for no peer");
        require(context_.unflushed.empty(), "a closed connection is not flushed");
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void receive(const std::string& bytes) {
        if (connection_) {
            connection_->receive(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
        }
        require(!connection_ || connection_->streams() == context_.requests,
                "each stream is a request");
    }

private:
    const EndpointOptions& options(std::uint8_t selection) {
        options_.requestsOfPeer = (selection & 4U) != 0 ? 2 : 100;
        options_.bodyBytes = (selection & 8U) != 0 ? 40 : 10'000;
        options_.headerBytes = (selection & 16U) != 0 ? 250 : 10'000;
        return options_;
    }

    EndpointOptions options_;
    Service service_;
    const ServedServices services_;
    ServerContext context_;
    FileDescriptor client_;
    std::unique_ptr<ServerConnection> connection_;
};

void run(const std::shared_ptr<EventLoop>& loop, Input& input) {
    Server server(loop, input.byte());
    const std::uint8_t begin = input.byte();
    if ((begin & 1U) == 0) {
        server.receive(std::string("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n") +
                       std::string("\0\0\0\4\0\0\0\0\0", 9));
    }
    while (!input.isEmpty()) {
        server.receive(nextBytes(input));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static const std::shared_ptr<EventLoop> loop = EventLoop::start("fuzz-loop");
    Input input(data, size);
    std::promise<void> done;
    loop->post([&] {
        run(loop, input);
        done.set_value();
    });
    done.get_future().wait();
    return 0;
}
