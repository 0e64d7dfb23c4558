#include "kova/kit/Client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/kit/CallerDriven.h"
#include "kova/kit/Loop.h"
#include "kova/kit/Values.h"
#include "kova/kit/Worker.h"
#include "kova/testing/ManualClock.h"
#include "osal/Alarm.h"
#include "support/HeldService.h"
#include "support/Threads.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using test::HeldService;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::StartsWith;

struct Volume {
    int level = 30;
    bool muted = false;
};
KOVA_FIELDS(Volume, level, optional(muted))
struct Progress {
    int step = 0;
    int of = 0;
};
KOVA_FIELDS(Progress, step, of)

Response json(unsigned short code, const std::string& text) {
    return {code, Payload::createFromJSON(text)};
}

class ClientTest : public ::testing::Test {
protected:
    ClientTest() {
        options.servicePath = "/player";
        options.clientId = "hmi";
        options.clock = &clock;
        client.emplace(service, options);
    }
    /// Makes the service answer every request immediately.
    void answerAtOnce(const Response& value) {
        service.onRequest = [this, value](std::size_t number) { service.answer(number, value); };
    }
    Request sent(std::size_t number = 1) const { return service.request(number); }
    static std::string headerOf(const Request& request, char const* key) {
        return fromTree<std::string>(request.getHeaderValue(key)).valueOr("-");
    }

    kova::testing::ManualClock clock;
    HeldService service;
    Loop loop;
    ClientOptions options;
    std::optional<Client> client;
};

// --- The request ---------------------------------------------------------------------------------

TEST_F(ClientTest, RequestHasCommandPathAndHeaders) {
    answerAtOnce(json(200, R"({"level":55})"));
    const Result<Volume> volume =
        client->retrieve<Volume>("/volume").header("zone", 3).header("who", "me").get();
    ASSERT_TRUE(volume.ok());
    EXPECT_EQ(volume->level, 55);
    const Request request = sent();
    EXPECT_EQ(request.getCommand(), "retrieve");
    EXPECT_EQ(request.getPath(), "/volume");
    EXPECT_EQ(headerOf(request, headers::SERVICE_PATH), "/player");
    EXPECT_EQ(headerOf(request, headers::CLIENT_ID), "hmi");
    EXPECT_EQ(headerOf(request, headers::ACCEPT), mimetypes::JSON_TYPE);
    EXPECT_EQ(headerOf(request, headers::RESPONSE_SEMANTIC), headers::SINGLE_RESPONSE);
    EXPECT_EQ(headerOf(request, "who"), "me");
    EXPECT_EQ(fromTree<int>(request.getHeaderValue("zone")).valueOr(0), 3);
}

TEST_F(ClientTest, EachFunctionSendsItsCommand) {
    answerAtOnce(json(200, "7"));
    client->update("/a", Volume{55, true}).get().orThrow();
    EXPECT_EQ(sent(1).getCommand(), "update");
    EXPECT_EQ(headerOf(sent(1), headers::RESPONSE_SEMANTIC), headers::EMPTY_RESPONSE);
    EXPECT_EQ(fromPayload<Volume>(sent(1).getPayload())->level, 55);
    EXPECT_EQ(*client->insert<int>("/b", "usb").get(), 7);
    EXPECT_EQ(sent(2).getCommand(), "insert");
    EXPECT_EQ(*fromPayload<std::string>(sent(2).getPayload()), "usb");
    client->remove("/c").get().orThrow();
    EXPECT_EQ(sent(3).getCommand(), "delete");
    EXPECT_EQ(*client->call<int>("seek", "/d", 12).get(), 7);
    EXPECT_EQ(sent(4).getCommand(), "seek");
}

TEST_F(ClientTest, AcceptOptionSetsTheFormatAndTheHeaderEntry) {
    options.accept = mimetypes::AXOBIN_TYPE;
    Client binary(service, {"/player", "hmi", mimetypes::AXOBIN_TYPE});
    answerAtOnce(Response(200));
    binary.update("/a", 3).get().orThrow();
    EXPECT_EQ(sent().getPayload().getMimeType(), mimetypes::AXOBIN_TYPE);
    EXPECT_EQ(headerOf(sent(), headers::ACCEPT), mimetypes::AXOBIN_TYPE);
}

TEST_F(ClientTest, RequestWithAnUnencodableBodyIsNotSent) {
    const Result<void> result = client->update("/a", std::string("\xff")).get();
    ASSERT_FALSE(result.ok());
    EXPECT_EQ(result.error().code, 500);
    std::string end;
    client->update("/a", std::string("\xff"))
        .onEnd([&](const End& last) { end = last.toString(); })
        .detach();
    EXPECT_EQ(end, "refused: " + result.error().toString());
    EXPECT_EQ(client->pending().size(), 0U);
}

TEST_F(ClientTest, CallIsSentOnlyWhenItIsStarted) {
    static_cast<void>(client->retrieve<Volume>("/volume"));
    static_cast<void>(client->watch<Volume>("/volume").onValue([](const Volume&) {}));
    answerAtOnce(Response(200));
    client->remove("/x").get().orThrow();
    EXPECT_EQ(sent(1).getPath(), "/x") << "the first request that was sent";
}

// --- Blocking ------------------------------------------------------------------------------------

TEST_F(ClientTest, GetReturnsTheErrorOfTheService) {
    service.onRequest = [this](std::size_t number) {
        service.take(number)->onError(Response::createErrorResponse(404, "no such volume"));
    };
    const Result<Volume> volume = client->retrieve<Volume>("/volume").get();
    ASSERT_FALSE(volume.ok());
    EXPECT_EQ(volume.error(), (Error{404, "no such volume"}));
}

TEST_F(ClientTest, GetReturnsTheReasonOfAMalformedPayload) {
    answerAtOnce(json(200, R"({"level":"loud"})"));
    const Result<Volume> volume = client->retrieve<Volume>("/volume").get();
    ASSERT_FALSE(volume.ok());
    EXPECT_EQ(volume.error().code, 400);
    EXPECT_THAT(volume.error().message, AllOf(StartsWith("level: expected an integer"),
                                              EndsWith("found \"loud\" (byte 9)")));
}

TEST_F(ClientTest, GetWaitsForTheAnswerOfAnotherThread) {
    std::thread answering([this] {
        service.waitForRequests(1);
        service.answer(1, json(200, "5"));
    });
    EXPECT_EQ(*client->retrieve<int>("/level").get(), 5);
    answering.join();
}

TEST_F(ClientTest, GetCancelsTheCallAfterItsDeadline) {
    const Result<int> level = client->retrieve<int>("/level").get(1ms);
    ASSERT_FALSE(level.ok());
    EXPECT_EQ(level.error(), (Error{504, "no answer within 1 ms to retrieve '/level'"}));
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    EXPECT_TRUE(client->pending().empty());
}

TEST_F(ClientTest, GetFailsIfTheAnswerHasNoValue) {
    service.onRequest = [this](std::size_t number) { service.take(number)->onCompleted(); };
    const Result<int> level = client->retrieve<int>("/level").get();
    ASSERT_FALSE(level.ok());
    EXPECT_EQ(level.error(), (Error{502, "retrieve '/level' was completed without a value"}));
    EXPECT_TRUE(client->remove("/level").get().ok());
}

TEST_F(ClientTest, RejectedAndDroppedRequestsFail) {
    service.onRequest = [this](std::size_t number) { service.take(number).reset(); };
    EXPECT_EQ(client->retrieve<int>("/level").get().error(),
              (Error{500, "the service dropped retrieve '/level'"}));
    service.rejects = true;
    EXPECT_EQ(client->retrieve<int>("/level").get().error(),
              (Error{503, "the service refuses requests"}));
}

TEST_F(ClientTest, ProgressReachesTheWaitingThread) {
    std::vector<std::pair<int, std::thread::id>> steps;
    std::thread answering([this] {
        service.waitForRequests(1);
        const auto handler = service.take(1);
        handler->onNext(json(298, R"({"step":1,"of":2})"));
        handler->onNext(json(298, R"({"step":2,"of":2})"));
        handler->onNext(json(201, "9"));
        handler->onCompleted();
    });
    const Result<int> track = client->insert<int>("/library", "usb")
                                  .onProgress<Progress>([&](const Progress& progress) {
                                      steps.emplace_back(progress.step, std::this_thread::get_id());
                                  })
                                  .get();
    answering.join();
    EXPECT_EQ(track.valueOr(0), 9);
    const auto self = std::this_thread::get_id();
    EXPECT_EQ(steps, (std::vector<std::pair<int, std::thread::id>>{{1, self}, {2, self}}));
}

TEST_F(ClientTest, AnswerContainsCodeHeaderAndValue) {
    Response response = json(201, "9");
    response.add2header("etag", new util::config::ValueString("x"));
    answerAtOnce(response);
    const auto reply = client->insert<int>("/library", 1).full().get();
    ASSERT_TRUE(reply.ok());
    EXPECT_EQ(reply->code(), 201);
    EXPECT_EQ(reply->value, 9);
    EXPECT_EQ(fromTree<std::string>(reply->response.getHeaderValue("etag")).valueOr("-"), "x");
    EXPECT_EQ(client->remove("/library").full().get()->code(), 201);
}

// --- A service that the waiting thread drives ----------------------------------------------------

/// A service that the waiting thread can drive. Driving it calls a function of the test.
class DrivenService : public HeldService, public CallerDriven {
public:
    bool beginDriving() noexcept override {
        calls.emplace_back("begin");
        return accepts;
    }
    bool drive(std::chrono::steady_clock::time_point) override {
        calls.emplace_back("drive");
        return work();
    }
    void endDriving() noexcept override { calls.emplace_back("end"); }
    void interruptDriving() noexcept override { interrupted.set_value(); }

    bool accepts = true;
    std::function<bool()> work;
    std::vector<std::string> calls;
    std::promise<void> interrupted;
};

class DrivenClientTest : public ::testing::Test {
protected:
    DrivenClientTest() {
        service.onRequest = [this](std::size_t) { service.calls.emplace_back("request"); };
    }

    using Calls = std::vector<std::string>;
    DrivenService service;
    Client client{service};
};

TEST_F(DrivenClientTest, WaitingThreadDrivesTheServiceUntilTheAnswer) {
    int turns = 0;
    service.work = [&] {
        if (++turns == 2) {
            service.answer(1, json(200, "5"));
        }
        return true;
    };
    EXPECT_EQ(*client.retrieve<int>("/level").get(), 5);
    EXPECT_EQ(service.calls, (Calls{"begin", "request", "drive", "drive", "end"}));
}

TEST_F(DrivenClientTest, GetWaitsIfTheServiceNeedsItsOwnThread) {
    std::thread answering;
    service.work = [&] {
        answering = std::thread([&] { service.answer(1, json(200, "5")); });
        return false;
    };
    EXPECT_EQ(*client.retrieve<int>("/level").get(), 5);
    answering.join();
    EXPECT_EQ(service.calls, (Calls{"begin", "request", "drive", "end"}));
}

TEST_F(DrivenClientTest, GetDoesNotDriveAServiceThatRefusesToBeDriven) {
    service.accepts = false;
    service.onRequest = [this](std::size_t number) { service.answer(number, json(200, "5")); };
    EXPECT_EQ(*client.retrieve<int>("/level").get(), 5);
    EXPECT_EQ(service.calls, (Calls{"begin"}));
}

TEST_F(DrivenClientTest, AnswerOnAnotherThreadInterruptsDriving) {
    std::thread answering;
    service.work = [&] {
        answering = std::thread([&] { service.answer(1, json(200, "5")); });
        service.interrupted.get_future().wait();
        return true;
    };
    EXPECT_EQ(*client.retrieve<int>("/level").get(), 5);
    answering.join();
    EXPECT_EQ(service.calls, (Calls{"begin", "request", "drive", "end"}));
}

TEST_F(DrivenClientTest, DrivingEndsBeforeTheProgressFunctionIsCalled) {
    service.work = [&] {
        service[1].onNext(json(298, R"({"step":1,"of":2})"));
        return true;
    };
    const Result<int> track = client.retrieve<int>("/level")
                                  .onProgress<Progress>([&](const Progress&) {
                                      service.calls.emplace_back("progress");
                                      service.answer(1, json(200, "5"));
                                  })
                                  .get();
    EXPECT_EQ(track.valueOr(0), 5);
    EXPECT_EQ(service.calls, (Calls{"begin", "request", "drive", "end", "progress"}));
}

TEST_F(DrivenClientTest, DrivingEndsBeforeTheCallIsCancelledAfterItsDeadline) {
    service.work = [] { return true; };
    service.onCancel = [this](std::size_t) { service.calls.emplace_back("cancel"); };
    EXPECT_EQ(client.retrieve<int>("/level").get(1ms).error().code, 504);
    EXPECT_EQ(Calls(service.calls.end() - 2, service.calls.end()), (Calls{"end", "cancel"}));
}

TEST(DrivenServiceTest, CallOfADestroyedClientDoesNotUseTheService) {
    auto service = std::make_unique<DrivenService>();
    std::optional<Client> client(*service);
    Call<int> call = client->retrieve<int>("/level");
    client.reset();
    service.reset();
    EXPECT_EQ(std::move(call).get().error(), (Error{503, "closed"}));
}

TEST_F(DrivenClientTest, CloseWaitsForTheDrivingThread) {
    std::promise<void> answered;
    std::promise<void> released;
    service.work = [&] {
        service.answer(1, json(200, "5"));
        answered.set_value();
        released.get_future().wait();
        return true;
    };
    std::thread driving([&] { EXPECT_EQ(*client.retrieve<int>("/level").get(), 5); });
    answered.get_future().wait();
    auto closing = std::async(std::launch::async, [&] { return client.close(30s).empty(); });
    EXPECT_EQ(closing.wait_for(20ms), std::future_status::timeout);
    released.set_value();
    EXPECT_TRUE(closing.get());
    driving.join();
}

// --- Threads on which a blocking call fails ------------------------------------------------------

TEST_F(ClientTest, GetInsideACallbackFailsIfItMustWait) {
    std::optional<Result<int>> inner;
    Subscription call = client->retrieve<int>("/a")
                            .onValue([&](int) { inner = client->retrieve<int>("/b").get(); })
                            .start();
    service.answer(1, json(200, "1"));
    ASSERT_TRUE(inner);
    EXPECT_EQ(inner->error(),
              (Error{500, "retrieve '/b' would block inside a callback of the same client"}));
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{2}));
}

TEST_F(ClientTest, GetInsideACallbackAcceptsAnImmediateAnswer) {
    std::optional<Result<int>> inner;
    Subscription call = client->retrieve<int>("/a")
                            .onValue([&](int) { inner = client->retrieve<int>("/b").get(); })
                            .start();
    answerAtOnce(json(200, "2"));
    service.answer(1, json(200, "1"));
    ASSERT_TRUE(inner);
    EXPECT_EQ(inner->valueOr(0), 2);
}

TEST_F(ClientTest, GetFailsOnAThreadOfTheExecutorOfTheCall) {
    HeldService other;
    ClientOptions looped;
    looped.executor = loop;
    Client second(other, looped);
    std::optional<Result<int>> inner;
    loop.tryPost([&] { inner = second.retrieve<int>("/b").get(); });
    loop.runReady();
    ASSERT_TRUE(inner);
    EXPECT_EQ(inner->error(),
              (Error{500, "retrieve '/b' would block inside a callback of the same executor"}));
}

TEST_F(ClientTest, GetFailsOnTheAlarmThread) {
    // A clock serves only one timer. Therefore the alarm of this test uses the default timer.
    Client normal(service);
    std::promise<Error> error;
    Subscription call = normal.retrieve<int>("/a").deadline(1ms).start();
    std::promise<void> marked;
    osal::Alarm alarm(
        osal::Alarm::DEFAULT_TIMER,
        [](void* user) { static_cast<std::promise<void>*>(user)->set_value(); }, &marked);
    ASSERT_FALSE(alarm.arm(0ms));
    marked.get_future().wait();
    struct Asking {
        Client& client;
        std::promise<Error>& error;
    } asking{normal, error};
    osal::Alarm second(
        osal::Alarm::DEFAULT_TIMER,
        [](void* user) {
            auto& asked = *static_cast<Asking*>(user);
            asked.error.set_value(asked.client.retrieve<int>("/b").get().error());
        },
        &asking);
    ASSERT_FALSE(second.arm(0ms));
    EXPECT_EQ(error.get_future().get(),
              (Error{500, "retrieve '/b' would block on the thread of the alarms"}));
}

// A service whose requests are served by a worker.
struct WorkerService : IKovaApi {
    explicit WorkerService(unsigned threads) : worker({threads}) {}
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        auto shared = std::make_shared<std::unique_ptr<IResponseHandler<Response>>>();
        *shared = std::move(handler);
        worker.tryPost([this, path = request.getPath(), shared] {
            (*shared)->onNext(json(200, serve(path)));
            (*shared)->onCompleted();
        });
        return nullptr;
    }
    void cancelRequest(void*) override {}

    std::function<std::string(const std::string&)> serve;
    Worker worker;
};

TEST_F(ClientTest, GetFailsOnTheOnlyThreadOfTheService) {
    WorkerService served(1);
    Client own(served);
    std::string error;
    served.serve = [&](const std::string& path) -> std::string {
        if (path == "/outer") {
            error = own.retrieve<int>("/inner").get().error().message;
        }
        return "1";
    };
    EXPECT_EQ(own.retrieve<int>("/outer").get().valueOr(0), 1);
    EXPECT_EQ(error, "retrieve '/inner' would wait for the worker that all of its threads wait in");
}

TEST_F(ClientTest, GetSucceedsIfTheServiceHasTwoThreads) {
    WorkerService served(2);
    Client own(served);
    served.serve = [&](const std::string& path) -> std::string {
        return path == "/outer" ? std::to_string(own.retrieve<int>("/inner").get().valueOr(0) + 1)
                                : "1";
    };
    EXPECT_EQ(own.retrieve<int>("/outer").get().valueOr(0), 2);
    EXPECT_EQ(own.retrieve<int>("/outer").get().valueOr(0), 2);
}

TEST_F(ClientTest, GetFailsOnTheLastThreadOfTheService) {
    WorkerService served(2);
    Client own(served);
    kova::test::Barrier both(2);
    std::atomic<int> failed{0};
    served.serve = [&](const std::string& path) -> std::string {
        if (path == "/outer") {
            both.wait();
            failed += own.retrieve<int>("/inner").get() ? 0 : 1;
        }
        return "1";
    };
    kova::test::runOnThreads(2, [&](int) { own.retrieve<int>("/outer").get().orThrow(); });
    EXPECT_EQ(failed, 1) << "the other thread serves the inner request of the waiting one";
}

// --- Asynchronous --------------------------------------------------------------------------------

TEST_F(ClientTest, StartCallsTheFunctionsOnTheExecutor) {
    std::vector<int> levels;
    std::string last;
    Subscription call = client->watch<Volume>("/volume")
                            .onValue([&](const Volume& volume) { levels.push_back(volume.level); })
                            .onEnd([&](const End& end) { last = end.toString(); })
                            .start(loop);
    EXPECT_EQ(headerOf(sent(), headers::RESPONSE_SEMANTIC), headers::PERSISTENT_STREAM);
    const auto handler = service.take(1);
    handler->onNext(json(299, R"({"level":1})"));
    handler->onNext(json(299, R"({"level":2})"));
    EXPECT_TRUE(levels.empty());
    loop.runReady();
    EXPECT_EQ(levels, (std::vector<int>{1, 2}));
    handler->onCompleted();
    loop.runReady();
    EXPECT_EQ(last, "completed");
}

TEST(BorrowedHandlerTest, CompletionBeforeAServiceReturnsTheHandlerIsTheEnd) {
    class Borrower final : public IKovaApi {
    public:
        void* actionRequest(const Request& /*request*/,
                            std::unique_ptr<IResponseHandler<Response>>&& handler) override {
            handler->onCompleted();
            return nullptr;
        }
        void cancelRequest(void* /*handle*/) override {}
    } service;
    const Client client(service);
    Loop loop;
    std::string last;
    const Subscription call = client.watch<int>("/level")
                                  .onEnd([&](const End& end) { last = end.toString(); })
                                  .start(loop);
    loop.runReady();
    EXPECT_EQ(last, "completed");
}

TEST_F(ClientTest, UnreadableValueEndsTheStream) {
    std::string last;
    Subscription call = client->watch<Volume>("/volume")
                            .onValue([&](const Volume&) { ADD_FAILURE(); })
                            .onEnd([&](const End& end) { last = end.toString(); })
                            .start();
    service[1].onNext(json(299, R"({"level":"loud"})"));
    EXPECT_THAT(last, AllOf(StartsWith("failed: 400 Bad Request: level: expected an integer"),
                            EndsWith("found \"loud\" (byte 9)")));
    EXPECT_EQ(service.waitForCancelled(1), (std::vector<std::size_t>{1}));
}

TEST_F(ClientTest, ErrorResponseSentAsAValueEndsTheCall) {
    std::string last;
    Subscription call = client->watch<Volume>("/volume")
                            .onEnd([&](const End& end) { last = end.toString(); })
                            .start();
    service[1].onNext(Response::createErrorResponse(503, "no disc"));
    EXPECT_EQ(last, "failed: 503 Service Unavailable: no disc");
}

TEST_F(ClientTest, FirstValueCancelsTheDeadlineOfAStream) {
    std::string last;
    Subscription silent =
        client->watch<int>("/a").onEnd([&](const End& end) { last = end.toString(); }).start(loop);
    Subscription speaking = client->watch<int>("/b").start(loop);
    service[2].onNext(json(299, "1"));
    clock.advance(30s);
    EXPECT_FALSE(silent.pending());
    EXPECT_TRUE(speaking.pending());
    loop.runReady();
    EXPECT_EQ(last, "timed out: 504 Gateway Timeout: no answer within 30000 ms to retrieve '/a'");
}

TEST_F(ClientTest, FutureReturnsTheValueOrTheError) {
    std::future<int> first = client->retrieve<int>("/a").future();
    std::future<int> second = client->retrieve<int>("/b").future();
    std::future<int> third = client->retrieve<int>("/c").future();
    std::future<void> fourth = client->remove("/d").future();
    service.answer(1, json(200, "1"));
    service.take(2)->onError(Response::createErrorResponse(404, "no b"));
    service.answer(3, json(200, "\"x\""));
    service.answer(4);
    EXPECT_EQ(first.get(), 1);
    EXPECT_THROW(second.get(), KovaException);
    EXPECT_THROW(third.get(), KovaException);
    EXPECT_NO_THROW(fourth.get());
}

TEST_F(ClientTest, FutureOfAClosedClientIsBroken) {
    std::future<int> future = client->retrieve<int>("/a").future();
    EXPECT_TRUE(client->close(1s).empty());
    EXPECT_THROW(future.get(), std::future_error);
}

TEST_F(ClientTest, CallsOfADestroyedClientAreRejected) {
    Call<int> call = client->retrieve<int>("/a");
    client.reset();
    EXPECT_EQ(std::move(call).get().error(), (Error{503, "closed"}));
}

}  // namespace
}  // namespace kova::kit
