#include <gtest/gtest.h>

#include <string>

#include "kova/core/Path.h"
#include "kova/core/PathPatterns.h"
#include "kova/core/ResourceLocator.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/url.h"
#include "support/Reports.h"
#include "support/Service.h"
#include "support/SmallStack.h"

// Processes addresses of one mebibyte on a stack of 128 KiB, so that recursion over the length
// would overflow the stack and superlinear algorithms would exceed the time limit.

namespace kova::test {
namespace {

constexpr std::size_t MEBIBYTE = 1024 * 1024;

std::string manyParts() {
    std::string path;
    path.reserve(MEBIBYTE);
    while (path.size() < MEBIBYTE) {
        path += "/a";
    }
    return path;
}

std::string onePart() {
    return "/" + std::string(MEBIBYTE - 1, 'a');
}

TEST(LongPaths, AreParsedModifiedAndCompared) {
    runOnSmallStack([] {
        const std::string text = manyParts();
        Path path(text);
        EXPECT_EQ(path.numparts(), MEBIBYTE / 2);
        EXPECT_EQ(path.toString(), text);
        EXPECT_EQ(path.at(Path::NPOS), "a");
        EXPECT_EQ(path.subpath(1, Path::NPOS), text.substr(3));
        EXPECT_FALSE(path.cut(0));
        EXPECT_FALSE(path.insert("b", path.numparts() / 2));
        path += path;
        EXPECT_EQ(path.numparts(), MEBIBYTE);
        EXPECT_FALSE(path.relativize(text));
        const Path copy = path;
        EXPECT_TRUE(copy == path);
    });
}

TEST(LongPaths, AreAcceptedByTheStaticFunctionsOfPath) {
    runOnSmallStack([] {
        const std::string text = manyParts();
        std::string out;
        EXPECT_EQ(Path::numparts(text), MEBIBYTE / 2);
        EXPECT_EQ(Path::split(text).size(), MEBIBYTE / 2);
        EXPECT_EQ(Path::join(text, text).size(), 2 * MEBIBYTE);
        EXPECT_EQ(Path::parent(text), text.substr(0, MEBIBYTE - 2));
        EXPECT_FALSE(Path::part(text, Path::NPOS, out));
        EXPECT_FALSE(Path::cut(text, 0, out));
        EXPECT_EQ(out, text.substr(2));
        EXPECT_FALSE(Path::insert(text, "b", 1, out));
        EXPECT_EQ(out.size(), MEBIBYTE + 2);
        EXPECT_FALSE(Path::relativize(text, text, out));
        EXPECT_EQ(out, "");
        EXPECT_EQ(Path::replacePattern(text + "*", text), text + text);
        EXPECT_EQ(Path::numparts(onePart()), 1U);
        EXPECT_EQ(Path::parent(onePart()), "/");
        EXPECT_EQ(Path::numparts(std::string(MEBIBYTE, '/')), 0U);
    });
}

TEST(LongPaths, AreMatchedAgainstGlobs) {
    runOnSmallStack([] {
        for (const std::string& path : {manyParts(), onePart()}) {
            EXPECT_TRUE(Path::matches(path, "/**"));
            EXPECT_TRUE(Path::matches(path, "/{b,a/**,a*}"));
            EXPECT_TRUE(Path::matches(path, "**[a-c]"));
            EXPECT_FALSE(Path::matches(path, "/**/b"));
            EXPECT_FALSE(Path::matches(path, "**a**a**b"));
        }
        EXPECT_TRUE(Path::matches(onePart(), "/*"));
        EXPECT_FALSE(Path::matches(manyParts(), "/*"));
    });
}

TEST(LongPaths, AreRoutedToTheLongestMount) {
    runOnSmallStack([] {
        const Reports reports;
        Mounts mounts({"/a", "/a/a/a", "/b"});
        StaticComposedKovaService service(mounts.take());
        Events events;
        service.actionRequest(Request("retrieve", manyParts()), recorder(events));
        ASSERT_EQ(mounts["/a/a/a"].asked.size(), 1U);
        EXPECT_EQ(mounts["/a/a/a"].asked[0].resourcePath, manyParts().substr(7));
        service.actionRequest(Request("retrieve", onePart()), recorder(events));
        service.actionRequest(Request("retrieve", "/c" + manyParts()), recorder(events));
        ASSERT_EQ(events.size(), 2U);
        EXPECT_EQ(events[0], "error 404 path '" + onePart() + "' not found");
        service.actionRequest(Request("retrieve", "/b" + std::string(MEBIBYTE, '/')),
                              recorder(events));
        EXPECT_EQ(mounts["/b"].asked.size(), 1U);
        service.shutdown();
    });
}

TEST(LongPaths, CanBeMountPaths) {
    runOnSmallStack([] {
        Mounts mounts({manyParts(), onePart()});
        StaticComposedKovaService service(mounts.take());
        Events events;
        service.actionRequest(Request("retrieve", manyParts() + "/b"), recorder(events));
        ASSERT_EQ(mounts[manyParts()].asked.size(), 1U);
        EXPECT_EQ(mounts[manyParts()].asked[0].resourcePath, "b");
        EXPECT_TRUE(events.empty());
    });
}

TEST(LongUrls, AreParsedAndComposed) {
    runOnSmallStack([] {
        const std::string text = manyParts();
        const url link("http://user@host:80" + text + "?" + text + "#" + text);
        EXPECT_EQ(link.path(), text);
        EXPECT_EQ(link.query(), text);
        EXPECT_EQ(link.fragment(), text);
        EXPECT_EQ(link.port(), 80);
        const std::string name(MEBIBYTE, 'x');
        EXPECT_EQ(url(name + ":").scheme(), name);
        EXPECT_EQ(url("a://" + name + "/b").hostname(), name);
        EXPECT_EQ(url("a://h:" + std::string(MEBIBYTE, '0') + "81").port(), 81);
        EXPECT_EQ(url("a://h:" + std::string(MEBIBYTE, '9')).port(), url::NO_PORT);
        EXPECT_EQ(url::from("a", name, text, 1).toString().size(), 2 * MEBIBYTE + 6);
        EXPECT_TRUE(url(std::string(MEBIBYTE, '[')).isIpv6());
        EXPECT_EQ(url("a://@" + name).authority(), name);
    });
}

TEST(LongLocators, RoundTripThroughTheirUri) {
    runOnSmallStack([] {
        const ResourceLocator locator = ResourceLocator::fromPaths(manyParts(), onePart());
        const auto again = ResourceLocator::fromUri(locator.toUri());
        ASSERT_TRUE(again);
        EXPECT_EQ(again->getServicePath(), manyParts());
        EXPECT_EQ(again->getResourcePath(), onePart());
        EXPECT_EQ(again->getServiceInstance(), manyParts().substr(2));
        EXPECT_EQ(ResourceLocator::fromPaths("", manyParts()).getElementId(2), "a/a");
    });
}

TEST(LongGlobs, AreAcceptedUpToTheMaximumLength) {
    runOnSmallStack([] {
        Reports reports;
        std::string glob = "/{a,b*}?[c-e]";
        glob += std::string(PathPatterns::MAX_LENGTH - glob.size() - 2, 'x') + "**";
        ASSERT_EQ(glob.size(), PathPatterns::MAX_LENGTH);
        std::string path = "/bbbbfd" + glob.substr(13, glob.size() - 15) + manyParts();
        EXPECT_TRUE(Path::matches(path, glob));
        EXPECT_TRUE(reports.take().empty());
        EXPECT_FALSE(Path::matches(path, glob + '*'));
        EXPECT_EQ(reports.take().size(), 1U);
        EXPECT_TRUE(Path::matches(glob + '*', glob + '*')) << "a text matches itself as a glob";
        EXPECT_FALSE(PathPatterns::createFromGlob(std::string(MEBIBYTE, '*')));
    });
}

}  // namespace
}  // namespace kova::test
