// Costs of streams between two processes: the memory of an open stream, the pace of the slowest
// stream, and the cost of a reader that stops, for the server and for the other readers.
#include <fmt/format.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kova/http/Connect.h"
#include "support/Wire.h"
#include "support/WireService.h"

namespace kova::bench {

namespace {

WireServer server("kova", serveWireService);

/// Returns the resident anonymous memory of a process, in bytes.
double memoryOf(pid_t process) {
    std::ifstream status(fmt::format("/proc/{}/status", process));
    double kibibytes = 0;
    for (std::string word; status >> word;) {
        if (word == "RssAnon:") {
            status >> kibibytes;
        }
    }
    return kibibytes * 1024;
}

/// Counts the values of a stream. Blocks after `stopAt` values until `goOn` is set.
class Reader final : public IResponseHandler<Response> {
public:
    Reader(std::atomic<std::size_t>& count, std::shared_future<void> goOn, std::size_t stopAt)
        : count_(count), goOn_(std::move(goOn)), stopAt_(stopAt) {}
    bool onNext(const Response&) override {
        if (++count_ == stopAt_) {
            goOn_.wait();
        }
        return false;
    }
    void onError(const Response&) override { require(false, "kova: error"); }
    void onCompleted() override {}

private:
    std::atomic<std::size_t>& count_;
    const std::shared_future<void> goOn_;
    const std::size_t stopAt_;
};

/// A client with streams.
class Client {
public:
    ~Client() { goOn_.set_value(); }

    /// Opens streams, and waits for their first values.
    void open(std::size_t streams, const std::string& path, std::size_t stopAt = SIZE_MAX) {
        for (std::size_t i = 0; i < streams; ++i) {
            counts_.push_back(std::make_unique<std::atomic<std::size_t>>(0));
            service_->actionRequest(Request("retrieve", path),
                                    std::make_unique<Reader>(*counts_.back(), mayGoOn_, stopAt));
        }
        waitFor(1);
    }
    /// Makes the service send values to all streams of all clients.
    void send(std::size_t values) {
        service_->actionRequest(
            Request("update", WIRE_STREAM, Payload::createFromString(std::to_string(values))),
            std::make_unique<Reader>(answers_, mayGoOn_, SIZE_MAX));
    }
    void waitFor(std::size_t values) const {
        while (slowest() < values) {
            std::this_thread::yield();
        }
    }
    std::size_t slowest() const {
        std::size_t least = SIZE_MAX;
        for (const auto& count : counts_) {
            least = std::min(least, count->load());
        }
        return least;
    }
    std::size_t fastest() const {
        std::size_t most = 0;
        for (const auto& count : counts_) {
            most = std::max(most, count->load());
        }
        return most;
    }

private:
    std::promise<void> goOn_;
    const std::shared_future<void> mayGoOn_ = goOn_.get_future().share();
    std::vector<std::unique_ptr<std::atomic<std::size_t>>> counts_;
    std::atomic<std::size_t> answers_{0};
    // Last, so that it is destroyed before the counts.
    std::unique_ptr<IKovaApi> service_ = *http::connect("unix:" + server.path());
};

void measureOpenStreams() {
    constexpr std::size_t STREAMS = 1000;
    Client first;
    first.open(STREAMS, WIRE_STREAM);  // allocates the memory that later streams use, too
    const double serverBefore = memoryOf(server.process());
    const double clientBefore = memoryOf(::getpid());
    Client second;
    Client third;
    second.open(STREAMS, WIRE_STREAM);
    third.open(STREAMS, WIRE_STREAM);
    fmt::print("| open stream, server | {:.0f} bytes |\n",
               (memoryOf(server.process()) - serverBefore) / (2 * STREAMS));
    fmt::print("| open stream, client | {:.0f} bytes |\n",
               (memoryOf(::getpid()) - clientBefore) / (2 * STREAMS));
}

void openEventStream(std::vector<int>& sockets) {
    const std::string request = std::string("GET ") + WIRE_STREAM +
                                " HTTP/1.1\r\nHost: localhost\r\nAccept: text/event-stream\r\n\r\n";
    sockets.push_back(connectTo(server.path()));
    ::send(sockets.back(), request.data(), request.size(), MSG_NOSIGNAL);
    std::string answer;
    while (answer.find("event: next") == std::string::npos) {
        char bytes[4096];
        const ssize_t count = ::recv(sockets.back(), bytes, sizeof bytes, 0);
        require(count > 0, "event stream");
        answer.append(bytes, static_cast<std::size_t>(count));
    }
}

void measureEventStreams() {
    std::vector<int> sockets;
    while (sockets.size() < 50) {
        openEventStream(sockets);
    }
    const double before = memoryOf(server.process());
    while (sockets.size() < 200) {
        openEventStream(sockets);
    }
    fmt::print("| open stream of server-sent events, server | {:.0f} bytes |\n",
               (memoryOf(server.process()) - before) / 150);
    for (const int socket : sockets) {
        ::close(socket);
    }
}

// Compares the streams when the fastest one has received half of its values.
void measureFairness() {
    constexpr std::size_t VALUES = 2000;
    Client client;
    client.open(WIRE_STREAMS, WIRE_STREAM);
    Client control;
    control.open(1, WIRE_STREAM);
    control.send(VALUES);
    while (client.fastest() < VALUES / 2) {
        std::this_thread::yield();
    }
    fmt::print("| slowest of 1 000 streams | {:.2f} of the fastest |\n",
               static_cast<double>(client.slowest()) / static_cast<double>(client.fastest()));
    client.waitFor(VALUES + 1);
}

/// Returns the processor time of the server and this process for one value of a reader, while a
/// second reader stops after `stopAt` values. Sets `memory` to the growth of the server's memory.
double timeBeside(std::size_t stopAt, double& memory) {
    constexpr std::size_t VALUES = 200'000;
    Client reading;
    reading.open(1, WIRE_STREAM);
    Client other;
    other.open(1, std::string(WIRE_STREAM) + "/latest", stopAt);
    const double memoryBefore = memoryOf(server.process());
    const double before = server.processorTime();
    reading.send(VALUES);
    while (reading.fastest() < VALUES + 1) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    memory = memoryOf(server.process()) - memoryBefore;
    return (server.processorTime() - before) / VALUES;
}

void measureStoppedReader() {
    double ignored = 0;
    double memory = 0;
    timeBeside(SIZE_MAX, ignored);  // allocates the memory that the server keeps
    const double together = timeBeside(SIZE_MAX, ignored);
    const double alone = timeBeside(2, memory);
    fmt::print("| reader that stops, server | {:.0f} bytes |\n", memory);
    fmt::print("| pace of a reader beside it | {:.2f} of that beside one that reads |\n",
               together / alone);
}

}  // namespace

}  // namespace kova::bench

int main() {
    using namespace kova::bench;
    std::string folder = "/tmp/kova-wire-XXXXXX";
    require(::mkdtemp(folder.data()) != nullptr, "mkdtemp");
    WireServer::startAll(folder);
    measureStoppedReader();
    measureFairness();
    measureOpenStreams();
    measureEventStreams();
    WireServer::stopAll();
    ::rmdir(folder.c_str());
}
