#pragma once

#include <optional>
#include <string>

#include "kova/core/Request.h"
#include "kova/core/Response.h"

namespace device {

/// Formats a message for the user: command and path, or status, on the first line; header and
/// payload, if present, on separate indented lines. The text does not end with a line break. Agent
/// tokens are masked, because the output may be stored and shared.
std::string textOf(const kova::Request& request);
std::string textOf(const kova::Response& response);

/// Returns a payload as text for other programs: JSON for the binary format, the bytes verbatim for
/// all other formats. Returns nullopt if a payload in the binary format cannot be read.
std::optional<std::string> plainText(const kova::Payload& payload);

}  // namespace device
