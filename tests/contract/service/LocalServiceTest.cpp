// Runs the suite ServiceContract with a service in the same process.
#include <memory>

#include "contract/service/ServiceContract.h"
#include "kova/kit/Calls.h"

namespace kova::test {
namespace {

/// A transport whose clients are objects of the kit in front of the service.
class InProcess final : public Transport {
public:
    explicit InProcess(IKovaApi& service) : service_(service) {}
    std::unique_ptr<IKovaApi> connect() override { return std::make_unique<kit::Calls>(service_); }

private:
    IKovaApi& service_;
};

INSTANTIATE_TEST_SUITE_P(
    Local, ServiceContract,
    ::testing::Values(TransportRow{
        "InProcess", [](IKovaApi& service) { return std::make_unique<InProcess>(service); }}),
    nameOf);

}  // namespace
}  // namespace kova::test
