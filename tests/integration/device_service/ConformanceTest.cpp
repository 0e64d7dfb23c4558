// The resource handlers of the example keep the contract of IResourceHandler.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/headers.h"
#include "kova/kit/Polled.h"
#include "kova/kit/Resource.h"
#include "kova/testing/Conformance.h"

namespace device {
namespace {

using kova::testing::conformance;
using kova::testing::ConformanceOptions;
using Findings = std::vector<std::string>;

/// A polled value below a resource, as the facts of the device are.
class FactHandler : public kova::IResourceHandler {
public:
    FactHandler() {
        resource_.mount("", fact_);
        handler_ = resource_.handler();
    }

    void* actionRequest(const kova::Request& request,
                        std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                        const std::string& resourcePath) override {
        return handler_->actionRequest(request, std::move(handler), resourcePath);
    }
    void cancelRequest(void* handle) override { handler_->cancelRequest(handle); }

private:
    kova::kit::Polled<int> fact_{[] { return 5; }, std::chrono::milliseconds(1)};
    kova::kit::Resource resource_;
    std::unique_ptr<kova::IResourceHandler> handler_;
};

std::unique_ptr<kova::IResourceHandler> makeFact() {
    return std::make_unique<FactHandler>();
}

// Times that a busy machine does not exceed.
ConformanceOptions patient() {
    ConformanceOptions options;
    options.limit = std::chrono::seconds(30);
    options.settle = std::chrono::milliseconds(100);
    return options;
}

TEST(Conformance, FactKeepsTheContractOfResourceHandlers) {
    EXPECT_EQ(conformance(&makeFact, patient()), Findings{});
}

TEST(Conformance, StreamOfAFactKeepsTheContractOfResourceHandlers) {
    ConformanceOptions options = patient();
    options.semantic = kova::headers::PERSISTENT_STREAM;
    options.endless = true;
    EXPECT_EQ(conformance(&makeFact, options), Findings{});
}

}  // namespace
}  // namespace device
