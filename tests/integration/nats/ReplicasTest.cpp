// Servers of the same service path in processes of their own, one of which is killed or frozen.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/headers.h"
#include "kova/nats/Connect.h"
#include "kova/testing/Recording.h"
#include "support/Broker.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using namespace std::chrono_literals;
using testing::Recording;
using Events = Recording::Events;
using Clock = std::chrono::steady_clock;

constexpr auto HEARTBEAT = 500ms;
constexpr std::size_t WATCHERS = 50;
constexpr char const* SILENT = "error 503 lost: the server of '/device' is silent";

/// A process that serves "/device", and the lines that it has written.
class Replica {
public:
    /// Waits until the process serves.
    Replica(const Broker& broker, const std::string& name, const std::string& mode) {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        output_ = ::fdopen(ends[0], "r");
        start({NATS_REPLICA, broker.url(), name, mode}, ends[1]);
        ::close(ends[1]);
        waitFor("serving");
    }
    ~Replica() {
        kill();
        std::fclose(output_);
    }
    Replica(const Replica&) = delete;
    Replica& operator=(const Replica&) = delete;

    /// Waits until the process has written a line once more.
    void waitFor(const std::string& line) {
        do {
            if (!readLine()) {
                throw std::runtime_error("the replica has ended before '" + line + "'");
            }
        } while (lines_.back() != line);
    }
    /// Returns how often a line is among those that were read.
    std::ptrdiff_t count(const std::string& line) const {
        return std::count(lines_.begin(), lines_.end(), line);
    }
    /// Kills the process, and reads the lines that it has written.
    void kill() {
        if (process_ > 0) {
            ::kill(process_, SIGKILL);
            ::waitpid(std::exchange(process_, -1), nullptr, 0);
            while (readLine()) {
            }
        }
    }
    void freeze() const { ::kill(process_, SIGSTOP); }
    void thaw() const { ::kill(process_, SIGCONT); }

private:
    void start(const std::vector<std::string>& arguments, int output) {
        std::vector<char*> words;
        words.reserve(arguments.size() + 1);
        for (const std::string& argument : arguments) {
            words.push_back(const_cast<char*>(argument.c_str()));
        }
        words.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        const int error =
            ::posix_spawn(&process_, words[0], &actions, nullptr, words.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        if (error != 0) {
            throw std::runtime_error("cannot start " + arguments[0]);
        }
    }
    bool readLine() {
        std::array<char, 256> line{};
        if (std::fgets(line.data(), line.size(), output_) == nullptr) {
            return false;
        }
        lines_.emplace_back(line.data());
        lines_.back().pop_back();  // the line feed
        return true;
    }

    std::FILE* output_ = nullptr;
    pid_t process_ = -1;
    std::vector<std::string> lines_;
};

Request subscription() {
    Request request("retrieve", "/stream");
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    return request;
}

/// A replica that gets all requests, because the other one starts later, and two clients.
class NatsReplicasTest : public ::testing::Test {
protected:
    NatsReplicasTest() {
        first.emplace(broker, "first", "hold");
        nats::ConnectOptions options;
        options.broker.heartbeat = HEARTBEAT;
        options.patience = 20s;
        plain = nats::connect(broker.url(), "/device", "", options).orThrow();
        options.retriesRetrievals = true;
        options.resubscribes = true;
        repeating = nats::connect(broker.url(), "/device", "", options).orThrow();
    }

    static Recording send(IKovaApi& client, const Request& request) {
        Recording recording;
        client.actionRequest(request, recording.handler());
        return recording;
    }
    /// Sends a request that the first replica does not answer.
    Recording sendHeld(IKovaApi& client, const std::string& command) {
        Recording recording = send(client, Request(command, "/held"));
        first->waitFor(command + " /held");
        return recording;
    }
    void startSecond() { second.emplace(broker, "second", "answer"); }
    /// Lets the second replica send the next value of its streams.
    void update() {
        const auto client = nats::connect(broker.url(), "/device", "second").orThrow();
        EXPECT_EQ(send(*client, Request("update", "/value")).waitFor(1), Events{"completed"});
    }

    Watchdog watchdog{"replicas are killed"};
    Broker broker;
    std::optional<Replica> first;
    std::optional<Replica> second;
    std::unique_ptr<IKovaApi> plain;
    std::unique_ptr<IKovaApi> repeating;
};

TEST_F(NatsReplicasTest, WatcherOfAKilledReplicaIsLostWithinTwoHeartbeats) {
    const Recording watcher = send(*plain, subscription());
    watcher.waitFor(1);
    startSecond();
    const auto begun = Clock::now();
    first->kill();
    EXPECT_EQ(watcher.waitFor(2), (Events{"value 299 first", SILENT}));
    const auto duration =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begun);
    RecordProperty("milliseconds", std::to_string(duration.count()));
    EXPECT_LT(duration, 2 * HEARTBEAT + 1s);  // a second for a machine that is busy
    EXPECT_TRUE(watcher.waitUntilDestroyed());
    EXPECT_EQ(watcher.events().size(), 2U);
}

TEST_F(NatsReplicasTest, WatchersOfAKilledReplicaGoOnAtTheOtherOne) {
    std::vector<Recording> watchers;
    for (std::size_t i = 0; i < WATCHERS; ++i) {
        watchers.push_back(send(*repeating, subscription()));
        watchers.back().waitFor(1);
    }
    startSecond();
    first->kill();
    for (const Recording& watcher : watchers) {
        EXPECT_EQ(watcher.waitFor(2), (Events{"value 299 first", "value 299 second"}));
    }
    update();
    for (const Recording& watcher : watchers) {
        EXPECT_EQ(watcher.waitFor(3),
                  (Events{"value 299 first", "value 299 second", "value 299 second next"}));
    }
}

// The watcher is subscribed again while no replica is there.
TEST_F(NatsReplicasTest, WatcherWaitsForAReplica) {
    const Recording watcher = send(*repeating, subscription());
    watcher.waitFor(1);
    const Recording other = sendHeld(*plain, "retrieve");
    first->kill();
    EXPECT_EQ(other.waitFor(1), Events{SILENT});
    EXPECT_EQ(send(*plain, Request("retrieve", "/x")).waitFor(1),
              Events{"error 503 no server of '/device'"});
    startSecond();
    EXPECT_EQ(watcher.waitFor(2), (Events{"value 299 first", "value 299 second"}));
}

TEST_F(NatsReplicasTest, ChangeOfAKilledReplicaIsLostOnceAndNotExecutedTwice) {
    const Recording watcher = send(*repeating, subscription());
    const Recording change = sendHeld(*repeating, "insert");
    startSecond();
    first->kill();
    EXPECT_EQ(change.waitFor(1), Events{SILENT});
    EXPECT_TRUE(change.waitUntilDestroyed());
    watcher.waitFor(2);  // the client has sent again what it sends again
    EXPECT_EQ(send(*repeating, Request("insert", "/other")).waitFor(2),
              (Events{"value 200 second", "completed"}));
    second->waitFor("insert /other");
    EXPECT_EQ(first->count("insert /held"), 1);
    EXPECT_EQ(second->count("insert /held"), 0);
    EXPECT_EQ(change.events(), Events{SILENT});
}

TEST_F(NatsReplicasTest, RetrievalOfAKilledReplicaIsAnsweredByTheOtherOne) {
    const Recording retrieval = sendHeld(*repeating, "retrieve");
    const Recording plainRetrieval = sendHeld(*plain, "retrieve");
    startSecond();
    first->kill();
    EXPECT_EQ(retrieval.waitFor(2), (Events{"value 200 second", "completed"}));
    EXPECT_EQ(plainRetrieval.waitFor(1), Events{SILENT});
    EXPECT_TRUE(retrieval.waitUntilDestroyed());
    EXPECT_EQ(retrieval.events().size(), 2U);
}

// The broker goes on to send requests to the frozen replica, so the watcher may need several
// attempts.
TEST_F(NatsReplicasTest, WatcherLeavesAFrozenReplica) {
    const Recording watcher = send(*repeating, subscription());
    watcher.waitFor(1);
    startSecond();
    first->freeze();
    EXPECT_EQ(watcher.waitFor(2), (Events{"value 299 first", "value 299 second"}));
    first->thaw();
    first->waitFor("cancelled");
    update();
    EXPECT_EQ(watcher.waitFor(3),
              (Events{"value 299 first", "value 299 second", "value 299 second next"}));
}

}  // namespace
}  // namespace kova::test
