#include "kova/kit/Job.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "kova/kit/Resource.h"
#include "kova/kit/Worker.h"
#include "kova/testing/Recording.h"
#include "support/Reports.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using kova::testing::record;
using kova::testing::Recording;
using Events = Recording::Events;

class JobTest : public ::testing::Test {
protected:
    void* send(const std::string& path = {}) {
        if (!handler) {
            handler = resource->handler();
        }
        return handler->actionRequest(Request("insert", "/mount"), recording.handler(), path);
    }

    Recording recording = record();
    Worker worker;
    std::optional<Resource> resource{std::in_place};
    std::unique_ptr<IResourceHandler> handler;
};

TEST_F(JobTest, JobKeepsACopyOfTheRequest) {
    std::promise<void> begin;
    resource->on(command::insert, "{zone:uint}/{name}/{path:rest}", worker,
                 [&](Job& job, unsigned zone, std::string_view name, std::string_view path) {
                     begin.get_future().wait();
                     return job.ask().request().getPath() + ' ' + std::to_string(zone) + ' ' +
                            std::string(name) + ' ' + std::string(path) + ' ' +
                            std::string(job.ask().path());
                 });
    handler = resource->handler();
    {
        const auto request = std::make_unique<Request>("insert", "/mount/7/some name/a/b");
        const auto path = std::make_unique<std::string>("7/some name of more than 15/a/b");
        handler->actionRequest(*request, recording.handler(), *path);
    }
    begin.set_value();
    EXPECT_EQ(recording.waitFor(2).front(),
              R"(value 200 "/mount/7/some name/a/b 7 some name of more than 15 a/b )"
              R"(7/some name of more than 15/a/b")");
}

TEST_F(JobTest, JobHasThePeerOfItsRequest) {
    const Peer peer{4711, 12, 7, "somewhere"};
    resource->on(command::insert, "", worker,
                 [&](Job& job) { return static_cast<int>(job.ask().peer().uid); });
    {
        const PeerScope scope(peer);
        send();
    }
    EXPECT_EQ(recording.waitFor(2).front(), "value 200 4711");
}

TEST_F(JobTest, ExceptionOfAJobWithAReplyEndsTheRequest) {
    test::Reports reports;
    resource->on(command::insert, "", worker,
                 [](Job&, Reply<int>) { throw std::runtime_error("oops"); });
    send();
    EXPECT_EQ(recording.waitFor(1),
              (Events{"error 500 Internal error in server implementation: insert '': oops"}));
    worker.stop();
    EXPECT_EQ(reports.take().size(), 1U);
}

TEST_F(JobTest, ReplyMayAnswerAfterTheJobHasReturned) {
    std::promise<Reply<int>> kept;
    resource->on(command::insert, "", worker,
                 [&](Job&, Reply<int> reply) { kept.set_value(std::move(reply)); });
    send();
    Reply<int> reply = kept.get_future().get();
    worker.stop();
    EXPECT_TRUE(reply.value(3));
    EXPECT_EQ(recording.waitFor(2), (Events{"value 200 3", "completed"}));
}

TEST_F(JobTest, CancellationWakesAJobWithAnOnCancelFunction) {
    std::promise<void> begun;
    std::promise<bool> slept;
    std::atomic<int> told{0};
    resource->on(command::insert, "", worker, [&](Job& job, Reply<int> reply) {
        reply.onCancel([&] { ++told; });
        begun.set_value();
        slept.set_value(job.sleep(1min));
    });
    void* const handle = send();
    begun.get_future().wait();
    handler->cancelRequest(handle);
    EXPECT_FALSE(slept.get_future().get());
    EXPECT_EQ(told, 1);
}

TEST_F(JobTest, UnencodableProgressEndsTheJob) {
    std::promise<bool> slept;
    resource->on(command::insert, "", worker, [&](Job& job) {
        EXPECT_FALSE(job.progress(1e308 * 10));
        EXPECT_TRUE(job.cancelled());
        slept.set_value(job.sleep(1min));
    });
    send();
    EXPECT_FALSE(slept.get_future().get());
    EXPECT_EQ(recording.waitFor(1),
              (Events{"error 500 expected a finite number, found inf (byte 0)"}));
}

// In this test the worker rejects the job before `actionRequest` returns. A thread that destroys
// the resource can cause this at any time.
TEST_F(JobTest, JobOfAClosedResourceIsAnsweredWith503) {
    for (int i = 0; i < 200; ++i) {
        const Recording each = record();
        std::optional<Resource> temporary(std::in_place);
        temporary->on(command::insert, "", worker, [](Job&) {});
        const auto own = temporary->handler();
        std::atomic<bool> isSent{false};
        auto closing = std::async(std::launch::async, [&] {
            while (!isSent) {
            }
            temporary.reset();
        });
        isSent = true;
        own->actionRequest(Request("insert", "/mount"), each.handler(), "");
        closing.wait();
        const Events events = each.waitFor(1);
        ASSERT_EQ(events.size(), 1U);
        EXPECT_TRUE(events.front() == "completed" ||
                    events.front() == "error 503 the resource is closed")
            << events.front();
        EXPECT_TRUE(each.waitUntilDestroyed());
    }
}

TEST_F(JobTest, WorkerMayBeDestroyedBeforeItsResource) {
    std::optional<Worker> temporary(std::in_place);
    resource->on(command::insert, "", *temporary, [](Job&) { return 1; });
    send();
    temporary.reset();
    EXPECT_EQ(recording.waitFor(2), (Events{"value 200 1", "completed"}));
    send();
    EXPECT_EQ(recording.events().back(), "error 503 the worker is full or has stopped");
}

}  // namespace
}  // namespace kova::kit
