#include "resources/PathTemplate.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace kova::kit::detail {
namespace {

using Kind = TemplateSegment::Kind;

std::string refusal(const std::string& text) {
    try {
        const PathTemplate parsed(text);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "accepted";
}

TEST(PathTemplateTest, EmptyTemplateHasNoSegments) {
    EXPECT_TRUE(PathTemplate("").segments().empty());
}

TEST(PathTemplateTest, ParserSetsTheKindAndNameOfEachSegment) {
    const PathTemplate parsed("songs/{id:uint}/{offset:int}/{name}/{word:text}/{path:rest}");
    const std::vector<TemplateSegment>& segments = parsed.segments();
    ASSERT_EQ(segments.size(), 6U);
    const Kind kinds[] = {Kind::literal,       Kind::unsignedInteger,
                          Kind::signedInteger, Kind::text,
                          Kind::text,          Kind::rest};
    char const* const texts[] = {"songs", "id", "offset", "name", "word", "path"};
    for (std::size_t i = 0; i < segments.size(); ++i) {
        EXPECT_EQ(segments[i].kind, kinds[i]);
        EXPECT_EQ(segments[i].text, texts[i]);
    }
    EXPECT_EQ(parsed.parameters(), 5U);
}

TEST(PathTemplateTest, MalformedTemplateIsRejectedWithAReason) {
    EXPECT_EQ(refusal("/a"), "template '/a': an empty segment");
    EXPECT_EQ(refusal("a/"), "template 'a/': an empty segment");
    EXPECT_EQ(refusal("a//b"), "template 'a//b': an empty segment");
    EXPECT_EQ(refusal("a/../b"), "template 'a/../b': a segment '.' or '..'");
    EXPECT_EQ(refusal("{}"), "template '{}': a parameter is a whole segment such as {id:uint}");
    EXPECT_EQ(refusal("a{b}"), "template 'a{b}': a parameter is a whole segment such as {id:uint}");
    EXPECT_EQ(refusal("{a}{b}"),
              "template '{a}{b}': a parameter is a whole segment such as {id:uint}");
    EXPECT_EQ(refusal("{a"), "template '{a': a parameter is a whole segment such as {id:uint}");
    EXPECT_EQ(refusal("{:uint}"), "template '{:uint}': a parameter without a name");
    EXPECT_EQ(refusal("{a:}"),
              "template '{a:}': the kinds of parameters are uint, int, text and rest");
    EXPECT_EQ(refusal("{a:uint:b}"),
              "template '{a:uint:b}': the kinds of parameters are uint, int, text and rest");
    EXPECT_EQ(refusal("{a:rest}/b"),
              "template '{a:rest}/b': a parameter of the kind rest is the last segment");
    EXPECT_EQ(refusal("{a}/b/{a:uint}"), "template '{a}/b/{a:uint}': two parameters {a}");
}

TEST(PathTemplateTest, MoreThan32SegmentsAreRejected) {
    std::string text = "0";
    for (int i = 1; i < 32; ++i) {
        text += '/' + std::to_string(i);
    }
    EXPECT_EQ(PathTemplate(text).segments().size(), 32U);
    EXPECT_EQ(refusal(text + "/32"), "template '" + text + "/32': more than 32 segments");
}

TEST(PathTemplateTest, IsAsGoodAsRequiresEqualRanksInAllSegments) {
    EXPECT_TRUE(PathTemplate("a/{x:uint}").isAsGoodAs(PathTemplate("a/{y:int}")));
    EXPECT_TRUE(PathTemplate("{x}").isAsGoodAs(PathTemplate("{y:text}")));
    EXPECT_FALSE(PathTemplate("a").isAsGoodAs(PathTemplate("b")));
    EXPECT_FALSE(PathTemplate("{x}").isAsGoodAs(PathTemplate("{x:uint}")));
    EXPECT_FALSE(PathTemplate("{x}").isAsGoodAs(PathTemplate("{x:rest}")));
    EXPECT_FALSE(PathTemplate("a").isAsGoodAs(PathTemplate("a/a")));
}

std::string mismatch(const std::string& text, const std::vector<ArgumentKind>& arguments,
                     bool acceptsBody) {
    try {
        PathTemplate(text).check(arguments, acceptsBody);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "matches";
}

TEST(PathTemplateTest, FunctionParametersMustMatchTheTemplate) {
    using Argument = ArgumentKind;
    const std::string text = "{id:uint}/{name}";
    EXPECT_EQ(mismatch(text, {Argument::unsignedInteger, Argument::text}, true), "matches");
    EXPECT_EQ(mismatch(text, {Argument::signedInteger, Argument::text}, true), "matches");
    EXPECT_EQ(mismatch(text, {Argument::signedInteger, Argument::text, Argument::none}, true),
              "matches");
    EXPECT_EQ(mismatch(text, {Argument::signedInteger, Argument::text, Argument::text}, false),
              "template '{id:uint}/{name}': has 2 parameters, but the function has 3, one of which "
              "may be the body");
    EXPECT_EQ(mismatch(text, {Argument::signedInteger}, true),
              "template '{id:uint}/{name}': has 2 parameters, but the function has 1, one of which "
              "may be the body");
    EXPECT_EQ(mismatch(text, {Argument::text, Argument::text}, true),
              "template '{id:uint}/{name}': the function has a parameter of another type for {id}");
    EXPECT_EQ(mismatch("{zone:int}", {Argument::unsignedInteger}, true),
              "template '{zone:int}': the function has a parameter of another type for {zone}");
    EXPECT_EQ(mismatch("{name}", {Argument::none}, true),
              "template '{name}': the function has a parameter of another type for {name}");
}

}  // namespace
}  // namespace kova::kit::detail
