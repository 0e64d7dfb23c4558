#include "kova/core/url.h"

#include <optional>
#include <string_view>
#include <utility>

#include "datatypes/Decimal.h"

namespace kova {

namespace {

constexpr std::size_t NPOS = std::string::npos;

/// The delimiter between the scheme and a host in brackets.
constexpr std::string_view DELIMITER = "://";

/// The characters [from, to) of a text.
struct Piece {
    std::size_t from;
    std::size_t to;
};

/// The positions of the pieces of a text without a host in brackets.
struct Layout {
    std::optional<Piece> scheme;
    std::optional<Piece> userinfo;
    std::optional<Piece> authority;
    Piece rest{0, 0};
};

/// The positions of the first delimiters before the query and the fragment. A position is `NPOS` if
/// the text does not have the delimiter.
struct Marks {
    std::size_t colon = NPOS;
    std::size_t bracket = NPOS;
};

// Returns the characters of the piece. All positions are valid. A piece that begins after the end
// of the text is empty. A piece whose end is before its beginning extends to the end of the text.
std::string_view cut(std::string_view text, const Piece& piece) {
    return piece.from < text.size() ? text.substr(piece.from, piece.to - piece.from)
                                    : std::string_view();
}

// Finds the delimiters. The search ends at a bracket, because the colon is not used for texts with
// a bracket.
Marks findMarks(const std::string& text) {
    Marks marks;
    for (std::size_t i = 0; i < text.size(); ++i) {
        switch (text[i]) {
            case ':':
                marks.colon = marks.colon == NPOS ? i : marks.colon;
                break;
            case '[':
                marks.bracket = i;
                return marks;
            case '?':
            case '#':
                return marks;
            default:
                break;
        }
    }
    return marks;
}

// Returns the end of an authority that begins at `start`. A "/" ends the authority even if a "?" or
// "#" precedes the "/".
std::size_t findAuthorityEnd(const std::string& text, std::size_t start) {
    for (const char delimiter : {'/', '?', '#'}) {
        const std::size_t end = text.find(delimiter, start);
        if (end != NPOS) {
            return end;
        }
    }
    return text.size();
}

Layout layOut(const std::string& text, std::size_t colon) {
    Layout layout;
    std::size_t start = 0;
    if (colon != NPOS) {
        layout.scheme = Piece{0, colon};
        start = colon + 1;
    }
    const std::size_t at = text.find('@', start);
    if (at != NPOS) {
        const std::size_t slashes = text.find("//", start);
        if (slashes != NPOS) {
            layout.userinfo = Piece{slashes + 2, at};
        }
    }
    if (text.compare(start, 2, "//") == 0) {
        const std::size_t host = at != NPOS ? at + 1 : start + 2;
        const std::size_t end = findAuthorityEnd(text, host);
        layout.authority = Piece{host, end};
        layout.rest = Piece{end, text.size()};
    } else {
        layout.rest = Piece{start, text.size()};
    }
    return layout;
}

// Returns the end of the scheme of a text with a host in brackets, or nothing if "://" is not at
// the required position. `bracket` is a position in the text. `at` is the position
// of the first "@", or `NPOS`.
std::optional<std::size_t> findSchemeEnd(const std::string& text, std::size_t bracket,
                                         std::size_t at) {
    if (at != NPOS) {
        const std::size_t end = text.find(DELIMITER);
        return end != NPOS ? std::optional<std::size_t>(end) : std::nullopt;
    }
    // A scheme of at least one character and the delimiter must precede the bracket.
    if (bracket <= DELIMITER.size()) {
        return std::nullopt;
    }
    const std::size_t end = bracket - DELIMITER.size();
    const bool found = text.compare(end, DELIMITER.size(), DELIMITER) == 0;
    return found ? std::optional<std::size_t>(end) : std::nullopt;
}

void assign(std::string& field, const std::string& text, const std::optional<Piece>& piece) {
    if (piece) {
        field = cut(text, *piece);
    }
}

bool beginsRest(char c) {
    return c == '/' || c == '?' || c == '#';
}

// Returns the position of the first character of the port, or `NPOS` if the authority has no port.
std::size_t findPort(const std::string& authority, bool ipv6) {
    const std::size_t delimiter = ipv6 ? authority.find("]:") : authority.rfind(':');
    return delimiter == NPOS ? NPOS : delimiter + (ipv6 ? 2 : 1);
}

std::string hostAndPort(const std::string& host, unsigned short port) {
    return port < url::NO_PORT ? host + ':' + std::to_string(port) : host;
}

std::string rooted(const std::string& path) {
    return path.empty() || path.front() != '/' ? '/' + path : path;
}

}  // namespace

url::url(const std::string& text) {
    init(text);
}

url& url::operator=(url&& other) noexcept {
    if (this != &other) {
        text_ = std::move(other.text_);
        scheme_ = std::move(other.scheme_);
        authority_ = std::move(other.authority_);
        rest_ = std::move(other.rest_);
        wellFormed_ = other.wellFormed_;
        ipv6_ = other.ipv6_;
        userinfo_ = std::move(other.userinfo_);
    }
    return *this;
}

void url::init(const std::string& text) {
    wellFormed_ = false;
    const Marks marks = findMarks(text);
    ipv6_ = marks.bracket != NPOS;
    // `text` may be a reference to one of the fields. Therefore each branch copies it to `text_`
    // before it writes other fields.
    if (ipv6_) {
        std::optional<Ipv6Pieces> pieces = parseIpv6(text, marks.bracket);
        if (!pieces) {
            return;
        }
        text_ = text;
        scheme_ = std::move(pieces->scheme);
        userinfo_ = std::move(pieces->userinfo).value_or(userinfo_);
        authority_ = std::move(pieces->authority);
        rest_ = std::move(pieces->rest);
    } else {
        text_ = text;
        const Layout layout = layOut(text_, marks.colon);
        assign(scheme_, text_, layout.scheme);
        assign(userinfo_, text_, layout.userinfo);
        assign(authority_, text_, layout.authority);
        rest_ = cut(text_, layout.rest);
    }
    wellFormed_ = rest_.empty() || beginsRest(rest_.front());
}

std::optional<url::Ipv6Pieces> url::parseIpv6(const std::string& text, unsigned long bracketPos) {
    if (bracketPos >= text.size()) {
        return std::nullopt;
    }
    const std::size_t at = text.find('@');
    const std::optional<std::size_t> schemeEnd = findSchemeEnd(text, bracketPos, at);
    if (!schemeEnd) {
        return std::nullopt;
    }
    const std::size_t authorityEnd = findAuthorityEnd(text, bracketPos);
    Ipv6Pieces pieces;
    pieces.scheme = text.substr(0, *schemeEnd);
    if (at != NPOS) {
        pieces.userinfo = cut(text, {*schemeEnd + DELIMITER.size(), at});
    }
    pieces.authority = text.substr(bracketPos, authorityEnd - bracketPos);
    pieces.rest = text.substr(authorityEnd);
    return pieces;
}

url url::from(const std::string& scheme, const std::string& host, const std::string& path,
              unsigned short port) {
    return url(scheme + "://" + hostAndPort(host, port) + rooted(path));
}

url url::fromHost(const std::string& scheme, const std::string& host, unsigned short port) {
    return url(scheme + "://" + hostAndPort(host, port));
}

url url::fromPath(const std::string& scheme, const std::string& path) {
    return url(scheme + ':' + rooted(path));
}

url url::fromUserinfo(const std::string& scheme, const std::string& userinfo,
                      const std::string& host, const std::string& path, unsigned short port) {
    return from(scheme, userinfo + '@' + host, path, port);
}

url url::fromUserinfo(const std::string& scheme, const std::string& userinfo,
                      const std::string& host, unsigned short port) {
    return fromHost(scheme, userinfo + '@' + host, port);
}

std::string url::path() const {
    return rest_.substr(0, rest_.find_first_of("?#"));
}

std::string url::query() const {
    const std::size_t mark = rest_.find('?');
    return mark == NPOS ? std::string() : std::string(cut(rest_, {mark + 1, rest_.find('#')}));
}

std::string url::fragment() const {
    const std::size_t mark = rest_.find('#');
    return mark == NPOS ? std::string() : rest_.substr(mark + 1);
}

std::string url::hostname(bool stripBrackets) const {
    if (!ipv6_) {
        return authority_.substr(0, authority_.rfind(':'));
    }
    const std::size_t portMark = authority_.find("]:");
    if (!stripBrackets) {
        return portMark == NPOS ? authority_ : authority_.substr(0, portMark + 1);
    }
    // If there is no port, the last character is assumed to be the closing bracket.
    const std::size_t end = portMark == NPOS ? authority_.size() - 1 : portMark;
    return std::string(cut(authority_, {1, end}));
}

unsigned short url::port() const {
    const std::size_t start = findPort(authority_, ipv6_);
    if (start == NPOS) {
        return NO_PORT;
    }
    const detail::Decimal number = detail::scanDecimal(std::string_view(authority_).substr(start));
    if (number.error != std::errc()) {
        return NO_PORT;
    }
    return static_cast<unsigned short>(number.negative ? 0 - number.magnitude : number.magnitude);
}

}  // namespace kova
