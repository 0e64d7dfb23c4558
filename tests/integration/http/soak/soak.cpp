// Runs two services under load and random faults for a long time (`tools/soak`). Fails if a figure
// does not stay flat.
//   http_soak SECONDS       The table has 60 lines, or one for each 5 seconds.
//   http_soak short ROUNDS  connects, opens streams and looks for one that gets no value in 0.2 s
//   http_soak pace ROUNDS   compares the pace of clients with and without bad neighbours
//
// Each server is a process. The steady one lives as long as the run; the other one is killed and
// started again at random. Each has ten clients in this process, with 50 streams each, which are
// subscribed again. Further clients of the steady server are killed, do not read, or have a network
// that breaks. KOVA_CHAOS_SEED selects the random numbers.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Load.h"
#include "Pace.h"
#include "client/RemoteService.h"
#include "integration/http/chaos/Proxy.h"
#include "kova/core/response_handlers.h"
#include "support/Watchdog.h"
#include "unit/http/server/Served.h"

namespace kova::http::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds TICK{100};

long descriptorsOf(pid_t process) {
    const std::filesystem::directory_iterator all("/proc/" + std::to_string(process) + "/fd");
    return std::distance(begin(all), end(all));
}

/// Waits until a condition is true, without using the processor meanwhile.
template <typename Condition>
void await(Condition isTrue) {
    while (!isTrue()) {
        std::this_thread::sleep_for(5ms);
    }
}

void ask(IKovaApi& service, Outcome& outcome, const std::string& path) {
    service.actionRequest(Request("retrieve", path), std::make_unique<CountingHandler>(outcome));
}

/// The open descriptors of a process, and the memory that it has allocated. Memory that was freed
/// and that the allocator keeps does not count.
struct Usage {
    long descriptors = 0;
    long kibibytes = 0;
};

/// The descriptors and the memory of the two processes that live as long as the run.
struct Figures {
    Usage server;
    Usage clients;
};

class Soak {
public:
    ~Soak() {
        stopLoading();
        killed_.reset();
        ::unlink(directory_.path("killed").c_str());
    }
    /// Returns whether all figures were as they should be.
    bool run(std::chrono::seconds duration) {
        loader_ = std::thread([this] { loadUntilStopped(); });
        await([this] { return steadyLoad_.areStreaming() && killedLoad_.areStreaming(); });
        baseline_ = usage();
        std::puts(
            "| s | completed | lost | values | faults | silent streams | latency p50, p99, max, ms "
            "| server: descriptors, KiB allocated | clients: descriptors, KiB allocated |\n"
            "|---|---|---|---|---|---|---|---|---|");
        const Clock::time_point start = Clock::now();
        const auto window = std::max<Clock::duration>(duration / 60, 5s);
        for (Clock::time_point next = start + window; next <= start + duration; next += window) {
            while (Clock::now() < next) {
                fault();
                std::this_thread::sleep_for(std::chrono::milliseconds(500 + dice_.roll(1500)));
            }
            report(std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start));
        }
        stopLoading();
        return isGood();
    }

private:
    void stopLoading() {
        isStopped_ = true;
        if (loader_.joinable()) {
            loader_.join();
        }
    }
    void loadUntilStopped() {
        for (Clock::time_point next = Clock::now(); !isStopped_; next += TICK) {
            {
                const std::lock_guard<std::mutex> guard(mutex_);
                steadyLoad_.tick();
                killedLoad_.tick();
            }
            std::this_thread::sleep_until(next);
        }
    }

    // --- Faults ----------------------------------------------------------------------------------

    void fault() {
        ++faults_;
        watchdog_.enter("a fault has been made");
        switch (dice_.roll(3)) {
            case 0:
                killed_.emplace(std::vector<std::string>{CHAOS_PEER, "serve", killedAddress()});
                break;
            case 1:
                killClient();
                break;
            case 2:
                breakNetwork();
                break;
            default:
                stopReading();
                break;
        }
    }
    void killClient() {
        const Process client({CHAOS_PEER, "hold", directory_.address(), std::to_string(faults_)});
        std::this_thread::sleep_for(std::chrono::milliseconds(dice_.roll(1000)));
    }
    void breakNetwork() {
        constexpr std::size_t MOST_BYTES = 2000;
        constexpr Proxy::Then KINDS[] = {Proxy::Then::close, Proxy::Then::halfCloseServer,
                                         Proxy::Then::halfCloseClient, Proxy::Then::blackHole};
        Outcome outcome;
        Proxy proxy(directory_.path("s"), KINDS[dice_.roll(3)], 1 + dice_.roll(MOST_BYTES - 1));
        detail::ClientSettings settings;
        settings.quiet = 50ms;
        settings.pingLimit = 500ms;
        {
            detail::RemoteService client(*Address::parse(proxy.address()), settings);
            for (char const* const path : {"/echo", "/hold/x", "/stream/x", "/echo", "/stream/y"}) {
                ask(client, outcome, path);
            }
            await([&] { return outcome.ends() == 5; });
        }
        wrong_ += outcome.wrong + outcome.living;
    }
    // The proxy stops reading after some bytes, and the streams of the client go on.
    void stopReading() {
        constexpr long STREAMS = 20;
        Outcome outcome;
        Proxy proxy(directory_.path("s"), Proxy::Then::blackHole, 2000);
        {
            detail::RemoteService client(*Address::parse(proxy.address()), {});
            for (long i = 0; i < STREAMS; ++i) {
                ask(client, outcome, "/stream/stalled");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(dice_.roll(2000)));
            proxy.stop();
            await([&] { return outcome.ends() == STREAMS; });
        }
        wrong_ += outcome.wrong + outcome.living;
    }

    // --- Figures ---------------------------------------------------------------------------------

    void report(std::chrono::seconds time) {
        watchdog_.enter("clients of the steady server leave");
        await([this] {
            return descriptorsOf(steady_.id()) <= baseline_.server.descriptors &&
                   descriptorsOf(::getpid()) <= baseline_.clients.descriptors;
        });
        const Figures now = usage();
        figures_.push_back(now);
        const std::vector<double> times = latencies_.take();
        const auto part = [&](std::size_t hundredths) {
            return times.empty() ? 0 : times[(times.size() - 1) * hundredths / 100];
        };
        const std::lock_guard<std::mutex> guard(mutex_);
        const std::size_t silent = steadyLoad_.silentStreams() + killedLoad_.silentStreams();
        silent_ += silent;
        std::printf(
            "| %lld | %ld | %ld | %ld | %ld | %zu | %.1f, %.1f, %.1f | %ld, %ld | %ld, %ld |\n",
            static_cast<long long>(time.count()), steadyLoad_.completed() + killedLoad_.completed(),
            steadyLoad_.lost() + killedLoad_.lost(), steadyLoad_.values() + killedLoad_.values(),
            faults_, silent, part(50), part(99), part(100), now.server.descriptors,
            now.server.kibibytes, now.clients.descriptors, now.clients.kibibytes);
        std::fflush(stdout);
    }
    bool isGood() {
        watchdog_.enter("all requests end");
        await([this] { return steadyLoad_.open() + killedLoad_.open() == 0; });
        bool good = true;
        const auto check = [&](char const* what, long count) {
            std::printf("%s: %ld\n", what, count);
            good = good && count == 0;
        };
        check("requests without one end, and events after an end",
              wrong_ + steadyLoad_.wrong() + killedLoad_.wrong());
        check("streams that ended", steadyLoad_.endedStreams() + killedLoad_.endedStreams());
        check("requests of the steady server that were lost or failed",
              steadyLoad_.lost() + steadyLoad_.failed());
        check("requests of the killed server that failed otherwise than lost",
              killedLoad_.failed());
        check("streams without a value, over all lines", static_cast<long>(silent_));
        check("cancellations of requests that were not pending", numberAt("/strangers") - 200);
        check("growth of the server beyond 10 % and 512 KiB", growth(&Figures::server));
        check("growth of the clients beyond 10 % and 512 KiB", growth(&Figures::clients));
        return good;
    }

    // Returns the status of the answer of the steady server.
    long numberAt(const std::string& path) {
        std::atomic<long> number{-1};
        inspector_->actionRequest(Request("retrieve", path),
                                  std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
                                      [&](const Response& value) {
                                          number = value.getStatusCode();
                                          return false;
                                      },
                                      [](const Response&) {}, [] {}));
        await([&] { return number >= 0; });
        return number;
    }
    Figures usage() {
        const long heap = numberAt("/heap");  // the first call connects
        return {{descriptorsOf(steady_.id()), heap},
                {descriptorsOf(::getpid()), static_cast<long>(::mallinfo2().uordblks / 1024)}};
    }
    // Compares the medians of the second and of the last quarter of the lines. Returns the KiB
    // above the limit, or 0.
    long growth(Usage Figures::*process) const {
        const std::size_t quarter = figures_.size() / 4;
        const auto median = [&](std::size_t first) {
            std::vector<long> sizes;
            for (std::size_t i = first; i < std::min(first + quarter, figures_.size()); ++i) {
                sizes.push_back((figures_[i].*process).kibibytes);
            }
            std::sort(sizes.begin(), sizes.end());
            return sizes.empty() ? 0 : sizes[sizes.size() / 2];
        };
        const long before = median(quarter);
        return std::max(0L, median(figures_.size() - quarter) - before - before / 10 - 512);
    }

    std::string killedAddress() const { return "unix:" + directory_.path("killed"); }

    kova::test::Watchdog watchdog_{"streams begin", 2min};
    Dice dice_;
    SocketDirectory directory_;
    Process steady_{{CHAOS_PEER, "serve", directory_.address()}};
    std::optional<Process> killed_{std::in_place,
                                   std::vector<std::string>{CHAOS_PEER, "serve", killedAddress()}};
    Latencies latencies_;
    std::mutex mutex_;  ///< guards the loads
    Load steadyLoad_{directory_.address(), latencies_};
    Load killedLoad_{killedAddress(), latencies_};
    std::unique_ptr<IKovaApi> inspector_ = connect(directory_.address()).orThrow();
    std::atomic<bool> isStopped_{false};
    std::thread loader_;
    Figures baseline_;
    std::vector<Figures> figures_;
    std::size_t silent_ = 0;
    long faults_ = 0;
    long wrong_ = 0;
};

// --- Short runs ----------------------------------------------------------------------------------

/// One run: a new client opens streams, whose values are requested for 0.2 s.
class ShortRun {
public:
    explicit ShortRun(const std::string& address) : client_(connect(address).orThrow()) {}

    /// Returns the number of streams that have received nothing.
    long run() {
        for (Outcome& stream : streams_) {
            ask(*client_, stream, "/stream/short");
        }
        push();
        std::this_thread::sleep_for(200ms);
        isOver_ = true;
        return std::count_if(std::begin(streams_), std::end(streams_),
                             [](const Outcome& stream) { return stream.values == 0; });
    }
    /// Waits until each stream has received a value.
    void awaitValues() const {
        for (const Outcome& stream : streams_) {
            await([&] { return stream.values != 0; });
        }
    }

private:
    // The completion of a push sends the next one.
    void push() {
        client_->actionRequest(Request("update", "/push"),
                               std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
                                   [](const Response&) { return false; }, [](const Response&) {},
                                   [this] {
                                       if (!isOver_) {
                                           push();
                                       }
                                   }));
    }

    Outcome streams_[10];
    std::atomic<bool> isOver_{false};
    std::unique_ptr<IKovaApi> client_;  // first destroyed: its handlers use the others
};

// Fails by the watchdog if a stream receives nothing for two minutes.
void makeShortRuns(long rounds) {
    kova::test::Watchdog watchdog("a stream waits for its first value", 2min);
    const SocketDirectory directory;
    const Process server({CHAOS_PEER, "serve", directory.address()});
    long late = 0;
    for (long round = 0; round < rounds; ++round) {
        ShortRun run(directory.address());
        late += run.run() == 0 ? 0 : 1;
        run.awaitValues();
        watchdog.progress();
    }
    std::printf(
        "%ld runs; a stream had no value after 0.2 s in %ld of them, and all had one later\n",
        rounds, late);
}

// --- Bad neighbours ------------------------------------------------------------------------------

double median(std::vector<double> numbers) {
    std::sort(numbers.begin(), numbers.end());
    return numbers[numbers.size() / 2];
}

// Returns the processor time that a process has used, in seconds.
double processorTime(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/stat");
    std::string word;
    long ticks = 0;
    for (int field = 1; field <= 15 && status >> word; ++field) {
        ticks += field >= 14 ? std::stol(word) : 0;  // utime, stime
    }
    return static_cast<double>(ticks) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

// Returns whether clients keep 90 % of their pace beside 20 clients that do not read their 20
// streams each, and 20 that send a byte every 10 ms. Their pace is the number of requests in a
// second of the server's processor time, so that other programs on the machine do not count.
bool comparePace(long rounds) {
    const SocketDirectory directory;
    const Process server({CHAOS_PEER, "serve", directory.address()});
    await([&] { return std::filesystem::exists(directory.path("s")); });
    Neighbours neighbours(directory.address());
    std::atomic<bool> isOver{false};
    std::thread pusher([&] {
        while (!isOver) {
            neighbours.push();
            std::this_thread::sleep_for(50ms);
        }
    });
    const auto pace = [&] {
        const double before = processorTime(server.id());
        const long answered = neighbours.answeredIn(3s);
        return static_cast<double>(answered) / (processorTime(server.id()) - before);
    };
    std::vector<double> alone;
    std::vector<double> ratios;
    for (long round = 0; round < rounds; ++round) {
        alone.push_back(pace());
        std::vector<std::unique_ptr<StalledReader>> readers;
        for (int i = 0; i < 20; ++i) {
            readers.push_back(std::make_unique<StalledReader>(directory.path("s")));
        }
        const SlowWriters writers(directory.address());
        std::this_thread::sleep_for(500ms);  // the readers stop
        ratios.push_back(pace() / alone.back());
    }
    isOver = true;
    pusher.join();
    std::printf(
        "%.0f requests a second; beside bad neighbours %.2f of that (median of %ld rounds)\n",
        median(alone) / 2, median(ratios), rounds);
    return median(ratios) >= 0.9;
}

}  // namespace
}  // namespace kova::http::test

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    try {
        if (mode == "short" && argc == 3) {
            kova::http::test::makeShortRuns(std::stol(argv[2]));
            return 0;
        }
        if (mode == "pace" && argc == 3) {
            return kova::http::test::comparePace(std::stol(argv[2])) ? 0 : 1;
        }
        if (argc == 2) {
            return kova::http::test::Soak().run(std::chrono::seconds(std::stol(mode))) ? 0 : 1;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "http_soak: %s\n", error.what());
        return 1;
    }
    std::fputs("usage: http_soak SECONDS | http_soak short|pace ROUNDS\n", stderr);
    return 2;
}
