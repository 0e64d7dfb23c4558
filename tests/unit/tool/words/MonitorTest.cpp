#include "Words.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

#include "tool/MonitorFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

class MonitorTest : public MonitorFixture {
protected:
    std::vector<std::string> lines() const {
        std::vector<std::string> result;
        std::istringstream stream(out);
        for (std::string line; std::getline(stream, line);) {
            result.push_back(line);
        }
        return result;
    }
};

TEST_F(MonitorTest, EachRequestIsALine) {
    EXPECT_EQ(runWhile({"monitor", "--count", "2"},
                       [this] {
                           ask("retrieve", "/greeting/you");
                           ask("delete", "/nowhere");
                       }),
              DONE);
    ASSERT_EQ(lines().size(), 2U);
    EXPECT_THAT(lines()[0], MatchesRegex("\\{\"start\":\"20..-..-..T..:..:.*Z\",\"ms\":.*,"
                                         "\"command\":\"retrieve\",\"path\":\"/greeting/you\","
                                         "\"client\":\"\",\"uid\":.*,\"pid\":.*,\"address\":\"\","
                                         "\"end\":\"completed\",\"code\":200,\"values\":1,"
                                         "\"requestBytes\":0,\"answerBytes\":12\\}"));
    EXPECT_THAT(lines()[1], HasSubstr("\"end\":\"failed\",\"code\":404,\"values\":0"));
    EXPECT_EQ(err, "");
}

TEST_F(MonitorTest, ServiceAtABrokerCannotBeMonitored) {
    EXPECT_EQ(run({"monitor", "nats://broker/device"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("over the Unix socket of the service, on its machine"));
    EXPECT_EQ(run({"record", folder / "a.jsonl", "nats://broker/device"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("over the Unix socket of the service, on its machine"));
}

TEST_F(MonitorTest, FiltersSelectRequests) {
    const auto send = [this] {
        ask("insert", "/tracks", "\"a\"");
        ask("delete", "/nowhere/a");
        ask("update", "/level", "10");
    };
    EXPECT_EQ(runWhile({"monitor", "--path", "/no*/*", "--count", "1"}, send), DONE);
    EXPECT_THAT(out, HasSubstr("\"path\":\"/nowhere/a\""));
    EXPECT_EQ(runWhile({"monitor", "--command", "put", "--count", "1"}, send), DONE);
    EXPECT_THAT(out, HasSubstr("\"path\":\"/level\""));
    for (char const* status : {"4xx", "404", "failed"}) {
        EXPECT_EQ(runWhile({"monitor", "--status", status, "--count", "1"}, send), DONE);
        EXPECT_THAT(out, HasSubstr("\"path\":\"/nowhere/a\""));
    }
}

TEST_F(MonitorTest, OptionSlowerSelectsRequestsByTheirDuration) {
    EXPECT_EQ(runWhile({"monitor", "--slower", "1h", "--path", "/level"},
                       [this] {
                           ask("retrieve", "/level");
                           interrupt();
                       }),
              INTERRUPTED);
    EXPECT_EQ(out, "");
}

TEST_F(MonitorTest, PayloadsAreShownUpToTheLimit) {
    const auto send = [this] { ask("insert", "/tracks", "\"four\""); };
    EXPECT_EQ(runWhile({"monitor", "--payloads", "--count", "1"}, send), DONE);
    EXPECT_THAT(out, HasSubstr(",\"request\":\"four\",\"answer\":\"/tracks/four\"}\n"));
    EXPECT_EQ(runWhile({"monitor", "--payloads", "--limit", "10", "--count", "1"}, send), DONE);
    EXPECT_THAT(out, HasSubstr(",\"request\":\"four\",\"answer\":{\"type\":\"application/json\","
                               "\"omitted\":14}}\n"));
    EXPECT_THAT(out, HasSubstr("\"values\":1,\"requestBytes\":6,\"answerBytes\":14"));
}

TEST_F(MonitorTest, CancelledStreamIsShown) {
    EXPECT_EQ(runWhile({"monitor", "--status", "cancelled", "--count", "1"},
                       [this] {
                           const kit::Client client(service);
                           auto call = client.watch<int>("/level").start();
                           call.reset();
                       }),
              DONE);
    EXPECT_THAT(out, HasSubstr("\"path\":\"/level\""));
    EXPECT_THAT(out, HasSubstr("\"end\":\"cancelled\""));
}

// The service sends a batch of events after 50 ms.
TEST_F(MonitorTest, RequestThatEndsInALaterBatchIsShown) {
    const auto stream = [this] {
        const kit::Client client(service);
        auto call = client.watch<int>("/level").start();
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        call.reset();
    };
    EXPECT_EQ(runWhile({"monitor", "--payloads", "--status", "cancelled", "--count", "1",
                        "--timeout", "60s"},
                       stream),
              DONE);
    EXPECT_THAT(out, HasSubstr("\"path\":\"/level\""));
}

TEST_F(MonitorTest, TerminalShowsShortLines) {
    outIsTerminal = true;
    EXPECT_EQ(runWhile({"monitor", "--count", "1", "--color", "never"},
                       [this] { ask("delete", "/no\x1b[2J\u202Ewhere"); }),
              DONE);
    EXPECT_THAT(out, HasSubstr("  404  delete /no\uFFFD[2J\uFFFDwhere  "));
    EXPECT_THAT(out, Not(HasSubstr("\x1b")));
}

TEST_F(MonitorTest, TimeoutIsAnErrorIfRequestsAreMissing) {
    EXPECT_EQ(runAt({"monitor", "--timeout", "20ms"}), DONE);
    EXPECT_EQ(runAt({"monitor", "--timeout", "20ms", "--count", "1"}), TIMED_OUT);
    EXPECT_EQ(err, "kova: 0 requests within 20 ms\n");
}

TEST_F(MonitorTest, GlobThatIsMalformedIsAUsageError) {
    EXPECT_EQ(runAt({"monitor", "--path", "/{a"}), MISUSED);
    EXPECT_THAT(err, StartsWith("kova: --path: "));
}

// An output that counts the lines, so that another thread can wait for them.
class LineCounter : public std::streambuf {
public:
    std::atomic<long> lines{0};
    std::string text;

protected:
    std::streamsize xsputn(char const* bytes, std::streamsize size) override {
        text.append(bytes, static_cast<std::size_t>(size));
        lines += std::count(bytes, bytes + size, '\n');
        return size;
    }
    int_type overflow(int_type byte) override {
        const char c = traits_type::to_char_type(byte);
        xsputn(&c, 1);
        return byte;
    }
};

TEST_F(MonitorTest, EachOfTenThousandRequestsIsShownOnce) {
    LineCounter counter;
    std::ostream output(&counter);
    std::ostringstream errors;
    std::thread sender([&] {
        awaitMonitor();
        for (long i = 1; i <= 10000; ++i) {
            ask("retrieve", "/level");
            // Waits, because the transport buffers only 256 KiB.
            while (i % 500 == 0 && counter.lines < i) {
                std::this_thread::yield();
            }
            watchdog.progress();
        }
    });
    Context context{{output}, {errors}};
    EXPECT_EQ(runProgram({"monitor", address, "--path", "/level", "--count", "10000"}, context),
              DONE);
    sender.join();
    EXPECT_EQ(counter.lines, 10000);
    EXPECT_THAT(counter.text, Not(HasSubstr("lost")));
}

}  // namespace
}  // namespace kova::tool
