#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>

#include "support/FailingAllocations.h"
#include "support/Payloads.h"
#include "util/serializer/FormatSerializer.h"

// The validation of call sequences is common to all formats, so each row runs with both formats.
namespace {

using namespace util::serializer;
using util::MAX_NESTING_DEPTH;

const Options PLAIN{{OptionTag::PlainArrays, 1}};

// Maps the words of the scripts to calls.
const std::map<std::string, std::function<bool(IStructuredSerializer&)>> CALLS{
    {"1", [](auto& s) { return s.serializeInt32(1); }},
    {"null", [](auto& s) { return s.serializeNull(); }},
    {"text", [](auto& s) { return s.serializeString("text"); }},
    {"numbers",
     [](auto& s) {
         return s.serializeArray(std::vector<std::int16_t>{1, 2});
     }},
    {"strings", [](auto& s) { return s.serializeArray(std::vector<std::string>{"a"}); }},
    {"nulls", [](auto& s) { return s.serializeNullArray(2); }},
    {"[", [](auto& s) { return s.beginArray(); }},
    {"]", [](auto& s) { return s.endArray(); }},
    {"<", [](auto& s) { return s.beginElement(); }},
    {">", [](auto& s) { return s.endElement(); }},
    {"empty", [](auto& s) { return s.serializeEmptyElement(); }},
    {"{", [](auto& s) { return s.beginStruct(nullptr); }},
    {"}", [](auto& s) { return s.endStruct(); }},
    {"field", [](auto& s) { return s.beginField("field", -1, false); }},
    {"/field", [](auto& s) { return s.endField(); }},
    {"mandatory", [](auto& s) { return s.beginMandatoryField("mandatory", 1); }},
    {"/mandatory", [](auto& s) { return s.endMandatoryField(); }},
    {"optional", [](auto& s) { return s.beginOptionalField("optional", 2, true); }},
    {"absent", [](auto& s) { return s.beginOptionalField("absent", 3, false); }},
    {"/optional", [](auto& s) { return s.endOptionalField(); }},
    {"plain", [](auto& s) { return s.beginArrayOption(); }},
    {"/plain", [](auto& s) { return s.endArrayOption(); }},
    {"option", [](auto& s) { return s.beginOption(&PLAIN); }},
    {"/option", [](auto& s) { return s.endOption(); }},
    {"enum", [](auto& s) { return s.serializeEnum(3, 3, true); }},
};

std::vector<std::string> wordsOf(const std::string& script) {
    std::istringstream stream(script);
    return {std::istream_iterator<std::string>(stream), {}};
}

enum class Format { Json, Binary };

std::unique_ptr<IStructuredSerializer> make(Format format) {
    if (format == Format::Json) {
        return std::make_unique<JSONStructuredSerializerOld>(true);
    }
    return std::make_unique<AXOBinStructuredSerializerBE>();
}

class FormatSerializerTest : public testing::TestWithParam<Format> {
protected:
    void SetUp() override { ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr)); }

    // Returns the index of the first call that fails, or the number of calls if all succeed.
    std::size_t run(const std::string& script) {
        const std::vector<std::string> words = wordsOf(script);
        std::size_t done = 0;
        sizeBefore = writer.size();
        while (done < words.size() && !CALLS.at(words[done])(*serializer)) {
            ++done;
            sizeBefore = writer.size();
        }
        return done;
    }

    std::unique_ptr<IStructuredSerializer> serializer = make(GetParam());
    util::ByteBufferWriter writer{0};
    unsigned long sizeBefore = 0;  // the number of written bytes before the latest call
    unsigned long written = 12345;
};

INSTANTIATE_TEST_SUITE_P(Formats, FormatSerializerTest,
                         testing::Values(Format::Json, Format::Binary), [](const auto& row) {
                             return row.param == Format::Json ? "Json" : "Binary";
                         });

struct Accepted {
    char const* script;
    char const* json;
};

constexpr Accepted ACCEPTED[] = {
    {"1", "1"},
    {"null", "null"},
    {"text", "\"text\""},
    {"numbers", "[1,2]"},
    {"strings", "[\"a\"]"},
    {"nulls", "[null,null]"},
    {"[ ]", "[]"},
    {"[ < 1 > ]", "[1]"},
    {"[ < 1 > empty < text > ]", "[1,null,\"text\"]"},
    {"[ < [ < numbers > ] > < { } > ]", "[[[1,2]],{}]"},
    {"{ }", "{}"},
    {"{ field 1 /field }", "{\"field\":1}"},
    {"{ field { field [ empty ] /field } /field }", "{\"field\":{\"field\":[null]}}"},
    {"{ mandatory 1 /mandatory optional 1 /optional }", "{\"mandatory\":1,\"optional\":1}"},
    {"{ absent /optional }", "{}"},
    {"{ absent /optional field 1 /field absent /optional }", "{\"field\":1}"},
    {"{ field 1 /field field 1 /field }", "{\"field\":1,\"field\":1}"},
    {"plain 1 /plain", "1"},
    {"1 plain /plain", "1"},
    {"plain option plain 1 /plain /option /plain", "1"},
    {"[ plain < 1 > < 1 > /plain < 1 > ]", "[1,1,1]"},
    {"[ < 1 > option < 1 > /option ]", "[1,1]"},
    {"{ option field 1 /field /option field option 1 /option /field }",
     "{\"field\":1,\"field\":1}"},
    {"{ absent option /option /optional }", "{}"},
};

TEST_P(FormatSerializerTest, CallsInTheRightOrderWriteOneValue) {
    for (const Accepted& row : ACCEPTED) {
        SCOPED_TRACE(row.script);
        ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr));
        const unsigned long start = writer.size();
        EXPECT_EQ(run(row.script), wordsOf(row.script).size());
        EXPECT_FALSE(serializer->endSerialize(written));
        EXPECT_EQ(written, writer.size() - start);
        const std::string payload = payloads::textOf(writer).substr(start);
        if (GetParam() == Format::Json) {
            EXPECT_EQ(payload, row.json);
        } else {
            EXPECT_EQ(payloads::binaryToJson(payloads::toHex(payload)), row.json);
        }
    }
}

// The call of the last word in each script fails.
constexpr char const* REFUSED[] = {"1 1",
                                   "1 [",
                                   "1 {",
                                   "1 numbers",
                                   "[ ] [",
                                   "< ",
                                   "empty",
                                   "field",
                                   "mandatory",
                                   "optional",
                                   "absent",
                                   "]",
                                   "}",
                                   ">",
                                   "/field",
                                   "/mandatory",
                                   "/optional",
                                   "/plain",
                                   "/option",
                                   "enum",
                                   "[ 1",
                                   "[ [",
                                   "[ {",
                                   "[ numbers",
                                   "[ field",
                                   "[ }",
                                   "[ absent",
                                   "[ >",
                                   "[ ] ]",
                                   "[ < ]",
                                   "[ < <",
                                   "[ < >",
                                   "[ < empty",
                                   "[ < 1 1",
                                   "[ < 1 <",
                                   "[ < 1 ]",
                                   "[ < 1 > >",
                                   "[ < 1 /field",
                                   "{ 1",
                                   "{ [",
                                   "{ {",
                                   "{ <",
                                   "{ >",
                                   "{ ]",
                                   "{ empty",
                                   "{ } }",
                                   "{ /field",
                                   "{ field }",
                                   "{ field field",
                                   "{ field /field",
                                   "{ field 1 1",
                                   "{ field 1 }",
                                   "{ field 1 field",
                                   "{ field 1 /mandatory",
                                   "{ field 1 /optional",
                                   "{ mandatory 1 /field",
                                   "{ optional 1 /field",
                                   "{ mandatory /mandatory",
                                   "{ optional /optional",
                                   "{ absent 1",
                                   "{ absent [",
                                   "{ absent }",
                                   "{ absent field",
                                   "{ absent /field",
                                   "{ absent /optional /optional",
                                   "plain /option",
                                   "option /plain",
                                   "plain 1 1",
                                   "plain 1 /plain 1",
                                   "plain [ /plain",
                                   "[ plain ]",
                                   "[ plain < 1 > ]",
                                   "{ field plain 1 /field",
                                   "{ plain field 1 /plain",
                                   "[ < plain >",
                                   "plain plain 1 /plain /option"};

TEST_P(FormatSerializerTest, CallInTheWrongOrderInvalidatesThePayload) {
    for (char const* const script : REFUSED) {
        SCOPED_TRACE(script);
        ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr));
        EXPECT_EQ(run(script), wordsOf(script).size() - 1);
        EXPECT_EQ(writer.size(), sizeBefore);
        for (const auto& [word, call] : CALLS) {
            EXPECT_TRUE(call(*serializer)) << word << " after the failure";
        }
        EXPECT_EQ(writer.size(), sizeBefore);
        EXPECT_TRUE(serializer->endSerialize(written));
        EXPECT_EQ(written, 12345U);
    }
}

constexpr char const* INCOMPLETE[] = {"",         "[",         "[ <",
                                      "[ < 1",    "[ < 1 >",   "{",
                                      "{ field",  "{ field 1", "{ field 1 /field",
                                      "{ absent", "plain",     "plain 1",
                                      "1 option", "[ < [ ] >"};

TEST_P(FormatSerializerTest, EndOfAnIncompletePayloadFails) {
    for (char const* const script : INCOMPLETE) {
        SCOPED_TRACE(script);
        ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr));
        EXPECT_EQ(run(script), wordsOf(script).size());
        EXPECT_TRUE(serializer->endSerialize(written));
    }
    EXPECT_EQ(written, 12345U);
}

TEST_P(FormatSerializerTest, WritesOutsideAPayloadFail) {
    const auto other = make(GetParam());
    for (const auto& [word, call] : CALLS) {
        EXPECT_TRUE(call(*other)) << word;
    }
    EXPECT_TRUE(other->endSerialize(written));
    EXPECT_EQ(run("1"), 1U);
    EXPECT_FALSE(serializer->endSerialize(written));
    EXPECT_TRUE(serializer->endSerialize(written));
    for (const auto& [word, call] : CALLS) {
        EXPECT_TRUE(call(*serializer)) << word;
    }
}

TEST_P(FormatSerializerTest, BeginWithoutAWriterFailsAndClosesThePayload) {
    EXPECT_TRUE(serializer->beginSerialize(nullptr, nullptr));
    EXPECT_TRUE(serializer->serializeNull());
    EXPECT_TRUE(serializer->endSerialize(written));
}

TEST_P(FormatSerializerTest, BeginDiscardsTheOpenPayload) {
    EXPECT_EQ(run("{ field [ < {"), 5U);
    util::ByteBufferWriter other(0);
    ASSERT_FALSE(serializer->beginSerialize(&other, nullptr));
    EXPECT_FALSE(serializer->serializeNull());
    EXPECT_FALSE(serializer->endSerialize(written));
    EXPECT_EQ(written, other.size());
}

bool nest(IStructuredSerializer& serializer, std::size_t levels, bool structs) {
    for (std::size_t i = 0; i < levels; ++i) {
        if (i > 0 &&
            (structs ? serializer.beginField("f", -1, false) : serializer.beginElement())) {
            return true;
        }
        if (structs ? serializer.beginStruct(nullptr) : serializer.beginArray()) {
            return true;
        }
    }
    return false;
}

bool unnest(IStructuredSerializer& serializer, std::size_t levels, bool structs) {
    for (std::size_t i = 0; i < levels; ++i) {
        if (structs ? serializer.endStruct() : serializer.endArray()) {
            return true;
        }
        if (i + 1 < levels && (structs ? serializer.endField() : serializer.endElement())) {
            return true;
        }
    }
    return false;
}

TEST_P(FormatSerializerTest, NestingIsAcceptedUpToTheLimit) {
    for (const bool structs : {false, true}) {
        ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr));
        EXPECT_FALSE(nest(*serializer, MAX_NESTING_DEPTH, structs));
        EXPECT_FALSE(unnest(*serializer, MAX_NESTING_DEPTH, structs));
        EXPECT_FALSE(serializer->endSerialize(written));

        ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr));
        EXPECT_TRUE(nest(*serializer, MAX_NESTING_DEPTH + 1, structs));
        EXPECT_TRUE(serializer->endSerialize(written));
    }
}

TEST_P(FormatSerializerTest, TypedArrayCountsAsANestingLevel) {
    for (char const* const word : {"numbers", "strings", "nulls"}) {
        ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr));
        ASSERT_FALSE(nest(*serializer, MAX_NESTING_DEPTH - 1, false));
        ASSERT_FALSE(serializer->beginElement());
        EXPECT_FALSE(CALLS.at(word)(*serializer)) << word;
        ASSERT_FALSE(serializer->endElement());
        EXPECT_FALSE(unnest(*serializer, MAX_NESTING_DEPTH - 1, false));
        EXPECT_FALSE(serializer->endSerialize(written));

        ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr));
        ASSERT_FALSE(nest(*serializer, MAX_NESTING_DEPTH, false));
        ASSERT_FALSE(serializer->beginElement());
        EXPECT_TRUE(CALLS.at(word)(*serializer)) << word;
    }
}

TEST_P(FormatSerializerTest, NumberOfOpenOptionScopesIsLimited) {
    std::size_t open = 0;
    while (!serializer->beginOption(nullptr)) {
        ASSERT_LT(++open, 10 * MAX_NESTING_DEPTH);
    }
    EXPECT_GE(open, MAX_NESTING_DEPTH);
    EXPECT_TRUE(serializer->endSerialize(written));
}

TEST_P(FormatSerializerTest, DeepNestingNeedsOneAllocation) {
    const auto open100 = [this] {
        bool failed = serializer->beginSerialize(&writer, nullptr);
        for (int i = 0; i < 100; ++i) {
            failed = failed || serializer->beginOption(nullptr);
        }
        return !failed;
    };
    EXPECT_EQ(kova::test::failEveryAllocation(open100), 1);
    ASSERT_FALSE(serializer->serializeInt32(1));
    for (int i = 0; i < 100; ++i) {
        ASSERT_FALSE(serializer->endOption());
    }
    EXPECT_FALSE(serializer->endSerialize(written));
}

TEST_P(FormatSerializerTest, EnumRangeIsCheckedOnlyIfTheFlagIsSet) {
    EXPECT_EQ(run("["), 1U);
    for (const int value : {0, 2}) {
        ASSERT_FALSE(serializer->beginElement());
        EXPECT_FALSE(serializer->serializeEnum(value, 3, true)) << value;
        ASSERT_FALSE(serializer->endElement());
    }
    for (const int value : {-1, 3}) {
        ASSERT_FALSE(serializer->beginElement());
        EXPECT_FALSE(serializer->serializeEnum(value, 3, false)) << value;
        ASSERT_FALSE(serializer->endElement());
    }
    EXPECT_EQ(run("]"), 1U);
    EXPECT_FALSE(serializer->endSerialize(written));
    for (const int value : {-1, 3}) {
        ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr));
        EXPECT_TRUE(serializer->serializeEnum(value, 3, true)) << value;
        EXPECT_TRUE(serializer->endSerialize(written));
    }
}

TEST_P(FormatSerializerTest, UnicodeStringsOfEveryEncodingProduceTheSameBytes) {
    const auto text = zel::unicode::String::fromUtf8("\xC3\xA4\xF0\x9F\x98\x80");
    ASSERT_TRUE(text.has_value());
    std::vector<std::string> payloadsWritten;
    const auto add = [&](const auto& string) {
        util::ByteBufferWriter out(0);
        ASSERT_FALSE(serializer->beginSerialize(&out, nullptr));
        EXPECT_FALSE(serializer->serializeString(string));
        EXPECT_FALSE(serializer->endSerialize(written));
        payloadsWritten.push_back(payloads::textOf(out));
    };
    add(std::string_view(text->utf8()));
    add(util::UnicodeString8{text->utf8()});
    add(util::UnicodeString16{text->toUtf16()});
    add(*text);
    EXPECT_EQ(payloadsWritten, std::vector<std::string>(4, payloadsWritten[0]));
}

TEST_P(FormatSerializerTest, IllFormedUnicodeStringIsRejected) {
    EXPECT_TRUE(serializer->serializeString(util::UnicodeString8{"\xC3"}));
    EXPECT_EQ(writer.size(), 0U);
    ASSERT_FALSE(serializer->beginSerialize(&writer, nullptr));
    EXPECT_TRUE(serializer->serializeString(util::UnicodeString16{u"a\xD800"}));
    EXPECT_EQ(writer.size(), 0U);
}

TEST_P(FormatSerializerTest, EmptyTextsAndArraysAreWritten) {
    EXPECT_EQ(run("["), 1U);
    const auto element = [&](const auto& write) {
        ASSERT_FALSE(serializer->beginElement());
        EXPECT_FALSE(write());
        ASSERT_FALSE(serializer->endElement());
    };
    element([&] { return serializer->serializeString(std::string_view()); });
    element([&] { return serializer->serializeString(util::UnicodeString16()); });
    element([&] { return serializer->serializeArray(std::vector<double>()); });
    element([&] { return serializer->serializeArray(std::vector<bool>()); });
    element([&] { return serializer->serializeNullArray(0); });
    EXPECT_EQ(run("]"), 1U);
    EXPECT_FALSE(serializer->endSerialize(written));
    const std::string payload = payloads::textOf(writer);
    EXPECT_EQ(
        GetParam() == Format::Json ? payload : payloads::binaryToJson(payloads::toHex(payload)),
        R"(["","",[],[],[]])");
}

}  // namespace
