#include "kova/core/TypeSerializers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/Factory.h"
#include "kova/core/GenericDataPullDeserializer.h"
#include "kova/core/JSONStructuredPullDeserializerOld.h"
#include "support/Buffers.h"
#include "support/FailingAllocations.h"
#include "support/RecordingSerializer.h"
#include "support/SmallStack.h"
#include "support/Trees.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/Limits.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"
#include "util/serializer/PullFromPushDeserializer.h"

namespace {

using kova::serializer::deserialize;
using kova::serializer::Factory;
using kova::serializer::GenericDataPullDeserializer;
using kova::serializer::serialize;
using kova::test::deepTree;
using kova::test::entryCount;
using kova::test::parseTree;
using kova::test::RecordingSerializer;
using kova::test::Tree;
using util::config::Array;
using util::config::Dictionary;
using util::config::Value;
using util::config::ValueFloat;
using util::config::ValueInt;
using util::config::ValueString;
using util::serializer::Entry;
using util::serializer::EntryType;
using Calls = std::vector<std::string>;

/// Writes the tree with the overload for the kind of its root.
bool write(util::serializer::IStructuredSerializer& serializer, Value& root) {
    if (auto* dictionary = root.getEditableDictionary()) {
        return serialize(serializer, *dictionary);
    }
    return serialize(serializer, *root.getEditableArray());
}

// ---- Leaves ----

struct LeafRow {
    char const* json;
    char const* call;
};

TEST(SerializeValue, WritesALeafByItsKind) {
    const LeafRow rows[] = {
        {"null", "null"},
        {"true", "boolean true"},
        {"false", "boolean false"},
        {"1", "int64 1"},  // 64 bits, even if fewer bits suffice
        {"-9223372036854775808", "int64 -9223372036854775808"},
        {"9223372036854775807", "int64 9223372036854775807"},
        {"9223372036854775808", "int64 -9223372036854775808"},  // the two's complement
        {"18446744073709551615", "int64 -1"},
        {"1.5", "double 1.500000"},
        {"\"x\"", "string x"},
    };
    for (const LeafRow& row : rows) {
        RecordingSerializer serializer;
        EXPECT_FALSE(serialize(serializer, *parseTree(row.json))) << row.json;
        EXPECT_EQ(serializer.calls(), Calls{row.call});
        RecordingSerializer failing(0);
        EXPECT_TRUE(serialize(failing, *parseTree(row.json))) << row.json;
    }
}

TEST(SerializeValue, FailsForOtherKindsAndWritesNothing) {
    const Dictionary dictionary;
    const Array array;
    const util::config::ValueUnicodeString unicode(util::UnicodeString8{"x"});
    RecordingSerializer serializer;
    for (Value const* value :
         {static_cast<Value const*>(&dictionary), static_cast<Value const*>(&array),
          static_cast<Value const*>(&unicode), static_cast<Value const*>(&Value::getUndefined())}) {
        EXPECT_TRUE(serialize(serializer, *value));
    }
    EXPECT_EQ(serializer.calls(), Calls{});
}

// ---- Writing trees ----

struct TreeRow {
    char const* json;
    Calls calls;
};

TEST(SerializeTree, WritesFieldsInKeyOrderAndElementsInOrder) {
    const TreeRow rows[] = {
        {"{}", {"{", "}"}},
        {"[]", {"[", "]"}},
        {R"({"b": 1, "a": null})",
         {"{", "field a -1", "null", "/field", "field b -1", "int64 1", "/field", "}"}},
        {R"([true, "x"])",
         {"[", "element", "boolean true", "/element", "element", "string x", "/element", "]"}},
        {R"({"a": {}, "b": [[], {"c": []}]})",
         {"{",      "field a -1", "{",        "}",       "/field", "field b -1", "[", "element",
          "[",      "]",          "/element", "element", "{",      "field c -1", "[", "]",
          "/field", "}",          "/element", "]",       "/field", "}"}},
    };
    for (const TreeRow& row : rows) {
        RecordingSerializer serializer;
        EXPECT_FALSE(write(serializer, *parseTree(row.json))) << row.json;
        EXPECT_EQ(serializer.calls(), row.calls) << row.json;
    }
}

TEST(SerializeTree, ContainerIsEndedEvenIfItsBeginFails) {
    RecordingSerializer serializer(0);
    EXPECT_TRUE(serialize(serializer, Dictionary()));
    EXPECT_EQ(serializer.calls(), (Calls{"{", "}"}));
    RecordingSerializer other(0);
    EXPECT_TRUE(serialize(other, Array()));
    EXPECT_EQ(other.calls(), (Calls{"[", "]"}));
}

TEST(SerializeTree, StopsAtALeafThatCannotBeWritten) {
    const Tree tree = parseTree(R"({"a": [], "b": 2, "c": 3})");
    tree->getEditableArray("a")->add(&Value::getUndefined());
    RecordingSerializer serializer;
    EXPECT_TRUE(write(serializer, *tree));
    EXPECT_EQ(serializer.calls(), (Calls{"{", "field a -1", "[", "element", "]", "}"}));
}

// After a failed call, only the ends of open containers are called, and the write fails.
TEST(SerializeTree, EveryOpenContainerIsEndedAfterAFailure) {
    const Tree tree = parseTree(R"({"a": [1, {"b": [[], "x"]}], "c": {"d": null}})");
    RecordingSerializer whole;
    ASSERT_FALSE(write(whole, *tree));
    for (std::size_t failing = 0; failing < whole.calls().size(); ++failing) {
        RecordingSerializer serializer(failing);
        EXPECT_TRUE(write(serializer, *tree)) << failing;
        const Calls& calls = serializer.calls();
        ASSERT_GT(calls.size(), failing);
        EXPECT_TRUE(std::equal(calls.begin(), calls.begin() + static_cast<long>(failing) + 1,
                               whole.calls().begin()))
            << failing;
        std::string open;
        for (std::size_t i = 0; i < calls.size(); ++i) {
            const std::string& call = calls[i];
            if (call == "{" || call == "[") {
                open.push_back(call == "{" ? '}' : ']');
            } else if (call == "}" || call == "]") {
                ASSERT_EQ(std::string(1, open.back()), call) << failing;
                open.pop_back();
            } else {
                EXPECT_LE(i, failing) << call;
            }
        }
        EXPECT_EQ(open, "") << failing;
    }
}

// ---- Reading entries ----

/// A deserializer that returns the entries of a script, and then `End`.
class Script : public util::serializer::PullFromPushDeserializer {
public:
    explicit Script(std::vector<Entry> entries)
        : PullFromPushDeserializer(nullptr), entries_(std::move(entries)) {}

    bool beginStruct(util::serializer::Options const*) override { return false; }
    bool beginArray() override { return false; }
    Entry const* getNextEntry() override {
        return next_ < entries_.size() ? &entries_[next_++] : &end_;
    }
    std::size_t taken() const { return next_; }

private:
    std::vector<Entry> entries_;
    std::size_t next_ = 0;
    Entry end_{{}, {}, EntryType::End};
};

Entry code(unsigned int number) {
    return {{}, {}, static_cast<EntryType>(number)};
}
Entry code(EntryType type) {
    return {{}, {}, type};
}
Entry text(EntryType type, const std::string& value) {
    return {{}, value, type};
}
Entry integer(EntryType type, std::int32_t value) {
    Entry entry = code(type);
    entry.scalar.int32 = value;
    return entry;
}
Entry natural(EntryType type, std::uint32_t value) {
    Entry entry = code(type);
    entry.scalar.uint32 = value;
    return entry;
}
Entry wide(EntryType type, std::int64_t value) {
    Entry entry = code(type);
    entry.scalar.int64 = value;
    return entry;
}
Entry number(EntryType type, double value) {
    Entry entry = code(type);
    entry.scalar.number = value;
    return entry;
}
Entry boolean(bool value) {
    Entry entry = code(EntryType::Boolean);
    entry.scalar.boolean = value;
    return entry;
}

TEST(DeserializeTree, EveryScalarEntryBecomesALeaf) {
    Script script({code(EntryType::Null), boolean(true), boolean(false),
                   integer(EntryType::Int8, -1), natural(EntryType::UInt8, 200),
                   integer(EntryType::Int16, -2), natural(EntryType::UInt16, 60000),
                   integer(EntryType::Int32, INT_MIN), natural(EntryType::UInt32, 4000000000U),
                   wide(EntryType::Int64, LONG_MIN), wide(EntryType::UInt64, -1),
                   number(EntryType::Float, 0.5), number(EntryType::Double, 0.1),
                   text(EntryType::String, "x"), code(EntryType::ArrayEnd)});
    Array array;
    EXPECT_FALSE(deserialize(script, array));
    EXPECT_EQ(array, *parseTree("[null, true, false, -1, 200, -2, 60000, -2147483648, 4000000000,"
                                "-9223372036854775808, 18446744073709551615, 0.5, 0.1, \"x\"]"));
    EXPECT_EQ(&array[0], Value::getNull());
    EXPECT_EQ(&array[1], Value::getBool(true));
    EXPECT_EQ(&array[2], Value::getBool(false));
}

TEST(DeserializeTree, ValueIsAddedUnderTheLatestName) {
    Script script(
        {text(EntryType::Field, "a"), code(EntryType::StructBegin), text(EntryType::Field, "b"),
         integer(EntryType::Int32, 1), code(EntryType::FieldEnd), code(EntryType::StructEnd),
         code(EntryType::FieldEnd), text(EntryType::Field, "c"), code(EntryType::ArrayBegin),
         code(EntryType::Element), integer(EntryType::Int32, 2), code(EntryType::ElementEnd),
         code(EntryType::ArrayEnd), code(EntryType::StructEnd)});
    Dictionary dictionary;
    EXPECT_FALSE(deserialize(script, dictionary));
    EXPECT_EQ(dictionary, *parseTree(R"({"a": {"b": 1}, "c": [2]})"));
}

TEST(DeserializeTree, EndOfAnotherContainerKindAndMissingNamesAreAccepted) {
    Script script({integer(EntryType::Int32, 1), text(EntryType::Field, "a"),
                   code(EntryType::ArrayBegin), code(EntryType::StructEnd),
                   code(EntryType::ArrayEnd)});
    Dictionary dictionary;
    EXPECT_FALSE(deserialize(script, dictionary));
    EXPECT_EQ(dictionary, *parseTree(R"({"": 1, "a": []})"));
}

TEST(DeserializeTree, UnknownEntriesAreIgnored) {
    Script script({code(37), code(1000), integer(EntryType::Int32, 1), code(EntryType::ArrayEnd)});
    Array array;
    EXPECT_FALSE(deserialize(script, array));
    EXPECT_EQ(array, *parseTree("[1]"));
}

TEST(DeserializeTree, ReadFailsAtUnusableEntriesSuchAsTypedArrays) {
    std::vector<unsigned int> failures = {0, 1};
    for (unsigned int number = 16; number <= 29; ++number) {
        failures.push_back(number);
    }
    for (const unsigned int number : failures) {
        Script script({integer(EntryType::Int32, 1), code(number), code(EntryType::ArrayEnd)});
        Array array;
        EXPECT_TRUE(deserialize(script, array)) << number;
        EXPECT_EQ(array, *parseTree("[1]")) << "earlier entries stay";
        EXPECT_EQ(script.taken(), 2U) << number;
    }
}

TEST(DeserializeTree, IncompleteContainersAreDestroyed) {
    Script script({integer(EntryType::Int32, 1), code(EntryType::StructBegin),
                   text(EntryType::Field, "a"), code(EntryType::ArrayBegin),
                   integer(EntryType::Int32, 2)});
    Array array;
    EXPECT_TRUE(deserialize(script, array));
    EXPECT_EQ(array, *parseTree("[1]"));
}

TEST(DeserializeTree, ValueOfAnExistingKeyIsReplaced) {
    Script script({text(EntryType::Field, "a"), integer(EntryType::Int32, 1),
                   text(EntryType::Field, "a"), code(EntryType::ArrayBegin),
                   code(EntryType::ArrayEnd), text(EntryType::Field, "a"),
                   integer(EntryType::Int32, 2), code(EntryType::StructEnd)});
    Dictionary dictionary;
    dictionary.add("a", new ValueString("former"));
    dictionary.add("b", new ValueString("other"));
    EXPECT_FALSE(deserialize(script, dictionary));
    EXPECT_EQ(dictionary, *parseTree(R"({"a": 2, "b": "other"})"));
}

TEST(DeserializeTree, ElementsAreAppended) {
    const Tree tree = parseTree("[2, 3]");
    GenericDataPullDeserializer deserializer(*tree);
    ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
    Array array;
    array.add(new ValueInt(1));
    EXPECT_FALSE(deserialize(deserializer, array));
    EXPECT_EQ(array, *parseTree("[1, 2, 3]"));
}

/// A deserializer of JSON that increases every integer by one.
class Increasing : public util::serializer::JSONStructuredPullDeserializerOld {
public:
    Entry const* getNextEntry() override {
        entry_ = *JSONStructuredPullDeserializerOld::getNextEntry();
        ++entry_.scalar.int64;
        return &entry_;
    }

private:
    Entry entry_;
};

TEST(DeserializeTree, DerivedDeserializerIsReadEntryByEntry) {
    const std::string json = R"({"a": [1, 2]})";
    util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(json.data()), json.size(),
                                  false);
    Increasing deserializer;
    Dictionary dictionary;
    ASSERT_FALSE(deserializer.beginDeserialize(&reader, nullptr));
    EXPECT_FALSE(deserialize(deserializer, dictionary));
    EXPECT_EQ(dictionary, *parseTree(R"({"a": [2, 3]})"));
}

/// A class that overrides nothing. `deserialize` reads every derived class entry by entry, because
/// it could override functions.
class Derived : public util::serializer::JSONStructuredPullDeserializerOld {};

TEST(DeserializeTree, ReadingEntryByEntryReturnsTheSameTreeAsReadingAtOnce) {
    kova::test::RandomTrees trees(2);
    for (int i = 0; i < 100; ++i) {
        const std::string json = R"({"tree":)" + kova::test::toJson(*trees.next()) + "}";
        util::serializer::JSONStructuredPullDeserializerOld whole;
        Derived byEntries;
        Dictionary first;
        Dictionary second;
        for (const auto& [deserializer, out] :
             {std::pair(static_cast<util::serializer::IStructuredPullDeserializer*>(&whole),
                        &first),
              std::pair(static_cast<util::serializer::IStructuredPullDeserializer*>(&byEntries),
                        &second)}) {
            util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(json.data()),
                                          json.size(), false);
            ASSERT_FALSE(deserializer->beginDeserialize(&reader, nullptr)) << json;
            ASSERT_FALSE(deserialize(*deserializer, *out)) << json;
            ASSERT_FALSE(deserializer->endDeserialize()) << json;
        }
        ASSERT_EQ(first, second);
        ASSERT_EQ(entryCount(first), 1U);
    }
}

TEST(DeserializeTree, ReadingAUnicodeStringFails) {
    Array source;
    source.add(new util::config::ValueUnicodeString(util::UnicodeString8{"x"}));
    GenericDataPullDeserializer deserializer(source);
    ASSERT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
    Array array;
    EXPECT_TRUE(deserialize(deserializer, array));
    EXPECT_EQ(array.arraySize(), 0U);
}

// ---- Deep trees ----

/// With this number of levels, a recursion with one pointer per level would need twelve times the
/// small stack.
constexpr std::size_t MANY_LEVELS = 200000;

TEST(DeepTrees, AreReadFromTheTreeOnASmallStack) {
    const Tree tree = deepTree(MANY_LEVELS);  // the outermost container is a dictionary
    kova::test::runOnSmallStack([&] {
        GenericDataPullDeserializer deserializer(*tree);
        Dictionary copy;
        EXPECT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
        EXPECT_FALSE(deserialize(deserializer, copy));
        EXPECT_TRUE(copy == *tree);
    });
}

TEST(DeepTrees, IncompleteTreesAreDestroyedOnASmallStack) {
    kova::test::runOnSmallStack([] {
        Script script(std::vector<Entry>(MANY_LEVELS, code(EntryType::ArrayBegin)));
        Array array;
        EXPECT_TRUE(deserialize(script, array));
        EXPECT_EQ(array.arraySize(), 0U);
    });
}

TEST(DeepTrees, AreSkippedOnASmallStack) {
    const Tree tree = deepTree(MANY_LEVELS);
    kova::test::runOnSmallStack([&] {
        GenericDataPullDeserializer deserializer(*tree);
        std::string name;
        EXPECT_FALSE(deserializer.beginDeserialize(nullptr, nullptr));
        EXPECT_FALSE(deserializer.beginStruct(nullptr));
        EXPECT_FALSE(deserializer.beginField(name));
        EXPECT_FALSE(deserializer.skipField());
        EXPECT_TRUE(deserializer.isStructEnd());
    });
}

TEST(DeepTrees, AreWrittenOnASmallStack) {
    const Tree tree = deepTree(MANY_LEVELS);
    kova::test::runOnSmallStack([&] {
        RecordingSerializer serializer;
        EXPECT_FALSE(write(serializer, *tree));
        EXPECT_EQ(serializer.calls().size(), 4 * MANY_LEVELS + 1);
    });
}

TEST(DeepTrees, AreWrittenUpToTheNestingLimit) {
    for (const auto mimeType : {kova::mimetypes::JSON, kova::mimetypes::AXOBin}) {
        for (const bool tooDeep : {false, true}) {
            const Tree tree = deepTree(util::MAX_NESTING_DEPTH + (tooDeep ? 1 : 0));
            const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
                Factory::createSerializer(mimeType));
            util::ByteBufferWriter writer(16);
            unsigned long written = 0;
            ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr));
            EXPECT_EQ(write(*serializer, *tree), tooDeep) << mimeType;
            EXPECT_EQ(serializer->endSerialize(written), tooDeep) << mimeType;
        }
    }
}

// ---- Payloads ----

bool roundTrip(kova::mimetypes::MimeTypeID mimeType, Value& tree, Value& out) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
        Factory::createSerializer(mimeType));
    util::ByteBufferWriter writer(64);
    unsigned long written = 0;
    if (serializer->beginSerialize(&writer, nullptr) || write(*serializer, tree) ||
        serializer->endSerialize(written)) {
        return true;
    }
    const std::string payload = kova::test::bytesOf(writer);
    util::ByteBufferReader bytes(reinterpret_cast<unsigned char const*>(payload.data()),
                                 payload.size(), false);
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> deserializer(
        Factory::createDeserializer(mimeType));
    if (deserializer->beginDeserialize(&bytes, nullptr)) {
        return true;
    }
    auto* dictionary = out.getEditableDictionary();
    return (dictionary != nullptr ? deserialize(*deserializer, *dictionary)
                                  : deserialize(*deserializer, *out.getEditableArray())) ||
           deserializer->endDeserialize();
}

/// Returns a copy of the tree with each integer as a payload represents it: signed and 64 bits
/// wide.
Value* asItTravels(const Value& tree) {
    long integer = 0;
    if (tree.isInt() && !tree.get(integer)) {
        return new ValueInt(integer);
    }
    if (tree.isDictionary()) {
        auto* const copy = new Dictionary;
        for (const auto& [name, child] : tree) {
            kova::test::addField(*copy, name, asItTravels(*child));
        }
        return copy;
    }
    if (tree.isArray()) {
        auto* const copy = new Array;
        for (unsigned long i = 0; i < tree.arraySize(); ++i) {
            copy->add(asItTravels(tree[i]));
        }
        return copy;
    }
    return tree.clone();
}

TEST(Payloads, RoundTripRandomTrees) {
    for (const auto mimeType : {kova::mimetypes::JSON, kova::mimetypes::AXOBin}) {
        kova::test::RandomTrees trees(1);
        for (int i = 0; i < 500; ++i) {
            const Tree tree = trees.next();
            const Tree out(tree->isDictionary() ? static_cast<Value*>(new Dictionary)
                                                : static_cast<Value*>(new Array));
            ASSERT_FALSE(roundTrip(mimeType, *tree, *out))
                << mimeType << " " << kova::test::toJson(*tree);
            ASSERT_EQ(*out, *Tree(asItTravels(*tree))) << mimeType;
        }
    }
}

// ---- Exhausted memory ----

TEST(TreeSerializers, FailIfMemoryIsExhaustedAndLeakNothing) {
    const Tree tree = parseTree(
        R"({"a": [1, 2.5, "a text that is too long for the string itself", [[]]],
            "a name that is too long for the string itself": {"b": {}}})");
    const long before = kova::test::FailingAllocations::liveBlocks();
    {
        RecordingSerializer recording;
        ASSERT_FALSE(write(recording, *tree));
        const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
            Factory::createSerializer(kova::mimetypes::JSON));
        const long failures = kova::test::failEveryAllocation([&] {
            util::ByteBufferWriter writer(1024);
            unsigned long written = 0;
            return !serializer->beginSerialize(&writer, nullptr) && !write(*serializer, *tree) &&
                   !serializer->endSerialize(written);
        });
        EXPECT_GE(failures, 1);

        GenericDataPullDeserializer deserializer(*tree);
        std::optional<Dictionary> out;
        const long readFailures = kova::test::failEveryAllocation([&] {
            deserializer.reset();
            out.emplace();
            return !deserializer.beginDeserialize(nullptr, nullptr) &&
                   !deserialize(deserializer, *out);
        });
        EXPECT_GE(readFailures, 10);
        EXPECT_EQ(*out, *tree);
    }
    EXPECT_EQ(kova::test::FailingAllocations::liveBlocks(), before);
}

}  // namespace
