#include "foreign/Target.h"

#include <algorithm>
#include <utility>

#include "foreign/Fields.h"
#include "kova/core/Path.h"

namespace kova::http::detail {

namespace {

kit::Error malformed(const std::string& reason) {
    return {statuscodes::BAD_REQUEST, "the target " + reason};
}

int hexValue(char digit) noexcept {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Returns the byte of an escape at the beginning of the text, or -1.
int escapedByte(std::string_view text) noexcept {
    if (text.size() < 3) {
        return -1;
    }
    const int high = hexValue(text[1]);
    const int low = hexValue(text[2]);
    return high < 0 || low < 0 ? -1 : high * 16 + low;
}

kit::Result<std::string> decode(std::string_view text, bool isQuery) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        if (text.front() != '%') {
            result += isQuery && text.front() == '+' ? ' ' : text.front();
            text.remove_prefix(1);
            continue;
        }
        const int byte = escapedByte(text);
        if (byte < 0) {
            return malformed("has a malformed percent escape");
        }
        if (byte == 0 || (byte == '/' && !isQuery)) {
            return malformed(byte == 0 ? "has the escape %00" : "has the escape %2F");
        }
        result += static_cast<char>(byte);
        text.remove_prefix(3);
    }
    return result;
}

// Splits at the "$" of a text whose escapes are not decoded yet.
kit::Result<Destination> parsePath(std::string_view text) {
    const std::size_t end = text.find('$');
    if (end == std::string_view::npos) {
        kit::Result<std::string> path = decode(text, false);
        return path ? kit::Result<Destination>(Destination{std::nullopt, *std::move(path)})
                    : path.error();
    }
    const kit::Result<std::string> service = decode(text.substr(0, end), false);
    const kit::Result<std::string> path = decode(text.substr(end + 1), false);
    if (!service || !path) {
        return service ? path.error() : service.error();
    }
    return Destination{Path::absolute(*service), Path::absolute(*path)};
}

kit::Result<Destination> parseWatch(std::string_view text) {
    const kit::Result<std::string> locator = decode(text, true);
    if (!locator) {
        return locator.error();
    }
    if (locator->empty() || locator->front() != '/') {
        return malformed("watches a path that does not begin with '/'");
    }
    const std::size_t end = locator->find('$');
    if (end == std::string::npos) {
        return Destination{std::nullopt, *locator};
    }
    return Destination{locator->substr(0, end), Path::absolute(locator->substr(end + 1))};
}

kit::Result<void> parseQuery(std::string_view query, std::vector<Destination>& watches) {
    constexpr std::string_view KEY = "watch=";
    do {
        const std::string_view item = query.substr(0, query.find('&'));
        if (item.substr(0, KEY.size()) != KEY) {
            return malformed("has a query other than 'watch=PATH'");
        }
        if (watches.size() == MAX_WATCHES) {
            return malformed("watches more than " + std::to_string(MAX_WATCHES) + " paths");
        }
        kit::Result<Destination> watched = parseWatch(item.substr(KEY.size()));
        if (!watched) {
            return watched.error();
        }
        watches.push_back(*std::move(watched));
        query.remove_prefix(std::min(item.size() + 1, query.size()));
    } while (!query.empty());
    return {};
}

bool isPrintable(std::string_view text) noexcept {
    return std::all_of(text.begin(), text.end(),
                       [](char each) { return each > ' ' && each < '\x7F' && each != '#'; });
}

// Removes scheme and authority of a target that is a whole URL.
std::optional<std::string> takeAuthority(std::string_view& text) {
    constexpr std::string_view SCHEME = "http://";
    if (!equalsIgnoringCase(text.substr(0, SCHEME.size()), SCHEME)) {
        return std::nullopt;
    }
    text.remove_prefix(SCHEME.size());
    const std::size_t end = std::min(text.find_first_of("/?"), text.size());
    std::string authority(text.substr(0, end));
    text.remove_prefix(end);
    return authority;
}

}  // namespace

kit::Result<Target> Target::parse(std::string_view text) {
    if (!isPrintable(text)) {
        return malformed("has a character that must be percent-encoded");
    }
    Target target;
    target.authority = takeAuthority(text);
    const std::size_t mark = std::min(text.find('?'), text.size());
    std::string_view path = text.substr(0, mark);
    if (path.empty() && target.authority) {
        path = "/";
    }
    if (path.empty() || path.front() != '/') {
        return malformed("is not a path");
    }
    kit::Result<Destination> resource = parsePath(path);
    if (!resource) {
        return resource.error();
    }
    target.resource = *std::move(resource);
    if (mark < text.size()) {
        if (path != "/") {
            return malformed("has a query behind a path other than '/'");
        }
        const kit::Result<void> query = parseQuery(text.substr(mark + 1), target.watches);
        if (!query) {
            return query.error();
        }
    }
    return target;
}

}  // namespace kova::http::detail
