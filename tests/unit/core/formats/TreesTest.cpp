#include "formats/Trees.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

#include "formats/PlainTrees.h"
#include "support/Trees.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/JSONParser.h"
#include "util/config/Scalars.h"

// The functions of the current platform have the same results as the functions for a platform
// without extensions.

namespace {

using kova::test::entryCount;
using kova::test::parseTree;
using kova::test::Tree;
using util::config::Array;
using util::config::Dictionary;
using util::config::Value;
using util::config::ValueFloat;
using util::config::ValueInt;
using util::config::ValueString;
namespace plaintrees = kova::detail::plaintrees;
namespace trees = kova::detail::trees;

struct Plain {
    static void destroy(Value* value) { plaintrees::destroy(value); }
    template <typename... Arguments>
    static bool add(Arguments&&... arguments) {
        return plaintrees::add(std::forward<Arguments>(arguments)...);
    }
    static void reserve(Array& array, unsigned long count) { plaintrees::reserve(array, count); }
    static void clear(Dictionary& dictionary) { plaintrees::clear(dictionary); }
    static void moveEntries(Dictionary& from, Dictionary& to) { plaintrees::moveEntries(from, to); }
    static long integer(const Value& node) { return plaintrees::integer(node); }
    static double number(const Value& node) { return plaintrees::number(node); }
    static const Value& element(const Array& array, unsigned long index) {
        return plaintrees::element(array, index);
    }
    static std::string text(const Value& node) {
        return std::string(plaintrees::Text(node).view());
    }
    static auto begin(const Dictionary& dictionary) { return plaintrees::begin(dictionary); }
    static auto end(const Dictionary& dictionary) { return plaintrees::end(dictionary); }
    static unsigned long size(const Array& array) { return plaintrees::size(array); }
    static bool parse(const std::string& text, Dictionary** dictionary, Array** array) {
        util::config::JSONParser parser(false);
        return plaintrees::parse(parser, text, dictionary, array);
    }
};

struct Chosen {
    static void destroy(Value* value) { trees::destroy(value); }
    template <typename... Arguments>
    static bool add(Arguments&&... arguments) {
        return trees::add(std::forward<Arguments>(arguments)...);
    }
    static void reserve(Array& array, unsigned long count) { trees::reserve(array, count); }
    static void clear(Dictionary& dictionary) { trees::clear(dictionary); }
    static void moveEntries(Dictionary& from, Dictionary& to) { trees::moveEntries(from, to); }
    static long integer(const Value& node) { return trees::integer(node); }
    static double number(const Value& node) { return trees::number(node); }
    static const Value& element(const Array& array, unsigned long index) {
        return trees::element(array, index);
    }
    static std::string text(const Value& node) { return std::string(trees::Text(node).view()); }
    static auto begin(const Dictionary& dictionary) { return trees::begin(dictionary); }
    static auto end(const Dictionary& dictionary) { return trees::end(dictionary); }
    static unsigned long size(const Array& array) { return trees::size(array); }
    static bool parse(const std::string& text, Dictionary** dictionary, Array** array) {
        util::config::JSONParser parser(false);
        return trees::parse(parser, text, dictionary, array);
    }
};

/// An integer that counts the living objects of its class.
class Counted : public ValueInt {
public:
    explicit Counted(int& alive) : ValueInt(1), alive_(alive) { ++alive_; }
    ~Counted() override { --alive_; }

private:
    int& alive_;
};

template <typename Functions>
class Trees : public testing::Test {};

using Implementations = testing::Types<Plain, Chosen>;
TYPED_TEST_SUITE(Trees, Implementations);

TYPED_TEST(Trees, DestroyDeletesUnsharedNodes) {
    int alive = 0;
    TypeParam::destroy(new Counted(alive));
    EXPECT_EQ(alive, 0);
    for (Value* shared : {Value::getNull(), Value::getBool(true), Value::getBool(false)}) {
        TypeParam::destroy(shared);
        EXPECT_TRUE(shared->isValue());
    }
}

TYPED_TEST(Trees, AddReplacesTheValueOfAnExistingKey) {
    int alive = 0;
    Dictionary dictionary;
    EXPECT_FALSE(TypeParam::add(dictionary, "a", new Counted(alive)));
    EXPECT_FALSE(TypeParam::add(dictionary, "b", Value::getNull()));
    EXPECT_FALSE(TypeParam::add(dictionary, "a", new ValueInt(2)));
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(dictionary, *parseTree(R"({"a": 2, "b": null})"));
}

TYPED_TEST(Trees, AddAppendsToAnArray) {
    Array array;
    TypeParam::reserve(array, 2);
    EXPECT_FALSE(TypeParam::add(array, new ValueInt(1)));
    EXPECT_FALSE(TypeParam::add(array, Value::getBool(true)));
    EXPECT_EQ(array, *parseTree("[1, true]"));
}

TYPED_TEST(Trees, AddRejectsANullPointer) {
    Dictionary dictionary;
    Array array;
    EXPECT_TRUE(TypeParam::add(dictionary, "a", nullptr));
    EXPECT_TRUE(TypeParam::add(array, nullptr));
    EXPECT_EQ(entryCount(dictionary), 0U);
    EXPECT_EQ(array.arraySize(), 0U);
}

TYPED_TEST(Trees, ClearDestroysTheChildren) {
    int alive = 0;
    Dictionary dictionary;
    dictionary.add("a", new Counted(alive));
    dictionary.add("b", Value::getNull());
    TypeParam::clear(dictionary);
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(entryCount(dictionary), 0U);
}

TYPED_TEST(Trees, MoveEntriesMovesTheNodes) {
    int alive = 0;
    Dictionary from;
    from.add("a", new Counted(alive));
    from.add("b", new ValueInt(2));
    Value const* const first = &from["a"];
    Dictionary to;
    TypeParam::moveEntries(from, to);
    EXPECT_EQ(&to["a"], first);
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(entryCount(from), 0U);
    EXPECT_EQ(entryCount(to), 2U);
}

TYPED_TEST(Trees, ScalarsAreRead) {
    using Limits = std::numeric_limits<long>;
    EXPECT_EQ(TypeParam::integer(ValueInt(Limits::min())), Limits::min());
    EXPECT_EQ(TypeParam::integer(ValueInt(std::numeric_limits<unsigned long>::max())), -1);
    EXPECT_EQ(TypeParam::number(ValueFloat(-0.5)), -0.5);
    const std::string text("a text that is too long for the string itself\0x", 47);
    EXPECT_EQ(TypeParam::text(ValueString(text)), text);
    EXPECT_EQ(TypeParam::text(ValueString(std::string())), "");
}

TYPED_TEST(Trees, FieldsAndElementsAreVisitedInOrder) {
    const Tree tree = parseTree(R"({"a": [1, [2]], "b": {}})");
    const Dictionary& dictionary = *tree->getEditableDictionary();
    auto field = TypeParam::begin(dictionary);
    EXPECT_EQ(std::string(field->first), "a");
    EXPECT_EQ(field->second, &dictionary["a"]);
    EXPECT_EQ(std::string((++field)->first), "b");
    EXPECT_TRUE(++field == TypeParam::end(dictionary));
    const Array& array = *tree->getEditableArray("a");
    ASSERT_EQ(TypeParam::size(array), 2U);
    EXPECT_EQ(&TypeParam::element(array, 1), &array[1]);
}

TYPED_TEST(Trees, ParseReturnsTheTree) {
    Dictionary* dictionary = nullptr;
    Array* array = nullptr;
    ASSERT_FALSE(TypeParam::parse(R"({"a": [1]})", &dictionary, &array));
    const Tree owner(dictionary);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(*dictionary, *parseTree(R"({"a": [1]})"));
}

TYPED_TEST(Trees, ParseRejectsAZeroByte) {
    Dictionary* dictionary = nullptr;
    Array* array = nullptr;
    EXPECT_TRUE(TypeParam::parse(std::string("[1]\0", 4), &dictionary, &array));
    EXPECT_TRUE(TypeParam::parse(std::string("[\"\0\"]", 5), &dictionary, &array));
    EXPECT_EQ(array, nullptr);
}

TEST(PlainTrees, AddRejectsAKeyWithAZeroByte) {
    int alive = 0;
    Dictionary dictionary;
    EXPECT_TRUE(plaintrees::add(dictionary, std::string("a\0b", 3), new Counted(alive)));
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(entryCount(dictionary), 0U);
}

}  // namespace
