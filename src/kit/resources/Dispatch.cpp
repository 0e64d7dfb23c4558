#include "kova/kit/resources/Dispatch.h"

#include <utility>

#include "resources/Exchange.h"

namespace kova::kit::detail {

// The copy of a request whose function answers later.
struct Dispatch::Later {
    explicit Later(const Ask& original)
        : request(original.request()), ask(request, original.path()) {}

    const Request request;
    const Ask ask;
};

Dispatch::Dispatch(const Ask& ask, Captures captures, const std::string& format,
                   std::unique_ptr<IResponseHandler<Response>> handler,
                   const std::shared_ptr<ExchangeTable>& table) noexcept
    : ask_(&ask),
      captures_(captures),
      format_(format),
      handler_(std::move(handler)),
      table_(&table),
      job_(nullptr) {}

Dispatch::Dispatch(const Ask& ask, Captures captures, const std::string& format,
                   std::shared_ptr<Exchange> exchange, Job& job) noexcept
    : ask_(&ask),
      captures_(captures),
      format_(format),
      exchange_(std::move(exchange)),
      job_(&job) {}

Dispatch::~Dispatch() = default;

void Dispatch::answer(unsigned short code, const Result<Payload>& value) noexcept {
    respond(value ? Response(code, *value) : value.error().toResponse());
}

void Dispatch::respond(const Response& response) noexcept {
    if (response.isErrorResponse()) {
        if (exchange_) {
            exchange_->fail(response);
        } else if (const auto handler = std::move(handler_)) {
            handler->onError(response);
        }
        return;
    }
    if (exchange_) {
        exchange_->last(response);
        return;
    }
    if (handler_) {
        handler_->onNext(response);
    }
    done();
}

void Dispatch::done() noexcept {
    if (exchange_) {
        exchange_->complete();
    } else if (const auto handler = std::move(handler_)) {
        handler->onCompleted();
    }
}

void Dispatch::fail(const Error& error) noexcept {
    respond(error.toResponse());
}

std::shared_ptr<Exchange> Dispatch::exchangeForLater() {
    if (!exchange_) {
        later_ = std::make_unique<Later>(*ask_);
        ask_ = &later_->ask;
        exchange_ = std::make_shared<Exchange>(*table_, std::move(handler_));
    }
    Exchange::Serving::set(*exchange_);
    return exchange_;
}

}  // namespace kova::kit::detail
