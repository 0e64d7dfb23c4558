#pragma once

#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"

namespace kova::http::test {

/// Returns the number in an environment variable, or `otherwise` if the variable is not set.
inline unsigned long numberOf(char const* variable, unsigned long otherwise) {
    char const* const text = std::getenv(variable);
    return text == nullptr ? otherwise : std::strtoul(text, nullptr, 10);
}

/// The same random numbers in each run with the same KOVA_CHAOS_SEED.
class Dice {
public:
    /// Returns a number from 0 to `last`.
    std::size_t roll(std::size_t last) {
        return std::uniform_int_distribution<std::size_t>(0, last)(engine_);
    }

private:
    std::mt19937 engine_{static_cast<std::mt19937::result_type>(numberOf("KOVA_CHAOS_SEED", 1))};
};

/// A process that is killed without a warning.
class Process {
public:
    explicit Process(const std::vector<std::string>& arguments) {
        std::vector<char*> words;
        words.reserve(arguments.size() + 1);
        for (const std::string& argument : arguments) {
            words.push_back(const_cast<char*>(argument.c_str()));
        }
        words.push_back(nullptr);
        if (::posix_spawn(&process_, words[0], nullptr, nullptr, words.data(), environ) != 0) {
            throw std::runtime_error("cannot start " + arguments[0]);
        }
    }
    ~Process() { kill(); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t id() const noexcept { return process_; }
    void kill() {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            ::waitpid(std::exchange(process_, -1), nullptr, 0);
        }
    }

private:
    pid_t process_ = -1;
};

/// Counters for the events and the destructions of the response handlers of some requests.
struct Outcome {
    std::atomic<long> values{0};
    std::atomic<long> completed{0};
    std::atomic<long> lost{0};
    std::atomic<long> failed{0};  ///< other errors
    std::atomic<long> wrong{0};   ///< events after the end, and handlers without an end
    std::atomic<long> living{0};

    long ends() const noexcept { return completed + lost + failed; }
};

/// Counts the events of one request.
class CountingHandler final : public IResponseHandler<Response> {
public:
    explicit CountingHandler(Outcome& outcome) : outcome_(outcome) { ++outcome_.living; }
    ~CountingHandler() override {
        outcome_.wrong += hasEnded_ ? 0 : 1;
        --outcome_.living;
    }
    CountingHandler(const CountingHandler&) = delete;
    CountingHandler& operator=(const CountingHandler&) = delete;

    bool onNext(const Response&) override {
        outcome_.wrong += hasEnded_ ? 1 : 0;
        ++outcome_.values;
        return false;
    }
    void onError(const Response& error) override {
        const std::string text = error.getErrorMessage().value_or("");
        end(text.rfind("lost: ", 0) == 0 ? outcome_.lost : outcome_.failed);
    }
    void onCompleted() override { end(outcome_.completed); }

private:
    void end(std::atomic<long>& count) {
        outcome_.wrong += std::exchange(hasEnded_, true) ? 1 : 0;
        ++count;
    }

    Outcome& outcome_;
    bool hasEnded_ = false;
};

/// Waits until a condition is true.
template <typename Condition>
void until(Condition isTrue) {
    while (!isTrue()) {
        std::this_thread::yield();
    }
}

/// The descriptors and the heap memory that this process uses.
struct Resources {
    long descriptors = 0;
    long heap = 0;  ///< bytes; 0 under a sanitizer, which replaces the heap

    static Resources now() {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return {std::distance(begin(all), end(all)), static_cast<long>(::mallinfo2().uordblks)};
    }
};

/// Waits until the process has no more descriptors than before, and at most 256 KiB more memory.
/// The loop and the kit may keep that much memory for the next connection.
inline void awaitRelease(const Resources& before) {
    constexpr long KEPT = 256L * 1024;
    Resources now;
    until([&] {
        now = Resources::now();
        return now.descriptors <= before.descriptors && now.heap <= before.heap + KEPT;
    });
    std::printf("descriptors %ld -> %ld, heap %ld -> %ld\n", before.descriptors, now.descriptors,
                before.heap, now.heap);
}

}  // namespace kova::http::test
