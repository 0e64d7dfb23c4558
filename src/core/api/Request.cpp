#include "kova/core/Request.h"

#include <utility>

#include "api/MessageHeader.h"
#include "formats/PayloadFormat.h"
#include "kova/core/headers.h"

namespace kova {

Request::Request(const std::string& command, const std::string& path)
    : command_(command), path_(path) {}

Request::Request(const std::string& command, const std::string& path, Payload&& payload)
    : command_(command), path_(path), payload_(std::move(payload)) {}

Request::Request(const std::string& command, const std::string& path, const Payload& payload)
    : command_(command), path_(path), payload_(payload) {}

Request::Request(const std::string& command, const std::string& path, Payload&& payload,
                 Header& header)
    : command_(command), path_(path), payload_(std::move(payload)), header_(header) {}

Request::Request(const std::string& command, const std::string& path, const Payload& payload,
                 Header& header)
    : command_(command), path_(path), payload_(payload), header_(header) {}

Request::Request(const std::string& command, const std::string& path, Header& header)
    : command_(command), path_(path), header_(header) {}

Request& Request::operator=(Request&& other) noexcept {
    if (this != &other) {
        command_ = std::move(other.command_);
        path_ = std::move(other.path_);
        payload_ = std::move(other.payload_);
        header_ = std::move(other.header_);
    }
    return *this;
}

void Request::add2header(char const* key, util::config::Value* value) noexcept {
    detail::messageheader::add(header_, key, value);
}

void Request::add2header(char const* key, const util::config::Value& value) noexcept {
    detail::messageheader::add(header_, key, value.clone());
}

const util::config::Value& Request::getHeader() const noexcept {
    return detail::messageheader::get(header_);
}

const util::config::Value& Request::getHeaderValue(char const* key) const noexcept {
    return getHeader()[key];
}

const util::config::Value& Request::getHeaderValue(const std::string& key) const noexcept {
    return getHeader()[key];
}

const util::config::Value& Request::getMimeTypeHeader() const noexcept {
    return getHeaderValue(headers::ACCEPT);
}

void Request::setMimeType(const std::string& mimeType) noexcept {
    detail::messageheader::addString(header_, headers::ACCEPT, mimeType);
}

void Request::setMimeType(mimetypes::MimeTypeID id) noexcept {
    detail::PayloadFormat const* const format = detail::PayloadFormat::find(id);
    if (format != nullptr && format->isTranslated) {
        detail::messageheader::addString(header_, headers::ACCEPT, format->name);
    }
}

std::string Request::toString() const {
    std::string payload;
    Payload::createStringFrom(payload_, payload, true);
    return "cmd=" + command_ + " path=" + path_ + " header='" +
           detail::messageheader::print(header_) + "' payload='" + payload + "'";
}

}  // namespace kova
