#pragma once

#include <memory>
#include <mutex>

#include "kova/core/IResourceHandler.h"
#include "resources/Served.h"

namespace kova::kit::detail {

/// The shared state of a mounted resource handler of the user: the handler, its gate, and its
/// pending requests.
class HandlerState final : public Served {
public:
    explicit HandlerState(std::unique_ptr<IResourceHandler> handler) noexcept
        : handler_(std::move(handler)) {}

    std::vector<Operation> operations() const override { return {}; }
    /// Destroys the handler on the current thread. A thread that the handler joins may release the
    /// last reference to this object, so the destructor of this object must not destroy the
    /// handler.
    void releaseOwned() noexcept override;

protected:
    std::shared_ptr<Exchange> serve(Incoming incoming) override;

private:
    void cancel(void* handle) noexcept;

    /// Guards `handler_` in `cancel` against `releaseOwned`. `serve` never runs after
    /// `releaseOwned`.
    std::mutex mutex_;
    std::unique_ptr<IResourceHandler> handler_;
};

/// A mountable object in a slot. When the object is removed from the slot, only its requests
/// through the slot end. The object may also be mounted elsewhere, and may be set again.
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

/// Closes a resource, waits until none of its functions is running, and releases the data that it
/// owns.
void remove(Served& served);

/// The state of a slot: its handler, which can be exchanged.
class SlotState {
public:
    /// Sets the handler, or removes it if `next` is null. Closes the former handler and waits for
    /// it.
    void set(std::shared_ptr<Served> next);
    /// Sets a mountable object as the handler, unless it already is.
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
