#include "nats/Checks.h"

#include <string>

#include "kova/core/StatusCodes.h"
#include "nats/Frames.h"
#include "nats/Subjects.h"

namespace kova::nats::detail {

namespace {

kit::Error refusal(const std::string& reason) {
    return {statuscodes::BAD_REQUEST, reason};
}

bool areBothOrNone(const std::string& left, const std::string& right) noexcept {
    return left.empty() == right.empty();
}

int loginsOf(const BrokerOptions& options, const Urls& urls) noexcept {
    return (options.user.empty() ? 0 : 1) + (options.token.empty() ? 0 : 1) +
           (options.nkey.empty() ? 0 : 1) + (options.credentialsFile.empty() ? 0 : 1) +
           (urls.hasLogin ? 1 : 0);
}

kit::Result<void> checkTimes(const BrokerOptions& options) {
    const auto heartbeat = options.heartbeat.count();
    if (heartbeat < SHORTEST_HEARTBEAT || heartbeat > LONGEST_HEARTBEAT) {
        return refusal("a heartbeat of " + std::to_string(heartbeat) + " ms, not " +
                       std::to_string(SHORTEST_HEARTBEAT) + " to " +
                       std::to_string(LONGEST_HEARTBEAT));
    }
    if (options.connectLimit.count() < 1) {
        return refusal("connectLimit is less than 1 ms");
    }
    return {};
}

kit::Result<void> checkLogin(const BrokerOptions& options, const Urls& urls) {
    if (loginsOf(options, urls) > 1) {
        return refusal(
            "more than one login: at most one of the URL, user, token, nkey and credentialsFile");
    }
    if (options.user.empty() && !options.password.empty()) {
        return refusal("password needs user");
    }
    if (!areBothOrNone(options.nkey, options.nkeySeedFile)) {
        return refusal("nkey and nkeySeedFile need each other");
    }
    return {};
}

}  // namespace

kit::Result<void> check(const BrokerOptions& options, const Urls& urls) {
    if (kit::Result<void> checked = checkPrefix(options.prefix); !checked) {
        return checked;
    }
    if (kit::Result<void> checked = checkPrefix(options.inboxPrefix); !checked) {
        return checked;
    }
    if (kit::Result<void> checked = checkTimes(options); !checked) {
        return checked;
    }
    if (kit::Result<void> checked = checkLogin(options, urls); !checked) {
        return checked;
    }
    if (!areBothOrNone(options.certificateFile, options.keyFile)) {
        return refusal("certificateFile and keyFile need each other");
    }
    return {};
}

}  // namespace kova::nats::detail
