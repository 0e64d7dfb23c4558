#include <array>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

#include "Trial.h"
#include "support/Trees.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/JSONParser.h"
#include "util/config/Scalars.h"

// Operations on value nodes, the JSON parser and the byte buffers.

namespace kova::test {
namespace {

using util::config::Array;
using util::config::Dictionary;
using util::config::JSONParser;
using util::config::Value;
using util::config::ValueInt;

constexpr char const* SAMPLE =
    R"({"a long key for a string":"a text that is too long to be kept in place",)"
    R"("another key, also long":[1,2.5,true,[null,{"x":"y"}]],"b":18446744073709551615})";

void addToDictionary(Trial& trial) {
    Dictionary dictionary;
    dictionary.add("old", new ValueInt(1));
    trial.attempt([&] { return dictionary.add(KEY, new (std::nothrow) ValueInt(2)); });
    EXPECT_EQ(dictionary.size(), trial.isDone() ? 2U : 1U);
    EXPECT_EQ(dictionary.hasKey(KEY), trial.isDone());
    EXPECT_FALSE(dictionary.add("new", new ValueInt(3)));
    EXPECT_TRUE(dictionary["old"] == ValueInt(1));
}

void replaceInDictionary(Trial& trial) {
    Dictionary dictionary;
    dictionary.add(KEY, new ValueInt(1));
    trial.attempt([&] { return dictionary.set(KEY, new (std::nothrow) ValueInt(2)); });
    EXPECT_TRUE(dictionary[KEY] == ValueInt(trial.isDone() ? 2 : 1));
}

void growDictionary(Trial& trial) {
    Dictionary dictionary;
    for (int i = 0; i < 64; ++i) {  // a full page, which the next entry splits
        dictionary.add(std::to_string(1000 + 2 * i), new ValueInt(i));
    }
    trial.attempt([&] { return dictionary.add("1061", new (std::nothrow) ValueInt(2)); });
    EXPECT_EQ(dictionary.size(), trial.isDone() ? 65U : 64U);
    EXPECT_EQ(dictionary.hasKey("1061"), trial.isDone());
    EXPECT_FALSE(dictionary.set("1061", new ValueInt(3)));
    EXPECT_TRUE(dictionary["1126"] == ValueInt(63));
}

void reserveInDictionary(Trial& trial) {
    Dictionary dictionary;
    trial.attempt([&] {
        dictionary.reserve(100);
        return false;
    });
    EXPECT_FALSE(dictionary.add("new", new ValueInt(3)));
}

void insertIntoArray(Trial& trial) {
    Array array;
    array.add(new ValueInt(1));
    trial.attempt([&] { return array.insert(0, new (std::nothrow) ValueInt(2)); });
    EXPECT_EQ(array.toJson(true), trial.isDone() ? "[2,1]" : "[1]");
    EXPECT_FALSE(array.add(new ValueInt(3)));
}

void destroyTree(Trial& trial) {
    Tree tree = deepTree(1000);
    trial.attempt([&] {
        tree.reset();
        return false;
    });
}

void clone(Trial& trial, const Value& tree) {
    const std::string text = tree.toJson(true);
    Tree copy;
    trial.attempt([&] {
        copy.reset(tree.clone());
        return copy == nullptr;
    });
    EXPECT_TRUE(copy == nullptr || *copy == tree);
    EXPECT_EQ(tree.toJson(true), text);
}

void cloneTree(Trial& trial) {
    clone(trial, *parseTree(SAMPLE));
}

// The tree has more levels than the inline capacity of the stack.
void cloneDeepTree(Trial& trial) {
    clone(trial, *deepTree(100));
}

void compareTrees(Trial& trial) {
    const Tree tree = parseTree(SAMPLE);
    const Tree same = parseTree(SAMPLE);
    bool equal = false;
    trial.attempt([&] {
        equal = *tree == *same;
        return false;
    });
    EXPECT_EQ(equal, trial.isDone());
}

void print(Trial& trial, const Value& tree) {
    std::string text;
    trial.attempt([&] {
        text = tree.toJson(true);
        return false;
    });
    EXPECT_EQ(text, trial.isDone() ? tree.toJson(true) : "");
}

void printTree(Trial& trial) {
    print(trial, *parseTree(SAMPLE));
}

void printDeepTree(Trial& trial) {
    print(trial, *deepTree(100));
}

// A stream buffer that does not allocate memory.
class Page : public std::streambuf {
public:
    Page() { setp(bytes_.data(), bytes_.data() + bytes_.size()); }
    std::string text() const { return {pbase(), pptr()}; }

private:
    std::array<char, 4096> bytes_{};
};

void printToStream(Trial& trial) {
    // The text is long because printing a short one does not allocate memory.
    const std::string text = "[\"" + std::string(2000, 'a') + "\"]";
    const Tree tree = parseTree(text);
    Page page;
    std::ostream out(&page);
    const bool former = Value::g_print_compact.exchange(true);
    trial.attempt([&] {
        tree->print(out);
        return out.bad();
    });
    EXPECT_EQ(page.text(), trial.isDone() ? text : "");
    out.clear();
    tree->print(out);
    Value::g_print_compact = former;
    EXPECT_EQ(page.text(), trial.isDone() ? text + text : text);
    EXPECT_TRUE(out.good());
}

void getString(Trial& trial) {
    const util::config::ValueString value(KEY);
    std::string out = "before";
    trial.attempt([&] { return value.get(out); });
    EXPECT_EQ(out, trial.isDone() ? KEY : "before");
}

void getUnicodeString(Trial& trial) {
    const util::config::ValueString value(KEY);
    util::UnicodeString8 out{"before"};
    trial.attempt([&] { return value.get(out); });
    EXPECT_EQ(out.units, trial.isDone() ? KEY : "before");
}

void makeParserAndParse(Trial& trial) {
    Value* value = nullptr;
    trial.attempt([&] {
        JSONParser parser(true);
        value = parser.parseValue(SAMPLE);
        return value == nullptr;
    });
    const Tree tree(value);
    EXPECT_TRUE(tree == nullptr || tree->isDictionary());
}

void parseAgain(Trial& trial) {
    JSONParser parser(false);
    Dictionary untouched;
    Dictionary* dictionary = &untouched;
    Array* array = nullptr;
    trial.attempt([&] { return parser.parseString(SAMPLE, &dictionary, &array); });
    const Tree tree(trial.isDone() ? dictionary : nullptr);
    EXPECT_EQ(dictionary == &untouched, !trial.isDone());
    const Tree again(parser.parseValue(SAMPLE));
    ASSERT_NE(again, nullptr) << parser.reason();
    EXPECT_EQ(again->toJson(true), SAMPLE);
}

void appendBytes(Trial& trial) {
    util::ByteBufferWriter writer(0);
    EXPECT_FALSE(writer.append("abc", 3));
    const std::string bytes(1000, 'x');
    trial.attempt([&] { return writer.append(bytes.data(), bytes.size()); });
    EXPECT_EQ(writer.size(), trial.isDone() ? 1003U : 3U);
    EXPECT_FALSE(writer.append(bytes.data(), bytes.size()));
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(writer.data()), 3), "abc");
}

void copyBytes(Trial& trial) {
    const unsigned char bytes[] = {1, 2, 3};
    trial.attempt([&] {
        const util::ByteBufferReader reader(bytes, sizeof bytes, true);
        return reader.size() != sizeof bytes;
    });
}

constexpr Operation OPERATIONS[] = {
    {"Dictionary::add", FAILED, addToDictionary},
    {"Dictionary::set", FAILED, replaceInDictionary},
    {"Dictionary::add to a full page", FAILED, growDictionary},
    {"Dictionary::reserve", DONE, reserveInDictionary},
    {"Array::insert", FAILED, insertIntoArray},
    {"Value::destroy", 0, destroyTree},
    {"Value::clone", FAILED, cloneTree},
    {"Value::clone, deep tree", FAILED, cloneDeepTree},
    {"Value::operator==", THROWN, compareTrees},
    {"Value::toJson", THROWN, printTree},
    {"Value::toJson, deep tree", THROWN, printDeepTree},
    {"Value::print", FAILED, printToStream},
    {"Value::get(std::string&)", THROWN, getString},
    {"Value::get(UnicodeString8&)", THROWN, getUnicodeString},
    {"JSONParser, made and used", FAILED, makeParserAndParse},
    {"JSONParser::parseString", FAILED, parseAgain},
    {"ByteBufferWriter::append", FAILED, appendBytes},
    {"ByteBufferReader with a copy", THROWN, copyBytes},
};

INSTANTIATE_TEST_SUITE_P(Values, FailingMemory, testing::ValuesIn(OPERATIONS));

}  // namespace
}  // namespace kova::test
