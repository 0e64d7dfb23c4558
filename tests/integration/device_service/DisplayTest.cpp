#include "Display.h"

#include <gtest/gtest.h>

#include <sstream>

namespace device {
namespace {

void useAll(Display display) {
    display.say("> #1 retrieve /r");
    display.show("  #1 next 200 Ok", "[1]");
    display.show("  #1 next 204 No Content", "");
    display.complain("gave up waiting", "gave up waiting");
    display.complain("  #1 error 404 Not Found", "404 Not Found");
}

TEST(DisplayTest, NormalDisplayWritesEverythingToOneStream) {
    std::ostringstream out;
    useAll(Display(out));
    EXPECT_EQ(out.str(),
              "> #1 retrieve /r\n"
              "  #1 next 200 Ok\n"
              "  #1 next 204 No Content\n"
              "gave up waiting\n"
              "  #1 error 404 Not Found\n");
}

TEST(DisplayTest, QuietDisplaySeparatesPayloadsAndErrors) {
    std::ostringstream out;
    std::ostringstream errors;
    useAll(Display(out, errors));
    EXPECT_EQ(out.str(), "[1]\n");
    EXPECT_EQ(errors.str(), "gave up waiting\n404 Not Found\n");
}

}  // namespace
}  // namespace device
