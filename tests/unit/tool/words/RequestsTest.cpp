#include "Words.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>

#include "kova/core/StatusCodes.h"
#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class RequestsTest : public ToolFixture {};

TEST_F(RequestsTest, GetPrintsOnlyThePayload) {
    EXPECT_EQ(runAt({"get", "/level"}), DONE);
    EXPECT_EQ(out, "30\n");
    EXPECT_EQ(err, "");
}

TEST_F(RequestsTest, ServiceComesFromTheEnvironment) {
    ::setenv("KOVA_SERVICE", address.c_str(), 1);
    EXPECT_EQ(run({"get", "/level"}), DONE);
    EXPECT_EQ(out, "30\n");
}

TEST_F(RequestsTest, ServiceAddressMayBeFollowedByADollarSignAndAPath) {
    EXPECT_EQ(run({"get", address + "$/greeting/you"}), DONE);
    EXPECT_EQ(out, "\"Hello, you\"\n");
}

TEST_F(RequestsTest, PutChangesAValue) {
    EXPECT_EQ(runAt({"put", "/level", "40"}), DONE);
    EXPECT_EQ(out, "");
    EXPECT_EQ(service.level.get(), 40);
}

TEST_F(RequestsTest, PayloadMayBeginWithADash) {
    EXPECT_EQ(runAt({"put", "/level", "-5"}), DONE);
    EXPECT_EQ(service.level.get(), -5);
}

TEST_F(RequestsTest, PutReadsStandardInput) {
    writeInput(" 41\n");
    EXPECT_EQ(runAt({"put", "/level", "-"}), DONE);
    EXPECT_EQ(service.level.get(), 41);
}

TEST_F(RequestsTest, PutReadsAFile) {
    test::writeFile(folder / "level", "42");
    EXPECT_EQ(runAt({"put", "/level", "--file", folder / "level"}), DONE);
    EXPECT_EQ(service.level.get(), 42);
}

TEST_F(RequestsTest, PutConvertsToTheBinaryFormat) {
    EXPECT_EQ(runAt({"put", "/level", "43", "--binary"}), DONE);
    EXPECT_EQ(service.level.get(), 43);
}

TEST_F(RequestsTest, PutNeedsAPayload) {
    EXPECT_EQ(runAt({"put", "/level"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("put needs a payload"));
}

TEST_F(RequestsTest, TextThatIsNotJsonIsNotSent) {
    EXPECT_EQ(runAt({"put", "/level", "{\"a\": x}"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("not JSON"));
    EXPECT_THAT(err, HasSubstr("(byte 6)"));
    EXPECT_EQ(service.level.get(), 30);
}

TEST_F(RequestsTest, InsertPrintsThePathOfTheNewResource) {
    EXPECT_EQ(runAt({"insert", "/tracks", "\"blue\"", "--header"}), DONE);
    EXPECT_EQ(out, "\"/tracks/blue\"\n");
    EXPECT_THAT(err, StartsWith("201 Created\n"));
    EXPECT_THAT(err, HasSubstr("payload: application/json, 14 bytes\n"));
}

TEST_F(RequestsTest, DeleteRemovesAResource) {
    EXPECT_EQ(runAt({"delete", "/tracks/1"}), DONE);
    EXPECT_EQ(out, "");
}

TEST_F(RequestsTest, RefusedRequestGivesExitStatusFour) {
    EXPECT_EQ(runAt({"put", "/level", "101"}), REFUSED);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "kova: 400 Bad Request: the level is at most 100\n");
}

TEST_F(RequestsTest, FailedRequestGivesExitStatusFive) {
    held.onRequest = [this](std::size_t number) {
        held[number].onError(Response::createErrorResponse(503, "too hot"));
    };
    EXPECT_EQ(runAt({"get", "/held"}), FAILED);
    EXPECT_EQ(err, "kova: 503 Service Unavailable: too hot\n");
}

TEST_F(RequestsTest, MissingServiceGivesExitStatusThree) {
    EXPECT_EQ(run({"get", "/level", "--to", "unix:" + folder / "none", "--deadline", "0"}),
              NO_SERVICE);
    EXPECT_THAT(err, StartsWith("kova: no connection to unix:"));
    EXPECT_THAT(err, HasSubstr("start the service, or name another one with --to"));
}

TEST_F(RequestsTest, MissingServiceIsReportedBeforeAShortDeadline) {
    EXPECT_EQ(run({"get", "/level", "--to", "unix:" + folder / "none", "--deadline", "900ms"}),
              NO_SERVICE);
}

TEST_F(RequestsTest, ServiceThatEndsDuringARequestGivesExitStatusThreeOrFive) {
    std::thread stopping;
    held.onRequest = [&](std::size_t) {
        stopping = std::thread([this] { endpoint.stop(std::chrono::milliseconds(0)); });
    };
    const int status = runAt({"get", "/held"});
    stopping.join();
    EXPECT_TRUE(status == NO_SERVICE || status == FAILED) << status;
}

TEST_F(RequestsTest, RequestToASilentServiceEndsAtItsDeadline) {
    EXPECT_EQ(runAt({"get", "/held", "--deadline", "2s"}), TIMED_OUT);
    EXPECT_THAT(err, HasSubstr("--deadline 2m waits longer"));
}

TEST_F(RequestsTest, InterruptCancelsTheRequestAtTheService) {
    held.onRequest = [this](std::size_t) { interrupt(); };
    EXPECT_EQ(runAt({"get", "/held"}), INTERRUPTED);
    EXPECT_EQ(err, "kova: cancelled\n");
    held.waitForCancelled(1);
}

TEST_F(RequestsTest, GetEndsAStreamAfterItsFirstValue) {
    held.onRequest = [this](std::size_t number) {
        held[number].onNext(Response(299, Payload::createFromJSON("1")));
        held[number].onNext(Response(299, Payload::createFromJSON("2")));
    };
    EXPECT_EQ(runAt({"get", "/held"}), DONE);
    EXPECT_EQ(out, "1\n");
    held.waitForCancelled(1);
}

TEST_F(RequestsTest, InsertPrintsTheLastValue) {
    held.onRequest = [this](std::size_t number) {
        held[number].onNext(Response(200, Payload::createFromJSON("1")));
        held.answer(number, Response(201, Payload::createFromJSON("2")));
    };
    EXPECT_EQ(runAt({"insert", "/held"}), DONE);
    EXPECT_EQ(out, "2\n");
}

TEST_F(RequestsTest, ProgressIsShownOnATerminal) {
    held.onRequest = [this](std::size_t number) {
        held[number].onNext(Response(298, Payload::createFromJSON("{\"files\":1000000000}")));
        held.answer(number, Response(200, Payload::createFromJSON("2")));
    };
    errIsTerminal = true;
    size = [] { return Screen::Size{12, 24}; };
    EXPECT_EQ(runAt({"insert", "/held", "--progress"}), DONE);
    EXPECT_EQ(out, "2\n");
    EXPECT_EQ(err, "\r\x1b[K{\"files\":1…\r\x1b[K");
    errIsTerminal = false;
    EXPECT_EQ(runAt({"insert", "/held", "--progress"}), DONE);
    EXPECT_EQ(err, "");
}

TEST_F(RequestsTest, ErrorsAreColouredOnlyOnATerminal) {
    errIsTerminal = true;
    EXPECT_EQ(runAt({"put", "/level", "101"}), REFUSED);
    EXPECT_THAT(err, StartsWith("\x1b[31mkova:\x1b[0m 400"));
    ::setenv("NO_COLOR", "1", 1);
    EXPECT_EQ(runAt({"put", "/level", "101"}), REFUSED);
    EXPECT_THAT(err, StartsWith("kova: 400"));
    EXPECT_EQ(runAt({"put", "/level", "101", "--color", "always"}), REFUSED);
    EXPECT_THAT(err, StartsWith("\x1b[31mkova:"));
}

TEST_F(RequestsTest, BinaryAnswerIsPrintedVerbatim) {
    EXPECT_EQ(runAt({"get", "/level", "--binary"}), DONE);
    EXPECT_EQ(out, std::string("\x18\x1e"));
}

TEST_F(RequestsTest, RawAnswerHasNoLineBreakAtItsEnd) {
    EXPECT_EQ(runAt({"get", "/level", "--raw"}), DONE);
    EXPECT_EQ(out, "30");
}

TEST_F(RequestsTest, LongPayloadsArrive) {
    const std::string text(std::size_t{100} * 1024 * 1024, 'x');
    held.onRequest = [&](std::size_t number) {
        held.answer(number, Response(200, Payload::createFromString(text)));
    };
    EXPECT_EQ(runAt({"get", "/held", "--raw", "--deadline", "0"}), DONE);
    EXPECT_TRUE(out == text);
}

}  // namespace
}  // namespace kova::tool
