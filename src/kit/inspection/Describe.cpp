#include "kova/kit/Describe.h"

#include <utility>

#include "kova/core/MimeTypes.h"
#include "kova/core/headers.h"
#include "kova/kit/Tree.h"
#include "util/config/Dictionary.h"
#include "util/config/Scalars.h"

namespace kova::kit {

namespace {

using util::config::Dictionary;
using util::config::Value;

// Returns the first bytes in hexadecimal, for formats that are not text.
std::string hexText(const Payload& payload) {
    constexpr std::size_t MOST = 24;
    constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < payload.size() && i < MOST; ++i) {
        text += {DIGITS[payload.data()[i] >> 4], DIGITS[payload.data()[i] & 0x0F], ' '};
    }
    return text + (payload.size() > MOST ? "… = " : "= ");
}

std::string payloadText(const Payload& payload) {
    std::string text;
    Payload::createStringFrom(payload, text, true);
    const bool binary = payload.getMimeType() == mimetypes::AXOBIN_TYPE;
    return payload.getMimeType() + ", " + std::to_string(payload.size()) +
           " bytes: " + (binary ? hexText(payload) : std::string()) + text;
}

std::string headerText(const Value& header) {
    if (!header.hasKey(std::string(headers::AUTH_TOKEN))) {
        return header.toJson(true);
    }
    const Tree shown(header.clone());
    static_cast<Dictionary&>(*shown).set(headers::AUTH_TOKEN,
                                         new util::config::ValueString("(not shown)"));
    return shown->toJson(true);
}

template <typename Message>
std::string partsOf(const Message& message) {
    std::string text;
    if (message.getHeader().isDictionary()) {
        text += "\n      header  " + headerText(message.getHeader());
    }
    if (!message.getPayload().isEmpty()) {
        text += "\n      payload " + payloadText(message.getPayload());
    }
    return text;
}

}  // namespace

std::string describe(const Request& request) {
    return request.getCommand() + " " + request.getPath() + partsOf(request);
}

std::string describe(const Response& response) {
    return response.getErrorMessageWithCode() + partsOf(response);
}

std::optional<std::string> plainText(const Payload& payload) {
    std::string text;
    if (payload.isEmpty() || payload.getMimeType() != mimetypes::AXOBIN_TYPE) {
        payload.getBlob().toString(text);
        return text;
    }
    const bool failed = Payload::createStringFrom(payload, text, true);
    return failed ? std::nullopt : std::optional<std::string>(std::move(text));
}

}  // namespace kova::kit
