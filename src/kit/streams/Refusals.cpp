#include "streams/Refusals.h"

#include "kova/core/Errors.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/headers.h"
#include "kova/kit/Answer.h"

namespace kova::kit::detail {

Error commandNotSupported(const Ask& ask, const std::string& supported) {
    Error error = catalogued(errors::CommandNotSupported, ask.command(), ask.request().getPath());
    error.message += "; supported: " + supported;
    return error;
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
