// Streams of values that are driven by alarms, as in a real service: values arrive on the thread of
// the alarms, while any thread may cancel a stream, and callbacks cancel their own stream.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <utility>

#include "kova/core/Alarm.h"
#include "kova/core/StaticComposedKovaService.h"
#include "osal/AlarmTimer.h"
#include "support/FastForwardClock.h"
#include "support/Threads.h"
#include "support/Watchdog.h"

namespace kova {
namespace {

using Handler = std::unique_ptr<IResponseHandler<Response>>;

/// A resource that sends values until the request is cancelled. The function of the alarm owns the
/// response handler, which therefore stays alive during the call even if the call cancels the
/// request.
class Ticker : public IResourceHandler {
public:
    explicit Ticker(osal::AlarmTimer& timer) : timer_(timer) {}

    void* actionRequest(const Request&, Handler&& handler, const std::string&) override {
        const std::shared_ptr<IResponseHandler<Response>> kept = std::move(handler);
        auto alarm =
            std::make_unique<FunctionalAlarm>([kept] { kept->onNext(Response(299)); }, timer_);
        FunctionalAlarm* const handle = alarm.get();
        const std::lock_guard<std::mutex> guard(mutex_);
        streams_[handle] = std::move(alarm);
        failures += handle->start(1, true) ? 1 : 0;
        return handle;
    }
    void cancelRequest(void* handle) override {
        // Declared before the lock and thus destroyed after unlocking: its destructor waits for the
        // function.
        std::unique_ptr<FunctionalAlarm> cancelled;
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = streams_.find(handle);
        if (found != streams_.end()) {
            cancelled = std::move(found->second);
            streams_.erase(found);
        }
    }
    std::size_t open() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return streams_.size();
    }

    std::atomic<int> failures{0};

private:
    osal::AlarmTimer& timer_;
    std::mutex mutex_;
    std::map<void*, std::unique_ptr<FunctionalAlarm>> streams_;
};

/// The memory of a response handler. It is not reused, so no other request has the same handle.
struct HandlerMemory {
    alignas(std::max_align_t) std::array<std::byte, 32> bytes{};
};

/// The state of one caller. Only the members that the caller waits for are atomic.
struct Stream : HandlerMemory {
    static Stream& of(void* memory) {
        return static_cast<Stream&>(*static_cast<HandlerMemory*>(memory));
    }

    std::function<void()> onValue;
    bool cancelled = false;
    int valuesTooLate = 0;
    std::atomic<int> values{0};
    /// Set when the response handler is destroyed, which is the last use of the stream.
    std::atomic<bool> over{false};
};

class StreamHandler : public IResponseHandler<Response> {
public:
    explicit StreamHandler(Stream& stream) : stream_(stream) {}
    static void* operator new(std::size_t, Stream& stream) { return stream.bytes.data(); }
    // Runs after the destructors, which write to the memory until they return.
    static void operator delete(void* memory) { Stream::of(memory).over = true; }
    static void operator delete(void*, Stream&) {}

    bool onNext(const Response&) override {
        stream_.valuesTooLate += stream_.cancelled ? 1 : 0;
        if (stream_.onValue) {
            stream_.onValue();
        }
        ++stream_.values;
        return false;
    }
    void onError(const Response&) override {}
    void onCompleted() override {}

private:
    Stream& stream_;
};

static_assert(sizeof(StreamHandler) <= sizeof(HandlerMemory));

class StreamTest : public testing::Test {
protected:
    StreamTest() { makeService(); }

    void makeService() {
        auto resource = std::make_unique<Ticker>(timer);
        ticker = resource.get();
        std::map<std::string, std::unique_ptr<IResourceHandler>> handlers;
        handlers["/ticker"] = std::move(resource);
        service = std::make_unique<StaticComposedKovaService>(std::move(handlers));
    }
    void* ask(Stream& stream) {
        Handler handler(new (stream) StreamHandler(stream));
        return service->actionRequest(Request("retrieve", "/ticker"), std::move(handler));
    }
    static void awaitAValue(const Stream& stream) {
        while (stream.values == 0) {
            std::this_thread::yield();
        }
    }
    static void awaitTheEnd(const Stream& stream) {
        while (!stream.over) {
            std::this_thread::yield();
        }
    }

    test::Watchdog watchdog{"starting"};
    test::FastForwardClock clock;
    osal::AlarmTimer timer{clock};
    FunctionalAlarm idle{[] {}, timer};
    Ticker* ticker = nullptr;
    std::unique_ptr<StaticComposedKovaService> service;
};

constexpr int THREADS = 8;
constexpr int ROUNDS = 60;

TEST_F(StreamTest, CancellationStopsTheStream) {
    watchdog.enter("cancelling streams from outside");
    test::runOnThreads(THREADS, [this](int) {
        for (int round = 0; round < ROUNDS * test::stressFactor(); ++round) {
            Stream stream;
            void* const handle = ask(stream);
            awaitAValue(stream);
            service->cancelRequest(handle);
            stream.cancelled = true;
            EXPECT_EQ(stream.valuesTooLate, 0);
            EXPECT_TRUE(stream.over);
            watchdog.progress();
        }
    });
    EXPECT_EQ(ticker->open(), 0U);
    EXPECT_EQ(ticker->failures, 0);
}

TEST_F(StreamTest, CallbackAndAnotherThreadCanCancelConcurrently) {
    watchdog.enter("cancelling streams from inside");
    test::runOnThreads(THREADS, [this](int) {
        for (int round = 0; round < ROUNDS * test::stressFactor(); ++round) {
            Stream stream;
            stream.onValue = [this, &stream] { service->cancelRequest(stream.bytes.data()); };
            void* const handle = ask(stream);
            if (round % 2 == 0) {
                service->cancelRequest(handle);
            }
            awaitTheEnd(stream);
            watchdog.progress();
        }
    });
    EXPECT_EQ(ticker->open(), 0U);
    EXPECT_EQ(ticker->failures, 0);
}

TEST_F(StreamTest, ShutdownStopsAllStreams) {
    for (int round = 0; round < 30 * test::stressFactor(); ++round) {
        watchdog.enter("shutting streams down");
        makeService();
        std::array<Stream, THREADS> streams;
        test::runOnThreads(THREADS, [&](int t) {
            Stream& stream = streams[static_cast<std::size_t>(t)];
            ask(stream);
            if (t == 0) {
                awaitAValue(stream);
                service->shutdown();
                stream.cancelled = true;
                EXPECT_TRUE(stream.over);
            }
        });
        service->shutdown();
        EXPECT_EQ(ticker->open(), 0U);
        for (const Stream& stream : streams) {
            EXPECT_TRUE(stream.over);
            EXPECT_EQ(stream.valuesTooLate, 0);
        }
    }
}

}  // namespace
}  // namespace kova
