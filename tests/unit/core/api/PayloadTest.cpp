#include "kova/core/Payload.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kova/core/Errors.h"
#include "kova/core/MimeTypes.h"
#include "support/FailingAllocations.h"
#include "support/Reports.h"
#include "support/Trees.h"
#include "util/ByteBufferWriter.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace kova {
namespace {

using util::config::Value;

Payload make(const std::string& bytes, const std::string& mimeType) {
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), mimeType);
}

std::string textOf(const Payload& payload) {
    std::string text;
    payload.getBlob().toString(text);
    return text;
}

TEST(PayloadTest, DefaultPayloadIsEmptyAndHasNoMimeType) {
    const Payload payload;
    EXPECT_TRUE(payload.isEmpty());
    EXPECT_EQ(payload.getMimeType(), "");
    EXPECT_EQ(payload.size(), 0U);
    EXPECT_EQ(textOf(payload), "");
}

TEST(PayloadTest, GetEmptyAlwaysReturnsTheSamePayload) {
    EXPECT_TRUE(Payload::getEmpty().isEmpty());
    EXPECT_EQ(&Payload::getEmpty(), &Payload::getEmpty());
}

TEST(PayloadTest, PayloadOfZeroBytesIsNotEmpty) {
    const Payload payload = Payload::createFromRaw(nullptr, 0, "x/y");
    EXPECT_FALSE(payload.isEmpty());
    EXPECT_NE(payload.data(), nullptr);
    EXPECT_EQ(payload.size(), 0U);
}

TEST(BlobTest, SharesAnArrayWithItsOtherOwners) {
    std::shared_ptr<unsigned char[]> bytes(new unsigned char[2]{'a', 'b'});
    const Blob blob(bytes, 2);
    EXPECT_EQ(blob.data, bytes);
    EXPECT_EQ(bytes.use_count(), 2);
    EXPECT_EQ(textOf(Payload(Blob(blob), "x/y")), "ab");
    const Blob none(nullptr, 0);
    EXPECT_EQ(none.data, nullptr);
    EXPECT_EQ(none.size, 0U);
}

TEST(BlobTest, LastOwnerCallsTheCustomDeleter) {
    int freed = 0;
    std::shared_ptr<unsigned char> bytes(new unsigned char[2]{'a', 'b'},
                                         [&freed](unsigned char const* array) {
                                             ++freed;
                                             delete[] array;
                                         });
    Blob blob(bytes, 2);
    EXPECT_EQ(blob.data.get(), bytes.get());
    bytes.reset();
    EXPECT_EQ(freed, 0);
    {
        const Payload payload(std::move(blob), "x/y");
        EXPECT_EQ(textOf(payload), "ab");
    }
    EXPECT_EQ(freed, 1);
}

TEST(PayloadTest, MovedFromBlobKeepsOnlyItsSize) {
    Blob blob;
    blob.data.reset(new unsigned char[3]{1, 2, 3});
    blob.size = 3;
    const std::string mimeType = "application/octet-stream";
    const Payload payload(std::move(blob), mimeType);
    EXPECT_EQ(blob.data, nullptr);
    EXPECT_EQ(blob.size, 3U);
    EXPECT_EQ(payload.size(), 3U);
    EXPECT_EQ(payload.data()[2], 3);
    EXPECT_EQ(payload.getMimeType(), mimeType);
}

TEST(PayloadTest, CopiesShareTheBytesAndOutliveTheOriginal) {
    auto original = std::make_unique<Payload>(Payload::createFromString("shared"));
    const Payload copy = *original;
    EXPECT_EQ(copy.data(), original->data());
    original.reset();
    EXPECT_EQ(textOf(copy), "shared");
    EXPECT_EQ(copy.getMimeType(), "plain/text");
}

TEST(PayloadTest, MoveTransfersBytesAndMimeType) {
    Payload source = Payload::createFromString("moved");
    Payload target;
    target = std::move(source);
    EXPECT_EQ(textOf(target), "moved");
    EXPECT_EQ(target.getMimeType(), "plain/text");
    EXPECT_TRUE(source.isEmpty());
}

TEST(PayloadTest, SelfAssignmentChangesNothing) {
    Payload payload = Payload::createFromString("self");
    const Payload& alias = payload;
    payload = alias;
    EXPECT_EQ(textOf(payload), "self");
}

TEST(PayloadTest, PayloadsAreCreatedFromWritersAndValues) {
    util::ByteBufferWriter writer(4);
    ASSERT_FALSE(writer.append("12345678", 8));
    const Payload fromWriter = Payload::createFromWriter(writer, "x/y");
    EXPECT_EQ(textOf(fromWriter), "12345678");
    EXPECT_EQ(fromWriter.getMimeType(), "x/y");

    util::config::Dictionary dictionary;
    dictionary.add("b", new util::config::ValueInt(2));
    dictionary.add("a", Value::getNull());
    Value::g_print_compact = false;
    const Payload fromConfig = Payload::createFromConfig(dictionary);
    EXPECT_EQ(textOf(fromConfig), R"({"a":null,"b":2})");
    EXPECT_EQ(fromConfig.getMimeType(), "application/json");
    EXPECT_FALSE(Value::g_print_compact);
}

struct TextRow {
    char const* what;
    Payload payload;
    std::string text;
    bool failed;
};

std::ostream& operator<<(std::ostream& out, const TextRow& row) {
    return out << row.what;
}

class PayloadTextTest : public testing::TestWithParam<TextRow> {};

TEST_P(PayloadTextTest, CreateStringFromReturnsTheExpectedText) {
    const TextRow& row = GetParam();
    std::string text = "before";
    EXPECT_EQ(Payload::createStringFrom(row.payload, text, true), row.failed);
    EXPECT_EQ(text, row.text);
}

const std::string NUL("\0", 1);

INSTANTIATE_TEST_SUITE_P(
    Rows, PayloadTextTest,
    testing::Values(
        TextRow{"empty", Payload(), "<empty>", false},
        TextRow{"empty JSON text", Payload::createFromJSON(""), "", false},
        TextRow{"JSON", Payload::createFromJSON("{ \"a\" : 1 }"), "{ \"a\" : 1 }", false},
        TextRow{"JSON is not validated", Payload::createFromJSON("{"), "{", false},
        TextRow{"plain text with a zero", Payload::createFromString("a" + NUL + "b"),
                "a" + NUL + "b", false},
        TextRow{"octet stream", make("abc", mimetypes::OCTET_STREAM_TYPE), "<binary>", false},
        TextRow{"msgpack", make("abc", mimetypes::MSGPACK_TYPE), "<binary>", false},
        TextRow{"the common plain type", make("abc", "text/plain"), "<unknown>", false},
        TextRow{"no type", make("abc", ""), "<unknown>", false},
        TextRow{"binary struct", make("\xA1\x61\x61\x01", mimetypes::AXOBIN_TYPE), R"({"a":1})",
                false},
        TextRow{"binary scalar", make("\x18\x2A", mimetypes::AXOBIN_TYPE), "42", false},
        TextRow{"truncated binary", make("\xA1\x61", mimetypes::AXOBIN_TYPE), "<failed>", true},
        TextRow{"no binary", make("", mimetypes::AXOBIN_TYPE), "<failed>", true},
        TextRow{"bytes that are no text", make("\x41\xFF", mimetypes::AXOBIN_TYPE), "<failed>",
                true}));

TEST(PayloadTextTest, CompactFlagIsPassedToTheJsonSerializer) {
    std::string text;
    EXPECT_FALSE(
        Payload::createStringFrom(make("\xA1\x61\x61\x01", mimetypes::AXOBIN_TYPE), text, false));
    EXPECT_EQ(text, "{\n  \"a\": 1\n}");
}

struct ConfigRow {
    char const* what;
    Payload payload;
    /// The compact JSON text of the expected tree; empty if no tree is expected.
    std::string json;
    /// The argument of the expected report; empty if no report is expected.
    std::string report;
};

std::ostream& operator<<(std::ostream& out, const ConfigRow& row) {
    return out << row.what;
}

class PayloadConfigTest : public testing::TestWithParam<ConfigRow> {};

TEST_P(PayloadConfigTest, CreateConfigFromReturnsTheTreeOrReportsAnError) {
    const ConfigRow& row = GetParam();
    test::Reports reports;
    const std::unique_ptr<Value> value(Payload::createConfigFrom(row.payload));
    EXPECT_EQ(value ? kova::test::toJson(*value) : "", row.json);
    const auto seen = reports.take();
    ASSERT_EQ(seen.size(), row.report.empty() ? 0U : 1U);
    if (!seen.empty()) {
        EXPECT_EQ(seen[0].number, errors::PayloadConversionFailed);
        EXPECT_EQ(seen[0].reason, "can't convert payload: '" + row.report + "'");
        EXPECT_EQ(seen[0].file, "src/core/api/Payload");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PayloadConfigTest,
    testing::Values(
        ConfigRow{"object", Payload::createFromJSON(R"({"a":[1,2.5,"x"]})"), R"({"a":[1,2.5,"x"]})",
                  ""},
        ConfigRow{"array as plain text", Payload::createFromString("[1]"), "[1]", ""},
        ConfigRow{"binary", make("\x9F\xF5\xF6\xFF", mimetypes::AXOBIN_TYPE), "[true,null]", ""},
        ConfigRow{"empty text does not parse", Payload::createFromJSON(""), "", ""},
        ConfigRow{"text that is not JSON", Payload::createFromString("hello"), "", ""},
        ConfigRow{"binary that is malformed", make("\x9F", mimetypes::AXOBIN_TYPE), "", ""},
        ConfigRow{"a zero behind the value", Payload::createFromJSON("[1]" + NUL), "", ""},
        ConfigRow{"lone scalar", Payload::createFromJSON("7"), "", " no data found json"},
        ConfigRow{"msgpack", make("abc", mimetypes::MSGPACK_TYPE), "", "not transformable to JSON"},
        ConfigRow{"empty payload", Payload(), "", "not transformable to JSON"},
        ConfigRow{"JSON type without bytes", Payload(Blob(), std::string("application/json")), "",
                  "no data for json"},
        ConfigRow{"binary type without bytes",
                  Payload(Blob(), std::string("application/vnd.axobin")), "", "no data for json"}));

TEST(PayloadTest, CopiesMayBeReadByManyThreads) {
    const Payload payload = Payload::createFromString("read by all");
    std::vector<std::thread> threads;
    std::vector<std::string> seen(4);
    for (auto& text : seen) {
        threads.emplace_back([copy = payload, &text] { copy.getBlob().toString(text); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(seen, std::vector<std::string>(4, "read by all"));
}

TEST(PayloadDeathTest, ExhaustedMemoryEndsTheProcess) {
    // More bytes than the address space has, so that the allocation fails.
    const unsigned char byte = 0;
    EXPECT_DEATH(Payload::createFromRaw(&byte, ~0UL >> 1, "x/y"),
                 "src/core/api/Payload: createFromRaw: New call failed, OOM");
}

struct OutOfMemoryRow {
    char const* function;
    void (*make)();
    /// The number of allocations for creating the payload.
    long allocations;
};

const std::string LONG_TYPE = "application/x-a-type-that-needs-memory";
const util::config::ValueString LONG_VALUE(std::string(600, 'x'));

const OutOfMemoryRow MAKING[] = {
    {"createFromRaw",
     [] { Payload::createFromRaw(reinterpret_cast<unsigned char const*>("a"), 1, LONG_TYPE); }, 3},
    {"createFromRaw", [] { Payload::createFromJSON(""); }, 3},
    {"createFromRaw", [] { Payload::createFromString(""); }, 2},
    {"createFromWriter",
     [] {
         const util::ByteBufferWriter writer(0);
         Payload::createFromWriter(writer, LONG_TYPE);
     },
     3},
};

class PayloadOutOfMemoryDeathTest : public testing::TestWithParam<OutOfMemoryRow> {};

TEST_P(PayloadOutOfMemoryDeathTest, AnyFailedAllocationEndsTheProcess) {
    const OutOfMemoryRow& row = GetParam();
    for (long successes = 0; successes < row.allocations; ++successes) {
        EXPECT_DEATH(
            {
                const test::FailingAllocations failing(successes);
                row.make();
            },
            "src/core/api/Payload: " + std::string(row.function) + ": New call failed, OOM");
    }
    const test::FailingAllocations failing(row.allocations);
    row.make();
}

INSTANTIATE_TEST_SUITE_P(Rows, PayloadOutOfMemoryDeathTest, testing::ValuesIn(MAKING));

TEST(PayloadDeathTest, UnprintableValueEndsTheProcess) {
    for (long successes = 0; successes < 3; ++successes) {
        EXPECT_DEATH(
            {
                const test::FailingAllocations failing(successes);
                Payload::createFromConfig(LONG_VALUE);
            },
            "src/core/api/Payload: createFromConfig: New call failed, OOM");
    }
}

TEST(PayloadTest, ConversionsFailWhenMemoryIsExhausted) {
    const Payload payload = Payload::createFromJSON("[" + std::string(100, ' ') + "]");
    std::string text;
    bool failed = false;
    util::config::Value* value = nullptr;
    {
        const test::FailingAllocations failing(0);
        failed = Payload::createStringFrom(payload, text, true);
        value = Payload::createConfigFrom(payload);
    }
    EXPECT_TRUE(failed);
    EXPECT_EQ(text, "<failed>");
    EXPECT_EQ(value, nullptr);
    EXPECT_FALSE(Payload::createStringFrom(payload, text, true));
    EXPECT_EQ(text, textOf(payload));
}

}  // namespace
}  // namespace kova
