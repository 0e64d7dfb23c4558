#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kova/core/IKovaApi.h"
#include "kova/core/IResourceHandler.h"
#include "kova/kit/Calls.h"
#include "kova/kit/Export.h"
#include "kova/kit/Inspection.h"
#include "kova/kit/Mountable.h"
#include "kova/kit/Result.h"

namespace kova::kit {

namespace detail {
struct ServiceParts;
class SlotState;
}  // namespace detail

/// A mount whose handler can be exchanged while the service runs. While the mount has no handler,
/// its requests are answered with 503.
///
/// A handle of shared state: copies refer to the same mount. Any thread may call any function.
class KOVA_KIT_API Slot {
public:
    /// Used only by the kit.
    explicit Slot(std::shared_ptr<detail::SlotState> state) noexcept;

    /// @{
    /// Sets the handler that serves the requests, and removes the former handler as `clear` does.
    /// `mountable` may be destroyed at any time.
    void set(std::unique_ptr<IResourceHandler> handler);
    void set(const Mountable& mountable);
    /// @}
    /// Removes the handler: ends its pending requests with 503 and waits until none of its
    /// functions runs, then destroys it. If a function of the handler calls `clear`, it does not
    /// wait; the handler is destroyed when its last running function returns.
    void clear();

private:
    std::shared_ptr<detail::SlotState> state_;
};

/// The description of a mount, which the inspection of a service shows.
struct MountInfo {
    /// The mount path.
    std::string path;
    /// The operations of the mount. Empty if the mounted handler does not describe its operations.
    std::vector<Operation> operations;
};

/// A service: mounts behind an `IKovaApi` that answers every request and can be stopped.
///
/// Created by `ServiceBuilder`. It has the guarantees of `Calls`: exactly one end for each request,
/// even if a handler sends none, and request handles that are never reused. Any thread may call any
/// function, also inside a callback.
class KOVA_KIT_API Service : public IKovaApi {
public:
    /// Used only by the kit.
    explicit Service(std::unique_ptr<detail::ServiceParts> parts) noexcept;
    /// Stops the service without a time limit and destroys the handlers.
    ~Service() override;
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Sends a request. Always takes ownership of the response handler. After `stop` the answer is
    /// 503.
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override;
    /// Cancels a pending request. A handle of a request that has ended is ignored.
    void cancelRequest(void* handle) override;

    /// Answers new requests with 503, ends pending ones with 503, and waits until no handler is
    /// running, for at most `limit`. Returns the calls and jobs that are still running. May be
    /// called again. If a function of a handler calls `stop`, `stop` does not wait for the current
    /// call of that function.
    std::vector<CallInfo> stop(std::chrono::milliseconds limit);
    /// Returns the requests that have not ended, and the jobs that are running.
    std::vector<CallInfo> pending() const;

    /// @{
    /// Return the name and the version that were set with `ServiceBuilder`. The references are
    /// valid as long as the service exists.
    const std::string& name() const noexcept;
    const std::string& version() const noexcept;
    /// @}
    /// Returns the mounts, in ascending order of their paths.
    std::vector<MountInfo> mounts() const;

private:
    std::unique_ptr<detail::ServiceParts> parts_;
};

/// Builds a `Service` from its mounts.
///
/// Paths are checked when they are mounted: they begin with "/", and a "/" at the end is removed.
/// `mount` throws `std::invalid_argument` for "", for a path that does not begin with "/", that has
/// an empty segment or a segment "." or "..", that is reserved ("/.kova"), or at which something is
/// already mounted. Only one thread at a time may use a builder.
///
///     const auto build = [](std::unique_ptr<kova::IResourceHandler> legacy) {
///         kova::kit::ServiceBuilder builder;
///         builder.name("player").version("1.2.0").mount("/legacy", std::move(legacy));
///         return builder.build();
///     };
class KOVA_KIT_API ServiceBuilder {
public:
    ServiceBuilder();
    ~ServiceBuilder();
    ServiceBuilder(const ServiceBuilder&) = delete;
    ServiceBuilder& operator=(const ServiceBuilder&) = delete;

    /// @{
    /// Sets the name and the version of the service, which inspection shows.
    ServiceBuilder& name(std::string name);
    ServiceBuilder& version(std::string version);
    /// @}
    /// Mounts a `Resource`, an `Observable` or another mountable object. The object may be
    /// destroyed at any time, and may be mounted several times.
    ServiceBuilder& mount(const std::string& path, const Mountable& mountable);
    /// Mounts a resource handler, which the service then owns. If the handler throws, the request
    /// is answered with 500.
    ServiceBuilder& mount(const std::string& path, std::unique_ptr<IResourceHandler> handler);
    /// Mounts another service, which must outlive the new service. The mounted service gets its
    /// requests with the path below the mount path.
    ServiceBuilder& mount(const std::string& path, IKovaApi& service);
    /// Mounts a `Slot`. Its handler can be set, exchanged and removed while the service is running.
    Slot slot(const std::string& path);
    /// Sets the function that is called if a handler throws. Its argument is an error with the code
    /// 500 and the text of the report. Its result is the error that the client gets. Several
    /// threads may call the function at the same time. An exception that leaves the function ends
    /// the process.
    ServiceBuilder& onUncaught(std::function<Error(const Error&)> function);

    /// Mounts inspection at "/.kova" with these options. The list of mount paths that the service
    /// returns for "/" does not contain "/.kova".
    ServiceBuilder& inspect(InspectionOptions options = {});

    /// Returns the service. If nothing is mounted at "/", the service answers "retrieve" of "/"
    /// with the list of mount paths. The builder is empty afterwards.
    std::unique_ptr<Service> build();

private:
    std::unique_ptr<detail::ServiceParts> parts_;
};

}  // namespace kova::kit
