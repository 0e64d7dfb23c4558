// The contract of services over a Unix socket and over TCP.
#include <unistd.h>

#include <memory>
#include <string>

#include "contract/service/ServiceContract.h"
#include "kova/http/Connect.h"
#include "kova/http/Endpoint.h"

namespace kova::test {
namespace {

/// Returns an address that no other test uses at the same time.
std::string unixAddress() {
    static int number = 0;
    return "unix:" + ::testing::TempDir() + "kova-" + std::to_string(::getpid()) + "-" +
           std::to_string(++number) + ".sock";
}

/// Each client has a connection of its own to an endpoint in front of the service.
class Remote final : public Transport {
public:
    Remote(IKovaApi& service, const std::string& address) : endpoint_(service, address) {}
    std::unique_ptr<IKovaApi> connect() override {
        return http::connect(endpoint_.address()).orThrow();
    }

private:
    http::Endpoint endpoint_;
};

INSTANTIATE_TEST_SUITE_P(Remote, ServiceContract,
                         ::testing::Values(TransportRow{"UnixSocket",
                                                        [](IKovaApi& service) {
                                                            return std::make_unique<Remote>(
                                                                service, unixAddress());
                                                        }},
                                           TransportRow{"Tcp",
                                                        [](IKovaApi& service) {
                                                            return std::make_unique<Remote>(
                                                                service, "tcp:127.0.0.1:0");
                                                        }}),
                         nameOf);

}  // namespace
}  // namespace kova::test
