#include "kova/http/Connect.h"

#include <algorithm>
#include <array>
#include <limits>
#include <system_error>
#include <utility>

#include "client/RemoteService.h"
#include "kova/core/StatusCodes.h"

namespace kova::http {

namespace {

constexpr std::size_t LONGEST_WINDOW = std::numeric_limits<std::int32_t>::max();
constexpr std::chrono::hours LONGEST_PATIENCE{24 * 365};

bool isUnreserved(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

// Encodes all but the unreserved characters of RFC 3986 and "/".
std::string percentEncoded(const std::string& path) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '/' || isUnreserved(c)) {
            encoded += c;
        } else {
            encoded += {'%', DIGITS[byte >> 4U], DIGITS[byte & 0xFU]};
        }
    }
    return encoded;
}

detail::ClientSettings toSettings(const ConnectOptions& options) {
    detail::ClientSettings settings;
    if (!options.servicePath.empty()) {
        settings.path = percentEncoded(options.servicePath);
    }
    settings.patience = std::clamp<std::chrono::milliseconds>(
        options.patience, std::chrono::milliseconds(0), LONGEST_PATIENCE);
    settings.window =
        static_cast<std::int32_t>(std::clamp<std::size_t>(options.queuedBytes, 1, LONGEST_WINDOW));
    settings.recordBytes = options.recordBytes;
    settings.onlyTrusted = options.onlyTrusted;
    settings.retriesRetrievals = options.retriesRetrievals;
    settings.resubscribes = options.resubscribes;
    return settings;
}

}  // namespace

kit::Result<std::unique_ptr<IKovaApi>> connect(const std::string& address,
                                               const ConnectOptions& options) {
    const kit::Result<Address> parsed = Address::parse(address);
    if (!parsed) {
        return parsed.error();
    }
    if (!options.servicePath.empty() && options.servicePath.front() != '/') {
        return kit::Error{statuscodes::BAD_REQUEST,
                          "service path '" + options.servicePath + "': it does not begin with '/'"};
    }
    try {
        return std::unique_ptr<IKovaApi>(
            std::make_unique<detail::RemoteService>(*parsed, toSettings(options)));
    } catch (const std::system_error& error) {
        return kit::Error{statuscodes::SERVICE_UNAVAILABLE, error.what()};
    }
}

}  // namespace kova::http
