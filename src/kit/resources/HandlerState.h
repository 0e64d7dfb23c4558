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

/// A mountable object in a slot. When it leaves the slot, only its requests through the slot end:
/// it may be mounted elsewhere, or come back.
class SlotTarget final : public Served {
public:
    explicit SlotTarget(std::shared_ptr<Served> target) noexcept : target_(std::move(target)) {}

    const std::shared_ptr<Served>& target() const noexcept { return target_; }
    std::vector<Operation> operations() const override { return target_->operations(); }
    /// Waits for the jobs that were started through the slot.
    void releaseOwned() noexcept override;

protected:
    std::shared_ptr<Exchange> serve(Incoming incoming) override;

private:
    std::shared_ptr<MountState> mountBelow(const std::shared_ptr<MountState>& parent);

    const std::shared_ptr<Served> target_;
    std::mutex mutex_;
    std::shared_ptr<MountState> mount_;
};

/// Closes a resource, waits until none of its functions runs, and releases it.
void remove(Served& served);

/// The handler of a slot, which can be exchanged.
class SlotState {
public:
    /// Exchanges the handler, and closes and waits for the former one. Null for none.
    void set(std::shared_ptr<Served> next);
    /// Does the same with a mountable object, unless it is in the slot already.
    void setTarget(const std::shared_ptr<Served>& target);
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
