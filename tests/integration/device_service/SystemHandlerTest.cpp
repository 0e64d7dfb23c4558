#include "SystemHandler.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>
#include <map>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Answer.h"
#include "TemporaryFolder.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/headers.h"
#include "support/Reports.h"
#include "util/config/Scalars.h"

namespace device {
namespace {

using kova::Request;
using std::chrono::milliseconds;
using test::Answer;

constexpr milliseconds SOON(1);
constexpr milliseconds NEVER = std::chrono::hours(1);

/// A service that reads a folder with copies of the kernel's files.
class SystemHandlerTest : public testing::Test {
protected:
    SystemHandlerTest() {
        std::filesystem::create_directories(folder / "proc");
        setUptime(1);
        serve(SOON);
    }

    void serve(milliseconds interval) {
        auto resource = std::make_unique<SystemHandler>(SystemInfo(folder.path()), interval);
        handler = resource.get();
        std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
        handlers["/system"] = std::move(resource);
        service = std::make_unique<kova::StaticComposedKovaService>(std::move(handlers));
    }
    void setUptime(int seconds) {
        test::writeFile(folder / "uptime", std::to_string(seconds) + ".0 0.0\n");
        const std::string file = folder / "proc/uptime";
        ASSERT_EQ(std::rename((folder / "uptime").c_str(), file.c_str()), 0);
    }
    static std::string uptime(int seconds) {
        return R"({"idle":0.0,"up":)" + std::to_string(seconds) + ".0}";
    }
    static Request watching(const std::string& path) {
        Request request("retrieve", path);
        kova::headers::appendResponseSemantic(request, kova::headers::PERSISTENT_STREAM);
        return request;
    }
    void* open(const std::shared_ptr<Answer>& answer, const std::string& path = "/system/uptime") {
        return service->actionRequest(watching(path), answer->receiver());
    }

    test::TemporaryFolder folder;
    kova::test::Reports reports;
    SystemHandler* handler = nullptr;
    std::unique_ptr<kova::StaticComposedKovaService> service;
};

// Single responses

struct StatusRow {
    char const* command;
    char const* path;
    unsigned short code;
    char const* answer;  // payload or error message
};

void PrintTo(const StatusRow& row, std::ostream* out) {
    *out << row.command << ' ' << row.path;
}

const StatusRow ROWS[] = {
    {"retrieve", "/system", 200, R"(["cpu","load","memory","network","storage","uptime"])"},
    {"retrieve", "/system/", 200, R"(["cpu","load","memory","network","storage","uptime"])"},
    {"retrieve", "/system/uptime", 200, R"({"idle":0.0,"up":1.0})"},
    {"retrieve", "//system//uptime/", 200, R"({"idle":0.0,"up":1.0})"},
    {"retrieve", "/system/load", 503, "path '/system/load': the system does not tell"},
    {"retrieve", "/system/uptime/up", 404, "path '/system/uptime/up' not found"},
    {"retrieve", "/system/nothing", 404, "path '/system/nothing' not found"},
    {"update", "/system/uptime", 400, "command 'update' not supported for path '/system/uptime'"},
    {"insert", "/system", 400, "command 'insert' not supported for path '/system'"},
    {"delete", "/system/nothing", 400, "command 'delete' not supported for path '/system/nothing'"},
    {"", "/system", 400, "command '' not supported for path '/system'"},
};

TEST_F(SystemHandlerTest, RespondsWithTheExpectedStatusAndPayload) {
    for (const StatusRow& row : ROWS) {
        SCOPED_TRACE(testing::PrintToString(row));
        const auto answer = test::ask(*service, Request(row.command, row.path));
        EXPECT_EQ(answer->code(), row.code);
        EXPECT_EQ(answer->error() + answer->text(), row.answer);
        EXPECT_EQ(answer->ends(), 1);
        EXPECT_TRUE(answer->released());
    }
}

TEST_F(SystemHandlerTest, RespondsInTheAcceptedMimeType) {
    for (char const* const path : {"/system", "/system/uptime"}) {
        Request request("retrieve", path);
        request.setMimeType("application/vnd.axobin");
        const auto answer = test::ask(*service, request);
        EXPECT_EQ(answer->values().at(0).getPayload().getMimeType(), "application/vnd.axobin");
        EXPECT_EQ(answer->text(), test::ask(*service, Request("retrieve", path))->text());
        request.setMimeType("plain/text");
        EXPECT_EQ(test::ask(*service, request)->code(), 400);
    }
}

TEST_F(SystemHandlerTest, OtherResponseSemanticsGetOneResponse) {
    Request other("retrieve", "/system/uptime");
    kova::headers::appendResponseSemantic(other, kova::headers::SINGLE_RESPONSE);
    EXPECT_EQ(test::ask(*service, other)->code(), 200);
    other.add2header(kova::headers::RESPONSE_SEMANTIC, new util::config::ValueInt(1));
    EXPECT_EQ(test::ask(*service, other)->code(), 200);
    EXPECT_EQ(test::ask(*service, watching("/system"))->code(), 200) << "the list never changes";
    EXPECT_EQ(test::ask(*service, watching("/system/nothing"))->code(), 404);
}

// Streams

TEST_F(SystemHandlerTest, FirstValueIsSentBeforeTheRequestIsPending) {
    serve(NEVER);
    const auto answer = std::make_shared<Answer>();
    EXPECT_NE(open(answer), nullptr);
    EXPECT_EQ(answer->code(), 299);
    EXPECT_EQ(answer->text(), uptime(1));
    EXPECT_EQ(answer->values().size(), 1U);
    EXPECT_FALSE(answer->released());
}

TEST_F(SystemHandlerTest, StreamSendsCurrentValues) {
    const auto answer = std::make_shared<Answer>();
    open(answer);
    for (int seconds = 2; seconds < 5; ++seconds) {
        setUptime(seconds);
        // The next value may be older than the change; the value after it is not.
        answer->awaitValues(answer->values().size() + 2);
        EXPECT_EQ(answer->text(), uptime(seconds));
        EXPECT_EQ(answer->code(), 299);
    }
    EXPECT_EQ(answer->ends(), 0);
}

TEST_F(SystemHandlerTest, StreamsAreIndependent) {
    std::vector<std::shared_ptr<Answer>> answers;
    for (int i = 0; i < 20; ++i) {
        answers.push_back(std::make_shared<Answer>());
        open(answers.back());
    }
    for (const auto& answer : answers) {
        answer->awaitValues(5);
        EXPECT_EQ(answer->code(), 299);
        EXPECT_EQ(answer->ends(), 0);
    }
}

TEST_F(SystemHandlerTest, FailedFirstValueEndsTheStream) {
    const auto answer = std::make_shared<Answer>();
    EXPECT_EQ(open(answer, "/system/load"), nullptr);
    EXPECT_EQ(answer->code(), 503);
    EXPECT_TRUE(answer->released());
}

TEST_F(SystemHandlerTest, StreamEndsWithAnErrorWhenTheFileDisappears) {
    const auto answer = std::make_shared<Answer>();
    EXPECT_NE(open(answer), nullptr);
    std::filesystem::remove(folder / "proc/uptime");
    answer->awaitRelease();
    EXPECT_EQ(answer->code(), 503);
    EXPECT_EQ(answer->ends(), 1);
}

TEST_F(SystemHandlerTest, StreamCompletesWhenTheResponseHandlerStopsIt) {
    for (const unsigned long enough : {1UL, 2UL, 5UL}) {
        const auto answer = std::make_shared<Answer>();
        answer->onNext = [enough](unsigned long count) { return count == enough; };
        void* const handle = open(answer);
        EXPECT_EQ(handle == nullptr, enough == 1);
        answer->awaitRelease();
        EXPECT_EQ(answer->values().size(), enough);
        EXPECT_EQ(answer->ends(), 1);
        service->cancelRequest(handle);
    }
}

TEST_F(SystemHandlerTest, ImmediateEndDoesNotAffectTheNextStream) {
    serve(NEVER);
    for (int round = 0; round < 100; ++round) {
        const auto satisfied = std::make_shared<Answer>();
        satisfied->onNext = [](unsigned long) { return true; };
        open(satisfied);
        const auto next = std::make_shared<Answer>();
        service->cancelRequest(open(next));
        EXPECT_TRUE(next->released());
        EXPECT_EQ(next->ends(), 0);
    }
}

// Cancellation

TEST_F(SystemHandlerTest, CancelledStreamIsReleased) {
    serve(NEVER);
    const auto answer = std::make_shared<Answer>();
    service->cancelRequest(open(answer));
    EXPECT_TRUE(answer->released());
    EXPECT_EQ(answer->values().size(), 1U);
    EXPECT_EQ(answer->ends(), 0);
}

TEST_F(SystemHandlerTest, UnknownHandlesAreIgnored) {
    const auto answer = std::make_shared<Answer>();
    void* const handle = open(answer);
    handler->cancelRequest(nullptr);
    handler->cancelRequest(this);
    EXPECT_FALSE(answer->released());
    service->cancelRequest(handle);
    service->cancelRequest(handle);
    answer->awaitRelease();
    EXPECT_EQ(answer->ends(), 0);
}

// Blocks the sending thread inside a response handler, at the second value, until `proceed` is set.
// Must outlive the stream.
struct BlockingHandler {
    explicit BlockingHandler(bool enough) {
        answer->onNext = [this, enough](unsigned long count) {
            if (count == 2) {
                entered.set_value();
                proceed.get_future().wait();
            }
            return enough && count > 1;
        };
    }

    std::shared_ptr<Answer> answer = std::make_shared<Answer>();
    std::promise<void> entered;
    std::promise<void> proceed;
};

TEST_F(SystemHandlerTest, CancellationDoesNotWaitForAResponseHandler) {
    for (const bool enough : {false, true}) {
        BlockingHandler held(enough);
        void* const handle = open(held.answer);
        held.entered.get_future().wait();
        service->cancelRequest(handle);
        EXPECT_FALSE(held.answer->released());
        held.proceed.set_value();
        held.answer->awaitRelease();
        EXPECT_EQ(held.answer->values().size(), 2U);
        EXPECT_EQ(held.answer->ends(), 0);
    }
}

TEST_F(SystemHandlerTest, RequestsAreServedWhileAResponseHandlerBlocks) {
    BlockingHandler held(false);
    open(held.answer);
    held.entered.get_future().wait();
    EXPECT_EQ(test::ask(*service, Request("retrieve", "/system/uptime"))->code(), 200);
    EXPECT_EQ(test::ask(*service, watching("/system/uptime"))->values().size(), 1U);
    held.proceed.set_value();
    service.reset();
}

TEST_F(SystemHandlerTest, ResponseHandlerMayCancelItsOwnStream) {
    for (const bool enough : {false, true}) {
        const auto answer = std::make_shared<Answer>();
        std::promise<void*> handle;
        std::shared_future<void*> opened = handle.get_future();
        answer->onNext = [this, enough, opened](unsigned long count) {
            if (count == 2) {
                service->cancelRequest(opened.get());
            }
            return enough && count == 2;
        };
        handle.set_value(open(answer));
        answer->awaitRelease();
        EXPECT_EQ(answer->values().size(), 2U);
        EXPECT_EQ(answer->ends(), 0) << "a cancelled request gets no further event";
    }
}

TEST_F(SystemHandlerTest, ResponseHandlerMayOpenAStream) {
    const auto inner = std::make_shared<Answer>();
    const auto outer = std::make_shared<Answer>();
    outer->onNext = [&](unsigned long count) {
        if (count == 2) {
            open(inner);
        }
        return false;
    };
    open(outer);
    inner->awaitValues(3);
    EXPECT_EQ(inner->code(), 299);
    service->shutdown();
    service.reset();
    EXPECT_TRUE(inner->released());
    EXPECT_TRUE(outer->released());
}

// Shutdown and destruction

TEST_F(SystemHandlerTest, ShutdownReleasesAllStreams) {
    serve(NEVER);
    const auto first = std::make_shared<Answer>();
    const auto second = std::make_shared<Answer>();
    open(first);
    open(second);
    service->shutdown();
    for (const auto& answer : {first, second}) {
        EXPECT_TRUE(answer->released());
        EXPECT_EQ(answer->ends(), 0);
    }
    const auto late = std::make_shared<Answer>();
    EXPECT_EQ(open(late), nullptr);
    EXPECT_EQ(late->code(), 0);
}

TEST_F(SystemHandlerTest, ResponseHandlerMayShutTheServiceDown) {
    const auto answer = std::make_shared<Answer>();
    std::promise<void> pending;
    answer->onNext = [&](unsigned long count) {
        if (count == 2) {
            pending.get_future().wait();
            service->shutdown();
        }
        return false;
    };
    open(answer);
    pending.set_value();
    answer->awaitRelease();
    EXPECT_EQ(answer->values().size(), 2U);
}

TEST_F(SystemHandlerTest, DestructionReleasesPendingStreams) {
    for (const milliseconds interval : {SOON, NEVER}) {
        serve(interval);
        const auto answer = std::make_shared<Answer>();
        open(answer);
        service.reset();
        EXPECT_TRUE(answer->released());
        EXPECT_EQ(answer->ends(), 0);
    }
}

TEST_F(SystemHandlerTest, DestructionWaitsForTheRunningResponseHandler) {
    BlockingHandler held(true);
    open(held.answer);
    held.entered.get_future().wait();
    std::thread destroyer([this] { service.reset(); });
    held.proceed.set_value();
    destroyer.join();
    EXPECT_TRUE(held.answer->released());
    EXPECT_EQ(held.answer->ends(), 1) << "the stream may end while the service is destroyed";
}

TEST_F(SystemHandlerTest, DestructionIsSafeWhileStreamsStartAndEnd) {
    for (unsigned long round = 0; round < 50; ++round) {
        serve(milliseconds(0));
        std::vector<std::shared_ptr<Answer>> answers;
        for (unsigned long i = 0; i < 5; ++i) {
            answers.push_back(std::make_shared<Answer>());
            answers.back()->onNext = [=](unsigned long count) { return count == i + round % 7; };
            open(answers.back());
        }
        answers[round % 5]->awaitValues(1);
        if (round % 2 == 0) {
            service->shutdown();
        }
        service.reset();
        for (const auto& answer : answers) {
            EXPECT_TRUE(answer->released());
            EXPECT_LE(answer->ends(), 1);
        }
    }
}

TEST_F(SystemHandlerTest, ConcurrentStreamsAndCancellationsAreSafe) {
    constexpr unsigned int THREADS = 4;
    std::vector<std::shared_ptr<Answer>> answers(THREADS * 100);
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < THREADS; ++t) {
        threads.emplace_back([this, t, &answers] {
            std::mt19937 random(t);
            for (unsigned int i = 0; i < 100; ++i) {
                auto& answer = answers[t * 100 + i];
                answer = std::make_shared<Answer>();
                const unsigned long enough = random() % 6;
                answer->onNext = [enough](unsigned long count) { return count == enough; };
                void* const handle = open(answer);
                answer->awaitValues(1 + random() % 2 * (enough == 1 ? 0 : 1));
                if (random() % 3 != 0) {
                    service->cancelRequest(handle);
                    answer->awaitRelease();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    service->shutdown();
    service.reset();
    for (const auto& answer : answers) {
        EXPECT_TRUE(answer->released());
        EXPECT_LE(answer->ends(), 1);
    }
}

}  // namespace
}  // namespace device
