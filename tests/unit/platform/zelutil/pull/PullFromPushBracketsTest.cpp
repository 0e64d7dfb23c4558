#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <type_traits>
#include <vector>

#include "support/Payloads.h"
#include "util/serializer/PullFromPushDeserializer.h"

// Tests the begin and end functions of the pull reader and its entries.
namespace {

using namespace util::serializer;
using payloads::BinaryPull;
using payloads::JsonPull;
using util::MAX_NESTING_DEPTH;

std::string scratch;
bool flag = false;

const std::map<std::string, std::function<bool(IStructuredPullDeserializer&)>> CALLS{
    {"1",
     [](auto& p) {
         std::int32_t number = 0;
         return p.getInt32(number);
     }},
    {"ones",
     [](auto& p) {
         std::vector<std::int32_t> numbers;
         return p.getInt32Array(numbers);
     }},
    {"[", [](auto& p) { return p.beginArray(); }},
    {"]", [](auto& p) { return p.endArray(); }},
    {"<", [](auto& p) { return p.beginElement(); }},
    {">", [](auto& p) { return p.endElement(); }},
    {"empty", [](auto& p) { return p.getEmptyElement(flag) || !flag; }},
    {"full", [](auto& p) { return p.getEmptyElement(flag) || flag; }},
    {"{", [](auto& p) { return p.beginStruct(nullptr); }},
    {"}", [](auto& p) { return p.endStruct(); }},
    {"field", [](auto& p) { return p.beginField(scratch); }},
    {"skip", [](auto& p) { return p.skipField(); }},
    {"/field", [](auto& p) { return p.endField(); }},
    {"must-a", [](auto& p) { return p.beginMandatoryField("a", -1); }},
    {"must-b", [](auto& p) { return p.beginMandatoryField("b", -1); }},
    {"/must", [](auto& p) { return p.endMandatoryField(); }},
    {"may-a", [](auto& p) { return p.beginOptionalField("a", -1, flag) || !flag; }},
    {"may-c", [](auto& p) { return p.beginOptionalField("c", -1, flag) || flag; }},
    {"/may", [](auto& p) { return p.endOptionalField(); }},
    {"plain", [](auto& p) { return p.beginArrayOption(); }},
    {"/plain", [](auto& p) { return p.endArrayOption(); }},
    {"option", [](auto& p) { return p.beginOption(nullptr); }},
    {"/option", [](auto& p) { return p.endOption(); }},
    {"next", [](auto& p) { return p.getNextEntry()->type == EntryType::End; }},
    {"array-end?", [](auto& p) { return !p.isArrayEnd(); }},
    {"array-more?", [](auto& p) { return p.isArrayEnd(); }},
    {"struct-end?", [](auto& p) { return !p.isStructEnd(); }},
    {"struct-more?", [](auto& p) { return p.isStructEnd(); }},
};

struct Row {
    char const* json;
    char const* script;
};

std::vector<std::string> wordsOf(const std::string& script) {
    std::istringstream stream(script);
    return {std::istream_iterator<std::string>(stream), {}};
}

// Returns the index of the first call that fails, or the number of calls if all succeed.
std::size_t run(IStructuredPullDeserializer& pull, const std::string& script) {
    const std::vector<std::string> words = wordsOf(script);
    std::size_t done = 0;
    while (done < words.size() && !CALLS.at(words[done])(pull)) {
        ++done;
    }
    return done;
}

constexpr Row READ[] = {
    {"1", "1"},
    {"1", "option 1 /option"},
    {"1", "plain option 1 /option /plain"},
    {"1", "1 option /option"},
    {"[]", "[ array-end? ]"},
    {"[1]", "[ array-more? < 1 > array-end? ]"},
    {"[1,1]", "ones"},
    {"[1,1]", "[ < 1 > < 1 > ]"},
    {"[[1],[]]", "[ < [ < 1 > ] > < [ ] > ]"},
    {"[null,1,null]", "[ empty full < 1 > empty full array-end? ]"},
    {"[1,1]", "[ option < 1 > /option array-more? < 1 > option array-end? /option ]"},
    {"{}", "{ struct-end? }"},
    {"{\"a\":1}", "{ struct-more? field 1 /field struct-end? }"},
    {"{\"a\":1,\"b\":1}", "{ field skip field 1 /field }"},
    {"{\"a\":{\"a\":[1]},\"b\":1}", "{ field skip field skip struct-end? }"},
    {"{\"a\":1}", "{ field 1 skip }"},
    {"{\"a\":1,\"b\":1}", "{ must-b 1 /must must-a 1 /must }"},
    {"{\"a\":1,\"b\":1}", "{ must-a 1 /must must-a 1 /must }"},
    {"{\"a\":1,\"b\":1}", "{ must-b 1 /must }"},
    {"{\"a\":1,\"b\":[2]}", "{ field 1 /field must-a 1 /must }"},
    {"{\"a\":1}", "{ may-c /may }"},
    {"{}", "{ may-c /may }"},
    {"{\"a\":1}", "{ may-c option /option /may may-a 1 /may }"},
    {"{\"a\":1,\"b\":1}",
     "{ may-a 1 /may field 1 /field struct-more? field 1 /field struct-end? }"},
    {"{\"a\":1}", "{ option must-a 1 /must /option }"},
    {"{\"b\":{\"a\":1},\"a\":[]}", "{ must-b { must-a 1 /must } /must must-a [ ] /must }"},
    {"{\"a\":2,\"a\":{},\"a\":1}", "{ must-a 1 /must }"},
    {"{\"a\":1}", "next next next next next"},
    {"[1]",
     "next < next >"
     " next"},
    {"{\"a\":[1]}", "{ must-a next next next next next next }"},
};

TEST(PullFromPushBracketsTest, CallsInTheRightOrderReadThePayload) {
    for (const Row& row : READ) {
        JsonPull pull(row.json);
        EXPECT_EQ(run(pull, row.script), wordsOf(row.script).size())
            << row.json << ": " << row.script;
        EXPECT_FALSE(pull.endDeserialize()) << row.json << ": " << row.script;
    }
}

// The call of the last word in each row fails.
constexpr Row REFUSED[] = {{"1", "["},
                           {"1", "{"},
                           {"1", "<"},
                           {"1", "field"},
                           {"1", "must-a"},
                           {"1", "may-c"},
                           {"1", "]"},
                           {"1", "}"},
                           {"1", ">"},
                           {"1", "/field"},
                           {"1", "skip"},
                           {"1", "/must"},
                           {"1", "/may"},
                           {"1", "/option"},
                           {"1", "/plain"},
                           {"1", "full"},
                           {"1", "array-more?"},
                           {"1", "struct-more?"},
                           {"1", "1 1"},
                           {"1", "1 next"},
                           {"1", "option 1 next"},
                           {"1", "option /plain"},
                           {"1", "plain /option"},
                           {"1", "option 1 /option 1"},
                           {"[1]", "1"},
                           {"[1]", "{"},
                           {"[1]", "[ 1"},
                           {"[1]", "[ ["},
                           {"[1]", "[ field"},
                           {"[1]", "[ ]"},
                           {"[1]", "[ }"},
                           {"[1]", "[ >"},
                           {"[1]", "[ skip"},
                           {"[1]", "[ < >"},
                           {"[1]", "[ < 1 1"},
                           {"[1]", "[ < <"},
                           {"[1]", "[ < ]"},
                           {"[1]", "[ < 1 ]"},
                           {"[1]", "[ < 1 /field"},
                           {"[1]", "[ < 1 > <"},
                           {"[1]", "[ < 1 > empty"},
                           {"[1]", "[ < 1 > ] ]"},
                           {"[1]", "[ < 1 > ] ["},
                           {"[1]", "[ < 1 array-more?"},
                           {"[1]", "[ option ]"},
                           {"[1]", "[ option < 1 > ]"},
                           {"[1]", "[ option < 1 > next"},
                           {"[1]", "[ option < 1 > /option /option"},
                           {"[[]]", "[ < [ ] ]"},
                           {"[1]", "[ struct-more?"},
                           {"{\"a\":1}", "1"},
                           {"{\"a\":1}", "["},
                           {"{\"a\":1}", "{ 1"},
                           {"{\"a\":1}", "{ <"},
                           {"{\"a\":1}", "{ }"},
                           {"{\"a\":1}", "{ ]"},
                           {"{\"a\":1}", "{ /field"},
                           {"{\"a\":1}", "{ skip"},
                           {"{\"a\":1}", "{ field field"},
                           {"{\"a\":1}", "{ field /field"},
                           {"{\"a\":1}", "{ field }"},
                           {"{\"a\":1}", "{ field 1 1"},
                           {"{\"a\":1}", "{ field 1 }"},
                           {"{\"a\":1}", "{ field 1 /must"},
                           {"{\"a\":1}", "{ field 1 /may"},
                           {"{\"a\":1}", "{ field 1 /field field"},
                           {"{\"a\":1}", "{ field 1 /field skip"},
                           {"{\"a\":1}", "{ field skip skip"},
                           {"{\"a\":1}", "{ field skip /field"},
                           {"{\"a\":[1]}", "{ field [ skip"},
                           {"{\"a\":1}", "{ field option skip"},
                           {"{\"a\":1}", "{ must-b"},
                           {"{}", "{ must-a"},
                           {"{\"a\":1}", "{ must-a must-a"},
                           {"{\"a\":1}", "{ must-a /must"},
                           {"{\"a\":1}", "{ must-a 1 /field"},
                           {"{\"a\":1}", "{ must-a 1 /may"},
                           {"{\"a\":1}", "{ must-a skip"},
                           {"{\"a\":1}", "{ must-a }"},
                           {"{\"a\":1}", "{ may-a /may"},
                           {"{\"a\":1}", "{ may-a 1 /must"},
                           {"{\"a\":1}", "{ may-c 1"},
                           {"{\"a\":1}", "{ may-c field"},
                           {"{\"a\":1}", "{ may-c }"},
                           {"{\"a\":1}", "{ may-c /may /may"},
                           {"{\"a\":1}", "{ may-c /field"},
                           {"{\"a\":1}", "{ must-a 1 /must } }"},
                           {"{\"a\":1}", "{ array-more?"},
                           {"{\"a\":{\"b\":1}}", "{ must-b"}};

TEST(PullFromPushBracketsTest, CallInTheWrongOrderFails) {
    for (const Row& row : REFUSED) {
        JsonPull pull(row.json);
        EXPECT_EQ(run(pull, row.script), wordsOf(row.script).size() - 1)
            << row.json << ": " << row.script;
    }
}

TEST(PullFromPushBracketsTest, FailedCallDoesNotChangeTheState) {
    for (const Row& row : REFUSED) {
        JsonPull pull(row.json);
        run(pull, row.script);
        const EntryType before = pull.peekNextEntry()->type;
        for (char const* const word : {"]", "}", ">", "/field", "/must", "/may"}) {
            if (before == EntryType::End) {
                EXPECT_TRUE(CALLS.at(word)(pull)) << row.json << ": " << row.script << ' ' << word;
                EXPECT_EQ(pull.peekNextEntry()->type, before);
            }
        }
        EXPECT_EQ(pull.peekNextEntry()->type, before);
    }
}

TEST(PullFromPushBracketsTest, FailedBeginFieldLeavesTheNameUnchanged) {
    JsonPull pull("{\"first\":1,\"\":2}");
    std::string name = "before";
    EXPECT_TRUE(pull.beginField(name));
    EXPECT_EQ(name, "before");
    ASSERT_FALSE(pull.beginStruct(nullptr) || pull.beginField(name));
    EXPECT_EQ(name, "first");
    ASSERT_FALSE(pull.skipField() || pull.beginField(name));
    EXPECT_EQ(name, "");
    ASSERT_FALSE(pull.skipField());
    name = "after";
    EXPECT_TRUE(pull.beginField(name));
    EXPECT_EQ(name, "after");
}

TEST(PullFromPushBracketsTest, FieldsAreFoundByNameInEveryOrder) {
    constexpr char const* JSON = R"({"a":1,"skip":{"a":9,"b":[9]},"b":2,"c":3,"other":[],"d":4})";
    std::vector<std::string> names{"a", "b", "c", "d"};
    do {
        JsonPull pull(JSON);
        ASSERT_FALSE(pull.beginStruct(nullptr));
        for (const std::string& name : names) {
            const bool optional = name > "b";
            bool present = false;
            std::int32_t number = 0;
            EXPECT_FALSE(optional ? pull.beginOptionalField(name, -1, present)
                                  : pull.beginMandatoryField(name, -1));
            EXPECT_EQ(present, optional);
            EXPECT_FALSE(pull.getInt32(number));
            EXPECT_EQ(number, name[0] - 'a' + 1);
            EXPECT_FALSE(optional ? pull.endOptionalField() : pull.endMandatoryField());
        }
        EXPECT_FALSE(pull.endStruct());
        EXPECT_FALSE(pull.endDeserialize());
    } while (std::next_permutation(names.begin(), names.end()));
}

TEST(PullFromPushBracketsTest, MissingMandatoryFieldLeavesTheOthersReadable) {
    JsonPull pull("{\"a\":1}");
    bool present = true;
    std::int32_t number = 0;
    ASSERT_FALSE(pull.beginStruct(nullptr));
    EXPECT_TRUE(pull.beginMandatoryField("b", -1));
    EXPECT_FALSE(pull.beginOptionalField("b", -1, present) || pull.endOptionalField());
    EXPECT_FALSE(present);
    EXPECT_FALSE(pull.beginMandatoryField("a", -1) || pull.getInt32(number) ||
                 pull.endMandatoryField() || pull.endStruct() || pull.endDeserialize());
    EXPECT_EQ(number, 1);
}

TEST(PullFromPushBracketsTest, LookupFindsTheLastOfDuplicateFields) {
    JsonPull pull(R"({"a":1,"b":[],"a":2,"c":{},"a":3})");
    std::int32_t number = 0;
    ASSERT_FALSE(pull.beginStruct(nullptr));
    EXPECT_FALSE(pull.beginMandatoryField("a", -1) || pull.getInt32(number) ||
                 pull.endMandatoryField());
    EXPECT_EQ(number, 3);
    std::string names;
    while (!pull.isStructEnd()) {
        std::string name;
        ASSERT_FALSE(pull.beginField(name) || pull.skipField());
        names += name;
    }
    EXPECT_EQ(names, "abaca");
    EXPECT_FALSE(pull.endStruct());
}

TEST(PullFromPushBracketsTest, NullElementCountsAsEmptyInEveryFormat) {
    BinaryPull pull("83f7f601");
    bool empty = false;
    ASSERT_FALSE(pull.beginArray());
    EXPECT_FALSE(pull.getEmptyElement(empty));
    EXPECT_TRUE(empty);
    EXPECT_FALSE(pull.beginElement() || pull.getNull() || pull.endElement());
    EXPECT_FALSE(pull.getEmptyElement(empty));
    EXPECT_FALSE(empty);
    EXPECT_FALSE(BinaryPull("f7").getNull());
}

// ---- entries

std::vector<std::uint32_t> codesOf(IStructuredPullDeserializer& pull) {
    std::vector<std::uint32_t> codes;
    do {
        const auto peeked = static_cast<std::uint32_t>(pull.peekNextEntry()->type);
        codes.push_back(static_cast<std::uint32_t>(pull.getNextEntry()->type));
        EXPECT_EQ(codes.back(), peeked);
    } while (codes.back() != 1 && codes.size() < 10000);
    return codes;
}

using Codes = std::vector<std::uint32_t>;

TEST(PullFromPushBracketsTest, EntriesCoverTheWholePayload) {
    JsonPull pull(R"({"a":[null,true,-1,18446744073709551615,0.5,"x",[]],"b":{}})");
    const Codes codes{31, 33, 15, 35, 2,  36, 35, 3,  36, 35, 10, 36, 35, 11, 36, 35, 13,
                      36, 35, 14, 36, 35, 15, 30, 36, 30, 34, 33, 31, 32, 34, 32, 1};
    EXPECT_EQ(codesOf(pull), codes);
    EXPECT_EQ(pull.getNextEntry()->type, EntryType::End);
    EXPECT_FALSE(pull.endDeserialize());
}

TEST(PullFromPushBracketsTest, TypedArrayHasTheEntriesOfAPlainArray) {
    BinaryPull shorts("d849440001ffff");
    EXPECT_EQ(codesOf(shorts), (Codes{15, 35, 10, 36, 35, 10, 36, 30, 1}));
    BinaryPull floats("d851443fc00000");
    EXPECT_EQ(codesOf(floats), (Codes{15, 35, 12, 36, 30, 1}));
}

TEST(PullFromPushBracketsTest, EntriesContainTheirValues) {
    const auto peek = [](auto&& pull) { return *pull.peekNextEntry(); };
    EXPECT_TRUE(peek(JsonPull("true")).scalar.boolean);
    EXPECT_EQ(peek(JsonPull("-5")).scalar.int64, -5);
    EXPECT_EQ(peek(JsonPull("18446744073709551615")).scalar.uint64, 18446744073709551615U);
    EXPECT_EQ(peek(JsonPull("0.5")).scalar.number, 0.5);
    EXPECT_EQ(peek(BinaryPull("fa3fc00000")).scalar.number, 1.5);
    EXPECT_EQ(peek(JsonPull("\"text\"")).text, "text");
    JsonPull pull("{\"name\":1}");
    ASSERT_FALSE(pull.beginStruct(nullptr));
    EXPECT_EQ(pull.peekNextEntry()->text, "name");
}

TEST(PullFromPushBracketsTest, PeekingConsumesNothing) {
    JsonPull pull("[1,[2]]");
    std::int32_t number = 0;
    EXPECT_EQ(pull.getNextEntry()->type, EntryType::ArrayBegin);
    EXPECT_EQ(pull.peekNextEntry()->type, EntryType::Element);
    ASSERT_FALSE(pull.beginElement());
    EXPECT_EQ(pull.peekNextEntry()->type, EntryType::Int64);
    EXPECT_FALSE(pull.getInt32(number));
    EXPECT_EQ(pull.getNextEntry()->type, EntryType::ElementEnd);
    EXPECT_EQ(pull.getNextEntry()->type, EntryType::Element);
    std::vector<std::int32_t> numbers;
    EXPECT_FALSE(pull.getInt32Array(numbers) || pull.endElement() || pull.endArray() ||
                 pull.endDeserialize());
    EXPECT_EQ(numbers, std::vector<std::int32_t>{2});
}

TEST(PullFromPushBracketsTest, EndOfAnOptionScopeProducesNoEntry) {
    JsonPull pull("[1]");
    ASSERT_FALSE(pull.beginArray() || pull.beginOption(nullptr));
    EXPECT_EQ(codesOf(pull), (Codes{35, 10, 36, 1}));
    ASSERT_FALSE(pull.endOption());
    EXPECT_EQ(codesOf(pull), (Codes{30, 1}));
    EXPECT_FALSE(pull.endDeserialize());
}

TEST(PullFromPushBracketsTest, MissingOptionalFieldContainsNoEntries) {
    JsonPull pull("{}");
    bool present = true;
    ASSERT_FALSE(pull.beginStruct(nullptr) || pull.beginOptionalField("a", -1, present));
    EXPECT_EQ(codesOf(pull), (Codes{34, 32, 1}));
    EXPECT_FALSE(pull.endDeserialize());
}

TEST(PullFromPushBracketsTest, NumberOfOpenOptionScopesIsLimited) {
    JsonPull pull("[1]");
    std::size_t open = 0;
    while (!pull.beginArrayOption()) {
        ASSERT_LT(++open, 10 * MAX_NESTING_DEPTH);
    }
    EXPECT_GE(open, MAX_NESTING_DEPTH);
    EXPECT_TRUE(pull.beginArray());
    EXPECT_TRUE(pull.endDeserialize());
}

TEST(PullFromPushBracketsTest, GetNextEntryFailsForContainersAtTheScopeLimit) {
    for (char const* json : {"[[1]]", "[{}]", R"({"a":[]})", R"({"a":{"b":1}})"}) {
        JsonPull pull(json);
        while (!pull.beginOption(nullptr)) {
        }
        EXPECT_EQ(pull.peekNextEntry()->type, EntryType::Failure) << json;
        EXPECT_EQ(pull.getNextEntry()->type, EntryType::Failure) << json;
        ASSERT_FALSE(pull.endOption());
        EXPECT_NE(pull.getNextEntry()->type, EntryType::Failure) << json;  // outer container
        EXPECT_NE(pull.getNextEntry()->type, EntryType::Failure) << json;  // its element or field
        EXPECT_EQ(pull.peekNextEntry()->type, EntryType::Failure) << json;
        EXPECT_EQ(pull.getNextEntry()->type, EntryType::Failure) << json;
    }
}

TEST(PullFromPushBracketsTest, BeginFieldSucceedsAtTheScopeLimit) {
    JsonPull pull(R"({"a":1})");
    ASSERT_FALSE(pull.beginStruct(nullptr));
    while (!pull.beginOption(nullptr)) {
    }
    std::string name;
    std::int32_t number = 0;
    EXPECT_FALSE(pull.beginField(name) || pull.getInt32(number) || pull.endField());
    EXPECT_EQ(name, "a");
    EXPECT_EQ(number, 1);
    EXPECT_TRUE(pull.isStructEnd());
}

TEST(PullFromPushBracketsTest, BeginFieldInAnEmptyStructLeavesTheNameUnchanged) {
    JsonPull pull("{}");
    ASSERT_FALSE(pull.beginStruct(nullptr));
    std::string name = "untouched";
    EXPECT_TRUE(pull.beginField(name));
    EXPECT_EQ(name, "untouched");
}

TEST(PullFromPushBracketsTest, PayloadAtTheNestingLimitIsReadCompletely) {
    const std::string open(MAX_NESTING_DEPTH, '[');
    const std::string close(MAX_NESTING_DEPTH, ']');
    JsonPull pull(open + close);
    ASSERT_TRUE(pull.begun);
    // 15 35 15 35 ... 15 30 36 30 36 ... 30 1
    EXPECT_EQ(codesOf(pull).size(), 4 * MAX_NESTING_DEPTH - 1);
    EXPECT_FALSE(pull.endDeserialize());
    EXPECT_FALSE(JsonPull('[' + open + close + ']').begun);
}

TEST(EntryTypeTest, EqualsItsDocumentedNumber) {
    JsonPull pull("{}");
    EXPECT_TRUE(pull.getNextEntry()->type == 31);
    const EntryType type = pull.getNextEntry()->type;
    EXPECT_TRUE(type == EntryType::StructEnd && type == 32);
    static_assert(sizeof(EntryType) == 4 && !std::is_convertible_v<int, EntryType>);
}

TEST(EntryTest, Int32MemberHoldsTheLowBitsOfA64BitInteger) {
    JsonPull pull("[-3,4294967301]");
    std::vector<std::int32_t> slots;
    for (Entry const* entry = pull.getNextEntry(); entry->type != EntryType::End;
         entry = pull.getNextEntry()) {
        if (entry->type == EntryType::Int64) {
            slots.push_back(entry->scalar.int32);
        }
    }
    EXPECT_EQ(slots, (std::vector<std::int32_t>{-3, 5}));
}

}  // namespace
