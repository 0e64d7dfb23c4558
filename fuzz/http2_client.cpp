// A client connection that receives the bytes of a hostile server. Each response handler gets at
// most one terminating event and nothing after it, or none if its request is cancelled. When the
// connection is closed, all requests have ended. The first byte selects the requests; then follow
// frames. A frame is its type, flags, stream and length, of one byte each, and its content. After a
// type above 9, the rest of the input is sent unchanged.
#include <sys/socket.h>

#include <array>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "client/ClientConnection.h"
#include "client/ClientStream.h"
#include "support/Fuzz.h"
#include "wire/EventLoop.h"

using namespace fuzz;
using namespace kova;
using namespace kova::http::detail;
using namespace kova::wire;

namespace {

constexpr int LAST_TYPE = 9;  // CONTINUATION

struct Outcome {
    bool hasEnded = false;
    bool isDestroyed = false;
};

class Handler : public IResponseHandler<Response> {
public:
    Handler(Outcome& outcome, bool wantsOne) : outcome_(outcome), wantsOne_(wantsOne) {}
    ~Handler() override { outcome_.isDestroyed = true; }
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

    bool onNext(const Response&) override {
        require(!outcome_.hasEnded, "no value follows the end");
        require(!hasEnough_, "no value follows the last one that is wanted");
        hasEnough_ = wantsOne_;
        return wantsOne_;
    }
    void onError(const Response& error) override {
        require(!hasEnough_, "a receiver that wants no more values is completed");
        require(error.getStatusCode() != 503 || error.isErrorResponse(), "an error has a reason");
        end();
    }
    void onCompleted() override { end(); }

private:
    void end() {
        require(!outcome_.hasEnded, "a request has one end");
        outcome_.hasEnded = true;
    }

    Outcome& outcome_;
    const bool wantsOne_;
    bool hasEnough_ = false;
};

/// A connection without a server, and its requests.
class Client : private ClientConnection::Owner {
public:
    Client(EventLoop& loop, std::uint8_t selection)
        : cancels_((selection & 4U) != 0), wantsOne_((selection & 8U) != 0) {
        settings_.recordBytes = (selection & 16U) != 0 ? 16 : 1024;
        std::array<int, 2> sockets{};
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, sockets.data()) == 0,
                "the system has sockets");
        server_ = FileDescriptor(sockets[1]);
        ClientConnection::Owner& owner = *this;
        connection_ =
            std::make_unique<ClientConnection>(loop, FileDescriptor(sockets[0]), settings_, owner);
        connection_->start();
        for (unsigned i = 0; i <= (selection & 3U); ++i) {
            submit();
        }
        connection_->flush();
    }
    ~Client() {
        if (connection_) {
            connection_->close();
        }
        require(streams_.empty(), "a closed connection has no requests");
        for (std::size_t i = 0; i < requests_; ++i) {
            const Outcome& outcome = outcomes_.at(i);
            require(outcome.isDestroyed, "a closed connection destroys the response handlers");
            require(outcome.hasEnded || (cancels_ && i == 0), "each request has an end");
        }
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void receive(const std::string& bytes) {
        if (connection_) {
            connection_->receive(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
        }
        if (cancels_ && !streams_.empty() && connection_) {
            cancel(*streams_.front());
        }
    }

private:
    void submit() {
        streams_.push_back(std::make_unique<ClientStream>(
            std::make_unique<Handler>(outcomes_.at(requests_++), wantsOne_), "request",
            settings_.recordBytes));
        require(connection_->submit(*streams_.back()), "a new connection takes requests");
    }
    // Only the first request is cancelled.
    void cancel(ClientStream& stream) {
        if (stream.number == 1 && !stream.isEnded()) {
            stream.drop();
            connection_->reset(stream);
        }
    }

    void onStreamLost(ClientStream&) override { require(false, "no request is sent again"); }
    void onStreamClosed(ClientStream& stream) override {
        require(stream.isEnded(), "a closed stream has ended");
        for (auto i = streams_.begin(); i != streams_.end(); ++i) {
            if (i->get() == &stream) {
                streams_.erase(i);
                return;
            }
        }
        require(false, "a stream is closed once");
    }
    void onChange() override {}
    void onConnectionClosed(ClientConnection&, const std::string& reason) override {
        for (const auto& stream : std::exchange(streams_, {})) {
            stream->lose(reason);
        }
        connection_.reset();
    }

    const bool cancels_;
    const bool wantsOne_;
    ClientSettings settings_;
    FileDescriptor server_;
    std::array<Outcome, 4> outcomes_;
    std::size_t requests_ = 0;
    std::vector<std::unique_ptr<ClientStream>> streams_;
    std::unique_ptr<ClientConnection> connection_;
};

std::string nextBytes(Input& input) {
    const std::uint8_t type = input.byte();
    if (type > LAST_TYPE) {
        return input.rest();
    }
    const auto flags = static_cast<char>(input.byte());
    const auto stream = static_cast<char>(input.byte());
    const std::string content = input.take(input.byte());
    std::string frame{0, 0, static_cast<char>(content.size()), static_cast<char>(type), flags};
    return frame + std::string{0, 0, 0, stream} + content;
}

void run(EventLoop& loop, Input& input) {
    Client client(loop, input.byte());
    while (!input.isEmpty()) {
        client.receive(nextBytes(input));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static const std::shared_ptr<EventLoop> loop = EventLoop::start("fuzz-loop");
    Input input(data, size);
    std::promise<void> done;
    loop->post([&] {
        run(*loop, input);
        done.set_value();
    });
    done.get_future().wait();
    return 0;
}
