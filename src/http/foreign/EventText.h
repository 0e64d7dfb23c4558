#pragma once

#include <string>
#include <string_view>

#include "kova/core/Response.h"

// The texts of event streams, as "Server-sent events" of the HTML standard defines them.
namespace kova::http::detail {

/// The comment that keeps a quiet stream alive.
constexpr std::string_view EVENT_COMMENT = ":\n\n";

/// Appends one event. The data is one JSON object. Its member "path" is the path that the stream
/// watches; it is missing if `path` is "".
///
/// The data of a value has the members "status", "header" (if the value has one), and for the
/// payload one of "value" (JSON), "text" and "base64". The member "type" is the media type; it is
/// missing for JSON. The data of an error is its problem document.
/// @{
void appendNext(std::string& out, const Response& value, std::string_view path);
void appendError(std::string& out, const Response& error, std::string_view path);
void appendCompleted(std::string& out, std::string_view path);
/// For a response handler that the service destroyed without an end.
void appendDropped(std::string& out, std::string_view path);
/// @}

}  // namespace kova::http::detail
