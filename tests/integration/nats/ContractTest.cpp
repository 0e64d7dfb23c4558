// The contract of services through a broker.
#include <memory>
#include <string>

#include "contract/service/ServiceContract.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"

namespace kova::test {
namespace {

/// Returns the broker of all tests. The suite sends payloads of 16 MB.
Broker& broker() {
    static Broker only("max_payload: 32MB");
    return only;
}

nats::ServerOptions optionsOf(const std::string& servicePath, const std::string& instance) {
    nats::ServerOptions options;
    options.servicePath = servicePath;
    options.instance = instance;
    return options;
}

/// Each client has a connection of its own to the broker.
class Remote final : public Transport {
public:
    Remote(IKovaApi& service, const std::string& instance)
        : path_(nextPath()),
          instance_(instance),
          server_(service, broker().url(), optionsOf(path_, instance)) {
        server_.waitUntilServing(std::chrono::seconds(30)).orThrow();
    }
    std::unique_ptr<IKovaApi> connect() override {
        return nats::connect(broker().url(), path_, instance_).orThrow();
    }

private:
    static std::string nextPath() {
        static int number = 0;
        return "/contract/" + std::to_string(++number);
    }

    const std::string path_;
    const std::string instance_;
    nats::Server server_;
};

INSTANTIATE_TEST_SUITE_P(Nats, ServiceContract,
                         ::testing::Values(TransportRow{"AnyServer",
                                                        [](IKovaApi& service) {
                                                            return std::make_unique<Remote>(service,
                                                                                            "");
                                                        }},
                                           TransportRow{"OneServer",
                                                        [](IKovaApi& service) {
                                                            return std::make_unique<Remote>(
                                                                service, "car-17");
                                                        }}),
                         nameOf);

}  // namespace
}  // namespace kova::test
