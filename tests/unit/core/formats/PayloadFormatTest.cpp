#include "formats/PayloadFormat.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kova/core/Factory.h"
#include "kova/core/Payload.h"
#include "kova/core/Request.h"

namespace kova::detail {
namespace {

struct Row {
    mimetypes::MimeTypeID id;
    char const* name;
    bool isTranslated;
    bool isText;
    bool isStructured;
    bool hasCodec;
};

constexpr Row ROWS[] = {
    {mimetypes::JSON, "application/json", true, true, false, true},
    {mimetypes::PlainText, "plain/text", true, true, false, false},
    {mimetypes::OctetStream, "application/octet-stream", true, false, false, false},
    {mimetypes::MsgPack, "application/vnd.msgpack", false, false, false, false},
    {mimetypes::AXOBin, "application/vnd.axobin", true, false, true, true}};

TEST(PayloadFormatTest, FormatIsFoundByNumberAndByName) {
    for (const Row& row : ROWS) {
        PayloadFormat const* const format = PayloadFormat::find(row.id);
        ASSERT_NE(format, nullptr) << row.name;
        EXPECT_EQ(PayloadFormat::find(row.name), format) << row.name;
        EXPECT_EQ(format->id, row.id);
        EXPECT_STREQ(format->name, row.name);
        EXPECT_EQ(format->isTranslated, row.isTranslated) << row.name;
        EXPECT_EQ(format->isText, row.isText) << row.name;
        EXPECT_EQ(format->replay != nullptr, row.isStructured) << row.name;
        EXPECT_EQ(format->createSerializer != nullptr, row.hasCodec) << row.name;
        EXPECT_EQ(format->createDeserializer != nullptr, row.hasCodec) << row.name;
    }
}

TEST(PayloadFormatTest, FindReturnsNullForOtherNumbersAndNames) {
    for (const int id : {0, 6, -1, 1000}) {
        EXPECT_EQ(PayloadFormat::find(static_cast<mimetypes::MimeTypeID>(id)), nullptr) << id;
    }
    for (char const* const name : {"", "text/plain", "application/JSON", "application/json "}) {
        EXPECT_EQ(PayloadFormat::find(name), nullptr) << name;
    }
}

TEST(PayloadFormatTest, PublicFunctionsAgreeWithTheFormatTable) {
    for (const Row& row : ROWS) {
        EXPECT_EQ(mimetypes::typename2id(row.name),
                  row.isTranslated ? row.id : mimetypes::Undefined);
        Request request("retrieve", "/a");
        request.setMimeType(row.id);
        std::string accepted;
        EXPECT_EQ(request.getMimeTypeHeader().get(accepted), !row.isTranslated);
        EXPECT_EQ(accepted, row.isTranslated ? row.name : "");

        const std::unique_ptr<util::serializer::IStructuredSerializer> writer(
            serializer::Factory::createSerializer(row.id));
        EXPECT_EQ(writer != nullptr, row.hasCodec) << row.name;
        const std::unique_ptr<util::serializer::IStructuredPullDeserializer> reader(
            serializer::Factory::createDeserializer(row.id));
        EXPECT_EQ(reader != nullptr, row.hasCodec) << row.name;

        std::string text;
        const bool failed = Payload::createStringFrom(
            Payload::createFromRaw(reinterpret_cast<unsigned char const*>("x"), 1, row.name), text,
            true);
        EXPECT_EQ(failed, row.isStructured) << row.name;
        EXPECT_EQ(text, row.isText ? "x" : row.isStructured ? "<failed>" : "<binary>") << row.name;
    }
}

}  // namespace
}  // namespace kova::detail
