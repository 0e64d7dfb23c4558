#include <gtest/gtest.h>

#include <memory>

#include "support/Payloads.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

// Tests `PullFromPushDeserializer::getRest`, which reads the rest of a container into a tree.
namespace {

using namespace util::serializer;
using payloads::BinaryPull;
using payloads::JsonPull;
using util::config::Array;
using util::config::Dictionary;
using util::config::ValueInt;
using util::config::ValueString;

struct Row {
    char const* payload;  // an object
    char const* tree;
};

TEST(RecordTreeTest, GetRestConvertsAStructToADictionary) {
    const Row rows[] = {
        {"{}", "{}"},
        {R"({"b": [1, -2, 2.5], "a": "text"})", R"({"a":"text","b":[1,-2,2.5]})"},
        {R"({"a": null, "b": true, "c": false})", R"({"a":null,"b":true,"c":false})"},
        {R"({"a": 18446744073709551615})", R"({"a":18446744073709551615})"},
        {R"({"a": [[], {}, [{"b": [[]]}]], "c": {"d": {}}})",
         R"({"a":[[],{},[{"b":[[]]}]],"c":{"d":{}}})"},
        {R"({"a": 1, "a": [2], "a": {"b": 3}})", R"({"a":{"b":3}})"},
    };
    for (const Row& row : rows) {
        JsonPull pull(row.payload);
        Dictionary out;
        EXPECT_FALSE(pull.beginStruct(nullptr) || pull.getRest(out)) << row.payload;
        EXPECT_EQ(out.toJson(true), row.tree);
        EXPECT_FALSE(pull.endDeserialize()) << row.payload;
    }
}

TEST(RecordTreeTest, GetRestConvertsABinaryArrayToAnArray) {
    // 1, a float, a typed array, an empty element, a chunked string
    BinaryPull pull("85 01 fa3fc00000 d84043010203 f7 7f61616162ff");
    Array out;
    EXPECT_FALSE(pull.beginArray() || pull.getRest(out));
    EXPECT_EQ(out.toJson(true), R"([1,1.5,[1,2,3],null,"ab"])");
    EXPECT_FALSE(pull.endDeserialize());
}

TEST(RecordTreeTest, GetRestReadsOnlyTheRemainingItems) {
    JsonPull pull(R"({"a": 1, "b": [2, 3, 4], "c": 5})");
    std::string name;
    std::int32_t number = 0;
    Array numbers;
    Dictionary rest;
    EXPECT_FALSE(pull.beginStruct(nullptr) || pull.beginField(name) || pull.getInt32(number) ||
                 pull.endField() || pull.beginField(name) || pull.beginArray() ||
                 pull.beginElement() || pull.getInt32(number) || pull.endElement() ||
                 pull.getRest(numbers) || pull.endField() || pull.getRest(rest));
    EXPECT_EQ(numbers.toJson(true), "[3,4]");
    EXPECT_EQ(rest.toJson(true), R"({"c":5})");
    EXPECT_FALSE(pull.endDeserialize());
}

TEST(RecordTreeTest, GetRestKeepsExistingItems) {
    JsonPull pull(R"({"a": [3], "b": 2})");
    Dictionary out;
    out.add("a", new ValueString("former"));
    out.add("z", new ValueInt(1));
    Array numbers;
    numbers.add(new ValueInt(1));
    EXPECT_FALSE(pull.beginStruct(nullptr) || pull.getRest(out));
    EXPECT_EQ(out.toJson(true), R"({"a":[3],"b":2,"z":1})");
    JsonPull more("[2]");
    EXPECT_FALSE(more.beginArray() || more.getRest(numbers));
    EXPECT_EQ(numbers.toJson(true), "[1,2]");
}

TEST(RecordTreeTest, GetRestFailsOutsideAMatchingContainer) {
    JsonPull pull(R"({"a": [1]})");
    Dictionary dictionary;
    Array array;
    std::string name;
    EXPECT_TRUE(pull.getRest(dictionary)) << "not begun";
    ASSERT_FALSE(pull.beginStruct(nullptr));
    EXPECT_TRUE(pull.getRest(array)) << "a struct";
    ASSERT_FALSE(pull.beginField(name));
    EXPECT_TRUE(pull.getRest(dictionary)) << "in a field";
    ASSERT_FALSE(pull.beginArray());
    EXPECT_TRUE(pull.getRest(dictionary)) << "an array";
    EXPECT_FALSE(pull.getRest(array) || pull.endField() || pull.endStruct());
    EXPECT_EQ(array.toJson(true), "[1]");
    EXPECT_EQ(dictionary.size(), 0U);
    EXPECT_FALSE(pull.endDeserialize());
    EXPECT_TRUE(pull.getRest(dictionary)) << "ended";
}

TEST(RecordTreeTest, GetRestReadsAPayloadAtTheNestingLimit) {
    const std::string begin(util::MAX_NESTING_DEPTH, '[');
    const std::string end(util::MAX_NESTING_DEPTH, ']');
    JsonPull pull(begin + end);
    Array out;
    EXPECT_FALSE(pull.beginArray() || pull.getRest(out));
    EXPECT_EQ(out.toJson(true), begin + end);
}

}  // namespace
