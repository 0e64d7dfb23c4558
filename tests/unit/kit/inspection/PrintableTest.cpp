#include "inspection/Printable.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace kova::kit::detail {
namespace {

struct Row {
    char const* name;
    std::string_view bytes;
    std::string_view text;
};

constexpr Row ROWS[] = {{"Empty", "", ""},
                        {"Ascii", "/a \"<script>'", "/a \"<script>'"},
                        {"TwoToFourBytes", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xB5",
                         "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xB5"},
                        {"LoneByte", "a\xFFz", "a\xEF\xBF\xBDz"},
                        {"CutCharacter", "a\xE2\x82", "a\xEF\xBF\xBD\xEF\xBF\xBD"},
                        {"Surrogate", "\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
                        {"ValidBesideInvalid", "\x80\xC3\xA4", "\xEF\xBF\xBD\xC3\xA4"}};

class PrintableRows : public ::testing::TestWithParam<Row> {};

TEST_P(PrintableRows, InvalidBytesAreReplaced) {
    EXPECT_EQ(printable(GetParam().bytes), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(PrintableTest, PrintableRows, ::testing::ValuesIn(ROWS),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace kova::kit::detail
