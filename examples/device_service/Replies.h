#pragma once

#include <functional>
#include <string>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "util/config/Value.h"
#include "util/serializer/IStructuredSerializer.h"

namespace device {

/// The mime type that a request asks for with "$accept"; JSON when it asks for none.
std::string acceptedType(const kova::Request& request);

/// Whether a request asks for a stream of values, with "$response-semantic".
bool wantsStream(const kova::Request& request);

/// Writes one value with a serializer; true on failure, as all serializer operations.
using Writer = std::function<bool(util::serializer::IStructuredSerializer&)>;

/// A response with what is written, in the mime type that the request asks for; an error response
/// 400 when nothing writes that type.
kova::Response makeResponse(const kova::Request& request, unsigned short code, const Writer& write);
/// The same with a value of any kind.
kova::Response makeResponse(const kova::Request& request, unsigned short code,
                            const util::config::Value& value);

/// An error response of a code, with the reason, which names the path where that helps.
kova::Response fail(unsigned short code, const std::string& reason);
/// The same with the path of the request in front of the reason.
kova::Response fail(const kova::Request& request, unsigned short code, const std::string& reason);
/// The error response to a path that leads nowhere (404).
kova::Response notFound(const kova::Request& request);

/// Sends one response, as a value and completion or, when it is an error response, as the error.
void answer(kova::IResponseHandler<kova::Response>& handler, const kova::Response& response);

/// Answers that a command is not for this path (400).
void refuseCommand(kova::IResponseHandler<kova::Response>& handler, const kova::Request& request);

}  // namespace device
