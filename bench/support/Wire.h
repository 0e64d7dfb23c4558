#pragma once

#include <benchmark/benchmark.h>
#include <sys/types.h>
#include <time.h>

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// Benchmarks between two processes: servers that run in processes of their own, and contestants
/// that measure the processor time of both sides.
namespace kova::bench {

/// The size of the payload of each request and answer, in bytes.
constexpr std::size_t WIRE_BYTES = 100;
inline std::string wirePayload() {
    return std::string(WIRE_BYTES, 'x');
}

/// The number of requests that are pending at the same time in the cases "64 in flight".
constexpr std::size_t WIRE_FLIGHT = 64;
/// The number of streams in the cases with many streams.
constexpr std::size_t WIRE_STREAMS = 1000;

/// A server on a Unix socket, in a process of its own. `startAll` starts the process.
class WireServer {
public:
    /// Serves until the process is killed.
    using Serve = std::function<void(const std::string& path)>;

    /// Registers the server, a static object, for `startAll`. `name` is the file name of the
    /// socket.
    WireServer(std::string name, Serve serve)
        : WireServer(std::move(name), std::move(serve), nullptr) {}
    /// The same for a server whose requests pass another process: its time counts, too.
    WireServer(std::string name, Serve serve, const WireServer& between)
        : WireServer(std::move(name), std::move(serve), &between) {}
    WireServer(const WireServer&) = delete;
    WireServer& operator=(const WireServer&) = delete;

    const std::string& path() const noexcept { return path_; }
    /// Returns the processor time that the server, the process between and this process have used,
    /// in seconds.
    double processorTime() const;
    pid_t process() const noexcept { return process_; }

    /// Starts the servers in the folder, and waits until they accept connections. Called before
    /// the first thread is started.
    static void startAll(const std::string& folder);
    /// Ends the servers.
    static void stopAll();

private:
    WireServer(std::string name, Serve serve, WireServer const* between);
    static std::vector<WireServer*>& all();
    void start(const std::string& folder);

    const std::string name_;
    const Serve serve_;
    WireServer const* const between_;
    std::string path_;
    pid_t process_ = 0;
    clockid_t clock_ = 0;
};

/// Returns a blocking socket that is connected to a Unix socket. Ends the process on failure.
int connectTo(const std::string& path);
/// Returns a TCP port of the loopback interface that was free a moment ago.
int freePort();
/// Returns a listening Unix socket. Ends the process on failure.
int listenAt(const std::string& path);
/// Prints `what` and the error of the latest system call and ends the process if `isGood` is false.
void require(bool isGood, char const* what);

/// Registers a contestant. `make()` returns a function that does `batch` calls. The time of a call
/// is the processor time of both processes. On one core, that is the wall-clock time without the
/// load of other processes.
template <typename Make>
benchmark::internal::Benchmark* wireContest(const std::string& caseName,
                                            const std::string& contestant, const WireServer& server,
                                            std::size_t batch, Make make) {
    return benchmark::RegisterBenchmark(
               (caseName + "/" + contestant).c_str(),
               [make, batch, &server](benchmark::State& state) {
                   auto work = make();
                   work(batch);  // connects, and fills the caches of both sides
                   while (state.KeepRunningBatch(static_cast<std::int64_t>(batch))) {
                       const double before = server.processorTime();
                       work(batch);
                       state.SetIterationTime(server.processorTime() - before);
                   }
               })
        ->UseManualTime();
}

}  // namespace kova::bench
