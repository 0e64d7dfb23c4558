#include "streams/Hub.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/kit/Answer.h"
#include "kova/kit/Command.h"
#include "streams/Refusals.h"

namespace kova::kit::detail {

namespace {

std::optional<StreamFormat> formatOf(const std::string& mimeType) {
    switch (mimetypes::typename2id(mimeType)) {
        case mimetypes::JSON:
            return StreamFormat::json;
        case mimetypes::AXOBin:
            return StreamFormat::binary;
        default:
            return std::nullopt;
    }
}

void answer(ResponseHandler& handler, const Result<Response>& result) {
    const ResponseHandler own = std::move(handler);
    if (!own) {
        return;  // an exchange has the handler and answers the request
    }
    if (!result) {
        own->onError(result.error().toResponse());
        return;
    }
    own->onNext(*result);
    own->onCompleted();
}

}  // namespace

Hub::Hub(std::shared_ptr<StreamSource> source, const StreamQueue& queue)
    : source_(std::move(source)) {
    watchers_.queue = queue;
}

// --- Requests ------------------------------------------------------------------------------------

std::shared_ptr<Exchange> Hub::serve(Incoming incoming) {
    ResponseHandler handler = std::move(incoming.handler);
    try {
        return dispatch(incoming, handler);
    } catch (...) {
        const Error error =
            uncaught(incoming.ask.command() + " '" + incoming.ask.request().getPath() + "'",
                     incoming.mount->onUncaught());
        answer(handler, error);
        return nullptr;
    }
}

std::shared_ptr<Exchange> Hub::dispatch(const Incoming& incoming, ResponseHandler& handler) {
    const Ask& ask = incoming.ask;
    const std::optional<StreamFormat> format = formatOf(ask.accept());
    if (ask.command() == command::retrieve && !format) {
        answer(handler, unknownFormat(ask.accept()));
    } else if (ask.command() == command::retrieve && ask.wantsStream() && ask.path().empty()) {
        return watch(ask, handler, *format);
    } else if (ask.command() == command::retrieve) {
        answer(handler, retrieve(ask, *format));
    } else if (ask.command() == command::update && ask.path().empty() &&
               source_->isWritable(*this)) {
        const Result<void> written = source_->write(*this, ask.request().getPayload());
        answer(handler, written ? Result<Response>(Response(statuscodes::OK)) : written.error());
    } else {
        answer(handler, refuseCommand(ask));
    }
    return nullptr;
}

std::shared_ptr<Exchange> Hub::watch(const Ask& ask, ResponseHandler& handler,
                                     StreamFormat format) {
    Result<std::shared_ptr<Change>> fresh = source_->read();
    if (!fresh) {
        answer(handler, fresh.error());
        return nullptr;
    }
    Watcher watcher;
    watcher.exchange = makeExchange(std::move(handler));
    watcher.format = format;
    watcher.clientId = ask.clientId();
    watcher.peer = ask.peer();
    std::shared_ptr<Exchange> exchange = watcher.exchange;
    const auto self = std::static_pointer_cast<Hub>(shared_from_this());
    bool mustSubmit = false;
    watcher.id = ++lastId_;
    exchange->onCancel([hub = std::weak_ptr<Hub>(self), id = watcher.id] {
        if (const std::shared_ptr<Hub> locked = hub.lock()) {
            locked->remove(id);
        }
    });
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        watcher.snapshot = *fresh ? *std::move(fresh) : snapshotLocked();
        watchers_.add(std::move(watcher));
        mustSubmit = watchers_.hasReady() && !isClosed_ && !std::exchange(isScheduled_, true);
    }
    if (mustSubmit) {
        DeliveryPool::instance().submit(self);
    }
    source_->watched();
    return exchange;
}

Result<Response> Hub::retrieve(const Ask& ask, StreamFormat format) {
    std::shared_ptr<Change> value;
    if (ask.path().empty()) {
        Result<std::shared_ptr<Change>> fresh = source_->read();
        if (!fresh) {
            return fresh.error();
        }
        value = *std::move(fresh);
    }
    if (!value) {
        const std::lock_guard<std::mutex> guard(mutex_);
        value = ask.path().empty() ? source_->whole() : source_->element(ask.path());
    }
    if (!value) {
        return ask.path().empty() ? streamOnly(ask) : notFound(ask);
    }
    const Change::Form& form = value->form(format);
    if (form.failed) {
        return Error::of(form.response);
    }
    return Response(statuscodes::OK, form.response.getPayload());
}

Error Hub::refuseCommand(const Ask& ask) const {
    std::string supported;
    for (const Operation& operation : operations()) {
        if (operation.path.empty() == ask.path().empty()) {
            supported += (supported.empty() ? "" : ", ") + operation.command;
        }
    }
    return supported.empty() ? notFound(ask) : commandNotSupported(ask, supported);
}

std::vector<Operation> Hub::operations() const {
    return source_->operations(*this);
}

void Hub::stopping() noexcept {
    const std::lock_guard<std::mutex> guard(mutex_);
    isClosed_ = true;
    space_.notify_all();
}

void Hub::remove(std::uint64_t id) {
    Garbage garbage;
    const std::lock_guard<std::mutex> guard(mutex_);
    watchers_.remove(id, garbage);
    wakeSetters();
}

// --- Data ----------------------------------------------------------------------------------------

bool Hub::publish(std::shared_ptr<Change> change, bool (*apply)(void*), void* user) {
    std::vector<std::shared_ptr<Exchange>> tooSlow;
    Garbage garbage;
    bool mustSubmit = false;
    {
        Lock lock(mutex_);
        if (watchers_.queue.whenFull == Wait) {
            tooSlow = waitForSpace(lock);
        }
        if (!apply(user)) {
            return false;
        }
        if (snapshot_) {
            garbage.add(std::move(snapshot_));
        }
        watchers_.push(std::move(change), garbage);
        mustSubmit = watchers_.hasReady() && !isClosed_ && !std::exchange(isScheduled_, true);
    }
    if (mustSubmit) {
        DeliveryPool::instance().submit(std::static_pointer_cast<Hub>(shared_from_this()));
    }
    for (const std::shared_ptr<Exchange>& exchange : tooSlow) {
        exchange->abort(disconnected("the receiver did not keep up in time"));
    }
    return true;
}

// Waits until there is space for a change. Returns the watchers whose queues still have no space
// after the time set with `StreamOptions::patience`.
std::vector<std::shared_ptr<Exchange>> Hub::waitForSpace(Lock& lock) {
    if (!watchers_.isFull() || DeliveryPool::isInside()) {
        return {};
    }
    ++waiting_;
    const bool hasSpace = space_.wait_for(lock, patience_, [this] {
        isNotified_ = isClosed_ || watchers_.isHalfEmpty();
        return isNotified_;
    });
    --waiting_;
    return hasSpace || !watchers_.isFull() ? std::vector<std::shared_ptr<Exchange>>()
                                           : watchers_.slowest();
}

void Hub::wakeSetters() noexcept {
    if (waiting_ != 0 && !isNotified_ && watchers_.isHalfEmpty()) {
        isNotified_ = true;
        space_.notify_all();
    }
}

void Hub::read(void (*function)(void*), void* user) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    function(user);
}

std::shared_ptr<Change> Hub::snapshotLocked() {
    if (!snapshot_) {
        snapshot_ = source_->snapshot();
    }
    return snapshot_;
}

// --- Options -------------------------------------------------------------------------------------

void Hub::setBound(std::size_t bound) {
    const std::lock_guard<std::mutex> guard(mutex_);
    watchers_.queue.bound = std::max<std::size_t>(bound, 1);
}

void Hub::setPolicy(WhenFull policy) {
    const std::lock_guard<std::mutex> guard(mutex_);
    watchers_.queue.whenFull = policy;
}

void Hub::setPatience(std::chrono::milliseconds patience) {
    const std::lock_guard<std::mutex> guard(mutex_);
    patience_ = patience;
}

StreamQueue Hub::queue() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return watchers_.queue;
}

std::vector<WatcherInfo> Hub::watchers() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return watchers_.infos(coarseTime(), source_->isIncremental());
}

bool Hub::isWatched() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return !watchers_.isEmpty();
}

}  // namespace kova::kit::detail
