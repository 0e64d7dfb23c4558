#include "kova/kit/ServiceManager.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "inspection/NotifySocket.h"
#include "kova/core/Request.h"
#include "kova/kit/Calls.h"
#include "kova/kit/Command.h"
#include "osal/Environment.h"

namespace kova::kit {

namespace {

using std::chrono::microseconds;

// The longest time between two checks. If half of the period is longer, the service is checked more
// often than necessary, which does no harm.
constexpr microseconds LONGEST_INTERVAL = std::chrono::hours(1);

std::optional<std::uint64_t> numberIn(char const* variable) {
    const std::string text = osal::Environment::getVariable(variable);
    std::uint64_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = read.ec == std::errc() && read.ptr == text.data() + text.size();
    return isNumber ? std::optional<std::uint64_t>(number) : std::nullopt;
}

bool isForThisProcess() {
    return osal::Environment::getVariable("WATCHDOG_PID").empty() ||
           numberIn("WATCHDOG_PID") == static_cast<std::uint64_t>(::getpid());
}

// Returns half of the period of the watchdog, or 0 if there is no watchdog.
microseconds watchdogInterval() {
    const std::optional<std::uint64_t> period = numberIn("WATCHDOG_USEC");
    if (!period || !isForThisProcess()) {
        return microseconds(0);
    }
    return microseconds(
        std::min(*period / 2, static_cast<std::uint64_t>(LONGEST_INTERVAL.count())));
}

// A receiver that records whether its request was answered before the deadline.
class FirstAnswer final : public Receiver {
public:
    explicit FirstAnswer(std::promise<bool> answered) : answered_(std::move(answered)) {}
    Result<void> onValue(const Response& /*value*/) override {
        set(true);
        return {};
    }
    void onEnd(const End& end) override { set(end.kind() != End::Kind::timedOut); }

private:
    void set(bool answered) {
        if (!isSet_) {
            isSet_ = true;
            answered_.set_value(answered);
        }
    }

    std::promise<bool> answered_;
    bool isSet_ = false;
};

bool answersRoot(Calls& calls, microseconds limit) {
    std::promise<bool> answered;
    std::future<bool> result = answered.get_future();
    CallOptions options;
    options.deadline = std::max(std::chrono::milliseconds(1),
                                std::chrono::duration_cast<std::chrono::milliseconds>(limit));
    const Subscription call =
        calls.start(Request(std::string(command::retrieve), "/"),
                    std::make_unique<FirstAnswer>(std::move(answered)), options);
    return result.get();
}

std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char each) { return static_cast<unsigned char>(each) < ' ' || each == '\x7f'; }, ' ');
    return text;
}

}  // namespace

struct ServiceManager::State {
    State(IKovaApi& service, ServiceManagerOptions&& options)
        : socket(osal::Environment::getVariable("NOTIFY_SOCKET")),
          calls(service),
          interval(socket.isOpen() ? watchdogInterval() : microseconds(0)),
          isHealthy(std::move(options.isHealthy)) {
        if (!isHealthy) {
            isHealthy = [this] { return answersRoot(calls, interval); };
        }
        if (interval.count() > 0) {
            thread = std::thread([this]() noexcept { watch(); });
        }
    }
    ~State() {
        {
            const std::lock_guard<std::mutex> guard(mutex);
            isOver = true;
            changed.notify_all();
        }
        if (thread.joinable()) {
            thread.join();
        }
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void watch() {
        auto next = std::chrono::steady_clock::now();
        std::unique_lock<std::mutex> lock(mutex);
        while (!isOver) {
            lock.unlock();
            if (isHealthy()) {
                socket.send("WATCHDOG=1");
            }
            lock.lock();
            next = std::max(next + interval, std::chrono::steady_clock::now());
            changed.wait_until(lock, next, [this] { return isOver; });
        }
    }

    const detail::NotifySocket socket;
    Calls calls;
    const microseconds interval;
    std::function<bool()> isHealthy;
    std::mutex mutex;
    std::condition_variable changed;
    bool isOver = false;
    std::thread thread;
};

ServiceManager::ServiceManager(IKovaApi& service, ServiceManagerOptions options)
    : state_(std::make_unique<State>(service, std::move(options))) {}

ServiceManager::~ServiceManager() = default;

bool ServiceManager::isPresent() const noexcept {
    return state_->socket.isOpen();
}

bool ServiceManager::hasWatchdog() const noexcept {
    return state_->interval.count() > 0;
}

bool ServiceManager::ready() const noexcept {
    return state_->socket.send("READY=1");
}

bool ServiceManager::stopping() const noexcept {
    return state_->socket.send("STOPPING=1");
}

bool ServiceManager::status(const std::string& text) const {
    return state_->socket.send("STATUS=" + oneLine(text));
}

}  // namespace kova::kit
