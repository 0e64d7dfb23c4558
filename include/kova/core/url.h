#pragma once

#include <optional>
#include <string>

#include "kova/core/Export.h"

namespace kova {

/// A text cut into the pieces of a URL: scheme, user info, authority (host and port) and the rest
/// (path, query and fragment).
///
/// It only looks for delimiters: no character is checked, no percent escape is read or written,
/// nothing is normalized. Every text is taken; one that does not fit gives empty or odd pieces, and
/// nothing throws but memory exhaustion.
///
///     [scheme ":"] ["//" [userinfo "@"] authority] [path] ["?" query] ["#" fragment]
///
/// The authority is a host name or address, or an IPv6 address in brackets, and an optional
/// ":port". The first ":" before "?" and "#" ends the scheme wherever it stands, so that
/// "host:80/x" has the scheme "host": pass texts with a scheme.
///
///     const kova::url link("http://user@[fe80::1]:8080/a/b?x=1#top");
///     link.hostname(true);  // "fe80::1"
///     link.port();          // 8080
///     link.path();          // "/a/b"
///
/// A plain value: copies are independent, and objects are not locked. References that are handed
/// out live until the object is changed.
class KOVA_API url {  // NOLINT(readability-identifier-naming): the name is public
public:
    /// No port. A port 65535 that is written out cannot be told from it.
    static constexpr unsigned short NO_PORT = 65535;

    /// All pieces empty, both flags false.
    url() = default;
    /// Starts with all pieces empty and both flags false, and calls `init(text)`. Explicit: a text
    /// never becomes a URL without its name.
    explicit url(const std::string& text);

    /// @{
    /// A copy is independent. Assigning an object to itself changes nothing.
    url(const url&) = default;
    url(url&&) noexcept = default;
    url& operator=(const url&) = default;
    url& operator=(url&& other) noexcept;
    ~url() = default;
    /// @}

    /// Cuts `text`. Scheme, user info and authority are written only when `text` has them: on an
    /// object that held another text, they otherwise keep their values.
    ///
    /// Delimiters in an unexpected order never fail. The user info goes from behind the "//" to
    /// before the first "@"; where the "@" stands first, it goes to the end of the text. A host in
    /// brackets needs "://": right before the bracket, or, in a text with "@", anywhere. Without it
    /// (and with nothing before it, unless there is an "@") only the flags are set.
    void init(const std::string& text);

    /// The pieces of a text whose host stands in brackets.
    struct Ipv6Pieces {
        /// The text before "://".
        std::string scheme;
        /// The text between "://" and the first "@"; absent when the text has no "@".
        std::optional<std::string> userinfo;
        /// The host in its brackets and the port, for example "[::1]:8080".
        std::string authority;
        /// The path, the query and the fragment.
        std::string rest;
    };

    /// Cuts a text whose host stands in brackets; `init` uses this for every text with a "[" before
    /// its first "?" and "#". `bracketPos` is the position of the first "[".
    ///
    /// Returns nothing when "://" is not where it must be: right before the bracket and after a
    /// scheme of at least one character, or, in a text with "@", anywhere. Returns nothing, too,
    /// when `bracketPos` is not a position in the text.
    static std::optional<Ipv6Pieces> parseIpv6(const std::string& text, unsigned long bracketPos);

    /// `SCHEME://HOST[:PORT]/PATH`; the slash before the path is added unless the path begins with
    /// one, also when the path is empty. Here and below the port is left out when it is `NO_PORT`,
    /// and nothing is escaped.
    static url from(const std::string& scheme, const std::string& host, const std::string& path,
                    unsigned short port);
    /// `SCHEME://HOST[:PORT]`
    static url fromHost(const std::string& scheme, const std::string& host, unsigned short port);
    /// `SCHEME:/PATH`, the slash as in `from`.
    static url fromPath(const std::string& scheme, const std::string& path);
    /// `SCHEME://USERINFO@HOST[:PORT]/PATH`, the slash as in `from`.
    static url fromUserinfo(const std::string& scheme, const std::string& userinfo,
                            const std::string& host, const std::string& path, unsigned short port);
    /// `SCHEME://USERINFO@HOST[:PORT]`
    static url fromUserinfo(const std::string& scheme, const std::string& userinfo,
                            const std::string& host, unsigned short port);

    /// The whole text, as it was given.
    const std::string& toString() const noexcept { return text_; }
    /// What stands before the first ":"; empty when there is none.
    const std::string& scheme() const noexcept { return scheme_; }
    /// Host and port as written; an IPv6 address stands in brackets.
    const std::string& authority() const noexcept { return authority_; }
    /// What follows the authority, or the scheme where there is none: path, query and fragment.
    const std::string& rest() const noexcept { return rest_; }
    /// What stands between "//" and "@"; empty when there is none.
    const std::string& userinfo() const noexcept { return userinfo_; }

    /// Whether the rest is empty or begins with "/", "?" or "#".
    bool isWellFormed() const noexcept { return wellFormed_; }
    /// Whether the latest text had a "[" before "?" and "#", which stands for an IPv6 address.
    bool isIpv6() const noexcept { return ipv6_; }
    /// Whether there is a scheme.
    bool isAbsolute() const noexcept { return !scheme_.empty(); }
    /// Whether there is no authority.
    bool isPathOnlyUrl() const noexcept { return authority_.empty(); }

    /// The rest up to its first "?" or "#".
    std::string path() const;
    /// The rest from behind its first "?" to before its first "#", or to its end when no "#"
    /// follows: a "#" before the "?" does not count ("/a#f?x" has the query "x").
    std::string query() const;
    /// The rest from behind its first "#".
    std::string fragment() const;

    /// The authority without its port. `stripBrackets` takes the brackets off an IPv6 address.
    std::string hostname(bool stripBrackets) const;
    std::string hostname() const { return hostname(false); }
    /// The number behind the ":" of the authority, or `NO_PORT` when there is none or it does not
    /// fit 64 bits. It is read as `std::stoul` reads it ("80x" is 80) and cut to its low 16 bits:
    /// "70000" is 4464.
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
