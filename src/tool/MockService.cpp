#include "MockService.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kova/core/Errors.h"
#include "kova/core/IResourceHandler.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Answer.h"
#include "kova/kit/Command.h"
#include "kova/kit/Peer.h"

namespace kova::tool {

namespace {

using Segments = std::vector<std::string>;
using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;

// --- Answers -------------------------------------------------------------------------------------

// Answers with the value, in the format that the client wants, or without a value.
void answer(IResponseHandler<Response>& handler, unsigned short code, const Payload& json,
            const std::string& format) {
    if (json.isEmpty()) {
        if (code != statuscodes::NO_CONTENT) {
            handler.onNext(Response(code));
        }
        handler.onCompleted();
        return;
    }
    const auto payload = format == mimetypes::JSON_TYPE
                             ? json
                             : kit::toPayload(std::optional<Payload>(json), format);
    if (payload) {
        handler.onNext(Response(code, *payload));
        handler.onCompleted();
    } else {
        handler.onError(payload.error().toResponse());
    }
}

bool isFormat(const std::string& type) {
    return type == mimetypes::JSON_TYPE || type == mimetypes::AXOBIN_TYPE;
}

// --- Requests ------------------------------------------------------------------------------------

/// A request for a path of the document.
struct Matched {
    MockMethod const* method = nullptr;
    MockItems::Target target;
    // The body as JSON and as a tree; empty if it does not exist.
    Payload json;
    kit::Tree body;
};

/// The change that a command makes.
struct ChangeRow {
    std::string_view command;
    MockItems::Change change;
};

constexpr std::array<ChangeRow, 3> CHANGES = {{{kit::command::update, MockItems::Change::put},
                                               {kit::command::insert, MockItems::Change::insert},
                                               {kit::command::remove, MockItems::Change::remove}}};

/// Serves the paths of a document.
class MockHandler final : public IResourceHandler {
public:
    MockHandler(std::shared_ptr<const MockDocument> document, std::shared_ptr<MockItems> items)
        : document_(std::move(document)), items_(std::move(items)) {}

    void* actionRequest(const Request& request, ResponseHandler&& handler,
                        const std::string& resourcePath) override;
    void cancelRequest(void* handle) override {
        for (const std::shared_ptr<MockStream>& stream : items_->streams()) {
            stream->handler->cancelRequest(handle);  // no two streams have the same handle
        }
    }

private:
    kit::Result<void> find(const Request& request, const Segments& segments,
                           Matched& matched) const;
    void setTarget(const MockPath& path, const Segments& segments, Matched& matched) const;
    kit::Result<void> readBody(const Request& request, Matched& matched) const;
    kit::Result<Payload> serve(const Request& request, Matched& matched);

    const std::shared_ptr<const MockDocument> document_;
    const std::shared_ptr<MockItems> items_;
};

void* MockHandler::actionRequest(const Request& request, ResponseHandler&& handler,
                                 const std::string& resourcePath) {
    const kit::Ask ask(request, resourcePath);
    const std::string format = ask.accept();
    Matched matched;
    kit::Result<void> valid = find(request, segmentsOf(resourcePath), matched);
    if (valid && !isFormat(format)) {
        valid =
            kit::Error{statuscodes::BAD_REQUEST, "the format '" + format + "' is not supported"};
    }
    if (valid) {
        valid = readBody(request, matched);
    }
    if (valid && matched.method->streams && ask.wantsStream()) {
        const auto stream = items_->watch(matched.target);
        if (stream) {
            return (*stream)->handler->actionRequest(request, std::move(handler), "");
        }
        valid = stream.error();
    }
    const ResponseHandler receiver = std::move(handler);
    const kit::Result<Payload> json = valid ? serve(request, matched) : valid.error();
    if (json) {
        answer(*receiver, matched.method->code, *json, format);
    } else {
        receiver->onError(json.error().toResponse());
    }
    return IKovaApi::UNDEFINED_REQUEST_HANDLE;
}

// Finds the method of a request, and the value that it reads or changes.
kit::Result<void> MockHandler::find(const Request& request, const Segments& segments,
                                    Matched& matched) const {
    const std::string& path = request.getPath();
    std::string supported;
    for (MockPath const* const each : document_->match(segments)) {
        const auto method = each->methods.find(request.getCommand());
        if (method != each->methods.end() && matched.method == nullptr) {
            matched.method = &method->second;
            setTarget(*each, segments, matched);
        }
        for (const auto& other : each->methods) {
            supported += (supported.empty() ? "" : ", ") + other.first;
        }
    }
    if (matched.method != nullptr) {
        matched.target.path = path;
        return {};
    }
    if (supported.empty()) {
        return kit::catalogued(errors::PathNotFound, path);
    }
    kit::Error error = kit::catalogued(errors::CommandNotSupported, request.getCommand(), path);
    error.message += "; supported: " + supported;
    return error;
}

void MockHandler::setTarget(const MockPath& path, const Segments& segments,
                            Matched& matched) const {
    const MockPath& owner = document_->paths()[path.owner];
    const std::size_t count = &owner == &path ? segments.size() : owner.segments.size();
    matched.target.owner = &owner;
    for (std::size_t i = 0; i < count; ++i) {
        matched.target.key += '/' + segments[i];
    }
    matched.target.tail.assign(segments.begin() + static_cast<std::ptrdiff_t>(count),
                               segments.end());
}

// Reads and checks the body. The tree is that of the JSON text, whatever the format of the body is.
kit::Result<void> MockHandler::readBody(const Request& request, Matched& matched) const {
    if (request.getPayload().isEmpty()) {
        return matched.method->needsBody
                   ? kit::Error{statuscodes::BAD_REQUEST, "expected a body, found nothing"}
                   : kit::Result<void>();
    }
    const auto tree = kit::fromPayload<kit::Tree>(request.getPayload());
    if (!tree) {
        return tree.error();
    }
    const auto json = kit::toPayload(*tree);
    if (!json) {
        return kit::Error{statuscodes::BAD_REQUEST, json.error().message};
    }
    matched.json = *json;
    matched.body = kit::fromPayload<kit::Tree>(*json).orThrow();
    return matched.method->body == nullptr
               ? kit::Result<void>()
               : document_->rules().check(*matched.method->body, *matched.body);
}

// Returns the value of the answer as JSON; empty for an answer without a value.
kit::Result<Payload> MockHandler::serve(const Request& request, Matched& matched) {
    const MockMethod& method = *matched.method;
    const auto* const row = std::find_if(CHANGES.begin(), CHANGES.end(), [&](const auto& each) {
        return each.command == request.getCommand();
    });
    if (row == CHANGES.end()) {
        if (method.value == nullptr) {
            return Payload();
        }
        return items_->read(matched.target);
    }
    const bool isAnswer = method.value != nullptr && matched.body &&
                          document_->rules().check(*method.value, *matched.body);
    if (matched.body || row->change == MockItems::Change::remove) {
        const auto changed = items_->change(matched.target, row->change, std::move(matched.body));
        if (!changed) {
            return changed.error();
        }
    }
    return isAnswer ? matched.json : method.first;
}

std::unique_ptr<kit::Service> serviceOf(const std::shared_ptr<const MockDocument>& document,
                                        const std::shared_ptr<MockItems>& items) {
    kit::ServiceBuilder builder;
    builder.name(document->title()).version(document->version());
    builder.mount("/", std::make_unique<MockHandler>(document, items)).inspect();
    return builder.build();
}

// The inspection of a service shows itself to these peers.
bool mayInspect(const Request& request) {
    const long uid = kit::peerOf(request).uid;
    return uid == 0 || uid == static_cast<long>(::geteuid());
}

}  // namespace

MockService::MockService(MockDocument document)
    : document_(std::make_shared<const MockDocument>(std::move(document))),
      items_(std::make_shared<MockItems>(document_->rules())),
      mounts_(kit::toPayload(std::vector<kit::MountView>{document_->mount()}).orThrow()),
      service_(serviceOf(document_, items_)) {}

MockService::~MockService() = default;

void* MockService::actionRequest(const Request& request,
                                 std::unique_ptr<IResponseHandler<Response>>&& handler) {
    const std::string& path = request.getPath();
    const bool isText = path == "/.kova/openapi";
    const bool isView = isText || path == "/.kova/resources";
    const std::string format = kit::Ask(request, path).accept();
    if (!isView || request.getCommand() != kit::command::retrieve || !isFormat(format) ||
        !mayInspect(request)) {
        return service_->actionRequest(request, std::move(handler));
    }
    const std::unique_ptr<IResponseHandler<Response>> receiver = std::move(handler);
    answer(*receiver, statuscodes::OK,
           isText ? Payload::createFromJSON(document_->text()) : mounts_, format);
    return UNDEFINED_REQUEST_HANDLE;
}

void MockService::cancelRequest(void* handle) {
    service_->cancelRequest(handle);
}

void MockService::repeat() {
    items_->repeat();
}

std::vector<kit::CallInfo> MockService::stop(std::chrono::milliseconds limit) {
    return service_->stop(limit);
}

}  // namespace kova::tool
