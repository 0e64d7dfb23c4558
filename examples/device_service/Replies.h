#pragma once

#include <string>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "util/config/Value.h"

namespace device {

/// The mime type that a request asks for with "$accept"; JSON when it asks for none.
std::string acceptedType(const kova::Request& request);

/// A response with the value in the mime type that the request asks for; an error response 400 when
/// nothing writes that type.
kova::Response makeResponse(const kova::Request& request, unsigned short code,
                            const util::config::Value& value);

/// Sends one response, as a value and completion or, when it is an error response, as the error.
void answer(kova::IResponseHandler<kova::Response>& handler, const kova::Response& response);

/// Answers that a command is not for this path (400).
void refuseCommand(kova::IResponseHandler<kova::Response>& handler, const kova::Request& request);

}  // namespace device
