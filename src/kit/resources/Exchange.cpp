#include "resources/Exchange.h"

#include <atomic>
#include <exception>
#include <utility>

#include "kova/core/StatusCodes.h"

namespace kova::kit::detail {

namespace {

thread_local Exchange::Serving* innermost = nullptr;

Response unanswered() {
    return Response::createErrorResponse(statuscodes::INTERNAL_SERVER_ERROR,
                                         "the service did not answer the request");
}

std::uintptr_t newHandle() noexcept {
    static std::atomic<std::uintptr_t> last{0};
    return ++last;
}

// Sends the end and destroys the handler.
void sendEnd(ResponseHandler handler, Response const* error) noexcept {
    if (handler && error != nullptr) {
        handler->onError(*error);
    } else if (handler) {
        handler->onCompleted();
    }
}

}  // namespace

// --- Table ---------------------------------------------------------------------------------------

void* ExchangeTable::add(const std::shared_ptr<Exchange>& exchange) {
    const std::uintptr_t handle = newHandle();
    const std::lock_guard<std::mutex> guard(mutex_);
    // If the request ends after this check, the thread that ends it removes the entry, because it
    // sets the flag before it locks the mutex.
    if (!exchange->isOpen()) {
        return nullptr;
    }
    exchanges_.emplace(handle, exchange);
    exchange->handle_ = handle;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is only compared
    return reinterpret_cast<void*>(handle);
}

void ExchangeTable::remove(const Exchange& exchange) noexcept {
    std::shared_ptr<Exchange> last;  // destroyed without the lock
    const std::lock_guard<std::mutex> guard(mutex_);
    last = takeLocked(exchange.handle_);
}

void ExchangeTable::cancel(void* handle) noexcept {
    std::shared_ptr<Exchange> exchange;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        exchange = takeLocked(reinterpret_cast<std::uintptr_t>(handle));
    }
    if (exchange) {
        exchange->cancel(false);
    }
}

// Removes and returns the request with the handle, or null. The lock must be held.
std::shared_ptr<Exchange> ExchangeTable::takeLocked(std::uintptr_t handle) noexcept {
    const auto found = exchanges_.find(handle);
    if (found == exchanges_.end()) {
        return nullptr;
    }
    std::shared_ptr<Exchange> exchange = std::move(found->second);
    exchanges_.erase(found);
    return exchange;
}

std::shared_ptr<Exchange> ExchangeTable::find(void* handle) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto found = exchanges_.find(reinterpret_cast<std::uintptr_t>(handle));
    return found != exchanges_.end() ? found->second : nullptr;
}

std::vector<std::shared_ptr<Exchange>> ExchangeTable::all() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    std::vector<std::shared_ptr<Exchange>> result;
    result.reserve(exchanges_.size());
    for (const auto& entry : exchanges_) {
        result.push_back(entry.second);
    }
    return result;
}

std::size_t ExchangeTable::size() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return exchanges_.size();
}

// --- Exchange ------------------------------------------------------------------------------------

Exchange::~Exchange() {
    if (isOpen()) {
        const Response error = unanswered();
        sendEnd(std::move(handler_), &error);
    }
}

Exchange::Serving::Serving(Exchange const* exchange) noexcept
    : exchange_(exchange), outer_(innermost) {
    innermost = this;
}

Exchange::Serving::~Serving() {
    innermost = outer_;
}

void Exchange::Serving::set(const Exchange& exchange) noexcept {
    if (innermost != nullptr) {
        innermost->exchange_ = &exchange;
    }
}

bool Exchange::isServedHere() const noexcept {
    Serving const* at = innermost;
    while (at != nullptr && at->exchange_ != this) {
        at = at->outer_;
    }
    return at != nullptr;
}

void Exchange::abandon() noexcept {
    if (std::uncaught_exceptions() == 0 || !isServedHere()) {
        fail(unanswered());
    }
}

bool Exchange::next(const Response& value) noexcept {
    const std::shared_ptr<Exchange> self = shared_from_this();
    return send(value, false);
}

bool Exchange::last(const Response& value) noexcept {
    const std::shared_ptr<Exchange> self = shared_from_this();
    return send(value, true);
}

bool Exchange::send(const Response& value, bool isLast) noexcept {
    std::uint8_t idle = 0;
    if (!phase_.compare_exchange_strong(idle, SENDING, std::memory_order_acq_rel)) {
        return false;
    }
    return afterValue(isLast, handler_->onNext(value));
}

// Sends the end that must follow a value, if there is one. Returns the result for `next` and
// `last`.
bool Exchange::afterValue(bool isLast, bool hasEnough) noexcept {
    std::uint8_t sending = SENDING;
    if (!hasEnough && !isLast &&
        phase_.compare_exchange_strong(sending, 0, std::memory_order_acq_rel)) {
        return true;
    }
    ResponseHandler handler;
    std::optional<Response> error;
    bool isCompleted = false;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if ((phase_.exchange(OVER, std::memory_order_acq_rel) & OVER) == 0) {
            isStopped_ = !isLast && tellsEnough_;
            endsAfterValue_ = true;
        }
        handler = std::move(handler_);
        error = std::move(errorAfterValue_);
        isCompleted = endsAfterValue_ && !error;
    }
    if (error || isCompleted) {
        sendEnd(std::move(handler), error ? &*error : nullptr);
    }
    handler.reset();
    leaveTable();
    tellSender();
    return isLast && isCompleted;
}

bool Exchange::end(Response const* error) noexcept {
    const std::shared_ptr<Exchange> self = shared_from_this();
    ResponseHandler handler;
    SenderFunctions functions;  // not called, because the sender itself has ended the request
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!setOverLocked(handler)) {
            return false;
        }
        if (!handler) {
            keepEndLocked(error);
        }
        functions = takeFunctionsLocked();
    }
    sendEnd(std::move(handler), error);
    leaveTable();
    return true;
}

// Marks the request as ended. Returns false if it had already ended. Moves the response handler to
// `handler` if no thread is using it.
bool Exchange::setOverLocked(ResponseHandler& handler) noexcept {
    const std::uint8_t former = phase_.fetch_or(OVER, std::memory_order_acq_rel);
    if (former == 0) {
        handler = std::move(handler_);
    }
    return (former & OVER) == 0;
}

// Stores the end, so that the thread that is sending a value sends the end afterwards.
void Exchange::keepEndLocked(Response const* error) noexcept {
    endsAfterValue_ = true;
    if (error != nullptr) {
        errorAfterValue_ = *error;
    }
}

void Exchange::cancel(bool isInTable) noexcept {
    const std::shared_ptr<Exchange> self = shared_from_this();
    ResponseHandler handler;
    SenderFunctions functions;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!setOverLocked(handler)) {
            return;
        }
        isStopped_ = true;
        functions = takeFunctionsLocked();
    }
    handler.reset();
    if (isInTable) {
        leaveTable();
    }
    functions.call();
}

bool Exchange::abort(const Response& error) noexcept {
    const std::shared_ptr<Exchange> self = shared_from_this();
    ResponseHandler handler;
    SenderFunctions functions;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!setOverLocked(handler)) {
            return false;
        }
        isStopped_ = true;
        if (!handler) {
            keepEndLocked(&error);
        }
        functions = takeFunctionsLocked();
    }
    sendEnd(std::move(handler), &error);
    leaveTable();
    functions.call();
    return true;
}

void Exchange::set(Function& member, Function function) {
    const std::shared_ptr<Exchange> self = shared_from_this();
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        member.swap(function);
    }
    function = nullptr;  // destroys the former function, without the lock
    if (!isOpen()) {
        tellSender();
    }
}

void Exchange::leaveTable() noexcept {
    if (table_) {
        table_->remove(*this);
    }
}

// Releases the sender's functions after the end of the request. Calls them first if the sender did
// not end the request itself.
void Exchange::tellSender() noexcept {
    SenderFunctions functions;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        functions = takeFunctionsLocked();
    }
    functions.call();
}

Exchange::SenderFunctions Exchange::takeFunctionsLocked() noexcept {
    return {std::exchange(onStop_, nullptr), std::exchange(onCancel_, nullptr), isStopped_};
}

void Exchange::SenderFunctions::call() const noexcept {
    for (Function const* const function : {&onStop, &onCancel}) {
        if (isStopped && *function) {
            (*function)();
        }
    }
}

}  // namespace kova::kit::detail
