#include "BridgeFilter.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "kova/kit/Client.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "support/HeldService.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;
using Globs = std::vector<std::string>;

BridgeRules rulesOf(const Globs& allow, const Globs& deny) {
    BridgeRules rules;
    for (const std::string& glob : allow) {
        rules.allow.push_back(pathsBelow(glob).orThrow());
    }
    for (const std::string& glob : deny) {
        rules.deny.push_back(pathsBelow(glob).orThrow());
    }
    return rules;
}

bool passes(const BridgeRules& rules, const std::string& path,
            const std::string& command = "retrieve") {
    return !rules.refusalOf(Request(command, path));
}

TEST(BridgeFilterTest, GlobSelectsWhatItMatchesAndEverythingBelow) {
    struct Row {
        std::string glob;
        Globs selected;
        Globs others;
    };
    for (const Row& row :
         {Row{"/a",
              {"/a", "/a/", "//a", "a", "/a/b", "/a//b/c", "/a/..", "/a/b\tc"},
              {"/", "", "/ab", "/b/a", "/A"}},
          Row{"/a/", {"/a", "/a/b"}, {"/", "/ab"}}, Row{"/", {"/", "", "/a", "/a/b", "///"}, {}},
          Row{"/*", {"/", "/a", "/a/b"}, {}}, Row{"/**", {"/", "/a", "/a/b"}, {}},
          Row{"**/key", {"/key", "/a/key", "/a/b/key/c"}, {"/", "/keys", "/a"}},
          Row{"/a/*/c", {"/a/b/c", "/a/b/c/d"}, {"/a", "/a/b", "/a/b/d", "/a/b/b/c"}},
          Row{"/{a,b}", {"/a", "/b/c"}, {"/c", "/"}}, Row{"/a\\*", {"/a*", "/a*/b"}, {"/ab"}},
          Row{"/a/**", {"/a/b", "/a/b/c"}, {"/a", "/b"}}}) {
        const BridgeRules denied = rulesOf({}, {row.glob});
        const BridgeRules allowed = rulesOf({row.glob}, {});
        for (const std::string& path : row.selected) {
            EXPECT_FALSE(passes(denied, path)) << row.glob << ' ' << path;
            EXPECT_TRUE(passes(allowed, path)) << row.glob << ' ' << path;
        }
        for (const std::string& path : row.others) {
            EXPECT_TRUE(passes(denied, path)) << row.glob << ' ' << path;
            EXPECT_FALSE(passes(allowed, path)) << row.glob << ' ' << path;
        }
    }
}

TEST(BridgeFilterTest, DenialWinsOverPermission) {
    const BridgeRules rules = rulesOf({"/a", "/b"}, {"/a/secret", "**/key"});
    EXPECT_TRUE(passes(rules, "/a/x"));
    EXPECT_TRUE(passes(rules, "/b"));
    EXPECT_FALSE(passes(rules, "/a/secret/x"));
    EXPECT_FALSE(passes(rules, "/b/key"));
    EXPECT_FALSE(passes(rules, "/c"));
}

TEST(BridgeFilterTest, GlobsThatWouldProtectNothingAreRefused) {
    struct Row {
        std::string glob;
        char const* reason;
    };
    for (const Row& row :
         {Row{"", "begins with"}, Row{"secret", "begins with"}, Row{"//secret", "empty segment"},
          Row{"/a//b", "empty segment"}, Row{"/a|/b", "once for each"},
          Row{"/a\\", "nothing follows"}, Row{"/{a", "/{a"}, Row{"/[a", "/[a"},
          Row{"/" + std::string(PathPatterns::MAX_LENGTH, 'a'), "long"}}) {
        const auto pattern = pathsBelow(row.glob);
        ASSERT_FALSE(pattern.ok()) << row.glob;
        EXPECT_EQ(pattern.error().code, 400);
        EXPECT_THAT(pattern.error().message, HasSubstr(row.reason));
    }
}

TEST(BridgeFilterTest, OnlyRetrievalsPassAReadOnlyFilter) {
    BridgeRules rules;
    for (char const* command :
         {"update", "insert", "delete", "play", "", "Retrieve", "retrieve "}) {
        EXPECT_TRUE(passes(rules, "/a", command)) << command;
    }
    rules.isReadOnly = true;
    EXPECT_TRUE(passes(rules, "/a"));
    for (char const* command :
         {"update", "insert", "delete", "play", "", "Retrieve", "retrieve "}) {
        EXPECT_FALSE(passes(rules, "/a", command)) << command;
    }
}

TEST(BridgeFilterTest, LongPathsAndLineBreaksDoNotPass) {
    const BridgeRules rules = rulesOf({}, {"/secret"});
    EXPECT_TRUE(passes(rules, std::string(BridgeRules::LONGEST_PATH, '/')));
    EXPECT_FALSE(passes(rules, std::string(BridgeRules::LONGEST_PATH + 1, '/')));
    EXPECT_FALSE(passes(rulesOf({}, {"/secret/**"}), "/secret/\n"));
    EXPECT_FALSE(passes(rules, "/a\r"));
    EXPECT_TRUE(passes({}, "/a\r" + std::string(BridgeRules::LONGEST_PATH, 'a')));  // no globs
}

// However a path is written: if the core leads it to the denied resource, the filter refuses it.
TEST(BridgeFilterTest, NoSpellingOfAPathReachesADeniedResource) {
    kit::Resource secret;
    secret.on(kit::command::retrieve, "", [](const kit::Ask&) { return std::string("secret"); });
    secret.on(kit::command::retrieve, "{key}",
              [](const kit::Ask&, const std::string&) { return std::string("secret"); });
    kit::Observable<int> open{1};
    const auto service =
        kit::ServiceBuilder().mount("/a/secret", secret).mount("/a/open", open).build();
    BridgeFilter filter(*service, rulesOf({}, {"/a/secret"}));
    const kit::Client direct(*service);
    const kit::Client filtered(filter);
    std::size_t spellings = 0;
    for (char const* before : {"", "/", "//", "/./", "/../", "/x/../", "/%2f", "%2F", "/\\"}) {
        for (char const* middle :
             {"/", "//", "///", "/./", "/../a/", "%2f", "/%2e/", "\\", "/\t"}) {
            for (char const* after : {"", "/", "//", "/key", "//key", "/key/", "/.", "/..",
                                      "/%2e%2e", "/../open", "%00", "/%"}) {
                const std::string path = std::string(before) + "a" + middle + "secret" + after;
                const auto answer = direct.retrieve<std::string>(path).get();
                if (answer) {
                    ++spellings;
                    const auto refused = filtered.retrieve<std::string>(path).get();
                    ASSERT_FALSE(refused.ok()) << path;
                    EXPECT_EQ(refused.error().code, 403) << path;
                }
            }
        }
    }
    EXPECT_GT(spellings, 10U);  // the service knows several of them
    EXPECT_EQ(filtered.retrieve<int>("/a/open").get().orThrow(), 1);
}

TEST(BridgeFilterTest, RefusedRequestEndsOnceAndDoesNotReachTheService) {
    test::HeldService service;
    std::size_t requests = 0;
    service.onRequest = [&requests](std::size_t) { ++requests; };
    BridgeFilter filter(service, rulesOf({}, {"/secret"}));
    const auto answer = kit::Client(filter).retrieve<int>("/secret").get();
    ASSERT_FALSE(answer.ok());
    EXPECT_EQ(answer.error().toString(),
              "403 Forbidden: the bridge does not carry requests for this path");
    EXPECT_EQ(requests, 0U);
}

TEST(BridgeFilterTest, HandleOfTheServiceCancelsTheRequest) {
    test::HeldService service;
    BridgeFilter filter(service, {});
    auto call = kit::Client(filter).retrieve<int>("/slow").start();
    service.waitForRequests(1);
    call.cancel();
    service.waitForCancelled(1);
    EXPECT_EQ(service.request(1).getPath(), "/slow");
}

}  // namespace
}  // namespace kova::tool
