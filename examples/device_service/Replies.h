#pragma once

#include <functional>
#include <string>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "util/config/Value.h"
#include "util/serializer/IStructuredSerializer.h"

namespace device {

/// Returns the mime type in the "$accept" entry of a request; JSON if the entry is missing.
std::string acceptedType(const kova::Request& request);

/// Returns whether the "$response-semantic" entry of a request selects a stream of values.
bool wantsStream(const kova::Request& request);

/// Writes one value with a serializer. Returns true on failure, like all serializer operations.
using Writer = std::function<bool(util::serializer::IStructuredSerializer&)>;

/// Returns a response whose payload `write` creates, in the mime type that the request accepts.
/// Returns an error response 400 if that mime type has no serializer.
kova::Response makeResponse(const kova::Request& request, unsigned short code, const Writer& write);
/// Returns a response with the value as its payload.
kova::Response makeResponse(const kova::Request& request, unsigned short code,
                            const util::config::Value& value);

/// Returns an error response with the code and the reason.
kova::Response fail(unsigned short code, const std::string& reason);
/// Returns an error response whose reason is prefixed with the path of the request.
kova::Response fail(const kova::Request& request, unsigned short code, const std::string& reason);
/// Returns the error response to a path without a resource (404).
kova::Response notFound(const kova::Request& request);

/// Sends one response: an error response as the error, any other as a value followed by completion.
void answer(kova::IResponseHandler<kova::Response>& handler, const kova::Response& response);

/// Sends the error that the path does not support the command (400).
void refuseCommand(kova::IResponseHandler<kova::Response>& handler, const kova::Request& request);

}  // namespace device
