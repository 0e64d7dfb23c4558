#include <gtest/gtest.h>

#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "support/FailingAllocations.h"
#include "support/SmallStack.h"
#include "support/Trees.h"
#include "util/Limits.h"
#include "util/config/JSONParser.h"

namespace {

using kova::test::FailingAllocations;
using kova::test::parseTree;
using kova::test::Tree;
using namespace util::config;

std::string repeated(const std::string& piece, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

// A text and the printed form of its tree.
struct Accepted {
    std::string text;
    std::string printed;
};

const std::string ZERO(1, '\0');

const Accepted ACCEPTED[] = {
    {"[]", "[]"},
    {"{}", "{}"},
    {" \t\r\n[ \t\r\n] \t\r\n", "[]"},
    {"[true,false,null]", "[true,false,null]"},
    {"[0,-0,1,-1,10]", "[0,0,1,-1,10]"},
    {"[-9223372036854775808,9223372036854775807]", "[-9223372036854775808,9223372036854775807]"},
    {"[9223372036854775808,18446744073709551615]", "[9223372036854775808,18446744073709551615]"},
    {"[0.0,-0.0,1.5,1E2,1e+2,1e-2,0e0,1.25E-2]", "[0.0,-0.0,1.5,100.0,100.0,0.01,0.0,0.0125]"},
    {"[1e308,1e-400,123456789012345678901234567890.0]", "[1e+308,0.0,1.2345678901234568e+29]"},
    {"[\"\",\"a\",\"a b\"]", "[\"\",\"a\",\"a b\"]"},
    {R"(["\"\\\/\b\f\n\r\t"])", R"(["\"\\/\b\f\n\r\t"])"},
    {R"(["\u0041\u00e9\u20AC\ud83d\ude00"])", "[\"Aé€\U0001F600\"]"},
    {R"(["\u0000","a\u0000b"])", R"(["\u0000","a\u0000b"])"},
    {R"({"\u0000":1,"":2})", R"({"":2,"\u0000":1})"},
    {"[\"é€\U0001F600\U0010FFFF\"]", "[\"é€\U0001F600\U0010FFFF\"]"},
    {"[\"\x7F\"]", "[\"\x7F\"]"},
    {R"({"b":1,"a":{"d":[],"c":{}}})", R"({"a":{"c":{},"d":[]},"b":1})"},
    {R"({"a":1,"a":2})", R"({"a":2})"},
    {R"({"a":[1,2],"b":0,"a":{"c":1}})", R"({"a":{"c":1},"b":0})"},
    {R"({"a":1,"\u0061":2})", R"({"a":2})"},
    {"[[[[[]]]],{\"a\":[{}]}]", "[[[[[]]]],{\"a\":[{}]}]"},
};

const std::string REJECTED[] = {
    "",
    " ",
    "\n",
    "[",
    "]",
    "{",
    "}",
    "[1",
    "[1,",
    "[1,]",
    "[,1]",
    "[1,,2]",
    "[1 2]",
    "[1}",
    "{]",
    "[]]",
    "[] []",
    "[]x",
    "{} 1",
    "[],",
    "{\"a\"}",
    "{\"a\":}",
    "{\"a\" 1}",
    "{\"a\":1,}",
    "{,}",
    "{a:1}",
    "{1:1}",
    "{'a':1}",
    "{\"a\":1 \"b\":2}",
    "{\"a\"::1}",
    "{null:1}",
    "[tru]",
    "[True]",
    "[nul]",
    "[truefalse]",
    "[nan]",
    "[NaN]",
    "[Infinity]",
    "[-Infinity]",
    "[undefined]",
    "[01]",
    "[-01]",
    "[00]",
    "[+1]",
    "[-]",
    "[.5]",
    "[1.]",
    "[1.e2]",
    "[1e]",
    "[1e+]",
    "[1e1.5]",
    "[0x10]",
    "[1_000]",
    "[--1]",
    "[1a]",
    "[18446744073709551616]",
    "[-9223372036854775809]",
    "[100000000000000000000]",
    "[1e309]",
    "[-1e400]",
    "[\"a]",
    "[\"\\\"]",
    "[\"\\x\"]",
    "[\"\\u12\"]",
    "[\"\\u12G4\"]",
    "[\"\\uD800\"]",
    "[\"\\uDC00\"]",
    "[\"\\uD800\\uD800\"]",
    "[\"\\uD800x\"]",
    "[\"\\uD800\\n\"]",
    "[\"\\uDBFF\\uE000\"]",
    "{\"\\uD800\":1}",
    "[\"\n\"]",
    "[\"\t\"]",
    "[\"\x01\"]",
    "[\"\x1F\"]",
    "[\"" + ZERO + "\"]",
    "[" + ZERO + "]",
    "[]" + ZERO,
    ZERO,
    "['a']",
    "[\"\x80\"]",
    "[\"\xC0\xAF\"]",
    "[\"\xE2\x82\"]",
    "[\"\xED\xA0\x80\"]",
    "[\"\xF4\x90\x80\x80\"]",
    "[\"\xFF\"]",
    "[\xE9]",
    "\xEF\xBB\xBF[]",
    "\xFF\xFE[]",
    "[1]//x",
    "/**/[1]",
    "#[1]",
    "[1]\f",
    "\v[1]",
    "[\xC2\xA0]",
};

TEST(JSONParserTest, ValidTextIsParsedIntoItsTree) {
    JSONParser parser(false);
    for (const Accepted& row : ACCEPTED) {
        Dictionary* dictionary = nullptr;
        Array* array = nullptr;
        ASSERT_FALSE(parser.parseString(std::string_view(row.text), &dictionary, &array))
            << row.text << ": " << parser.reason();
        EXPECT_NE(dictionary == nullptr, array == nullptr) << row.text;
        const Tree tree(dictionary != nullptr ? static_cast<Value*>(dictionary) : array);
        EXPECT_EQ(tree->toJson(true), row.printed) << row.text;
    }
}

TEST(JSONParserTest, InvalidTextIsRejectedAndLeavesTheOutputsUnchanged) {
    JSONParser parser(false);
    Dictionary someDictionary;
    Array someArray;
    for (const std::string& text : REJECTED) {
        Dictionary* dictionary = &someDictionary;
        Array* array = &someArray;
        EXPECT_TRUE(parser.parseString(std::string_view(text), &dictionary, &array))
            << testing::PrintToString(text);
        EXPECT_EQ(dictionary, &someDictionary) << text;
        EXPECT_EQ(array, &someArray) << text;
        EXPECT_STRNE(parser.reason(), "") << text;
    }
}

TEST(JSONParserTest, CStringIsAccepted) {
    JSONParser parser(false);
    Dictionary* dictionary = nullptr;
    Array* array = nullptr;
    ASSERT_FALSE(parser.parseString(R"({"a":1})", &dictionary, &array));
    const Tree owner(dictionary);
    ASSERT_NE(dictionary, nullptr);
    EXPECT_EQ((*dictionary)["a"], ValueInt(1));
    EXPECT_TRUE(parser.parseString(static_cast<char const*>(nullptr), &dictionary, &array));
}

TEST(JSONParserTest, TextIsNotReadPastItsEnd) {
    const std::string text = "[12345]";
    for (std::size_t end = 0; end < text.size(); ++end) {
        const std::vector<char> exact(text.begin(), text.begin() + static_cast<long>(end));
        EXPECT_EQ(Tree(JSONParser(false).parseValue({exact.data(), exact.size()})), nullptr) << end;
    }
}

TEST(JSONParserTest, TopLevelScalarLeavesTheOutputsNull) {
    Dictionary someDictionary;
    Array someArray;
    JSONParser parser(false);
    for (char const* text : {"1", "-2.5", "\"s\"", "true", "null", " 18446744073709551615 "}) {
        Dictionary* dictionary = &someDictionary;
        Array* array = &someArray;
        EXPECT_FALSE(parser.parseString(text, &dictionary, &array)) << text;
        EXPECT_EQ(dictionary, nullptr) << text;
        EXPECT_EQ(array, nullptr) << text;
    }
    for (char const* text :
         {"1 2", "nulll", "01", "1.", "\"", "-", "tru", "18446744073709551616"}) {
        Dictionary* dictionary = nullptr;
        Array* array = nullptr;
        EXPECT_TRUE(parser.parseString(text, &dictionary, &array)) << text;
    }
}

TEST(JSONParserTest, ParseValueReturnsATopLevelScalar) {
    EXPECT_EQ(*parseTree("12"), ValueInt(12));
    EXPECT_EQ(*parseTree("\"s\""), ValueString("s"));
    EXPECT_EQ(*parseTree("1.5"), ValueFloat(1.5));
    EXPECT_EQ(parseTree("null").get(), Value::getNull());
    EXPECT_EQ(parseTree("true").get(), Value::getBool(true));
    EXPECT_EQ(parseTree("nul"), nullptr);
}

TEST(JSONParserTest, NumbersWithAPointOrAnExponentAreFloats) {
    const Tree tree = parseTree("[1,1.0,1e0,-0,-0.0]");
    EXPECT_TRUE((*tree)[0].isInt());
    EXPECT_TRUE((*tree)[1].isFloat());
    EXPECT_TRUE((*tree)[2].isFloat());
    EXPECT_TRUE((*tree)[3].isInt());
    EXPECT_TRUE((*tree)[4].isFloat());
}

TEST(JSONParserTest, OptionSelectsTheTypeOfStringNodes) {
    const char* const text = R"({"key":"é"})";
    const Tree narrow(JSONParser(false).parseValue(text));
    EXPECT_EQ((*narrow)["key"], ValueString("é"));
    const Tree wide(JSONParser(true).parseValue(text));
    EXPECT_EQ((*wide)["key"], ValueUnicodeString(util::UnicodeString8{"é"}));
}

TEST(JSONParserTest, NestingIsAcceptedUpToTheLimit) {
    const std::size_t limit = util::MAX_NESTING_DEPTH;
    struct Row {
        std::string open;
        std::string inner;
        std::string close;
    };
    const Row rows[] = {
        {"[", "", "]"},
        {"[", "1", "]"},
        {"[0,", "1", ",2]"},
        {"{\"a\":", "1", "}"},
        {"{\"a\":", "\"s\"", ",\"b\":2}"},
    };
    for (const Row& row : rows) {
        const auto nested = [&](std::size_t depth) {
            return repeated(row.open, depth) + row.inner + repeated(row.close, depth);
        };
        EXPECT_NE(parseTree(nested(limit)), nullptr) << row.open;
        EXPECT_EQ(parseTree(nested(limit + 1)), nullptr) << row.open;
        EXPECT_EQ(parseTree(nested(2000)), nullptr) << row.open;
    }
    EXPECT_EQ(parseTree(repeated("[", limit) + "{}" + repeated("]", limit)), nullptr);
    EXPECT_NE(parseTree(repeated("[", limit - 1) + "{}" + repeated("]", limit - 1)), nullptr);
    EXPECT_EQ(parseTree(repeated("[", 1000000)), nullptr);
}

TEST(JSONParserTest, NestingLimitAppliesToDiscardedValuesOfDuplicateKeys) {
    const auto replaced = [](std::size_t depth) {
        return "{\"a\":" + repeated("[", depth) + "0,{}" + repeated("]", depth) +
               ",\"b\":1,\"a\":[2],\"a\":3}";
    };
    const std::size_t limit = util::MAX_NESTING_DEPTH;
    EXPECT_EQ(parseTree(replaced(limit - 2))->toJson(true), R"({"a":3,"b":1})");
    EXPECT_EQ(parseTree(replaced(limit - 1)), nullptr);
    EXPECT_EQ(parseTree(replaced(limit)), nullptr);
}

TEST(JSONParserTest, KeysOfAllLengthsAreOrderedByTheirBytes) {
    std::string text = "{";
    std::string printed = "{";
    const std::string keys[] = {"",         "\x01",      "a",        "a\x01",     "aa",
                                "aaa",      "aaaa",      "aaaab",    "aaaac",     "aaaba",
                                "aaabab",   "abcdefg",   "abcdefgh", "abcdefgha", "abcdefghb",
                                "abcdefgi", "b",         "b1234567", "b12345678", "é",
                                "éa",       "\U0001F600"};
    for (std::size_t i = 0; i < std::size(keys); ++i) {
        const auto member = [&](std::size_t n) {
            return ValueString(keys[n]).toJson(true) + ":" + std::to_string(n);
        };
        const std::string comma = i == 0 ? "" : ",";
        text += comma + member(i * 13 % std::size(keys));
        printed += comma + member(i);
    }
    EXPECT_EQ(parseTree(text + "}")->toJson(true), printed + "}");
}

TEST(JSONParserTest, ReasonDescribesTheError) {
    JSONParser parser(false);
    EXPECT_EQ(parser.parseValue(""), nullptr);
    EXPECT_STREQ(parser.reason(), "there is no text");
    EXPECT_EQ(parser.parseValue(repeated("[", 300) + repeated("]", 300)), nullptr);
    EXPECT_STREQ(parser.reason(), "arrays and objects are nested too deeply");
    EXPECT_EQ(parser.parseValue("[1,]"), nullptr);
    EXPECT_STRNE(parser.reason(), "arrays and objects are nested too deeply");
}

TEST(JSONParserTest, ParserIsReusableAfterSuccessAndFailure) {
    JSONParser parser(false);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Tree(parser.parseValue("[1,{\"a\":[]}]"))->toJson(true), R"([1,{"a":[]}])");
        EXPECT_EQ(parser.parseValue(repeated("[", 257) + repeated("]", 257)), nullptr);
        EXPECT_EQ(parser.parseValue("[1,"), nullptr);
    }
}

TEST(JSONParserTest, DeepestTextIsParsedOnASmallStack) {
    kova::test::runOnSmallStack([] {
        const std::size_t limit = util::MAX_NESTING_DEPTH;
        const std::string text = repeated("{\"a\":[", limit / 2) + repeated("]}", limit / 2);
        const Tree tree = parseTree(text);
        ASSERT_NE(tree, nullptr);
        EXPECT_EQ(tree->toJson(true), text);
    });
}

TEST(JSONParserTest, LargeObjectsKeepEveryEntry) {
    std::string text = "{";
    for (int i = 0; i < 5000; ++i) {
        text += (i == 0 ? "\"k" : ",\"k") + std::to_string(i * 7919 % 5000) + "\":[" +
                std::to_string(i) + "]";
    }
    const Tree tree = parseTree(text + "}");
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(static_cast<Dictionary&>(*tree).size(), 5000U);
    EXPECT_EQ((*tree)["k" + std::to_string(4321 * 7919 % 5000)][0], ValueInt(4321));
}

// Returns an array of records with nodes of every type. Two records are a small tree, whose nodes
// are in one block; 500 records are a large tree.
std::string records(int count) {
    std::string text = "[";
    for (int i = 0; i < count; ++i) {
        text += (i == 0 ? "" : ",") + (R"({"id":)" + std::to_string(i)) +
                R"(,"list":[-1,1.5,18446744073709551615,null,true],"name":"short",)" +
                R"("text":"a string that is rather long","under":{"x":[{}]}})";
    }
    return text + "]";
}

TEST(JSONParserTest, ParsedTreesOfEverySizeCanBeModified) {
    for (const int count : {2, 40, 500}) {
        const std::string text = records(count);
        Tree tree = parseTree(text);
        ASSERT_EQ(tree->toJson(true), text);
        Array& array = *tree->getEditableArray();
        Dictionary& last = *array.elements().back()->getEditableDictionary();
        const Tree name(last.entries().find("name")->second);
        EXPECT_FALSE(last.remove("name", false));
        EXPECT_FALSE(last.set("list", new ValueString("replaced")));
        EXPECT_FALSE(array.remove(0, true));
        const Tree record(array.elements().back());
        EXPECT_FALSE(array.remove(array.arraySize() - 1, false));
        const Tree copy(tree->clone());
        tree.reset();
        EXPECT_EQ(*name, ValueString("short"));
        EXPECT_EQ((*record)["list"], ValueString("replaced"));
        EXPECT_EQ((*record)["under"].toJson(true), R"({"x":[{}]})");
        EXPECT_EQ(copy->arraySize(), static_cast<unsigned long>(count) - 2);
    }
}

TEST(JSONParserTest, TreesOfEverySizeFreeAllMemory) {
    for (const bool unicodeStrings : {false, true}) {
        for (const int count : {0, 1, 2, 3, 5, 8, 13, 21, 34, 55, 500}) {
            const std::string text = records(count);
            const long before = FailingAllocations::liveBlocks();
            EXPECT_EQ(Tree(JSONParser(unicodeStrings).parseValue(text))->toJson(true), text);
            EXPECT_EQ(FailingAllocations::liveBlocks(), before);
        }
    }
}

TEST(JSONParserTest, FailedParseOfALargeTreeLeaksNothing) {
    const std::string text = records(40);
    const long before = FailingAllocations::liveBlocks();
    JSONParser parser(false);
    Tree tree(parser.parseValue(text));
    const long kept = FailingAllocations::liveBlocks();
    for (long successes = 0; successes < 100; successes += 3) {
        tree.reset();
        const long without = FailingAllocations::liveBlocks();
        {
            const FailingAllocations failing(successes);
            tree.reset(parser.parseValue(text));
        }
        ASSERT_EQ(tree, nullptr);
        ASSERT_STREQ(parser.reason(), "memory is exhausted");
        ASSERT_EQ(FailingAllocations::liveBlocks(), without);
    }
    tree.reset(parser.parseValue(text));
    EXPECT_EQ(FailingAllocations::liveBlocks(), kept);
    EXPECT_GT(kept, before);
}

TEST(JSONParserTest, EveryFailedAllocationFailsTheParseAndLeaksNothing) {
    const std::string text =
        R"({"a key of more than fifteen bytes":[1,1.5,"a string that is rather long",{"x":[null]}],)"
        R"("b":18446744073709551615,"deep":[[[[[[[[[[]]]]]]]]]]})";
    for (const bool unicodeStrings : {false, true}) {
        const long before = FailingAllocations::liveBlocks();
        Value* value = nullptr;
        const long failures = kova::test::failEveryAllocation([&] {
            value = JSONParser(unicodeStrings).parseValue(text);
            return value != nullptr || FailingAllocations::liveBlocks() != before;
        });
        EXPECT_GT(failures, 15);
        ASSERT_NE(value, nullptr);
        const Tree tree(value);
        EXPECT_EQ((*tree)["b"], ValueInt(~0UL));
    }
}

TEST(JSONParserTest, ParserIsReusableAfterAFailedAllocation) {
    const std::string text = R"(["a string that is rather long",{"x":[null]}])";
    for (long successes = 0;; ++successes) {
        JSONParser parser(false);
        Tree tree;
        {
            const FailingAllocations failing(successes);
            tree.reset(parser.parseValue(text));
        }
        if (tree != nullptr) {
            EXPECT_GT(successes, 10);
            return;
        }
        tree.reset(parser.parseValue(text));
        ASSERT_NE(tree, nullptr) << "after " << successes << ": " << parser.reason();
        EXPECT_EQ(tree->toJson(true), text);
    }
}

TEST(JSONParserTest, ParserConstructedWithoutMemoryRejectsEveryText) {
    std::optional<JSONParser> parser;
    {
        const FailingAllocations failing(0);
        parser.emplace(false);
    }
    EXPECT_EQ(parser->parseValue("[]"), nullptr);
    EXPECT_STREQ(parser->reason(), "memory is exhausted");
}

}  // namespace
