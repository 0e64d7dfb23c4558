#include "kova/kit/Coroutine.h"

#include <gtest/gtest.h>

#include <exception>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/kit/Client.h"
#include "kova/kit/Loop.h"
#include "kova/kit/Worker.h"
#include "kova/testing/ManualClock.h"
#include "support/HeldService.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using test::HeldService;

// A coroutine that starts immediately. Its owner may destroy it while it is suspended.
class Routine {
public:
    struct promise_type {
        Routine get_return_object() {
            return Routine(std::coroutine_handle<promise_type>::from_promise(*this));
        }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_always final_suspend() noexcept { return {}; }
        void return_void() noexcept {}
        void unhandled_exception() noexcept { std::terminate(); }
    };

    Routine(Routine&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Routine& operator=(Routine&&) = delete;
    ~Routine() { destroy(); }

    bool done() const { return handle_.done(); }
    void destroy() {
        if (handle_) {
            std::exchange(handle_, nullptr).destroy();
        }
    }

private:
    explicit Routine(std::coroutine_handle<promise_type> handle) : handle_(handle) {}

    std::coroutine_handle<promise_type> handle_;
};

Response json(unsigned short code, const std::string& text) {
    return {code, Payload::createFromJSON(text)};
}

class CoroutineTest : public ::testing::Test {
protected:
    Routine retrieveInto(std::optional<Result<int>>& level) {
        level = co_await asResult(client.retrieve<int>("/level"));
    }
    Routine collectInto(std::vector<int>& levels, std::optional<Error>& end) {
        Stream<int> stream(client.watch<int>("/level"));
        Result<int> level = co_await stream.next();
        for (; level; level = co_await stream.next()) {
            levels.push_back(*level);
        }
        end = level.error();
    }
    static ClientOptions optionsOn(osal::Clock& clock) {
        ClientOptions options;
        options.clock = &clock;
        return options;
    }

    kova::testing::ManualClock clock;
    HeldService service;
    Client client{service, optionsOn(clock)};
    std::optional<Result<int>> level;
};

TEST_F(CoroutineTest, ResumesWithTheValueOfTheCall) {
    const Routine routine = retrieveInto(level);
    EXPECT_FALSE(routine.done());
    service.answer(1, json(200, "5"));
    EXPECT_TRUE(routine.done());
    ASSERT_TRUE(level);
    EXPECT_EQ(level->valueOr(0), 5);
}

TEST_F(CoroutineTest, ContinuesAfterAnImmediateAnswer) {
    service.onRequest = [this](std::size_t number) { service.answer(number, json(200, "5")); };
    const Routine routine = retrieveInto(level);
    EXPECT_TRUE(routine.done());
    EXPECT_EQ(level->valueOr(0), 5);
}

TEST_F(CoroutineTest, ReturnsTheValueOrThrowsTheError) {
    std::string error;
    int sum = 0;
    const auto add = [&]() -> Routine {
        try {
            sum += co_await client.retrieve<int>("/a");
            co_await client.update("/b", sum);
            sum += co_await client.retrieve<int>("/c");
        } catch (const KovaException& exception) {
            error = exception.what();
        }
    };
    const Routine routine = add();
    service.answer(1, json(200, "5"));
    service.take(2)->onCompleted();
    service.take(3)->onError(Response::createErrorResponse(404, "no c"));
    EXPECT_TRUE(routine.done());
    EXPECT_EQ(sum, 5);
    EXPECT_EQ(error, "404 Not Found no c");
}

TEST_F(CoroutineTest, CallWithoutAValueFails) {
    const Routine routine = retrieveInto(level);
    service.take(1)->onCompleted();
    ASSERT_TRUE(level);
    EXPECT_EQ(level->error(), (Error{502, "the service completed the request without a value"}));
}

TEST_F(CoroutineTest, CallWithAnUnencodableBodyFailsImmediately) {
    std::optional<Result<void>> result;
    const auto update = [&]() -> Routine {
        result = co_await asResult(client.update("/a", std::string("\xff")));
    };
    const Routine routine = update();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->error().code, 500);
}

TEST_F(CoroutineTest, ResumesOnTheExecutorOfTheCall) {
    Loop loop;
    std::thread::id thread;
    const auto routine = [&]() -> Routine {
        co_await client.remove("/a").on(loop);
        thread = std::this_thread::get_id();
    };
    const Routine running = routine();
    std::thread([&] { service.answer(1); }).join();
    EXPECT_FALSE(running.done());
    while (!running.done()) {
        loop.runFor(30s);
    }
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(CoroutineTest, DeadlineEndsTheCall) {
    Loop loop;
    const auto routine = [&]() -> Routine {
        level = co_await asResult(client.retrieve<int>("/level").deadline(5ms).on(loop));
    };
    const Routine running = routine();
    clock.advance(5ms);
    while (!running.done()) {
        loop.runFor(30s);
    }
    EXPECT_EQ(level->error(), (Error{504, "no answer within 5 ms to retrieve '/level'"}));
}

TEST_F(CoroutineTest, DestructionWhileSuspendedCancelsTheCall) {
    Routine routine = retrieveInto(level);
    routine.destroy();
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    service.answer(1, json(200, "5"));
    EXPECT_FALSE(level);
}

TEST_F(CoroutineTest, StreamReturnsItsValuesOneByOne) {
    std::vector<int> levels;
    std::optional<Error> end;
    const Routine routine = collectInto(levels, end);
    service[1].onNext(json(299, "1"));
    service[1].onNext(json(299, "2"));
    EXPECT_EQ(levels, (std::vector<int>{1, 2}));
    service.take(1)->onCompleted();
    EXPECT_TRUE(routine.done());
    EXPECT_EQ(*end, (Error{204, "the stream was completed"}));
}

TEST_F(CoroutineTest, DestructionWhileWaitingCancelsTheStream) {
    std::vector<int> levels;
    std::optional<Error> end;
    Routine routine = collectInto(levels, end);
    service[1].onNext(json(299, "1"));
    routine.destroy();
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
    service[1].onNext(json(299, "2"));
    EXPECT_EQ(levels, (std::vector<int>{1}));
}

// Answers race with the suspension.
TEST_F(CoroutineTest, AnswerOfAnotherThreadResumesTheCoroutineOnce) {
    constexpr std::size_t ROUNDS = 500;
    std::thread answering([&] {
        for (std::size_t i = 1; i <= ROUNDS; ++i) {
            service.waitForRequests(i);
            service.answer(i, json(200, std::to_string(i)));
        }
    });
    std::size_t sum = 0;
    std::promise<void> done;
    const auto addAll = [&]() -> Routine {
        for (std::size_t i = 1; i <= ROUNDS; ++i) {
            sum += static_cast<std::size_t>(co_await client.retrieve<int>("/level"));
        }
        done.set_value();
    };
    const Routine routine = addAll();
    done.get_future().wait();
    answering.join();
    EXPECT_EQ(sum, ROUNDS * (ROUNDS + 1) / 2);
}

}  // namespace
}  // namespace kova::kit
