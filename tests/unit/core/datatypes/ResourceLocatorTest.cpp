#include "kova/core/ResourceLocator.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "kova/core/Path.h"

namespace kova {
namespace {

using Text = std::optional<std::string>;

ResourceLocator ofService(const std::string& servicePath) {
    return ResourceLocator(servicePath, "/r");
}

ResourceLocator ofResource(const std::string& resourcePath) {
    return ResourceLocator(std::nullopt, std::string(resourcePath));
}

TEST(ResourceLocatorTest, ConstructorStoresPathsVerbatim) {
    const ResourceLocator locator(Text("svc/inst"), "tracks//17");
    EXPECT_EQ(locator.getServicePath(), "svc/inst");
    EXPECT_EQ(locator.getResourcePath(), "tracks//17");
    EXPECT_EQ(locator.toString(), "svc/inst$tracks//17");
    EXPECT_EQ(ofResource("/r").getServicePath(), std::nullopt);
}

TEST(ResourceLocatorTest, IsBuiltFromPaths) {
    const struct {
        ResourceLocator locator;
        std::string text;
    } rows[] = {
        {ResourceLocator::fromPaths("media", "tracks"), "/media$/tracks"},
        {ResourceLocator::fromPaths("/media", "/tracks"), "/media$/tracks"},
        {ResourceLocator::fromPaths("", ""), "/$/"},
        {ResourceLocator::fromPaths("media", "tracks", "17"), "/media$/tracks/17"},
        {ResourceLocator::fromPaths("/media/", "/tracks/", "/17/"), "/media/$/tracks/17/"},
        {ResourceLocator::fromPaths("media", "", "17"), "/media$/17"},
        {ResourceLocator::fromPaths("media", "tracks", ""), "/media$/tracks"},
        {ResourceLocator::fromPathsWithInstance("media", "player2", "tracks"),
         "/media/player2$/tracks"},
        {ResourceLocator::fromPathsWithInstance("/media/", "/player2", "/tracks"),
         "/media/player2$/tracks"},
        {ResourceLocator::fromPathsWithInstance("media", "", "tracks"), "/media$/tracks"},
        {ResourceLocator::fromPathsWithInstance("media", "player2", "tracks", "17"),
         "/media/player2$/tracks/17"},
        {ResourceLocator::fromPathsWithInstance("", "player2", "", "17"), "/player2$/17"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.locator.toString(), row.text);
        EXPECT_EQ(row.locator.toUri().toString(), "kova:" + row.text);
    }
}

TEST(ResourceLocatorTest, UriConsistsOfSchemeAndPath) {
    const url uri = ResourceLocator::fromPaths("media", "tracks").toUri();
    EXPECT_STREQ(locators::KOVA_URI_SCHEME, "kova");
    EXPECT_EQ(uri.scheme(), "kova");
    EXPECT_EQ(uri.path(), "/media$/tracks");
    EXPECT_TRUE(ResourceLocator::isResourceLocator(uri));
    EXPECT_EQ(ofResource("/tracks/17").toUri().toString(), "kova:/tracks/17");
}

TEST(ResourceLocatorTest, ToUriFunctionsReturnTheUrisOfLocators) {
    EXPECT_EQ(locators::toUri("media", "tracks").toString(), "kova:/media$/tracks");
    EXPECT_EQ(locators::toUri("media", "tracks", "17").toString(), "kova:/media$/tracks/17");
    EXPECT_EQ(locators::toUriWithInstance("media", "player2", "tracks").toString(),
              "kova:/media/player2$/tracks");
    EXPECT_EQ(locators::toUriWithInstance("media", "player2", "tracks", "17").toString(),
              "kova:/media/player2$/tracks/17");
}

TEST(ResourceLocatorTest, FromUriReadsTheUriForm) {
    const struct {
        std::string uri;
        Text servicePath;
        std::string resourcePath;
    } rows[] = {
        {"kova:/media/player2$/tracks/17", "/media/player2", "/tracks/17"},
        {"kova:/tracks/17", std::nullopt, "/tracks/17"},
        {"kova:tracks", std::nullopt, "tracks"},
        {"kova:", std::nullopt, ""},
        {"kova:/a$b", "/a", "/b"},
        {"kova:a$b", "/a", "/b"},
        {"kova:/a$b$c", "/a", "/b$c"},
        {"kova:$", "/", "/"},
        {"kova:$/r", "/", "/r"},
        {"kova:/s$", "/s", "/"},
        // Authority, query and fragment are ignored.
        {"kova://host/a$b?x$y#f", "/a", "/b"},
        {"kova:/a?b$c", std::nullopt, "/a"},
    };
    for (const auto& row : rows) {
        const std::optional<ResourceLocator> locator = ResourceLocator::fromUri(url(row.uri));
        ASSERT_TRUE(locator) << row.uri;
        EXPECT_EQ(locator->getServicePath(), row.servicePath) << row.uri;
        EXPECT_EQ(locator->getResourcePath(), row.resourcePath) << row.uri;
    }
}

TEST(ResourceLocatorTest, FromUriReturnsNothingForOtherSchemes) {
    for (char const* text : {"", "/a$b", "http:/a$b", "KOVA:/a$b", "kov:/a$b", "kovaa:/a$b"}) {
        EXPECT_FALSE(ResourceLocator::fromUri(url(text))) << text;
        EXPECT_EQ(ResourceLocator::extractServiceInstance(url(text)), std::nullopt) << text;
        EXPECT_FALSE(ResourceLocator::isResourceLocator(url(text))) << text;
    }
}

TEST(ResourceLocatorTest, IsResourceLocatorAcceptsOnlySchemeAndPath) {
    for (char const* text : {"kova:/a$/b", "kova:/b", "kova:b", "kova:$", "kova:/a?", "kova:/a#"}) {
        EXPECT_TRUE(ResourceLocator::isResourceLocator(url(text))) << text;
    }
    for (char const* text : {"kova:", "kova://host/a", "kova://host", "kova:/a?x", "kova:/a#x",
                             "kova:?x", "kova:/a?x#y"}) {
        EXPECT_FALSE(ResourceLocator::isResourceLocator(url(text))) << text;
    }
}

TEST(ResourceLocatorTest, ServicePathIsSplitIntoBasePathAndInstance) {
    const struct {
        std::string servicePath;
        std::string basePath;
        Text instance;
    } rows[] = {
        {"/media/player2", "/media", "/player2"},
        {"/media", "/media", std::nullopt},
        {"/media/a/b/", "/media", "/a/b"},
        {"/media/a//", "/media", "/a/"},
        {"/media/", "/media", "/"},
        {"/media//", "/media", "/"},
        {"svc/inst", "svc", "/inst"},
        {"svc", "svc", std::nullopt},
        {"svc/", "svc", "/"},
        {"/", "/", std::nullopt},
        {"//", "/", "/"},
        {"//a", "/", "/a"},
        {"", "", std::nullopt},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ofService(row.servicePath).getServiceBasePath(), row.basePath) << row.servicePath;
        EXPECT_EQ(ofService(row.servicePath).getServiceInstance(), row.instance) << row.servicePath;
    }
    EXPECT_EQ(ofResource("/r").getServiceBasePath(), std::nullopt);
    EXPECT_EQ(ofResource("/r").getServiceInstance(), std::nullopt);
}

TEST(ResourceLocatorTest, ServiceInstanceIsExtractedFromTheUri) {
    EXPECT_EQ(ResourceLocator::extractServiceInstance(url("kova:/media/player2$/r")), "/player2");
    EXPECT_EQ(ResourceLocator::extractServiceInstance(url("kova:/media$/r")), std::nullopt);
    EXPECT_EQ(ResourceLocator::extractServiceInstance(url("kova:/media/r")), std::nullopt);
}

TEST(ResourceLocatorTest, ResourcePathIsSplitIntoPrefixAndElementId) {
    const struct {
        std::string resourcePath;
        unsigned long n;
        std::string prefix;
        std::string elementId;
    } rows[] = {
        {"/a/b/c", 0, "/a/b/c", ""},
        {"/a/b/c", 1, "/a", "c"},
        {"/a/b/c", 2, "/a/b", "b/c"},
        {"/a/b/c", 3, "/a/b/c", "a/b/c"},
        {"/a/b/c", 4, "/a/b/c", "a/b/c"},
        {"/a/b/c", Path::NPOS, "/a/b/c", "a/b/c"},
        {"a//b/", 1, "/a", "b"},
        {"a//b/", 2, "/a/b", "a/b"},
        {"a", 1, "/a", "a"},
        {"", 0, "/", ""},
        {"", 1, "/", ""},
        {"/", 0, "/", ""},
        {"//", 7, "/", ""},
    };
    for (const auto& row : rows) {
        const ResourceLocator locator = ofResource(row.resourcePath);
        EXPECT_EQ(locator.getResourcePrefix(row.n), row.prefix) << row.resourcePath << ' ' << row.n;
        EXPECT_EQ(locator.getElementId(row.n), row.elementId) << row.resourcePath << ' ' << row.n;
    }
}

}  // namespace
}  // namespace kova
