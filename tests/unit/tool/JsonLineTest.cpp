#include "JsonLine.h"

#include <gtest/gtest.h>

#include <string>

#include "kova/kit/Values.h"

namespace kova::tool {
namespace {

std::string lineOf(const std::string& bytes, const std::string& type) {
    return jsonLineOf(Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                             bytes.size(), type));
}

TEST(JsonLineTest, JsonHasNoLineBreaks) {
    EXPECT_EQ(lineOf("{\n \"a\": [1,\n2.5]}\n", mimetypes::JSON_TYPE), "{\"a\":[1,2.5]}");
    EXPECT_EQ(lineOf("18446744073709551615", mimetypes::JSON_TYPE), "18446744073709551615");
    EXPECT_EQ(lineOf("\"a\\nb\"", mimetypes::JSON_TYPE), "\"a\\nb\"");
}

TEST(JsonLineTest, BinaryAndTextPayloadsAreConvertedToJson) {
    EXPECT_EQ(jsonLineOf(Payload()), "null");
    EXPECT_EQ(jsonLineOf(kit::toPayload(17, mimetypes::AXOBIN_TYPE).orThrow()), "17");
    EXPECT_EQ(lineOf("a\n\"b\"", mimetypes::PLAIN_TEXT_TYPE), "\"a\\n\\\"b\\\"\"");
}

TEST(JsonLineTest, PayloadWithoutAJsonFormIsShownByTypeAndSize) {
    EXPECT_EQ(lineOf("\x89PNG", "image/png"), "{\"type\":\"image/png\",\"bytes\":4}");
    EXPECT_EQ(lineOf("{", mimetypes::JSON_TYPE), "{\"type\":\"application/json\",\"bytes\":1}");
    EXPECT_EQ(lineOf("\xFF", mimetypes::AXOBIN_TYPE),
              "{\"type\":\"application/vnd.axobin\",\"bytes\":1}");
    EXPECT_EQ(lineOf("\xFF", mimetypes::PLAIN_TEXT_TYPE), "{\"type\":\"plain/text\",\"bytes\":1}");
    EXPECT_EQ(lineOf("a", "\xFF"), "{\"bytes\":1}");
}

}  // namespace
}  // namespace kova::tool
