#include "kova/kit/Service.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/kit/Client.h"
#include "kova/kit/Resource.h"
#include "kova/testing/Recording.h"
#include "support/Reports.h"
#include "tracing/Channel.h"
#include "tracing/SharedChannelMap.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using kova::testing::record;
using kova::testing::Recording;
using Events = Recording::Events;

Resource& withState(Resource& resource) {
    return resource.on(command::retrieve, "", [](const Ask&) { return 7; });
}

class ServiceTest : public ::testing::Test {
protected:
    Events eventsOf(char const* command, const std::string& path) {
        const Recording recording = record();
        service->actionRequest(Request(command, path), recording.handler());
        return recording.events();
    }

    Resource state;
    ServiceBuilder builder;
    std::unique_ptr<Service> service;
};

// A handler that keeps the response handler of its last request.
struct Keeper : IResourceHandler {
    struct Kept {
        std::unique_ptr<IResponseHandler<Response>> handler;
        int cancelled = 0;
        bool isDestroyed = false;
    };
    explicit Keeper(Kept& kept) : kept(kept) {}
    ~Keeper() override { kept.isDestroyed = true; }
    void* actionRequest(const Request&, std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string&) override {
        kept.handler = std::move(handler);
        return &kept;
    }
    void cancelRequest(void*) override { ++kept.cancelled; }
    Kept& kept;
};

struct Thrower : IResourceHandler {
    void* actionRequest(const Request&, std::unique_ptr<IResponseHandler<Response>>&&,
                        const std::string&) override {
        throw std::runtime_error("oops");
    }
    void cancelRequest(void*) override {}
};

// --- Mounts --------------------------------------------------------------------------------------

TEST_F(ServiceTest, RequestReachesTheMountedResource) {
    service = builder.mount("/state", withState(state)).build();
    EXPECT_EQ(eventsOf("retrieve", "/state"), (Events{"value 200 7", "completed"}));
}

TEST_F(ServiceTest, TrailingSlashOfAMountPathIsRemoved) {
    service = builder.mount("/state/", withState(state)).build();
    EXPECT_EQ(eventsOf("retrieve", "/state"), (Events{"value 200 7", "completed"}));
    EXPECT_EQ(service->mounts().back().path, "/state");
}

TEST_F(ServiceTest, InvalidMountsAreRejected) {
    for (char const* const path :
         {"", "state", "//", "/a//b", "/a/../b", "/a/.", "/a//", "/.kova", "/.kova/page"}) {
        EXPECT_THROW(builder.mount(path, state), std::invalid_argument) << path;
    }
    builder.mount("/state", state);
    EXPECT_THROW(builder.mount("/state/", state), std::invalid_argument);
    EXPECT_THROW(builder.mount("/null", std::unique_ptr<IResourceHandler>()),
                 std::invalid_argument);
}

TEST_F(ServiceTest, RootListsTheMounts) {
    Resource other;
    service = builder.mount("/volume", other).mount("/state", state).build();
    EXPECT_EQ(eventsOf("retrieve", "/"),
              (Events{R"(value 200 ["/state","/volume"])", "completed"}));
    EXPECT_EQ(eventsOf("update", "/"), (Events{"error 400 Service Root read-only"}));
}

TEST_F(ServiceTest, ErrorForAnUnknownPathSuggestsASimilarMount) {
    service = builder.mount("/state", state).build();
    EXPECT_EQ(eventsOf("retrieve", "/stat"),
              (Events{"error 404 path '/stat' not found; did you mean '/state'?"}));
    EXPECT_EQ(eventsOf("retrieve", "/quite/different"),
              (Events{"error 404 path '/quite/different' not found"}));
}

TEST_F(ServiceTest, MountedServiceGetsThePathBelowTheMount) {
    auto inner = ServiceBuilder().mount("/state", withState(state)).build();
    service = builder.mount("/remote", *inner).build();
    EXPECT_EQ(eventsOf("retrieve", "/remote/state"), (Events{"value 200 7", "completed"}));
    EXPECT_EQ(eventsOf("retrieve", "/remote"), (Events{R"(value 200 ["/state"])", "completed"}));
    service.reset();  // destroyed before the service that it mounts
}

TEST_F(ServiceTest, MountedServiceGetsHeaderAndPayload) {
    Resource echo;
    echo.on(command::update, "",
            [](const Ask& ask, int body) { return ask.clientId() + ' ' + std::to_string(body); });
    auto inner = ServiceBuilder().mount("/echo", echo).build();
    service = builder.mount("/remote", *inner).build();
    {
        ClientOptions options;
        options.clientId = "hmi";
        Client client(*service, options);
        EXPECT_EQ(client.update<std::string>("/remote/echo", 3).get().orThrow(), "hmi 3");
    }
    service.reset();  // destroyed before the service that it mounts
}

TEST_F(ServiceTest, ExceptionOfAHandlerIsAnsweredWith500) {
    test::Reports reports;
    service = builder.mount("/bad", std::make_unique<Thrower>()).build();
    EXPECT_EQ(eventsOf("retrieve", "/bad"),
              (Events{"error 500 Internal error in server implementation: retrieve '/bad': oops"}));
    EXPECT_EQ(reports.take().size(), 1U);
}

TEST_F(ServiceTest, OnUncaughtChoosesTheAnswerToAnException) {
    test::Reports reports;
    builder.onUncaught([](const Error& error) {
        return Error{502, "hidden " + error.message.substr(0, 8)};
    });
    service = builder.mount("/bad", std::make_unique<Thrower>()).build();
    EXPECT_EQ(eventsOf("retrieve", "/bad"), (Events{"error 502 hidden Internal"}));
}

TEST_F(ServiceTest, DestroyedResponseHandlerAnswers500) {
    Keeper::Kept kept;
    service = builder.mount("/kept", std::make_unique<Keeper>(kept)).build();
    const Recording recording = record();
    service->actionRequest(Request("retrieve", "/kept"), recording.handler());
    kept.handler.reset();
    EXPECT_EQ(recording.waitFor(1), (Events{"error 500 the service did not answer the request"}));
    service.reset();  // the destructor of the handler uses `kept`
    EXPECT_TRUE(kept.isDestroyed);
}

TEST_F(ServiceTest, MountsReturnsTheOperationsOfEachMount) {
    service = builder.name("player").version("1.2.0").mount("/state", withState(state)).build();
    EXPECT_EQ(service->name(), "player");
    EXPECT_EQ(service->version(), "1.2.0");
    const std::vector<MountInfo> mounts = service->mounts();
    ASSERT_EQ(mounts.size(), 2U);
    EXPECT_EQ(mounts[0].path, "/");
    ASSERT_EQ(mounts[1].operations.size(), 1U);
    EXPECT_EQ(mounts[1].operations[0].command, "retrieve");
}

// --- Slots ---------------------------------------------------------------------------------------

TEST_F(ServiceTest, EmptySlotAnswers503) {
    Slot slot = builder.slot("/usb");
    service = builder.build();
    EXPECT_EQ(eventsOf("retrieve", "/usb"), (Events{"error 503 nothing is mounted here now"}));
    slot.set(withState(state));
    EXPECT_EQ(eventsOf("retrieve", "/usb"), (Events{"value 200 7", "completed"}));
}

TEST_F(ServiceTest, ClearedSlotEndsPendingRequestsAndDestroysTheHandler) {
    Slot slot = builder.slot("/usb");
    service = builder.build();
    Keeper::Kept kept;
    slot.set(std::make_unique<Keeper>(kept));
    const Recording recording = record();
    service->actionRequest(Request("retrieve", "/usb"), recording.handler());
    slot.clear();
    EXPECT_EQ(recording.waitFor(1), (Events{"error 503 the resource is closed"}));
    EXPECT_EQ(kept.cancelled, 1);
    EXPECT_TRUE(kept.isDestroyed);
    kept.handler.reset();
}

TEST_F(ServiceTest, ResourceRemovedFromASlotCanBeMountedAgain) {
    Slot slot = builder.slot("/usb");
    service = builder.mount("/state", withState(state)).build();
    slot.set(state);
    slot.clear();
    EXPECT_EQ(eventsOf("retrieve", "/usb"), (Events{"error 503 nothing is mounted here now"}));
    EXPECT_EQ(eventsOf("retrieve", "/state"), (Events{"value 200 7", "completed"}));
    slot.set(state);
    EXPECT_EQ(eventsOf("retrieve", "/usb"), (Events{"value 200 7", "completed"}));
}

TEST_F(ServiceTest, ClearedSlotEndsTheRequestsOfItsResourceAndWaitsForItsJobs) {
    Worker worker;
    std::promise<void> inside;
    std::atomic<bool> hasReturned{false};
    state.on(command::retrieve, "", worker, [&](Job& job) {
        inside.set_value();
        while (!job.cancelled()) {
            job.sleep(1min);
        }
        hasReturned = true;
    });
    Slot slot = builder.slot("/usb");
    service = builder.build();
    slot.set(state);
    const Recording recording = record();
    service->actionRequest(Request("retrieve", "/usb"), recording.handler());
    inside.get_future().wait();
    ASSERT_EQ(service->pending().size(), 2U);  // one for the request and one for its job
    slot.clear();
    EXPECT_TRUE(hasReturned);
    EXPECT_EQ(recording.waitFor(1), (Events{"error 503 the resource is closed"}));
}

// --- Stop ----------------------------------------------------------------------------------------

TEST_F(ServiceTest, StopAnswersPendingAndNewRequestsWith503) {
    std::vector<Reply<int>> kept;
    state.on(command::retrieve, "",
             [&](const Ask&, Reply<int> reply) { kept.push_back(std::move(reply)); });
    service = builder.mount("/state", state).build();
    const Recording recording = record();
    service->actionRequest(Request("retrieve", "/state"), recording.handler());
    EXPECT_TRUE(service->stop(1min).empty());
    EXPECT_EQ(recording.events(), (Events{"error 503 the service stops"}));
    EXPECT_FALSE(kept.front().isOpen());
    const Recording late = record();
    service->actionRequest(Request("retrieve", "/state"), late.handler());
    EXPECT_EQ(late.waitFor(1).front().substr(0, 9), "error 503");
}

TEST_F(ServiceTest, StopReturnsTheCallsThatStillRunAtTheLimit) {
    std::promise<void> inside;
    std::promise<void> goOn;
    state.on(command::retrieve, "", [&](const Ask&) {
        inside.set_value();
        goOn.get_future().wait();
        return 1;
    });
    service = builder.mount("/state", state).build();
    const Recording recording = record();
    std::thread client(
        [&] { service->actionRequest(Request("retrieve", "/state"), recording.handler()); });
    inside.get_future().wait();
    service->stop(0ms);
    recording.waitUntilDestroyed();
    while (service->pending().at(0).phase == CallInfo::Phase::inCallback) {
        std::this_thread::yield();
    }
    const std::vector<CallInfo> stuck = service->stop(10ms);
    goOn.set_value();
    client.join();
    ASSERT_EQ(stuck.size(), 1U);
    EXPECT_EQ(stuck[0].path, "/state");
    EXPECT_EQ(stuck[0].phase, CallInfo::Phase::inService);
    EXPECT_TRUE(service->stop(1min).empty());
}

TEST_F(ServiceTest, StopInsideAFunctionDoesNotWaitForTheFunction) {
    state.on(command::retrieve, "", [&](const Ask&) { return service->stop(10s).size(); });
    service = builder.mount("/state", state).build();
    const Recording recording = record();
    service->actionRequest(Request("retrieve", "/state"), recording.handler());
    EXPECT_EQ(recording.waitFor(1), (Events{"error 503 the service stops"}));
}

// A trace sink holds the answering thread inside the service, before the answer leaves it.
TEST_F(ServiceTest, StopWaitsForAThreadThatAnswersACancelledRequest) {
    std::optional<Reply<int>> kept;
    state.on(command::retrieve, "",
             [&](const Ask&, Reply<int> reply) { kept.emplace(std::move(reply)); });
    service = builder.mount("/state", state).build();
    const Recording recording = record();
    void* const handle = service->actionRequest(Request("retrieve", "/state"), recording.handler());

    std::promise<void> inside;
    std::promise<void> goOn;
    const tracing::Sink former = tracing::setSink([&](const tracing::Message& message) {
        if (std::string(message.text).find("[requestDone] handle") == 0) {
            inside.set_value();
            goOn.get_future().wait();
        }
    });
    auto& channels = tracing::SharedChannelMap::instance();
    channels.setLevel("KOVA_SERVICE_COMPOSED_STATIC", 2);
    std::thread answering([&] { kept->value(1); });
    inside.get_future().wait();
    channels.setLevel("KOVA_SERVICE_COMPOSED_STATIC", tracing::Channel::SILENT);

    service->cancelRequest(handle);
    EXPECT_EQ(service->stop(1ms).size(), 1U);
    goOn.set_value();
    EXPECT_TRUE(service->stop(1min).empty());
    service.reset();
    answering.join();
    tracing::setSink(former);
    EXPECT_EQ(recording.events(), (Events{"value 200 1"}));
}

// --- Jobs ----------------------------------------------------------------------------------------

TEST_F(ServiceTest, JobSendsProgressAndItsResult) {
    Worker worker;
    state.on(command::insert, "scan", worker, [](Job& job, const std::string& folder) {
        for (int step = 1; step <= 2; ++step) {
            job.progress(step);
        }
        return folder + " by " + job.ask().clientId();
    });
    service = builder.mount("/library", state).build();
    ClientOptions options;
    options.clientId = "hmi";
    Client client(*service, options);
    std::vector<int> steps;
    const auto result = client.insert<std::string>("/library/scan", "usb")
                            .onProgress<int>([&](int step) { steps.push_back(step); })
                            .get();
    EXPECT_EQ(result.orThrow(), "usb by hmi");
    EXPECT_EQ(steps, (std::vector<int>{1, 2}));
}

TEST_F(ServiceTest, RequestForAFullWorkerIsAnsweredWith503) {
    Worker worker({1, 1});
    std::promise<void> goOn;
    const std::shared_future<void> wait = goOn.get_future().share();
    state.on(command::retrieve, "", worker, [wait](Job&) { wait.wait(); });
    service = builder.mount("/state", state).build();
    const Recording first = record();
    service->actionRequest(Request("retrieve", "/state"), first.handler());
    EXPECT_EQ(eventsOf("retrieve", "/state"),
              (Events{"error 503 the worker is full or has stopped"}));
    goOn.set_value();
    EXPECT_EQ(first.waitFor(1), (Events{"completed"}));
}

TEST_F(ServiceTest, CancelledJobWakesFromItsSleep) {
    Worker worker;
    std::promise<void> inside;
    std::promise<bool> slept;
    state.on(command::retrieve, "", worker, [&](Job& job) {
        inside.set_value();
        slept.set_value(job.sleep(60s) || !job.cancelled());
    });
    service = builder.mount("/state", state).build();
    const Recording recording = record();
    void* const handle = service->actionRequest(Request("retrieve", "/state"), recording.handler());
    inside.get_future().wait();
    service->cancelRequest(handle);
    EXPECT_FALSE(slept.get_future().get());
}

TEST_F(ServiceTest, JobCancelledInTheQueueDoesNotRun) {
    Worker worker;
    std::promise<void> goOn;
    std::atomic<int> runs{0};
    state.on(command::retrieve, "", worker, [&](Job&) {
        ++runs;
        goOn.get_future().wait();
    });
    service = builder.mount("/state", state).build();
    const Recording first = record();
    const Recording second = record();
    service->actionRequest(Request("retrieve", "/state"), first.handler());
    void* const handle = service->actionRequest(Request("retrieve", "/state"), second.handler());
    service->cancelRequest(handle);
    goOn.set_value();
    worker.stop();
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(second.events(), Events{});
}

TEST_F(ServiceTest, StopReturnsAJobThatIgnoresItsCancellation) {
    Worker worker;
    std::promise<void> inside;
    std::promise<void> goOn;
    state.on(command::retrieve, "", worker, [&](Job&) {
        inside.set_value();
        goOn.get_future().wait();
    });
    service = builder.mount("/state", state).build();
    const Recording recording = record();
    service->actionRequest(Request("retrieve", "/state"), recording.handler());
    inside.get_future().wait();
    service->stop(0ms);
    EXPECT_EQ(recording.waitFor(1), (Events{"error 503 the service stops"}));
    // Waits until the call has ended; its job is still running.
    while (service->pending().size() != 1) {
        std::this_thread::yield();
    }
    const std::vector<CallInfo> stuck = service->stop(10ms);
    ASSERT_EQ(stuck.size(), 1U);
    EXPECT_EQ(stuck[0].command + stuck[0].path, "retrieve/state");
    EXPECT_NE(stuck[0].thread, 0);
    goOn.set_value();
    EXPECT_TRUE(service->stop(1min).empty());
}

}  // namespace
}  // namespace kova::kit
