#include "resources/Gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <optional>
#include <thread>

namespace kova::kit::detail {
namespace {

using namespace std::chrono_literals;

TEST(GateTest, ClosedGateAdmitsNoThreadByDefault) {
    Gate gate;
    EXPECT_TRUE(gate.close());
    EXPECT_FALSE(gate.close());
    EXPECT_FALSE(Gate::Entry(gate));
    EXPECT_FALSE(gate.isInside());
    EXPECT_TRUE(gate.waitUntilLeft());
}

TEST(GateTest, WaitIncludesThreadsForcedIntoTheClosedGate) {
    Gate gate;
    gate.close();
    std::optional<Gate::Entry> entry;
    entry.emplace(gate, true);
    EXPECT_TRUE(gate.isInside());
    EXPECT_TRUE(gate.waitUntilLeft()) << "a thread does not wait for itself";
    EXPECT_FALSE(std::async(std::launch::async, [&] { return gate.waitUntilLeft(10ms); }).get());
    entry.reset();
    EXPECT_TRUE(std::async(std::launch::async, [&] { return gate.waitUntilLeft(); }).get());
}

TEST(GateTest, ThreadDoesNotWaitForItsOwnNestedEntries) {
    Gate outer;
    Gate inner;
    const Gate::Entry first(outer);
    const Gate::Entry second(inner);
    const Gate::Entry third(outer);
    outer.close();
    inner.close();
    EXPECT_TRUE(outer.isInside());
    EXPECT_TRUE(outer.waitUntilLeft());
    EXPECT_TRUE(inner.waitUntilLeft());
}

TEST(GateTest, ThreadsThatWaitInsideDoNotWaitForEachOther) {
    Gate gate;
    std::atomic<int> inside{0};
    const auto closeInside = [&] {
        const Gate::Entry entry(gate);
        for (++inside; inside < 2;) {
            std::this_thread::yield();
        }
        gate.close();
        return gate.waitUntilLeft(20s);
    };
    auto first = std::async(std::launch::async, closeInside);
    auto second = std::async(std::launch::async, closeInside);
    EXPECT_TRUE(first.get());
    EXPECT_TRUE(second.get());
}

TEST(GateTest, ThreadOutsideWaitsForThreadsThatWaitInside) {
    Gate gate;
    std::promise<void> waited;
    std::promise<void> leave;
    std::thread inside([&] {
        const Gate::Entry entry(gate);
        gate.close();
        gate.waitUntilLeft();
        waited.set_value();
        leave.get_future().wait();
    });
    waited.get_future().wait();
    EXPECT_FALSE(gate.waitUntilLeft(10ms));
    leave.set_value();
    EXPECT_TRUE(gate.waitUntilLeft());
    inside.join();
}

}  // namespace
}  // namespace kova::kit::detail
