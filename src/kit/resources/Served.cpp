#include "resources/Served.h"

#include <utility>

#include "kova/core/Errors.h"
#include "kova/core/KovaException.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Answer.h"
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
    return detail::makeHandler(served_, std::make_shared<detail::MountState>(nullptr));
}

std::vector<Operation> Mountable::operations() const {
    return served_->operations();
}

namespace detail {

namespace {

// A resource handler that passes its requests on to the shared state. The state may outlive the
// service.
class ServedHandler final : public IResourceHandler {
public:
    ServedHandler(std::shared_ptr<Served> served, std::shared_ptr<MountState> mount)
        : served_(std::move(served)), mount_(std::move(mount)) {}

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string& resourcePath) override {
        return served_->actionRequest(request, std::move(handler), resourcePath, mount_);
    }
    void cancelRequest(void* handle) override { served_->cancelRequest(handle); }

private:
    const std::shared_ptr<Served> served_;
    const std::shared_ptr<MountState> mount_;
};

// Reports an exception and returns the text of the report.
std::string report(const std::string& request, char const* what) {
    std::string text = request + ": " + what;
    zel::ErrorOutput("src/kit/resources/Served", __LINE__, true)(
        errors::Error, errors::InternalServerError, text.c_str());
    return text;
}

}  // namespace

Served::~Served() = default;

void* Served::actionRequest(const Request& request, ResponseHandler handler,
                            const std::string& path,
                            const std::shared_ptr<MountState>& mount) noexcept {
    const Gate::Entry entry(gate_);
    if (!entry) {
        handler->onError(closedResponse());
        return nullptr;
    }
    const Ask ask(request, path);
    const std::shared_ptr<Exchange> exchange = serve({ask, std::move(handler), mount});
    // If the exchange has no other owner, no thread can answer the request later. The destructor of
    // the exchange then answers it.
    if (!exchange || exchange.use_count() == 1) {
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
    table_->cancel(handle);
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
                                              std::shared_ptr<MountState> mount) {
    return std::make_unique<ServedHandler>(std::move(served), std::move(mount));
}

Error uncaught(const std::string& what, const OnUncaught& onUncaught) noexcept {
    std::string text;
    try {
        throw;  // cppcheck-suppress rethrowNoCurrentException; called in a catch block
    } catch (const KovaException& exception) {
        return Error::of(exception.getResponse());
    } catch (const std::exception& exception) {
        text = report(what, exception.what());
    } catch (...) {
        text = report(what, "an exception that is not a std::exception");
    }
    const Error error = catalogued(errors::InternalServerError, text);
    return onUncaught ? onUncaught(error) : error;
}

std::string const* formatOf(const Ask& ask) {
    static const std::string json = mimetypes::JSON_TYPE;
    static const std::string binary = mimetypes::AXOBIN_TYPE;
    const util::config::Value& entry = ask.request().getMimeTypeHeader();
    if (entry.isUndefined()) {
        return &json;
    }
    const std::string format = ask.accept();
    if (format == json) {
        return &json;
    }
    return format == binary ? &binary : nullptr;
}

Error unknownFormat(const std::string& format) {
    Error error = catalogued(errors::UndefinedMimeType, format);
    error.code = statuscodes::BAD_REQUEST;  // the client has chosen the format
    error.message += "; there are: ";
    error.message += mimetypes::JSON_TYPE;
    error.message += ", ";
    error.message += mimetypes::AXOBIN_TYPE;
    return error;
}

Response closedResponse() {
    return Response::createErrorResponse(statuscodes::SERVICE_UNAVAILABLE,
                                         "the resource is closed");
}

}  // namespace detail

}  // namespace kova::kit
