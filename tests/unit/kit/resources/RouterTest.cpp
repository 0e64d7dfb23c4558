#include "resources/Router.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace kova::kit::detail {
namespace {

using Kind = TemplateSegment::Kind;

/// A route whose function has the parameters that the template needs.
Route routeFor(const std::string& command, const std::string& path) {
    Route route;
    route.operation.command = command;
    route.operation.path = path;
    const PathTemplate parsed(path);
    for (const TemplateSegment& segment : parsed.segments()) {
        if (segment.kind == Kind::unsignedInteger || segment.kind == Kind::signedInteger) {
            route.arguments.push_back(ArgumentKind::signedInteger);
        } else if (segment.kind != Kind::literal) {
            route.arguments.push_back(ArgumentKind::text);
        }
    }
    return route;
}

// --- The reference -------------------------------------------------------------------------------

std::vector<std::string> split(std::string_view path) {
    std::vector<std::string> result;
    for (std::size_t begin = 0; !path.empty() && begin <= path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        result.emplace_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return result;
}

template <typename Number>
bool isNumber(const std::string& text) {
    Number number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && read.ptr == text.data() + text.size();
}

bool fits(const TemplateSegment& segment, const std::string& text) {
    switch (segment.kind) {
        case Kind::literal:
            return segment.text == text;
        case Kind::unsignedInteger:
            return isNumber<std::uint64_t>(text);
        case Kind::signedInteger:
            return isNumber<std::int64_t>(text);
        default:
            return !text.empty();
    }
}

/// Returns whether the template matches, segment by segment.
bool fits(const PathTemplate& pattern, const std::vector<std::string>& path) {
    const std::vector<TemplateSegment>& segments = pattern.segments();
    const bool hasRest = !segments.empty() && segments.back().kind == Kind::rest;
    if (hasRest ? path.size() < segments.size() : path.size() != segments.size()) {
        return false;
    }
    for (std::size_t i = 0; i < segments.size(); ++i) {
        if (!fits(segments[i], path[i])) {
            return false;
        }
    }
    return true;
}

/// Returns the kinds of the segments. The preferred template has the smallest list.
std::vector<int> preference(const PathTemplate& pattern) {
    std::vector<int> result;
    for (const TemplateSegment& segment : pattern.segments()) {
        result.push_back(static_cast<int>(segment.kind));
    }
    return result;
}

/// Returns the template of the best route with the command, or "none".
std::string expected(const Router& router, const std::string& command, const std::string& path) {
    std::string best = "none";
    std::vector<int> least;
    for (const Route& route : router.routes()) {
        const PathTemplate pattern(route.operation.path);
        if (route.operation.command == command && fits(pattern, split(path)) &&
            (best == "none" || preference(pattern) < least)) {
            best = route.operation.path;
            least = preference(pattern);
        }
    }
    return best;
}

/// Returns the texts that the parameters of a template match.
std::vector<std::string> expectedCaptures(const std::string& text, const std::string& path) {
    std::vector<std::string> result;
    const PathTemplate pattern(text);
    std::size_t begin = 0;
    for (const TemplateSegment& segment : pattern.segments()) {
        const std::size_t end =
            segment.kind == Kind::rest ? path.size() : std::min(path.find('/', begin), path.size());
        if (segment.kind != Kind::literal) {
            result.push_back(path.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return result;
}

// --- Random templates and paths ------------------------------------------------------------------

class Random {
public:
    explicit Random(unsigned seed) : engine_(seed) {}

    std::string pick(const std::vector<std::string>& texts) {
        return texts[std::uniform_int_distribution<std::size_t>(0, texts.size() - 1)(engine_)];
    }
    std::string joined(const std::vector<std::string>& segments, const std::string& last) {
        std::string result;
        const int count = std::uniform_int_distribution<int>(0, 4)(engine_);
        for (int i = 0; i < count; ++i) {
            std::string segment = pick(segments);
            if (segment.front() == '{') {
                segment.insert(2, std::to_string(i));  // each parameter has its own name
            }
            result += (i == 0 ? "" : "/") + segment;
        }
        if (!last.empty() && std::uniform_int_distribution<int>(0, 5)(engine_) == 0) {
            result += (count == 0 ? "" : "/") + last;
        }
        return result;
    }

private:
    std::mt19937 engine_;
};

const std::vector<std::string> TEMPLATE_SEGMENTS{"a", "b", "7", "-7", "{t}", "{u:uint}", "{i:int}"};
const std::vector<std::string> PATH_SEGMENTS{
    "a", "b", "c", "7", "07", "-7", "-", "18446744073709551615", "9223372036854775808", "+7", "7x"};
const std::vector<std::string> COMMANDS{"retrieve", "update"};

/// Adds random routes. If the router rejects a route, it must be as good as another one.
void addRandom(Router& router, Random& random) {
    for (int i = 0; i < 12; ++i) {
        const std::string command = random.pick(COMMANDS);
        const std::string path = random.joined(TEMPLATE_SEGMENTS, "{r:rest}");
        const PathTemplate pattern(path);
        const bool isAmbiguous =
            std::any_of(router.routes().begin(), router.routes().end(), [&](const Route& other) {
                return other.operation.command == command &&
                       PathTemplate(other.operation.path).isAsGoodAs(pattern);
            });
        bool isRefused = false;
        try {
            router.add(routeFor(command, path));
        } catch (const std::invalid_argument&) {
            isRefused = true;
        }
        ASSERT_EQ(isRefused, isAmbiguous) << command << " '" << path << "'";
    }
}

void compare(const Router& router, const std::string& command, const std::string& path) {
    Router::Match match;
    Route const* const route = router.find(command, path, match);
    const std::string best = expected(router, command, path);
    ASSERT_EQ(route != nullptr ? route->operation.path : "none", best)
        << command << " '" << path << "'";
    if (route != nullptr) {
        ASSERT_EQ(route->operation.command, command);
        const std::vector<std::string> captures(match.captures(), match.captures() + match.count);
        ASSERT_EQ(captures, expectedCaptures(best, path)) << path;
    }
}

TEST(RouterTest, FindAgreesWithTheReferenceImplementation) {
    std::size_t found = 0;
    for (unsigned seed = 0; seed < 300; ++seed) {
        Random random(seed);
        Router router;
        ASSERT_NO_FATAL_FAILURE(addRandom(router, random));
        for (int i = 0; i < 100; ++i) {
            const std::string path = random.joined(PATH_SEGMENTS, "");
            const std::string command = random.pick(COMMANDS);
            ASSERT_NO_FATAL_FAILURE(compare(router, command, path)) << "seed " << seed;
            found += expected(router, command, path) == "none" ? 0 : 1;
        }
    }
    EXPECT_GT(found, 5000U) << "most paths match nothing: the comparison says little";
}

// --- Refusals ------------------------------------------------------------------------------------

std::string refusal(Router& router, Route route) {
    try {
        router.add(std::move(route));
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "added";
}

TEST(RouterTest, ErrorNamesBothTemplatesThatMatchTheSamePaths) {
    Router router;
    router.add(routeFor("retrieve", "{id:uint}/name"));
    EXPECT_EQ(refusal(router, routeFor("retrieve", "{zone:int}/name")),
              "template '{zone:int}/name' matches the same paths as '{id:uint}/name' for the "
              "command 'retrieve'");
    EXPECT_EQ(refusal(router, routeFor("update", "{zone:int}/name")), "added");
    EXPECT_EQ(refusal(router, routeFor("retrieve", "{id}/name")), "added");
}

TEST(RouterTest, RejectedRouteIsNotAdded) {
    Router router;
    router.add(routeFor("retrieve", "a"));
    Route wrong = routeFor("retrieve", "b/{id:uint}");
    wrong.arguments = {ArgumentKind::text};
    EXPECT_EQ(refusal(router, wrong),
              "template 'b/{id:uint}': the function has a parameter of another type for {id}");
    EXPECT_EQ(router.routes().size(), 1U);
    Router::Match match;
    EXPECT_EQ(router.find("retrieve", "b/1", match), nullptr);
    EXPECT_EQ(match.routes, nullptr);
}

TEST(RouterTest, TemplateThatServesTheCommandIsPreferred) {
    Router router;
    router.add(routeFor("retrieve", "5"));
    router.add(routeFor("update", "{name}"));
    Router::Match match;
    ASSERT_NE(router.find("update", "5", match), nullptr);
    EXPECT_EQ(match.count, 1U);
    Router::Match other;
    EXPECT_EQ(router.find("delete", "5", other), nullptr);
    ASSERT_NE(other.routes, nullptr);
    EXPECT_EQ(other.routes->front()->operation.path, "5");
}

// --- Hostile paths -------------------------------------------------------------------------------

class HostilePaths : public ::testing::Test {
protected:
    HostilePaths() {
        std::string deep;
        for (std::size_t i = 0; i < PathTemplate::LONGEST; ++i) {
            deep += (i == 0 ? "" : "/") + std::string("{p") + std::to_string(i) + "}";
        }
        router.add(routeFor("retrieve", deep));
        router.add(routeFor("retrieve", "{id:uint}/{zone:int}"));
        router.add(routeFor("retrieve", "files/{path:rest}"));
        router.add(routeFor("retrieve", "caf\xC3\xA9"));
    }
    std::string find(const std::string& path) {
        Router::Match match;
        Route const* const route = router.find("retrieve", path, match);
        return route != nullptr ? route->operation.path : "none";
    }

    Router router;
};

TEST_F(HostilePaths, EmptySegmentsMatchNothing) {
    for (const char* const path : {"/", "//", "a/", "/a", "a//b", "7//1", "7/1/", "files/"}) {
        EXPECT_EQ(find(path), "none") << path;
    }
}

TEST_F(HostilePaths, SegmentsBeyondTheLongestTemplateAreNotRead) {
    std::string path(20'000, 'a');
    for (std::size_t i = 1; i < path.size(); i += 2) {
        path[i] = '/';
    }
    path.back() = 'a';
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(find(path), "none");
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ(find("files/" + path), "files/{path:rest}");
}

TEST_F(HostilePaths, OverflowingNumberDoesNotMatchANumberParameter) {
    EXPECT_EQ(find("18446744073709551615/9223372036854775807"), "{id:uint}/{zone:int}");
    EXPECT_EQ(find("18446744073709551616/1"), "none");
    EXPECT_EQ(find("1/9223372036854775808"), "none");
    EXPECT_EQ(find(std::string(100'000, '9') + "/1"), "none");
    EXPECT_EQ(find("-1/1"), "none");
    EXPECT_EQ(find("1/ 1"), "none");
}

TEST_F(HostilePaths, BytesAreComparedVerbatim) {
    using namespace std::string_literals;
    EXPECT_EQ(find("caf\xC3\xA9"), "caf\xC3\xA9");
    EXPECT_EQ(find("caf\xE9"), "none");
    EXPECT_EQ(find("caf\xC3\xA9\0"s), "none");
    EXPECT_EQ(find("7\0/1"s), "none");
    EXPECT_EQ(find("files/\0\xFF"s), "files/{path:rest}");
}

TEST_F(HostilePaths, LookUpVisitsSharedSegmentsOnlyOnce) {
    // Ten segments of the path match both a literal and a parameter. A look-up that visits a node
    // more than once would try 2^10 templates.
    Router many;
    for (unsigned bits = 0; bits < 1U << 10U; ++bits) {
        std::string path;
        for (unsigned i = 0; i < 10; ++i) {
            path += (bits >> i & 1U) != 0 ? "a/" : "{p" + std::to_string(i) + "}/";
        }
        many.add(routeFor("retrieve", path + "end"));
    }
    const auto begin = std::chrono::steady_clock::now();
    Router::Match match;
    EXPECT_EQ(many.find("retrieve", "a/a/a/a/a/a/a/a/a/a/other", match), nullptr);
    EXPECT_NE(many.find("retrieve", "a/b/a/b/a/b/a/b/a/b/end", match), nullptr);
    EXPECT_EQ(match.count, 5U);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
}

}  // namespace
}  // namespace kova::kit::detail
