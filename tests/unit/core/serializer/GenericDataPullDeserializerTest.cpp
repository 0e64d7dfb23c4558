#include "kova/core/GenericDataPullDeserializer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/FailingAllocations.h"
#include "support/Trees.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace {

using kova::serializer::GenericDataPullDeserializer;
using kova::test::parseTree;
using kova::test::Tree;
using util::config::Value;
using util::config::ValueInt;
using util::config::ValueString;
using util::config::ValueUnicodeString;
using util::serializer::EntryType;

/// Fixture: a deserializer on which `beginDeserialize` was called.
class Reading : public testing::Test {
protected:
    GenericDataPullDeserializer& begin(Value* tree) {
        tree_.reset(tree);
        deserializer_ = std::make_unique<GenericDataPullDeserializer>(*tree_);
        EXPECT_FALSE(deserializer_->beginDeserialize(nullptr, nullptr));
        return *deserializer_;
    }
    GenericDataPullDeserializer& begin(const std::string& json) {
        return begin(parseTree(json).release());
    }

private:
    Tree tree_;
    std::unique_ptr<GenericDataPullDeserializer> deserializer_;
};

EntryType peek(GenericDataPullDeserializer& deserializer) {
    return deserializer.peekNextEntry()->type;
}

TEST(GenericDataPullDeserializer, EveryOperationFailsBeforeBeginDeserialize) {
    const ValueInt root(7);
    GenericDataPullDeserializer deserializer(root);
    std::string name = "former";
    EXPECT_TRUE(deserializer.beginStruct(nullptr));
    EXPECT_TRUE(deserializer.isStructEnd());
    EXPECT_TRUE(deserializer.beginField(name));
    EXPECT_EQ(name, "former");
    EXPECT_TRUE(deserializer.endField());
    EXPECT_TRUE(deserializer.endStruct());
    EXPECT_TRUE(deserializer.beginArray());
    EXPECT_TRUE(deserializer.isArrayEnd());
    EXPECT_TRUE(deserializer.beginElement());
    EXPECT_TRUE(deserializer.endElement());
    EXPECT_TRUE(deserializer.endArray());
    EXPECT_EQ(peek(deserializer), EntryType::End);
    EXPECT_EQ(deserializer.getNextEntry()->type, EntryType::End);
    EXPECT_FALSE(deserializer.skipField());
    EXPECT_FALSE(deserializer.endDeserialize());
}

TEST_F(Reading, OptionsSucceedAndNamedFieldsFail) {
    auto& deserializer = begin("{\"a\": 3}");
    EXPECT_FALSE(deserializer.beginArrayOption());
    EXPECT_FALSE(deserializer.endArrayOption());
    EXPECT_FALSE(deserializer.beginOption(nullptr));
    EXPECT_FALSE(deserializer.endOption());
    bool flag = true;
    EXPECT_FALSE(deserializer.getEmptyElement(flag));
    EXPECT_FALSE(flag);
    EXPECT_TRUE(deserializer.beginMandatoryField("a", 1));
    EXPECT_TRUE(deserializer.endMandatoryField());
    EXPECT_TRUE(deserializer.beginOptionalField("a", 1, flag));
    EXPECT_TRUE(deserializer.endOptionalField());
    EXPECT_EQ(deserializer.getApiCapibilites(), 0U);
}

TEST_F(Reading, GettersOfUnicodeStringsFail) {
    auto& deserializer = begin(new ValueString("text"));
    util::UnicodeString8 narrow;
    util::UnicodeString16 wide;
    zel::unicode::String text;
    EXPECT_TRUE(deserializer.getString(narrow));
    EXPECT_TRUE(deserializer.getString(wide));
    EXPECT_TRUE(deserializer.getString(text));
}

TEST_F(Reading, EnumeratorsAreReadAsIntegers) {
    int value = 0;
    EXPECT_FALSE(begin("2").getEnum(value, 3, true));
    EXPECT_EQ(value, 2);
    EXPECT_TRUE(begin("3").getEnum(value, 3, true));
    EXPECT_TRUE(begin("\"2\"").getEnum(value, 3, false));
    EXPECT_EQ(value, 2);
}

// ---- Structs and arrays ----

TEST_F(Reading, NothingFollowsALeafAtTheRoot) {
    auto& deserializer = begin("7");
    std::int32_t value = 0;
    EXPECT_FALSE(deserializer.getInt32(value));
    EXPECT_EQ(value, 7);
    EXPECT_EQ(peek(deserializer), EntryType::End);
    EXPECT_FALSE(deserializer.endDeserialize());
}

TEST_F(Reading, FieldsAreReadInKeyOrder) {
    auto& deserializer = begin(R"({"b": true, "a": 1.9})");
    std::string name;
    std::int32_t integer = 0;
    double number = 0.0;
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.isStructEnd());
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(name, "a");
    EXPECT_FALSE(deserializer.getInt32(integer));
    EXPECT_EQ(integer, 1);
    ASSERT_FALSE(deserializer.endField());
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(name, "b");
    EXPECT_FALSE(deserializer.getDouble(number));
    EXPECT_EQ(number, 1.0);
    ASSERT_FALSE(deserializer.endField());
    EXPECT_TRUE(deserializer.isStructEnd());
    EXPECT_FALSE(deserializer.endStruct());
    EXPECT_EQ(peek(deserializer), EntryType::End);
}

TEST_F(Reading, ElementsAreReadInOrder) {
    auto& deserializer = begin(R"([[], "x"])");
    ASSERT_FALSE(deserializer.beginArray());
    EXPECT_FALSE(deserializer.isArrayEnd());
    ASSERT_FALSE(deserializer.beginElement());
    ASSERT_FALSE(deserializer.beginArray());
    EXPECT_TRUE(deserializer.isArrayEnd());
    EXPECT_FALSE(deserializer.endArray());
    EXPECT_EQ(peek(deserializer), EntryType::ElementEnd);
    ASSERT_FALSE(deserializer.endElement());
    ASSERT_FALSE(deserializer.beginElement());
    std::string text;
    EXPECT_FALSE(deserializer.getString(text));
    EXPECT_EQ(text, "x");
    ASSERT_FALSE(deserializer.endElement());
    EXPECT_TRUE(deserializer.isArrayEnd());
    EXPECT_FALSE(deserializer.endArray());
    EXPECT_EQ(peek(deserializer), EntryType::End);
}

TEST_F(Reading, FailedGetterConsumesTheLeaf) {
    auto& deserializer = begin(R"({"a": 1})");
    std::string name;
    std::string text = "former";
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_TRUE(deserializer.getString(text));
    EXPECT_EQ(text, "former");
    EXPECT_EQ(peek(deserializer), EntryType::FieldEnd);
}

TEST_F(Reading, StructOperationsFailOnAnArray) {
    auto& deserializer = begin("[1]");
    std::string name = "former";
    EXPECT_TRUE(deserializer.beginStruct(nullptr));
    EXPECT_EQ(peek(deserializer), EntryType::ArrayBegin);
    EXPECT_TRUE(deserializer.beginField(name));
    EXPECT_TRUE(deserializer.endStruct());
    EXPECT_EQ(name, "former");
    EXPECT_EQ(peek(deserializer), EntryType::ArrayBegin);
}

TEST_F(Reading, ArrayOperationsFailOnAStructAndALeaf) {
    for (char const* json : {"{}", "1"}) {
        auto& deserializer = begin(json);
        const EntryType before = peek(deserializer);
        EXPECT_TRUE(deserializer.beginArray()) << json;
        EXPECT_TRUE(deserializer.beginElement()) << json;
        EXPECT_TRUE(deserializer.endArray()) << json;
        EXPECT_EQ(peek(deserializer), before) << json;
    }
}

TEST_F(Reading, BeginFailsPastTheLastFieldOrElement) {
    std::string name = "former";
    auto* deserializer = &begin("{}");
    EXPECT_TRUE(deserializer->beginField(name)) << "not entered";
    ASSERT_FALSE(deserializer->beginStruct(nullptr));
    EXPECT_TRUE(deserializer->beginField(name));
    EXPECT_EQ(name, "former");
    ASSERT_FALSE(deserializer->endStruct());
    EXPECT_TRUE(deserializer->beginField(name));

    deserializer = &begin("[]");
    ASSERT_FALSE(deserializer->beginArray());
    EXPECT_TRUE(deserializer->beginElement());
    ASSERT_FALSE(deserializer->endArray());
    EXPECT_TRUE(deserializer->beginElement());
}

TEST_F(Reading, FieldCanBeEndedWithoutReadingItsValue) {
    auto& deserializer = begin(R"({"a": {"b": 1}, "c": 2})");
    std::string name;
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.beginField(name));
    ASSERT_FALSE(deserializer.endField());
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(name, "c");
}

TEST_F(Reading, EndFieldFailsForAnElement) {
    auto& deserializer = begin("[1]");
    ASSERT_FALSE(deserializer.beginArray());
    ASSERT_FALSE(deserializer.beginElement());
    EXPECT_TRUE(deserializer.endField());
    EXPECT_EQ(peek(deserializer), EntryType::Element) << "the element was left, not stepped over";
}

TEST_F(Reading, EndFieldAndEndElementFailForTheRoot) {
    EXPECT_TRUE(begin("{}").endField());
    EXPECT_TRUE(begin("[]").endElement());
}

TEST_F(Reading, AskingForTheEndOfAContainerThatIsNotOpenEndsTheProcess) {
    EXPECT_DEATH(begin("{}").isStructEnd(), "bad_variant_access");
    EXPECT_DEATH(begin("[]").isStructEnd(), "bad_variant_access");
    EXPECT_DEATH(begin("[]").isArrayEnd(), "bad_variant_access");
    EXPECT_DEATH(begin("1").isArrayEnd(), "bad_variant_access");
    EXPECT_DEATH(static_cast<void>(begin("[1]").beginElement()), "bad_variant_access");
}

// ---- Beginning and ending the read ----

TEST_F(Reading, EndDeserializeSucceedsAtEveryPosition) {
    auto& deserializer = begin(R"({"a": 1})");
    EXPECT_FALSE(deserializer.endDeserialize());
    std::string name;
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_FALSE(deserializer.endDeserialize());
}

TEST_F(Reading, EndDeserializeFailsAfterASecondBeginWithoutReset) {
    auto& deserializer = begin("7");
    ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
    EXPECT_TRUE(deserializer.endDeserialize());

    deserializer.reset();
    ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
    std::int32_t value = 0;
    EXPECT_FALSE(deserializer.getInt32(value));
    EXPECT_EQ(value, 7);
    EXPECT_FALSE(deserializer.endDeserialize());
}

TEST_F(Reading, FailedEndOfAFieldOrElementKeepsThePosition) {
    auto* deserializer = &begin("{}");
    ASSERT_FALSE(deserializer->beginStruct(nullptr));
    ASSERT_FALSE(deserializer->beginDeserialize(nullptr, nullptr));
    EXPECT_TRUE(deserializer->endField());
    EXPECT_TRUE(deserializer->isStructEnd());

    deserializer = &begin("[]");
    ASSERT_FALSE(deserializer->beginArray());
    ASSERT_FALSE(deserializer->beginDeserialize(nullptr, nullptr));
    EXPECT_TRUE(deserializer->endElement());
    EXPECT_TRUE(deserializer->isArrayEnd());
}

// ---- Entries ----

/// Returns the entries up to the end as texts: the code and the value, if the entry has one.
std::string entries(GenericDataPullDeserializer& deserializer) {
    std::string all;
    for (;;) {
        const util::serializer::Entry entry = *deserializer.getNextEntry();
        all += (all.empty() ? "" : " ") + std::to_string(static_cast<int>(entry.type));
        switch (entry.type) {
            case EntryType::End:
                return all;
            case EntryType::Boolean:
                all += entry.scalar.boolean ? ":true" : ":false";
                break;
            case EntryType::Int32:
                all += ":" + std::to_string(entry.scalar.int32);
                break;
            case EntryType::Double:
                all += ":" + std::to_string(entry.scalar.number);
                break;
            case EntryType::String:
            case EntryType::Field:
                all += ":" + entry.text;
                break;
            default:
                break;
        }
    }
}

struct EntriesRow {
    char const* json;
    char const* entries;
};

void PrintTo(const EntriesRow& row, std::ostream* out) {
    *out << row.json;
}

class EntriesTest : public testing::TestWithParam<EntriesRow> {};

TEST_P(EntriesTest, EveryNodeProducesTheExpectedEntriesInOrder) {
    const Tree tree = parseTree(GetParam().json);
    GenericDataPullDeserializer deserializer(*tree);
    ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
    EXPECT_EQ(entries(deserializer), GetParam().entries);
    EXPECT_EQ(peek(deserializer), EntryType::End);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, EntriesTest,
    testing::Values(EntriesRow{"null", "2 1"}, EntriesRow{"true", "3:true 1"},
                    EntriesRow{"-7", "8:-7 1"}, EntriesRow{"2.5", "13:2.500000 1"},
                    EntriesRow{"\"x\"", "14:x 1"}, EntriesRow{"{}", "31 32 1"},
                    EntriesRow{"[]", "15 30 1"}, EntriesRow{"{\"a\":1}", "31 33:a 8:1 34 32 1"},
                    EntriesRow{"[1]", "15 35 8:1 36 30 1"},
                    EntriesRow{"{\"b\":[null,{}],\"a\":\"x\"}",
                               "31 33:a 14:x 34 33:b 15 35 2 36 35 31 32 36 30 34 32 1"},
                    // The low 32 bits of 2^32 + 7, 2^31, -2^63 and 2^64 - 1.
                    EntriesRow{"[4294967303,2147483648,-9223372036854775808,18446744073709551615]",
                               "15 35 8:7 36 35 8:-2147483648 36 35 8:0 36 35 8:-1 36 30 1"}));

TEST_F(Reading, PeekDoesNotConsume) {
    auto& deserializer = begin(R"({"a": 1})");
    while (peek(deserializer) != EntryType::End) {
        const EntryType first = peek(deserializer);
        const EntryType second = peek(deserializer);
        EXPECT_EQ(first, second);
        EXPECT_EQ(deserializer.getNextEntry()->type, first);
    }
}

TEST_F(Reading, EveryPeekReturnsTheSameEntry) {
    auto& deserializer = begin("[1]");
    util::serializer::Entry const* first = deserializer.peekNextEntry();
    EXPECT_EQ(deserializer.getNextEntry(), first);
    EXPECT_EQ(deserializer.getNextEntry(), first);
    EXPECT_EQ(first->type, EntryType::Element);
}

TEST_F(Reading, UnicodeStringHasAnEntryOfTypeNone) {
    auto* array = new util::config::Array;
    array->add(new ValueUnicodeString(util::UnicodeString8{"x"}));
    array->add(&Value::getUndefined());
    EXPECT_EQ(entries(begin(array)), "15 35 0 36 35 0 36 30 1");
}

TEST_F(Reading, EntriesAndTypedReadsCanBeMixed) {
    auto& deserializer = begin(R"({"a": [5]})");
    std::string name;
    std::int32_t value = 0;
    EXPECT_EQ(deserializer.getNextEntry()->type, EntryType::StructBegin);
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(deserializer.getNextEntry()->type, EntryType::ArrayBegin);
    EXPECT_EQ(deserializer.getNextEntry()->type, EntryType::Element);
    EXPECT_FALSE(deserializer.getInt32(value));
    EXPECT_EQ(value, 5);
    EXPECT_EQ(deserializer.getNextEntry()->type, EntryType::ElementEnd);
    EXPECT_TRUE(deserializer.isArrayEnd());
}

// ---- Skipping ----

TEST_F(Reading, SkipFieldSkipsNestedFields) {
    auto& deserializer = begin(R"({"a": {"x": [{"y": 1}], "z": 2}, "b": 5})");
    std::string name;
    std::int32_t value = 0;
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_FALSE(deserializer.skipField());
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_EQ(name, "b");
    EXPECT_FALSE(deserializer.getInt32(value));
    EXPECT_EQ(value, 5);
    EXPECT_FALSE(deserializer.endField());
    EXPECT_TRUE(deserializer.isStructEnd());
}

TEST_F(Reading, SkipFieldSkipsAUnicodeString) {
    auto* dictionary = new util::config::Dictionary;
    dictionary->add("a", new ValueUnicodeString(util::UnicodeString8{"x"}));
    auto& deserializer = begin(dictionary);
    std::string name;
    ASSERT_FALSE(deserializer.beginStruct(nullptr));
    ASSERT_FALSE(deserializer.beginField(name));
    EXPECT_FALSE(deserializer.skipField());
    EXPECT_TRUE(deserializer.isStructEnd());
}

TEST_F(Reading, SkipFieldOutsideAFieldSkipsToTheEnd) {
    for (char const* json : {"7", "[1, [2]]", "{\"a\": {\"b\": 1}, \"c\": 2}"}) {
        auto& deserializer = begin(json);
        EXPECT_FALSE(deserializer.skipField()) << json;
        EXPECT_EQ(peek(deserializer), EntryType::End) << json;
    }
}

// ---- Exhausted memory ----

TEST(GenericDataPullDeserializer, FailsIfMemoryIsExhaustedAndLeaksNothing) {
    const Tree tree = parseTree(
        R"({"a name that is too long for the string itself": "a text of which the same is true"})");
    GenericDataPullDeserializer deserializer(*tree);
    long failures = 0;
    failures += kova::test::failEveryAllocation([&] {
        deserializer.reset();
        std::string name;
        std::string text;
        return !deserializer.beginDeserialize(nullptr, nullptr) &&
               !deserializer.beginStruct(nullptr) && !deserializer.beginField(name) &&
               !deserializer.getString(text);
    });
    EXPECT_GE(failures, 2);

    GenericDataPullDeserializer entries(*tree);
    failures = kova::test::failEveryAllocation([&] {
        entries.reset();
        if (entries.beginDeserialize(nullptr, nullptr)) {
            return false;
        }
        EntryType type = EntryType::None;
        do {
            type = entries.getNextEntry()->type;
        } while (type != EntryType::End && type != EntryType::Failure);
        return type == EntryType::End;
    });
    EXPECT_GE(failures, 1);
}

}  // namespace
