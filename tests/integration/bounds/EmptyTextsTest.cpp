#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kova/core/Factory.h"
#include "kova/core/KovaException.h"
#include "kova/core/Number.h"
#include "kova/core/Path.h"
#include "kova/core/PathPatterns.h"
#include "kova/core/Payload.h"
#include "kova/core/ResourceLocator.h"
#include "kova/core/SemVer.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Duration.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/Language.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/dovglobals/Time.h"
#include "kova/core/dovglobals/Units.h"
#include "kova/core/url.h"
#include "kova/core/uuid.h"
#include "support/Reports.h"
#include "support/Service.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/SHA1Engine.h"
#include "util/config/Scalars.h"

// Passes empty texts to every function that accepts a text.

namespace kova::test {
namespace {

using util::config::ValueString;

TEST(EmptyTexts, ArePathsWithoutParts) {
    std::string out = "before";
    EXPECT_EQ(Path("").numparts(), 0U);
    EXPECT_EQ(Path("").toString(), "");
    EXPECT_TRUE(Path::part("", 0, out));
    EXPECT_TRUE(Path::cut("", Path::NPOS, out));
    EXPECT_TRUE(Path::subpath("", 0, Path::NPOS, out));
    EXPECT_EQ(out, "before");
    EXPECT_EQ(Path::join("", ""), "");
    EXPECT_EQ(Path::parent(""), "");
    EXPECT_EQ(Path::absolute(""), "/");
    EXPECT_TRUE(Path::split("").empty());
    EXPECT_FALSE(Path::relativize("", "", out));
    EXPECT_EQ(out, "");
    EXPECT_FALSE(Path::insert("", "", 0, out));
    EXPECT_EQ(Path::replacePattern("", ""), "");
    EXPECT_EQ(Path::indexIntoPathFromPattern("", 0), -1);
}

TEST(EmptyTexts, AreValidGlobsUrlsAndLocators) {
    EXPECT_TRUE(Path::matches("", ""));
    EXPECT_TRUE(Path::matches("", "*"));
    EXPECT_TRUE(PathPatterns("").match(""));
    EXPECT_FALSE(PathPatterns("").match("a"));
    EXPECT_EQ(url("").path(), "");
    EXPECT_EQ(url("").port(), url::NO_PORT);
    EXPECT_EQ(url::from("", "", "", url::NO_PORT).toString(), ":///");
    EXPECT_FALSE(ResourceLocator::fromUri(url("")));
    const ResourceLocator locator = ResourceLocator::fromPaths("", "");
    EXPECT_EQ(locator.toString(), "/$/");
    EXPECT_EQ(locator.getServiceInstance(), std::nullopt);
    EXPECT_EQ(locator.getElementId(1), "");
}

TEST(EmptyTexts, AreRejectedByTheParsersOfTypedValues) {
    Reports reports;
    EXPECT_FALSE(semver::toSemVer(""));
    EXPECT_FALSE(semver::getMostCompatible("", ""));
    EXPECT_FALSE(dovglobals::parseDate(""));
    EXPECT_FALSE(dovglobals::parseTime(""));
    EXPECT_FALSE(dovglobals::parseDateTime(""));
    EXPECT_FALSE(dovglobals::parseDuration(""));
    EXPECT_FALSE(dovglobals::parseRGBA(""));
    EXPECT_FALSE(dovglobals::parseGeoPosition(""));
    EXPECT_FALSE(dovglobals::valueToLanguage(""));
    EXPECT_FALSE(dovglobals::valueToSpeedUnit(""));
    EXPECT_EQ(reports.take().size(), 6U);
    EXPECT_EQ(Number().intValue(), 0);
    zel::UUID id;
    EXPECT_TRUE(zel::UUID::tryParse(id, ""));
    // The digest of the empty message begins with these bytes.
    EXPECT_FALSE(uuid::createFromName("", id));
    EXPECT_EQ(id.toString().substr(0, 8), "da39a3ee");
    EXPECT_EQ(util::SHA1Engine().finish()[0], 0xDA);
}

TEST(EmptyTexts, AreAllowedInMessagesAndPayloads) {
    Request request("", "");
    request.add2header("", new ValueString(""));
    EXPECT_TRUE(request.getHeaderValue("") == ValueString(""));
    request.setMimeType("");
    EXPECT_EQ(request.toString(), R"(cmd= path= header='{"":"","$accept":""}' payload='<empty>')");
    Response response(0);
    response.setErrorMessage("");
    EXPECT_TRUE(response.isErrorResponse());
    EXPECT_STREQ(KovaException(response).what(), "0 unknown ");
    for (const Payload& payload : {Payload::createFromRaw(nullptr, 0, ""),
                                   Payload::createFromJSON(""), Payload::createFromString(""),
                                   Payload::createFromWriter(util::ByteBufferWriter(0), "")}) {
        EXPECT_EQ(payload.size(), 0U);
        EXPECT_FALSE(payload.isEmpty());
    }
}

TEST(EmptyTexts, AreRejectedByDeserializers) {
    for (const auto mimeType : {mimetypes::JSON, mimetypes::AXOBin}) {
        const std::unique_ptr<util::serializer::IStructuredPullDeserializer> from(
            serializer::Factory::createDeserializer(mimeType));
        util::ByteBufferReader nothing(nullptr, 0, true);
        EXPECT_TRUE(from->beginDeserialize(&nothing, nullptr));
    }
}

TEST(EmptyTexts, AreAllowedAsCommandAndPathOfARequest) {
    Reports reports;
    StaticComposedKovaService service(Mounts(std::vector<std::string>()).take());
    Events events;
    service.actionRequest(Request("", ""), recorder(events));
    EXPECT_EQ(events, Events{"error 404 path '' not found"});
}

}  // namespace
}  // namespace kova::test
