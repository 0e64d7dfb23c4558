#include "pull/Recorder.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "support/BinaryPayloads.h"
#include "support/FailingAllocations.h"
#include "support/Payloads.h"
#include "zel/ErrorStorage.h"

// A source that is not a `RecordSource` replays a payload to a recorder. The results are the same
// as those of a source that fills the record itself.
namespace {

using namespace util::serializer;
using payloads::Pull;

// Returns the entries of a payload, or the reason why it is rejected.
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

TEST(RecorderTest, ReplayedBinaryPayloadsProduceTheSameValues) {
    for (char const* const hex : payloads::COMMON_BINARY) {
        expectSame<AXOBinStructuredPushDeserializer>(payloads::fromHex(hex), Endianess::Big);
    }
    for (char const* const hex : payloads::RARE_BINARY) {
        expectSame<AXOBinStructuredPushDeserializer>(payloads::fromHex(hex), Endianess::Big);
    }
    for (char const* const hex : payloads::MALFORMED_BINARY) {
        expectSame<AXOBinStructuredPushDeserializer>(payloads::fromHex(hex), Endianess::Big);
    }
}

TEST(RecorderTest, WrongByteOrderIsRejected) {
    expectSame<AXOBinStructuredPushDeserializer>(payloads::fromHex("00"), Endianess::Little);
}

TEST(RecorderTest, DeepBinaryPayloadsProduceTheSameValues) {
    for (const std::size_t depth : {255, 256, 257}) {
        expectSame<AXOBinStructuredPushDeserializer>(std::string(depth, '\x81') + '\x00',
                                                     Endianess::Big);
    }
}

constexpr char const* JSON[] = {"null", "true", "false", "17", "-17", "18446744073709551615", "1.5",
                                "1e300", R"("text")", R"("\u00e9\n")", "[]", "{}", "[1,[2,[3]],{}]",
                                R"({"a":1,"b":[true,null],"c":{"d":"e"},"a":2})", " [ 1 , 2 ] ",
                                // These texts are rejected.
                                "", " ", "[", "[1", "[1,", "{", R"({"a")", R"({"a":)", "[1 2]",
                                "nul", "1 2", "01", "1e999", R"("\ud800")", "\"\xc3\x28\"", "]",
                                "{1:2}"};

TEST(RecorderTest, ReplayedJsonTextsProduceTheSameValues) {
    for (char const* const text : JSON) {
        expectSame<JSONStructuredPushDeserializerOld>(text);
    }
}

TEST(RecorderTest, DeepJsonTextsProduceTheSameValues) {
    for (const std::size_t depth : {255, 256, 257}) {
        expectSame<JSONStructuredPushDeserializerOld>(std::string(depth, '[') +
                                                      std::string(depth, ']'));
    }
}

// Fails each allocation of reading the payload, with and without direct recording.
void expectRefusedWithoutMemory(const std::string& payload) {
    ASSERT_TRUE(
        Pull<AXOBinStructuredPushDeserializer>(std::string_view(payload), Endianess::Big).begun);
    for (const bool isDirect : {true, false}) {
        bool isConsistent = true;
        const long failures = kova::test::failEveryAllocation([&] {
            AXOBinStructuredPushDeserializer source(Endianess::Big);
            std::unique_ptr<PullFromPushDeserializer> pull;
            try {
                pull = std::make_unique<PullFromPushDeserializer>(&source);
            } catch (const std::bad_alloc&) {
                return false;
            }
            if (isDirect) {
                pull->readDirectly<AXOBinStructuredPushDeserializer>();
            }
            util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(payload.data()),
                                          payload.size(), false);
            const bool failed = pull->beginDeserialize(&reader, nullptr);
            isConsistent = isConsistent && failed == (reader.remaining() != 0);
            return !failed;
        });
        EXPECT_GT(failures, 2);
        EXPECT_TRUE(isConsistent);
    }
}

// The payload has more events than are stored inline. Its strings are in chunks, so their text is
// collected on the heap.
TEST(RecorderTest, StringsInChunksFailWithoutMemory) {
    std::string payload = "\x9f";
    for (int i = 0; i < 100; ++i) {
        payload += "\x7f\x78\x20" + std::string(32, 'a') + '\xff';
    }
    expectRefusedWithoutMemory(payload + '\xff');
}

// The name of the field needs memory.
TEST(RecorderTest, FieldsFailWithoutMemory) {
    std::string payload = "\x81\xbf";
    for (int i = 0; i < 100; ++i) {
        payload += payloads::fromHex("616101");
    }
    expectRefusedWithoutMemory(payload + '\xff');
}

}  // namespace
