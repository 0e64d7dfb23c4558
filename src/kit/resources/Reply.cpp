#include "kova/kit/Reply.h"

#include "resources/Exchange.h"

namespace kova::kit {

ReplyBase::ReplyBase(std::shared_ptr<detail::Exchange> exchange, std::string format) noexcept
    : exchange_(std::move(exchange)), format_(std::move(format)) {}

ReplyBase::ReplyBase(ReplyBase&& other) noexcept
    : exchange_(std::move(other.exchange_)), format_(std::move(other.format_)) {}

ReplyBase& ReplyBase::operator=(ReplyBase&& other) noexcept {
    if (this != &other) {
        // The destructor of `former` ends the former request.
        const ReplyBase former(std::move(*this));
        exchange_ = std::move(other.exchange_);
        format_ = std::move(other.format_);
    }
    return *this;
}

ReplyBase::~ReplyBase() {
    if (exchange_) {
        exchange_->abandon();
    }
}

bool ReplyBase::fail(const Error& error) noexcept {
    return exchange_ && exchange_->fail(error.toResponse());
}

bool ReplyBase::isOpen() const noexcept {
    return exchange_ && exchange_->isOpen();
}

void ReplyBase::onCancel(std::function<void()> function) {
    if (exchange_) {
        exchange_->onCancel(std::move(function));
    }
}

bool ReplyBase::send(unsigned short code, const Result<Payload>& value) noexcept {
    if (!value) {
        fail(value.error());
        return false;
    }
    return exchange_ && exchange_->next(Response(code, *value));
}

bool ReplyBase::sendLast(unsigned short code, const Result<Payload>& value) noexcept {
    // Keeps the exchange alive, because a callback of the client may destroy this object.
    const std::shared_ptr<detail::Exchange> exchange = exchange_;
    if (!exchange) {
        return false;
    }
    return value ? exchange->last(Response(code, *value))
                 : exchange->fail(value.error().toResponse());
}

bool ReplyBase::complete() noexcept {
    return exchange_ && exchange_->complete();
}

}  // namespace kova::kit
