#include "kova/core/KovaException.h"

#include <utility>

#include "kova/core/StatusCodes.h"

namespace kova {

KovaException::KovaException(const Response& response)
    : response_(response), message_(createErrorMessage()) {}

KovaException::KovaException(Response&& response)
    : response_(std::move(response)), message_(createErrorMessage()) {}

KovaException& KovaException::operator=(KovaException&& other) noexcept {
    if (this != &other) {
        std::exception::operator=(other);
        response_ = std::move(other.response_);
        message_ = std::move(other.message_);
    }
    return *this;
}

std::string KovaException::createErrorMessage() const {
    std::string text = std::to_string(getErrorCode()) + " " + statuscodes::toString(getErrorCode());
    if (const auto message = response_.getErrorMessage()) {
        text += " " + *message;
    }
    return text;
}

}  // namespace kova
