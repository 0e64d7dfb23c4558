#include "resources/Exchange.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/StatusCodes.h"
#include "kova/kit/Reply.h"
#include "kova/testing/Recording.h"

namespace kova::kit::detail {
namespace {

using kova::testing::record;
using kova::testing::Recording;
using Events = Recording::Events;

const Response VALUE(statuscodes::OK);
const Response CLOSED = Response::createErrorResponse(503, "closed");

/// A response handler that calls a function for each value and counts the events.
class Probe : public IResponseHandler<Response> {
public:
    struct Seen {
        int values = 0;
        int ends = 0;
        int living = 0;
        std::function<bool()> onValue = [] { return false; };
        std::function<void()> onEnd = [] {};
    };
    explicit Probe(Seen& seen) : seen_(seen) { ++seen_.living; }
    ~Probe() override { --seen_.living; }
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    bool onNext(const Response&) override {
        ++seen_.values;
        const bool hasEnough = seen_.onValue();
        EXPECT_EQ(seen_.living, 1) << "destroyed while it is called";
        return hasEnough;
    }
    void onError(const Response&) override { end(); }
    void onCompleted() override { end(); }

private:
    void end() {
        ++seen_.ends;
        seen_.onEnd();
        EXPECT_EQ(seen_.living, 1) << "destroyed while it is called";
    }
    Seen& seen_;
};

class ExchangeTest : public ::testing::Test {
protected:
    std::shared_ptr<Exchange> make() {
        return std::make_shared<Exchange>(table, recording.handler());
    }
    std::shared_ptr<Exchange> makeProbed() {
        return std::make_shared<Exchange>(table, std::make_unique<Probe>(seen));
    }

    Recording recording = record();
    Probe::Seen seen;
    std::shared_ptr<ExchangeTable> table = std::make_shared<ExchangeTable>();
};

TEST_F(ExchangeTest, OnlyTheFirstEndIsSent) {
    const auto exchange = make();
    EXPECT_TRUE(exchange->next(VALUE));
    EXPECT_TRUE(exchange->complete());
    EXPECT_FALSE(exchange->fail(CLOSED));
    EXPECT_FALSE(exchange->abort(CLOSED));
    EXPECT_FALSE(exchange->next(VALUE));
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
    EXPECT_EQ(recording.living(), 0U);
}

TEST_F(ExchangeTest, LastValueCompletesTheRequest) {
    const auto exchange = make();
    EXPECT_TRUE(exchange->last(VALUE));
    EXPECT_FALSE(exchange->last(VALUE));
    EXPECT_EQ(recording.events(), (Events{"value 200", "completed"}));
}

TEST_F(ExchangeTest, LastValueDoesNotCallOnCancel) {
    const auto exchange = makeProbed();
    int cancelled = 0;
    exchange->onCancel([&] { ++cancelled; });
    seen.onValue = [] { return true; };  // the receiver wants no further value
    EXPECT_TRUE(exchange->last(VALUE));
    EXPECT_EQ(cancelled, 0);
    EXPECT_EQ(seen.ends, 1);
}

TEST_F(ExchangeTest, ReceiverThatWantsNoMoreValuesGetsACompletion) {
    const auto exchange = makeProbed();
    int cancelled = 0;
    exchange->onCancel([&] { ++cancelled; });
    seen.onValue = [] { return true; };
    EXPECT_FALSE(exchange->next(VALUE));
    EXPECT_FALSE(exchange->next(VALUE));
    EXPECT_EQ(cancelled, 1);
    EXPECT_EQ(seen.values, 1);
    EXPECT_EQ(seen.ends, 1);
    EXPECT_EQ(seen.living, 0);
}

TEST_F(ExchangeTest, EndDuringAValueIsSentAfterTheValue) {
    const auto exchange = makeProbed();
    seen.onValue = [&] {
        EXPECT_TRUE(exchange->fail(CLOSED));
        EXPECT_EQ(seen.ends, 0);
        return false;
    };
    EXPECT_FALSE(exchange->next(VALUE));
    EXPECT_EQ(seen.ends, 1);
}

TEST_F(ExchangeTest, ErrorWithoutAMessageDuringAValueStaysAnError) {
    Exchange* sender = nullptr;
    recording.onEvent([&](const std::string& event) {
        if (event == "value 200") {
            sender->fail(Response(statuscodes::NOT_FOUND));
        }
    });
    const auto exchange = make();
    sender = exchange.get();
    exchange->next(VALUE);
    EXPECT_EQ(recording.events(), (Events{"value 200", "error 404 -"}));
}

TEST_F(ExchangeTest, NoEventFollowsACancellationDuringAValue) {
    const auto exchange = makeProbed();
    seen.onValue = [&] {
        exchange->cancel();
        return false;
    };
    EXPECT_FALSE(exchange->last(VALUE));
    EXPECT_EQ(seen.ends, 0);
    EXPECT_EQ(seen.living, 0);
}

TEST_F(ExchangeTest, CancellationDuringAValueMayReleaseTheLastReference) {
    auto exchange = makeProbed();
    void* const handle = table->add(exchange);
    exchange->onCancel([&] { exchange.reset(); });
    seen.onValue = [&] {
        table->find(handle)->cancel();
        return false;
    };
    Exchange& sender = *exchange;
    EXPECT_FALSE(sender.next(VALUE));
    EXPECT_EQ(seen.living, 0);
    EXPECT_EQ(table->size(), 0U);
}

TEST_F(ExchangeTest, CancellationRemovesTheRequestBeforeItCallsOnCancel) {
    const auto exchange = makeProbed();
    void* const handle = table->add(exchange);
    std::size_t left = 1;
    exchange->onCancel([&] { left = table->size(); });
    table->cancel(handle);
    EXPECT_EQ(left, 0U);
    EXPECT_EQ(seen.ends, 0);
    EXPECT_EQ(seen.living, 0);
    table->cancel(handle);
    EXPECT_FALSE(exchange->isOpen());
}

TEST_F(ExchangeTest, EndCallbackMayReleaseTheLastReference) {
    auto exchange = makeProbed();
    table->add(exchange);
    seen.onEnd = [&] { exchange.reset(); };
    Exchange& sender = *exchange;
    EXPECT_TRUE(sender.complete());
    EXPECT_EQ(table->size(), 0U);
}

TEST_F(ExchangeTest, ReceiverMayDestroyTheReplyInsideItsCallback) {
    std::vector<Reply<int>> replies;
    replies.emplace_back(makeProbed(), "application/json");
    seen.onValue = [&] {
        replies.clear();
        return false;
    };
    replies.front().value(1);
    EXPECT_EQ(seen.values, 1);
    EXPECT_EQ(seen.ends, 1);
}

TEST_F(ExchangeTest, OnCancelFunctionIsReleasedAtTheEnd) {
    const auto exchange = make();
    const auto captured = std::make_shared<int>(0);
    exchange->onCancel([captured] { ++*captured; });
    exchange->complete();
    EXPECT_EQ(captured.use_count(), 1);
    exchange->onCancel([captured] { ++*captured; });
    EXPECT_EQ(captured.use_count(), 1);
    EXPECT_EQ(*captured, 0);
}

TEST_F(ExchangeTest, ReplacedOnCancelFunctionMayUseTheRequestWhenDestroyed) {
    const auto exchange = make();
    const std::shared_ptr<Exchange> captured(exchange.get(), [exchange](Exchange*) {
        exchange->isOpen();  // would deadlock if this ran under the lock
    });
    exchange->onCancel([captured] {});
    exchange->onCancel([] {});
    EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(ExchangeTest, OnCancelCallsItsFunctionAtOnceAfterACancellation) {
    const auto exchange = make();
    int calls = 0;
    exchange->cancel();
    exchange->onCancel([&] { ++calls; });
    EXPECT_EQ(calls, 1);
    exchange->cancel();
    EXPECT_EQ(calls, 1);
}

TEST_F(ExchangeTest, OnCancelDoesNotReplaceTheOnStopFunction) {
    const auto exchange = make();
    std::string calls;
    exchange->onStop([&] { calls += 's'; });
    exchange->onCancel([&] { calls += 'x'; });
    exchange->onCancel([&] { calls += 'c'; });
    exchange->abort(CLOSED);
    EXPECT_EQ(calls, "sc");
}

TEST_F(ExchangeTest, DestructionWithoutAnEndSends500) {
    make().reset();
    EXPECT_EQ(recording.events(), (Events{"error 500 the service did not answer the request"}));
}

TEST_F(ExchangeTest, ReplyDestroyedByAnExceptionOutsideTheServiceSends500) {
    const auto exchange = make();
    try {
        const Reply<int> reply(exchange, "application/json");
        throw std::runtime_error("no sensor");
    } catch (const std::runtime_error&) {
        EXPECT_EQ(recording.events(), (Events{"error 500 the service did not answer the request"}));
    }
}

TEST_F(ExchangeTest, TableContainsOnlyUnfinishedRequests) {
    const auto first = make();
    const auto second = make();
    first->complete();
    EXPECT_EQ(table->add(first), nullptr);
    void* const handle = table->add(second);
    EXPECT_EQ(table->find(handle), second);
    EXPECT_EQ(table->all().size(), 1U);
    second->cancel();
    EXPECT_EQ(table->find(handle), nullptr);
    EXPECT_EQ(table->size(), 0U);
}

}  // namespace
}  // namespace kova::kit::detail
