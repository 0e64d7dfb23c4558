#include "streams/Refusals.h"

#include "kova/core/Errors.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/headers.h"

namespace kova::kit::detail {

namespace {

// Returns the text of an error of the catalogue, whose format has one or two texts.
std::string textOf(int number, const std::string& first, const std::string& second = {}) {
    std::string text = errors::Error.find(number)->format;
    const std::size_t at = text.find("%s");
    text.replace(at, 2, first);
    const std::size_t next = text.find("%s", at + first.size());
    return next == std::string::npos ? text : text.replace(next, 2, second);
}

}  // namespace

Error pathNotFound(const Ask& ask) {
    return {statuscodes::NOT_FOUND, textOf(errors::PathNotFound, ask.request().getPath())};
}

Error commandNotSupported(const Ask& ask, const std::string& supported) {
    return {statuscodes::BAD_REQUEST,
            textOf(errors::CommandNotSupported, ask.command(), ask.request().getPath()) +
                "; supported: " + supported};
}

Error unknownFormat(const Ask& ask) {
    return {statuscodes::BAD_REQUEST, textOf(errors::UndefinedMimeType, ask.accept()) +
                                          "; there are: " + mimetypes::JSON_TYPE + ", " +
                                          mimetypes::AXOBIN_TYPE};
}

Error streamOnly(const Ask& ask) {
    return {statuscodes::BAD_REQUEST, "'" + ask.request().getPath() +
                                          "' has no value, only a stream: set the header entry \"" +
                                          headers::RESPONSE_SEMANTIC + "\" to \"" +
                                          headers::PERSISTENT_STREAM + "\""};
}

Response disconnected(char const* reason) {
    return Response::createErrorResponse(statuscodes::SERVICE_UNAVAILABLE, reason);
}

}  // namespace kova::kit::detail
