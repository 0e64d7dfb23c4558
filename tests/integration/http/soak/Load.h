#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "integration/http/chaos/Chaos.h"
#include "kova/core/IKovaApi.h"
#include "kova/core/Request.h"
#include "kova/http/Connect.h"

namespace kova::http::test {

/// The times from sending a request to its completion. Any thread may call any function.
class Latencies {
public:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::duration<double, std::milli>;

    void add(Milliseconds time) {
        const std::lock_guard<std::mutex> guard(mutex_);
        times_.push_back(time.count());
    }
    /// Returns the times since the last call, sorted.
    std::vector<double> take() {
        std::vector<double> taken;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            taken.swap(times_);
        }
        std::sort(taken.begin(), taken.end());
        return taken;
    }

private:
    std::mutex mutex_;
    std::vector<double> times_;
};

/// Counts the events of one request and measures the time until its completion.
class TimedHandler final : public IResponseHandler<Response> {
public:
    TimedHandler(Outcome& outcome, Latencies& latencies)
        : counting_(outcome), latencies_(latencies) {}

    bool onNext(const Response& value) override { return counting_.onNext(value); }
    void onError(const Response& error) override { counting_.onError(error); }
    void onCompleted() override {
        latencies_.add(Latencies::Clock::now() - start_);
        counting_.onCompleted();
    }

private:
    CountingHandler counting_;
    Latencies& latencies_;
    const Latencies::Clock::time_point start_ = Latencies::Clock::now();
};

/// The clients of one server. They live as long as the object, whatever happens to the server. One
/// thread at a time calls the functions.
class Load {
public:
    static constexpr std::size_t CLIENTS = 10;
    static constexpr std::size_t STREAMS = 50;  ///< the number of streams of each client

    Load(const std::string& address, Latencies& latencies) : latencies_(latencies) {
        ConnectOptions options;
        options.patience = std::chrono::minutes(10);
        options.resubscribes = true;
        for (std::size_t i = 0; i < CLIENTS; ++i) {
            clients_.push_back(connect(address, options).orThrow());
            for (std::size_t k = 0; k < STREAMS; ++k) {
                clients_.back()->actionRequest(
                    Request("retrieve", "/stream/" + std::to_string(i)),
                    std::make_unique<CountingHandler>(streams_.emplace_back().outcome));
            }
        }
    }

    /// Sends a value to each stream, and one request of each client.
    void tick() {
        clients_.front()->actionRequest(Request("update", "/push"),
                                        std::make_unique<CountingHandler>(pushes_));
        for (const auto& client : clients_) {
            client->actionRequest(Request("retrieve", "/echo"),
                                  std::make_unique<TimedHandler>(echoes_, latencies_));
            ++sent_;
        }
        ++sent_;
    }
    /// Returns whether each stream has received a value.
    bool areStreaming() const {
        return std::all_of(streams_.begin(), streams_.end(),
                           [](const Stream& stream) { return stream.outcome.values != 0; });
    }
    /// Returns the number of streams that have received no value since the last call.
    std::size_t silentStreams() {
        std::size_t silent = 0;
        for (Stream& stream : streams_) {
            const long now = stream.outcome.values;
            silent += now == std::exchange(stream.seen, now) ? 1 : 0;
        }
        return silent;
    }
    /// @{
    /// Returns the number of all values, of requests that have ended as the name says, of requests
    /// that are open, of streams that have ended, and of events that must not happen.
    long values() const {
        return sum([](const Outcome& outcome) { return outcome.values.load(); });
    }
    long completed() const { return echoes_.completed + pushes_.completed; }
    long lost() const { return echoes_.lost + pushes_.lost; }
    long failed() const { return echoes_.failed + pushes_.failed; }
    long open() const { return sent_ - completed() - lost() - failed(); }
    long endedStreams() const { return sum(&Outcome::ends); }
    long wrong() const {
        return echoes_.wrong + pushes_.wrong +
               sum([](const Outcome& outcome) { return outcome.wrong.load(); });
    }
    /// @}

private:
    struct Stream {
        Outcome outcome;
        long seen = 0;
    };

    template <typename Count>
    long sum(Count count) const {
        long all = 0;
        for (const Stream& stream : streams_) {
            all += std::invoke(count, stream.outcome);
        }
        return all;
    }

    Latencies& latencies_;
    Outcome echoes_;
    Outcome pushes_;
    long sent_ = 0;
    std::deque<Stream> streams_;
    // Destroyed first, because the response handlers use the other members.
    std::vector<std::unique_ptr<IKovaApi>> clients_;
};

}  // namespace kova::http::test
