#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kova/core/Payload.h"
#include "util/config/Value.h"

namespace kova::http::detail {

/// Appends a JSON string that has only printable ASCII characters: all others are escapes. A byte
/// that is not part of a UTF-8 character becomes U+FFFD.
void appendQuoted(std::string& out, std::string_view text);
/// Returns the compact JSON text of a tree, with printable ASCII characters only.
std::string toAsciiJson(const util::config::Value& tree);
/// Returns the text of a JSON payload on one line, or nothing if it is not JSON.
std::optional<std::string> oneLine(std::string_view json);
/// Returns the bytes in base64 (RFC 4648, section 4).
std::string toBase64(std::string_view bytes);
/// Returns the bytes of a payload.
std::string_view bytesOf(const Payload& payload) noexcept;

}  // namespace kova::http::detail
