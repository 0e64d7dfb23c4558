#include "Journal.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

namespace device {
namespace {

void useAll(Journal& journal) {
    journal.say("> #1 retrieve /r");
    journal.show("  #1 next 200 Ok", "[1]");
    journal.show("  #1 next 204 No Content", "");
    journal.complain("nothing to cancel", exitstatus::ANSWERED);
    journal.fail("  #1 error 404 Not Found", "404 Not Found", exitstatus::REFUSED);
}

bool never() {
    return false;
}

TEST(JournalTest, NormalJournalWritesEverythingToOneStream) {
    std::ostringstream out;
    Journal journal(out);
    useAll(journal);
    EXPECT_EQ(out.str(),
              "> #1 retrieve /r\n"
              "  #1 next 200 Ok\n"
              "  #1 next 204 No Content\n"
              "nothing to cancel\n"
              "  #1 error 404 Not Found\n");
}

TEST(JournalTest, QuietJournalSeparatesPayloadsAndErrors) {
    std::ostringstream out;
    std::ostringstream errors;
    Journal journal(out, &errors);
    useAll(journal);
    EXPECT_EQ(out.str(), "[1]\n");
    EXPECT_EQ(errors.str(), "nothing to cancel\n404 Not Found\n");
}

TEST(JournalTest, ExitStatusIsThatOfTheWorstError) {
    std::ostringstream out;
    Journal journal(out);
    EXPECT_EQ(journal.exitStatus(), exitstatus::ANSWERED);
    journal.complain("no such command", exitstatus::MISUSED);
    journal.fail("line", "reason", exitstatus::FAILED);
    journal.fail("line", "reason", exitstatus::REFUSED);
    EXPECT_EQ(journal.exitStatus(), exitstatus::FAILED);
}

TEST(JournalTest, OnlyEventsAreCounted) {
    std::ostringstream out;
    Journal journal(out);
    useAll(journal);
    journal.awaitEvents(3, never);
    EXPECT_EQ(out.str().find("gave up"), std::string::npos);
    journal.show("line", "");
    journal.resetCount();
    journal.awaitEvents(1, [] { return true; });
    EXPECT_NE(out.str().find("gave up waiting\n"), std::string::npos);
}

TEST(JournalTest, WaitEndsWithTheEventOfAnotherThread) {
    std::ostringstream out;
    Journal journal(out);
    std::thread sender([&] { journal.show("line", ""); });
    journal.awaitEvents(1, never);
    sender.join();
    EXPECT_EQ(out.str(), "line\n");
}

}  // namespace
}  // namespace device
