#include "kova/nats/Connect.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "nats/Checks.h"
#include "nats/Frames.h"
#include "nats/Subjects.h"
#include "nats/Urls.h"
#include "nats/client/RemoteService.h"

namespace kova::nats {

namespace {

constexpr std::chrono::hours LONGEST_PATIENCE{24 * 365};

std::string nameOf(const std::string& servicePath, const std::string& instance) {
    return "'" + servicePath + "'" + (instance.empty() ? "" : " named '" + instance + "'");
}

}  // namespace

kit::Result<std::unique_ptr<IKovaApi>> connect(const std::string& url,
                                               const std::string& servicePath,
                                               const std::string& instance,
                                               const ConnectOptions& options) {
    const kit::Result<detail::Urls> urls = detail::Urls::parse(url);
    if (!urls) {
        return urls.error();
    }
    if (const kit::Result<void> checked = detail::check(options.broker); !checked) {
        return checked.error();
    }
    if (options.window == 0 || options.window > detail::MOST_CREDIT) {
        return kit::Error{statuscodes::BAD_REQUEST,
                          "a window of " + std::to_string(options.window) + " values, not 1 to " +
                              std::to_string(detail::MOST_CREDIT)};
    }
    const kit::Result<std::string> subject =
        detail::requestSubject(options.broker.prefix, servicePath, instance);
    if (!subject) {
        return subject.error();
    }
    const detail::ClientSettings settings{
        *subject, nameOf(servicePath, instance), options.broker,
        std::clamp<std::chrono::milliseconds>(options.patience, std::chrono::milliseconds(0),
                                              LONGEST_PATIENCE),
        options.window};
    try {
        return std::unique_ptr<IKovaApi>(std::make_unique<detail::RemoteService>(*urls, settings));
    } catch (const std::system_error& error) {
        return kit::Error{statuscodes::SERVICE_UNAVAILABLE, error.what()};
    }
}

}  // namespace kova::nats
