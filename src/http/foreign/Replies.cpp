#include "foreign/Replies.h"

#include <algorithm>
#include <utility>

#include "foreign/JsonText.h"
#include "foreign/StatusTexts.h"
#include "kova/core/Errors.h"
#include "kova/core/headers.h"
#include "kova/kit/Answer.h"
#include "kova/kit/StreamOptions.h"
#include "kova/kit/Tree.h"
#include "util/config/Dictionary.h"
#include "wire/OutOfMemory.h"
#include "zel/ErrorOutput.h"

namespace kova::http::detail {

namespace {

constexpr unsigned short FIRST_STATUS = 200;
constexpr unsigned short FIRST_ERROR = 400;
constexpr unsigned short LAST_STATUS = 599;
constexpr unsigned short RESET_CONTENT = 205;

bool hasBody(unsigned short status) noexcept {
    return status != statuscodes::NO_CONTENT && status != RESET_CONTENT &&
           status != statuscodes::NOT_MODIFIED;
}

HttpReply impossible(const std::string& reason) {
    zel::ErrorOutput("src/http/foreign/Replies", __LINE__, true)(
        errors::Error, errors::UnexpectedResponse, reason.c_str());
    return toReply(kit::Error{statuscodes::INTERNAL_SERVER_ERROR, reason});
}

HttpReply makeProblem(unsigned short status, const Response& error, const std::string& tree) {
    HttpReply reply;
    reply.status = status;
    reply.fields.push_back({"Content-Type", std::string(PROBLEM_TYPE)});
    if (status == statuscodes::UNAUTHORIZED) {
        reply.fields.push_back({"WWW-Authenticate", "Bearer"});
    }
    if (!tree.empty()) {
        reply.fields.push_back({TREE_FIELD, tree});
    }
    reply.body = makePayload(std::make_shared<const std::string>(problemText(status, error)),
                             std::string(PROBLEM_TYPE));
    return reply;
}

// Returns whether the error says that the service does not know the format that was asked for.
bool isUnknownFormat(const Response& error, const std::optional<std::string>& asked) {
    if (!asked || error.getStatusCode() != statuscodes::BAD_REQUEST) {
        return false;
    }
    const std::string text = kit::catalogued(errors::UndefinedMimeType, *asked).message;
    return error.getErrorMessage().value_or("").compare(0, text.size(), text) == 0;
}

std::string contentType(const std::string& mimeType) {
    return mimeType == mimetypes::PLAIN_TEXT_TYPE ? "text/plain; charset=utf-8"
                                                  : toMediaType(mimeType);
}

}  // namespace

HttpReply toReply(const Response& value) {
    HttpReply reply;
    const unsigned short code = value.getStatusCode();
    const bool isKnown = code >= FIRST_STATUS && code <= LAST_STATUS;
    reply.status = isKnown ? code : statuscodes::INTERNAL_SERVER_ERROR;
    const std::string& mimeType = value.getPayload().getMimeType();
    if (!isFieldValue(mimeType)) {
        return impossible("HTTP cannot carry the mime type of the value");
    }
    std::string tree = treeText(value);
    if (tree.size() > MAX_TREE_FIELD) {
        return impossible("the header of the value is too large for HTTP");
    }
    if (!value.getPayload().isEmpty() && hasBody(reply.status)) {
        reply.body = value.getPayload();
        if (!mimeType.empty()) {
            reply.fields.push_back({"Content-Type", contentType(mimeType)});
        }
    }
    if (!tree.empty()) {
        reply.fields.push_back({TREE_FIELD, std::move(tree)});
    }
    return reply;
}

HttpReply toReply(const Response& value, const Accept& accept) {
    HttpReply reply = toReply(value);
    const std::string& mimeType = value.getPayload().getMimeType();
    const std::string type = mimeType.substr(0, mimeType.find(';'));
    const bool isValue = !reply.body.isEmpty() && reply.body.getMimeType() == mimeType;
    if (isValue && !type.empty() && accept.qualityOf(toMediaType(type)) == 0) {
        return toReply(notAcceptable(toMediaType(type)));
    }
    return reply;
}

unsigned short problemStatus(const Response& error, const Accept& accept) {
    if (isUnknownFormat(error, accept.mimeType())) {
        return NOT_ACCEPTABLE;
    }
    const unsigned short code = error.getStatusCode();
    const bool isError = code >= FIRST_ERROR && code <= LAST_STATUS;
    return isError ? code : statuscodes::INTERNAL_SERVER_ERROR;
}

HttpReply toErrorReply(const Response& error, const Accept& accept) {
    const unsigned short status = problemStatus(error, accept);
    if (status == NOT_ACCEPTABLE && error.getStatusCode() != NOT_ACCEPTABLE) {
        return toReply(
            notAcceptable(std::string(mimetypes::JSON_TYPE) + ", " + std::string(HTTP_BINARY)));
    }
    const std::string tree = treeText(error);
    if (tree.size() > MAX_TREE_FIELD) {
        return impossible("the header of the error is too large for HTTP");
    }
    return makeProblem(status, error, tree);
}

HttpReply toReply(const kit::Error& error) {
    return toErrorReply(error.toResponse());
}

HttpReply completedReply() {
    HttpReply reply;
    reply.status = statuscodes::NO_CONTENT;
    return reply;
}

kit::Error droppedError() {
    return {statuscodes::INTERNAL_SERVER_ERROR, "the service did not answer the request"};
}

kit::Error notAcceptable(std::string_view available) {
    return {NOT_ACCEPTABLE, "there is: " + std::string(available)};
}

std::string problemText(unsigned short status, const Response& error) {
    std::string text = "{";
    if (char const* const title = statusText(status)) {
        text += "\"title\":";
        appendQuoted(text, title);
        text += ',';
    }
    text += "\"status\":" + std::to_string(status);
    if (const std::optional<std::string> message = error.getErrorMessage()) {
        text += ",\"detail\":";
        appendQuoted(text, *message);
    }
    if (status != error.getStatusCode()) {
        text += ",\"code\":" + std::to_string(error.getStatusCode());
    }
    if (error.getPayload().getMimeType() == mimetypes::JSON_TYPE) {
        if (const std::optional<std::string> payload = oneLine(bytesOf(error.getPayload()))) {
            text += ",\"payload\":" + *payload;
        }
    }
    return text + '}';
}

std::string treeText(const Response& response) {
    if (!response.getHeader().isDictionary()) {
        return {};
    }
    const std::shared_ptr<util::config::Dictionary> copy = wire::copyOf(response.getHeader());
    util::config::Dictionary& tree = *copy;
    for (char const* const key : {headers::ERROR_MESSAGE, kit::STREAM_QUEUE}) {
        tree.remove(key, true);
    }
    return tree.size() == 0 ? std::string() : toAsciiJson(tree);
}

Payload makePayload(const std::shared_ptr<const std::string>& bytes, const std::string& mimeType) {
    const std::uint64_t size = bytes->size();
    auto* const data =
        reinterpret_cast<unsigned char*>(const_cast<char*>(bytes->data()));  // NOLINT
    return {Blob(std::shared_ptr<unsigned char[]>(bytes, data), size), mimeType};
}

}  // namespace kova::http::detail
