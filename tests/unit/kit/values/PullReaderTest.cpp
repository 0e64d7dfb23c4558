#include "values/PullReader.h"

#include <gtest/gtest.h>

#include <memory>

#include "kova/core/Factory.h"
#include "kova/core/GenericDataPullDeserializer.h"
#include "kova/kit/Values.h"
#include "values/Recorded.h"

// Tests with a deserializer that stores no reason of a failure. The deserializer of a replacement
// platform may be of this kind. `ValuesTest.cpp` has the tests with the deserializers of this
// platform.
namespace kova::kit::detail {
namespace {

struct Station {
    std::string name;
    int id = 0;
};
KOVA_FIELDS(Station, strict(), name, id)

Tree treeOf(char const* json) {
    return fromPayload<Tree>(Payload::createFromJSON(json)).orThrow();
}

/// Reads the tree of the text through the deserializer of the core, which stores no reasons.
std::string reasonOf(char const* json) {
    const Tree tree = treeOf(json);
    serializer::GenericDataPullDeserializer in(*tree);
    EXPECT_FALSE(in.beginDeserialize(nullptr, nullptr));
    PullReader reader(&in, "x/tree", Limits());
    std::vector<Station> stations;
    if (Codec<std::vector<Station>>::read(reader, stations)) {
        return "";
    }
    return reader.error(400).message;
}

TEST(PullReaderTest, ReaderComposesAReasonIfTheDeserializerRecordsNone) {
    EXPECT_EQ(reasonOf(R"([{"name":"a","id":1}])"), "");
    EXPECT_EQ(reasonOf(R"([{"id":1,"name":"a"},{"id":1,"name":2}])"),
              "[1].name: expected a string");
    EXPECT_EQ(reasonOf(R"([{"id":"1"}])"), "[0].id: expected an integer of 32 bits");
    EXPECT_EQ(reasonOf(R"([[]])"), "[0]: expected a struct");
    EXPECT_EQ(reasonOf(R"([{"id":1}])"),
              "[0]: expected the field \"name\", found a struct without it");
    EXPECT_EQ(reasonOf(R"([{"id":1,"lvl":1}])"), "[0]: expected no other field, found \"lvl\"");
}

TEST(PullReaderTest, ReturnsItsMimeType) {
    EXPECT_STREQ(PullReader(nullptr, "x/tree", Limits()).mimeType(), "x/tree");
}

/// The error storage of a platform that does not count errors.
struct PlainStorage {
    const std::string& reason() const { return text; }
    void acknowledge() noexcept { text.clear(); }

    std::string text;
};

TEST(RecordedTest, LatestErrorIsUsedIfTheStorageDoesNotCountErrors) {
    PlainStorage storage;
    storage.text = "an older error";
    {
        BasicRecorded<PlainStorage> recorded(storage);
        EXPECT_EQ(recorded.reason(), "an older error");
    }
    EXPECT_EQ(storage.text, "an older error") << "acknowledged without a failure";
    BasicRecorded<PlainStorage>(storage).acknowledge();
    EXPECT_EQ(storage.text, "");
}

TEST(RecordedTest, SuccessKeepsAnOlderErrorOfTheThread) {
    zel::ErrorStorage& storage = zel::ErrorStorage::current();
    EXPECT_FALSE(fromPayload<int>(Payload::createFromJSON("x")).ok());
    EXPECT_FALSE(storage.hasError());
    util::serializer::IStructuredPullDeserializer* const in =
        serializer::Factory::createDeserializer(mimetypes::JSON);
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> owner(in);
    EXPECT_TRUE(in->getNull());
    ASSERT_TRUE(storage.hasError());
    EXPECT_TRUE(fromPayload<int>(Payload::createFromJSON("1")).ok());
    EXPECT_TRUE(storage.hasError()) << "a successful read acknowledged another error";
    EXPECT_EQ(Recorded().reason(), "");
    storage.acknowledge();
}

}  // namespace
}  // namespace kova::kit::detail
