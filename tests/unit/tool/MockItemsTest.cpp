#include "MockItems.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tool/JsonTree.h"

namespace kova::tool {
namespace {

using test::messageOf;
using test::openApi;
using test::operation;
using test::quoted;
using test::textOf;
using test::treeOf;
using testing::StartsWith;
using Change = MockItems::Change;
using Strings = std::vector<std::string>;

class MockItemsTest : public testing::Test {
protected:
    MockItems::Target target(const std::string& key, const Strings& tail = {}) const {
        for (const MockPath& path : document.paths()) {
            if ("/" + path.segments[0].text == key) {
                return {"/path", &path, key, tail};
            }
        }
        return {"/path", nullptr, key, tail};
    }
    // Returns the value after a change, or the reason of a failure.
    std::string change(Change change, const std::string& key, const Strings& tail,
                       const std::string& body = "") {
        const auto result =
            items.change(target(key, tail), change, body.empty() ? nullptr : treeOf(body));
        return result ? read(key) : std::to_string(result.error().code) + " " + messageOf(result);
    }
    std::string read(const std::string& key, const Strings& tail = {}) const {
        const auto json = items.read(target(key, tail));
        return json ? textOf(*json) : json.error().message;
    }

    const std::string list = "{'items': {'type': 'integer'}, 'maxItems': 3, 'default': [1, 2]}";
    const MockDocument document =
        MockDocument::parse(openApi("{'/any': {'get': " + operation("", "{}") +
                                    "}, '/list': {'get': " + operation("", list) +
                                    "}, '/text': {'get': " + operation("", "{'const': 'a'}") +
                                    "}, '/sink': {'put': " + operation("{}", "") +
                                    "}, '/plain': {'get': " + operation("", "") + "}}"))
            .orThrow();
    MockItems items{document.rules()};
};

TEST_F(MockItemsTest, ValueIsThatOfTheDocumentUntilItChanges) {
    EXPECT_EQ(read("/list"), "[1,2]");
    EXPECT_EQ(read("/list", {"1"}), "2");
    EXPECT_EQ(read("/sink"), "path '/path' not found");
    EXPECT_EQ(change(Change::put, "/sink", {}, "7"), "7");
    EXPECT_EQ(change(Change::put, "/plain", {}, "7"), "7");
}

TEST_F(MockItemsTest, ChangesApplyToTheValueOrAPart) {
    struct Row {
        Change change;
        char const* key;
        Strings tail;
        char const* body;
        char const* result;
    };
    for (const Row& row : {
             Row{Change::put, "/any", {"a"}, "[1, 2]", "{'a':[1,2]}"},
             {Change::put, "/any", {"a"}, "[3]", "{'a':[3]}"},
             {Change::insert, "/any", {"b"}, "1", "{'a':[3],'b':1}"},
             {Change::insert, "/any", {"b"}, "1", "409 there is something at '/path'"},
             {Change::insert, "/any", {"a", "0"}, "2", "{'a':[2,3],'b':1}"},
             {Change::insert, "/any", {"a", "-"}, "4", "{'a':[2,3,4],'b':1}"},
             {Change::put, "/any", {"a", "3"}, "5", "{'a':[2,3,4,5],'b':1}"},
             {Change::put, "/any", {"a", "0"}, "6", "{'a':[6,3,4,5],'b':1}"},
             {Change::put, "/any", {"a", "5"}, "6", "404 path '/path' not found"},
             {Change::insert, "/any", {"a", "x"}, "6", "404 path '/path' not found"},
             {Change::remove, "/any", {"a", "1"}, "", "{'a':[6,4,5],'b':1}"},
             {Change::remove, "/any", {"a", "3"}, "", "404 path '/path' not found"},
             {Change::put,
              "/any",
              {"b", "c"},
              "1",
              "409 the value above '/path' is neither an object nor an array"},
             {Change::put, "/any", {"c", "d"}, "1", "404 path '/path' not found"},
             {Change::put, "/any", {"a", "9", "d"}, "1", "404 path '/path' not found"},
             {Change::remove, "/any", {"b"}, "", "{'a':[6,4,5]}"},
             {Change::remove, "/any", {"b"}, "", "404 path '/path' not found"},
             {Change::insert, "/any", {}, "7", "{'a':[6,4,5]}"},
             {Change::remove, "/any", {}, "", "path '/path' not found"},
             {Change::remove, "/any", {}, "", "404 path '/path' not found"},
             {Change::put, "/any", {"a"}, "1", "404 path '/path' not found"},
             {Change::insert, "/any", {}, "7", "7"},
             {Change::put, "/any", {}, "8", "8"},
             {Change::insert, "/list", {}, "3", "[1,2,3]"},
             {Change::insert,
              "/list",
              {},
              "4",
              "409 expected an array of at most 3 elements, found an array"},
             {Change::insert, "/list", {"0"}, "'a'", "409 [0]: expected an integer, found \"a\""},
             {Change::remove, "/list", {"0"}, "", "[2,3]"},
         }) {
        const std::string result = row.result;
        const bool hasPath = result.find("'/path'") != std::string::npos;
        EXPECT_EQ(change(row.change, row.key, row.tail, row.body),
                  hasPath ? result : quoted(result));
    }
    EXPECT_EQ(read("/list", {"2"}), "path '/path' not found");
    EXPECT_EQ(read("/list", {"0", "0"}), "path '/path' not found");
}

TEST_F(MockItemsTest, StreamHasTheCurrentValue) {
    const auto stream = items.watch(target("/list")).orThrow();
    EXPECT_EQ(items.watch(target("/list")).orThrow(), stream);
    EXPECT_EQ(textOf(*stream->values.get()), "[1,2]");
    EXPECT_EQ(change(Change::put, "/list", {"0"}, "5"), "[5,2]");
    EXPECT_EQ(textOf(*stream->values.get()), "[5,2]");
    EXPECT_EQ(items.streams().size(), 1U);
    EXPECT_EQ(change(Change::put, "/text", {}, "'a'"), "\"a\"");
    items.repeat();
    EXPECT_EQ(textOf(*stream->values.get()), "[5,2]");
    EXPECT_EQ(change(Change::remove, "/list", {}), "path '/path' not found");
    EXPECT_EQ(items.streams().size(), 0U);
    EXPECT_EQ(messageOf(items.watch(target("/list"))), "path '/path' not found");
}

TEST_F(MockItemsTest, NumberOfValuesIsBounded) {
    MockItems::Target other = target("/any");
    for (std::size_t i = 0; i < MockItems::MOST_ITEMS; ++i) {
        other.key = std::to_string(i);
        ASSERT_TRUE(items.change(other, Change::put, treeOf("1")));
    }
    EXPECT_TRUE(items.change(other, Change::put, treeOf("2")));
    EXPECT_TRUE(items.watch(other));
    EXPECT_THAT(change(Change::put, "/list", {}, "[]"),
                StartsWith("503 the mock stores at most 10000 values with 16777216 bytes"));
    EXPECT_THAT(messageOf(items.watch(target("/list"))), StartsWith("the mock stores at most"));
    EXPECT_EQ(read("/list"), "[1,2]");
}

TEST_F(MockItemsTest, BytesOfTheValuesAreBounded) {
    const std::string part = "'" + std::string(MockItems::MOST_BYTES / 4 - 2, 'a') + "'";
    MockItems::Target other = target("/any");
    for (int i = 0; i < 4; ++i) {
        other.key = std::to_string(i);
        ASSERT_TRUE(items.change(other, Change::put, treeOf(part)));
    }
    EXPECT_THAT(change(Change::put, "/any", {}, "1"), StartsWith("503 the mock stores at most"));
    EXPECT_TRUE(items.change(other, Change::put, treeOf("1")));
    EXPECT_EQ(change(Change::put, "/any", {}, "1"), "1");
}

}  // namespace
}  // namespace kova::tool
