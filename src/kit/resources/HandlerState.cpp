#include "resources/HandlerState.h"

#include <string>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/kit/Calls.h"
#include "resources/Forward.h"
#include "util/config/Dictionary.h"

namespace kova::kit::detail {

namespace {

class SlotHandler final : public IResourceHandler {
public:
    SlotHandler(std::shared_ptr<SlotState> slot, std::shared_ptr<MountState> mount)
        : slot_(std::move(slot)), mount_(std::move(mount)) {}

    void* actionRequest(const Request& request, ResponseHandler&& handler,
                        const std::string& resourcePath) override {
        if (const std::shared_ptr<Served> present = slot_->get()) {
            return present->actionRequest(request, std::move(handler), resourcePath, mount_);
        }
        handler->onError(Response::createErrorResponse(statuscodes::SERVICE_UNAVAILABLE,
                                                       "nothing is mounted here now"));
        return nullptr;
    }
    // Cancels a request at the current handler. A former handler needs no cancellation, because all
    // its requests have ended.
    void cancelRequest(void* handle) override {
        if (const std::shared_ptr<Served> present = slot_->get()) {
            present->cancelRequest(handle);
        }
    }

private:
    const std::shared_ptr<SlotState> slot_;
    const std::shared_ptr<MountState> mount_;
};

// The handler of a mounted service. Requests go through `Calls`, so no handle is used twice.
class ServiceHandler final : public IResourceHandler {
public:
    explicit ServiceHandler(IKovaApi& service) : calls_(service) {}

    void* actionRequest(const Request& request, ResponseHandler&& handler,
                        const std::string& resourcePath) override {
        return calls_.actionRequest(below(request, resourcePath), std::move(handler));
    }
    void cancelRequest(void* handle) override { calls_.cancelRequest(handle); }

private:
    static Request below(const Request& request, const std::string& path) {
        const util::config::Value& header = request.getHeader();
        if (!header.isDictionary()) {
            return {request.getCommand(), "/" + path, request.getPayload()};
        }
        Request::Header copy(static_cast<util::config::Dictionary*>(header.clone()));
        return {request.getCommand(), "/" + path, request.getPayload(), copy};
    }

    Calls calls_;
};

}  // namespace

std::shared_ptr<Exchange> HandlerState::serve(Incoming incoming) {
    const std::string what = incoming.ask.command() + " '" + incoming.ask.request().getPath() + "'";
    std::shared_ptr<Exchange> exchange = makeExchange(std::move(incoming.handler));
    exchange->leaveEnoughToSender();
    const Exchange::Serving serving(exchange.get());
    void* handle = nullptr;
    try {
        handle =
            handler_->actionRequest(incoming.ask.request(), std::make_unique<Forward>(exchange),
                                    std::string(incoming.ask.path()));
    } catch (...) {
        exchange->fail(uncaught(what, incoming.mount->onUncaught()).toResponse());
    }
    if (handle != nullptr) {
        exchange->onCancel([weak = weak_from_this(), handle] {
            if (const std::shared_ptr<Served> self = weak.lock()) {
                static_cast<HandlerState&>(*self).cancel(handle);
            }
        });
    }
    return exchange;
}

void HandlerState::cancel(void* handle) noexcept {
    const Gate::Entry entry(gate(), true);
    IResourceHandler* handler = nullptr;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        handler = handler_.get();
    }
    if (handler != nullptr) {
        handler->cancelRequest(handle);
    }
}

void HandlerState::releaseOwned() noexcept {
    if (gate().isInside()) {
        return;
    }
    std::unique_ptr<IResourceHandler> handler;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        handler.swap(handler_);
    }
    waitUntilLeft();  // waits for cancellations that began before the swap
}

std::shared_ptr<MountState> SlotTarget::mountBelow(const std::shared_ptr<MountState>& parent) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (!mount_) {
        mount_ = std::make_shared<MountState>(parent->onUncaught(), parent);
    }
    return mount_;
}

std::shared_ptr<Exchange> SlotTarget::serve(Incoming incoming) {
    std::shared_ptr<Exchange> exchange = makeExchange(std::move(incoming.handler));
    forward(target_, exchange, incoming.ask, mountBelow(incoming.mount));
    return exchange;
}

void SlotTarget::releaseOwned() noexcept {
    std::shared_ptr<MountState> mount;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        mount = mount_;
    }
    if (mount) {
        mount->gate().close();
        mount->gate().waitUntilLeft();
    }
}

void remove(Served& served) {
    served.refuse();
    served.waitUntilLeft();
    served.releaseOwned();
}

void SlotState::set(std::shared_ptr<Served> next) {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (present_ == next) {
            return;
        }
        present_.swap(next);
    }
    if (next) {
        remove(*next);
    }
}

void SlotState::setTarget(const std::shared_ptr<Served>& target) {
    const auto present = std::dynamic_pointer_cast<SlotTarget>(get());
    if (!present || present->target() != target) {
        set(std::make_shared<SlotTarget>(target));
    }
}

std::shared_ptr<Served> SlotState::get() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return present_;
}

std::unique_ptr<IResourceHandler> makeHandler(std::shared_ptr<SlotState> slot,
                                              std::shared_ptr<MountState> mount) {
    return std::make_unique<SlotHandler>(std::move(slot), std::move(mount));
}

std::unique_ptr<IResourceHandler> makeHandler(IKovaApi& service) {
    return std::make_unique<ServiceHandler>(service);
}

}  // namespace kova::kit::detail
