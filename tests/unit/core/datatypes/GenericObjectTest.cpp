#include "kova/core/GenericObject.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/FailingAllocations.h"
#include "support/Trees.h"
#include "util/config/Scalars.h"

namespace {

using kova::fromGeneric;
using kova::fromGenericArray;
using kova::GenericObject;
using kova::toGeneric;
using kova::test::entryCount;
using kova::test::parseTree;
using util::config::Array;
using util::config::Dictionary;
using util::config::Value;
using util::config::ValueFloat;
using util::config::ValueInt;
using util::config::ValueString;

/// An integer that counts the living objects of its class.
class Counted : public ValueInt {
public:
    explicit Counted(int& alive) : ValueInt(1), alive_(alive) { ++alive_; }
    ~Counted() override { --alive_; }

private:
    int& alive_;
};

// ---- GenericObject ----

TEST(GenericObject, IsConstructedFromPairs) {
    const GenericObject object{{"width", new ValueInt(640)},
                               {"unit", new ValueString("px")},
                               {"scaled", Value::getBool(false)},
                               {"parent", Value::getNull()},
                               {"nested", new GenericObject{{"x", new ValueInt(1)}}}};
    EXPECT_EQ(object, *parseTree(R"({"width": 640, "unit": "px", "scaled": false, "parent": null,
                                     "nested": {"x": 1}})"));
    EXPECT_EQ(entryCount(GenericObject{}), 0U);
    EXPECT_EQ(entryCount(GenericObject()), 0U);
}

TEST(GenericObject, CallerStillOwnsTheValueOfADuplicateKey) {
    int alive = 0;
    auto* x = new Counted(alive);
    const auto y = std::make_unique<Counted>(alive);
    {
        GenericObject object{{"a", x}, {"a", y.get()}};
        EXPECT_EQ(entryCount(object), 1U);
        EXPECT_EQ(&object["a"], x);
        object.append({{"a", y.get()}, {"b", new ValueInt(2)}});
        EXPECT_EQ(entryCount(object), 2U);
        EXPECT_EQ(&object["a"], x);
        EXPECT_EQ(alive, 2);
    }
    EXPECT_EQ(alive, 1) << "the object destroyed its own value, not the caller's";
}

TEST(GenericObject, NullPointersAreNotAdded) {
    const GenericObject object{{"a", nullptr}};
    EXPECT_EQ(entryCount(object), 0U);
}

TEST(GenericObject, AppendReturnsTheObjectItself) {
    GenericObject object;
    EXPECT_EQ(&object.append({{"a", new ValueInt(1)}}).append({{"b", new ValueInt(2)}}), &object);
    EXPECT_EQ(object, *parseTree(R"({"a": 1, "b": 2})"));
}

TEST(GenericObject, CopyIsDeepExceptForTheSharedNodes) {
    GenericObject source{{"true", Value::getBool(true)},
                         {"false", Value::getBool(false)},
                         {"null", Value::getNull()},
                         {"text", new ValueString("x")},
                         {"nested", new GenericObject{{"flag", Value::getBool(true)}}}};
    GenericObject copy(source);
    EXPECT_EQ(copy, source);
    EXPECT_EQ(&copy["true"], Value::getBool(true));
    EXPECT_EQ(&copy["false"], Value::getBool(false));
    EXPECT_EQ(&copy["null"], Value::getNull());
    EXPECT_NE(&copy["text"], &source["text"]);
    EXPECT_NE(&copy["nested"], &source["nested"]);

    copy.clear();
    EXPECT_EQ(entryCount(copy), 0U);
    EXPECT_EQ(entryCount(source), 5U);
    EXPECT_EQ(source["text"], ValueString("x"));
    bool truth = false;
    EXPECT_FALSE(source["true"].get(truth));
    EXPECT_TRUE(truth);
    EXPECT_TRUE(Value::getNull()->isNull());
}

// `Value::clone` of a shared node returns a separate node; `GenericObject::copy` copies this node
// as the shared node.
TEST(GenericObject, CopyUsesSharedNodesInsteadOfTheirClones) {
    const GenericObject source{{"a", Value::getBool(true)->clone()},
                               {"b", Value::getNull()->clone()}};
    const GenericObject copy(source);
    EXPECT_EQ(&copy["a"], Value::getBool(true));
    EXPECT_EQ(&copy["b"], Value::getNull());
}

TEST(GenericObject, CopyKeepsExistingEntries) {
    const GenericObject source{{"a", new ValueInt(1)}, {"b", new ValueInt(2)}};
    GenericObject object{{"a", new ValueString("former")}};
    object.copy(source);
    object.copy(object);
    EXPECT_EQ(object, *parseTree(R"({"a": "former", "b": 2})"));
}

TEST(GenericObject, AssignmentReplacesTheContent) {
    int alive = 0;
    GenericObject object{{"former", new Counted(alive)}};
    const GenericObject source{{"a", new ValueInt(1)}};
    object = source;
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(object, source);

    object = {{"b", new Counted(alive)}, {"c", Value::getNull()}};
    EXPECT_EQ(entryCount(object), 2U);
    EXPECT_EQ(alive, 1);
    object = {};
    EXPECT_EQ(entryCount(object), 0U);
    EXPECT_EQ(alive, 0);
}

TEST(GenericObject, SelfAssignmentChangesNothing) {
    GenericObject object{{"a", new ValueInt(1)}};
    GenericObject& same = object;
    Value const* value = &object["a"];
    object = same;
    EXPECT_EQ(&object["a"], value);
    object = std::move(same);
    EXPECT_EQ(&object["a"], value);
    EXPECT_EQ(entryCount(object), 1U);
}

TEST(GenericObject, MoveTransfersTheValues) {
    int alive = 0;
    GenericObject source{{"a", new Counted(alive)}};
    Value const* value = &source["a"];
    GenericObject moved(std::move(source));
    EXPECT_EQ(&moved["a"], value);
    EXPECT_EQ(entryCount(source), 0U);  // NOLINT(bugprone-use-after-move): specified to be empty

    GenericObject target{{"former", new Counted(alive)}};
    EXPECT_EQ(alive, 2);
    target = std::move(moved);
    EXPECT_EQ(alive, 1) << "the target's former value is destroyed";
    EXPECT_EQ(&target["a"], value);
    EXPECT_EQ(entryCount(moved), 0U);  // NOLINT(bugprone-use-after-move)
    static_assert(std::is_nothrow_move_constructible_v<GenericObject>);
    static_assert(std::is_nothrow_move_assignable_v<GenericObject>);
}

TEST(GenericObject, CanBeAddedToATree) {
    int alive = 0;
    {
        Dictionary tree;
        tree.add("object", new GenericObject{{"a", new Counted(alive)}});
        EXPECT_NE(tree.getEditableDictionary("object"), nullptr);
        EXPECT_EQ(alive, 1);
        const std::unique_ptr<Value> clone(tree.clone());
        EXPECT_EQ(*clone, tree);
    }
    EXPECT_EQ(alive, 0);
}

// ---- fromGeneric ----

struct Kinds {
    char const* json;
    bool asBool;
    bool asInt;
    bool asLong;
    bool asNumber;
    bool asString;
};

template <typename T>
void expectReadable(const Kinds& row, bool readable) {
    const auto value = parseTree(row.json);
    T out{};
    EXPECT_EQ(fromGeneric(*value, out), !readable) << row.json;
    if (!readable) {
        EXPECT_EQ(out, T{}) << row.json;
    }
    const std::optional<T> optional = fromGeneric<T>(*value);
    ASSERT_EQ(optional.has_value(), readable) << row.json;
    if (readable) {
        EXPECT_EQ(*optional, out) << row.json;
    }
}

TEST(FromGeneric, ReadsTheSameKindsAsValueGet) {
    const Kinds rows[] = {
        {"true", true, false, false, false, false},
        {"7", false, true, true, true, false},
        {"2147483648", false, false, true, true, false},
        {"2.5", false, false, false, true, false},
        {"\"7\"", false, false, false, false, true},
        {"null", false, false, false, false, false},
        {"[7]", false, false, false, false, false},
        {"{}", false, false, false, false, false},
    };
    for (const Kinds& row : rows) {
        expectReadable<bool>(row, row.asBool);
        expectReadable<int>(row, row.asInt);
        expectReadable<long>(row, row.asLong);
        expectReadable<float>(row, row.asNumber);
        expectReadable<double>(row, row.asNumber);
        expectReadable<std::string>(row, row.asString);
    }
}

TEST(FromGeneric, ReturnsTheValue) {
    EXPECT_EQ(fromGeneric<bool>(*Value::getBool(true)), true);
    EXPECT_EQ(fromGeneric<int>(ValueInt(-7)), -7);
    EXPECT_EQ(fromGeneric<long>(ValueInt(1L << 40)), 1L << 40);
    EXPECT_EQ(fromGeneric<double>(ValueFloat(0.1)), 0.1);
    EXPECT_EQ(fromGeneric<std::string>(ValueString("x")), "x");
}

TEST(FromGeneric, NarrowsADoubleToTheNearestFloat) {
    EXPECT_EQ(fromGeneric<float>(ValueFloat(0.1)), 0.1F);
    EXPECT_EQ(fromGeneric<float>(ValueInt(3)), 3.0F);
}

TEST(FromGeneric, OutputIsUnchangedOnFailure) {
    std::string text = "former";
    float number = 2.0F;
    EXPECT_TRUE(fromGeneric(ValueInt(1), text));
    EXPECT_TRUE(fromGeneric(ValueString("1"), number));
    EXPECT_EQ(text, "former");
    EXPECT_EQ(number, 2.0F);
    EXPECT_TRUE(fromGeneric(Value::getUndefined(), text));
}

// ---- Vectors ----

TEST(FromGenericVector, ElementsAreAppended) {
    std::vector<int> numbers{9};
    EXPECT_FALSE(fromGeneric(*parseTree("[1, 2]"), numbers));
    EXPECT_EQ(numbers, (std::vector<int>{9, 1, 2}));
    EXPECT_FALSE(fromGeneric(*parseTree("[]"), numbers));
    EXPECT_EQ(numbers, (std::vector<int>{9, 1, 2}));
}

TEST(FromGenericVector, StopsAtTheFirstElementOfAnotherKind) {
    std::vector<int> numbers;
    EXPECT_TRUE(fromGeneric(*parseTree(R"([1, "two", 3])"), numbers));
    EXPECT_EQ(numbers, std::vector<int>{1});
    EXPECT_EQ(fromGenericArray<int>(*parseTree(R"([1, "two", 3])")), std::nullopt);
}

TEST(FromGenericVector, FailsForNonArrays) {
    std::vector<int> numbers{9};
    for (char const* json : {"1", "{}", "null", "\"1\""}) {
        EXPECT_TRUE(fromGeneric(*parseTree(json), numbers)) << json;
        EXPECT_EQ(fromGenericArray<int>(*parseTree(json)), std::nullopt) << json;
    }
    EXPECT_EQ(numbers, std::vector<int>{9});
}

template <typename T>
void expectRoundTrip(const std::vector<T>& values, char const* json) {
    const std::unique_ptr<Array> array(toGeneric(values));
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(*array, *parseTree(json));
    EXPECT_EQ(fromGenericArray<T>(*array), values) << json;
}

TEST(ToGeneric, ArrayRoundTrips) {
    expectRoundTrip<bool>({true, false}, "[true, false]");
    expectRoundTrip<int>({-1, 0, 2147483647}, "[-1, 0, 2147483647]");
    expectRoundTrip<long>({-9223372036854775807L - 1, 1}, "[-9223372036854775808, 1]");
    expectRoundTrip<float>({0.5F, -2.0F}, "[0.5, -2.0]");
    expectRoundTrip<double>({0.1, 1e300}, "[0.1, 1e300]");
    expectRoundTrip<std::string>({"", "x"}, R"(["", "x"])");
    expectRoundTrip<std::string>({}, "[]");
}

TEST(ToGeneric, BooleansAreTheSharedNodes) {
    const std::unique_ptr<Array> array(toGeneric(std::vector<bool>{true, false}));
    EXPECT_EQ(&(*array)[0], Value::getBool(true));
    EXPECT_EQ(&(*array)[1], Value::getBool(false));
}

// ---- Exhausted memory ----

TEST(ToGeneric, ReturnsNullIfMemoryIsExhaustedAndLeaksNothing) {
    const std::vector<std::string> texts{"a text that is too long for the string itself", "x"};
    const long before = kova::test::FailingAllocations::liveBlocks();
    const long failures = kova::test::failEveryAllocation([&] {
        const std::unique_ptr<Array> array(toGeneric(texts));
        return array != nullptr && array->arraySize() == texts.size();
    });
    EXPECT_GE(failures, 4);
    EXPECT_EQ(kova::test::FailingAllocations::liveBlocks(), before);
}

}  // namespace
