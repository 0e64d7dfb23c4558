#include "Words.h"

#include <gmock/gmock.h>

#include <future>
#include <memory>
#include <string>

#include "kova/kit/Fields.h"
#include "kova/kit/Values.h"
#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

/// The part of the printed result that the tests check.
struct BenchResult {
    std::string loop;
    std::uint64_t answered = 0;
    std::uint64_t open = 0;
    std::uint64_t unsent = 0;
    std::map<std::string, std::uint64_t> errors;
};
KOVA_FIELDS(BenchResult, loop, answered, open, unsent, errors)

class BenchTest : public ToolFixture {
protected:
    BenchResult result() const {
        return kit::fromPayload<BenchResult>(Payload::createFromJSON(out)).orThrow();
    }
};

TEST_F(BenchTest, ClosedLoopIsMeasured) {
    EXPECT_EQ(runAt({"bench", "/level", "--duration", "50ms", "--connections", "3"}), DONE);
    EXPECT_EQ(err, "");
    EXPECT_EQ(result().loop, "closed");
    EXPECT_GE(result().answered, 3U);
    EXPECT_EQ(result().open, 0U);
    EXPECT_THAT(out, HasSubstr("\"connections\":3,\"inFlight\":1,\"seconds\":0.05"));
    EXPECT_THAT(out, HasSubstr("\"p99.9\":"));
}

TEST_F(BenchTest, AnswersOfNearly16MebibytesAreMeasured) {
    const std::string text(std::size_t{16} * 1024 * 1024 - 1024, 'x');
    held.onRequest = [&](std::size_t number) {
        held.answer(number, Response(200, Payload::createFromString(text)));
    };
    EXPECT_EQ(runAt({"bench", "/held", "--duration", "50ms", "--deadline", "0", "--connections=1"}),
              DONE)
        << err;
}

TEST_F(BenchTest, AnswersOf16MebibytesAreRefused) {
    const std::string text(std::size_t{16} * 1024 * 1024, 'x');
    held.onRequest = [&](std::size_t number) {
        held.answer(number, Response(200, Payload::createFromString(text)));
    };
    EXPECT_EQ(runAt({"bench", "/held", "--duration", "50ms", "--deadline", "0"}), FAILED);
    EXPECT_THAT(err, StartsWith("kova: 502 "));
}

TEST_F(BenchTest, OpenLoopSendsAtTheRate) {
    EXPECT_EQ(runAt({"bench", "/level", "--duration", "100ms", "--rate", "100"}), DONE);
    EXPECT_EQ(result().loop, "open");
    EXPECT_EQ(result().answered + result().unsent, 10U);
    EXPECT_THAT(out, HasSubstr("\"inFlight\":64,"));
}

TEST_F(BenchTest, OptionCommandSendsAPayloadWithTheRequest) {
    EXPECT_EQ(runAt({"bench", "/level", "--command", "put", "--data", "41", "--duration", "20ms"}),
              DONE);
    EXPECT_EQ(service.level.get(), 41);
    EXPECT_EQ(runAt({"bench", "/level", "--command", "put", "--data", "{", "--duration", "20ms"}),
              MISUSED);
    EXPECT_THAT(err, StartsWith("kova: the payload is not JSON"));
}

TEST_F(BenchTest, FirstRequestThatFailsIsReported) {
    EXPECT_EQ(runAt({"bench", "/nowhere"}), REFUSED);
    EXPECT_EQ(out, "");
    EXPECT_THAT(err, StartsWith("kova: 404 Not Found"));
    EXPECT_EQ(run({"bench", "/level", "--to", "unix:" + folder / "none"}), NO_SERVICE);
    EXPECT_EQ(runAt({"bench", "/held", "--deadline", "2s"}), TIMED_OUT);
    EXPECT_THAT(err, StartsWith("kova: "));
}

TEST_F(BenchTest, ErrorsAreCountedByCode) {
    held.onRequest = [this](std::size_t number) {
        if (number == 1) {
            held.answer(number, Response(200, Payload::createFromJSON("1")));
        } else {
            held.take(number)->onError(Response::createErrorResponse(429, "slow down"));
        }
    };
    EXPECT_EQ(runAt({"bench", "/held", "--duration", "30ms"}), REFUSED);
    EXPECT_EQ(result().answered, 0U);
    EXPECT_GE(result().errors["429"], 1U);
    EXPECT_THAT(out, Not(HasSubstr("latencyUs")));
    EXPECT_THAT(err, HasSubstr("the service answered with errors"));
}

TEST_F(BenchTest, RequestsWithoutAnAnswerAreReported) {
    held.onRequest = [this](std::size_t number) {
        if (number == 1) {
            held.answer(number, Response(200, Payload::createFromJSON("1")));
        }
    };
    EXPECT_EQ(runAt({"bench", "/held", "--duration", "20ms", "--deadline", "2s"}), TIMED_OUT);
    EXPECT_EQ(result().open, 1U);
    EXPECT_THAT(err, HasSubstr("1 requests were not answered"));
}

TEST_F(BenchTest, InterruptPrintsWhatWasMeasured) {
    const auto interrupted = std::make_shared<std::promise<void>>();
    held.onRequest = [this, interrupted](std::size_t number) {
        if (number < 5) {
            held.answer(number, Response(200, Payload::createFromJSON("1")));
        } else {
            interrupt();
            interrupted->set_value();
        }
    };
    EXPECT_EQ(runAt({"bench", "/held", "--duration", "1h"}), INTERRUPTED);
    EXPECT_EQ(result().answered, 3U);
    EXPECT_EQ(result().open, 1U);
    interrupted->get_future().wait();  // the thread of the service no longer uses the pipe
}

TEST_F(BenchTest, TerminalShowsATable) {
    outIsTerminal = true;
    size = [] { return Screen::Size{20, 24}; };
    EXPECT_EQ(runAt({"bench", "/level", "--duration", "30ms"}), DONE);
    EXPECT_THAT(out, StartsWith("loop      closed: a…\n"));
    EXPECT_THAT(out, HasSubstr("\np99.9     "));
    EXPECT_THAT(out, HasSubstr("\nrate      "));
}

TEST_F(BenchTest, UsageErrorsAreReported) {
    for (const char* option :
         {"--connections=0", "--connections=1001", "--in-flight=0", "--in-flight=10001", "--rate=0",
          "--rate=-1", "--duration=0", "--duration=some", "--command=watch"}) {
        EXPECT_EQ(runAt({"bench", "/level", option}), MISUSED) << option;
    }
}

}  // namespace
}  // namespace kova::tool
