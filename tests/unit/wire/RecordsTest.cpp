#include "wire/Records.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "support/Trees.h"
#include "util/Limits.h"
#include "util/UnicodeString.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace kova::wire {
namespace {

using namespace std::string_literals;
using util::config::Array;
using util::config::Dictionary;
using util::config::Value;
using util::config::ValueFloat;
using util::config::ValueInt;
using util::config::ValueString;

constexpr std::size_t LIMIT = 64U * 1024U * 1024U;

std::string bigEndian(std::uint64_t number, int bytes) {
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
        text += static_cast<char>(number >> shift & 0xFFU);
    }
    return text;
}

std::string field(int number, const std::string& content) {
    return static_cast<char>(number) + bigEndian(content.size(), 4) + content;
}

std::string record(int kind, const std::string& fields) {
    return bigEndian(1 + fields.size(), 4) + static_cast<char>(kind) + fields;
}

const std::string VERSION = field(1, "\1");

/// Reads one record that is complete.
class Read {
public:
    explicit Read(const std::string& bytes) : reader_(LIMIT) {
        reader_.add(bytes);
        kit::Result<std::optional<Record>> result = reader_.next();
        if (!result) {
            ADD_FAILURE() << result.error().message;
        } else if (!*result) {
            ADD_FAILURE() << "the record is not complete";
        } else {
            record_ = **result;
        }
    }
    const Record& operator*() const { return record_; }
    Record const* operator->() const { return &record_; }

private:
    RecordReader reader_;
    Record record_;
};

std::string written(const Response& response, RecordKind kind = RecordKind::next,
                    bool isFirst = true) {
    std::string bytes;
    const kit::Result<void> result = appendEvent(bytes, kind, response, isFirst);
    EXPECT_TRUE(result.ok()) << result.error().message;
    return bytes;
}

Response sent(const Response& response) {
    return Read(written(response))->toResponse().orThrow();
}

std::string bytesOf(const Payload& payload) {
    return payload.isEmpty() ? "" : std::string(payload.data(), payload.data() + payload.size());
}

Payload payloadOf(const std::string& bytes, const std::string& mimeType) {
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), mimeType);
}

/// Sends a header with an entry. Returns the entry that arrives.
test::Tree sentEntry(Value* value) {
    Response response(200);
    response.add2header("entry", value);
    response.add2header("other", Value::getNull());
    return test::Tree(sent(response).getHeaderValue("entry").clone());
}

// Messages

TEST(RecordsTest, RequestArrivesWithCommandPathPayloadAndHeader) {
    Request request("retrieve", "/light//..%2f?\xff", payloadOf("{\"on\":1}", "application/json"));
    request.setMimeType("application/json");
    std::string bytes;
    ASSERT_TRUE(appendRequest(bytes, request).ok());
    const Read record(bytes);
    EXPECT_EQ(record->kind, RecordKind::request);
    EXPECT_EQ(record->version, WIRE_VERSION);
    const Request arrived = record->toRequest().orThrow();
    EXPECT_EQ(arrived.getCommand(), "retrieve");
    EXPECT_EQ(arrived.getPath(), "/light//..%2f?\xff");
    EXPECT_EQ(bytesOf(arrived.getPayload()), "{\"on\":1}");
    EXPECT_EQ(arrived.getPayload().getMimeType(), "application/json");
    EXPECT_EQ(arrived.getHeader(), request.getHeader());
}

TEST(RecordsTest, EmptyRequestArrivesEmpty) {
    std::string bytes;
    ASSERT_TRUE(appendRequest(bytes, Request("", "")).ok());
    EXPECT_EQ(bytes, record(1, VERSION));
    const Request arrived = Read(bytes)->toRequest().orThrow();
    EXPECT_EQ(arrived.getCommand(), "");
    EXPECT_EQ(arrived.getPath(), "");
    EXPECT_TRUE(arrived.getPayload().isEmpty());
    EXPECT_TRUE(arrived.getHeader().isUndefined());
}

TEST(RecordsTest, CommandsAndPathsOfAnyBytesArrive) {
    const std::string any = "a\0b\r\n\xc3\xff"s;
    std::string bytes;
    ASSERT_TRUE(appendRequest(bytes, Request(any, any + any)).ok());
    const Request arrived = Read(bytes)->toRequest().orThrow();
    EXPECT_EQ(arrived.getCommand(), any);
    EXPECT_EQ(arrived.getPath(), any + any);
}

TEST(RecordsTest, EveryStatusArrives) {
    std::string bytes;
    for (unsigned status = 0; status <= 65535; ++status) {
        bytes.clear();
        const Response response(static_cast<unsigned short>(status));
        ASSERT_TRUE(appendEvent(bytes, RecordKind::error, response, true).ok());
        const Read record(bytes);
        ASSERT_EQ(record->kind, RecordKind::error);
        ASSERT_EQ(record->toResponse().orThrow().getStatusCode(), status);
    }
}

TEST(RecordsTest, ErrorMessageArrivesWithAnyStatus) {
    const Response error = Response::createErrorResponse(200, "not an error, but \xff");
    const Response arrived = sent(error);
    EXPECT_TRUE(arrived.isErrorResponse());
    EXPECT_EQ(arrived.getErrorMessage(), error.getErrorMessage());
    EXPECT_EQ(arrived.getStatusCode(), 200);
}

TEST(RecordsTest, CompletionHasNoFieldsButTheVersion) {
    std::string bytes;
    appendCompleted(bytes, true);
    EXPECT_EQ(bytes, record(4, VERSION));
    bytes.clear();
    appendCompleted(bytes, false);
    EXPECT_EQ(bytes, record(4, ""));
}

TEST(RecordsTest, EventThatIsNotTheFirstHasNoVersion) {
    const std::string bytes = written(Response(258), RecordKind::next, false);
    EXPECT_EQ(bytes, record(2, field(2, "\1\2")));
}

TEST(RecordsTest, RecordsAreAppendedToEarlierBytes) {
    std::string bytes = "before";
    ASSERT_TRUE(appendEvent(bytes, RecordKind::next, Response(0), false).ok());
    appendCompleted(bytes, false);
    EXPECT_EQ(bytes, "before" + record(2, "") + record(4, ""));
}

// Payloads

TEST(RecordsTest, AbsentPayloadStaysAbsent) {
    EXPECT_TRUE(sent(Response(200)).getPayload().isEmpty());
}

TEST(RecordsTest, PayloadOfNoBytesIsNotAbsent) {
    const Payload arrived = sent(Response(200, payloadOf("", "plain/text"))).getPayload();
    EXPECT_FALSE(arrived.isEmpty());
    EXPECT_EQ(arrived.size(), 0U);
    EXPECT_EQ(arrived.getMimeType(), "plain/text");
}

TEST(RecordsTest, AbsentPayloadKeepsItsMimeType) {
    const Payload arrived = sent(Response(200, Payload(Blob(), "own/type"))).getPayload();
    EXPECT_TRUE(arrived.isEmpty());
    EXPECT_EQ(arrived.getMimeType(), "own/type");
}

TEST(RecordsTest, PayloadMayLackAMimeType) {
    const Payload arrived = sent(Response(200, payloadOf("x", ""))).getPayload();
    EXPECT_EQ(bytesOf(arrived), "x");
    EXPECT_EQ(arrived.getMimeType(), "");
}

TEST(RecordsTest, PayloadOfEveryByteArrivesWithAnyMimeType) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    const std::string mimeType = "x\r\n\0/\xfe; a=\"b\""s;
    const Payload arrived = sent(Response(200, payloadOf(all, mimeType))).getPayload();
    EXPECT_EQ(bytesOf(arrived), all);
    EXPECT_EQ(arrived.getMimeType(), mimeType);
}

TEST(RecordsTest, LargePayloadArrives) {
    std::string large(16U * 1024U * 1024U, 'x');
    large.back() = 'y';
    const Response response(200, payloadOf(large, "application/octet-stream"));
    EXPECT_EQ(bytesOf(sent(response).getPayload()), large);
}

TEST(RecordsTest, RecordWhoseLengthNeedsMoreThanFourBytesIsRefused) {
    // The size is only stated: the bytes are not read.
    const std::shared_ptr<unsigned char[]> bytes(new unsigned char[1]);
    std::string out = "before";
    const Response response(200, Payload(Blob(bytes, std::uint64_t{1} << 32), "a/b"));
    const kit::Result<void> event = appendEvent(out, RecordKind::next, response, true);
    ASSERT_FALSE(event.ok());
    EXPECT_EQ(event.error(), (kit::Error{500, "the message exceeds 4294967295 bytes"}));
    const Request request("update", "/", Payload(Blob(bytes, std::uint64_t{1} << 32), "a/b"));
    const kit::Result<void> sending = appendRequest(out, request);
    ASSERT_FALSE(sending.ok());
    EXPECT_EQ(sending.error().code, 400);
    EXPECT_EQ(out, "before");
}

// Headers

TEST(RecordsTest, NullsAndBooleansArrive) {
    EXPECT_TRUE(sentEntry(Value::getNull())->isNull());
    EXPECT_EQ(*sentEntry(Value::getBool(true)), *Value::getBool(true));
    EXPECT_EQ(*sentEntry(Value::getBool(false)), *Value::getBool(false));
    EXPECT_EQ(*sentEntry(Value::getBool(true)->clone()), *Value::getBool(true));
}

TEST(RecordsTest, IntegersOf64BitsArrive) {
    for (const long number : {0L, 1L, -1L, 23L, 24L, 65536L, std::numeric_limits<long>::min(),
                              std::numeric_limits<long>::max()}) {
        EXPECT_EQ(*sentEntry(new ValueInt(number)), ValueInt(number));
    }
    for (const unsigned long number : {1UL << 63U, ~0UL}) {
        EXPECT_EQ(*sentEntry(new ValueInt(number)), ValueInt(number));
    }
}

TEST(RecordsTest, FloatsArriveWithTheSameBits) {
    using Limits = std::numeric_limits<double>;
    for (const double number :
         {0.0, -0.0, 1.0, 0.1, -1e300, Limits::denorm_min(), Limits::max(), Limits::infinity(),
          -Limits::infinity(), Limits::quiet_NaN(), -Limits::quiet_NaN(), std::nan("42")}) {
        const test::Tree arrived = sentEntry(new ValueFloat(number));
        ASSERT_TRUE(arrived->isFloat());
        const double other = static_cast<const ValueFloat&>(*arrived).value();
        EXPECT_EQ(std::memcmp(&number, &other, sizeof number), 0) << number;
    }
}

TEST(RecordsTest, StringsOfAnyBytesArrive) {
    for (const std::string& text : {""s, "plain"s, "\xc3\xbc"s, "\xff\xfe"s, "a\0b"s, "\0"s,
                                    "\xed\xa0\x80"s, std::string(70000, 'z')}) {
        EXPECT_EQ(*sentEntry(new ValueString(text)), ValueString(text));
    }
}

TEST(RecordsTest, UnicodeStringArrivesAsANarrowString) {
    const test::Tree arrived =
        sentEntry(new util::config::ValueUnicodeString(util::UnicodeString8{"\xc3\xbc"}));
    EXPECT_EQ(*arrived, ValueString("\xc3\xbc"));
}

TEST(RecordsTest, UndefinedEntryIsLeftOutAndUndefinedElementIsNull) {
    auto* array = new Array;
    array->add(&Value::getUndefined());
    array->add(new ValueInt(1));
    Response response(200);
    response.add2header("absent", &Value::getUndefined());
    response.add2header("array", array);
    const Response arrived = sent(response);
    EXPECT_EQ(test::toJson(arrived.getHeader()), "{\"array\":[null,1]}");
    EXPECT_TRUE(arrived.getHeaderValue("array")[0].isNull());
}

TEST(RecordsTest, KeysOfAnyBytesArrive) {
    const auto header = std::make_shared<Dictionary>();
    for (const std::string& key : {""s, "$accept"s, "\xc3\xbc"s, "\xff"s, "a\0b"s}) {
        header->add(key, new ValueString(key));
    }
    Response::Header shared = header;
    EXPECT_EQ(sent(Response(200, shared)).getHeader(), *header);
}

TEST(RecordsTest, RandomTreesArrive) {
    test::RandomTrees trees(19);
    for (int i = 0; i < 1000; ++i) {
        const test::Tree tree = trees.next();
        EXPECT_EQ(*sentEntry(tree->clone()), *tree);
    }
}

TEST(RecordsTest, EmptyHeaderArrivesAsNoHeader) {
    Response::Header header = std::make_shared<Dictionary>();
    EXPECT_EQ(written(Response(0, header)), record(2, VERSION));
    EXPECT_TRUE(sent(Response(0, header)).getHeader().isUndefined());
}

TEST(RecordsTest, DeepestHeaderIsAcceptedAndADeeperOneIsRefused) {
    // The header itself is one level.
    EXPECT_TRUE(sentEntry(test::deepTree(util::MAX_NESTING_DEPTH - 1).release())->isArray());
    Response response(200);
    response.add2header("entry", test::deepTree(util::MAX_NESTING_DEPTH).release());
    std::string out = "before";
    const kit::Result<void> event = appendEvent(out, RecordKind::next, response, true);
    ASSERT_FALSE(event.ok());
    EXPECT_EQ(event.error(), (kit::Error{500, "the header is nested too deeply"}));
    EXPECT_EQ(out, "before");
}

TEST(RecordsTest, HeaderOfAHundredThousandLevelsIsRefused) {
    Request request("retrieve", "/");
    request.add2header("entry", test::deepTree(100000).release());
    std::string out;
    const kit::Result<void> result = appendRequest(out, request);
    ASSERT_FALSE(result.ok());
    EXPECT_EQ(result.error().code, 400);
}

class MalformedHeader : public ::testing::TestWithParam<std::string> {};

TEST_P(MalformedHeader, IsRefusedWhenTheMessageIsMade) {
    const Read read(record(2, VERSION + field(5, GetParam())));
    const kit::Error expected{400, "field 'header' is not a dictionary in binary form"};
    const kit::Result<Request> request = read->toRequest();
    ASSERT_FALSE(request.ok());
    EXPECT_EQ(request.error(), expected);
    const kit::Result<Response> response = read->toResponse();
    ASSERT_FALSE(response.ok());
    EXPECT_EQ(response.error(), expected);
}

INSTANTIATE_TEST_SUITE_P(RecordsTest, MalformedHeader,
                         ::testing::Values("", "\xf6",              // null
                                           "\x9f\xff",              // an array
                                           "\x61"s + "a",           // a string
                                           "\xbf",                  // truncated
                                           "\xbf\xff\xf6",          // bytes after the dictionary
                                           "\xa1\x01\x02",          // a key that is not a string
                                           "{\"a\":1}",             // JSON
                                           "\xa1\x61"s + "a\xc1\1"  // an unknown tag
                                           ));

TEST(RecordsTest, HeaderInOtherValidEncodingsIsAccepted) {
    // A map of definite length, a half float, a typed array and a repeated key.
    const std::string header =
        "\xa4\x61"s + "a\xf9\x3e\x00\x61"s + "b\xd8\x40\x42\x01\xff\x61" + "c\x01\x61" + "c\x02";
    const Read read(record(2, VERSION + field(5, header)));
    EXPECT_EQ(test::toJson(read->toResponse().orThrow().getHeader()),
              "{\"a\":1.5,\"b\":[1,255],\"c\":2}");
}

// Sequences

/// The records of a sequence as text, one a line; the last line is the reason of an error.
std::string readAll(RecordReader& reader) {
    std::string out;
    for (;;) {
        const kit::Result<std::optional<Record>> result = reader.next();
        if (!result) {
            return out + std::to_string(result.error().code) + " " + result.error().message;
        }
        if (!*result) {
            return out;
        }
        const Record& record = **result;
        out += std::to_string(static_cast<int>(record.kind)) + " " +
               (record.version ? "v" + std::to_string(*record.version) : "-") + " " +
               std::to_string(record.status) + " '" + std::string(record.mimeType) + "' " +
               (record.payload ? "'" + std::string(*record.payload) + "'" : "-") + " " +
               (record.header ? std::to_string(record.header->size()) : "-") + " '" +
               std::string(record.command) + "' '" + std::string(record.path) + "'\n";
    }
}

std::string readAll(const std::string& bytes, std::size_t limit = LIMIT) {
    RecordReader reader(limit);
    reader.add(bytes);
    return readAll(reader);
}

std::string exampleSequence() {
    std::string bytes;
    EXPECT_TRUE(
        appendEvent(bytes, RecordKind::next, Response(200, payloadOf("first", "plain/text")), true)
            .ok());
    bytes += record(9, field(1, "\1") + field(200, "unknown"));
    EXPECT_TRUE(
        appendEvent(bytes, RecordKind::next, Response(206, payloadOf("", "a/b")), false).ok());
    EXPECT_TRUE(
        appendEvent(bytes, RecordKind::error, Response::createErrorResponse(404, "gone"), false)
            .ok());
    appendCompleted(bytes, false);
    return bytes;
}

constexpr char const* EXAMPLE_TEXT =
    "2 v1 200 'plain/text' 'first' - '' ''\n"
    "2 - 206 'a/b' '' - '' ''\n"
    "3 - 404 '' - 17 '' ''\n"
    "4 - 0 '' - - '' ''\n";

TEST(RecordReaderTest, EveryPairOfCutsGivesTheSameRecords) {
    const std::string bytes = exampleSequence();
    for (std::size_t first = 0; first <= bytes.size(); ++first) {
        for (std::size_t second = first; second <= bytes.size(); ++second) {
            RecordReader reader(LIMIT);
            std::string text;
            reader.add(bytes.substr(0, first));
            text += readAll(reader);
            reader.add(bytes.substr(first, second - first));
            text += readAll(reader);
            reader.add(bytes.substr(second));
            text += readAll(reader);
            ASSERT_EQ(text, EXAMPLE_TEXT) << "cut at " << first << " and " << second;
            ASSERT_FALSE(reader.isInside());
        }
    }
}

TEST(RecordReaderTest, SingleBytesGiveTheSameRecords) {
    RecordReader reader(LIMIT);
    std::string text;
    for (const char byte : exampleSequence()) {
        reader.add({&byte, 1});
        text += readAll(reader);
    }
    EXPECT_EQ(text, EXAMPLE_TEXT);
}

TEST(RecordReaderTest, EveryTruncatedSequenceEndsInsideARecordOrBetweenTwo) {
    const std::string bytes = record(2, VERSION) + record(4, "");
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        RecordReader reader(LIMIT);
        reader.add(bytes.substr(0, size));
        readAll(reader);
        const bool isBetween =
            size == 0 || size == bytes.size() || size == record(2, VERSION).size();
        EXPECT_EQ(reader.isInside(), !isBetween) << size;
    }
}

TEST(RecordReaderTest, ReaderIsInsideARecordUntilTheRecordIsRead) {
    RecordReader reader(LIMIT);
    EXPECT_FALSE(reader.isInside());
    reader.add(record(4, VERSION));
    EXPECT_TRUE(reader.isInside());
    readAll(reader);
    EXPECT_FALSE(reader.isInside());
}

TEST(RecordReaderTest, LargeRecordArrivesByteByByte) {
    const std::string payload(16U * 1024U * 1024U, 'x');
    const std::string bytes = written(Response(200, payloadOf(payload, "")));
    RecordReader reader(LIMIT);
    bool isPending = true;
    for (std::size_t i = 0; i + 1 < bytes.size() && isPending; ++i) {
        reader.add(std::string_view(bytes).substr(i, 1));
        const auto result = reader.next();
        isPending = result.ok() && !*result;
    }
    ASSERT_TRUE(isPending);
    reader.add(std::string_view(bytes).substr(bytes.size() - 1));
    const auto result = reader.next();
    ASSERT_TRUE(result.ok() && *result);
    EXPECT_EQ((*result)->payload, payload);
}

// Each piece ends inside a record, so the buffer is never empty when bytes are added.
TEST(RecordReaderTest, ManySmallRecordsInShiftedPiecesAreRead) {
    const std::string small = record(2, field(4, "0123456789"));
    std::string bytes = record(2, VERSION);
    for (int i = 0; i < 500000; ++i) {
        bytes += small;
    }
    RecordReader reader(LIMIT);
    std::size_t count = 0;
    constexpr std::size_t PIECE = 4093;
    for (std::size_t at = 0; at < bytes.size(); at += PIECE) {
        reader.add(std::string_view(bytes).substr(at, PIECE));
        for (;;) {
            const auto result = reader.next();
            ASSERT_TRUE(result.ok()) << result.error().message;
            if (!*result) {
                break;
            }
            ++count;
        }
    }
    EXPECT_EQ(count, 500001U);
    EXPECT_FALSE(reader.isInside());
}

TEST(RecordReaderTest, ManySmallRecordsInOnePieceAreRead) {
    std::string bytes = record(2, VERSION);
    for (int i = 0; i < 500000; ++i) {
        bytes += record(2, "");
    }
    RecordReader reader(LIMIT);
    reader.add(bytes);
    std::size_t count = 0;
    for (auto result = reader.next(); result.ok() && *result; result = reader.next()) {
        ++count;
    }
    EXPECT_EQ(count, 500001U);
}

TEST(RecordReaderTest, RecordAtTheLimitIsReadAndALongerOneIsRefusedOnceItsLengthIsKnown) {
    const std::string fields = VERSION + field(4, "0123456789");
    EXPECT_EQ(readAll(record(2, fields), fields.size() + 1), "2 v1 0 '' '0123456789' - '' ''\n");
    EXPECT_EQ(readAll(record(2, fields).substr(0, 4), fields.size()),
              "400 record of 22 bytes, not 1 to 21");
}

struct Row {
    char const* name;
    std::string bytes;
    std::string text;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

class ReadSequence : public ::testing::TestWithParam<Row> {};

TEST_P(ReadSequence, GivesTheRecordsOrTheReason) {
    EXPECT_EQ(readAll(GetParam().bytes), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Accepted, ReadSequence,
    ::testing::Values(
        Row{"nothing", "", ""}, Row{"part of a length", "\0\0\0"s, ""},
        Row{"version", record(4, VERSION), "4 v1 0 '' - - '' ''\n"},
        Row{"version again", record(2, VERSION) + record(4, VERSION),
            "2 v1 0 '' - - '' ''\n4 v1 0 '' - - '' ''\n"},
        Row{"version behind other fields", record(2, field(4, "p") + VERSION),
            "2 v1 0 '' 'p' - '' ''\n"},
        Row{"unknown field", record(2, VERSION + field(8, "x") + field(2, "\0\7"s)),
            "2 v1 7 '' - - '' ''\n"},
        Row{"field number 0", record(2, field(0, "x") + VERSION), "2 v1 0 '' - - '' ''\n"},
        Row{"field number 255", record(2, field(255, "x") + VERSION), "2 v1 0 '' - - '' ''\n"},
        Row{"unknown field twice", record(2, VERSION + field(8, "x") + field(8, "y")),
            "2 v1 0 '' - - '' ''\n"},
        Row{"kind 0", record(2, VERSION) + record(0, "") + record(4, ""),
            "2 v1 0 '' - - '' ''\n4 - 0 '' - - '' ''\n"},
        Row{"kind 5", record(2, VERSION) + record(5, "") + record(4, ""),
            "2 v1 0 '' - - '' ''\n4 - 0 '' - - '' ''\n"},
        Row{"kind 255", record(2, VERSION) + record(255, "") + record(4, ""),
            "2 v1 0 '' - - '' ''\n4 - 0 '' - - '' ''\n"},
        Row{"unknown kind first", record(9, VERSION) + record(4, ""), "4 - 0 '' - - '' ''\n"},
        Row{"empty fields", record(1, VERSION + field(3, "") + field(6, "") + field(7, "")),
            "1 v1 0 '' - - '' ''\n"},
        Row{"header is not decoded", record(2, VERSION + field(5, "junk")),
            "2 v1 0 '' - 4 '' ''\n"},
        Row{"fields that the kind does not need", record(4, VERSION + field(7, "/p")),
            "4 v1 0 '' - - '' '/p'\n"}));

INSTANTIATE_TEST_SUITE_P(
    Refused, ReadSequence,
    ::testing::Values(
        Row{"no kind", bigEndian(0, 4), "400 record of 0 bytes, not 1 to 67108864"},
        Row{"above the limit", "\xff\xff\xff\xff",
            "400 record of 4294967295 bytes, not 1 to 67108864"},
        Row{"no version", record(4, ""), "400 the first record has no version, expected version 1"},
        Row{"no version in a first record of an unknown kind", record(9, "") + record(4, VERSION),
            "400 the first record has no version, expected version 1"},
        Row{"version 2", record(4, field(1, "\2")),
            "400 version 2 of the records, expected version 1"},
        Row{"version 0", record(4, field(1, "\0"s)),
            "400 version 0 of the records, expected version 1"},
        Row{"version 2 later", record(2, VERSION) + record(4, field(1, "\2")),
            "2 v1 0 '' - - '' ''\n400 version 2 of the records, expected version 1"},
        Row{"version 2 of an unknown kind", record(9, field(1, "\2")),
            "400 version 2 of the records, expected version 1"},
        Row{"version of no byte", record(4, field(1, "")),
            "400 field 'version' has a wrong length"},
        Row{"version of two bytes", record(4, field(1, "\1\1")),
            "400 field 'version' has a wrong length"},
        Row{"status of one byte", record(2, VERSION + field(2, "\1")),
            "400 field 'status' has a wrong length"},
        Row{"status of three bytes", record(2, VERSION + field(2, "\1\1\1")),
            "400 field 'status' has a wrong length"},
        Row{"version twice", record(2, VERSION + VERSION), "400 field 'version' occurs twice"},
        Row{"status twice", record(2, VERSION + field(2, "\1\1") + field(2, "\1\1")),
            "400 field 'status' occurs twice"},
        Row{"mime type twice", record(2, VERSION + field(3, "") + field(3, "")),
            "400 field 'mimeType' occurs twice"},
        Row{"payload twice", record(2, VERSION + field(4, "") + field(4, "")),
            "400 field 'payload' occurs twice"},
        Row{"header twice", record(2, VERSION + field(5, "") + field(5, "")),
            "400 field 'header' occurs twice"},
        Row{"command twice", record(2, VERSION + field(6, "") + field(6, "")),
            "400 field 'command' occurs twice"},
        Row{"path twice", record(2, VERSION + field(7, "") + field(7, "")),
            "400 field 'path' occurs twice"},
        Row{"field without a length", record(2, VERSION + "\4"), "400 field 4 exceeds its record"},
        Row{"field with a part of a length", record(2, VERSION + "\4\0\0\0"s),
            "400 field 4 exceeds its record"},
        Row{"field one byte too long", record(2, VERSION + "\4" + bigEndian(3, 4) + "ab"),
            "400 field 4 exceeds its record"},
        Row{"field of 4 GB", record(2, VERSION + "\4\xff\xff\xff\xff"),
            "400 field 4 exceeds its record"},
        Row{"unknown field that is too long", record(2, VERSION + "\x99" + bigEndian(1, 4)),
            "400 field 153 exceeds its record"},
        Row{"malformed record of an unknown kind", record(9, VERSION + "\4"),
            "400 field 4 exceeds its record"}));

}  // namespace
}  // namespace kova::wire
