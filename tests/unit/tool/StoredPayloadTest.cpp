#include "StoredPayload.h"

#include <gtest/gtest.h>

#include <string>

#include "kova/core/MimeTypes.h"

namespace kova::tool {
namespace {

Payload payloadOf(const std::string& bytes, const std::string& type) {
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), type);
}

std::string lineOf(const std::string& bytes, const std::string& type = mimetypes::JSON_TYPE) {
    return storedLineOf(payloadOf(bytes, type));
}

kit::Result<Payload> parse(const std::string& line) {
    const auto stored = kit::fromPayload<StoredPayload>(Payload::createFromJSON(line));
    return stored ? stored->payload() : kit::Result<Payload>(stored.error());
}

TEST(StoredPayloadTest, PayloadIsWrittenInItsMostReadableForm) {
    EXPECT_EQ(lineOf("{\"b\":[1,2.5],\"a\":null}"),
              "{\"type\":\"application/json\",\"json\":{\"b\":[1,2.5],\"a\":null}}");
    EXPECT_EQ(lineOf("{\"open\":"), "{\"type\":\"application/json\",\"text\":\"{\\\"open\\\":\"}");
    EXPECT_EQ(lineOf("[1, 2]"), "{\"type\":\"application/json\",\"text\":\"[1, 2]\"}");
    EXPECT_EQ(lineOf("\xFF\x01", "image/png"), "{\"type\":\"image/png\",\"base64\":\"/wE=\"}");
    EXPECT_EQ(omittedLineOf("image/png", 7), "{\"type\":\"image/png\",\"omitted\":7}");
}

TEST(StoredPayloadTest, BytesAndTypeReadBackUnchanged) {
    std::string all;
    for (int i = 0; i < 256; ++i) {
        all += static_cast<char>(i);
    }
    for (const std::string& bytes :
         {std::string(), std::string("1}, {\"json\":2"), std::string("null"), std::string("1e400"),
          std::string("{\"a\":1,\"a\":2}"), std::string("18446744073709551616"),
          std::string("\"a\\u0000\""), std::string("a\r\nb"), std::string(1, '\0'), all}) {
        for (char const* type : {mimetypes::JSON_TYPE, mimetypes::AXOBIN_TYPE, "a/b"}) {
            const auto read = parse(lineOf(bytes, type));
            ASSERT_TRUE(read) << bytes << read.error().message;
            EXPECT_EQ(std::string(reinterpret_cast<char const*>(read->data()), read->size()),
                      bytes);
            EXPECT_EQ(read->getMimeType(), type);
        }
    }
}

TEST(StoredPayloadTest, MalformedStoredPayloadsAreRefused) {
    for (char const* line :
         {"{\"type\":\"a\"}", "{\"type\":\"a\",\"text\":\"\",\"json\":1}", "{\"text\":\"\"}",
          "{\"type\":\"a\",\"base64\":\"a\"}", "{\"type\":\"a\",\"base64\":\"====\"}",
          "{\"type\":\"a\",\"base64\":\"a=bc\"}", "{\"type\":\"a\",\"other\":1}", "1"}) {
        EXPECT_FALSE(parse(line)) << line;
    }
    EXPECT_EQ(parse("{\"type\":\"a\",\"omitted\":5}").orThrow().size(), 0U);
}

TEST(StoredPayloadTest, Base64MatchesTheTestVectorsOfRfc4648) {
    // RFC 4648, section 10
    for (const auto& [bytes, text] : {std::pair<char const*, char const*>{"", ""},
                                      {"f", "Zg=="},
                                      {"fo", "Zm8="},
                                      {"foo", "Zm9v"},
                                      {"foob", "Zm9vYg=="},
                                      {"fooba", "Zm9vYmE="},
                                      {"foobar", "Zm9vYmFy"}}) {
        EXPECT_EQ(toBase64(bytes), text);
        EXPECT_EQ(fromBase64(text), bytes);
    }
}

}  // namespace
}  // namespace kova::tool
