#pragma once

#include <memory>
#include <mutex>

#include "kova/core/IResourceHandler.h"
#include "resources/Served.h"

namespace kova::kit::detail {

/// A resource handler of the user, with the gate and the pending requests of the kit.
class HandlerState final : public Served {
public:
    explicit HandlerState(std::unique_ptr<IResourceHandler> handler) noexcept
        : handler_(std::move(handler)) {}

    std::vector<Operation> operations() const override { return {}; }
    /// Destroys the handler on the current thread, because a thread that still has a reference to
    /// this object may be one that the handler joins.
    void releaseOwned() noexcept override;

protected:
    std::shared_ptr<Exchange> serve(Incoming incoming) override;

private:
    void cancel(void* handle) noexcept;

    /// Guards `handler_` against `releaseOwned`; `serve` runs before it.
    std::mutex mutex_;
    std::unique_ptr<IResourceHandler> handler_;
};

/// Closes a resource, waits until none of its functions runs, and releases it.
void remove(Served& served);

/// The handler of a slot, which can be exchanged.
class SlotState {
public:
    /// Exchanges the handler, and closes and waits for the former one. Null for none.
    void set(std::shared_ptr<Served> next);
    /// Returns the handler, or null.
    std::shared_ptr<Served> get() const;

private:
    mutable std::mutex mutex_;
    std::shared_ptr<Served> present_;
};

/// Returns a resource handler that passes its requests on to a slot.
std::unique_ptr<IResourceHandler> makeHandler(std::shared_ptr<SlotState> slot,
                                              std::shared_ptr<MountState> mount);

/// Returns a resource handler that passes its requests on to a service, which must outlive it. The
/// request has the path below the mount path.
std::unique_ptr<IResourceHandler> makeHandler(IKovaApi& service);

}  // namespace kova::kit::detail
