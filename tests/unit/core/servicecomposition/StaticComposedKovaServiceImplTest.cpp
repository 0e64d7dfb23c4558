#include "kova/core/StaticComposedKovaServiceImpl.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/Errors.h"
#include "kova/core/Path.h"
#include "kova/core/StaticComposedKovaService.h"
#include "support/Reports.h"
#include "support/Service.h"
#include "support/Traces.h"
#include "zel/ErrorStorage.h"

namespace kova {
namespace {

using test::Events;
using test::Mounts;
using test::recorder;
using test::ScriptedResource;
using Traced = std::vector<test::Traces::Trace>;

constexpr char const* CHANNEL = "KOVA_SERVICE_COMPOSED_STATIC";

/// Returns a handle: an address that is never dereferenced.
void* handleOf(std::uintptr_t number) {
    return reinterpret_cast<void*>(number);
}

std::string textOf(void const* address) {
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%p", address);
    return buffer;
}

struct RouteRow {
    std::vector<std::string> mounts;
    std::string path;
    /// The mount path of the handler that receives the request, or "-" if no handler receives it.
    std::string mount;
    std::string resourcePath;
};

std::ostream& operator<<(std::ostream& out, const RouteRow& row) {
    for (const std::string& mount : row.mounts) {
        out << mount << ' ';
    }
    return out << "<- '" << row.path << "'";
}

class RoutingTest : public testing::TestWithParam<RouteRow> {};

TEST_P(RoutingTest, RequestGoesToTheDeepestMount) {
    const RouteRow& row = GetParam();
    test::Reports reports;
    Mounts mounts(row.mounts);
    StaticComposedKovaService service(mounts.take());
    Events events;
    EXPECT_EQ(service.actionRequest(Request("retrieve", row.path), recorder(events)), nullptr);
    for (const std::string& mount : row.mounts) {
        const auto& asked = mounts[mount].asked;
        ASSERT_EQ(asked.size(), mount == row.mount ? 1U : 0U) << mount;
        if (!asked.empty()) {
            EXPECT_EQ(asked[0].resourcePath, row.resourcePath);
        }
    }
    const Events expected =
        row.mount == "-" ? Events{"error 404 path '" + row.path + "' not found"} : Events{};
    EXPECT_EQ(events, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RoutingTest,
    testing::Values(
        RouteRow{{"/a", "/a/b"}, "/a/b/c", "/a/b", "c"},
        RouteRow{{"/a", "/a/b"}, "/a/b/c/d", "/a/b", "c/d"},
        RouteRow{{"/a", "/a/b"}, "/a/b", "/a/b", ""}, RouteRow{{"/a", "/a/b"}, "/a/x", "/a", "x"},
        RouteRow{{"/a", "/a/b"}, "/a", "/a", ""}, RouteRow{{"/a", "/a/b"}, "/a/", "/a", ""},
        RouteRow{{"/a", "/a/b"}, "/a/b//", "/a/b", ""}, RouteRow{{"/a", "/a/b"}, "/ab", "-", ""},
        RouteRow{{"/a", "/a/b"}, "/b", "-", ""}, RouteRow{{"/a", "/a/b"}, "a", "-", ""},
        RouteRow{{"/a", "/a/b"}, "", "-", ""}, RouteRow{{"/a", "/a/b"}, "//", "-", ""},
        // The path is looked up verbatim, and then the ancestors of the normalized path.
        RouteRow{{"/a", "/a/b"}, "/a//b", "/a", "b"},
        RouteRow{{"/a", "/a/b"}, "/a//b/c", "/a/b", "c"},
        RouteRow{{"/a", "/a/b"}, "//a/b/c", "/a/b", "c"},
        RouteRow{{"/a", "/a//b"}, "/a//b", "/a//b", ""},
        RouteRow{{"/a", "/a//b"}, "/a//b/c", "/a", "b/c"},
        RouteRow{{"/", "/a"}, "/b/c", "/", "b/c"}, RouteRow{{"/", "/a"}, "/", "/", ""},
        RouteRow{{"/", "/a"}, "/a/b", "/a", "b"}, RouteRow{{"/", "/a"}, "//", "-", ""},
        RouteRow{{"/", "/a"}, "//b", "/", "b"}, RouteRow{{"/", "/a"}, "b", "-", ""},
        RouteRow{{"/", "/a"}, "b/c", "-", ""}, RouteRow{{"/", "/a"}, "", "-", ""},
        RouteRow{{"a"}, "a/b", "a", "b"}, RouteRow{{"a"}, "ab/", "-", ""},
        RouteRow{{"a"}, "a/", "-", ""}, RouteRow{{"a", "a/"}, "a/", "a/", ""},
        RouteRow{{"ab"}, "ab/", "ab", ""}, RouteRow{{"a"}, "/a/b", "-", ""},
        RouteRow{{"/a"}, "/a/./..", "/a", "./.."},
        RouteRow{{"/a", "/a/b/c/d"}, "/a/b/c", "/a", "b/c"}, RouteRow{{}, "/a", "-", ""}));

/// Returns every text of up to seven characters that consists of "a" and "/", except "/".
std::vector<std::string> paths() {
    std::vector<std::string> made;
    for (unsigned size = 0; size <= 7; ++size) {
        for (unsigned bits = 0; bits < (1U << size); ++bits) {
            std::string path;
            for (unsigned i = 0; i < size; ++i) {
                path += (bits >> i & 1U) != 0 ? '/' : 'a';
            }
            if (path != "/") {
                made.push_back(std::move(path));
            }
        }
    }
    return made;
}

// The trace names every parent that is tried. Without tracing, parents that are longer than every
// mount path are skipped.
TEST(RoutingByTraceTest, TracingDoesNotChangeTheRouting) {
    const std::vector<std::string> served[] = {{"/", "/a", "/a/a"}, {"/a", "/a/a"},  {"a", "a/a"},
                                               {"/a", "/a//a"},     {"aa", "/aa/a"}, {"/"}};
    for (const std::vector<std::string>& names : served) {
        Mounts mounts(names);
        StaticComposedKovaService service(mounts.take());
        const auto ask = [&](const std::string& path) {
            test::Reports reports;
            Events events;
            service.actionRequest(Request("retrieve", path), recorder(events));
            for (const std::string& name : names) {
                if (auto& asked = mounts[name].asked; !asked.empty()) {
                    events.push_back(name + " <- " + asked.front().resourcePath);
                    asked.clear();
                }
            }
            return events;
        };
        for (const std::string& path : paths()) {
            const Events untraced = ask(path);
            ASSERT_EQ(untraced.size(), 1U) << path;
            const test::Traces traces(CHANNEL, 2);
            ASSERT_EQ(ask(path), untraced) << path;
        }
    }
}

struct NormalizeRow {
    char const* path;
    char const* normalized;
};

TEST(StaticComposedKovaServiceImplTest, NormalizeRemovesTrailingSeparatorsAfterTheFirstCharacter) {
    const NormalizeRow rows[] = {{"/a/b//", "/a/b"}, {"/", "/"},      {"//", "//"},
                                 {"///", "///"},     {"a/", "a/"},    {"/a", "/a"},
                                 {"a", "a"},         {"//a/", "//a"}, {"", ""}};
    for (const NormalizeRow& row : rows) {
        EXPECT_EQ(StaticComposedKovaServiceImpl::normalize(row.path), row.normalized) << row.path;
    }
}

class ServiceTest : public testing::Test {
protected:
    Mounts mounts{{"/a", "/b"}};
    ScriptedResource& a = mounts["/a"];
    ScriptedResource& b = mounts["/b"];
    StaticComposedKovaService service{mounts.take()};
    Events events;

    void* ask(const std::string& path, const std::string& command = "retrieve") {
        return service.actionRequest(Request(command, path), recorder(events));
    }
};

TEST_F(ServiceTest, HandleIsTheAddressOfTheCallersHandler) {
    a.handle = handleOf(1);
    auto handler = recorder(events);
    void* const address = handler.get();
    EXPECT_EQ(service.actionRequest(Request("retrieve", "/a"), std::move(handler)), address);
}

TEST_F(ServiceTest, EventsReachTheCallerUntilTermination) {
    a.handle = handleOf(1);
    EXPECT_NE(ask("/a/x"), nullptr);
    EXPECT_FALSE(a.asked[0].handler->onNext(Response(299)));
    a.asked[0].handler->onCompleted();
    EXPECT_EQ(events, (Events{"next 299", "completed"}));
}

TEST_F(ServiceTest, CancellationReachesTheHandlerOnce) {
    a.handle = handleOf(42);
    void* const handle = ask("/a");
    test::Traces traces(CHANNEL, 3);
    service.cancelRequest(handle);
    service.cancelRequest(handle);
    EXPECT_EQ(a.cancelled, std::vector<void*>{handleOf(42)});
    EXPECT_TRUE(events.empty());
    EXPECT_EQ(traces.take(),
              (Traced{{3, "[cancelRequest] service handle " + textOf(handle) + " unknown"}}));
}

TEST_F(ServiceTest, CancellationOfAnUnknownHandleIsIgnored) {
    service.cancelRequest(nullptr);
    service.cancelRequest(handleOf(7));
    EXPECT_TRUE(a.cancelled.empty());
}

TEST_F(ServiceTest, TerminatedRequestIsNoLongerPending) {
    a.handle = handleOf(1);
    void* const handle = ask("/a");
    a.asked[0].handler->onError(Response(500));
    service.cancelRequest(handle);
    service.shutdown();
    EXPECT_TRUE(a.cancelled.empty());
}

TEST_F(ServiceTest, RequestStaysPendingAfterOnNextReturnsTrue) {
    a.handle = handleOf(1);
    int values = 0;
    void* const handle = service.actionRequest(
        Request("retrieve", "/a"),
        std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
            [&](const Response&) { return ++values > 0; }, [](const Response&) {}, [] {}));
    EXPECT_TRUE(a.asked[0].handler->onNext(Response(200)));
    EXPECT_TRUE(a.asked[0].handler->onNext(Response(200)));
    EXPECT_EQ(values, 2);
    service.cancelRequest(handle);
    EXPECT_EQ(a.cancelled.size(), 1U);
}

TEST_F(ServiceTest, EntryStoredAfterTerminationStaysPending) {
    a.handle = handleOf(5);
    a.onRequest = [](IResponseHandler<Response>& handler) { handler.onCompleted(); };
    test::Traces traces(CHANNEL, 3);
    void* const handle = ask("/a");
    EXPECT_NE(handle, nullptr);
    EXPECT_EQ(events, Events{"completed"});
    EXPECT_EQ(traces.take(), (Traced{{3, "[requestDone] handle " + textOf(handle) + " unknown"}}));
    service.cancelRequest(handle);
    EXPECT_EQ(a.cancelled, std::vector<void*>{handleOf(5)});
}

TEST_F(ServiceTest, RequestWithoutAResourceHandleLeavesNoEntry) {
    void* const handle = ask("/a");
    EXPECT_EQ(handle, nullptr);
    a.asked[0].handler->onCompleted();
    service.shutdown();
    EXPECT_TRUE(a.cancelled.empty());
}

TEST_F(ServiceTest, HandlerDestroyedWithoutTerminationLeavesAStaleEntry) {
    a.handle = handleOf(5);
    ask("/a");
    a.asked.clear();
    service.shutdown();
    EXPECT_EQ(a.cancelled, std::vector<void*>{handleOf(5)});
}

TEST_F(ServiceTest, TerminationBeforeDestructionLeavesNoEntry) {
    a.handle = handleOf(5);
    ask("/a");
    a.asked[0].handler->onCompleted();
    a.asked.clear();
    service.shutdown();
    EXPECT_TRUE(a.cancelled.empty());
}

/// A response handler that is always created at the same address.
class HandlerAtOneAddress : public IResponseHandler<Response> {
public:
    static void* operator new(std::size_t size) {
        alignas(std::max_align_t) static char place[64];
        EXPECT_LE(size, sizeof(place));
        return place;
    }
    static void operator delete(void* /*place*/) {}

    bool onNext(const Response& /*value*/) override { return false; }
    void onError(const Response& /*error*/) override {}
    void onCompleted() override {}
};

TEST_F(ServiceTest, StaleEntryPreventsCancellationOfALaterRequest) {
    const auto askAtTheAddress = [this](void* resourceHandle) {
        a.handle = resourceHandle;
        return service.actionRequest(Request("retrieve", "/a"),
                                     std::make_unique<HandlerAtOneAddress>());
    };
    a.onRequest = [](IResponseHandler<Response>& handler) { handler.onCompleted(); };
    void* const stale = askAtTheAddress(handleOf(1));
    a.asked.clear();
    a.onRequest = nullptr;
    void* const later = askAtTheAddress(handleOf(2));
    EXPECT_EQ(later, stale);
    service.cancelRequest(later);
    service.shutdown();
    EXPECT_EQ(a.cancelled, std::vector<void*>{handleOf(1)});
    EXPECT_EQ(a.asked.size(), 1U) << "the later request is still pending";
}

TEST_F(ServiceTest, SecondRequestDoesNotReplaceAPendingEntry) {
    // Two requests with the same service handle, null: neither has a response handler.
    StaticComposedKovaServiceImpl impl({});
    a.handle = handleOf(1);
    b.handle = handleOf(2);
    impl.delegateRequest(&a, "/a", Request("retrieve", "/a"), nullptr);
    impl.delegateRequest(&b, "/a", Request("retrieve", "/a"), nullptr);
    impl.cancelRequest(nullptr);
    EXPECT_EQ(a.cancelled, std::vector<void*>{handleOf(1)});
    EXPECT_TRUE(b.cancelled.empty());
}

/// Returns every text of up to `longest` characters of an alphabet.
std::vector<std::string> textsOf(const std::string& alphabet, std::size_t longest) {
    std::vector<std::string> texts{""};
    for (std::size_t from = 0, size = 1; size <= longest; ++size) {
        const std::size_t to = texts.size();
        for (; from < to; ++from) {
            for (const char c : alphabet) {
                texts.push_back(texts[from] + c);
            }
        }
    }
    return texts;
}

TEST_F(ServiceTest, DelegatedPathIsRelativeToTheMount) {
    StaticComposedKovaServiceImpl impl({});
    const std::vector<std::string> texts = textsOf("ab/", 5);
    ASSERT_EQ(texts.size(), 364U);
    const auto delegated = [&](const std::string& mount, const std::string& path) {
        impl.delegateRequest(&a, mount, Request("retrieve", path), recorder(events));
        std::string resourcePath = a.asked.at(0).resourcePath;
        a.asked.clear();
        return resourcePath;
    };
    EXPECT_EQ(delegated("/a", "/ab"), "../ab");
    EXPECT_EQ(delegated("/a", "/abc/d"), "../abc/d");
    EXPECT_EQ(delegated("/", "a/b"), "a/b");
    EXPECT_EQ(delegated("/a/", "/a/b"), "b");
    EXPECT_EQ(delegated("", "a/b"), "a/b");
    for (const std::string& mount : texts) {
        for (const std::string& path : texts) {
            std::string expected;
            Path::relativize(mount, StaticComposedKovaServiceImpl::normalize(path), expected);
            ASSERT_EQ(delegated(mount, path), expected) << "'" << mount << "' '" << path << "'";
        }
    }
}

// Routing finds no mount for the paths below, but a caller of delegateRequest may pass one of them.
TEST_F(ServiceTest, TrailingSlashesAreDroppedFromDelegatedPaths) {
    StaticComposedKovaServiceImpl impl({});
    for (char const* const path : {"a/", "//", "///"}) {
        EXPECT_EQ(impl.delegateRequest(&a, "/", Request("retrieve", path), recorder(events)),
                  nullptr);
    }
    ASSERT_EQ(a.asked.size(), 3U);
    EXPECT_EQ(a.asked[0].resourcePath, "a");
    EXPECT_EQ(a.asked[1].resourcePath, "");
    EXPECT_EQ(a.asked[2].resourcePath, "");
    a.asked.clear();
}

TEST_F(ServiceTest, ShutdownCancelsPendingRequestsInHandleOrder) {
    std::vector<std::pair<void*, void*>> pending;
    for (std::uintptr_t i = 1; i <= 20; ++i) {
        a.handle = handleOf(i);
        pending.emplace_back(ask("/a"), a.handle);
    }
    std::sort(pending.begin(), pending.end());
    service.shutdown();
    ASSERT_EQ(a.cancelled.size(), pending.size());
    for (std::size_t i = 0; i < pending.size(); ++i) {
        EXPECT_EQ(a.cancelled[i], pending[i].second) << i;
    }
    service.shutdown();
    EXPECT_EQ(a.cancelled.size(), pending.size());
}

TEST_F(ServiceTest, ShutdownDiscardsValuesAndForwardsTerminations) {
    a.handle = handleOf(1);
    ask("/a");
    service.shutdown();
    EXPECT_FALSE(a.asked[0].handler->onNext(Response(200)));
    EXPECT_TRUE(events.empty());
    a.asked[0].handler->onCompleted();
    EXPECT_EQ(events, Events{"completed"});
}

TEST_F(ServiceTest, RequestAfterShutdownLeavesTheHandlerWithTheCaller) {
    service.shutdown();
    test::Traces traces(CHANNEL, 1);
    auto handler = recorder(events);
    EXPECT_EQ(service.actionRequest(Request("retrieve", "/a"), std::move(handler)), nullptr);
    EXPECT_NE(handler, nullptr);
    EXPECT_TRUE(events.empty());
    EXPECT_TRUE(a.asked.empty());
    service.cancelRequest(handler.get());
    EXPECT_EQ(traces.take(), (Traced{{2, "[actionRequest] path='/a' cmd=retrieve"},
                                     {1, "[actionRequest] Service is Shutdown."},
                                     {2, "[cancelRequest] service handle " + textOf(handler.get())},
                                     {1, "[cancelRequest] Service is Shutdown."}}));
}

TEST_F(ServiceTest, CallbacksMayCallBackIntoTheService) {
    a.handle = handleOf(1);
    void* const first = ask("/a");
    a.onCancel = [&](void*) {
        service.cancelRequest(first);
        ask("/b");
        service.shutdown();
    };
    service.cancelRequest(first);
    EXPECT_EQ(a.cancelled.size(), 1U);
    EXPECT_EQ(b.asked.size(), 1U);
    EXPECT_EQ(ask("/b"), nullptr);
    EXPECT_EQ(b.asked.size(), 1U);
}

TEST_F(ServiceTest, UnknownPathIsReportedAnsweredAndAcknowledged) {
    test::Reports reports;
    test::Traces traces(CHANNEL, 2);
    EXPECT_EQ(ask("/x/y/"), nullptr);
    EXPECT_EQ(events, Events{"error 404 path '/x/y/' not found"});
    EXPECT_FALSE(zel::ErrorStorage::current().hasError());
    const auto seen = reports.take();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].number, errors::PathNotFound);
    EXPECT_EQ(seen[0].file, "src/core/servicecomposition/StaticComposedKovaServiceImpl");
    EXPECT_EQ(seen[0].line, 121);
    EXPECT_EQ(traces.take(), (Traced{{2, "[actionRequest] path='/x/y/' cmd=retrieve"},
                                     {2, "[actionRequest] search for '/x/y'"},
                                     {2, "[actionRequest] search for '/x'"},
                                     {2, "[actionRequest] search for '/'"},
                                     {3, "[actionRequest] path '/x/y/' not found"}}));
}

TEST_F(ServiceTest, RequestWithoutResponseHandlerIsReportedAndRejected) {
    test::Reports reports;
    EXPECT_EQ(service.actionRequest(Request("retrieve", "/a"), nullptr), nullptr);
    EXPECT_TRUE(a.asked.empty());
    const auto seen = reports.take();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].reason, "null pointer not allowed for response handler");
}

TEST_F(ServiceTest, PendingRequestAndItsCancellationAreTraced) {
    a.handle = handleOf(9);
    test::Traces traces(CHANNEL, 0);
    void* const handle = ask("/a/b/");
    const std::string service_ = textOf(handle);
    const std::string handler_ = textOf(&a);
    const std::string resource_ = textOf(handleOf(9));
    EXPECT_EQ(traces.take(),
              (Traced{{2, "[actionRequest] path='/a/b/' cmd=retrieve"},
                      {2, "[actionRequest] search for '/a/b'"},
                      {2, "[actionRequest] search for '/a'"},
                      {2, "[actionRequest] found '/a'"},
                      {2, "[actionRequest] storing pending request { " + resource_ + " " +
                              handler_ + " (/a/b) } under service handle " + service_}}));
    service.cancelRequest(handle);
    EXPECT_EQ(traces.take(),
              (Traced{{2, "[cancelRequest] service handle " + service_},
                      {1, "[cancelRequest] service handle " + service_ +
                              " -> (handler=" + handler_ + "; resource handle=" + resource_ + ")"},
                      {2, "[cancelRequest] delegating cancellation to handler " + handler_ +
                              " using resource handle " + resource_}}));
    a.asked[0].handler->onCompleted();
    EXPECT_EQ(traces.take(), (Traced{{2, "[requestDone] handle " + service_},
                                     {3, "[requestDone] handle " + service_ + " unknown"}}));
}

TEST_F(ServiceTest, RequestAnsweredImmediatelyIsTraced) {
    test::Traces traces(CHANNEL, 2);
    EXPECT_EQ(ask("/a", "update"), nullptr);
    EXPECT_EQ(traces.take(),
              (Traced{{2, "[actionRequest] path='/a' cmd=update"},
                      {2, "[actionRequest] search for '/a'"},
                      {2, "[actionRequest] found '/a'"},
                      {2, "[actionRequest] resource handle " + textOf(&a) +
                              " (/a) returned undefined request handle on request 'update' "
                              "'/a'"}}));
}

TEST_F(ServiceTest, TraceShowsTheOriginalPathOfAReusedRequest) {
    const std::string asked = "/a/a/path/that/is/longer/than/a/small/string/buffer";
    Request request("retrieve", asked);
    a.handle = handleOf(9);
    a.onRequest = [&](IResponseHandler<Response>&) { request = Request("update", "/b"); };
    test::Traces traces(CHANNEL, 2);
    void* const handle = service.actionRequest(request, recorder(events));
    EXPECT_EQ(traces.take().back(),
              (Traced::value_type{2, "[actionRequest] storing pending request { " +
                                         textOf(handleOf(9)) + " " + textOf(&a) + " (" + asked +
                                         ") } under service handle " + textOf(handle)}));
}

/// A request in a separate memory page. The page cannot be read after the request is destroyed.
class GuardedRequest {
public:
    GuardedRequest(const std::string& command, const std::string& path)
        : page_(mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)),
          request_(new (page_) Request(command, path)) {}
    ~GuardedRequest() {
        destroy();
        munmap(page_, SIZE);
    }
    GuardedRequest(const GuardedRequest&) = delete;
    GuardedRequest& operator=(const GuardedRequest&) = delete;

    const Request& operator*() const { return *request_; }
    void destroy() {
        if (Request* const request = std::exchange(request_, nullptr)) {
            request->~Request();
            mprotect(page_, SIZE, PROT_NONE);
        }
    }

private:
    static constexpr std::size_t SIZE = 4096;
    static_assert(sizeof(Request) <= SIZE);

    void* page_;
    Request* request_;
};

TEST_F(ServiceTest, RequestMayBeDestroyedInTheTerminatingEvent) {
    const std::string path = "/a/a/path/that/is/longer/than/a/small/string/buffer";
    for (const int level : {tracing::Channel::SILENT, 0}) {
        for (void* const handle : {handleOf(0), handleOf(9)}) {
            a.handle = handle;
            a.onRequest = [](IResponseHandler<Response>& handler) { handler.onCompleted(); };
            GuardedRequest request("retrieve", path);
            test::Traces traces(CHANNEL, level);
            void* const pending = service.actionRequest(
                *request, std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
                              [](const Response&) { return false; }, [](const Response&) {},
                              [&request] { request.destroy(); }));
            EXPECT_EQ(pending != nullptr, handle != nullptr);
            const Traced traced = traces.take();
            ASSERT_EQ(traced.empty(), level == tracing::Channel::SILENT);
            if (!traced.empty()) {
                EXPECT_NE(traced.back().text.find("(" + path + ")"), std::string::npos);
            }
        }
    }
}

TEST_F(ServiceTest, TraceChannelEnabledInsideTheHandlerTracesNothing) {
    test::Traces traces(CHANNEL, tracing::Channel::SILENT);
    a.onRequest = [](IResponseHandler<Response>&) {
        tracing::SharedChannelMap::instance().setLevel(CHANNEL, 0);
    };
    for (void* const handle : {handleOf(0), handleOf(9)}) {
        tracing::SharedChannelMap::instance().setLevel(CHANNEL, tracing::Channel::SILENT);
        a.handle = handle;
        ask("/a");
        EXPECT_EQ(traces.take(), Traced{});
    }
}

TEST_F(ServiceTest, VeryLongPathIsRoutedInLinearTime) {
    std::string path = "/a";
    for (int i = 0; i < 500000; ++i) {
        path += "/x";
    }
    EXPECT_EQ(ask(path), nullptr);
    ASSERT_EQ(a.asked.size(), 1U);
    EXPECT_EQ(a.asked[0].resourcePath.size(), path.size() - 3);
}

/// A resource handler whose destructor terminates its request.
class LastWord : public IResourceHandler {
public:
    void* actionRequest(const Request&, std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string&) override {
        handler_ = std::move(handler);
        return this;
    }
    void cancelRequest(void*) override { ADD_FAILURE() << "destruction cancels nothing"; }
    ~LastWord() override {
        if (handler_) {
            handler_->onNext(Response(200));
            handler_->onCompleted();
        }
    }

private:
    std::unique_ptr<IResponseHandler<Response>> handler_;
};

TEST(StaticComposedKovaServiceTest, HandlerMayTerminateItsRequestsFromItsDestructor) {
    Events events;
    {
        std::map<std::string, std::unique_ptr<IResourceHandler>> handlers;
        handlers["/a"] = std::make_unique<LastWord>();
        handlers["/b"] = std::make_unique<LastWord>();
        StaticComposedKovaService service(std::move(handlers));
        service.actionRequest(Request("retrieve", "/a"), recorder(events));
        service.actionRequest(Request("retrieve", "/b"), recorder(events));
    }
    EXPECT_EQ(events, (Events{"next 200", "completed", "next 200", "completed"}));
}

TEST(StaticComposedKovaServiceDeathTest, ExceptionOfAHandlerEndsTheProcess) {
    EXPECT_DEATH(
        {
            Mounts mounts({"/a"});
            mounts["/a"].onRequest = [](IResponseHandler<Response>&) { throw 1; };
            StaticComposedKovaService service(mounts.take());
            Events events;
            service.actionRequest(Request("retrieve", "/a"), recorder(events));
        },
        "");
}

TEST(StaticComposedKovaServiceDeathTest, ExceptionDuringAShutdownEndsTheProcess) {
    EXPECT_DEATH(
        {
            Mounts mounts({"/a"});
            mounts["/a"].handle = handleOf(1);
            mounts["/a"].onCancel = [](void*) { throw 1; };
            StaticComposedKovaService service(mounts.take());
            Events events;
            service.actionRequest(Request("retrieve", "/a"), recorder(events));
            try {
                service.shutdown();
            } catch (int) {
            }
        },
        "terminate called after throwing an instance of 'int'");
}

}  // namespace
}  // namespace kova
