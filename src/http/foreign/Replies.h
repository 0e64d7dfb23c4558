#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "foreign/Accept.h"
#include "foreign/Fields.h"
#include "kova/core/Response.h"
#include "kova/kit/Result.h"

// What a service answers, as answers of HTTP. Any thread may call the functions.
namespace kova::http::detail {

/// The longest field for the header tree of an answer.
constexpr std::size_t MAX_TREE_FIELD = std::size_t{8} * 1024;

/// Returns the answer with a value. A status outside 200 to 599 becomes 500. 204, 205 and 304 have
/// no body (RFC 9110). If HTTP cannot carry the mime type, or the header tree is too large, reports
/// `errors::UnexpectedResponse` and returns the answer 500.
HttpReply toReply(const Response& value);
/// Returns the answer with a value whose type the client accepts, or 406 with the name of the type.
HttpReply toReply(const Response& value, const Accept& accept);
/// Returns the problem document (RFC 9457) of an error response. A status outside 400 to 599
/// becomes 500, because other statuses are no errors in HTTP; the member "code" then has the
/// original. The member "payload" has the payload of the error, if it is JSON. If the service knows
/// no format that the request with this `accept` asked for, the status is 406.
HttpReply toErrorReply(const Response& error, const Accept& accept = Accept());
/// Returns the problem document of an error.
HttpReply toReply(const kit::Error& error);
/// Returns the answer to a request that was completed without a value: 204.
HttpReply completedReply();
/// Returns the error for a request whose response handler was destroyed without an end.
kit::Error droppedError();
/// Returns the error 406. `available` lists the available media types.
kit::Error notAcceptable(std::string_view available);

/// Returns the JSON text of the problem document, without the fields.
std::string problemText(unsigned short status, const Response& error);
/// Returns the status of the problem document of an error.
unsigned short problemStatus(const Response& error, const Accept& accept);
/// Returns the JSON text of a header tree without the entries that HTTP has other places for. ""
/// if no entry remains.
std::string treeText(const Response& response);

/// Returns a payload that shares the bytes.
Payload makePayload(const std::shared_ptr<const std::string>& bytes, const std::string& mimeType);

}  // namespace kova::http::detail
