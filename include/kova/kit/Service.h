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

/// A mount whose handler can be exchanged while the service runs. Without a handler its requests
/// are answered with 503.
///
/// A handle of shared state: copies mean the same mount. Any thread may call any function.
class KOVA_KIT_API Slot {
public:
    /// Not for users.
    explicit Slot(std::shared_ptr<detail::SlotState> state) noexcept;

    /// @{
    /// Serves requests with a handler. The former one is removed as by `clear`. `mountable` may be
    /// destroyed at any time.
    void set(std::unique_ptr<IResourceHandler> handler);
    void set(const Mountable& mountable);
    /// @}
    /// Removes the handler: ends its pending requests with 503 and waits until none of its
    /// functions runs, then destroys it. Inside one of its functions it does not wait; the last
    /// function that returns destroys the handler then.
    void clear();

private:
    std::shared_ptr<detail::SlotState> state_;
};

/// A mount of a service, for those who look inside.
struct MountInfo {
    /// The mount path.
    std::string path;
    /// What it offers. Empty for a handler that does not say it.
    std::vector<Operation> operations;
};

/// A service: mounts behind an `IKovaApi` that answers every request and stops cleanly.
///
/// `ServiceBuilder` makes it. It gives its callers what `Calls` promises: exactly one end for each
/// request, also if a handler forgets it, and handles that are never used twice. Any thread may
/// call any function, also from inside a callback.
class KOVA_KIT_API Service : public IKovaApi {
public:
    /// Not for users.
    explicit Service(std::unique_ptr<detail::ServiceParts> parts) noexcept;
    /// Stops without a limit of time and destroys the handlers.
    ~Service() override;
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Sends a request, whose handler always changes its owner. After `stop` the answer is 503.
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override;
    /// Cancels a pending request. A handle of a request that has ended is ignored.
    void cancelRequest(void* handle) override;

    /// Refuses new requests, ends pending ones with 503, and waits until no handler runs, for at
    /// most `limit`. Returns what still runs. May be called again. Inside a function of a handler
    /// it does not wait for this one.
    std::vector<CallInfo> stop(std::chrono::milliseconds limit);
    /// Returns the requests that have not ended, and the jobs that run.
    std::vector<CallInfo> pending() const;

    /// @{
    /// Return what the builder was told. The references live as long as the service.
    const std::string& name() const noexcept;
    const std::string& version() const noexcept;
    /// @}
    /// Returns the mounts, in ascending order of their paths.
    std::vector<MountInfo> mounts() const;

private:
    std::unique_ptr<detail::ServiceParts> parts_;
};

/// Puts a service together.
///
/// Paths are checked when they are mounted: they begin with "/", and a "/" at the end is dropped.
/// `mount` throws `std::invalid_argument` for "", for a path that does not begin with "/", has an
/// empty segment, "." or "..", is reserved ("/.kova") or is mounted already. One thread at a time
/// may use it.
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
    /// Names the service and its version, for those who look inside.
    ServiceBuilder& name(std::string name);
    ServiceBuilder& version(std::string version);
    /// @}
    /// Mounts a `Resource`, an `Observable` or the like, which may be destroyed at any time. It may
    /// be mounted several times.
    ServiceBuilder& mount(const std::string& path, const Mountable& mountable);
    /// Mounts a handler. The service owns it. An exception of the handler is answered with 500.
    ServiceBuilder& mount(const std::string& path, std::unique_ptr<IResourceHandler> handler);
    /// Mounts a service, which must outlive the new one. It gets the path below the mount path.
    ServiceBuilder& mount(const std::string& path, IKovaApi& service);
    /// Mounts a place for a handler that comes and goes.
    Slot slot(const std::string& path);
    /// Sets the function that is called for an exception of a handler, with 500 and the text of the
    /// report. It returns the error that the client gets. Several threads may call it at once. An
    /// exception that leaves it ends the process.
    ServiceBuilder& onUncaught(std::function<Error(const Error&)> function);

    /// Mounts what `InspectionOptions` describes at "/.kova". The list of the mount paths at "/"
    /// does not show it.
    ServiceBuilder& inspect(InspectionOptions options = {});

    /// Returns the service. Without a mount at "/" it answers "retrieve" there with the list of the
    /// mount paths. The builder is empty afterwards.
    std::unique_ptr<Service> build();

private:
    std::unique_ptr<detail::ServiceParts> parts_;
};

}  // namespace kova::kit
