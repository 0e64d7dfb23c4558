#include <memory>
#include <string>
#include <vector>

#include "Trial.h"
#include "kova/core/Factory.h"
#include "kova/core/GenericDataPullDeserializer.h"
#include "kova/core/TypeSerializers.h"
#include "support/Trees.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/serializer/AXOBinStructuredPushDeserializer.h"
#include "util/serializer/JSONStructuredPushDeserializerOld.h"
#include "util/serializer/PullFromPushDeserializer.h"
#include "zel/ErrorStorage.h"

// Operations that write and read payloads in both formats, with push and pull deserializers.

namespace kova::test {
namespace {

using kova::serializer::Factory;
using util::ByteBufferReader;
using util::ByteBufferWriter;
using util::serializer::IStructuredPullDeserializer;
using util::serializer::IStructuredPushDeserializer;
using util::serializer::IStructuredSerializer;

using Writer = std::unique_ptr<IStructuredSerializer>;
using Reader = std::unique_ptr<IStructuredPullDeserializer>;

const std::string TEXT(100, 'x');

const util::UnicodeString16 UTF16{std::u16string(50, u'\u00FC')};
const auto UNICODE = zel::unicode::String::fromUtf8(TEXT);
const std::vector<std::string> TEXTS(3, TEXT);
const std::vector<std::uint32_t> NUMBERS(40, 7);
const std::vector<bool> FLAGS(40, true);

bool writeStrings(IStructuredSerializer& to) {
    return to.beginArray() || to.beginElement() || to.serializeString(TEXT) || to.endElement() ||
           to.beginElement() || to.serializeString(UTF16) || to.endElement() || to.beginElement() ||
           to.serializeString(*UNICODE) || to.endElement() || to.serializeEmptyElement() ||
           to.endArray();
}

/// Writes a struct with an array of strings under KEY and typed arrays under other names.
bool writeSample(IStructuredSerializer& to) {
    return to.beginStruct(nullptr) || to.beginField(KEY, -1, false) || writeStrings(to) ||
           to.endField() || to.beginField("numbers", -1, false) || to.serializeArray(NUMBERS) ||
           to.endField() || to.beginField("texts", -1, false) || to.serializeArray(TEXTS) ||
           to.endField() || to.beginField("flags", -1, false) || to.serializeArray(FLAGS) ||
           to.endField() || to.endStruct();
}

bool writePayload(IStructuredSerializer& to, ByteBufferWriter& writer) {
    unsigned long size = 0;
    return to.beginSerialize(&writer, nullptr) || writeSample(to) || to.endSerialize(size);
}

std::string bytesOf(const ByteBufferWriter& writer) {
    return {reinterpret_cast<char const*>(writer.data()), writer.size()};
}

std::string sample(mimetypes::MimeTypeID mimeType) {
    const Writer to(Factory::createSerializer(mimeType));
    ByteBufferWriter writer(0);
    EXPECT_FALSE(writePayload(*to, writer));
    return bytesOf(writer);
}

ByteBufferReader readerOf(const std::string& bytes) {
    return {reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size(), false};
}

template <mimetypes::MimeTypeID MIME_TYPE>
void write(Trial& trial) {
    const Writer to(Factory::createSerializer(MIME_TYPE));
    ByteBufferWriter writer(0);
    trial.attempt([&] { return writePayload(*to, writer); });
    EXPECT_TRUE(trial.isDone() || to->serializeNull()) << "a failed payload can be continued";
    ByteBufferWriter again(0);
    EXPECT_FALSE(writePayload(*to, again));
    EXPECT_EQ(bytesOf(again), sample(MIME_TYPE));
}

/// Replays JSON or binary bytes into a serializer of the same format.
bool replay(IStructuredPushDeserializer& from, const std::string& bytes, IStructuredSerializer& to,
            ByteBufferWriter& writer) {
    ByteBufferReader reader = readerOf(bytes);
    unsigned long size = 0;
    const bool failed = to.beginSerialize(&writer, nullptr) ||
                        from.beginDeserialize(&reader, &to) ||
                        from.deserialize() != IStructuredPushDeserializer::DONE;
    return from.endDeserialize() || failed || to.endSerialize(size);
}

void push(Trial& trial, IStructuredPushDeserializer& from, const std::string& bytes) {
    const Writer to(Factory::createSerializer(mimetypes::JSON));
    ByteBufferWriter writer(0);
    trial.attempt([&] { return replay(from, bytes, *to, writer); });
    ByteBufferWriter again(0);
    EXPECT_FALSE(replay(from, bytes, *to, again));
    EXPECT_EQ(bytesOf(again), sample(mimetypes::JSON));
}

void pushJson(Trial& trial) {
    util::serializer::JSONStructuredPushDeserializerOld from;
    push(trial, from, sample(mimetypes::JSON));
}

void pushBinary(Trial& trial) {
    util::serializer::AXOBinStructuredPushDeserializer from(util::serializer::Endianess::Big);
    push(trial, from, sample(mimetypes::AXOBin));
}

// The chunks of a string are joined in a buffer on the heap.
void pushChunks(Trial& trial) {
    util::serializer::AXOBinStructuredPushDeserializer from(util::serializer::Endianess::Big);
    const Writer to(Factory::createSerializer(mimetypes::JSON));
    std::string bytes = "\x7F";
    for (int i = 0; i < 20; ++i) {
        bytes += "\x77" + std::string(23, 'x');
    }
    bytes += "\xFF";
    ByteBufferWriter writer(2000);
    trial.attempt([&] { return replay(from, bytes, *to, writer); });
    ByteBufferWriter again(0);
    EXPECT_FALSE(replay(from, bytes, *to, again));
    EXPECT_EQ(again.size(), 20U * 23 + 2);
}

template <mimetypes::MimeTypeID MIME_TYPE>
void beginPull(Trial& trial) {
    const Reader from(Factory::createDeserializer(MIME_TYPE));
    const std::string bytes = sample(MIME_TYPE);
    ByteBufferReader reader = readerOf(bytes);
    trial.attempt([&] { return from->beginDeserialize(&reader, nullptr); });
    EXPECT_TRUE(trial.isDone() || from->endDeserialize()) << "a failed begin can be ended";
    ByteBufferReader again = readerOf(bytes);
    EXPECT_FALSE(from->beginDeserialize(&again, nullptr));
    EXPECT_FALSE(from->beginStruct(nullptr));
}

/// Calls `get` to read the value of a field of the sample. A failed read consumes no input and
/// leaves its output unchanged.
template <typename T, typename Get>
void pull(Trial& trial, char const* name, Get get) {
    const Reader from(Factory::createDeserializer(mimetypes::AXOBin));
    const std::string bytes = sample(mimetypes::AXOBin);
    ByteBufferReader reader = readerOf(bytes);
    ASSERT_FALSE(from->beginDeserialize(&reader, nullptr) || from->beginStruct(nullptr) ||
                 from->beginMandatoryField(name, -1));
    if (std::string_view(name) == KEY) {
        ASSERT_FALSE(from->beginArray() || from->beginElement());
    }
    T out{};
    trial.attempt([&] { return get(*from, out); });
    EXPECT_EQ(out == T{}, !trial.isDone());
    EXPECT_TRUE(trial.isDone() || !get(*from, out)) << "the value cannot be read again";
}

void pullString(Trial& trial) {
    pull<std::string>(trial, KEY, [](auto& from, auto& out) { return from.getString(out); });
}

void pullString8(Trial& trial) {
    pull<util::UnicodeString8>(trial, KEY,
                               [](auto& from, auto& out) { return from.getString(out); });
}

void pullString16(Trial& trial) {
    pull<util::UnicodeString16>(trial, KEY,
                                [](auto& from, auto& out) { return from.getString(out); });
}

void pullUnicode(Trial& trial) {
    pull<zel::unicode::String>(trial, KEY,
                               [](auto& from, auto& out) { return from.getString(out); });
}

void pullStrings(Trial& trial) {
    pull<std::vector<std::string>>(trial, "texts",
                                   [](auto& from, auto& out) { return from.getStringArray(out); });
}

void pullNumbers(Trial& trial) {
    pull<std::vector<std::int16_t>>(trial, "numbers",
                                    [](auto& from, auto& out) { return from.getInt16Array(out); });
}

void pullFlags(Trial& trial) {
    pull<std::vector<bool>>(trial, "flags",
                            [](auto& from, auto& out) { return from.getBooleanArray(out); });
}

void pullFieldName(Trial& trial) {
    const Reader from(Factory::createDeserializer(mimetypes::JSON));
    const std::string bytes = sample(mimetypes::JSON);
    ByteBufferReader reader = readerOf(bytes);
    ASSERT_FALSE(from->beginDeserialize(&reader, nullptr) || from->beginStruct(nullptr));
    std::string name;
    trial.attempt([&] { return from->beginField(name); });
    EXPECT_TRUE(trial.isDone() || !from->beginField(name));
    EXPECT_EQ(name, KEY);
}

/// Reads the payload entry by entry. Returns true on failure. The payload is valid, so the only
/// reason for a failure is that memory ran out.
bool readEntries(IStructuredPullDeserializer& from) {
    using util::serializer::EntryType;
    for (;;) {
        const EntryType type = from.getNextEntry()->type;
        if (type == EntryType::End || type == EntryType::Failure) {
            return type == EntryType::Failure;
        }
    }
}

template <mimetypes::MimeTypeID MIME_TYPE>
void pullEntries(Trial& trial) {
    const Reader from(Factory::createDeserializer(MIME_TYPE));
    const std::string bytes = sample(MIME_TYPE);
    ByteBufferReader reader = readerOf(bytes);
    ASSERT_FALSE(from->beginDeserialize(&reader, nullptr));
    trial.attempt([&] { return readEntries(*from); });
    ByteBufferReader again = readerOf(bytes);
    ASSERT_FALSE(from->beginDeserialize(&again, nullptr));
    EXPECT_FALSE(readEntries(*from));
}

/// Reads the whole payload into a tree. If memory runs out, only the begin of the struct has been
/// read.
template <mimetypes::MimeTypeID MIME_TYPE>
void pullTree(Trial& trial) {
    const Reader from(Factory::createDeserializer(MIME_TYPE));
    const std::string bytes = sample(MIME_TYPE);
    ByteBufferReader reader = readerOf(bytes);
    auto& pull = dynamic_cast<util::serializer::PullFromPushDeserializer&>(*from);
    ASSERT_FALSE(from->beginDeserialize(&reader, nullptr) || from->beginStruct(nullptr));
    util::config::Dictionary tree;
    trial.attempt([&] { return pull.getRest(tree); });
    EXPECT_TRUE(trial.isDone() || !pull.getRest(tree));
    EXPECT_EQ(tree, *parseTree(sample(mimetypes::JSON)));
    EXPECT_FALSE(from->endDeserialize());
}

void readTreeByEntries(Trial& trial) {
    const Tree tree = parseTree(sample(mimetypes::JSON));
    kova::serializer::GenericDataPullDeserializer from(*tree);
    trial.attempt([&] { return from.beginDeserialize(nullptr, nullptr) || readEntries(from); });
    from.reset();
    ASSERT_FALSE(from.beginDeserialize(nullptr, nullptr));
    EXPECT_FALSE(readEntries(from));
}

void readTreeByFields(Trial& trial) {
    const Tree tree = parseTree(sample(mimetypes::JSON));
    kova::serializer::GenericDataPullDeserializer from(*tree);
    ASSERT_FALSE(from.beginDeserialize(nullptr, nullptr) || from.beginStruct(nullptr));
    std::string name;
    std::string text;
    const auto read = [&] {
        return from.beginField(name) || from.beginArray() || from.beginElement() ||
               from.getString(text);
    };
    trial.attempt(read);
    from.reset();
    ASSERT_FALSE(from.beginDeserialize(nullptr, nullptr) || from.beginStruct(nullptr));
    EXPECT_FALSE(read());
    EXPECT_EQ(text, TEXT);
}

/// Reads the reason of a failure. The reason is empty if memory is exhausted.
void readReason(Trial& trial) {
    const Reader from(Factory::createDeserializer(mimetypes::JSON));
    const std::string bytes = std::string(1000, ' ') + "{\"a\" 1}";
    ByteBufferReader reader = readerOf(bytes);
    EXPECT_TRUE(from->beginDeserialize(&reader, nullptr));
    const std::string* reason = nullptr;
    trial.attempt([&] {
        reason = &zel::ErrorStorage::current().reason();
        return reason->empty();
    });
    EXPECT_EQ(*reason, trial.isDone() ? "expected ':', found '1' (byte 1005)" : "");
    EXPECT_TRUE(zel::ErrorStorage::current().hasError());
}

/// A malformed payload is rejected, even if memory for the reason is exhausted.
template <mimetypes::MimeTypeID MIME_TYPE>
void refuseGarbage(Trial& trial) {
    const Reader from(Factory::createDeserializer(MIME_TYPE));
    std::string bytes = sample(MIME_TYPE);
    bytes.back() = '\x1C';
    ByteBufferReader reader = readerOf(bytes);
    bool accepted = true;
    trial.attempt([&] {
        accepted = !from->beginDeserialize(&reader, nullptr);
        return accepted;
    });
    EXPECT_FALSE(accepted);
    EXPECT_TRUE(zel::ErrorStorage::current().hasError());
    EXPECT_NE(zel::ErrorStorage::current().reason(), "");
}

template <typename Made>
void make(Trial& trial, Made (*create)()) {
    Made made;
    trial.attempt([&] {
        made = create();
        return made == nullptr;
    });
}

template <mimetypes::MimeTypeID MIME_TYPE>
void makeSerializer(Trial& trial) {
    make<Writer>(trial, [] { return Writer(Factory::createSerializer(MIME_TYPE)); });
}

template <mimetypes::MimeTypeID MIME_TYPE>
void makeDeserializer(Trial& trial) {
    make<Reader>(trial, [] { return Reader(Factory::createDeserializer(MIME_TYPE)); });
}

void makeTreeDeserializer(Trial& trial) {
    make<Reader>(trial, [] {
        return Reader(Factory::createGenericDataDeserializer(*util::config::Value::getNull()));
    });
}

constexpr Operation OPERATIONS[] = {
    {"JSON serializer", FAILED, write<mimetypes::JSON>},
    {"binary serializer", FAILED, write<mimetypes::AXOBin>},
    {"JSON push deserializer", FAILED, pushJson},
    {"binary push deserializer", FAILED, pushBinary},
    {"binary push deserializer, chunks", FAILED, pushChunks},
    {"JSON pull deserializer, begin", FAILED, beginPull<mimetypes::JSON>},
    {"binary pull deserializer, begin", FAILED, beginPull<mimetypes::AXOBin>},
    {"pull getString", FAILED, pullString},
    {"pull getString(UnicodeString8&)", FAILED, pullString8},
    {"pull getString(UnicodeString16&)", FAILED, pullString16},
    {"pull getString(String&)", FAILED, pullUnicode},
    {"pull getStringArray", FAILED, pullStrings},
    {"pull getInt16Array", FAILED, pullNumbers},
    {"pull getBooleanArray", FAILED, pullFlags},
    {"pull beginField", FAILED, pullFieldName},
    {"pull getNextEntry, JSON", FAILED, pullEntries<mimetypes::JSON>},
    {"pull getNextEntry, binary", FAILED, pullEntries<mimetypes::AXOBin>},
    {"pull getRest, JSON", FAILED, pullTree<mimetypes::JSON>},
    {"pull getRest, binary", FAILED, pullTree<mimetypes::AXOBin>},
    {"reason of malformed JSON", FAILED, readReason},
    {"JSON pull deserializer, garbage", 0, refuseGarbage<mimetypes::JSON>},
    {"binary pull deserializer, garbage", 0, refuseGarbage<mimetypes::AXOBin>},
    {"GenericDataPullDeserializer::getNextEntry", FAILED, readTreeByEntries},
    {"GenericDataPullDeserializer, fields", FAILED, readTreeByFields},
    {"Factory::createSerializer JSON", FAILED, makeSerializer<mimetypes::JSON>},
    {"Factory::createSerializer binary", FAILED, makeSerializer<mimetypes::AXOBin>},
    {"Factory::createDeserializer JSON", FAILED | THROWN, makeDeserializer<mimetypes::JSON>},
    {"Factory::createDeserializer binary", FAILED | THROWN, makeDeserializer<mimetypes::AXOBin>},
    {"Factory::createGenericDataDeserializer", FAILED | THROWN, makeTreeDeserializer},
};

INSTANTIATE_TEST_SUITE_P(Serializers, FailingMemory, testing::ValuesIn(OPERATIONS));

}  // namespace
}  // namespace kova::test
