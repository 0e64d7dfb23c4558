#include "kova/core/RootAccessor.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "kova/core/Errors.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/response_handlers.h"
#include "support/Reports.h"
#include "support/Service.h"
#include "support/Traces.h"
#include "support/Trees.h"

namespace kova {
namespace {

using test::Events;
using Traced = std::vector<test::Traces::Trace>;

constexpr char const* CHANNEL = "KOVA_CLIENT_ROOTACCESSOR";

/// Returns a receiver that records its events: "next /a /b ", "error 404", "completed".
std::shared_ptr<IResponseHandler<std::vector<std::string>>> receiver(Events& events,
                                                                     bool answer = false) {
    return std::make_shared<responsehandlers::FuncResponseHandler<std::vector<std::string>>>(
        [&events, answer](const std::vector<std::string>& names) {
            std::string event = "next ";
            for (const std::string& name : names) {
                event += name + " ";
            }
            events.push_back(event);
            return answer;
        },
        [&events](const Response& error) {
            events.push_back("error " + error.getErrorMessageWithCode());
        },
        [&events] { events.push_back("completed"); });
}

/// A service that stores the request and its handler, so that the test can answer.
class ScriptedService : public IKovaApi {
public:
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        requests.push_back(request);
        answers = std::move(handler);
        return this;
    }
    void cancelRequest(void* handle) override { cancelled.push_back(handle); }

    std::vector<Request> requests;
    std::vector<void*> cancelled;
    std::unique_ptr<IResponseHandler<Response>> answers;
};

Response responseOf(const std::string& bytes, const std::string& mimeType,
                    unsigned short code = 200) {
    return {code, Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                         bytes.size(), mimeType)};
}

class RootAccessorTest : public testing::Test {
protected:
    ScriptedService service;
    RootAccessor accessor{&service, "application/json", "/me"};
    Events events;
};

TEST_F(RootAccessorTest, RequestContainsMimeTypeAndTracingInfo) {
    EXPECT_EQ(accessor.trackResources(receiver(events)), &service);
    ASSERT_EQ(service.requests.size(), 1U);
    EXPECT_EQ(service.requests[0].getCommand(), "retrieve");
    EXPECT_EQ(service.requests[0].getPath(), "/");
    EXPECT_TRUE(service.requests[0].getPayload().isEmpty());
    EXPECT_EQ(kova::test::toJson(service.requests[0].getHeader()),
              R"({"$accept":"application/json","$client-id":"unknown","$service-path":"/me"})");
}

TEST_F(RootAccessorTest, UnknownMimeTypeIsNotWrittenIntoTheRequest) {
    RootAccessor(&service, "x/y", "").trackResources(receiver(events));
    EXPECT_EQ(kova::test::toJson(service.requests[0].getHeader()),
              R"({"$client-id":"unknown","$service-path":""})");
}

TEST_F(RootAccessorTest, AnswersAreDeliveredUntilTermination) {
    accessor.trackResources(receiver(events));
    EXPECT_FALSE(service.answers->onNext(responseOf(R"(["/a","/b"])", "application/json")));
    EXPECT_FALSE(service.answers->onNext(responseOf("[]", "application/json", 500)));
    EXPECT_FALSE(service.answers->onNext(responseOf("\x81\x62/c", "application/vnd.axobin")));
    service.answers->onCompleted();
    EXPECT_EQ(events, (Events{"next /a /b ", "next ", "next /c ", "completed"}));
}

TEST_F(RootAccessorTest, ResultOfTheReceiversOnNextIsReturnedToTheService) {
    accessor.trackResources(receiver(events, true));
    EXPECT_TRUE(service.answers->onNext(responseOf("[]", "application/json")));
}

TEST_F(RootAccessorTest, ErrorOfTheServiceIsForwardedUnchanged) {
    accessor.trackResources(receiver(events));
    service.answers->onError(Response::createErrorResponse(503, "busy"));
    EXPECT_EQ(events, Events{"error 503 Service Unavailable: busy"});
}

TEST_F(RootAccessorTest, AnswerOfUnknownMimeTypeEndsTheTrackingSilently) {
    accessor.trackResources(receiver(events));
    for (char const* const type : {"x/y", "", "plain/text", "application/vnd.msgpack"}) {
        test::Reports reports;
        test::Traces traces(CHANNEL, 4);
        EXPECT_TRUE(service.answers->onNext(responseOf("[]", type)));
        const auto seen = reports.take();
        ASSERT_EQ(seen.size(), 1U) << type;
        EXPECT_EQ(seen[0].number, errors::UndefinedMimeType);
        EXPECT_EQ(seen[0].file, "src/core/servicecomposition/RootAccessor");
        EXPECT_EQ(seen[0].line, 59);
        EXPECT_EQ(traces.take(), (Traced{{4, "[trackResources] onNext: undefined mimeType '" +
                                                 std::string(type) + "'"}}));
    }
    EXPECT_TRUE(events.empty());
}

TEST_F(RootAccessorTest, UndecodableAnswerEndsTheTrackingSilently) {
    accessor.trackResources(receiver(events));
    const std::tuple<std::string, std::string, std::string> bodies[] = {
        {"", "application/json", "expected a value, found the end of the text (byte 0)"},
        {"{}", "application/json", "expected an array, found a struct (byte 0)"},
        {"[1]", "application/json", "[0]: expected a string, found 1 (byte 1)"},
        {"[\"/a\"", "application/json", "expected ',' or ']', found the end of the text (byte 5)"},
        {"[\"/a\",null]", "application/json", "[1]: expected a string, found null (byte 6)"},
        {"\x9F\x62/", "application/vnd.axobin",
         "[0]: expected a value, found too few bytes behind 0x62 (byte 1)"},
        {"", "application/vnd.axobin", "expected a value, found the end of the payload (byte 0)"}};
    for (const auto& [bytes, type, reason] : bodies) {
        test::Reports reports;
        test::Traces traces(CHANNEL, 4);
        EXPECT_TRUE(service.answers->onNext(responseOf(bytes, type))) << bytes;
        const auto seen = reports.take();
        ASSERT_EQ(seen.size(), 1U) << bytes;
        EXPECT_EQ(seen[0].reason, "error on deserialization for 'std::vector<std::string>'");
        EXPECT_EQ(seen[0].line, 74);
        EXPECT_EQ(traces.take(),
                  (Traced{{4, "[trackResources] can't create response data, reason=" + reason}}));
    }
    EXPECT_TRUE(service.answers->onNext(Response(200)));
    EXPECT_TRUE(events.empty());
}

TEST_F(RootAccessorTest, AbortCancelsTheRequest) {
    void* const handle = accessor.trackResources(receiver(events));
    accessor.abortTracking(handle);
    EXPECT_EQ(service.cancelled, std::vector<void*>{handle});
}

/// A service that destroys the response handler as soon as the request is cancelled.
class HastyService : public ScriptedService {
public:
    void cancelRequest(void*) override { answers.reset(); }
};

/// A receiver that aborts the tracking in each callback. It must stay alive until the callback has
/// returned.
class AbortingReceiver : public IResponseHandler<std::vector<std::string>> {
public:
    AbortingReceiver(std::unique_ptr<RootAccessor>& accessor, std::string& story)
        : accessor_(accessor), story_(story) {}
    ~AbortingReceiver() override { story_ += "destroyed"; }
    bool onNext(const std::vector<std::string>&) override { return abort(); }
    void onError(const Response&) override { abort(); }
    void onCompleted() override { abort(); }

private:
    bool abort() {
        accessor_->abortTracking(nullptr);
        accessor_.reset();
        story_ += "aborted, ";
        return true;
    }
    std::unique_ptr<RootAccessor>& accessor_;
    std::string& story_;
};

TEST(RootAccessorReentryTest, ReceiverThatAbortsTheTrackingOutlivesItsCallback) {
    for (int event = 0; event < 3; ++event) {
        HastyService service;
        auto accessor = std::make_unique<RootAccessor>(&service, "application/json", "");
        std::string story;
        accessor->trackResources(std::make_shared<AbortingReceiver>(accessor, story));
        if (event == 0) {
            EXPECT_TRUE(service.answers->onNext(responseOf("[]", "application/json")));
        } else if (event == 1) {
            service.answers->onError(Response(500));
        } else {
            service.answers->onCompleted();
        }
        EXPECT_EQ(story, "aborted, destroyed") << event;
    }
}

TEST_F(RootAccessorTest, TracesAtLevelTwoOmitRequestsAndResponses) {
    test::Traces traces(CHANNEL, 2);
    char handle[32];
    std::snprintf(handle, sizeof(handle), "%p", static_cast<void*>(&service));
    accessor.trackResources(receiver(events));
    service.answers->onNext(responseOf("[]", "application/json"));
    service.answers->onCompleted();
    accessor.trackResources(receiver(events));
    service.answers->onError(Response(500));
    accessor.abortTracking(&service);
    EXPECT_EQ(traces.take(), (Traced{{2, "[trackResources] handle=" + std::string(handle)},
                                     {2, "[trackResources] onNext: sc=200"},
                                     {2, "[trackResources] onCompleted"},
                                     {2, "[trackResources] handle=" + std::string(handle)},
                                     {2, "[trackResources] onError"},
                                     {2, "[cancelRequest] handle=" + std::string(handle)}}));
}

TEST_F(RootAccessorTest, TracesAtLevelOneShowRequestsAndResponses) {
    test::Traces traces(CHANNEL, 1);
    accessor.trackResources(receiver(events));
    const Response response = responseOf("[]", "application/json");
    service.answers->onNext(response);
    const Traced seen = traces.take();
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_EQ(seen[1], (test::Traces::Trace{
                           1, "[trackResources] '" + service.requests[0].toString() + "'"}));
    EXPECT_EQ(seen[2], (test::Traces::Trace{1, "[trackResources] onNext: " + response.toString()}));
}

class RootAccessorWithServiceTest : public testing::TestWithParam<char const*> {
protected:
    RootAccessorWithServiceTest() {
        const std::string type = GetParam();
        servicecomp::overrideMimeTypeFunc([type](const Request&) { return type; });
        service = std::make_unique<StaticComposedKovaService>(test::Mounts({"/b", "/a"}).take());
    }
    ~RootAccessorWithServiceTest() override { servicecomp::overrideMimeTypeFunc({}); }

    std::unique_ptr<StaticComposedKovaService> service;
    Events events;
};

INSTANTIATE_TEST_SUITE_P(Formats, RootAccessorWithServiceTest,
                         testing::Values("application/json", "application/vnd.axobin"));

TEST_P(RootAccessorWithServiceTest, ListsTheResourcesOfAComposedService) {
    RootAccessor accessor(service.get(), GetParam(), "/me");
    EXPECT_EQ(accessor.trackResources(receiver(events)), IKovaApi::UNDEFINED_REQUEST_HANDLE);
    EXPECT_EQ(events, (Events{"next /a /b ", "completed"}));
}

TEST_P(RootAccessorWithServiceTest, ServiceSendsNothingAfterShutdown) {
    service->shutdown();
    RootAccessor accessor(service.get(), GetParam(), "/me");
    EXPECT_EQ(accessor.trackResources(receiver(events)), IKovaApi::UNDEFINED_REQUEST_HANDLE);
    EXPECT_TRUE(events.empty());
}

}  // namespace
}  // namespace kova
