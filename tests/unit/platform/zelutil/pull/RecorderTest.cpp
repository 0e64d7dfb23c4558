#include "pull/Recorder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/Payloads.h"
#include "zel/ErrorStorage.h"

// A source that knows nothing of records replays a payload to a recorder. The results are those of
// a source that fills the record itself.
namespace {

using namespace util::serializer;
using payloads::Pull;

// Returns what a reader finds in a payload: its entries, or the reason why it is refused.
std::vector<std::string> read(PullFromPushDeserializer& pull, bool begun) {
    std::vector<std::string> found;
    if (!begun) {
        found.push_back(zel::ErrorStorage::current().reason());
        return found;
    }
    for (auto const* entry = pull.getNextEntry(); entry->type > EntryType::End;
         entry = pull.getNextEntry()) {
        std::string text = std::to_string(static_cast<int>(entry->type));
        switch (entry->type) {
            case EntryType::String:
            case EntryType::Field:
                text += ' ' + payloads::toHex(entry->text);
                break;
            case EntryType::Int64:
                text += ' ' + std::to_string(entry->scalar.int64);
                break;
            case EntryType::UInt64:
                text += ' ' + std::to_string(entry->scalar.uint64);
                break;
            case EntryType::Float:
            case EntryType::Double:
                text += ' ' + std::to_string(entry->scalar.number);
                break;
            case EntryType::Boolean:
                text += entry->scalar.boolean ? " true" : " false";
                break;
            default:
                break;
        }
        found.push_back(text);
    }
    return found;
}

template <class Source, class... Arguments>
void expectSame(const std::string& payload, Arguments... arguments) {
    Pull<Source, true> direct(payload, arguments...);
    const std::vector<std::string> expected = read(direct, direct.begun);
    Pull<Source, false> replayed(payload, arguments...);
    EXPECT_EQ(read(replayed, replayed.begun), expected) << payloads::toHex(payload);
    EXPECT_EQ(replayed.reader.remaining(), direct.reader.remaining()) << payloads::toHex(payload);
    EXPECT_EQ(replayed.endDeserialize(), direct.endDeserialize()) << payloads::toHex(payload);
}

constexpr char const* BINARY[] = {
    // every kind of value, definite and open containers, chunks, typed arrays
    "00", "1bffffffffffffffff", "3b7fffffffffffffff", "f6", "f7", "f4", "f5", "f93c00",
    "fa3fc00000", "fb3ff199999999999a", "60", "6161", "41ff", "7f61616162ff", "5f41ff41feff", "80",
    "9fff", "a0", "bfff", "85 01 fa3fc00000 d84043010203 f7 7f61616162ff", "9f01f7f79f02ffff",
    "bf6161 01 6162 9f02ff 6163 a16164f6ff", "a27f61616162ff01 41ff02", "d9d9f7 83010203",
    "d8405f43010203ff", "82 d84143000102 00",
    // refused
    "", "ff", "1c", "19 00", "62 61", "62 c328", "9f", "9f01", "a1 01 02", "a161", "a16161", "81",
    "9b ffffffffffffffff", "bb 7fffffffffffffff", "0000", "3b8000000000000000", "c0 00", "d840 00",
    "d841 41 00", "e0", "f800", "9fff00", "a1ff", "82ff01", "7f41ffff", "7f7f6161ffff",
    "7f61c3ffff", "82 01 82 02 a1 6161 62 c328"};

TEST(RecorderTest, ReplayedBinaryPayloadsAreReadLikeDirectOnes) {
    for (char const* const hex : BINARY) {
        expectSame<AXOBinStructuredPushDeserializer>(payloads::fromHex(hex), Endianess::Big);
    }
}

TEST(RecorderTest, WrongByteOrderIsRefusedLikeDirectly) {
    expectSame<AXOBinStructuredPushDeserializer>(payloads::fromHex("00"), Endianess::Little);
}

TEST(RecorderTest, DeepBinaryPayloadsAreReadLikeDirectOnes) {
    for (const std::size_t depth : {255, 256, 257}) {
        expectSame<AXOBinStructuredPushDeserializer>(std::string(depth, '\x81') + '\x00',
                                                     Endianess::Big);
    }
}

constexpr char const* JSON[] = {"null", "true", "false", "17", "-17", "18446744073709551615", "1.5",
                                "1e300", R"("text")", R"("\u00e9\n")", "[]", "{}", "[1,[2,[3]],{}]",
                                R"({"a":1,"b":[true,null],"c":{"d":"e"},"a":2})", " [ 1 , 2 ] ",
                                // refused
                                "", " ", "[", "[1", "[1,", "{", R"({"a")", R"({"a":)", "[1 2]",
                                "nul", "1 2", "01", "1e999", R"("\ud800")", "\"\xc3\x28\"", "]",
                                "{1:2}"};

TEST(RecorderTest, ReplayedJsonTextsAreReadLikeDirectOnes) {
    for (char const* const text : JSON) {
        expectSame<JSONStructuredPushDeserializerOld>(text);
    }
}

TEST(RecorderTest, DeepJsonTextsAreReadLikeDirectOnes) {
    for (const std::size_t depth : {255, 256, 257}) {
        expectSame<JSONStructuredPushDeserializerOld>(std::string(depth, '[') +
                                                      std::string(depth, ']'));
    }
}

}  // namespace
