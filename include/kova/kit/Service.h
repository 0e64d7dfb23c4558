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
    /// Used only by the kit.
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

/// A mount of a service, as inspection of the service shows it.
struct MountInfo {
    /// The mount path.
    std::string path;
    /// The operations of the mount. Empty for a handler that does not describe its operations.
    std::vector<Operation> operations;
};

/// A service: mounts behind an `IKovaApi` that answers every request and can be stopped.
///
/// Created by `ServiceBuilder`. It has the guarantees of `Calls`: exactly one end for each request,
/// even if a handler sends none, and handles that are never reused. Any thread may call any
/// function, also inside a callback.
class KOVA_KIT_API Service : public IKovaApi {
public:
    /// Used only by the kit.
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

    /// Answers new requests with 503, ends pending ones with 503, and waits until no handler is
    /// running, for at most `limit`. Returns the calls and jobs that are still running. May be
    /// called again. If a function of a handler calls it, it does not wait for the current call of
    /// that function.
    std::vector<CallInfo> stop(std::chrono::milliseconds limit);
    /// Returns the requests that have not ended, and the jobs that run.
    std::vector<CallInfo> pending() const;

    /// @{
    /// Return the name and the version that were given to the builder. The references live as long
    /// as the service.
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
    /// Sets the name and the version of the service, which inspection shows.
    ServiceBuilder& name(std::string name);
    ServiceBuilder& version(std::string version);
    /// @}
    /// Mounts a `Resource`, an `Observable` or another mountable object. The object may be
    /// destroyed at any time, and may be mounted several times.
    ServiceBuilder& mount(const std::string& path, const Mountable& mountable);
    /// Mounts a handler. The service owns it. An exception of the handler is answered with 500.
    ServiceBuilder& mount(const std::string& path, std::unique_ptr<IResourceHandler> handler);
    /// Mounts a service, which must outlive the new one. It gets the path below the mount path.
    ServiceBuilder& mount(const std::string& path, IKovaApi& service);
    /// Mounts a slot, whose handler can be set, exchanged and removed while the service is running.
    Slot slot(const std::string& path);
    /// Sets the function that is called for an exception of a handler, with 500 and the text of the
    /// report. It returns the error that the client gets. Several threads may call it at once. An
    /// exception that leaves it ends the process.
    ServiceBuilder& onUncaught(std::function<Error(const Error&)> function);

    /// Mounts inspection at "/.kova" with these options. The list of the mount paths at "/" does
    /// not contain it.
    ServiceBuilder& inspect(InspectionOptions options = {});

    /// Returns the service. Without a mount at "/" it answers "retrieve" there with the list of the
    /// mount paths. The builder is empty afterwards.
    std::unique_ptr<Service> build();

private:
    std::unique_ptr<detail::ServiceParts> parts_;
};

}  // namespace kova::kit
