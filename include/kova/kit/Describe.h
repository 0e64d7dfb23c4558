#pragma once

#include <optional>
#include <string>

#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// @{
/// Returns a request or response as human-readable text. The first line has the command and the
/// path, or the code and the message. The header and the payload follow on indented lines, if they
/// exist. A payload in the binary format is shown as its first bytes and as JSON. The text has no
/// line break at the end and does not contain the token of the client, since it may be stored and
/// shared.
///
///     const std::string text = kova::kit::describe(
///         kova::Request("update", "/volume", kova::Payload::createFromJSON("55")));
///     // update /volume
///     //       payload application/json, 2 bytes: 55
KOVA_KIT_API std::string describe(const Request& request);
KOVA_KIT_API std::string describe(const Response& response);
/// @}

/// Returns a payload as machine-readable text: as JSON if it is in the binary format, verbatim
/// otherwise. Returns `std::nullopt` if a payload in the binary format cannot be read.
KOVA_KIT_API std::optional<std::string> plainText(const Payload& payload);

}  // namespace kova::kit
