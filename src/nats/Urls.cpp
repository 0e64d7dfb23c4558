#include "nats/Urls.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

#include "kova/core/StatusCodes.h"

namespace kova::nats::detail {

namespace {

struct Url {
    bool isTls = false;
    bool hasLogin = false;
    std::string shown;
};

bool isHostCharacter(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == ':';
}

bool isPort(std::string_view text) noexcept {
    unsigned port = 0;
    char const* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, port);
    return error == std::errc() && end == last && port > 0 && port <= 65535;
}

// Returns the length of the host: of the brackets and what is between them, or of a name.
std::size_t sizeOfHost(std::string_view text) noexcept {
    if (!text.empty() && text.front() == '[') {
        const std::size_t end = text.find(']');
        return end == std::string_view::npos ? 0 : end + 1;
    }
    return std::min(text.find(':'), text.size());
}

bool isHost(std::string_view host) noexcept {
    if (!host.empty() && host.front() == '[') {
        host.remove_prefix(1);
        host.remove_suffix(1);
    }
    return !host.empty() && std::all_of(host.begin(), host.end(), isHostCharacter);
}

std::optional<Url> parseOne(std::string_view text) {
    Url url;
    std::string_view scheme = "nats";
    if (const std::size_t end = text.find("://"); end != std::string_view::npos) {
        scheme = text.substr(0, end);
        text.remove_prefix(end + 3);
    }
    url.isTls = scheme == "tls";
    if (const std::size_t login = text.rfind('@'); login != std::string_view::npos) {
        url.hasLogin = true;
        text.remove_prefix(login + 1);
    }
    const std::size_t size = sizeOfHost(text);
    const std::string_view port = text.substr(size);
    if ((!url.isTls && scheme != "nats") || !isHost(text.substr(0, size)) ||
        (!port.empty() && (port.front() != ':' || !isPort(port.substr(1))))) {
        return std::nullopt;
    }
    url.shown = std::string(scheme) + "://" + std::string(text);
    return url;
}

}  // namespace

kit::Result<Urls> Urls::parse(const std::string& text) {
    if (text.size() > LONGEST) {
        return kit::Error{statuscodes::BAD_REQUEST, "the URL of the broker has more than " +
                                                        std::to_string(LONGEST) + " bytes"};
    }
    Urls urls;
    std::string_view rest = text;
    for (bool isLast = false; !isLast;) {
        const std::size_t end = std::min(rest.find(','), rest.size());
        const std::optional<Url> url = parseOne(rest.substr(0, end));
        if (!url) {
            // The text may contain a password, so it is not part of the message.
            return kit::Error{statuscodes::BAD_REQUEST,
                              "the URL of the broker is malformed: expected nats://HOST:PORT or "
                              "tls://HOST:PORT"};
        }
        urls.all.emplace_back(rest.substr(0, end));
        urls.shown += (urls.shown.empty() ? "" : ",") + url->shown;
        urls.isTls = urls.isTls || url->isTls;
        urls.hasLogin = urls.hasLogin || url->hasLogin;
        isLast = end == rest.size();
        rest.remove_prefix(isLast ? end : end + 1);
    }
    return urls;
}

}  // namespace kova::nats::detail
