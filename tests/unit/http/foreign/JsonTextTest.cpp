#include "foreign/JsonText.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "kova/core/GenericObject.h"

namespace kova::http::detail {
namespace {

class QuotedText : public ::testing::TestWithParam<std::pair<std::string, std::string>> {};

TEST_P(QuotedText, HasPrintableAsciiCharactersOnly) {
    std::string out = ">";
    appendQuoted(out, GetParam().first);
    EXPECT_EQ(out, ">\"" + GetParam().second + "\"");
}

INSTANTIATE_TEST_SUITE_P(
    JsonTextTest, QuotedText,
    ::testing::Values(
        std::pair{"", ""}, std::pair{"abc", "abc"}, std::pair{"a\"b\\c", R"(a\"b\\c)"},
        std::pair{"\r\n\t", R"(\u000d\u000a\u0009)"}, std::pair{std::string("\0", 1), R"(\u0000)"},
        std::pair{"\x7F", R"(\u007f)"}, std::pair{"\xC3\xA4", R"(\u00e4)"},
        std::pair{"\xE2\x82\xAC", R"(\u20ac)"}, std::pair{"\xF0\x9F\x98\x80", R"(\ud83d\ude00)"},
        std::pair{"\xF4\x8F\xBF\xBF", R"(\udbff\udfff)"}, std::pair{"\xFF!", R"(\ufffd!)"},
        std::pair{"\xC3", R"(\ufffd)"}, std::pair{"\xC3\"", R"(\ufffd\")"},
        std::pair{"\x80x", R"(\ufffdx)"}, std::pair{"\xED\xA0\x80", R"(\ufffd\ufffd\ufffd)"}));

TEST(JsonTextTest, TreeIsCompactAscii) {
    const GenericObject tree{{"text", new util::config::ValueString("\xC3\xA4\n\"")},
                             {"count", new util::config::ValueInt(3)},
                             {"flag", util::config::Value::getBool(true)}};
    EXPECT_EQ(toAsciiJson(tree), R"({"count":3,"flag":true,"text":"\u00e4\n\""})");
}

TEST(JsonTextTest, LineBreaksBetweenTokensBecomeSpaces) {
    EXPECT_EQ(oneLine("{\r\n\"a\": [1,\n2]}"), "{  \"a\": [1, 2]}");
    EXPECT_EQ(oneLine("3"), "3");
}

TEST(JsonTextTest, TextThatIsNotJsonHasNoLine) {
    for (char const* const text : {"", "{", "{} x", "\"a\nb\"", "nul", "\"\xFF\""}) {
        EXPECT_EQ(oneLine(text), std::nullopt) << text;
    }
}

class EncodedBytes : public ::testing::TestWithParam<std::pair<char const*, char const*>> {};

TEST_P(EncodedBytes, MatchTheTestVectorsOfRfc4648) {
    EXPECT_EQ(toBase64(GetParam().first), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(JsonTextTest, EncodedBytes,
                         ::testing::Values(std::pair{"", ""}, std::pair{"f", "Zg=="},
                                           std::pair{"fo", "Zm8="}, std::pair{"foo", "Zm9v"},
                                           std::pair{"foob", "Zm9vYg=="},
                                           std::pair{"fooba", "Zm9vYmE="},
                                           std::pair{"foobar", "Zm9vYmFy"},
                                           std::pair{"\xFF\xEF\xBF", "/++/"}));

}  // namespace
}  // namespace kova::http::detail
