#include "calls/CallTable.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "calls/PendingCall.h"
#include "support/HeldService.h"
#include "support/Threads.h"

namespace kova::kit::detail {
namespace {

const Request REQUEST("retrieve", "/state");

class CallTableTest : public ::testing::Test {
protected:
    // Returns a call that is not sent.
    CallReference make() {
        CallReference call(
            PendingCall::create(REQUEST, PendingCall::Setup{service, table, nullptr}, {}));
        call->release();  // the reference of the service, which does not receive the call
        return call;
    }

    test::HeldService service;
    CallTable table;
};

TEST_F(CallTableTest, FindsACallUntilItIsRemoved) {
    const CallReference call = make();
    ASSERT_TRUE(table.link(*call));
    EXPECT_EQ(table.find(call->handle).get(), call.get());
    EXPECT_EQ(table.size(), 1U);
    table.remove(*call);
    EXPECT_EQ(table.find(call->handle), nullptr);
    EXPECT_EQ(table.size(), 0U);
    table.remove(*call);
    EXPECT_EQ(table.size(), 0U);
}

TEST_F(CallTableTest, UnknownHandleFindsNoCall) {
    EXPECT_EQ(table.find(nullptr), nullptr);
    EXPECT_EQ(table.find(this), nullptr);
}

TEST_F(CallTableTest, GrowingTableKeepsAllCalls) {
    std::vector<CallReference> calls;
    std::set<void*> handles;
    for (int i = 0; i < 5000; ++i) {
        calls.push_back(make());
        ASSERT_TRUE(table.link(*calls.back()));
        EXPECT_TRUE(handles.insert(calls.back()->handle).second);
    }
    EXPECT_EQ(table.size(), 5000U);
    EXPECT_EQ(table.collectAll().size(), 5000U);
    for (const CallReference& call : calls) {
        EXPECT_EQ(table.find(call->handle).get(), call.get());
        table.remove(*call);
    }
    EXPECT_EQ(table.size(), 0U);
}

TEST_F(CallTableTest, CollectReturnsTheCallsThatTheFilterSelects) {
    const CallReference first = make();
    const CallReference second = make();
    table.link(*first);
    table.link(*second);
    const auto found = table.collect(
        [](const PendingCall& call, void* wanted) { return &call == wanted; }, second.get());
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].get(), second.get());
    table.remove(*first);
    table.remove(*second);
}

TEST_F(CallTableTest, ClosedTableAcceptsNoCall) {
    table.close();
    const CallReference call = make();
    EXPECT_FALSE(table.link(*call));
    EXPECT_EQ(table.size(), 0U);
}

TEST_F(CallTableTest, ThreadInsideTheTableCountsAsACallUntilItLeaves) {
    std::size_t place = 0;
    ASSERT_TRUE(table.enter(place));
    EXPECT_EQ(table.size(), 1U);
    EXPECT_TRUE(table.collectAll().empty());
    table.close();
    std::size_t other = 0;
    EXPECT_FALSE(table.enter(other));
    EXPECT_EQ(table.size(), 1U);
    table.leave(place);
    EXPECT_EQ(table.size(), 0U);
}

TEST_F(CallTableTest, HandlesOfAllTablesAndThreadsDiffer) {
    constexpr int THREADS = 4;
    std::vector<std::set<void*>> handles(THREADS);
    test::runOnThreads(THREADS, [&](int thread) {
        CallTable own;
        for (int i = 0; i < 5000; ++i) {
            const CallReference call(
                PendingCall::create(REQUEST, PendingCall::Setup{service, own, nullptr}, {}));
            call->release();
            own.link(*call);
            handles[static_cast<std::size_t>(thread)].insert(call->handle);
            own.remove(*call);
        }
    });
    std::set<void*> all;
    for (const std::set<void*>& some : handles) {
        all.insert(some.begin(), some.end());
    }
    EXPECT_EQ(all.size(), THREADS * 5000U);
}

}  // namespace
}  // namespace kova::kit::detail
