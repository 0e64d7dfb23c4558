#include "Words.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>

#include "kova/core/RequestInfo.h"
#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class WatchTest : public ToolFixture {
protected:
    /// Sends these values to each watched path below "/held".
    void answerWith(const std::vector<std::string>& values) {
        held.onRequest = [this, values](std::size_t number) {
            for (const std::string& value : values) {
                held[number].onNext(Response(299, Payload::createFromJSON(value)));
            }
        };
    }
    /// Watches until the timeout, with longer and longer timeouts until `output` contains the text.
    /// Returns the exit status.
    int watchUntil(const std::string& output, char const* text,
                   const std::vector<std::string>& words) {
        std::vector<std::string> all = {"watch", "--timeout", ""};
        all.insert(all.end(), words.begin(), words.end());
        for (int timeout = 60;; timeout *= 4) {
            all[2] = std::to_string(timeout) + "ms";
            const int status = runAt(all);
            if (output.find(text) != std::string::npos || timeout > 60'000) {
                return status;
            }
        }
    }
};

TEST_F(WatchTest, EachValueIsALine) {
    answerWith({"{\n\"a\": 1}", "2", "3"});
    EXPECT_EQ(runAt({"watch", "/held", "--count", "2"}), DONE);
    EXPECT_EQ(out, "{\"a\":1}\n2\n");
    EXPECT_EQ(err, "");
    held.waitForCancelled(1);
}

TEST_F(WatchTest, WatchRequestsAStream) {
    answerWith({"1"});
    EXPECT_EQ(runAt({"watch", "/held", "--count", "1"}), DONE);
    EXPECT_EQ(RequestInfo(held.request(1)).getClientId(), "kova");
    EXPECT_THAT(held.request(1).toString(), HasSubstr(headers::PERSISTENT_STREAM));
}

TEST_F(WatchTest, LinesOfSeveralPathsNameThePath) {
    held.onRequest = [this](std::size_t number) {
        const std::string value = held.request(number).getPath() == "/held/a" ? "1" : "2";
        held[number].onNext(Response(299, Payload::createFromJSON(value)));
    };
    EXPECT_EQ(runAt({"watch", "/held/a", "/held/b", "--count", "2"}), DONE);
    EXPECT_THAT(out, HasSubstr("{\"path\":\"/held/a\",\"value\":1}\n"));
    EXPECT_THAT(out, HasSubstr("{\"path\":\"/held/b\",\"value\":2}\n"));
}

TEST_F(WatchTest, TimeoutIsAnErrorIfValuesAreMissing) {
    answerWith({"1"});
    EXPECT_EQ(watchUntil(out, "1\n", {"/held"}), DONE);
    EXPECT_EQ(out, "1\n");
    EXPECT_EQ(watchUntil(err, "kova: 1 values within ", {"/held", "--count", "2"}), TIMED_OUT);
    EXPECT_THAT(err, testing::MatchesRegex("kova: 1 values within [0-9.]+ m?s\n"));
    answerWith({});
    EXPECT_EQ(runAt({"watch", "/held", "--timeout", "60ms"}), TIMED_OUT);
}

TEST_F(WatchTest, InterruptCancelsTheStreams) {
    held.onRequest = [this](std::size_t number) {
        if (number == 2) {
            interrupt();
        }
    };
    EXPECT_EQ(runAt({"watch", "/held/a", "/held/b"}), INTERRUPTED);
    held.waitForCancelled(2);
}

TEST_F(WatchTest, WatchEndsWithTheLastStream) {
    held.onRequest = [this](std::size_t number) {
        held.answer(number, Response(200, Payload::createFromJSON("7")));
    };
    EXPECT_EQ(runAt({"watch", "/held"}), DONE);
    EXPECT_EQ(out, "7\n");
}

TEST_F(WatchTest, FailedStreamDoesNotEndTheOthers) {
    answerWith({"1"});
    EXPECT_EQ(watchUntil(out, "1}\n", {"/nowhere", "/held"}), REFUSED);
    EXPECT_EQ(out, "{\"path\":\"/held\",\"value\":1}\n");
    EXPECT_THAT(err, StartsWith("kova: 404 Not Found: path '/nowhere' not found"));
}

TEST_F(WatchTest, MissingServiceGivesExitStatusThree) {
    EXPECT_EQ(run({"watch", "/level", "--to", "unix:" + folder / "none"}), NO_SERVICE);
    EXPECT_THAT(err, StartsWith("kova: no connection to unix:"));
}

TEST_F(WatchTest, UsageErrorsAreReported) {
    EXPECT_EQ(run({"watch", "/level"}), MISUSED);
    EXPECT_EQ(run({"watch"}), MISUSED);
    EXPECT_EQ(runAt({"watch", "/level", "--count", "some"}), MISUSED);
}

TEST_F(WatchTest, TerminalShowsATable) {
    held.onRequest = [this](std::size_t number) {
        if (number == 2) {
            held[1].onNext(Response(299, Payload::createFromJSON("\"first value of a\"")));
            held[2].onNext(Response(299, Payload::createFromJSON("22")));
        }
    };
    outIsTerminal = true;
    size = [] { return Screen::Size{20, 24}; };
    EXPECT_EQ(runAt({"watch", "/held/a", "/held/b", "--count", "2"}), DONE);
    EXPECT_THAT(out, HasSubstr("\r\x1b[K/held/a  \"first va…\n"));
    EXPECT_THAT(out, EndsWith("\r\x1b[K/held/b  22\n\x1b[J"));
}

TEST_F(WatchTest, TableShowsTheErrorOfAStream) {
    held.onRequest = [this](std::size_t number) {
        held[number].onNext(Response(299, Payload::createFromJSON("1")));
    };
    outIsTerminal = true;
    EXPECT_EQ(watchUntil(out, "/nowhere  404 ", {"/nowhere", "/held"}), REFUSED);
    EXPECT_THAT(out, HasSubstr("\r\x1b[K/nowhere  404 Not Found: path '/nowhere' not found"));
    EXPECT_EQ(err, "");
}

}  // namespace
}  // namespace kova::tool
