#include "kova/core/response_handlers.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/Reports.h"
#include "support/Traces.h"

namespace kova::responsehandlers {
namespace {

using Events = std::vector<std::string>;

constexpr char const* CHANNEL = "KOVA_RESPONSEHANDLERS";

/// Returns a handler that records its events. Its `onNext` returns `answer`.
std::unique_ptr<IResponseHandler<Response>> recorder(Events& events, bool answer = false) {
    return std::make_unique<FuncResponseHandler<Response>>(
        [&events, answer](const Response& value) {
            events.push_back("next " + std::to_string(value.getStatusCode()));
            return answer;
        },
        [&events](const Response& error) {
            events.push_back("error " + std::to_string(error.getStatusCode()));
        },
        [&events] { events.push_back("completed"); });
}

/// Creates each of the three wrappers around a recorder.
struct Wrapper {
    char const* name;
    std::unique_ptr<IResponseHandler<Response>> (*make)(Events&, bool answer);
};

const Wrapper WRAPPERS[] = {
    {"Func", recorder},
    {"Filtering",
     [](Events& events, bool answer) -> std::unique_ptr<IResponseHandler<Response>> {
         return std::make_unique<FilteringResponseHandler<Response>>(
             recorder(events, answer), [](const Response&) { return true; });
     }},
    {"DoOnTermination",
     [](Events& events, bool answer) -> std::unique_ptr<IResponseHandler<Response>> {
         return std::make_unique<DoOnTerminationResponseHandler<Response>>(
             [] {}, recorder(events, answer));
     }},
};

class WrapperTest : public testing::TestWithParam<Wrapper> {
protected:
    Events events;
};

INSTANTIATE_TEST_SUITE_P(Wrappers, WrapperTest, testing::ValuesIn(WRAPPERS),
                         [](const auto& info) { return info.param.name; });

TEST_P(WrapperTest, ValuesAndTheFirstTerminationAreForwarded) {
    const auto handler = GetParam().make(events, false);
    EXPECT_FALSE(handler->onNext(Response(1)));
    EXPECT_FALSE(handler->onNext(Response(2)));
    handler->onCompleted();
    EXPECT_EQ(events, (Events{"next 1", "next 2", "completed"}));
}

TEST_P(WrapperTest, ResultOfOnNextIsReturnedAndDoesNotTerminateTheWrapper) {
    const auto handler = GetParam().make(events, true);
    EXPECT_TRUE(handler->onNext(Response(1)));
    EXPECT_TRUE(handler->onNext(Response(2)));
    handler->onError(Response(500));
    EXPECT_EQ(events, (Events{"next 1", "next 2", "error 500"}));
}

TEST_P(WrapperTest, TerminatingEventsAfterTerminationAreTracedAndIgnored) {
    const auto handler = GetParam().make(events, false);
    handler->onCompleted();
    test::Traces traces(CHANNEL, 3);
    test::Reports reports;
    handler->onCompleted();
    handler->onError(Response(500));
    EXPECT_EQ(events, Events{"completed"});
    EXPECT_EQ(traces.take(),
              (std::vector<test::Traces::Trace>{
                  {3, "Called onCompleted on responsehandler that is already terminated"},
                  {3, "Called onError on responsehandler that is already terminated"}}));
    EXPECT_TRUE(reports.take().empty());
}

TEST_P(WrapperTest, LateValueIsTracedReportedAndReturnsTrue) {
    const auto handler = GetParam().make(events, false);
    handler->onError(Response(404));
    test::Traces traces(CHANNEL, 0);
    test::Reports reports;
    EXPECT_TRUE(handler->onNext(Response(1)));
    EXPECT_EQ(events, Events{"error 404"});
    EXPECT_EQ(traces.take(),
              (std::vector<test::Traces::Trace>{
                  {4, "Called onNext on responsehandler that is already terminated"}}));
    const auto seen = reports.take();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].number, errors::RequestFailed);
    EXPECT_EQ(seen[0].reason, "request failed, reason = Request already terminated");
    EXPECT_EQ(seen[0].file, "include/kova/core/response_handlers");
    EXPECT_EQ(zel::ErrorStorage::current().number(), errors::RequestFailed);
}

TEST_P(WrapperTest, DestructionSendsNoEvent) {
    GetParam().make(events, false).reset();
    EXPECT_TRUE(events.empty());
}

TEST(ResponseHandlersTest, TerminationIsTracedByEachNestedHandler) {
    Events events;
    test::Traces traces(CHANNEL, 2);
    WRAPPERS[1].make(events, false)->onCompleted();
    EXPECT_EQ(traces.take(), (std::vector<test::Traces::Trace>{
                                 {2, "Terminating responsehandler with event 'onCompleted'"},
                                 {2, "Terminating responsehandler with event 'onCompleted'"}}));
    WRAPPERS[0].make(events, false)->onError(Response(500));
    EXPECT_EQ(traces.take(), (std::vector<test::Traces::Trace>{
                                 {2, "Terminating responsehandler with event 'onError'"}}));
}

TEST(ResponseHandlersTest, TraceTerminationWritesATrace) {
    test::Traces traces(CHANNEL, 2);
    EXPECT_EQ(traces.opened(), 1U);
    traceTermination(true);
    traceTermination(false);
    EXPECT_EQ(traces.take(), (std::vector<test::Traces::Trace>{
                                 {2, "Responsehandler returned with termination true; error=1"},
                                 {2, "Responsehandler returned with termination true; error=0"}}));
}

TEST(ResponseHandlersTest, MessagesBelowTheChannelLevelAreNotWritten) {
    test::Traces traces(CHANNEL, 4);
    traceSetTerminated("onError");
    traceTermination(true);
    traceAlreadyTerminated("onError", false);
    EXPECT_TRUE(traces.take().empty());
    traceAlreadyTerminated("onNext", true);
    EXPECT_EQ(traces.take().size(), 1U);
}

TEST(FilteringResponseHandlerTest, DiscardsRejectedValuesAndForwardsTermination) {
    Events events;
    FilteringResponseHandler<Response> handler(
        recorder(events, true), [](const Response& value) { return value.getStatusCode() == 200; });
    EXPECT_FALSE(handler.onNext(Response(299)));
    EXPECT_TRUE(handler.onNext(Response(200)));
    handler.onCompleted();
    EXPECT_EQ(events, (Events{"next 200", "completed"}));
}

TEST(DoOnTerminationResponseHandlerTest, ActionRunsOnceBeforeTheEventIsForwarded) {
    Events events;
    DoOnTerminationResponseHandler<Response> handler([&] { events.push_back("action"); },
                                                     recorder(events, true));
    EXPECT_TRUE(handler.onNext(Response(200)));
    handler.onError(Response(500));
    handler.onError(Response(501));
    handler.onCompleted();
    EXPECT_EQ(events, (Events{"next 200", "action", "error 500"}));
}

TEST(ResponseHandlersTest, EmptyNextFunctionThrows) {
    FuncResponseHandler<Response> func({}, {}, {});
    EXPECT_THROW(func.onNext(Response(200)), std::bad_function_call);
    Events events;
    FilteringResponseHandler<Response> filtering(recorder(events), {});
    EXPECT_THROW(filtering.onNext(Response(200)), std::bad_function_call);
    filtering.onCompleted();
    EXPECT_EQ(events, Events{"completed"});
}

TEST(ResponseHandlersTest, HandlersSupportOtherValueTypes) {
    std::vector<std::string> seen;
    FuncResponseHandler<std::vector<std::string>> handler(
        [&](const std::vector<std::string>& value) {
            seen = value;
            return false;
        },
        [](const Response&) {}, [] {});
    EXPECT_FALSE(handler.onNext({"a", "b"}));
    EXPECT_EQ(seen, (std::vector<std::string>{"a", "b"}));
}

TEST(ResponseHandlersDeathTest, EmptyTerminationFunctionEndsTheProcess) {
    FuncResponseHandler<Response> func({}, {}, {});
    EXPECT_DEATH(func.onError(Response(500)), "bad_function_call");
    EXPECT_DEATH(func.onCompleted(), "bad_function_call");
    Events events;
    DoOnTerminationResponseHandler<Response> action({}, recorder(events));
    EXPECT_DEATH(action.onCompleted(), "bad_function_call");
    EXPECT_DEATH(action.onError(Response(500)), "bad_function_call");
}

TEST(ResponseHandlersDeathTest, ExceptionFromATerminatingFunctionEndsTheProcess) {
    FuncResponseHandler<Response> func({}, [](const Response&) { throw 1; }, {});
    EXPECT_DEATH(func.onError(Response(500)), "");
}

}  // namespace
}  // namespace kova::responsehandlers
