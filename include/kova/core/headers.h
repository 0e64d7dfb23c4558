#pragma once

#include <string>

#include "kova/core/Export.h"
#include "kova/core/Request.h"
#include "kova/core/RequestInfo.h"
#include "kova/core/Response.h"

/// The reserved header entries, whose keys begin with "$", and helpers that write them. All hold
/// strings. A helper replaces an entry that is there and makes a header where there is none; an
/// entry for which memory is missing is not written. Messages are not locked: write headers before
/// a message is handed on.
///
///     kova::Request request("retrieve", "/light/state");
///     kova::headers::appendTracingInfo(request, "/house", "panel");
///     request.getHeaderValue(kova::headers::CLIENT_ID);  // "panel"
namespace kova::headers {

/// @{
/// Of a response: the command word and the resource path of the request that it answers.
constexpr char const* REQUEST_COMMAND = "$request-command";
constexpr char const* REQUEST_PATH = "$request-path";
/// @}

/// The path of the service that handles the request.
constexpr char const* SERVICE_PATH = "$service-path";
/// Who asks.
constexpr char const* CLIENT_ID = "$client-id";
/// Of a request: the mime type wanted for the answer (`Request::setMimeType`).
constexpr char const* ACCEPT = "$accept";
/// Of a request: the agent token of the process.
constexpr char const* AUTH_TOKEN = "$auth-token";
/// Of a request: what kind of answer is expected, one of the four words below.
constexpr char const* RESPONSE_SEMANTIC = "$response-semantic";
/// Of a response: the error message that makes it an error response.
constexpr char const* ERROR_MESSAGE = "$errorMsg";

/// @{
/// What kind of answer is expected: a value of `RESPONSE_SEMANTIC`.
constexpr char const* PERSISTENT_STREAM = "persistent-stream";
constexpr char const* SINGLE_RESPONSE = "single-response";
constexpr char const* EMPTY_RESPONSE = "empty-response";
constexpr char const* MULTI_RESPONSE = "multi-response";
/// @}

/// Writes the fields that are not empty into the response: command, request path, service path,
/// client id.
KOVA_API void appendRequestInfo(const RequestInfo& info, Response& response);
/// Writes the client id and the service path into the request, also when they are empty.
KOVA_API void appendTracingInfo(Request& request, const std::string& servicePath,
                                const std::string& clientId);
/// Writes the response semantic as given; it is not compared with the four words.
KOVA_API void appendResponseSemantic(Request& request, const std::string& semantic);

/// Sets the agent token of the process: the given text or, when it is empty, that of the
/// environment variable ZEL_CONFIG_KOVA_AGT. The first call wins, even when it leaves the token
/// empty; later ones are ignored. Not locked against `appendAuthInfo`: call it at start-up.
KOVA_API void setAgt(const std::string& agt);
/// Writes the agent token into the request, unless it is empty.
KOVA_API void appendAuthInfo(Request& request);

}  // namespace kova::headers
