// Requests, cancellations, lost connections and destructions from several threads: each request has
// at most one end, and one that is not cancelled has exactly one.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/IKovaApi.h"
#include "kova/http/Connect.h"
#include "support/Http2Peer.h"
#include "support/Threads.h"
#include "support/Watchdog.h"
#include "wire/Records.h"

namespace kova::http {
namespace {

using namespace std::chrono_literals;
using test::Http2Peer;

/// Counters for the events and the destructions of the response handlers of a test.
struct Counts {
    std::atomic<int> values{0};
    std::atomic<int> ends{0};
    std::atomic<int> lost{0};
    std::atomic<int> living{0};
    std::atomic<int> late{0};    ///< events after the end
    std::atomic<int> silent{0};  ///< handlers that were destroyed without an end
};

class CountingHandler : public IResponseHandler<Response> {
public:
    CountingHandler(Counts& counts, test::Watchdog& watchdog)
        : counts_(counts), watchdog_(watchdog) {
        ++counts_.living;
    }
    ~CountingHandler() override {
        counts_.silent += hasEnded_ ? 0 : 1;
        --counts_.living;
    }
    CountingHandler(const CountingHandler&) = delete;
    CountingHandler& operator=(const CountingHandler&) = delete;

    bool onNext(const Response&) override {
        ++counts_.values;
        counts_.late += hasEnded_ ? 1 : 0;
        return false;
    }
    void onError(const Response& error) override {
        const std::string text = error.getErrorMessage().value_or("");
        counts_.lost += text.rfind("lost: ", 0) == 0 ? 1 : 0;
        end();
    }
    void onCompleted() override { end(); }

private:
    void end() {
        counts_.late += std::exchange(hasEnded_, true) ? 1 : 0;
        ++counts_.ends;
        watchdog_.progress();
    }

    Counts& counts_;
    test::Watchdog& watchdog_;
    bool hasEnded_ = false;
};

std::string answer() {
    std::string records;
    EXPECT_TRUE(wire::appendEvent(records, wire::RecordKind::next, Response(200), true));
    wire::appendCompleted(records, false);
    return records;
}

/// A thread that serves one connection after the other, and ends each after `requests` answers.
class Server {
public:
    explicit Server(int requests) : requests_(requests) {
        listener_.listen();
        thread_ = std::thread([this] { run(); });
    }
    ~Server() { stop(); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::string address() const { return listener_.address(); }
    /// Ends the thread and waits for it. A last connection ends the wait in `accept`.
    void stop() {
        if (thread_.joinable()) {
            isStopped_ = true;
            const auto last = connect(address());
            (*last)->actionRequest(Request("retrieve", "/"),
                                   std::make_unique<CountingHandler>(ignored_, watchdog_));
            thread_.join();
        }
    }

private:
    void run() {
        while (!isStopped_) {
            Http2Peer peer(listener_.accept());
            try {
                for (int i = 0; i < requests_ && !isStopped_; ++i) {
                    peer.answer(peer.waitForRequest().number, answer());
                }
            } catch (const std::runtime_error&) {
                // The client has closed the connection.
            }
        }
    }

    const int requests_;
    test::Watchdog watchdog_{"the server stops"};
    Counts ignored_;
    test::UnixListener listener_;
    std::atomic<bool> isStopped_{false};
    std::thread thread_;
};

ConnectOptions patient() {
    ConnectOptions options;
    options.patience = 1min;
    return options;
}

TEST(ClientHazardsTest, EachRequestOfManyThreadsEndsOnceWhileConnectionsAreLost) {
    test::Watchdog watchdog{"requests end"};
    Server server(50);
    Counts counts;
    const int requests = 500 * test::stressFactor();
    {
        const auto service = connect(server.address(), patient());
        test::runOnThreads(4, [&](int) {
            for (int i = 0; i < requests; ++i) {
                (*service)->actionRequest(Request("retrieve", "/x"),
                                          std::make_unique<CountingHandler>(counts, watchdog));
            }
        });
        while (counts.ends < 4 * requests) {
            std::this_thread::yield();
        }
    }
    EXPECT_EQ(counts.ends, 4 * requests);
    EXPECT_EQ(counts.living, 0);
    EXPECT_EQ(counts.late + counts.silent, 0);
    EXPECT_GT(counts.values, 0);
    EXPECT_EQ(counts.values + counts.lost, 4 * requests);
}

TEST(ClientHazardsTest, CancelledRequestsAreDestroyedAndAllOthersEnd) {
    test::Watchdog watchdog{"requests end or are destroyed"};
    Server server(50);
    Counts counts;
    const int requests = 500 * test::stressFactor();
    {
        const auto service = connect(server.address(), patient());
        test::runOnThreads(4, [&](int) {
            for (int i = 0; i < requests; ++i) {
                void* const handle = (*service)->actionRequest(
                    Request("retrieve", "/x"), std::make_unique<CountingHandler>(counts, watchdog));
                if (i % 2 == 0) {
                    (*service)->cancelRequest(handle);
                }
            }
        });
        while (counts.living > 0) {
            std::this_thread::yield();
        }
    }
    EXPECT_EQ(counts.ends + counts.silent, 4 * requests);
    EXPECT_GE(counts.ends, 2 * requests);
    EXPECT_EQ(counts.late, 0);
}

TEST(ClientHazardsTest, ClientIsDestroyedWhileAnswersArrive) {
    test::Watchdog watchdog{"clients are destroyed"};
    Server server(1'000'000);
    const int rounds = 100 * test::stressFactor();
    for (int round = 0; round < rounds; ++round) {
        Counts counts;
        {
            const auto service = connect(server.address(), patient());
            for (int i = 0; i < 20; ++i) {
                (*service)->actionRequest(Request("retrieve", "/x"),
                                          std::make_unique<CountingHandler>(counts, watchdog));
            }
            while (counts.ends < round % 20) {
                std::this_thread::yield();
            }
        }
        EXPECT_EQ(counts.living, 0);
        EXPECT_EQ(counts.ends + counts.silent, 20);
        EXPECT_EQ(counts.late + counts.lost, 0);
    }
}

}  // namespace
}  // namespace kova::http
