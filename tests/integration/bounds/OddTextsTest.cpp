#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "kova/core/Factory.h"
#include "kova/core/Number.h"
#include "kova/core/Path.h"
#include "kova/core/PathPatterns.h"
#include "kova/core/Payload.h"
#include "kova/core/ResourceLocator.h"
#include "kova/core/SemVer.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/TypeSerializers.h"
#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Duration.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/Language.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/dovglobals/Time.h"
#include "kova/core/dovglobals/Units.h"
#include "kova/core/url.h"
#include "support/Reports.h"
#include "support/Service.h"
#include "support/Trees.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "zel/unicode/String.h"

// Passes texts with embedded zeros and with bytes of 128 or more to every function that accepts a
// text. The results must not depend on whether `char` is signed (x86-64) or unsigned (AArch64).

namespace kova::test {
namespace {

using util::config::Dictionary;
using util::config::Value;
using util::config::ValueInt;
using util::config::ValueString;

const std::string ZERO(1, '\0');

// ---- round trips through payloads

/// Returns a tree with the text as a key, a string and an element.
std::unique_ptr<Dictionary> treeOf(const std::string& text) {
    auto tree = std::make_unique<Dictionary>();
    tree->add(std::string_view(text), new ValueString(text));
    auto* const array = new util::config::Array;
    array->add(new ValueString(text));
    tree->add("array", array);
    return tree;
}

/// Returns the serialized tree, or nullopt if the serializer rejects it.
std::optional<std::string> written(const Dictionary& tree, mimetypes::MimeTypeID mimeType) {
    const std::unique_ptr<serializer::IStructuredSerializer> to(
        serializer::Factory::createSerializer(mimeType));
    util::ByteBufferWriter writer(0);
    unsigned long size = 0;
    const bool failed = to->beginSerialize(&writer, nullptr) || serializer::serialize(*to, tree) ||
                        to->endSerialize(size);
    return failed ? std::nullopt
                  : std::make_optional<std::string>(reinterpret_cast<char const*>(writer.data()),
                                                    size);
}

void expectRead(const std::string& bytes, mimetypes::MimeTypeID mimeType, const Dictionary& tree) {
    const std::unique_ptr<serializer::IStructuredPullDeserializer> from(
        serializer::Factory::createDeserializer(mimeType));
    util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), false);
    Dictionary out;
    ASSERT_FALSE(from->beginDeserialize(&reader, nullptr) || serializer::deserialize(*from, out) ||
                 from->endDeserialize());
    EXPECT_TRUE(out == tree) << out.toJson(true);
}

std::string allHighBytes() {
    std::string text;
    for (int byte = 0x80; byte < 0x100; ++byte) {
        text += static_cast<char>(byte);
    }
    return text;
}

struct TextRow {
    char const* what;
    std::string text;
    bool isUtf8;
};

const TextRow TEXTS[] = {
    {"empty text", "", true},
    {"a zero", ZERO, true},
    {"embedded zeros", "a" + ZERO + "b" + ZERO, true},
    {"two-byte character", "\xC3\xBC", true},
    {"last character", "\xF4\x8F\xBF\xBF", true},
    {"byte 128", "\x80", false},
    {"byte 255", "\xFF", false},
    {"all bytes from 128 to 255", allHighBytes(), false},
};

TEST(OddTexts, RoundTripInPayloads) {
    for (const TextRow& row : TEXTS) {
        const std::string& text = row.text;
        const std::unique_ptr<Dictionary> tree = treeOf(text);
        const auto binary = written(*tree, mimetypes::AXOBin);
        ASSERT_TRUE(binary) << row.what;
        expectRead(*binary, mimetypes::AXOBin, *tree);
        const auto json = written(*tree, mimetypes::JSON);
        EXPECT_EQ(json.has_value(), row.isUtf8) << row.what;
        if (json) {
            expectRead(*json, mimetypes::JSON, *tree);
            EXPECT_EQ(tree->toJson(true), *json) << row.what;
        }
        EXPECT_NE(parseTree(tree->toJson(true)), nullptr) << row.what;
        Payload payload = Payload::createFromString(text);
        EXPECT_EQ(std::string(reinterpret_cast<char const*>(payload.data()), payload.size()), text);
    }
}

// ---- embedded NUL characters

TEST(NulCharacters, AreOrdinaryCharactersInAddresses) {
    const std::string a0b = "a" + ZERO + "b";
    EXPECT_EQ(Path("/" + a0b + "/c").at(0), a0b);
    EXPECT_EQ(Path::parent("/" + a0b + "/c"), "/" + a0b);
    EXPECT_EQ(Path::join(a0b, a0b), a0b + "/" + a0b);
    EXPECT_TRUE(Path::matches("/" + a0b, "/a" + ZERO + "*"));
    EXPECT_TRUE(Path::matches("/" + a0b, "/a[" + ZERO + "-\x01]?"));
    EXPECT_FALSE(Path::matches("/" + a0b, "/a"));
    EXPECT_EQ(url("x:/" + a0b + "?" + ZERO).query(), ZERO);
    const auto locator = ResourceLocator::fromUri(url("kova:/" + a0b + "$/" + ZERO));
    ASSERT_TRUE(locator);
    EXPECT_EQ(locator->getServicePath(), "/" + a0b);
    EXPECT_EQ(locator->getResourcePath(), "/" + ZERO);
}

TEST(NulCharacters, DistinguishMountPaths) {
    Mounts mounts({"/a", "/a" + ZERO});
    StaticComposedKovaService service(mounts.take());
    Events events;
    service.actionRequest(Request("retrieve", "/a" + ZERO + "/b"), recorder(events));
    service.actionRequest(Request("retrieve", "/a/" + ZERO), recorder(events));
    ASSERT_EQ(mounts["/a" + ZERO].asked.size(), 1U);
    EXPECT_EQ(mounts["/a" + ZERO].asked[0].resourcePath, "b");
    ASSERT_EQ(mounts["/a"].asked.size(), 1U);
    EXPECT_EQ(mounts["/a"].asked[0].resourcePath, ZERO);
}

TEST(NulCharacters, TerminateKeysPassedAsPointers) {
    Request request("retrieve", "/a");
    request.add2header("key\0more", new ValueInt(1));
    EXPECT_TRUE(request.getHeaderValue("key") == ValueInt(1));
    EXPECT_TRUE(request.getHeaderValue("key" + ZERO + "more").isUndefined());
    auto header = std::make_shared<Dictionary>();
    header->add(std::string_view("key\0more", 8), new ValueInt(2));
    const Request other("retrieve", "/a", header);
    EXPECT_TRUE(other.getHeaderValue("key" + ZERO + "more") == ValueInt(2));
    EXPECT_TRUE(other.getHeaderValue("key").isUndefined());
}

TEST(NulCharacters, AreRejectedByTheParsersOfTypedValues) {
    Reports reports;
    zel::UUID id;
    EXPECT_TRUE(zel::UUID::tryParse(id, zel::UUID().toString() + ZERO));
    EXPECT_FALSE(dovglobals::parseTime("11:12:13Z" + ZERO));
    EXPECT_FALSE(dovglobals::parseDateTime("2019-03-07T11:12:13Z" + ZERO));
    EXPECT_FALSE(dovglobals::parseRGBA("rgba(1,2,3,0.5)" + ZERO));
    EXPECT_FALSE(dovglobals::parseGeoPosition("1.0;2.0;3.0" + ZERO));
    EXPECT_FALSE(dovglobals::valueToSpeedUnit("mph" + ZERO));
    const auto version = semver::toSemVer("1.2.3@a" + ZERO);
    ASSERT_TRUE(version);
    EXPECT_EQ(version->branch, "a" + ZERO);
}

// ---- bytes of 128 or more

TEST(HighBytes, AreOrderedAfterAllOtherBytes) {
    Dictionary dictionary;
    for (char const* const key : {"\xFF", "a", "\x80", "~", "\x7F"}) {
        dictionary.add(key, new ValueInt(1));
    }
    std::string keys;
    for (const auto& [key, value] : dictionary) {
        keys += key;
    }
    EXPECT_EQ(keys, "a~\x7F\x80\xFF");
}

TEST(HighBytes, AreComparedUnsignedInGlobRanges) {
    struct {
        char const* glob;
        int first;
        int last;
    } const rows[] = {{"[a-\xFF]", 'a', 255},
                      {"[\x80-\xFF]", 128, 255},
                      {"[\x01-\x80]", 1, 128},
                      {"[~-\x81]", '~', 129},
                      {"[\xC3-\xC3]", 0xC3, 0xC3}};
    for (const auto& row : rows) {
        const PathPatterns patterns(row.glob);
        for (int byte = 0; byte < 256; ++byte) {
            const bool inside = row.first <= byte && byte <= row.last;
            EXPECT_EQ(patterns.match(std::string(1, static_cast<char>(byte))), inside)
                << row.glob << ' ' << byte;
        }
    }
    Reports reports;
    for (char const* const glob : {"[\x80-a]", "[\xFF-\x80]", "[\xFF-a]"}) {
        EXPECT_FALSE(PathPatterns::createFromGlob(glob)) << glob;
    }
}

TEST(HighBytes, AreOrdinaryCharactersInGlobsAndAddresses) {
    const std::string part = allHighBytes();
    EXPECT_TRUE(Path::matches("/" + part, "/*"));
    EXPECT_TRUE(Path::matches("/" + part, "/**"));
    EXPECT_TRUE(Path::matches("/" + part, "/" + part));
    EXPECT_TRUE(Path::matches("/\xFF", "/?"));
    EXPECT_TRUE(Path::matches("/\xFF", "/{\xFE,\xFF}"));
    EXPECT_TRUE(Path::matches("/\xFF", "/[!a]"));
    EXPECT_FALSE(Path::matches("/\xFF", "/[!\xFF]"));
    EXPECT_FALSE(Path::matches("\xE9", "[[:alpha:]?"));
    EXPECT_EQ(Path("/" + part + "/" + part).at(1), part);
    const url link("x://" + part + ":80/" + part);
    EXPECT_EQ(link.hostname(), part);
    EXPECT_EQ(link.path(), "/" + part);
    EXPECT_EQ(url("x://h:\xB2").port(), url::NO_PORT);
    EXPECT_EQ(ResourceLocator::fromPaths(part, part).toString(), "/" + part + "$/" + part);
}

TEST(HighBytes, CanBePartsOfMountPathsAndRequestPaths) {
    Mounts mounts({"/\xFF", "/a"});
    StaticComposedKovaService service(mounts.take());
    Events events;
    service.actionRequest(Request("retrieve", "/\xFF/\x80"), recorder(events));
    ASSERT_EQ(mounts["/\xFF"].asked.size(), 1U);
    EXPECT_EQ(mounts["/\xFF"].asked[0].resourcePath, "\x80");
}

TEST(HighBytes, AreNotTreatedAsDigitsOrBlanks) {
    Reports reports;
    EXPECT_FALSE(
        semver::toSemVer("\xA0"
                         "1.2.3"));
    EXPECT_FALSE(semver::toSemVer("\xB2.2.3"));
    EXPECT_EQ(semver::toSemVer("1\xB2.2.3")->major, 1U);
    EXPECT_EQ(semver::toSemVer("1.2.3@\xFF")->branch, "\xFF");
    EXPECT_FALSE(dovglobals::parseDate("2019-0\xB2-07"));
    EXPECT_FALSE(dovglobals::parseDuration("P0001-01-01T00:00:0\xB2"));
    EXPECT_FALSE(dovglobals::parseTime("11:12:1\xB2Z"));
    EXPECT_FALSE(
        dovglobals::parseRGBA("rgba(1,\xA0"
                              "2,3,0.5)"));
    EXPECT_FALSE(dovglobals::parseGeoPosition("1.0;2.0;\xB2.0"));
    EXPECT_FALSE(dovglobals::valueToLanguage("\xFF"));
    Number number;
    number =
        "\xA0"
        "7";
    EXPECT_EQ(number.intValue(), 0);
    EXPECT_TRUE(number.hasError());
    zel::UUID id;
    EXPECT_TRUE(zel::UUID::tryParse(id, "123e4567-e89b-12d3-a456-42661417400\xB2"));
}

TEST(HighBytes, ArePreservedInMessages) {
    const std::string text = allHighBytes();
    Response response(400);
    response.setErrorMessage(text.c_str());
    response.add2header("\xFF", new ValueString("\xFF"));
    EXPECT_EQ(response.getErrorMessage(), text);
    EXPECT_TRUE(response.getHeaderValue("\xFF") == ValueString("\xFF"));
    EXPECT_EQ(Response(response).getErrorMessageWithCode(), "400 Bad Request: " + text);
    EXPECT_TRUE(zel::unicode::isUtf8(response.toString())) << "invalid UTF-8 prints as U+FFFD";
}

}  // namespace
}  // namespace kova::test
