#pragma once

#include <string>
#include <vector>

#include "kova/kit/Result.h"

namespace kova::nats::detail {

/// The URLs of the servers of a broker.
struct Urls {
    std::vector<std::string> all;
    /// The URLs without users, passwords and tokens, for messages.
    std::string shown;
    /// Whether a URL requires TLS ("tls://").
    bool isTls = false;
    /// Whether a URL contains a login.
    bool hasLogin = false;

    /// Reads URLs with commas between them: [SCHEME "://"] [LOGIN "@"] HOST [":" PORT]. The scheme
    /// is "nats" or "tls", the host a name or an address, of IPv6 in brackets. Returns the error
    /// 400 if one of them has another form, or if the text is longer than `LONGEST`.
    static kit::Result<Urls> parse(const std::string& text);

    static constexpr std::size_t LONGEST = 4096;
};

}  // namespace kova::nats::detail
