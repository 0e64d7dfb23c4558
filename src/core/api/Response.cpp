#include "kova/core/Response.h"

#include <utility>

#include "api/MessageHeader.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/headers.h"

namespace kova {

namespace {

std::string codeWithText(unsigned short code) {
    return std::to_string(code) + " " + statuscodes::toString(code);
}

}  // namespace

Response::Response(unsigned short code) noexcept : code_(code) {}

Response::Response(unsigned short code, Payload&& payload) noexcept
    : code_(code), payload_(std::move(payload)) {}

Response::Response(unsigned short code, const Payload& payload) : code_(code), payload_(payload) {}

Response::Response(unsigned short code, Payload&& payload, Header& header)
    : code_(code), payload_(std::move(payload)), header_(header) {}

Response::Response(unsigned short code, const Payload& payload, Header& header)
    : code_(code), payload_(payload), header_(header) {}

Response::Response(unsigned short code, Header& header) : code_(code), header_(header) {}

Response& Response::operator=(Response&& other) noexcept {
    if (this != &other) {
        code_ = other.code_;
        payload_ = std::move(other.payload_);
        header_ = std::move(other.header_);
    }
    return *this;
}

Response Response::createErrorResponse(unsigned short code, char const* message) {
    Response response(code);
    if (message != nullptr && *message != '\0') {
        response.setErrorMessage(message);
    }
    return response;
}

Response Response::createErrorResponse(unsigned short code) {
    return createErrorResponse(code, nullptr);
}

void Response::add2header(char const* key, util::config::Value* value) noexcept {
    detail::messageheader::add(header_, key, value);
}

void Response::add2header(char const* key, const util::config::Value& value) noexcept {
    detail::messageheader::add(header_, key, value.clone());
}

const util::config::Value& Response::getHeader() const noexcept {
    return detail::messageheader::get(header_);
}

const util::config::Value& Response::getHeaderValue(char const* key) const noexcept {
    return getHeader()[key];
}

const util::config::Value& Response::getHeaderValue(const std::string& key) const noexcept {
    return getHeader()[key];
}

void Response::setErrorMessage(char const* message) noexcept {
    if (message != nullptr) {
        detail::messageheader::addString(header_, headers::ERROR_MESSAGE, message);
    }
}

bool Response::isErrorResponse() const noexcept {
    return getHeaderValue(headers::ERROR_MESSAGE).isString();
}

bool Response::getErrorMessage(std::string& out) const {
    return getHeaderValue(headers::ERROR_MESSAGE).get(out);
}

std::optional<std::string> Response::getErrorMessage() const {
    std::string message;
    const bool failed = getErrorMessage(message);
    return failed ? std::nullopt : std::optional<std::string>(std::move(message));
}

std::string Response::getErrorMessageWithCode() const {
    const std::optional<std::string> message = getErrorMessage();
    return message ? codeWithText(code_) + ": " + *message : codeWithText(code_);
}

std::string Response::toString() const {
    std::string payload;
    Payload::createStringFrom(payload_, payload, true);
    return "sc=" + std::to_string(code_) + " header='" + detail::messageheader::print(header_) +
           "' payload='" + payload + "'";
}

}  // namespace kova
