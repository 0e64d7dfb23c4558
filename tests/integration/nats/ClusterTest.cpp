// A cluster of three brokers, each of which is killed in turn under load: 200 requests a second and
// 100 streams.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/kit/Result.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"
#include "support/Watchdog.h"
#include "wire/FileDescriptor.h"

namespace kova::test {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t BROKERS = 3;
constexpr std::size_t CLIENTS = 4;
constexpr std::size_t STREAMS = 100;
constexpr auto REQUEST_PERIOD = 5ms;
constexpr auto VALUE_PERIOD = 20ms;
constexpr auto HEARTBEAT = 1000ms;
// So many further values show that a stream is alive, and does not only deliver what was on its
// way.
constexpr int FURTHER_VALUES = 60;

std::string textOf(const Payload& payload) {
    return {payload.data(), payload.data() + payload.size()};
}

/// A port of the loopback interface that is kept from other programs until a broker listens there.
class ReservedPort {
public:
    ReservedPort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        // Go programs, such as the broker, set SO_REUSEADDR, too.
        const int isOn = 1;
        ::setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEADDR, &isOn, sizeof isOn);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (::bind(socket_.get(), generic, size) != 0 ||
            ::getsockname(socket_.get(), generic, &size) != 0) {
            throw std::runtime_error("no free port");
        }
        number_ = std::to_string(ntohs(address.sin_port));
    }
    const std::string& number() const { return number_; }

private:
    wire::FileDescriptor socket_;
    std::string number_;
};

/// Three brokers with routes between them.
class Cluster {
public:
    Cluster() {
        for (const ReservedPort& own : ports_) {
            std::string routes;
            for (const ReservedPort& other : ports_) {
                if (&other != &own) {
                    routes += (routes.empty() ? "" : ", ") +
                              ("\"nats://127.0.0.1:" + other.number()) + '"';
                }
            }
            brokers_.push_back(std::make_unique<Broker>(
                "cluster { name: kova, listen: \"127.0.0.1:" + own.number() + "\", routes: [ " +
                routes + "] }"));
        }
    }
    Broker& operator[](std::size_t at) { return *brokers_[at]; }
    /// Returns the URLs of all brokers.
    std::string url() const {
        std::string all;
        for (const auto& broker : brokers_) {
            all += (all.empty() ? "" : ",") + broker->url();
        }
        return all;
    }

private:
    std::array<ReservedPort, BROKERS> ports_;
    std::vector<std::unique_ptr<Broker>> brokers_;
};

/// A service that counts the executions of each change, and sends the numbers 0, 1, 2, ... to each
/// stream. Any thread may call any function.
class Ledger : public IKovaApi {
public:
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        const std::shared_ptr<IResponseHandler<Response>> owned = std::move(handler);
        const bool isChange = request.getCommand() == "insert";
        std::uintptr_t handle = 0;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            handle = ++lastHandle_;
            if (isChange) {
                ++executions_[request.getPath()];
            } else {
                streams_[handle] = {owned, 0};
            }
        }
        if (isChange) {
            owned->onCompleted();
        }
        return reinterpret_cast<void*>(handle);
    }
    void cancelRequest(void* handle) override {
        Stream cancelled;  // destroyed outside the lock
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = streams_.find(reinterpret_cast<std::uintptr_t>(handle));
        if (found != streams_.end()) {
            cancelled = std::move(found->second);
            streams_.erase(found);
        }
    }
    /// Sends the next number to each stream.
    void sendValues() {
        std::vector<Stream> all;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            for (auto& [handle, stream] : streams_) {
                all.push_back(stream);
                ++stream.next;
            }
        }
        for (const Stream& stream : all) {
            stream.handler->onNext(
                Response(200, Payload::createFromString(std::to_string(stream.next))));
        }
    }
    /// Returns how often each change was executed.
    std::map<std::string, int> executions() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return executions_;
    }

private:
    struct Stream {
        std::shared_ptr<IResponseHandler<Response>> handler;
        int next = 0;
    };

    mutable std::mutex mutex_;
    std::map<std::string, int> executions_;
    std::map<std::uintptr_t, Stream> streams_;
    std::uintptr_t lastHandle_ = 0;
};

/// What the clients have received. Any thread may call any function.
class Observations {
public:
    /// The response handler of a change.
    class Change : public IResponseHandler<Response> {
    public:
        Change(Observations& all, std::string path) : all_(all), path_(std::move(path)) {}
        bool onNext(const Response& /*value*/) override { return false; }
        void onError(const Response& error) override {
            all_.end(path_, "error " + kit::Error::of(error).message);
        }
        void onCompleted() override { all_.end(path_, "completed"); }

    private:
        Observations& all_;
        std::string path_;
    };
    /// The response handler of a stream.
    class Stream : public IResponseHandler<Response> {
    public:
        Stream(Observations& all, std::size_t number) : all_(all), number_(number) {}
        bool onNext(const Response& value) override {
            all_.receive(number_, textOf(value.getPayload()) == std::to_string(next_++));
            return false;
        }
        void onError(const Response& error) override {
            all_.lose(number_, kit::Error::of(error).message);
        }
        void onCompleted() override { all_.lose(number_, "completed"); }

    private:
        Observations& all_;
        std::size_t number_;
        int next_ = 0;
    };

    /// Returns the streams that have ended since the latest call.
    std::vector<std::size_t> takeLost() {
        const std::lock_guard<std::mutex> guard(mutex_);
        return std::exchange(lost_, {});
    }
    /// Waits until each stream has received further values, and a change was completed.
    void waitForProgress() {
        std::unique_lock<std::mutex> lock(mutex_);
        const std::array<int, STREAMS> before = values_;
        const int completed = completed_;
        changed_.wait(lock, [&] {
            bool isAlive = completed_ > completed;
            for (std::size_t i = 0; i < STREAMS; ++i) {
                isAlive = isAlive && values_[i] >= before[i] + FURTHER_VALUES;
            }
            return isAlive;
        });
    }
    /// Waits until so many changes have ended. Returns the ends of each one.
    std::map<std::string, std::vector<std::string>> waitForEnds(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return ends_.size() >= count; });
        return ends_;
    }
    /// Returns the number of values that were doubled, missing or in the wrong order.
    int wrongValues() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return wrong_;
    }
    /// Returns the reasons for which streams have ended.
    std::set<std::string> reasons() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return reasons_;
    }

private:
    void end(const std::string& path, const std::string& how) {
        const std::lock_guard<std::mutex> guard(mutex_);
        ends_[path].push_back(how);
        completed_ += how == "completed" ? 1 : 0;
        changed_.notify_all();
    }
    void receive(std::size_t number, bool isRight) {
        const std::lock_guard<std::mutex> guard(mutex_);
        ++values_[number];
        wrong_ += isRight ? 0 : 1;
        changed_.notify_all();
    }
    void lose(std::size_t number, const std::string& reason) {
        const std::lock_guard<std::mutex> guard(mutex_);
        lost_.push_back(number);
        reasons_.insert(reason);
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::string, std::vector<std::string>> ends_;
    std::array<int, STREAMS> values_{};
    std::vector<std::size_t> lost_;
    std::set<std::string> reasons_;
    int completed_ = 0;
    int wrong_ = 0;
};

/// A thread that calls a function periodically.
class Periodic {
public:
    template <typename Function>
    Periodic(std::chrono::milliseconds period, Function function)
        : thread_([this, period, function = std::move(function)]() mutable {
              for (auto next = std::chrono::steady_clock::now(); !isOver_; next += period) {
                  function();
                  std::this_thread::sleep_until(next + period);
              }
          }) {}
    ~Periodic() { stop(); }
    Periodic(const Periodic&) = delete;
    Periodic& operator=(const Periodic&) = delete;

    void stop() {
        isOver_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
    }

private:
    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

/// Returns whether a client understands from the reason that its request may be sent again.
bool isClear(const std::string& reason) {
    return reason.find("lost: ") == 0 || reason.find("no connection") == 0 ||
           reason.find("no server") == 0;
}

class NatsClusterTest : public ::testing::Test {
protected:
    NatsClusterTest() {
        for (std::size_t i = 0; i < BROKERS; ++i) {
            nats::ServerOptions options;
            options.servicePath = "/ledger";
            options.broker.heartbeat = HEARTBEAT;
            servers.push_back(std::make_unique<nats::Server>(ledger, cluster.url(), options));
        }
        waitForServers();
        for (std::size_t i = 0; i < CLIENTS; ++i) {
            nats::ConnectOptions options;
            options.broker.heartbeat = HEARTBEAT;
            options.patience = 5s;
            clients.push_back(nats::connect(cluster.url(), "/ledger", "", options).orThrow());
        }
    }
    void waitForServers() const {
        for (const auto& server : servers) {
            server->waitUntilServing(30s).orThrow();
        }
    }
    void subscribe(std::size_t stream) {
        clients[stream % CLIENTS]->actionRequest(
            Request("retrieve", "/numbers"),
            std::make_unique<Observations::Stream>(observations, stream));
    }
    void change() {
        const std::string path = "/changes/" + std::to_string(changes++);
        clients[changes % CLIENTS]->actionRequest(
            Request("insert", path), std::make_unique<Observations::Change>(observations, path));
    }

    Watchdog watchdog{"three brokers start", 120s};
    Observations observations;
    Ledger ledger;
    Cluster cluster;
    std::vector<std::unique_ptr<nats::Server>> servers;
    std::vector<std::unique_ptr<IKovaApi>> clients;
    std::size_t changes = 0;
};

TEST_F(NatsClusterTest, EveryRequestEndsAndNoChangeIsDoubledWhileBrokersAreKilled) {
    for (std::size_t i = 0; i < STREAMS; ++i) {
        subscribe(i);
    }
    Periodic values(VALUE_PERIOD, [this] { ledger.sendValues(); });
    Periodic load(REQUEST_PERIOD, [this] {
        for (const std::size_t stream : observations.takeLost()) {
            subscribe(stream);
        }
        change();
    });
    observations.waitForProgress();
    for (std::size_t i = 0; i < BROKERS; ++i) {
        watchdog.enter("broker " + std::to_string(i) + " is killed");
        cluster[i].stop();
        observations.waitForProgress();
        watchdog.enter("broker " + std::to_string(i) + " starts again");
        cluster[i].start();
        waitForServers();
        observations.waitForProgress();
    }
    watchdog.enter("the last changes end");
    load.stop();
    const auto ends = observations.waitForEnds(changes);
    values.stop();
    clients.clear();

    const std::map<std::string, int> executions = ledger.executions();
    std::size_t completed = 0;
    for (const auto& [path, end] : ends) {
        ASSERT_EQ(end.size(), 1U) << path;
        const auto found = executions.find(path);
        const int count = found != executions.end() ? found->second : 0;
        EXPECT_LE(count, 1) << path;
        if (end[0] == "completed") {
            EXPECT_EQ(count, 1) << path;
            ++completed;
        } else {
            EXPECT_TRUE(isClear(end[0].substr(6))) << end[0];
        }
    }
    EXPECT_GT(completed, changes / 2);
    EXPECT_EQ(observations.wrongValues(), 0);
    for (const std::string& reason : observations.reasons()) {
        EXPECT_TRUE(isClear(reason)) << reason;
    }
}

}  // namespace
}  // namespace kova::test
