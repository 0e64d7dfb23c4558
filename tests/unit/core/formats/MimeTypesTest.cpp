#include "kova/core/MimeTypes.h"

#include <gtest/gtest.h>

#include <string>

namespace kova {
namespace {

TEST(MimeTypesTest, Typename2idReturnsTheIdOfEachName) {
    struct {
        std::string name;
        std::string constant;
        int id;
        mimetypes::MimeTypeID idName;
    } const rows[] = {
        {"application/json", mimetypes::JSON_TYPE, 1, mimetypes::JSON},
        {"plain/text", mimetypes::PLAIN_TEXT_TYPE, 2, mimetypes::PlainText},
        {"application/octet-stream", mimetypes::OCTET_STREAM_TYPE, 3, mimetypes::OctetStream},
        {"application/vnd.axobin", mimetypes::AXOBIN_TYPE, 5, mimetypes::AXOBin},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.constant, row.name);
        EXPECT_EQ(row.idName, row.id);
        EXPECT_EQ(mimetypes::typename2id(row.name), row.id) << row.name;
    }
}

TEST(MimeTypesTest, MsgPackNameIsNotMappedToItsId) {
    EXPECT_STREQ(mimetypes::MSGPACK_TYPE, "application/vnd.msgpack");
    EXPECT_EQ(mimetypes::MsgPack, 4);
    EXPECT_EQ(mimetypes::typename2id(mimetypes::MSGPACK_TYPE), mimetypes::Undefined);
}

TEST(MimeTypesTest, Typename2idReturnsUndefinedForOtherNames) {
    EXPECT_EQ(mimetypes::Undefined, 0);
    for (char const* name :
         {"", "text/plain", "Plain/Text", "application/JSON", "application/json ",
          "application/json; charset=utf-8", "application", "json"}) {
        EXPECT_EQ(mimetypes::typename2id(name), mimetypes::Undefined) << '"' << name << '"';
    }
}

}  // namespace
}  // namespace kova
