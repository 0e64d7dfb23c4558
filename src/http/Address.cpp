#include "kova/http/Address.h"

#include <arpa/inet.h>
#include <sys/un.h>

#include <charconv>
#include <optional>

#include "kova/core/StatusCodes.h"

namespace kova::http {

namespace {

constexpr std::string_view UNIX = "unix:";
constexpr std::string_view TCP = "tcp:";
constexpr std::size_t LONGEST_PATH = sizeof(sockaddr_un::sun_path) - 1;

bool startsWith(std::string_view text, std::string_view begin) noexcept {
    return text.substr(0, begin.size()) == begin;
}

kit::Error malformed(std::string_view text, char const* reason) {
    return {statuscodes::BAD_REQUEST, "address '" + std::string(text) + "': " + reason};
}

bool isNumeric(const std::string& host, int family) noexcept {
    in6_addr ignored{};
    return inet_pton(family, host.c_str(), &ignored) == 1;
}

std::optional<std::uint16_t> readPort(std::string_view text) noexcept {
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return port;
}

// Returns the numeric host, or "" if it is none.
std::string readHost(std::string_view text) {
    if (text == "localhost") {
        return "127.0.0.1";
    }
    if (text.size() > 2 && text.front() == '[' && text.back() == ']') {
        const std::string host(text.substr(1, text.size() - 2));
        return isNumeric(host, AF_INET6) ? host : std::string();
    }
    const std::string host(text);
    return isNumeric(host, AF_INET) ? host : std::string();
}

}  // namespace

kit::Result<Address> Address::parse(std::string_view text) {
    Address address;
    if (startsWith(text, UNIX)) {
        address.path = text.substr(UNIX.size());
        if (address.path.empty() || address.path.size() > LONGEST_PATH) {
            return malformed(text, "the path of a socket has 1 to 107 bytes");
        }
        if (address.path.find('\0') != std::string::npos) {
            return malformed(text, "the path contains a zero byte");
        }
        return address;
    }
    if (!startsWith(text, TCP)) {
        return malformed(text, "it begins with 'unix:' or 'tcp:'");
    }
    const std::size_t colon = text.rfind(':');
    const std::optional<std::uint16_t> port = readPort(text.substr(colon + 1));
    if (colon < TCP.size() || !port) {
        return malformed(text, "it ends with ':' and a port from 0 to 65535");
    }
    address.host = readHost(text.substr(TCP.size(), colon - TCP.size()));
    if (address.host.empty()) {
        return malformed(text,
                         "the host is an IPv4 address, an IPv6 address in brackets or "
                         "'localhost'");
    }
    address.port = *port;
    return address;
}

std::string Address::toString() const {
    if (isUnix()) {
        return std::string(UNIX) + path;
    }
    const bool needsBrackets = host.find(':') != std::string::npos;
    return std::string(TCP) + (needsBrackets ? "[" + host + "]" : host) + ":" +
           std::to_string(port);
}

bool Address::isLocal() const noexcept {
    return isUnix() || host == "::1" || startsWith(host, "127.");
}

}  // namespace kova::http
