#include "kova/kit/Result.h"

#include "kova/core/KovaException.h"

namespace kova::kit {

Error Error::of(const Response& response) {
    Error error{response.getStatusCode(), {}};
    if (auto message = response.getErrorMessage()) {
        error.message = *std::move(message);
    }
    return error;
}

Response Error::toResponse() const {
    const std::string text = message.empty() ? statuscodes::toString(code) : message;
    return Response::createErrorResponse(code, text.c_str());
}

std::string Error::toString() const {
    std::string text = std::to_string(code) + ' ' + statuscodes::toString(code);
    if (!message.empty()) {
        text += ": " + message;
    }
    return text;
}

void Error::raise() const {
    throw KovaException(toResponse());
}

}  // namespace kova::kit
