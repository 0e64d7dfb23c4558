#include "inspection/InspectionState.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "calls/CallsChannel.h"
#include "calls/Threads.h"
#include "inspection/OpenApi.h"
#include "inspection/Printable.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Service.h"
#include "tracing/SharedChannelMap.h"

namespace kova::kit::detail {

namespace {

constexpr char const* METRICS = "metrics";

OperationView viewOf(const Operation& operation) {
    OperationView view{
        printable(operation.command), printable(operation.path), operation.streams, {}};
    if (operation.bodySchema != nullptr) {
        view.schemas["body"] = operation.bodySchema();
    }
    if (operation.valueSchema != nullptr) {
        view.schemas["value"] = operation.valueSchema();
    }
    return view;
}

char const* wordsFor(CallInfo::Phase phase) noexcept {
    switch (phase) {
        case CallInfo::Phase::inService:
            return "in the service";
        case CallInfo::Phase::inCallback:
            return "in a callback";
        case CallInfo::Phase::cancelling:
            return "being cancelled";
        default:
            return "pending";
    }
}

std::vector<ChannelView> channels() {
    std::vector<ChannelView> views;
    for (const auto& [name, level] : tracing::SharedChannelMap::instance().levels()) {
        views.push_back({printable(name), level});
    }
    return views;
}

Error refused(std::string reason) {
    return {statuscodes::BAD_REQUEST, std::move(reason)};
}

}  // namespace

InspectionState::InspectionState(InspectionOptions options) : options_(std::move(options)) {
    callsChannel();  // creates the channel, so that it is listed
    addPaths();
}

void InspectionState::attach(const Service& service) noexcept {
    service_ = &service;
    begun_ = std::chrono::steady_clock::now();
}

void InspectionState::addPaths() {
    paths_.on(command::retrieve, "resources", [this](const Ask&) { return resources(); });
    paths_.on(command::retrieve, "openapi",
              [this](const Ask& ask) { return document(ask.accept()); });
    paths_.on(command::retrieve, "pending", [this](const Ask& ask) { return pending(ask); });
    paths_.on(command::retrieve, "trace", [](const Ask&) { return channels(); });
    paths_.on(command::update, "trace",
              [this](const Ask&, const TraceLevel& wanted) { return setLevel(wanted); });
    paths_.on(command::retrieve, "version", [this](const Ask&) { return version(); });
    if (options_.metrics) {
        paths_.on(command::retrieve, METRICS,
                  [this](const Ask&) { return Payload::createFromString(options_.metrics()); });
    }
}

bool InspectionState::isAllowed(const Peer& peer) const {
    return options_.isAllowed ? options_.isAllowed(peer)
                              : peer.uid == 0 || peer.uid == static_cast<long>(::geteuid());
}

std::shared_ptr<Exchange> InspectionState::serve(Incoming incoming) {
    const Ask& ask = incoming.ask;
    const std::string what = ask.command() + " '" + ask.request().getPath() + "'";
    try {
        if (!isAllowed(ask.peer())) {
            const Error error{statuscodes::FORBIDDEN, what + " is not allowed to this peer"};
            incoming.handler->onError(error.toResponse());
            return nullptr;
        }
    } catch (...) {
        incoming.handler->onError(uncaught(what, incoming.mount->onUncaught()).toResponse());
        return nullptr;
    }
    // The metrics are always plain text. Plain text is not a format of values, so the header entry
    // "$accept" is removed before the request is forwarded.
    const bool isText = ask.path() == METRICS && ask.accept() == mimetypes::PLAIN_TEXT_TYPE;
    const Request plain(ask.command(), ask.request().getPath());
    // Every function of the paths answers before it returns, so no request is pending.
    paths_.served()->actionRequest(isText ? plain : ask.request(), std::move(incoming.handler),
                                   std::string(ask.path()), incoming.mount);
    return nullptr;
}

std::vector<MountInfo> InspectionState::otherMounts() const {
    std::vector<MountInfo> mounts = service_->mounts();
    mounts.erase(std::remove_if(mounts.begin(), mounts.end(),
                                [](const MountInfo& mount) {
                                    return mount.path == MOUNT || mount.path == Monitor::MOUNT;
                                }),
                 mounts.end());
    return mounts;
}

std::vector<MountView> InspectionState::resources() const {
    std::vector<MountView> views;
    for (const MountInfo& mount : otherMounts()) {
        MountView view{printable(mount.path), {}};
        for (const Operation& operation : mount.operations) {
            view.operations.push_back(viewOf(operation));
        }
        views.push_back(std::move(view));
    }
    return views;
}

std::vector<PendingView> InspectionState::pending(const Ask& ask) const {
    std::vector<PendingView> views;
    for (const CallInfo& call : service_->pending()) {
        const bool isThis = call.thread == thisThread().number &&
                            call.phase == CallInfo::Phase::inService &&
                            call.path == ask.request().getPath();
        if (!isThis) {
            views.push_back({printable(call.path), printable(call.command), printable(call.client),
                             call.age, wordsFor(call.phase), call.thread});
        }
    }
    std::stable_sort(views.begin(), views.end(), [](const PendingView& a, const PendingView& b) {
        return a.age > b.age;  // the oldest first
    });
    return views;
}

Result<Payload> InspectionState::document(const std::string& mimeType) const {
    return openApi(service_->name(), service_->version(), otherMounts(), mimeType);
}

VersionView InspectionState::version() const {
    return {printable(service_->name()), printable(service_->version()), KOVA_VERSION,
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                  begun_),
            static_cast<long>(::getpid())};
}

Result<TraceChange> InspectionState::setLevel(const TraceLevel& wanted) {
    if (wanted.pattern.empty() || wanted.pattern.size() > LONGEST_PATTERN) {
        return refused("pattern: expected 1 to " + std::to_string(LONGEST_PATTERN) +
                       " bytes, found " + std::to_string(wanted.pattern.size()));
    }
    if (wanted.level < 0 || wanted.level > tracing::Channel::SILENT) {
        return refused("level: expected 0 to " + std::to_string(tracing::Channel::SILENT) +
                       ", found " + std::to_string(wanted.level));
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    if (patterns_.size() >= MAX_PATTERNS && patterns_.count(wanted.pattern) == 0) {
        return refused("pattern: " + std::to_string(MAX_PATTERNS) + " others are set already");
    }
    const std::size_t matched =
        tracing::SharedChannelMap::instance().setLevel(wanted.pattern, wanted.level);
    patterns_.insert(wanted.pattern);
    return TraceChange{static_cast<unsigned>(matched)};
}

}  // namespace kova::kit::detail
