#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "kova/core/url.h"

namespace {

using kova::url;

struct Row {
    char const* text;
    char const* scheme;
    char const* userinfo;
    char const* authority;
    char const* rest;
    bool wellFormed;
    bool ipv6;

    friend std::ostream& operator<<(std::ostream& out, const Row& row) { return out << row.text; }
};

class UrlPieces : public testing::TestWithParam<Row> {};

TEST_P(UrlPieces, AreSplitAtTheDelimiters) {
    const Row& row = GetParam();
    const url parsed(row.text);
    EXPECT_EQ(parsed.toString(), row.text);
    EXPECT_EQ(parsed.scheme(), row.scheme);
    EXPECT_EQ(parsed.userinfo(), row.userinfo);
    EXPECT_EQ(parsed.authority(), row.authority);
    EXPECT_EQ(parsed.rest(), row.rest);
    EXPECT_EQ(parsed.isWellFormed(), row.wellFormed);
    EXPECT_EQ(parsed.isIpv6(), row.ipv6);
    EXPECT_EQ(parsed.isAbsolute(), *row.scheme != '\0');
    EXPECT_EQ(parsed.isPathOnlyUrl(), *row.authority == '\0');
}

const Row PIECES[] = {
    {"", "", "", "", "", true, false},
    {"kova:/svc$/res", "kova", "", "", "/svc$/res", true, false},
    {"kova:tracks", "kova", "", "", "tracks", false, false},
    {"http://user:pw@host:8080/a/b?x=1#f", "http", "user:pw", "host:8080", "/a/b?x=1#f", true,
     false},
    {"http://[fe80::1]:80/p", "http", "", "[fe80::1]:80", "/p", true, true},
    {"http://u@[::1]/p", "http", "u", "[::1]", "/p", true, true},
    {"http://[::1]", "http", "", "[::1]", "", true, true},
    {"http://[::1]?q", "http", "", "[::1]", "?q", true, true},
    {"http://[::1]#f", "http", "", "[::1]", "#f", true, true},
    {"/only/path", "", "", "", "/only/path", true, false},
    {"//host/path", "", "", "host", "/path", true, false},
    {"http://host", "http", "", "host", "", true, false},
    {"http://host?q#f", "http", "", "host", "?q#f", true, false},
    {"http://host#f", "http", "", "host", "#f", true, false},
    {"file:///etc/fstab", "file", "", "", "/etc/fstab", true, false},
    // The first ":" ends the scheme, even in the path.
    {"/a/b:c", "/a/b", "", "", "c", false, false},
    {"host:80/x", "host", "", "", "80/x", false, false},
    {"/a?b:c", "", "", "", "/a?b:c", true, false},
    {"/a#b:c", "", "", "", "/a#b:c", true, false},
    {":x", "", "", "", "x", false, false},
    // A "/" ends the authority even after "?" and "#".
    {"x://h?q=/y", "x", "", "h?q=", "/y", true, false},
    {"x://h#f?q", "x", "", "h#f", "?q", true, false},
    // The first "@" ends the user info, even in the path.
    {"x://h/p@q/r", "x", "h/p", "q", "/r", true, false},
    {"mailto:a@b//c", "mailto", "c", "", "a@b//c", false, false},
    {"mailto:a@b", "mailto", "", "", "a@b", false, false},
    {"x:/a//b@c", "x", "b", "", "/a//b@c", true, false},
    {"http://[::1]/p@x", "http", "[::1]/p", "[::1]", "/p@x", true, true},
    {"a@[::1]://x", "a@[::1]", "x", "[::1]:", "//x", true, true},
    {"://u@[::1]", "", "u", "[::1]", "", true, true},
    // A bracket in the query or the fragment is not a host.
    {"http://host/p?[x]", "http", "", "host", "/p?[x]", true, false},
    {"http://host#[x]", "http", "", "host", "#[x]", true, false},
    // A bracket that is not closed.
    {"x://[", "x", "", "[", "", true, true},
};

INSTANTIATE_TEST_SUITE_P(Url, UrlPieces, testing::ValuesIn(PIECES));

class UrlWithoutDelimiter : public testing::TestWithParam<char const*> {};

TEST_P(UrlWithoutDelimiter, LeavesAllPiecesEmpty) {
    const url parsed(GetParam());
    EXPECT_EQ(parsed.toString(), "");
    EXPECT_EQ(parsed.scheme(), "");
    EXPECT_EQ(parsed.userinfo(), "");
    EXPECT_EQ(parsed.authority(), "");
    EXPECT_EQ(parsed.rest(), "");
    EXPECT_FALSE(parsed.isWellFormed());
    EXPECT_TRUE(parsed.isIpv6());
    EXPECT_EQ(parsed.hostname(false), "");
    EXPECT_EQ(parsed.hostname(true), "");
    EXPECT_EQ(parsed.port(), url::NO_PORT);
}

INSTANTIATE_TEST_SUITE_P(Url, UrlWithoutDelimiter,
                         testing::Values("[::1]", "/[::1]", "//[::1]", "://[::1]", "x:/[::1]",
                                         "http://h/[x]", "user@[::1]:80/p", "[::1]@"));

struct ViewRow {
    char const* text;
    char const* path;
    char const* query;
    char const* fragment;

    friend std::ostream& operator<<(std::ostream& out, const ViewRow& row) {
        return out << row.text;
    }
};

class UrlRest : public testing::TestWithParam<ViewRow> {};

TEST_P(UrlRest, ContainsPathQueryAndFragment) {
    const url parsed(GetParam().text);
    EXPECT_EQ(parsed.path(), GetParam().path);
    EXPECT_EQ(parsed.query(), GetParam().query);
    EXPECT_EQ(parsed.fragment(), GetParam().fragment);
}

const ViewRow RESTS[] = {
    {"", "", "", ""},
    {"http://host", "", "", ""},
    {"http://host/a/b?x=1#f", "/a/b", "x=1", "f"},
    {"/only/path", "/only/path", "", ""},
    {"/a?", "/a", "", ""},
    {"/a#", "/a", "", ""},
    {"/a?#", "/a", "", ""},
    {"/a?x?y#f#g?h", "/a", "x?y", "f#g?h"},
    {"/a#f?x", "/a", "x", "f?x"},
    {"/a#f?x#g", "/a", "x#g", "f?x#g"},
    {"?q", "", "q", ""},
    {"#f", "", "", "f"},
};

INSTANTIATE_TEST_SUITE_P(Url, UrlRest, testing::ValuesIn(RESTS));

struct HostRow {
    char const* text;
    char const* hostname;
    char const* stripped;
    unsigned short port;

    friend std::ostream& operator<<(std::ostream& out, const HostRow& row) {
        return out << row.text;
    }
};

class UrlHost : public testing::TestWithParam<HostRow> {};

TEST_P(UrlHost, ContainsNameAndPort) {
    const url parsed(GetParam().text);
    EXPECT_EQ(parsed.hostname(), GetParam().hostname);
    EXPECT_EQ(parsed.hostname(false), GetParam().hostname);
    EXPECT_EQ(parsed.hostname(true), GetParam().stripped);
    EXPECT_EQ(parsed.port(), GetParam().port);
}

const HostRow HOSTS[] = {
    {"x://host", "host", "host", url::NO_PORT},
    {"x://host:8080", "host", "host", 8080},
    {"x://1.2.3.4:1/p", "1.2.3.4", "1.2.3.4", 1},
    {"x://a:b:7", "a:b", "a:b", 7},
    {"x://[fe80::1]:80/p", "[fe80::1]", "fe80::1", 80},
    {"x://[fe80::1]/p", "[fe80::1]", "fe80::1", url::NO_PORT},
    {"x://[::1]:7]:8", "[::1]", "::1", 7},
    {"x://[", "[", "", url::NO_PORT},
    {"x://[]", "[]", "", url::NO_PORT},
    {"x://[]:5", "[]", "", 5},
    {"x:/p", "", "", url::NO_PORT},
    // Different texts of the port.
    {"x://h:", "h", "h", url::NO_PORT},
    {"x://h:abc", "h", "h", url::NO_PORT},
    {"x://h:80x", "h", "h", 80},
    {"x://h: \t\n\v\f\r80", "h", "h", 80},
    {"x://h:+80", "h", "h", 80},
    {"x://h:-80", "h", "h", 65456},
    {"x://h:+-80", "h", "h", url::NO_PORT},
    {"x://h:0", "h", "h", 0},
    {"x://h:65534", "h", "h", 65534},
    {"x://h:65535", "h", "h", url::NO_PORT},
    {"x://h:65536", "h", "h", 0},
    {"x://h:70000", "h", "h", 4464},
    {"x://h:99999", "h", "h", 34463},
    {"x://h:18446744073709551614", "h", "h", 65534},
    {"x://h:18446744073709551616", "h", "h", url::NO_PORT},
    {"x://h:-18446744073709551616", "h", "h", url::NO_PORT},
};

INSTANTIATE_TEST_SUITE_P(Url, UrlHost, testing::ValuesIn(HOSTS));

TEST(Url, DefaultIsEmpty) {
    const url nothing;
    EXPECT_EQ(nothing.toString(), "");
    EXPECT_FALSE(nothing.isAbsolute());
    EXPECT_TRUE(nothing.isPathOnlyUrl());
    EXPECT_FALSE(nothing.isWellFormed());
    EXPECT_FALSE(nothing.isIpv6());
}

TEST(Url, BytesOfAllValuesAreKept) {
    const std::string text("x://h\0\xff:80/\0p", 13);
    const url parsed(text);
    EXPECT_EQ(parsed.toString(), text);
    EXPECT_EQ(parsed.hostname(), std::string("h\0\xff", 3));
    EXPECT_EQ(parsed.port(), 80);
    EXPECT_EQ(parsed.path(), std::string("/\0p", 3));
}

TEST(Url, BuildersJoinThePieces) {
    EXPECT_EQ(url::from("x", "h", "a/b", 80).toString(), "x://h:80/a/b");
    EXPECT_EQ(url::from("x", "h", "/a", url::NO_PORT).toString(), "x://h/a");
    EXPECT_EQ(url::from("x", "h", "", url::NO_PORT).toString(), "x://h/");
    EXPECT_EQ(url::from("x", "h", "", 0).toString(), "x://h:0/");
    EXPECT_EQ(url::from("x", "[::1]", "p", 65534).toString(), "x://[::1]:65534/p");
    EXPECT_EQ(url::fromHost("x", "h", 1).toString(), "x://h:1");
    EXPECT_EQ(url::fromHost("x", "h", url::NO_PORT).toString(), "x://h");
    EXPECT_EQ(url::fromPath("x", "a").toString(), "x:/a");
    EXPECT_EQ(url::fromPath("x", "/a").toString(), "x:/a");
    EXPECT_EQ(url::fromPath("x", "").toString(), "x:/");
    EXPECT_EQ(url::fromUserinfo("x", "u:p", "h", "a", 9).toString(), "x://u:p@h:9/a");
    EXPECT_EQ(url::fromUserinfo("x", "u", "h", "", url::NO_PORT).toString(), "x://u@h/");
    EXPECT_EQ(url::fromUserinfo("x", "u", "h", 9).toString(), "x://u@h:9");
    EXPECT_EQ(url::fromUserinfo("x", "u", "h", url::NO_PORT).toString(), "x://u@h");
}

TEST(Url, BuildersParseTheTextThatTheyBuild) {
    const url built = url::fromUserinfo("x", "u", "[::1]", "p?q#f", 80);
    EXPECT_EQ(built.scheme(), "x");
    EXPECT_EQ(built.userinfo(), "u");
    EXPECT_EQ(built.hostname(true), "::1");
    EXPECT_EQ(built.port(), 80);
    EXPECT_EQ(built.path(), "/p");
    EXPECT_EQ(built.query(), "q");
    EXPECT_EQ(built.fragment(), "f");
}

TEST(Url, InitKeepsPiecesThatTheNewTextLacks) {
    url parsed("http://user@host/path");
    parsed.init("relative");
    EXPECT_EQ(parsed.toString(), "relative");
    EXPECT_EQ(parsed.scheme(), "http");
    EXPECT_EQ(parsed.userinfo(), "user");
    EXPECT_EQ(parsed.authority(), "host");
    EXPECT_EQ(parsed.rest(), "relative");
    EXPECT_FALSE(parsed.isWellFormed());
    parsed.init("x:");
    EXPECT_EQ(parsed.scheme(), "x");
    EXPECT_EQ(parsed.authority(), "host");
    EXPECT_EQ(parsed.rest(), "");
}

TEST(Url, InitWithBracketsOutsideAnAuthorityChangesOnlyTheFlags) {
    url parsed("http://host:80/path");
    parsed.init("[::1]");
    EXPECT_EQ(parsed.toString(), "http://host:80/path");
    EXPECT_EQ(parsed.authority(), "host:80");
    EXPECT_EQ(parsed.rest(), "/path");
    EXPECT_FALSE(parsed.isWellFormed());
    EXPECT_TRUE(parsed.isIpv6());
    EXPECT_EQ(parsed.hostname(true), "ost:8");
    EXPECT_EQ(parsed.port(), url::NO_PORT);
    parsed.init("/a");
    EXPECT_FALSE(parsed.isIpv6());
    EXPECT_TRUE(parsed.isWellFormed());
}

TEST(Url, InitAcceptsAReferenceToAPieceOfItsObject) {
    url parsed("a:b://host-name-that-is-not-short/path-that-is-not-short");
    parsed.init(parsed.rest());
    EXPECT_EQ(parsed.toString(), "b://host-name-that-is-not-short/path-that-is-not-short");
    EXPECT_EQ(parsed.scheme(), "b");
    EXPECT_EQ(parsed.authority(), "host-name-that-is-not-short");
    parsed.init(parsed.toString());
    EXPECT_EQ(parsed.rest(), "/path-that-is-not-short");
    parsed.init(parsed.authority());
    EXPECT_EQ(parsed.rest(), "host-name-that-is-not-short");
}

TEST(Url, ParseIpv6ReturnsThePieces) {
    const auto pieces = url::parseIpv6("http://user@[fe80::1]:80/p?q#f", 12);
    ASSERT_TRUE(pieces);
    EXPECT_EQ(pieces->scheme, "http");
    EXPECT_EQ(pieces->userinfo, "user");
    EXPECT_EQ(pieces->authority, "[fe80::1]:80");
    EXPECT_EQ(pieces->rest, "/p?q#f");
}

TEST(Url, ParseIpv6ReturnsNoUserinfoForATextWithoutAtSign) {
    const auto pieces = url::parseIpv6("http://[::1]", 7);
    ASSERT_TRUE(pieces);
    EXPECT_EQ(pieces->scheme, "http");
    EXPECT_EQ(pieces->userinfo, std::nullopt);
    EXPECT_EQ(pieces->authority, "[::1]");
    EXPECT_EQ(pieces->rest, "");
}

TEST(Url, ParseIpv6AcceptsEmptyUserinfo) {
    const auto pieces = url::parseIpv6("http://@[::1]", 8);
    ASSERT_TRUE(pieces);
    EXPECT_EQ(pieces->userinfo, "");
}

TEST(Url, ParseIpv6ReturnsNothingWithoutSchemeDelimiter) {
    for (const std::string text : {"[::1]", "//[::1]", "://[::1]", "x:/[::1]", "[::1]@"}) {
        EXPECT_FALSE(url::parseIpv6(text, text.find('['))) << text;
    }
}

TEST(Url, ParseIpv6ReturnsNothingOutsideTheText) {
    EXPECT_FALSE(url::parseIpv6("", 0));
    EXPECT_FALSE(url::parseIpv6("http://u@h", 10));
    EXPECT_FALSE(url::parseIpv6("http://", 8));
    EXPECT_FALSE(url::parseIpv6("http://[::1]", std::string::npos));
}

TEST(Url, InitKeepsTheUserinfoOfTheFormerText) {
    url parsed("http://user@host/path");
    parsed.init("x://[::1]/p");
    EXPECT_EQ(parsed.userinfo(), "user");
    parsed.init("x://@[::1]/p");
    EXPECT_EQ(parsed.userinfo(), "");
}

TEST(Url, InitAcceptsAReferenceToAPieceOfItsObjectWithIpv6Host) {
    url parsed("scheme-that-is-not-short://inner-scheme-that-is-not-short://[fe80::1]@[::1]/p");
    parsed.init(parsed.toString());
    EXPECT_EQ(parsed.scheme(), "scheme-that-is-not-short");
    EXPECT_EQ(parsed.userinfo(), "inner-scheme-that-is-not-short://[fe80::1]");
    parsed.init(parsed.userinfo());
    EXPECT_EQ(parsed.toString(), "inner-scheme-that-is-not-short://[fe80::1]");
    EXPECT_EQ(parsed.scheme(), "inner-scheme-that-is-not-short");
    EXPECT_EQ(parsed.authority(), "[fe80::1]");
}

/// A reference parser that uses only searches and substrings.
class Reference {
public:
    explicit Reference(const std::string& whole) {
        const std::size_t q = std::min(whole.find_first_of("?#"), whole.size());
        const std::size_t b = whole.find('[');
        if (b != std::string::npos && b < q) {
            ipv6 = true;
            bracketed(whole, b);
        } else {
            plain(whole, q);
        }
    }

    std::string text, scheme, authority, rest, userinfo;
    bool wellFormed = false;
    bool ipv6 = false;

private:
    void plain(const std::string& whole, std::size_t q) {
        std::size_t p = 0;
        const std::size_t c = whole.find(':');
        if (c != std::string::npos && c < q) {
            scheme = whole.substr(0, c);
            p = c + 1;
        }
        const std::size_t a = whole.find('@', p);
        const std::size_t d = whole.find("//", p);
        if (a != std::string::npos && d != std::string::npos) {
            userinfo = whole.substr(d + 2, a - (d + 2));
        }
        if (d == p) {
            authorityAndRest(whole, a != std::string::npos ? a + 1 : p + 2);
        } else {
            rest = whole.substr(p);
        }
        finish(whole);
    }

    void bracketed(const std::string& whole, std::size_t b) {
        std::size_t s = std::string::npos;
        const std::size_t a = whole.find('@');
        if (a != std::string::npos) {
            s = whole.find("://");
            if (s == std::string::npos) {
                return;
            }
            userinfo = whole.substr(s + 3, a - (s + 3));
        } else {
            if (b <= 3 || whole.substr(b - 3, 3) != "://") {
                return;
            }
            s = b - 3;
        }
        scheme = whole.substr(0, s);
        authorityAndRest(whole, b);
        finish(whole);
    }

    void authorityAndRest(const std::string& whole, std::size_t start) {
        std::size_t end = whole.find('/', start);
        if (end == std::string::npos) {
            end = whole.find('?', start);
        }
        if (end == std::string::npos) {
            end = whole.find('#', start);
        }
        authority = whole.substr(start, end == std::string::npos ? end : end - start);
        rest = end == std::string::npos ? "" : whole.substr(end);
    }

    void finish(const std::string& whole) {
        text = whole;
        wellFormed = rest.empty() || rest.find_first_of("/?#") == 0;
    }
};

// Compares the result of `url::parseIpv6`, which must find nothing if `wanted.text` is empty.
bool branchAgreesWithReference(const std::string& text, const Reference& wanted) {
    const auto pieces = url::parseIpv6(text, text.find('['));
    if (!pieces) {
        return wanted.text.empty();
    }
    const bool hasUserinfo = text.find('@') != std::string::npos;
    return pieces->scheme == wanted.scheme && pieces->authority == wanted.authority &&
           pieces->rest == wanted.rest && pieces->userinfo.has_value() == hasUserinfo &&
           pieces->userinfo.value_or("") == wanted.userinfo;
}

// Calls every function of a URL, so that the sanitizers also check the functions.
bool agreesWithReference(const std::string& text) {
    const url parsed(text);
    const Reference wanted(text);
    if (wanted.ipv6 && !branchAgreesWithReference(text, wanted)) {
        return false;
    }
    const std::string rest = parsed.path() + parsed.query() + parsed.fragment();
    const std::string host = parsed.hostname(true) + parsed.hostname(false);
    return parsed.toString() == wanted.text && parsed.scheme() == wanted.scheme &&
           parsed.userinfo() == wanted.userinfo && parsed.authority() == wanted.authority &&
           parsed.rest() == wanted.rest && parsed.isWellFormed() == wanted.wellFormed &&
           parsed.isIpv6() == wanted.ipv6 && rest.size() <= 2 * text.size() &&
           host.size() <= 2 * text.size() && (parsed.port() == url::NO_PORT || !text.empty());
}

const std::string ALPHABET = ":/?#[]@a1";

TEST(Url, AgreesWithReferenceOnAllShortTexts) {
    // Enumerates the 9^0 + … + 9^6 texts like numbers.
    constexpr std::size_t LONGEST = 6;
    std::vector<std::size_t> digits;
    while (digits.size() <= LONGEST) {
        std::string text;
        for (const std::size_t digit : digits) {
            text += ALPHABET[digit];
        }
        ASSERT_TRUE(agreesWithReference(text)) << text;
        std::size_t place = 0;
        while (place < digits.size() && ++digits[place] == ALPHABET.size()) {
            digits[place++] = 0;
        }
        if (place == digits.size()) {
            digits.push_back(0);
        }
    }
}

TEST(Url, AgreesWithReferenceOnRandomTexts) {
    std::mt19937 random(20240607);
    static const std::string PIECES_OF_TEXT[] = {":", "/",  "?",   "#",  "[", "]",
                                                 "@", "//", "://", "]:", "a", "1"};
    std::uniform_int_distribution<std::size_t> pick(0, std::size(PIECES_OF_TEXT) - 1);
    std::uniform_int_distribution<std::size_t> length(0, 24);
    for (int i = 0; i < 50000; ++i) {
        std::string text;
        for (std::size_t left = length(random); left > 0; --left) {
            text += PIECES_OF_TEXT[pick(random)];
        }
        ASSERT_TRUE(agreesWithReference(text)) << text;
    }
}

}  // namespace
