#include "StoreHandler.h"

#include <utility>

#include "Replies.h"
#include "kova/core/Commands.h"
#include "kova/core/Path.h"
#include "kova/core/StatusCodes.h"
#include "util/config/JSONParser.h"

namespace device {

namespace {

namespace commands = kova::commands;
namespace statuscodes = kova::statuscodes;
using util::config::Value;

kova::Response statusOf(StoreDocument::Result result, const kova::Request& request) {
    const std::string& path = request.getPath();
    switch (result) {
        case StoreDocument::Result::Done:
            return kova::Response(statuscodes::NO_CONTENT);
        case StoreDocument::Result::Created:
            return kova::Response(statuscodes::CREATED);
        case StoreDocument::Result::NotFound:
            return notFound(request);
        case StoreDocument::Result::Exists:
            return fail(statuscodes::CONFLICT, "there is something at '" + path + "' already");
        case StoreDocument::Result::Conflict:
            return fail(statuscodes::CONFLICT, "'" + path + "' cannot hold that");
        case StoreDocument::Result::NotSaved:
            break;
    }
    return fail(request, statuscodes::INTERNAL_SERVER_ERROR, "the store could not be written");
}

// Returns the value in the payload. Returns null and sets `reason` on failure.
StoreDocument::ValuePtr valueOf(const kova::Payload& payload, std::string& reason) {
    std::string text;
    util::config::JSONParser parser(false);
    if (kova::Payload::createStringFrom(payload, text, true)) {
        reason = "the payload is malformed";
        return {nullptr, Value::destroy};
    }
    StoreDocument::ValuePtr value(parser.parseValue(text), Value::destroy);
    if (!value) {
        reason = "the payload is no JSON value: " + std::string(parser.reason());
    }
    return value;
}

}  // namespace

void* StoreHandler::actionRequest(const kova::Request& request,
                                  std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                                  const std::string& resourcePath) {
    answer(*handler, respond(request, resourcePath));
    return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
}

void StoreHandler::cancelRequest(void* /*handle*/) {
    // There is nothing to cancel, because no request is ever pending.
}

kova::Response StoreHandler::respond(const kova::Request& request,
                                     const std::string& resourcePath) {
    const StoreDocument::Path path = kova::Path::split(resourcePath);
    const std::lock_guard<std::mutex> guard(mutex_);
    switch (commands::toId(request.getCommand())) {
        case commands::RETRIEVE_ID: {
            Value const* const value = document_.find(path);
            return value != nullptr ? makeResponse(request, statuscodes::OK, *value)
                                    : statusOf(StoreDocument::Result::NotFound, request);
        }
        case commands::DELETE_ID:
            return statusOf(document_.remove(path), request);
        case commands::UPDATE_ID:
        case commands::INSERT_ID:
            return change(request, path);
        default:
            return fail(statuscodes::BAD_REQUEST, "command '" + request.getCommand() +
                                                      "' not supported for path '" +
                                                      request.getPath() + "'");
    }
}

kova::Response StoreHandler::change(const kova::Request& request, const StoreDocument::Path& path) {
    std::string reason;
    StoreDocument::ValuePtr value = valueOf(request.getPayload(), reason);
    if (!value) {
        return fail(request, statuscodes::BAD_REQUEST, reason);
    }
    return statusOf(request.getCommand() == commands::UPDATE
                        ? document_.update(path, std::move(value))
                        : document_.insert(path, std::move(value)),
                    request);
}

}  // namespace device
