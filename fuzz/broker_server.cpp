// A server at a broker that receives the bytes of a hostile client. Each request that is read
// reaches the service, which gets at most one cancellation. The answer is one that a client
// understands: its messages are counted, it has no more values than the client has granted, and
// one end at most, which is its last message. If nothing limits the answer, all values that are
// granted arrive, and then the end. The first byte selects the limits. Then follow messages of the
// client (any bytes, requests, credits, cancellations) and events of the service.
#include <algorithm>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "nats/Frames.h"
#include "nats/client/ClientStream.h"
#include "nats/server/Requests.h"
#include "nats/server/ServerRequest.h"
#include "support/Fuzz.h"
#include "wire/AnswerQueue.h"
#include "wire/EventLoop.h"
#include "wire/Records.h"

using namespace fuzz;
using namespace kova;
using namespace kova::nats::detail;

namespace {

/// Receives what the server publishes.
class Sink {
public:
    virtual bool onMessage(const std::string& reply, std::string_view data) = 0;
    std::size_t longest = 0;

protected:
    ~Sink() = default;
};
Sink* sink = nullptr;

}  // namespace

namespace kova::nats::detail {

// A connection without a broker.
std::shared_ptr<Link> Link::open(std::shared_ptr<Inbound> inbound, const Urls&,
                                 const BrokerOptions&, const std::vector<Channel>&,
                                 std::uint64_t epoch) {
    return std::shared_ptr<Link>(new Link(std::move(inbound), epoch));
}
Link::~Link() = default;
bool Link::publish(const std::string&, const std::string& reply, std::string_view data) noexcept {
    return data.size() <= sink->longest && sink->onMessage(reply, data);
}
std::size_t Link::longestMessage() const noexcept {
    return sink->longest;
}

}  // namespace kova::nats::detail

namespace {

/// A service that keeps the response handler of its latest request.
class Service : public IKovaApi {
public:
    explicit Service(bool answersAtOnce) : answersAtOnce_(answersAtOnce) {}

    void* actionRequest(const Request&,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        require(!isPending_, "one request is pending");
        handler_ = std::move(handler);
        isPending_ = true;
        if (answersAtOnce_) {
            send(Response(200));
        }
        return this;
    }
    void cancelRequest(void*) override {
        require(std::exchange(isPending_, false), "a request is cancelled once");
        handler_.reset();
    }

    void send(const Response& value) {
        if (handler_) {
            handler_->onNext(value);
            ++values;
        }
    }
    void end(Response const* error) {
        if (const auto ended = std::exchange(handler_, nullptr)) {
            error != nullptr ? ended->onError(*error) : ended->onCompleted();
            hasEnded = true;
        }
    }
    /// The request has left the server, which may have cancelled it.
    void forget() {
        isPending_ = false;
        handler_.reset();
        values = 0;
        hasEnded = false;
    }

    std::uint64_t values = 0;
    bool hasEnded = false;

private:
    const bool answersAtOnce_;
    bool isPending_ = false;
    std::unique_ptr<IResponseHandler<Response>> handler_;
};

/// What the response handler of a client gets.
struct Received {
    std::uint64_t values = 0;
    bool hasEnded = false;
};

class Handler : public IResponseHandler<Response> {
public:
    explicit Handler(Received& received) : received_(received) {}
    bool onNext(const Response&) override {
        ++received_.values;
        return false;
    }
    void onError(const Response& error) override {
        require(error.getStatusCode() != 502, "a client understands the answer");
        received_.hasEnded = true;
    }
    void onCompleted() override { received_.hasEnded = true; }

private:
    Received& received_;
};

/// A server with one request at a time, as `ServerState` with many.
class Server : private ServerRequest::Owner, private Sink {
public:
    Server(const std::shared_ptr<wire::EventLoop>& loop, std::uint8_t selection)
        : isLimited_((selection & 3U) != 0),
          service_((selection & 4U) != 0),
          served_(service_),
          ready_(std::make_shared<wire::ReadyQueues>(loop, nullptr)),
          link_(Link::open(nullptr, Urls(), kova::nats::BrokerOptions(), {}, 1)) {
        limits_.bytes = (selection & 1U) != 0 ? 100 : 1'000'000;
        longest = (selection & 2U) != 0 ? 300 : 1'000'000;
        sink = this;
    }
    ~Server() {
        drop();
        ready_->close();
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    void step(Input& input) {
        switch (input.byte() & 7U) {
            case 0:
                control(input.take(input.byte()));
                break;
            case 1:
                control(frame(FrameKind::credit, number(input)));
                break;
            case 2:
                control(frame(FrameKind::cancel, 0));
                break;
            case 3:
                begin(input.take(input.byte()));
                break;
            case 4:
                begin(wholeRequest(number(input)));
                break;
            case 5:
                service_.end(nullptr);
                break;
            case 6: {
                const Response error(500, Payload::createFromString(text(input)));
                service_.end(&error);
                break;
            }
            default:
                service_.send(Response(200, Payload::createFromString(text(input))));
                break;
        }
        flush();
    }
    /// Grants everything that the service has sent.
    void finish() {
        control(frame(FrameKind::credit, MOST_CREDIT));
        flush();
    }

private:
    static std::string text(Input& input) { return std::string(4U * input.byte(), 'x'); }
    /// Returns a small number or a power of two.
    static std::uint64_t number(Input& input) {
        const std::uint8_t byte = input.byte();
        return byte < 128 ? byte : std::uint64_t{1} << (byte & 63U);
    }
    static std::string frame(FrameKind kind, std::uint64_t number) {
        std::string bytes;
        appendFrame(bytes, kind, number, SHORTEST_HEARTBEAT);
        return bytes;
    }
    static std::string wholeRequest(std::uint64_t credit) {
        std::string bytes = frame(FrameKind::request, credit);
        require(wire::appendRequest(bytes, Request("retrieve", "/state")).ok(),
                "a request is written");
        return bytes;
    }

    void begin(const std::string& bytes) {
        const kit::Result<std::optional<Frame>> frame = readFrame(bytes);
        if (!frame || !*frame || (*frame)->kind != FrameKind::request) {
            return;
        }
        require((*frame)->number >= 1 && (*frame)->number <= MOST_CREDIT &&
                    (*frame)->heartbeat >= SHORTEST_HEARTBEAT &&
                    (*frame)->heartbeat <= LONGEST_HEARTBEAT,
                "the numbers of a request are in their ranges");
        const kit::Result<Request> request = readRequest((*frame)->rest);
        if (!request) {
            require(request.error().code == 400 && lacks(request.error().message, "\r\n"),
                    "a failure has the code 400 and a line of text");
            return;
        }
        drop();
        serve(*request, **frame);
    }
    void serve(const Request& request, const Frame& frame) {
        received_ = Received();
        sent_ = 0;
        granted_ = frame.number;
        client_ =
            std::make_unique<ClientStream>(std::make_unique<Handler>(received_), nullptr, "", 1);
        ServerRequest::Owner& owner = *this;
        request_ = std::make_unique<ServerRequest>(
            owner, 1, Discovery::ANY,
            std::make_shared<Pulse>(link_, "answers", "control",
                                    std::chrono::milliseconds(frame.heartbeat)),
            frame.number);
        request_->send(served_, request, std::make_shared<wire::AnswerQueue>(ready_, limits_));
    }
    void control(const std::string& bytes) {
        const kit::Result<std::optional<Frame>> frame = readFrame(bytes);
        if (!request_ || !frame || !*frame) {
            return;
        }
        if ((*frame)->kind == FrameKind::cancel) {
            drop();
        } else if ((*frame)->kind == FrameKind::credit) {
            granted_ += (*frame)->number;
            request_->grant((*frame)->number);
        }
    }
    // The queue would notify the request later.
    void flush() {
        if (request_) {
            request_->onRecords();
        }
        if (request_ && !isLimited_) {
            require(received_.values == std::min(service_.values, granted_),
                    "the values that are granted arrive");
            require(!service_.hasEnded || service_.values >= granted_, "an end needs a credit");
        }
    }
    void drop() {
        request_.reset();
        service_.forget();
    }
    void onOver(ServerRequest& request) override {
        require(&request == request_.get(), "a request is over once");
        require(received_.hasEnded, "a request that is over has an end");
        require(isLimited_ || (service_.hasEnded && received_.values == service_.values),
                "all values precede the end");
        drop();
    }
    bool onMessage(const std::string& reply, std::string_view data) override {
        require(!received_.hasEnded, "nothing follows the end");
        const kit::Result<std::optional<Frame>> frame = readFrame(data);
        require(frame.ok() && frame->has_value(), "a message of the server is read");
        const bool isAnswer = (*frame)->kind == FrameKind::answer;
        require(isAnswer || (sent_ == 0 && (*frame)->kind == FrameKind::alive),
                "a server sends answers, and an acknowledgement before them");
        sent_ += isAnswer ? 1 : 0;
        require((*frame)->number == sent_, "the messages of an answer are counted");
        client_->onFrame(**frame);
        require(received_.values <= granted_, "a server sends only values that are granted");
        require(received_.hasEnded == client_->isComplete(), "a client understands the answer");
        require(received_.hasEnded == reply.empty(), "only the last message needs no reply");
        return true;
    }

    const bool isLimited_;
    Service service_;
    wire::ServedService served_;
    const std::shared_ptr<wire::ReadyQueues> ready_;
    const std::shared_ptr<Link> link_;
    wire::AnswerQueue::Limits limits_;
    std::unique_ptr<ServerRequest> request_;
    std::unique_ptr<ClientStream> client_;
    Received received_;
    std::uint64_t sent_ = 0;
    std::uint64_t granted_ = 0;
};

void run(const std::shared_ptr<wire::EventLoop>& loop, Input& input) {
    Server server(loop, input.byte());
    while (!input.isEmpty()) {
        server.step(input);
    }
    server.finish();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static const std::shared_ptr<wire::EventLoop> loop = wire::EventLoop::start("fuzz-loop");
    Input input(data, size);
    std::promise<void> done;
    loop->post([&] {
        run(loop, input);
        done.set_value();
    });
    done.get_future().wait();
    static_cast<void>(takeReports());
    return 0;
}
