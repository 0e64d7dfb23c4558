#pragma once

#include <string>

#include "kova/core/Export.h"
#include "kova/core/Request.h"
#include "kova/core/RequestInfo.h"
#include "kova/core/Response.h"

/// The reserved header entries, whose keys begin with "$" and whose values are strings, and the
/// functions that write them. A function replaces an existing entry, and creates a header if the
/// message has none. If memory is exhausted, it writes nothing. Messages are not synchronized:
/// write headers before a message is passed on.
///
///     kova::Request request("retrieve", "/light/state");
///     kova::headers::appendTracingInfo(request, "/home", "panel");
///     request.getHeaderValue(kova::headers::CLIENT_ID);  // "panel"
namespace kova::headers {

/// @{
/// For responses: the command word and the resource path of the request.
constexpr char const* REQUEST_COMMAND = "$request-command";
constexpr char const* REQUEST_PATH = "$request-path";
/// @}

/// The path of the service that handles the request.
constexpr char const* SERVICE_PATH = "$service-path";
/// The identity of the requesting client.
constexpr char const* CLIENT_ID = "$client-id";
/// For requests: the mime type that the client wants for the answer (`Request::setMimeType`).
constexpr char const* ACCEPT = "$accept";
/// For requests: the agent token of the process.
constexpr char const* AUTH_TOKEN = "$auth-token";
/// For requests: the kind of answer that the client expects, one of the four words below.
constexpr char const* RESPONSE_SEMANTIC = "$response-semantic";
/// For responses: the error message that makes the response an error response.
constexpr char const* ERROR_MESSAGE = "$errorMsg";

/// @{
/// A kind of answer: a value of `RESPONSE_SEMANTIC`.
constexpr char const* PERSISTENT_STREAM = "persistent-stream";
constexpr char const* SINGLE_RESPONSE = "single-response";
constexpr char const* EMPTY_RESPONSE = "empty-response";
constexpr char const* MULTI_RESPONSE = "multi-response";
/// @}

/// Writes the non-empty fields of `info` into the response.
KOVA_API void appendRequestInfo(const RequestInfo& info, Response& response);
/// Writes the client id and the service path into the request, even if they are empty.
KOVA_API void appendTracingInfo(Request& request, const std::string& servicePath,
                                const std::string& clientId);
/// Writes the response semantic unchanged. Does not check that it is one of the four words.
KOVA_API void appendResponseSemantic(Request& request, const std::string& semantic);

/// Sets the agent token of the process to `agt`. If `agt` is empty, the token is the value of the
/// environment variable ZEL_CONFIG_KOVA_AGT. Only the first call has an effect, even if it sets an
/// empty token. Not synchronized with `appendAuthInfo`: call it at start-up.
KOVA_API void setAgt(const std::string& agt);
/// Writes the agent token into the request, unless the token is empty.
KOVA_API void appendAuthInfo(Request& request);

}  // namespace kova::headers
