// Requests between two processes through a broker: kova's server and client. The contestants are
// libnats, another protocol with another broker, and gRPC without a broker. The time of the broker
// counts, too. The service has ten mounts; requests have two header entries.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include "kova/core/MimeTypes.h"
#include "kova/kit/Client.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"
#include "support/Count.h"
#include "support/Wire.h"
#include "support/WireService.h"

namespace kova::bench {

namespace {

constexpr char const* SERVICE_PATH = "/bench";

void serve(const std::string& path) {
    const auto service = makeWireService();
    nats::ServerOptions options;
    options.servicePath = SERVICE_PATH;
    const nats::Server server(*service, NatsBroker::shared().url, options);
    require(server.waitUntilServing(std::chrono::seconds(30)).ok(), "kova::nats::Server");
    listenAt(path);  // tells that the server is ready
    for (;;) {
        ::pause();
    }
}

WireServer server("kova", serve, NatsBroker::shared().server);

/// Sends one request after the other from the calling thread.
class Caller {
public:
    /// Receives one value.
    void call() {
        const auto answer = client_.call<Payload>("retrieve", WIRE_RESOURCE, body_).get();
        require(answer.ok() && answer->size() == WIRE_BYTES, "kova: get");
    }
    /// Receives ten values.
    void callForTen() {
        int values = 0;
        const kit::Subscription call = client_.call<Payload>("retrieve", WIRE_TEN, body_)
                                           .onValue([&](const Payload& value) {
                                               require(value.size() == WIRE_BYTES, "kova: value");
                                               ++values;
                                           })
                                           .onEnd([this](const kit::End&) { ends_.add(); })
                                           .start();
        ends_.waitFor(1);
        require(values == TEN, "kova: ten values");
    }

private:
    static std::unique_ptr<IKovaApi> connect() {
        auto connected = nats::connect(NatsBroker::shared().url, SERVICE_PATH);
        require(connected.ok(), "kova::nats::connect");
        return *std::move(connected);
    }
    static kit::ClientOptions options() {
        kit::ClientOptions options;
        options.clientId = "bench";
        options.accept = mimetypes::OCTET_STREAM_TYPE;
        return options;
    }
    static Payload payload() {
        const std::string bytes = wirePayload();
        return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                      bytes.size(), mimetypes::OCTET_STREAM_TYPE);
    }

    Count ends_;
    const std::unique_ptr<IKovaApi> service_ = connect();
    kit::Client client_{*service_, options()};
    const Payload body_ = payload();
};

auto repeated(void (Caller::*call)()) {
    return [caller = std::make_shared<Caller>(), call](std::size_t count) {
        while (count-- > 0) {
            (*caller.*call)();
        }
    };
}

const struct Entries {
    Entries() {
        wireContest(BROKER_REQUEST, "kova", server, 100, [] { return repeated(&Caller::call); });
        wireContest(BROKER_TEN, "kova", server, 100, [] { return repeated(&Caller::callForTen); });
        wireContest(BROKER_TEN, "one value", server, 100, [] { return repeated(&Caller::call); });
    }
} ENTRIES;

}  // namespace

}  // namespace kova::bench

int main(int argc, char** argv) {
    using kova::bench::WireServer;
    std::string folder = "/tmp/kova-nats-XXXXXX";
    kova::bench::require(::mkdtemp(folder.data()) != nullptr, "mkdtemp");
    WireServer::startAll(folder);
    benchmark::Initialize(&argc, argv);
    const bool isWrong = benchmark::ReportUnrecognizedArguments(argc, argv);
    if (!isWrong) {
        benchmark::RunSpecifiedBenchmarks();
    }
    WireServer::stopAll();
    std::filesystem::remove_all(folder);
    return isWrong ? 1 : 0;
}
