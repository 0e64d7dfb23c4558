#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "inspection/Monitor.h"
#include "kova/kit/Inspection.h"
#include "kova/kit/InspectionViews.h"
#include "kova/kit/Resource.h"
#include "resources/Served.h"

namespace kova::kit {
class Service;
struct MountInfo;
}  // namespace kova::kit

namespace kova::kit::detail {

/// Serves "/.kova". Rejects the requests of peers that are not allowed, and answers all other
/// requests.
class InspectionState final : public Served {
public:
    /// The mount path.
    static constexpr char const* MOUNT = "/.kova";
    /// The maximum number of bytes of a pattern, and the maximum number of different patterns.
    static constexpr std::size_t LONGEST_PATTERN = 128;
    static constexpr std::size_t MAX_PATTERNS = 100;

    explicit InspectionState(InspectionOptions options);

    /// Sets the service that is inspected. Called before the first request; the service outlives
    /// the requests.
    void attach(const Service& service) noexcept;
    std::vector<Operation> operations() const override { return paths_.operations(); }
    /// Returns whether the peer is allowed to inspect the service. Called on any thread.
    bool isAllowed(const Peer& peer) const;
    /// Returns the monitor of the service.
    Monitor& monitor() const noexcept { return *monitor_; }

protected:
    std::shared_ptr<Exchange> serve(Incoming incoming) override;

private:
    void addPaths();
    std::vector<MountInfo> otherMounts() const;
    std::vector<MountView> resources() const;
    std::vector<PendingView> pending(const Ask& ask) const;
    Result<Payload> document(const std::string& mimeType) const;
    VersionView version() const;
    Result<TraceChange> setLevel(const TraceLevel& wanted);

    const InspectionOptions options_;
    const std::shared_ptr<Monitor> monitor_ = std::make_shared<Monitor>();
    Service const* service_ = nullptr;
    std::chrono::steady_clock::time_point begun_;
    std::mutex mutex_;
    /// The patterns whose levels were set. They are counted because the registry of the channels
    /// never removes a pattern.
    std::set<std::string> patterns_;
    Resource paths_;
};

}  // namespace kova::kit::detail
