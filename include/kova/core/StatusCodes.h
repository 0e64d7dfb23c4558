#pragma once

#include <string>

#include "kova/core/Export.h"

/// The status codes of responses. Whether a response is an error is decided by its header
/// (`Response::isErrorResponse`), not by its code.
namespace kova::statuscodes {

/// @{
/// The request was served.
constexpr unsigned short OK = 200;
constexpr unsigned short CREATED = 201;
constexpr unsigned short NO_CONTENT = 204;
/// @}

/// The framework's own: one of several responses to one request.
constexpr unsigned short MULTI_RESPONSE = 298;
/// The framework's own: a response of a stream.
constexpr unsigned short STREAM = 299;
/// @{
/// A code as in HTTP (RFC 9110).
constexpr unsigned short NOT_MODIFIED = 304;
constexpr unsigned short BAD_REQUEST = 400;
constexpr unsigned short UNAUTHORIZED = 401;
constexpr unsigned short FORBIDDEN = 403;
constexpr unsigned short NOT_FOUND = 404;
constexpr unsigned short CONFLICT = 409;
constexpr unsigned short EXPECTATION_FAILED = 417;
constexpr unsigned short INTERNAL_SERVER_ERROR = 500;
constexpr unsigned short NOT_IMPLEMENTED = 501;
constexpr unsigned short BAD_GATEWAY = 502;
constexpr unsigned short SERVICE_UNAVAILABLE = 503;
constexpr unsigned short GATEWAY_TIMEOUT = 504;
/// @}

/// The text of a code, for example "Not Found" for 404; "unknown" for a code that is not listed
/// above. Any thread may call it.
KOVA_API std::string toString(unsigned short code);

}  // namespace kova::statuscodes
