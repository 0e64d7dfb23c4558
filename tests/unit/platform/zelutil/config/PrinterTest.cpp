#include <gtest/gtest.h>

#include <cmath>
#include <locale>
#include <sstream>
#include <string>

#include "support/FailingAllocations.h"
#include "support/SmallStack.h"
#include "support/Trees.h"
#include "util/config/Value.h"

namespace {

using kova::test::deepTree;
using kova::test::parseTree;
using kova::test::RandomTrees;
using kova::test::Tree;
using namespace util::config;

// Sets the layout of `print` during its lifetime.
class Layout {
public:
    explicit Layout(bool compact) : former_(Value::g_print_compact.exchange(compact)) {}
    ~Layout() { Value::g_print_compact = former_; }
    Layout(const Layout&) = delete;
    Layout& operator=(const Layout&) = delete;

private:
    bool former_;
};

std::string printed(const Value& value) {
    std::ostringstream out;
    value.print(out);
    return out.str();
}

struct Row {
    Tree node;
    char const* text;
};

TEST(PrinterTest, ScalarsPrintAsJson) {
    const Row rows[] = {
        {Tree(&Value::getUndefined()), "null"},
        {Tree(Value::getNull()), "null"},
        {Tree(Value::getBool(true)), "true"},
        {Tree(Value::getBool(false)), "false"},
        {Tree(new ValueInt(-12)), "-12"},
        {Tree(new ValueInt(1L << 63U)), "-9223372036854775808"},
        {Tree(new ValueInt(~0UL)), "18446744073709551615"},
        {Tree(new ValueFloat(1)), "1.0"},
        {Tree(new ValueFloat(-0.25)), "-0.25"},
        {Tree(new ValueFloat(1e300)), "1e+300"},
        {Tree(new ValueFloat(NAN)), "null"},
        {Tree(new ValueFloat(INFINITY)), "null"},
        {Tree(new ValueFloat(-INFINITY)), "null"},
        {Tree(new ValueString("a\"\\\n\x01é")), "\"a\\\"\\\\\\n\\u0001é\""},
        {Tree(new ValueString("a\xFFz")), "\"a\uFFFDz\""},
        {Tree(new ValueUnicodeString(util::UnicodeString8{"é\xC3"})), "\"é\uFFFD\""},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.node->toJson(true), row.text);
        EXPECT_EQ(row.node->toJson(false), row.text);
    }
}

TEST(PrinterTest, CompactFlagSelectsTheLayout) {
    const Tree tree = parseTree(R"({"e":[],"d":{},"a":[1,[2]],"b":{"x":null}})");
    {
        const Layout compact(true);
        EXPECT_EQ(printed(*tree), R"({"a":[1,[2]],"b":{"x":null},"d":{},"e":[]})");
    }
    const Layout indented(false);
    EXPECT_EQ(printed(*tree), R"({
  "a": [
    1,
    [
      2
    ]
  ],
  "b": {
    "x": null
  },
  "d": {},
  "e": []
})");
}

TEST(PrinterTest, ToJsonIgnoresTheLayoutFlag) {
    const Tree tree = parseTree("[1]");
    for (const bool flag : {false, true}) {
        const Layout layout(flag);
        EXPECT_EQ(tree->toJson(true), "[1]");
        EXPECT_EQ(tree->toJson(false), "[\n  1\n]");
    }
}

TEST(PrinterTest, KeysAreEscapedAndInvalidUtf8IsReplaced) {
    Dictionary dictionary;
    dictionary.add("a\"\xFF", Value::getNull());
    EXPECT_EQ(dictionary.toJson(true), "{\"a\\\"\uFFFD\":null}");
}

TEST(PrinterTest, LongKeysAndStringsAreWrittenCompletely) {
    for (const std::size_t size : {4094U, 4095U, 4096U, 4097U, 20000U}) {
        const std::string text = std::string(size, 'a') + "€\n";
        Dictionary dictionary;
        dictionary.add(text, new ValueString(text + "\x80"));
        const std::string printedText = std::string(size, 'a') + "€\\n";
        EXPECT_EQ(dictionary.toJson(true),
                  "{\"" + printedText + "\":\"" + printedText + "\uFFFD\"}");
        EXPECT_EQ(dictionary.toJson(false),
                  "{\n  \"" + printedText + "\": \"" + printedText + "\uFFFD\"\n}");
    }
}

TEST(PrinterTest, LocaleAndFormatFlagsOfTheStreamAreIgnored) {
    struct Grouping : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::ostringstream out;
    out.imbue(std::locale(std::locale::classic(), new Grouping));
    out << std::hex << std::showpos;
    out.width(0);
    const Layout compact(true);
    parseTree("[1234567,1234567.5]")->print(out);
    EXPECT_EQ(out.str(), "[1234567,1234567.5]");
}

TEST(PrinterTest, PrintedTreesRoundTrip) {
    RandomTrees trees(4);
    for (int i = 0; i < 1000; ++i) {
        const Tree tree = trees.next();
        for (const bool compact : {false, true}) {
            const std::string text = tree->toJson(compact);
            const Tree back = parseTree(text);
            ASSERT_NE(back, nullptr) << text;
            ASSERT_EQ(*back, *tree) << text;
            ASSERT_EQ(back->toJson(compact), text);
        }
    }
}

TEST(PrinterTest, IndentationIsLimitedInDeepTrees) {
    const std::string text = deepTree(40)->toJson(false);
    EXPECT_NE(text.find("\n" + std::string(64, ' ') + '"'), std::string::npos);
    EXPECT_EQ(text.find(std::string(65, ' ')), std::string::npos);
    EXPECT_EQ(*parseTree(text), *deepTree(40));
}

TEST(PrinterTest, TreeOfAMillionLevelsIsPrintedWithoutRecursion) {
    kova::test::runOnSmallStack([] {
        const Tree tree = deepTree(1000000);
        const std::string text = tree->toJson(true);
        EXPECT_EQ(text.size(), 500000U * 2 + 500000U * 6 + 1);
        EXPECT_EQ(text.substr(0, 12), R"({"k":[{"k":[)");
    });
}

TEST(PrinterTest, PrintingWithoutMemorySetsBadbitAndWritesNothing) {
    Array array;
    array.add(new ValueString(std::string(1000, 'a')));  // too long to print without allocating
    std::ostringstream out;
    {
        const kova::test::FailingAllocations failing(0);
        array.print(out);
    }
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(out.str(), "");
    bool thrown = false;
    kova::test::failEveryAllocation([&] {
        try {
            return array.toJson(true).size() == 1004;
        } catch (const std::bad_alloc&) {
            thrown = true;
            return false;
        }
    });
    EXPECT_TRUE(thrown);
}

}  // namespace
