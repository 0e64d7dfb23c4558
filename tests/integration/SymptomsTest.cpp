// Checks the table of symptoms on the troubleshooting page: each stated cause produces its symptom.
#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/response_handlers.h"
#include "osal/Mutex.h"
#include "support/Documents.h"
#include "support/Reports.h"
#include "support/Service.h"
#include "support/Traces.h"
#include "tracing/SharedChannelMap.h"

namespace kova::test {
namespace {

/// A service with one scripted resource at the mount path.
struct Mounted {
    explicit Mounted(const std::string& path) : mounts({path}), resource(mounts[path]) {}

    /// Sends a request and returns the events received inside the call.
    Events request(const std::string& path) {
        events.clear();
        service.actionRequest(Request("retrieve", path), recorder(events));
        return events;
    }

    Events events;
    Reports reports;
    Mounts mounts;
    ScriptedResource& resource;
    StaticComposedKovaService service{mounts.take()};
};

std::unique_ptr<IResponseHandler<Response>> throwing() {
    return std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
        [](const Response&) -> bool { throw std::runtime_error("of the client"); },
        [](const Response&) {}, [] {});
}

void sendValue(IResponseHandler<Response>& handler) {
    handler.onNext(Response(200));
    handler.onCompleted();
}

class SymptomsTest : public testing::Test {
protected:
    /// Fails unless the page has a row that begins with the symptom.
    static void expectRow(const std::string& symptom) {
        for (const auto& row : rowsOf(read("docs/troubleshooting.md"), "## What you see")) {
            if (row[0].compare(0, symptom.size(), symptom) == 0) {
                return;
            }
        }
        ADD_FAILURE() << "the page has no row '" << symptom << "'";
    }
};
using SymptomsDeathTest = SymptomsTest;

TEST_F(SymptomsTest, ErrorCodeWithoutAMessageIsNotAnErrorResponse) {
    expectRow("an answer with a code of 400 or above, but `isErrorResponse` is false");
    EXPECT_FALSE(Response(400).isErrorResponse());
    EXPECT_FALSE(Response::createErrorResponse(400, "").isErrorResponse());
    EXPECT_TRUE(Response::createErrorResponse(400, "why").isErrorResponse());
}

TEST_F(SymptomsTest, RejectedRequestDestroysAHandlerHeldByATemporaryPointer) {
    expectRow("no answer at all, `actionRequest` returned null, the handler is still there");
    expectRow("no answer at all, `actionRequest` returned null and the handler is gone, although");
    Mounted mounted("/lamp");
    mounted.service.shutdown();
    Events events;
    std::unique_ptr<IResponseHandler<Response>> handler = recorder(events);
    EXPECT_EQ(mounted.service.actionRequest(Request("retrieve", "/lamp"), std::move(handler)),
              IKovaApi::UNDEFINED_REQUEST_HANDLE);
    EXPECT_NE(handler, nullptr);

    using Derived = responsehandlers::FuncResponseHandler<Response>;
    auto derived = std::make_unique<Derived>([](const Response&) { return false; },
                                             [](const Response&) {}, [] {});
    mounted.service.actionRequest(Request("retrieve", "/lamp"), std::move(derived));
    EXPECT_EQ(derived, nullptr);
}

TEST_F(SymptomsTest, HandlerDestroyedByTheResourceGetsNoEvents) {
    expectRow("no answer at all, the handler is gone");
    Mounted mounted("/lamp");
    EXPECT_EQ(mounted.request("/lamp"), Events());
    Traces traces("KOVA_SERVICE_*", 2);
    mounted.resource.handle = &mounted;
    mounted.request("/lamp");
    EXPECT_NE(traces.take().back().text.find("storing pending request"), std::string::npos);
    mounted.service.shutdown();
}

TEST_F(SymptomsTest, AbsolutePathsReachOnlyNormalizedAbsoluteMounts) {
    expectRow("404 for a path below which a handler is mounted");
    for (char const* const mount : {"/lamp/", "", "lamp"}) {
        Mounted mounted(mount);
        for (char const* const path : {"/lamp", "/lamp/", "/lamp//", "/lamp/bulb", ""}) {
            EXPECT_EQ(mounted.request(path),
                      Events{"error 404 path '" + std::string(path) + "' not found"})
                << "mount '" << mount << "'";
        }
    }
    Mounted relative("lamp");
    relative.resource.onRequest = sendValue;
    EXPECT_EQ(relative.request("lamp"), (Events{"next 200", "completed"}));
    Mounted absolute("/lamp");
    absolute.resource.onRequest = sendValue;
    EXPECT_EQ(absolute.request("/lamp/"), (Events{"next 200", "completed"}));
}

TEST_F(SymptomsTest, StreamSendsNoValuesAfterTheShutdown) {
    expectRow("no further values of a stream");
    Mounted mounted("/lamp");
    mounted.resource.handle = &mounted;
    mounted.request("/lamp");
    IResponseHandler<Response>& stream = *mounted.resource.asked.back().handler;
    stream.onNext(Response(299));
    mounted.service.shutdown();
    stream.onNext(Response(299));
    EXPECT_EQ(mounted.events, Events{"next 299"});
}

TEST_F(SymptomsTest, CancellationWithAnUnknownHandleIsTraced) {
    expectRow("a cancellation does nothing");
    Mounted mounted("/lamp");
    Traces traces("KOVA_SERVICE_*", 3);
    mounted.service.cancelRequest(&mounted);
    EXPECT_NE(traces.take().back().text.find("unknown"), std::string::npos);
}

TEST_F(SymptomsDeathTest, RootRequestNeedsAMimeTypeFunction) {
    expectRow("the process ends with `std::bad_function_call` when \"/\" is read");
    EXPECT_DEATH(Mounted("/lamp").request("/"), "bad_function_call");
}

TEST_F(SymptomsDeathTest, ExceptionFromAResourceHandlerEndsTheProcess) {
    expectRow("the process ends with \"terminate called\"");
    Mounted mounted("/lamp");
    mounted.resource.onRequest = [](IResponseHandler<Response>&) {
        throw std::runtime_error("of the resource");
    };
    EXPECT_DEATH(mounted.request("/lamp"), "terminate called(.|\n)*of the resource");
}

TEST_F(SymptomsDeathTest, ExceptionFromOnNextEndsTheProcess) {
    expectRow("the process ends with \"terminate called\", and the exception comes from a client");
    Mounted mounted("/lamp");
    mounted.resource.onRequest = sendValue;
    EXPECT_DEATH(mounted.service.actionRequest(Request("retrieve", "/lamp"), throwing()),
                 "terminate called(.|\n)*of the client");
}

TEST_F(SymptomsTest, ExceptionFromOnNextReachesTheResourceHandler) {
    Mounted mounted("/lamp");
    std::string caught;
    mounted.resource.onRequest = [&](IResponseHandler<Response>& handler) {
        try {
            sendValue(handler);
        } catch (const std::exception& error) {
            caught = error.what();
            handler.onError(Response::createErrorResponse(500, error.what()));
        }
    };
    mounted.service.actionRequest(Request("retrieve", "/lamp"), throwing());
    EXPECT_EQ(caught, "of the client");
}

// Standard error of a process that ends without a message. An emulator reports the signal itself.
constexpr char const* NO_MESSAGE = "^(qemu: uncaught target signal 6[^\n]*\n)?$";

TEST_F(SymptomsDeathTest, MutexMisuseEndsTheProcessSilently) {
    expectRow("the process ends with `Aborted` and no other message");
    // The child process locks the mutex twice. If the parent locked it first, the owner would be
    // another thread in the child.
    const auto lockTwice = [] {
        osal::Mutex mutex;
        mutex.lock();
        mutex.lock();
    };
    EXPECT_EXIT(lockTwice(), testing::KilledBySignal(SIGABRT), NO_MESSAGE);
    osal::Mutex unlocked;
    EXPECT_EXIT(unlocked.unlock(), testing::KilledBySignal(SIGABRT), NO_MESSAGE);
    osal::Mutex recursive(true);
    recursive.lock();
    recursive.lock();
    recursive.unlock();
    recursive.unlock();
}

TEST_F(SymptomsTest, PatternsMatchCompleteChannelNamesCaseSensitively) {
    expectRow("nothing is traced, even at level 0");
    auto& channels = ::tracing::SharedChannelMap::instance();
    for (char const* const pattern : {"KOVA_SERVICE", "SERVICE_*", "kova_*"}) {
        EXPECT_EQ(channels.setLevel(pattern, 0), 0U) << pattern;
    }
    EXPECT_EQ(channels.setLevel("KOVA_SERVICE_*", ::tracing::Channel::SILENT), 1U);
}

}  // namespace
}  // namespace kova::test
