#include "Table.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "Text.h"

namespace kova::tool {
namespace {

using Lines = std::vector<std::string>;

TEST(TableTest, ColumnsAreAsWideAsTheirLongestText) {
    EXPECT_EQ(table({{"/level", "30"}, {"/tracks/1", "\"blue\""}}, 80),
              (Lines{"/level     30", "/tracks/1  \"blue\""}));
    EXPECT_EQ(table({{"ä", "1", "x"}, {"漢字", "", "y"}}, 80), (Lines{"ä     1  x", "漢字     y"}));
    EXPECT_EQ(table({{}, {"a"}}, 80), (Lines{"", "a"}));
}

TEST(TableTest, LastColumnIsCutAtTheEndOfTheScreen) {
    EXPECT_EQ(table({{"/level", "{\"a\":1234567890}"}}, 20), (Lines{"/level  {\"a\":123456…"}));
}

TEST(TableTest, LastColumnGetsAtLeastAThirdOfTheWidth) {
    EXPECT_EQ(table({{"/a/path/that/is/long", "1234567890"}}, 20), (Lines{"/a/path/tha…  12345…"}));
}

TEST(TableTest, NoLineIsLongerThanTheScreen) {
    const std::vector<Lines> rows = {{"/a/path/that/is/long", "漢字漢字漢字漢字", "value 漢字"}};
    for (unsigned columns = 1; columns < 60; ++columns) {
        EXPECT_LE(columnsOf(table(rows, columns)[0]), columns) << columns;
    }
}

TEST(TableTest, TableIsAsWideAsTheScreen) {
    std::ostringstream out;
    printTable({out, true, false, [] { return Screen::Size{6, 24}; }}, {{"abc", "defg"}});
    EXPECT_EQ(out.str(), "a…  d…\n");
}

TEST(LiveLinesTest, LinesAreReplacedInPlace) {
    std::ostringstream out;
    const Screen screen{out, true, false, [] { return Screen::Size{20, 3}; }};
    LiveLines lines(screen);
    lines.show({"a", "b"});
    EXPECT_EQ(out.str(), "\r\x1b[Ka\n\r\x1b[Kb\n\x1b[J");
    out.str("");
    lines.show({"c"});
    EXPECT_EQ(out.str(), "\x1b[2A\r\x1b[Kc\n\x1b[J");
}

TEST(LiveLinesTest, LastRowOfTheScreenStaysEmpty) {
    std::ostringstream out;
    const Screen screen{out, true, false, [] { return Screen::Size{20, 3}; }};
    LiveLines lines(screen);
    lines.show({"a", "b", "c", "d"});
    EXPECT_EQ(out.str(), "\r\x1b[Ka\n\r\x1b[Kb\n\x1b[J");
}

}  // namespace
}  // namespace kova::tool
