#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kova/core/Payload.h"
#include "kova/kit/Fields.h"
#include "kova/kit/Limits.h"
#include "kova/kit/Result.h"
#include "kova/kit/Values.h"

namespace kova::tool {

/// The parsed form of a payload in a line of a recording. One of `json`, `text`, `base64` and
/// `omitted` is set.
struct StoredPayload {
    /// The mime type.
    std::string type;
    /// The value, if the bytes are JSON that reads back unchanged.
    Payload json;
    /// The bytes, if they are UTF-8, but not such JSON.
    std::optional<std::string> text;
    /// The bytes in base64, if they are not UTF-8.
    std::optional<std::string> base64;
    /// The number of bytes, if the service has left them out.
    std::optional<std::uint64_t> omitted;

    /// Returns the payload, without bytes if they were left out. Fails with 400 if there is not
    /// exactly one form, or if the base64 is malformed.
    kit::Result<Payload> payload() const;
};
KOVA_FIELDS(StoredPayload, strict(), type, optional(json), text, base64, omitted)

/// Returns the payload as one line of JSON, which `StoredPayload` reads: the same bytes, and the
/// same type. The payload must not be empty.
///
///     storedLineOf(Payload::createFromJSON("[1]"));  // {"type":"application/json","json":[1]}
std::string storedLineOf(const Payload& payload);
/// Returns whether JSON reads back unchanged from a line of a recording. JSON with line breaks does
/// not, nor if it is nested too deeply or not valid.
bool readsBack(std::string_view json);
/// Returns the line of a payload that the service has left out.
std::string omittedLineOf(const std::string& type, std::uint64_t bytes);

/// Returns the bytes in base64 (RFC 4648, section 4).
std::string toBase64(std::string_view bytes);
/// Returns the bytes of a text in base64, or nothing if it is malformed.
std::optional<std::string> fromBase64(std::string_view text);

/// Returns limits that payloads of files do not exceed.
kit::Limits unlimited();

}  // namespace kova::tool
