// Requests and streams between two processes over a Unix socket: kova's endpoint and client. The
// contestants are raw bytes and other protocols. The service has ten mounts; requests have two
// header entries.
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "kova/core/headers.h"
#include "kova/http/Connect.h"
#include "kova/kit/Client.h"
#include "support/Count.h"
#include "support/Wire.h"
#include "support/WireService.h"

namespace kova::bench {

namespace {

WireServer server("kova", serveWireService);
WireServer inspected("inspected", serveInspectedService);
WireServer monitored("monitored", serveMonitoredService);

std::unique_ptr<IKovaApi> connect(const std::string& path = server.path()) {
    http::ConnectOptions options;
    options.queuedBytes = std::size_t{1024} * 1024;
    auto connected = http::connect("unix:" + path, options);
    require(connected.ok(), "kova::http::connect");
    return *std::move(connected);
}

Payload payload() {
    const std::string bytes = wirePayload();
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), mimetypes::OCTET_STREAM_TYPE);
}

Request makeRequest(char const* command, char const* path) {
    Request request(command, path, payload());
    headers::appendTracingInfo(request, "/svc", "bench");
    return request;
}

/// Counts the requests that have completed.
class EndHandler : public IResponseHandler<Response> {
public:
    explicit EndHandler(Count& ends) : ends_(ends) {}
    bool onNext(const Response& value) override {
        require(value.getPayload().size() == WIRE_BYTES, "kova: payload");
        return false;
    }
    void onError(const Response&) override { require(false, "kova: error"); }
    void onCompleted() override { ends_.add(); }

private:
    Count& ends_;
};

/// Counts the values of a stream.
class ValueHandler : public IResponseHandler<Response> {
public:
    explicit ValueHandler(Count& values) : values_(values) {}
    bool onNext(const Response& value) override {
        require(value.getPayload().size() == WIRE_BYTES, "kova: payload");
        values_.add();
        return false;
    }
    void onError(const Response&) override { require(false, "kova: error"); }
    void onCompleted() override { require(false, "kova: completed"); }

private:
    Count& values_;
};

/// A client that sends requests of one kind.
struct Caller {
    Count ends;  // first, because response handlers use it until the service is destroyed
    std::unique_ptr<IKovaApi> service = connect();
    Request request = makeRequest("retrieve", WIRE_RESOURCE);
};

/// Sends one request after the other from the calling thread.
class BlockingCaller {
public:
    explicit BlockingCaller(const std::string& path = server.path()) : service_(connect(path)) {}

    void call() {
        const auto answer = client_.call<Payload>("retrieve", WIRE_RESOURCE, body_).get();
        require(answer.ok() && answer->size() == WIRE_BYTES, "kova: get");
    }
    /// Waits until another process reads the monitor of the service.
    void waitForMonitor() {
        const kit::Client client(*service_);
        std::string pending;
        while (pending.find("/.kova/monitor") == std::string::npos) {
            const auto answer = client.retrieve<Payload>("/.kova/pending").get();
            require(answer.ok() && !Payload::createStringFrom(*answer, pending, true),
                    "kova: pending requests");
        }
    }

private:
    static kit::ClientOptions options() {
        kit::ClientOptions options;
        options.clientId = "bench";
        options.accept = mimetypes::OCTET_STREAM_TYPE;
        return options;
    }

    const std::unique_ptr<IKovaApi> service_;
    kit::Client client_{*service_, options()};
    const Payload body_ = payload();
};

/// Keeps a number of requests in flight: when one has completed, it sends the next one.
class FlyingCaller : Caller {
public:
    void run(std::size_t count, std::size_t inFlight) {
        left_ = count - inFlight;
        for (std::size_t i = 0; i < inFlight; ++i) {
            send();
        }
        ends.waitFor(count);
    }

private:
    class Handler final : public EndHandler {
    public:
        explicit Handler(FlyingCaller& caller) : EndHandler(caller.ends), caller_(caller) {}
        void onCompleted() override {
            if (caller_.left_ > 0) {
                --caller_.left_;
                caller_.send();
            }
            EndHandler::onCompleted();
        }

    private:
        FlyingCaller& caller_;
    };

    void send() { service->actionRequest(request, std::make_unique<Handler>(*this)); }

    std::size_t left_ = 0;  ///< requests that are not sent; changed on the client's thread only
};

struct WaitingCaller : Caller {
    void call() {
        service->actionRequest(request, std::make_unique<EndHandler>(ends));
        ends.waitFor(1);
    }
};

/// Counts the values of all streams of one connection.
struct ValueCaller {
    Count values;
};
class Watcher : ValueCaller, Caller {
public:
    explicit Watcher(std::size_t streams) : streams_(streams) {
        const Request watch = makeRequest("retrieve", WIRE_STREAM);
        for (std::size_t i = 0; i < streams; ++i) {
            service->actionRequest(watch, std::make_unique<ValueHandler>(values));
        }
        values.waitFor(streams);  // each stream begins with a value
    }

    void receive(std::size_t count) {
        Request send("update", WIRE_STREAM,
                     Payload::createFromString(std::to_string(count / streams_)));
        service->actionRequest(send, std::make_unique<EndHandler>(ends));
        values.waitFor(count);
        ends.waitFor(1);
    }

private:
    const std::size_t streams_;
};

/// Cancels requests that are pending at the service.
struct Canceller : Caller {
    /// Returns the seconds between the call of `cancelRequest` at the client and the call of the
    /// same function of the resource handler.
    double cancel() {
        void* const handle = service->actionRequest(Request("retrieve", WIRE_PENDING),
                                                    std::make_unique<EndHandler>(ends));
        cancelledAt();  // waits for an answer that shows that the request has arrived
        const auto begin = std::chrono::steady_clock::now().time_since_epoch().count();
        service->cancelRequest(handle);
        std::int64_t end = 0;
        while (end == 0) {
            end = cancelledAt();
        }
        return static_cast<double>(end - begin) * 1e-9;
    }
    std::int64_t cancelledAt() {
        const auto text = client.call<Payload>("update", WIRE_PENDING).get();
        std::string number;
        require(text.ok() && !Payload::createStringFrom(*text, number, true), "kova: get");
        return std::stoll(number);
    }

    kit::Client client{*service};
};

void measureCancellation(benchmark::State& state) {
    Canceller canceller;
    for (auto _ : state) {
        state.SetIterationTime(canceller.cancel());
    }
}

/// Sends requests as curl does: over one kept-alive connection, which the calling thread writes and
/// reads.
class ForeignCaller {
public:
    explicit ForeignCaller(const std::string& path)
        : socket_(connectTo(server.path())),
          request_("GET " + path +
                   " HTTP/1.1\r\nHost: localhost\r\nAccept: */*\r\n"
                   "User-Agent: curl/7.88.1\r\n\r\n") {}
    ~ForeignCaller() { ::close(socket_); }
    ForeignCaller(const ForeignCaller&) = delete;
    ForeignCaller& operator=(const ForeignCaller&) = delete;

    void call() {
        ::send(socket_, request_.data(), request_.size(), MSG_NOSIGNAL);
        std::string answer;
        std::array<char, 4096> bytes;
        while (!isComplete(answer)) {
            const ssize_t count = ::recv(socket_, bytes.data(), bytes.size(), 0);
            require(count > 0, "kova: HTTP/1.1");
            answer.append(bytes.data(), static_cast<std::size_t>(count));
        }
    }

private:
    static bool isComplete(const std::string& answer) {
        const std::size_t head = answer.find("\r\n\r\n");
        return head != std::string::npos && answer.size() == head + 4 + WIRE_BYTES;
    }

    const int socket_;
    const std::string request_;
};

template <typename Caller, typename... Arguments>
auto repeated(Arguments... arguments) {
    return [caller = std::make_shared<Caller>(arguments...)](std::size_t count) {
        while (count-- > 0) {
            caller->call();
        }
    };
}

auto monitoredCalls() {
    const auto caller = std::make_shared<BlockingCaller>(monitored.path());
    caller->waitForMonitor();
    return [caller](std::size_t count) {
        while (count-- > 0) {
            caller->call();
        }
    };
}

auto inFlight(std::size_t number) {
    return [caller = std::make_shared<FlyingCaller>(), number](std::size_t count) {
        caller->run(count, number);
    };
}

auto values(std::size_t streams) {
    return [watcher = std::make_shared<Watcher>(streams)](std::size_t count) {
        watcher->receive(count);
    };
}

const struct Entries {
    Entries() {
        wireContest("blocking call", "kova", server, 100,
                    [] { return repeated<BlockingCaller>(); });
        wireContest("blocking call, monitored", "kova", monitored, 100, monitoredCalls);
        wireContest("blocking call, monitored", "unmonitored", inspected, 100,
                    [] { return repeated<BlockingCaller>(inspected.path()); });
        wireContest("callback sends the next", "kova", server, 100, [] { return inFlight(1); });
        wireContest("another thread waits", "kova", server, 100,
                    [] { return repeated<WaitingCaller>(); });
        wireContest("64 in flight", "kova", server, 640, [] { return inFlight(WIRE_FLIGHT); });
        wireContest("value of a stream", "kova", server, 10'000, [] { return values(1); });
        wireContest("value of 1 000 streams", "kova", server, 10 * WIRE_STREAMS,
                    [] { return values(WIRE_STREAMS); });
        wireContest("HTTP/1.1, answered at once", "kova", server, 100,
                    [] { return repeated<ForeignCaller>(WIRE_RESOURCE); });
        wireContest("HTTP/1.1, answered later", "kova", server, 100,
                    [] { return repeated<ForeignCaller>(WIRE_LATER); });
        benchmark::RegisterBenchmark("cancellation reaches the handler/kova", measureCancellation)
            ->UseManualTime()
            ->Iterations(200);
    }
} ENTRIES;

}  // namespace

}  // namespace kova::bench

int main(int argc, char** argv) {
    using kova::bench::WireServer;
    std::string folder = "/tmp/kova-wire-XXXXXX";
    kova::bench::require(::mkdtemp(folder.data()) != nullptr, "mkdtemp");
    WireServer::startAll(folder);
    benchmark::Initialize(&argc, argv);
    const bool isWrong = benchmark::ReportUnrecognizedArguments(argc, argv);
    if (!isWrong) {
        benchmark::RunSpecifiedBenchmarks();
    }
    WireServer::stopAll();
    ::rmdir(folder.c_str());
    return isWrong ? 1 : 0;
}
