// Tests of the contract between both push deserializers and the serializer that they write to.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/RecordingSerializer.h"
#include "util/serializer/AXOBinStructuredPushDeserializer.h"
#include "util/serializer/JSONStructuredPushDeserializerOld.h"

namespace {

using namespace util::serializer;
using kova::test::RecordingSerializer;

struct Binary {
    static AXOBinStructuredPushDeserializer make() {
        return AXOBinStructuredPushDeserializer(Endianess::Big);
    }
    // {"a": [1, -1, 18446744073709551615, undefined, [_ ], {_ }, (_ "b", "c")],
    //  (_ "d"): null, "e": true, "f": 1.5 (float), "g": 1.5, "h": two packed 16-bit numbers,
    //  "i": {"j": []}, "k": undefined}
    static std::string payload() {
        using namespace std::string_literals;
        return "\xA8"
               "\x61"
               "a\x87\x01\x20\x1B\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xF7\x9F\xFF\xBF\xFF\x7F\x61"
               "b\x61"
               "c\xFF"
               "\x7F\x61"
               "d\xFF\xF6"
               "\x61"
               "e\xF5"
               "\x61"
               "f\xFA\x3F\xC0\x00\x00"
               "\x61"
               "g\xFB\x3F\xF8\x00\x00\x00\x00\x00\x00"
               "\x61"
               "h\xD8\x41\x44\x00\x01\x00\x02"
               "\x61"
               "i\xA1\x61"
               "j\x80"
               "\x61"
               "k\xF7"s;
    }
};

struct Json {
    static JSONStructuredPushDeserializerOld make() { return {}; }
    static std::string payload() {
        return R"({"a": [1, -1, 18446744073709551615, [], {}, "bc"], "d": null, "e": true,
                   "g": 1.5, "i": {"j": []}})";
    }
};

template <typename Format>
class PushDeserializerTest : public testing::Test {
protected:
    static bool fails(RecordingSerializer& target) {
        const std::string payload = Format::payload();
        util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(payload.data()),
                                      payload.size(), true);
        auto source = Format::make();
        EXPECT_FALSE(source.beginDeserialize(&reader, &target));
        const bool failed = source.deserialize() != IStructuredPushDeserializer::DONE;
        EXPECT_EQ(source.endDeserialize(), failed);
        EXPECT_EQ(reader.remaining(), failed ? payload.size() : 0);
        return failed;
    }
};

struct Names {
    template <typename Format>
    static std::string GetName(int) {
        return std::is_same_v<Format, Binary> ? "Binary" : "Json";
    }
};

using Formats = testing::Types<Binary, Json>;
TYPED_TEST_SUITE(PushDeserializerTest, Formats, Names);

TYPED_TEST(PushDeserializerTest, StopsAtTheFirstFailedSerializerCall) {
    RecordingSerializer accepting;
    ASSERT_FALSE(this->fails(accepting));
    const std::vector<std::string>& calls = accepting.calls();
    ASSERT_GT(calls.size(), 30U);

    for (std::size_t failing = 0; failing < calls.size(); ++failing) {
        RecordingSerializer target(failing);
        EXPECT_TRUE(this->fails(target)) << "call " << failing << ": " << calls[failing];
        EXPECT_EQ(target.calls(),
                  std::vector<std::string>(calls.begin(), calls.begin() + failing + 1));
    }
}

}  // namespace
