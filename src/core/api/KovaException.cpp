#include "kova/core/KovaException.h"

#include <utility>

#include "kova/core/StatusCodes.h"

namespace kova {

KovaException::KovaException(const Response& response)
    : response_(response), message_(createErrorMessage()) {}

KovaException::KovaException(Response&& response)
    : response_(std::move(response)), message_(createErrorMessage()) {}

std::string KovaException::createErrorMessage() const {
    std::string text = std::to_string(getErrorCode()) + " " + statuscodes::toString(getErrorCode());
    if (const auto message = response_.getErrorMessage()) {
        text += " " + *message;
    }
    return text;
}

}  // namespace kova
