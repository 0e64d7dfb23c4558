#include "kova/nats/Connect.h"

#include <algorithm>
#include <optional>
#include <system_error>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "nats/Checks.h"
#include "nats/Frames.h"
#include "nats/Subjects.h"
#include "nats/Urls.h"
#include "nats/client/AllInstances.h"
#include "nats/client/RemoteService.h"

namespace kova::nats {

namespace {

constexpr std::chrono::hours LONGEST_PATIENCE{24 * 365};
constexpr std::chrono::minutes LONGEST_QUIET{1};

std::string nameOf(const std::string& servicePath, const std::string& instance) {
    return "'" + servicePath + "'" + (instance.empty() ? "" : " named '" + instance + "'");
}

kit::Error refusal(const std::string& reason) {
    return {statuscodes::BAD_REQUEST, reason};
}

kit::Result<void> check(const ConnectOptions& options, const detail::Urls& urls) {
    if (options.window == 0 || options.window > detail::MOST_CREDIT) {
        return refusal("a window of " + std::to_string(options.window) + " values, not 1 to " +
                       std::to_string(detail::MOST_CREDIT));
    }
    if (options.gathering.count() < 1 || options.gathering > LONGEST_QUIET) {
        return refusal("a gathering of " + std::to_string(options.gathering.count()) +
                       " ms, not 1 ms to 1 min");
    }
    return detail::check(options.broker, urls);
}

std::unique_ptr<IKovaApi> makeService(const detail::Urls& urls,
                                      const detail::ClientSettings& settings,
                                      const std::optional<detail::GatheringSettings>& gathering) {
    auto state = detail::ClientState::start(urls, settings);
    std::shared_ptr<IKovaApi> sender = state;
    if (gathering) {
        sender = std::make_shared<detail::AllInstances>(state, *gathering);
    }
    return std::make_unique<detail::RemoteService>(std::move(state), std::move(sender));
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
    if (const kit::Result<void> checked = check(options, *urls); !checked) {
        return checked.error();
    }
    const bool isForAll = instance == ALL_INSTANCES;
    const kit::Result<std::string> subject = detail::requestSubject(
        options.broker.prefix, servicePath, isForAll ? std::string() : instance);
    if (!subject) {
        return subject.error();
    }
    const detail::ClientSettings settings{
        std::make_shared<const detail::Target>(
            detail::Target{*subject, nameOf(servicePath, instance)}),
        options.broker,
        std::clamp<std::chrono::milliseconds>(options.patience, std::chrono::milliseconds(0),
                                              LONGEST_PATIENCE),
        options.window,
        options.retriesRetrievals,
        options.resubscribes};
    std::optional<detail::GatheringSettings> gathering;
    if (isForAll) {
        gathering = {options.broker.prefix, servicePath, options.gathering,
                     options.broker.heartbeat};
    }
    try {
        return makeService(*urls, settings, gathering);
    } catch (const std::system_error& error) {
        return kit::Error{statuscodes::SERVICE_UNAVAILABLE, error.what()};
    }
}

}  // namespace kova::nats
