#pragma once

#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace kova {

/// A text that is split into the parts of a URL: scheme, user info, authority (host and port) and
/// the rest (path, query and fragment).
///
/// It only searches for delimiters. It does not validate characters, does not decode or encode
/// percent escapes, and does not normalize. Parsing never fails: a text that is not a URL yields
/// empty or unexpected parts. The only exception is `std::bad_alloc`.
///
///     [scheme ":"] ["//" [userinfo "@"] authority] [path] ["?" query] ["#" fragment]
///
/// The authority is a host name or address, or an IPv6 address in brackets, and an optional
/// ":port". The scheme ends at the first ":" before the first "?" or "#". Therefore "host:80/x" has
/// the scheme "host": pass only texts that have a scheme.
///
///     const kova::url link("http://user@[fe80::1]:8080/a/b?x=1#top");
///     link.hostname(true);  // "fe80::1"
///     link.port();          // 8080
///     link.path();          // "/a/b"
///
/// Plain value type. Not synchronized. Returned references are valid until the object is changed or
/// destroyed.
class KOVA_API url {  // NOLINT(readability-identifier-naming): the name is public
public:
    /// The value of `port` if the URL has no port. It is also returned for the
    /// port 65535.
    static constexpr unsigned short NO_PORT = 65535;

    /// Creates a URL with empty parts and both flags false.
    url() = default;
    /// Starts with empty parts and both flags false, then calls `init(text)`. The constructor is
    /// explicit: there is no implicit conversion from a text.
    explicit url(const std::string& text);

    /// @{
    /// A copy is independent. Assigning an object to itself changes nothing.
    url(const url&) = default;
    url(url&&) noexcept = default;
    url& operator=(const url&) = default;
    url& operator=(url&& other) noexcept;
    ~url() = default;
    /// @}

    /// Parses `text`. Assigns scheme, user info and authority only if `text` has them; otherwise
    /// they keep the values of the former text.
    ///
    /// Delimiters in an unexpected order are not a failure. The user info begins after the "//" and
    /// ends before the first "@". If the "@" comes before the "//", the user info extends to the
    /// end of the text. A host in brackets is parsed by `parseIpv6`; if that returns nothing, only
    /// the flags are assigned.
    void init(const std::string& text);

    /// The parts of a text whose host is in brackets.
    struct Ipv6Pieces {
        /// The text before "://".
        std::string scheme;
        /// The text between "://" and the first "@". Not set when the text has no "@".
        std::optional<std::string> userinfo;
        /// The host in its brackets and the port, if there is one, for example "[::1]:8080".
        std::string authority;
        /// The path, the query and the fragment.
        std::string rest;
    };

    /// Parses a text whose host is in brackets. `bracketPos` is the position of the first "[".
    /// `init` calls it for every text with a "[" before its first "?" or "#".
    ///
    /// A text with an "@" must contain "://". Any other text must have "://" directly before the
    /// bracket, after a scheme of at least one character. Returns nothing for all other texts, and
    /// when `bracketPos` is not a position in the text.
    static std::optional<Ipv6Pieces> parseIpv6(const std::string& text, unsigned long bracketPos);

    /// Builds `SCHEME://HOST[:PORT]/PATH` and parses it. Adds the "/" unless `path` begins with
    /// one, also when `path` is empty. All builders omit the port when it is `NO_PORT`, and escape
    /// nothing.
    static url from(const std::string& scheme, const std::string& host, const std::string& path,
                    unsigned short port);
    /// Builds `SCHEME://HOST[:PORT]` and parses it.
    static url fromHost(const std::string& scheme, const std::string& host, unsigned short port);
    /// Builds `SCHEME:/PATH` and parses it. Adds the "/" as `from` does.
    static url fromPath(const std::string& scheme, const std::string& path);
    /// Builds `SCHEME://USERINFO@HOST[:PORT]/PATH` and parses it. Adds the "/" as `from` does.
    static url fromUserinfo(const std::string& scheme, const std::string& userinfo,
                            const std::string& host, const std::string& path, unsigned short port);
    /// Builds `SCHEME://USERINFO@HOST[:PORT]` and parses it.
    static url fromUserinfo(const std::string& scheme, const std::string& userinfo,
                            const std::string& host, unsigned short port);

    /// Returns the whole text, verbatim.
    const std::string& toString() const noexcept { return text_; }
    /// Returns the text before the ":" that ends the scheme; empty when the text has no scheme.
    const std::string& scheme() const noexcept { return scheme_; }
    /// Returns host and port, verbatim; an IPv6 address is in brackets.
    const std::string& authority() const noexcept { return authority_; }
    /// Returns path, query and fragment: the text after the authority, or after the scheme when the
    /// text has no authority.
    const std::string& rest() const noexcept { return rest_; }
    /// Returns the text between "//" and "@"; empty when the text has no user info.
    const std::string& userinfo() const noexcept { return userinfo_; }

    /// Returns whether the latest text is well formed: what follows the host and the port (`rest`)
    /// is empty or begins with "/", "?" or "#".
    bool isWellFormed() const noexcept { return wellFormed_; }
    /// Returns whether the latest text had a "[" before its first "?" or "#", which indicates an
    /// IPv6 address.
    bool isIpv6() const noexcept { return ipv6_; }
    /// Returns whether the scheme is not empty.
    bool isAbsolute() const noexcept { return !scheme_.empty(); }
    /// Returns whether the authority is empty.
    bool isPathOnlyUrl() const noexcept { return authority_.empty(); }

    /// Returns the rest up to its first "?" or "#".
    std::string path() const;
    /// Returns the rest from after its first "?" to before its first "#". When the first "#" comes
    /// before the first "?", the query extends to the end: "/a#f?x" has the query "x".
    std::string query() const;
    /// Returns the rest after its first "#".
    std::string fragment() const;

    /// Returns the authority without its port. With `stripBrackets`, removes the brackets of an
    /// IPv6 address.
    std::string hostname(bool stripBrackets) const;
    std::string hostname() const { return hostname(false); }
    /// Returns the number after the ":" of the authority, parsed as `std::stoul` does ("80x" is
    /// 80). Returns its low 16 bits ("70000" is 4464). Returns `NO_PORT` if the authority has no
    /// ":", if no digits follow it, or if the number does not fit 64 bits.
    unsigned short port() const;

private:
    std::string text_;
    std::string scheme_;
    std::string authority_;
    std::string rest_;
    bool wellFormed_ = false;
    bool ipv6_ = false;
    std::string userinfo_;
};

}  // namespace kova
