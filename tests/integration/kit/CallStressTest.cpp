// Threads send, cancel and reset calls at random. They use a composed service whose resources
// answer from other threads, immediately, twice, or never. KOVA_STRESS_OPERATIONS sets the number
// of calls of each thread.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>

#include "Sensors.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/response_handlers.h"
#include "kova/kit/Calls.h"

#include "kova/kit/Worker.h"
#include "support/Reports.h"
#include "support/Threads.h"
#include "support/Watchdog.h"

namespace kova {
namespace {

using namespace std::chrono_literals;
using Handler = std::unique_ptr<IResponseHandler<Response>>;

constexpr int THREADS = 8;

int operations() {
    char const* const text = std::getenv("KOVA_STRESS_OPERATIONS");
    return text != nullptr ? std::atoi(text) : 2000 * test::stressFactor();
}

/// A resource that answers twice before it returns, and returns a handle.
class Twice : public IResourceHandler {
public:
    void* actionRequest(const Request&, Handler&& handler, const std::string&) override {
        const Handler own = std::move(handler);
        own->onNext(Response(200));
        own->onCompleted();
        own->onCompleted();
        return this;
    }
    void cancelRequest(void*) override { ++cancellations; }

    std::atomic<int> cancellations{0};
};

/// A resource that stores requests. If it has many, it destroys the oldest one without an answer,
/// while it holds its lock.
class Forgetful : public IResourceHandler {
public:
    void* actionRequest(const Request&, Handler&& handler, const std::string&) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        kept_.push_back(std::move(handler));
        if (kept_.size() > 16) {
            kept_.pop_front();
        }
        return this;
    }
    void cancelRequest(void*) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        ++cancellations;
    }

    std::atomic<int> cancellations{0};

private:
    std::mutex mutex_;
    std::deque<Handler> kept_;
};

/// The data that the callbacks of one call use. It is freed when no callback should be running any
/// more.
struct Ticket {
    std::atomic<int> values{0};
    std::atomic<int> ends{0};
};

struct Counts {
    std::atomic<long> ends{0};
    std::atomic<long> receivers{0};
};

class Receiver : public kit::Receiver {
public:
    Receiver(Ticket* ticket, Counts& counts) : ticket_(ticket), counts_(counts) {
        ++counts_.receivers;
    }
    ~Receiver() override { --counts_.receivers; }
    kit::Result<void> onValue(const Response&) override {
        EXPECT_EQ(ticket_->ends, 0) << "a value after the end";
        ++ticket_->values;
        return {};
    }
    void onEnd(const kit::End&) override {
        EXPECT_EQ(ticket_->ends++, 0) << "a second end";
        ++counts_.ends;
    }

private:
    Ticket* const ticket_;
    Counts& counts_;
};

class CallStressTest : public testing::Test {
protected:
    CallStressTest() {
        auto sensors = std::make_unique<test::Sensors>(6);
        auto twice = std::make_unique<Twice>();
        auto forgetful = std::make_unique<Forgetful>();
        sensors_ = sensors.get();
        twice_ = twice.get();
        forgetful_ = forgetful.get();
        std::map<std::string, std::unique_ptr<IResourceHandler>> handlers;
        handlers["/sensors"] = std::move(sensors);
        handlers["/twice"] = std::move(twice);
        handlers["/forgetful"] = std::move(forgetful);
        service_ = std::make_unique<StaticComposedKovaService>(std::move(handlers));
    }

    int cancellations() const {
        return sensors_->cancellations + twice_->cancellations + forgetful_->cancellations;
    }
    void operate(kit::Calls& calls, std::minstd_rand& random, kit::CallOptions options);

    test::Reports reports_;
    test::Watchdog watchdog_{"sending calls"};
    Counts counts_;
    test::Sensors* sensors_ = nullptr;
    Twice* twice_ = nullptr;
    Forgetful* forgetful_ = nullptr;
    std::unique_ptr<StaticComposedKovaService> service_;
};

// Starts a call and ends it in one of many ways. The ticket is freed right after `reset`.
void CallStressTest::operate(kit::Calls& calls, std::minstd_rand& random,
                             kit::CallOptions options) {
    static constexpr std::array<char const*, 6> PATHS{
        "/sensors/ozone", "/sensors/dust", "/twice", "/forgetful", "/nowhere", "/sensors"};
    const Request request("retrieve", PATHS[random() % PATHS.size()]);
    options.deadline = random() % 4 == 0 ? 1ms : 0ms;
    const auto ticket = std::make_unique<Ticket>();
    kit::Subscription call =
        calls.start(request, std::make_unique<Receiver>(ticket.get(), counts_), options);
    switch (random() % 4) {
        case 0:
            call.cancel();
            break;
        case 1:
            for (int i = 0; i < 50 && call.pending(); ++i) {
                std::this_thread::yield();
            }
            break;
        case 2:
            call.cancel();
            call.cancel();
            std::this_thread::yield();
            break;
        default:
            break;
    }
    call.reset();
    watchdog_.progress();
}

TEST_F(CallStressTest, EachCallHasAtMostOneEnd) {
    const auto calls = std::make_unique<kit::Calls>(*service_);
    kit::Worker worker({2, 64});
    test::runOnThreads(THREADS, [&](int thread) {
        std::minstd_rand random(static_cast<unsigned>(thread) + 1);
        for (int i = 0; i < operations(); ++i) {
            operate(*calls, random, {i % 2 == 0 ? kit::Executor() : worker});
        }
    });
    EXPECT_TRUE(calls->close(40s).empty());
    EXPECT_EQ(counts_.receivers, 0);
    EXPECT_GT(counts_.ends, 0);
    const int before = cancellations();
    service_->shutdown();
    EXPECT_EQ(cancellations(), before) << "entries of finished requests";
}

// One thread sends requests. All threads cancel these requests, and each handle is cancelled twice.
TEST_F(CallStressTest, TwoThreadsMayCancelTheSameHandles) {
    kit::Calls calls(*service_);
    constexpr std::size_t HANDLES = 64;
    std::array<std::atomic<void*>, HANDLES> handles{};
    test::runOnThreads(THREADS, [&](int thread) {
        std::minstd_rand random(static_cast<unsigned>(thread) + 1);
        for (int i = 0; i < operations(); ++i) {
            const std::size_t place = random() % HANDLES;
            if (thread % 2 == 0) {
                handles[place] = calls.actionRequest(
                    Request("retrieve", "/sensors"),
                    std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
                        [](const Response&) { return false; }, [](const Response&) {}, [] {}));
            } else if (random() % 2 == 0) {
                calls.cancelRequest(handles[place]);
            } else {
                calls.reset(handles[place]);
            }
            watchdog_.progress();
        }
    });
    EXPECT_TRUE(calls.close(40s).empty());
    const int before = cancellations();
    service_->shutdown();
    EXPECT_EQ(cancellations(), before);
}

// Callbacks reset their own call and those of other threads.
TEST_F(CallStressTest, MutualResetInCallbacksDoesNotHang) {
    struct Slot {
        std::mutex mutex;
        kit::Subscription call;
    };
    std::array<Slot, THREADS> slots;
    const auto takeFrom = [&slots](std::size_t place) {
        const std::lock_guard<std::mutex> guard(slots[place].mutex);
        return std::move(slots[place].call);
    };
    struct Resetting : kit::Receiver {
        std::function<void()> reset;
        kit::Result<void> onValue(const Response&) override {
            reset();
            return {};
        }
        void onEnd(const kit::End&) override {}
    };
    kit::Calls calls(*service_);
    test::runOnThreads(THREADS, [&](int thread) {
        std::minstd_rand random(static_cast<unsigned>(thread) + 1);
        for (int i = 0; i < operations(); ++i) {
            const std::size_t place = random() % slots.size();
            auto receiver = std::make_unique<Resetting>();
            receiver->reset = [&takeFrom, place] { takeFrom(place).reset(); };
            kit::Subscription call =
                calls.start(Request("retrieve", "/sensors"), std::move(receiver));
            {
                Slot& own = slots[static_cast<std::size_t>(thread)];
                const std::lock_guard<std::mutex> guard(own.mutex);
                std::swap(own.call, call);
            }
            call.reset();  // resets the former call, without the lock
            watchdog_.progress();
        }
    });
    for (std::size_t i = 0; i < slots.size(); ++i) {
        takeFrom(i).reset();
    }
    EXPECT_TRUE(calls.close(40s).empty());
}

// Calls are destroyed while others send and answers arrive.
TEST_F(CallStressTest, DestructionDuringCallbacksLeaksNothing) {
    test::runOnThreads(THREADS, [&](int thread) {
        std::minstd_rand random(static_cast<unsigned>(thread) + 1);
        for (int i = 0; i < operations() / 10; ++i) {
            const auto tickets = std::make_unique<std::array<Ticket, 10>>();
            kit::Calls calls(*service_);
            for (Ticket& ticket : *tickets) {
                calls
                    .start(Request("retrieve", random() % 2 == 0 ? "/sensors" : "/twice"),
                           std::make_unique<Receiver>(&ticket, counts_))
                    .detach();
            }
            watchdog_.progress();
        }
    });
    EXPECT_EQ(counts_.receivers, 0);
}

}  // namespace
}  // namespace kova
