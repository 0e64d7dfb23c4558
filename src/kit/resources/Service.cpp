#include "kova/kit/Service.h"

#include <algorithm>
#include <deque>
#include <map>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "calls/CallsCore.h"
#include "calls/Threads.h"
#include "inspection/InspectionState.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/StaticComposedKovaServiceImpl.h"
#include "kova/core/StatusCodes.h"
#include "osal/Alarm.h"
#include "resources/HandlerState.h"
#include "resources/MountState.h"
#include "resources/RootState.h"
#include "resources/Served.h"

namespace kova::kit {

namespace detail {

// One mount: its mountable object or its slot, and a function that creates its resource handler.
struct MountEntry {
    std::shared_ptr<Served> served;
    std::shared_ptr<SlotState> slot;
    IKovaApi* service = nullptr;
    std::shared_ptr<MountState> state;
    // Whether the service owns `served`.
    bool isOwned = false;

    std::unique_ptr<IResourceHandler> makeHandler() const {
        if (slot) {
            return detail::makeHandler(slot, state);
        }
        return service != nullptr ? detail::makeHandler(*service)
                                  : detail::makeHandler(served, state);
    }
    // Destroys the handlers of the service.
    void remove() const {
        if (slot) {
            slot->set(nullptr);
        } else if (isOwned) {
            detail::remove(*served);
        }
    }
    std::vector<Operation> operations() const {
        const std::shared_ptr<Served> present = slot ? slot->get() : served;
        return present ? present->operations() : std::vector<Operation>();
    }
};

struct ServiceParts {
    std::string name;
    std::string version;
    OnUncaught onUncaught;
    std::map<std::string, MountEntry> mounts;
    std::shared_ptr<InspectionState> inspection;
    // The order of the two members matters: `calls` uses `service` until `calls` is destroyed.
    std::unique_ptr<StaticComposedKovaService> service;
    std::unique_ptr<CallsCore> calls;
};

}  // namespace detail

namespace {

using detail::MountEntry;

constexpr char const* STOPPED = "the service stops";
constexpr std::string_view RESERVED = detail::InspectionState::MOUNT;

[[noreturn]] void refuseMount(const std::string& path, char const* reason) {
    throw std::invalid_argument("mount '" + path + "': " + reason);
}

bool isReserved(std::string_view path) {
    return path.substr(0, RESERVED.size()) == RESERVED &&
           (path.size() == RESERVED.size() || path[RESERVED.size()] == '/');
}

// Checks the path of a mount. Returns the path without a "/" at its end, or throws.
std::string checkMount(const std::string& path) {
    if (path.empty() || path.front() != '/') {
        refuseMount(path, "a mount path begins with '/'");
    }
    std::string result =
        path.size() > 1 && path.back() == '/' ? path.substr(0, path.size() - 1) : path;
    if (result == "/" && path != "/") {
        refuseMount(path, "a segment is empty, '.' or '..'");
    }
    for (std::size_t begin = 1; begin < result.size();) {
        const std::size_t end = std::min(result.find('/', begin), result.size());
        const std::string_view segment = std::string_view(result).substr(begin, end - begin);
        if (segment.empty() || segment == "." || segment == ".." || end + 1 == result.size()) {
            refuseMount(path, "a segment is empty, '.' or '..'");
        }
        begin = end + 1;
    }
    if (isReserved(result)) {
        refuseMount(path, "the path is reserved");
    }
    return result;
}

MountEntry& addMount(detail::ServiceParts& parts, const std::string& path) {
    const auto added = parts.mounts.try_emplace(checkMount(path));
    if (!added.second) {
        refuseMount(path, "mounted already");
    }
    return added.first->second;
}

// A thread that stops a service and waits until no call and no job of the service is running. If
// the thread is inside a call or job itself, it does not wait for other threads that are inside and
// also stop the service.
class Stopping {
public:
    // `ownCalls` is the number of calls on which this thread is executing an operation.
    Stopping(detail::ServiceParts& parts, std::size_t ownCalls)
        : parts_(parts), calls_(*parts.calls, ownCalls), isInside_(calls_.isInside()) {
        for (const auto& mount : parts_.mounts) {
            jobs_.emplace_back(mount.second.state->gate());
            isInside_ = isInside_ || jobs_.back().isInside();
        }
    }

    // Waits, and returns the calls and jobs that are still running when the limit passes.
    std::vector<CallInfo> wait(const detail::WaitLimit& until) {
        return detail::waitUntilOver(isOver, describe, this, until) ? std::vector<CallInfo>()
                                                                    : running();
    }

private:
    static bool isOver(void* user) {
        const Stopping& self = *static_cast<Stopping*>(user);
        return self.calls_.isOver(self.isInside_) &&
               std::all_of(self.jobs_.begin(), self.jobs_.end(),
                           [&](const auto& jobs) { return jobs.others(self.isInside_) == 0; });
    }
    static std::string describe(void* user) {
        return detail::describeWait(static_cast<Stopping*>(user)->running());
    }
    std::vector<CallInfo> running() const {
        std::vector<CallInfo> out;
        if (!calls_.isOver(isInside_)) {
            out = parts_.calls->list();
        }
        auto jobs = jobs_.begin();
        for (const auto& mount : parts_.mounts) {
            if ((jobs++)->others(isInside_) != 0) {
                const std::vector<CallInfo> infos = mount.second.state->jobs();
                out.insert(out.end(), infos.begin(), infos.end());
            }
        }
        return out;
    }

    detail::ServiceParts& parts_;
    const detail::CallsCore::Waiting calls_;
    std::deque<detail::Gate::Waiting> jobs_;  // one for each mount, in the order of the mounts
    bool isInside_;
};

std::vector<std::string> pathsOf(const detail::ServiceParts& parts) {
    std::vector<std::string> paths;
    for (const auto& mount : parts.mounts) {
        paths.push_back(mount.first);
    }
    return paths;
}

}  // namespace

// --- Slot ----------------------------------------------------------------------------------------

Slot::Slot(std::shared_ptr<detail::SlotState> state) noexcept : state_(std::move(state)) {}

void Slot::set(std::unique_ptr<IResourceHandler> handler) {
    if (!handler) {
        throw std::invalid_argument("a slot is set to a handler that is null");
    }
    state_->set(std::make_shared<detail::HandlerState>(std::move(handler)));
}

void Slot::set(const Mountable& mountable) {
    state_->setTarget(mountable.served());
}

void Slot::clear() {
    state_->set(nullptr);
}

// --- Service -------------------------------------------------------------------------------------

Service::Service(std::unique_ptr<detail::ServiceParts> parts) noexcept : parts_(std::move(parts)) {}

Service::~Service() {
    stop(std::chrono::milliseconds::max());
    parts_->calls.reset();
    for (const auto& mount : parts_->mounts) {
        mount.second.remove();
    }
}

void* Service::actionRequest(const Request& request,
                             std::unique_ptr<IResponseHandler<Response>>&& handler) {
    if (parts_->inspection && parts_->inspection->monitor().isWatched()) {
        return parts_->calls->actionRequest(
            request, parts_->inspection->monitor().observe(request, std::move(handler)));
    }
    return parts_->calls->actionRequest(request, std::move(handler));
}

void Service::cancelRequest(void* handle) {
    parts_->calls->cancelRequest(handle);
}

std::vector<CallInfo> Service::stop(std::chrono::milliseconds limit) {
    detail::WaitLimit until;
    if (limit < osal::Alarm::LONGEST) {
        until = std::chrono::steady_clock::now() + limit;
    }
    for (const auto& mount : parts_->mounts) {
        mount.second.state->gate().close();
    }
    const std::size_t own = parts_->calls->stop({statuscodes::SERVICE_UNAVAILABLE, STOPPED});
    return Stopping(*parts_, own).wait(until);
}

std::vector<CallInfo> Service::pending() const {
    std::vector<CallInfo> result = parts_->calls->list();
    for (const auto& mount : parts_->mounts) {
        const std::vector<CallInfo> jobs = mount.second.state->jobs();
        result.insert(result.end(), jobs.begin(), jobs.end());
    }
    return result;
}

const std::string& Service::name() const noexcept {
    return parts_->name;
}

const std::string& Service::version() const noexcept {
    return parts_->version;
}

std::vector<MountInfo> Service::mounts() const {
    std::vector<MountInfo> result;
    for (const auto& mount : parts_->mounts) {
        result.push_back({mount.first, mount.second.operations()});
    }
    return result;
}

// --- Builder -------------------------------------------------------------------------------------

ServiceBuilder::ServiceBuilder() : parts_(std::make_unique<detail::ServiceParts>()) {}

ServiceBuilder::~ServiceBuilder() = default;

ServiceBuilder& ServiceBuilder::name(std::string name) {
    parts_->name = std::move(name);
    return *this;
}

ServiceBuilder& ServiceBuilder::version(std::string version) {
    parts_->version = std::move(version);
    return *this;
}

ServiceBuilder& ServiceBuilder::mount(const std::string& path, const Mountable& mountable) {
    addMount(*parts_, path).served = mountable.served();
    return *this;
}

ServiceBuilder& ServiceBuilder::mount(const std::string& path,
                                      std::unique_ptr<IResourceHandler> handler) {
    if (!handler) {
        refuseMount(path, "the handler is null");
    }
    MountEntry& mount = addMount(*parts_, path);
    mount.served = std::make_shared<detail::HandlerState>(std::move(handler));
    mount.isOwned = true;
    return *this;
}

ServiceBuilder& ServiceBuilder::mount(const std::string& path, IKovaApi& service) {
    addMount(*parts_, path).service = &service;
    return *this;
}

Slot ServiceBuilder::slot(const std::string& path) {
    MountEntry& mount = addMount(*parts_, path);
    mount.slot = std::make_shared<detail::SlotState>();
    return Slot(mount.slot);
}

ServiceBuilder& ServiceBuilder::onUncaught(std::function<Error(const Error&)> function) {
    parts_->onUncaught = std::move(function);
    return *this;
}

ServiceBuilder& ServiceBuilder::inspect(InspectionOptions options) {
    parts_->inspection = std::make_shared<detail::InspectionState>(std::move(options));
    return *this;
}

namespace {

void addInspection(detail::ServiceParts& parts) {
    const std::shared_ptr<detail::InspectionState> inspection = parts.inspection;
    parts.mounts[detail::InspectionState::MOUNT].served = inspection;
    MountEntry& monitor = parts.mounts[detail::Monitor::MOUNT];
    monitor.served = std::make_shared<detail::HandlerState>(inspection->monitor().makeHandler(
        [inspection](const Peer& peer) { return inspection->isAllowed(peer); }));
    monitor.isOwned = true;
}

}  // namespace

std::unique_ptr<Service> ServiceBuilder::build() {
    auto parts = std::exchange(parts_, std::make_unique<detail::ServiceParts>());
    if (parts->mounts.count("/") == 0) {
        const auto root = std::make_shared<detail::RootState>(pathsOf(*parts));
        parts->mounts["/"].served = root;
    }
    CallsOptions options;
    // Safe, because mounts release the response handlers of ended requests
    options.awaitsRelease = true;
    if (parts->inspection) {
        addInspection(*parts);
        options.keepsClientId = true;
    }
    StaticComposedKovaServiceImpl::Handlers handlers;
    for (auto& mount : parts->mounts) {
        mount.second.state = std::make_shared<detail::MountState>(parts->onUncaught);
        handlers[mount.first] = mount.second.makeHandler();
    }
    parts->service = std::make_unique<StaticComposedKovaService>(std::move(handlers));
    parts->calls = std::make_unique<detail::CallsCore>(*parts->service, options);
    const std::shared_ptr<detail::InspectionState> inspection = parts->inspection;
    auto service = std::make_unique<Service>(std::move(parts));
    if (inspection) {
        inspection->attach(*service);
    }
    return service;
}

}  // namespace kova::kit
