// The resource handlers of the example keep the contract of IResourceHandler.
#include "kova/testing/Conformance.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "AboutHandler.h"
#include "ClockHandler.h"
#include "StoreHandler.h"
#include "TemporaryFolder.h"

namespace device {
namespace {

using namespace std::chrono_literals;
using kova::testing::conformance;
using kova::testing::ConformanceOptions;
using Findings = std::vector<std::string>;

std::unique_ptr<kova::IResourceHandler> makeClock() {
    return std::make_unique<ClockHandler>(
        [] { return toDateTime(std::chrono::system_clock::now()); }, 1ms);
}

TEST(Conformance, AboutHandlerKeepsTheContract) {
    ConformanceOptions options;
    options.path = "versions";
    EXPECT_EQ(conformance(
                  [] { return std::make_unique<AboutHandler>(std::vector<std::string>{"1.0.0"}); },
                  options),
              Findings{});
}

TEST(Conformance, ClockHandlerKeepsTheContract) {
    EXPECT_EQ(conformance(&makeClock), Findings{});
}

TEST(Conformance, StreamOfTheClockHandlerKeepsTheContract) {
    ConformanceOptions options;
    options.semantic = kova::headers::PERSISTENT_STREAM;
    options.endless = true;
    EXPECT_EQ(conformance(&makeClock, options), Findings{});
}

TEST(Conformance, StoreHandlerKeepsTheContract) {
    const test::TemporaryFolder folder;
    const std::string file = folder / "store.json";
    test::writeFile(file, R"({"list":[1,2],"volume":5})");
    const auto make = [&] {
        StoreDocument document(file);
        std::string reason;
        EXPECT_FALSE(document.load(reason)) << reason;
        return std::make_unique<StoreHandler>(std::move(document));
    };
    EXPECT_EQ(conformance(make), Findings{});
}

}  // namespace
}  // namespace device
