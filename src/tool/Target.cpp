#include "Target.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "kova/core/ResourceLocator.h"
#include "kova/core/url.h"
#include "kova/http/Address.h"

namespace kova::tool {

namespace {

using Parsed = kit::Result<Target>;

constexpr std::string_view LOCATOR = "kova:";
constexpr std::string_view URL = "http://";
constexpr std::string_view BROKER = "nats://";
constexpr std::string_view TLS_BROKER = "tls://";

bool begins(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool isAddress(std::string_view text) {
    return begins(text, "unix:") || begins(text, "tcp:") || begins(text, URL) ||
           begins(text, BROKER) || begins(text, TLS_BROKER);
}

kit::Error malformed(const std::string& text, const std::string& reason) {
    return {400, "'" + text + "': " + reason};
}

// Returns the target if its address and its paths are well-formed.
Parsed checked(const std::string& text, Target target) {
    const auto address = http::Address::parse(target.address);
    if (!address) {
        return malformed(text, address.error().message);
    }
    if (!target.servicePath.empty() && target.servicePath[0] != '/') {
        return malformed(text, "the path of the service begins with '/'");
    }
    return target;
}

// Parses "ADDRESS", "ADDRESS$/service", "ADDRESS$/service$/resource" or, if the text names a
// resource, "ADDRESS$/resource".
Parsed parseSocket(const std::string& text, bool isResource) {
    Target target;
    const std::size_t first = text.find('$');
    target.address = text.substr(0, first);
    const std::string rest = first == std::string::npos ? "" : text.substr(first + 1);
    const std::size_t second = rest.find('$');
    if (!isResource || second != std::string::npos) {
        target.servicePath = rest.substr(0, second);
    }
    if (isResource) {
        target.resource = second == std::string::npos ? rest : rest.substr(second + 1);
    }
    if (!isResource && second != std::string::npos) {
        return malformed(text, "a service has no path of a resource behind a second '$'");
    }
    return checked(text, std::move(target));
}

// Parses "http://HOST:PORT/service" or, if the text names a resource,
// "http://HOST:PORT/[service$/]resource".
Parsed parseUrl(const std::string& text, bool isResource) {
    const url parsed(text);
    const std::string& path = parsed.rest();
    if (path.find_first_of("%?#") != std::string::npos) {
        return malformed(text, "a URL with '%', '?' or '#' is not supported; write --to http://" +
                                   parsed.authority() + " and the path of the resource by itself");
    }
    Target target;
    target.address = "tcp:" + parsed.authority();
    const std::size_t dollar = path.find('$');
    if (!isResource) {
        target.servicePath = path == "/" ? "" : path;
    } else if (dollar == std::string::npos) {
        target.resource = path.empty() ? "/" : path;
    } else {
        target.servicePath = path.substr(0, dollar);
        target.resource = path.substr(dollar + 1);
    }
    return checked(text, std::move(target));
}

// Parses "nats://HOST[:PORT][/service]" or, if the text names a resource,
// "nats://HOST[:PORT][/service]$/resource". libkova_nats checks the host and the port.
Parsed parseBroker(const std::string& text, bool isResource) {
    const std::size_t host = text.find("//") + 2;
    const std::size_t end = std::min(text.find_first_of("/$", host), text.size());
    const std::size_t dollar = std::min(text.find('$', end), text.size());
    Target target;
    target.address = text.substr(0, end);
    target.servicePath = text.substr(end, dollar - end);
    if (target.address.find('@') != std::string::npos) {
        // The text may contain a password, so it is not part of the message.
        return kit::Error{400,
                          "other users can see a login in the address of a broker; use --user and "
                          "the variable KOVA_NATS_PASSWORD, or KOVA_NATS_TOKEN"};
    }
    if (end == host) {
        return malformed(text, "the address of a broker is nats://HOST:PORT or tls://HOST:PORT");
    }
    if (text.find_first_of("%?#", end) != std::string::npos) {
        return malformed(text, "a URL with '%', '?' or '#' is not supported; write --to " +
                                   text.substr(0, end) + " and the path of the resource by itself");
    }
    if (isResource == (dollar == text.size())) {
        return malformed(text, isResource ? "write a '$' between the paths of the service and of "
                                            "the resource, as in " +
                                                target.address + "/device$/state"
                                          : "a service has no '$' and no path of a resource");
    }
    target.resource = isResource ? text.substr(dollar + 1) : "";
    return target;
}

Parsed parseAddress(const std::string& text, bool isResource) {
    if (Target::isBroker(text)) {
        return parseBroker(text, isResource);
    }
    return begins(text, URL) ? parseUrl(text, isResource) : parseSocket(text, isResource);
}

bool hasOtherScheme(const std::string& text) {
    const std::size_t colon = text.find(':');
    return colon != std::string::npos && colon < text.find('/');
}

// Adds the paths of a locator, or of a text without a scheme, to the service that `to` names.
Parsed resolve(const std::string& text, const ResourceLocator& locator, const std::string& to) {
    Target target;
    const auto& service = locator.getServicePath();
    if (!to.empty() && (!service || isAddress(to))) {
        Parsed base = Target::ofService(to);
        if (!base) {
            return base;
        }
        target = *std::move(base);
    }
    if (!service && to.empty()) {
        return malformed(text,
                         "of which service? Name it with --to or in the variable KOVA_SERVICE, or "
                         "write a locator such as kova:/device$" +
                             (text.empty() || text[0] != '/' ? "/" + text : text));
    }
    if (service) {
        target.servicePath = *service;
    }
    target.resource = locator.getResourcePath();
    return target;
}

}  // namespace

Parsed Target::ofService(const std::string& text) {
    if (isAddress(text)) {
        return parseAddress(text, false);
    }
    const std::string path = begins(text, LOCATOR) ? text.substr(LOCATOR.size()) : text;
    if (path.size() < 2 || path[0] != '/' || path.find('$') != std::string::npos) {
        return malformed(text,
                         "is not a service; write kova:/SERVICE, unix:SOCKET, tcp:HOST:PORT, "
                         "http://HOST:PORT or nats://HOST/SERVICE");
    }
    return Target{"", path, ""};
}

Parsed Target::ofResource(const std::string& text, const std::string& to) {
    if (isAddress(text)) {
        return parseAddress(text, true);
    }
    if (begins(text, LOCATOR)) {
        const url uri(text);
        if (uri.isWellFormed() && !ResourceLocator::isResourceLocator(uri)) {
            return malformed(text,
                             "a locator has no '?' and no '#'; give a path with them after --to");
        }
        const auto locator = ResourceLocator::fromUri(uri);
        if (!uri.isWellFormed() || !locator || !locator->getServicePath()) {
            return malformed(text,
                             "a locator has a '$' between the paths of the service and of the "
                             "resource: " +
                                 text + "$/RESOURCE");
        }
        return resolve(text, *locator, to);
    }
    if (hasOtherScheme(text)) {
        return malformed(text,
                         "begin an address with kova:, unix:, tcp:, http://, nats:// or tls://");
    }
    const std::size_t dollar = text.find('$');
    if (dollar == std::string::npos) {
        return resolve(text, ResourceLocator(std::nullopt, std::string(text)), to);
    }
    return resolve(text, ResourceLocator(text.substr(0, dollar), text.substr(dollar + 1)), to);
}

bool Target::isBroker(const std::string& text) noexcept {
    return begins(text, BROKER) || begins(text, TLS_BROKER);
}

std::string Target::serviceText() const {
    if (isAtBroker()) {
        return address + servicePath;
    }
    if (address.empty()) {
        return std::string(LOCATOR) + servicePath;
    }
    return address + (servicePath.empty() ? "" : "$" + servicePath);
}

}  // namespace kova::tool
