// The contract of services through `kova bridge`.
#include <list>
#include <memory>
#include <string>

#include "RunningTool.h"
#include "contract/service/ServiceContract.h"
#include "kova/http/Connect.h"
#include "kova/http/Endpoint.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"
#include "support/TemporaryFolder.h"

namespace kova::test {
namespace {

/// Returns the broker of all tests. The suite sends payloads of 16 MB.
Broker& broker() {
    static Broker only("max_payload: 32MB");
    return only;
}

std::string nextPath() {
    static int number = 0;
    return "/contract/" + std::to_string(++number);
}

/// A running `kova bridge`.
class Bridge {
public:
    Bridge(const std::string& from, const std::string& to)
        : tool_({"bridge", from, to, "--inspection"}) {
        tool_.awaitOutput("\n");
    }

private:
    RunningTool tool_;
};

/// The service is at an endpoint; a bridge carries it to the broker, where the clients are.
class ToTheBroker : public Transport {
public:
    explicit ToTheBroker(IKovaApi& service)
        : endpoint_(service, socket_), bridge_(socket_, broker().url() + path_) {}
    std::unique_ptr<IKovaApi> connect() override {
        return nats::connect(broker().url(), path_).orThrow();
    }

protected:
    const std::string path_ = nextPath();
    const TemporaryFolder folder_;

private:
    const std::string socket_ = "unix:" + folder_ / "service";
    http::Endpoint endpoint_;
    Bridge bridge_;
};

/// The service is at the broker; a bridge carries it to a socket, where the clients are.
class FromTheBroker final : public Transport {
public:
    explicit FromTheBroker(IKovaApi& service)
        : server_(service, broker().url(), optionsOf(path_)),
          bridge_(startOf(server_, broker().url() + path_), socket_) {}
    std::unique_ptr<IKovaApi> connect() override { return http::connect(socket_).orThrow(); }

private:
    static nats::ServerOptions optionsOf(const std::string& path) {
        nats::ServerOptions options;
        options.servicePath = path;
        return options;
    }
    static std::string startOf(const nats::Server& server, const std::string& address) {
        server.waitUntilServing(std::chrono::seconds(30)).orThrow();
        return address;
    }

    const std::string path_ = nextPath();
    const TemporaryFolder folder_;
    const std::string socket_ = "unix:" + folder_ / "bridge";
    nats::Server server_;
    Bridge bridge_;
};

/// The service is at an endpoint; two bridges carry it to the broker and to another socket.
class ThereAndBack final : public ToTheBroker {
public:
    explicit ThereAndBack(IKovaApi& service)
        : ToTheBroker(service), back_(broker().url() + path_, socket_) {}
    std::unique_ptr<IKovaApi> connect() override { return http::connect(socket_).orThrow(); }

private:
    const std::string socket_ = "unix:" + folder_ / "back";
    Bridge back_;
};

template <typename T>
TransportRow rowOf(char const* name) {
    return {name, [](IKovaApi& service) { return std::make_unique<T>(service); }};
}

INSTANTIATE_TEST_SUITE_P(Bridge, ServiceContract,
                         ::testing::Values(rowOf<ToTheBroker>("ToTheBroker"),
                                           rowOf<FromTheBroker>("FromTheBroker"),
                                           rowOf<ThereAndBack>("ThereAndBack")),
                         nameOf);

}  // namespace
}  // namespace kova::test
