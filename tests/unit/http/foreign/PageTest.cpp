#include "foreign/Page.h"

#include <gtest/gtest.h>

#include <string>

#include "foreign/JsonText.h"
#include "unit/http/foreign/ForeignFixture.h"

namespace kova::http::detail {
namespace {

constexpr char const* FROM_BROWSER =
    "text/html,application/xhtml+xml,application/xml;q=0.9,*/*;q=0.8";

std::optional<HttpReply> request(std::string_view method, std::string_view target,
                                 const Fields& fields = {}) {
    return toPageReply({method, target, fields, nullptr});
}

std::string fieldOf(const HttpReply& reply, std::string_view name) {
    return std::string(findField(reply.fields, name).value_or("missing"));
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

class PageFiles : public ::testing::TestWithParam<PageFile> {};

TEST_P(PageFiles, HasItsBytesAndFields) {
    for (char const* const method : {"GET", "HEAD"}) {
        const std::optional<HttpReply> reply = request(method, GetParam().path);
        ASSERT_TRUE(reply);
        EXPECT_EQ(reply->status, 200);
        EXPECT_EQ(bytesOf(reply->body), GetParam().bytes);
        EXPECT_EQ(fieldOf(*reply, "Content-Type"),
                  std::string(GetParam().mediaType) + "; charset=utf-8");
        EXPECT_EQ(fieldOf(*reply, "Content-Encoding"), "gzip");
        EXPECT_EQ(fieldOf(*reply, "Cache-Control"), "no-cache");
        EXPECT_EQ(fieldOf(*reply, "X-Content-Type-Options"), "nosniff");
        EXPECT_EQ(fieldOf(*reply, "ETag"), GetParam().entityTag);
    }
}

TEST_P(PageFiles, ContentSecurityPolicyAllowsNoInlineCodeAndNoOtherOrigin) {
    const std::string policy = fieldOf(*request("GET", GetParam().path), "Content-Security-Policy");
    EXPECT_EQ(policy.rfind("default-src 'none'; script-src 'self'; style-src 'self'; ", 0), 0U);
    EXPECT_TRUE(contains(policy, "require-trusted-types-for 'script'"));
    EXPECT_TRUE(contains(policy, "frame-ancestors 'none'"));
    EXPECT_FALSE(contains(policy, "unsafe"));
    EXPECT_FALSE(contains(policy, "*"));
}

TEST_P(PageFiles, ClientThatHasTheFileGetsNoBody) {
    const std::string tag(GetParam().entityTag);
    for (const std::string& list : {tag, "W/" + tag, "\"other\", " + tag, std::string("*")}) {
        const std::optional<HttpReply> reply =
            request("GET", GetParam().path, {{"If-None-Match", list}});
        ASSERT_TRUE(reply);
        EXPECT_EQ(reply->status, 304) << list;
        EXPECT_TRUE(reply->body.isEmpty());
        EXPECT_EQ(fieldOf(*reply, "ETag"), tag);
    }
    EXPECT_EQ(request("GET", GetParam().path, {{"If-None-Match", "\"other\""}})->status, 200);
}

INSTANTIATE_TEST_SUITE_P(PageTest, PageFiles, ::testing::ValuesIn(PAGE_FILES));

// The last bytes of gzip are the size of the file (RFC 1952, section 2.3.1).
std::size_t sizeOf(const PageFile& file) {
    std::size_t size = 0;
    for (std::size_t i = 1; i <= 4; ++i) {
        size = size * 256 + static_cast<unsigned char>(file.bytes[file.bytes.size() - i]);
    }
    return size;
}

TEST(PageTest, FilesHaveDifferentTagsAndAtMost60KilobytesTogether) {
    std::size_t size = 0;
    for (const PageFile& file : PAGE_FILES) {
        EXPECT_EQ(file.bytes.substr(0, 2), "\x1f\x8b") << file.path;
        EXPECT_EQ(file.bytes.substr(4, 4), std::string(4, '\0')) << "the time";
        EXPECT_EQ(file.entityTag.size(), 18U);
        EXPECT_GT(sizeOf(file), file.bytes.size()) << file.path;
        size += sizeOf(file);
    }
    EXPECT_LE(size, 60U * 1000U);
    EXPECT_NE(PAGE_FILES[0].entityTag, PAGE_FILES[1].entityTag);
    EXPECT_NE(PAGE_FILES[1].entityTag, PAGE_FILES[2].entityTag);
}

TEST(PageTest, RootIsTheDocumentIfTheClientPrefersHtml) {
    for (char const* const target : {"/", "http://localhost:8080/", "http://localhost:8080"}) {
        const std::optional<HttpReply> reply = request("GET", target, {{"Accept", FROM_BROWSER}});
        ASSERT_TRUE(reply) << target;
        EXPECT_EQ(bytesOf(reply->body), PAGE_FILES[0].bytes);
        EXPECT_EQ(fieldOf(*reply, "Vary"), "Accept");
    }
    EXPECT_TRUE(request("HEAD", "/", {{"Accept", "text/html"}}));
}

TEST(PageTest, OtherRequestsAreForTheService) {
    for (char const* const list : {"*/*", "text/*", "application/json", "text/html;q=0",
                                   "application/json, text/html;q=0.9", "text/event-stream"}) {
        EXPECT_FALSE(request("GET", "/", {{"Accept", list}})) << list;
    }
    EXPECT_FALSE(request("GET", "/"));
    const Fields fields = {{"Accept", "text/html"}};
    for (char const* const target : {"/level", "/device$/", "/?watch=/a", "/.kova", "/.kova/page",
                                     "/.kova/pages/", "/device$/.kova/page/", "/%", "*"}) {
        EXPECT_FALSE(request("GET", target, fields)) << target;
    }
    for (char const* const method : {"PUT", "POST", "DELETE", "OPTIONS", ""}) {
        EXPECT_FALSE(request(method, "/", fields)) << method;
        EXPECT_FALSE(request(method, "/.kova/page/", fields)) << method;
    }
}

TEST(PageTest, UnknownFileIsNotFound) {
    for (char const* const target :
         {"/.kova/page/other", "/.kova/page/page.js/", "/.kova/page/../page.js"}) {
        const std::optional<HttpReply> reply = request("GET", target);
        ASSERT_TRUE(reply) << target;
        EXPECT_EQ(reply->status, 404) << target;
    }
}

TEST(PageTest, ServerSendsTheFilesToEachPeer) {
    for (const kit::Peer& peer : {ForeignFixture::unixPeer(), ForeignFixture::tcpPeer()}) {
        ForeignTerms terms;
        terms.port = 8080;
        ForeignFixture own(terms);
        const std::string page = own.get("/", "Accept: text/html\r\n", peer);
        EXPECT_EQ(statusAndBody(page), "200 " + std::string(PAGE_FILES[0].bytes));
        EXPECT_TRUE(contains(page, "\r\nContent-Security-Policy: default-src 'none';"));
        EXPECT_TRUE(contains(page, "\r\nContent-Type: text/html; charset=utf-8\r\n"));
        EXPECT_EQ(statusAndBody(own.get("/.kova/page/page.js", "", peer)),
                  "200 " + std::string(PAGE_FILES[2].bytes));
        EXPECT_EQ(statusAndBody(own.get("/.kova/page/other", "", peer)).substr(0, 3), "404");
        EXPECT_EQ(statusAndBody(own.get("/echo", "Accept: text/html\r\n", peer)).substr(0, 3),
                  "406");
    }
}

TEST(PageTest, HeadHasTheFieldsAlone) {
    ForeignFixture fixture;
    const std::string answer = fixture.exchange(
        "HEAD /.kova/page/ HTTP/1.1\r\nHost: localhost:8080\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(statusAndBody(answer), "200 ");
    EXPECT_TRUE(contains(
        answer, "\r\nContent-Length: " + std::to_string(PAGE_FILES[0].bytes.size()) + "\r\n"));
    const std::string known = fixture.get("/", "Accept: text/html\r\nIf-None-Match: " +
                                                   std::string(PAGE_FILES[0].entityTag) + "\r\n");
    EXPECT_EQ(statusAndBody(known), "304 ");
}

TEST(PageTest, PageOfAnotherOriginGetsNoFile) {
    ForeignTerms terms;
    terms.port = 8080;
    ForeignFixture fixture(terms);
    EXPECT_EQ(statusAndBody(fixture.get("/.kova/page/", "Origin: http://example.org\r\n",
                                        ForeignFixture::tcpPeer()))
                  .substr(0, 3),
              "403");
}

}  // namespace
}  // namespace kova::http::detail
