#include "kova/kit/Ask.h"

#include "kova/core/headers.h"

namespace kova::kit {

namespace {

std::string textOf(const util::config::Value& entry, char const* otherwise) {
    std::string text;
    return entry.get(text) ? std::string(otherwise) : text;
}

}  // namespace

std::string Ask::accept() const {
    return textOf(request_->getMimeTypeHeader(), mimetypes::JSON_TYPE);
}

bool Ask::wantsStream() const {
    return textOf(request_->getHeaderValue(headers::RESPONSE_SEMANTIC), "") ==
           headers::PERSISTENT_STREAM;
}

std::string Ask::clientId() const {
    return textOf(request_->getHeaderValue(headers::CLIENT_ID), "");
}

}  // namespace kova::kit
