// The request of wire_bench.cpp to a Cap'n Proto capability in another process, and a stream of
// values: calls of a capability of the client.
#include <capnp/ez-rpc.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "support/Wire.h"
#include "wire.capnp.h"

namespace kova::bench {

namespace {

kj::ArrayPtr<const kj::byte> bytesOf(const std::string& text) {
    return {reinterpret_cast<kj::byte const*>(text.data()), text.size()};
}

kj::Promise<void> sendValues(capnp_wire::Receiver::Client receiver, std::uint32_t count) {
    if (count == 0) {
        return kj::READY_NOW;
    }
    auto request = receiver.nextRequest();
    request.setValue(bytesOf(wirePayload()));
    return request.send().then(
        [receiver, count]() mutable { return sendValues(std::move(receiver), count - 1); });
}

class Resource final : public capnp_wire::Resource::Server {
    kj::Promise<void> retrieve(RetrieveContext context) override {
        context.getResults().setValue(context.getParams().getValue());
        return kj::READY_NOW;
    }
    kj::Promise<void> watch(WatchContext context) override {
        return sendValues(context.getParams().getReceiver(), context.getParams().getCount());
    }
};

void serve(const std::string& path) {
    capnp::EzRpcServer server(kj::heap<Resource>(), "unix:" + path);
    kj::NEVER_DONE.wait(server.getWaitScope());
}

WireServer server("capnproto", serve);

class Receiver final : public capnp_wire::Receiver::Server {
public:
    explicit Receiver(std::size_t& received) : received_(received) {}

private:
    kj::Promise<void> next(NextContext context) override {
        require(context.getParams().getValue().size() == WIRE_BYTES, "Cap'n Proto: value");
        ++received_;
        return kj::READY_NOW;
    }

    std::size_t& received_;
};

class Client {
public:
    void call() {
        auto request = resource_.retrieveRequest();
        request.setValue(bytesOf(payload_));
        const auto answer = request.send().wait(client_.getWaitScope());
        require(answer.getValue().size() == WIRE_BYTES, "Cap'n Proto: payload");
    }
    void receive(std::size_t count) {
        std::size_t received = 0;
        auto request = resource_.watchRequest();
        request.setReceiver(kj::heap<Receiver>(received));
        request.setCount(static_cast<std::uint32_t>(count));
        request.send().wait(client_.getWaitScope());
        require(received == count, "Cap'n Proto: stream");
    }

private:
    capnp::EzRpcClient client_{"unix:" + server.path()};
    capnp_wire::Resource::Client resource_ = client_.getMain<capnp_wire::Resource>();
    const std::string payload_ = wirePayload();
};

const struct Entries {
    Entries() {
        wireContest("blocking call", "Cap'n Proto", server, 100, [] {
            return [client = std::make_shared<Client>()](std::size_t count) {
                while (count-- > 0) {
                    client->call();
                }
            };
        });
        wireContest("value of a stream", "Cap'n Proto", server, 1000, [] {
            return [client = std::make_shared<Client>()](std::size_t count) {
                client->receive(count);
            };
        });
    }
} ENTRIES;

}  // namespace

}  // namespace kova::bench
