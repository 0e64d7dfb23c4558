#include "resources/Served.h"

#include <utility>

#include "kova/core/Errors.h"
#include "kova/core/KovaException.h"
#include "kova/core/StatusCodes.h"
#include "zel/ErrorOutput.h"

namespace kova::kit {

Mountable::Mountable(std::shared_ptr<detail::Served> served) noexcept
    : served_(std::move(served)) {}

Mountable::~Mountable() {
    close();
}

void Mountable::close() noexcept {
    served_->refuse();
    served_->waitUntilLeft();
}

std::unique_ptr<IResourceHandler> Mountable::handler() const {
    return detail::makeHandler(served_, nullptr);
}

std::vector<Operation> Mountable::operations() const {
    return served_->operations();
}

namespace detail {

namespace {

// Passes requests on to the shared state, which may outlive the service.
class ServedHandler final : public IResourceHandler {
public:
    ServedHandler(std::shared_ptr<Served> served, std::shared_ptr<const OnUncaught> onUncaught)
        : served_(std::move(served)), onUncaught_(std::move(onUncaught)) {}

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string& resourcePath) override {
        return served_->actionRequest(request, std::move(handler), resourcePath, onUncaught_);
    }
    void cancelRequest(void* handle) override { served_->cancelRequest(handle); }

private:
    const std::shared_ptr<Served> served_;
    const std::shared_ptr<const OnUncaught> onUncaught_;
};

std::string describe(const Request& request, char const* what) {
    return request.getCommand() + " '" + request.getPath() + "': " + what;
}

// Reports an exception and returns the text of the report.
std::string report(const Request& request, char const* what) {
    const std::string text = describe(request, what);
    zel::ErrorOutput("src/kit/resources/Served", __LINE__, true)(
        errors::Error, errors::InternalServerError, text.c_str());
    return text;
}

}  // namespace

Served::~Served() = default;

void* Served::actionRequest(const Request& request, ResponseHandler handler,
                            const std::string& path,
                            const std::shared_ptr<const OnUncaught>& onUncaught) noexcept {
    const Gate::Entry entry(gate_);
    if (!entry) {
        handler->onError(closedResponse());
        return nullptr;
    }
    const Ask ask(request, path);
    const std::shared_ptr<Exchange> exchange = serve({ask, std::move(handler), onUncaught});
    if (!exchange) {
        return nullptr;
    }
    void* const handle = table_->add(exchange);
    if (gate_.isClosed()) {
        exchange->abort(closedResponse());
    }
    return handle;
}

void Served::cancelRequest(void* handle) noexcept {
    const Gate::Entry entry(gate_, true);
    if (const std::shared_ptr<Exchange> exchange = table_->find(handle)) {
        exchange->cancel();
    }
}

std::string Served::hintFor(std::string_view /*path*/) const {
    return {};
}

void Served::refuse() noexcept {
    if (gate_.close()) {
        stopping();
    }
    const Gate::Entry entry(gate_, true);
    for (const std::shared_ptr<Exchange>& exchange : table_->all()) {
        exchange->abort(closedResponse());
    }
}

std::unique_ptr<IResourceHandler> makeHandler(std::shared_ptr<Served> served,
                                              std::shared_ptr<const OnUncaught> onUncaught) {
    return std::make_unique<ServedHandler>(std::move(served), std::move(onUncaught));
}

Error uncaught(const Request& request,
               const std::shared_ptr<const OnUncaught>& onUncaught) noexcept {
    Error error;
    try {
        throw;
    } catch (const KovaException& exception) {
        return Error::of(exception.getResponse());
    } catch (const std::exception& exception) {
        error.message = report(request, exception.what());
    } catch (...) {
        error.message = report(request, "an exception that is not a std::exception");
    }
    error.message = "Internal error in server implementation: " + error.message;
    return onUncaught ? (*onUncaught)(error, request) : error;
}

Response closedResponse() {
    return Response::createErrorResponse(statuscodes::SERVICE_UNAVAILABLE,
                                         "the resource is closed");
}

}  // namespace detail

}  // namespace kova::kit
