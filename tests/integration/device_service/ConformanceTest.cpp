// The resource handler of the example keeps the contract of IResourceHandler.
#include "kova/testing/Conformance.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "Live.h"
#include "kova/core/headers.h"

namespace device {
namespace {

using kova::testing::conformance;
using kova::testing::ConformanceOptions;
using Findings = std::vector<std::string>;

std::unique_ptr<kova::IResourceHandler> makeLive() {
    auto live = std::make_unique<Live>();
    live->add<int>("", [] { return kova::kit::Result<int>(5); });
    live->start(std::chrono::milliseconds(1));
    return live;
}

TEST(Conformance, LiveKeepsTheContract) {
    EXPECT_EQ(conformance(&makeLive), Findings{});
}

TEST(Conformance, StreamOfLiveKeepsTheContract) {
    ConformanceOptions options;
    options.semantic = kova::headers::PERSISTENT_STREAM;
    options.endless = true;
    EXPECT_EQ(conformance(&makeLive, options), Findings{});
}

}  // namespace
}  // namespace device
